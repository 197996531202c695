#include "views/uFoAuswertungUebersicht.h"

#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>

namespace {
class MainWindowTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ProgrammEndet = false;
        Produkinfo = "Orvex Auswertung (build 1.0.0.0 kelmar elektronik)";
        window = new TFOOrvexAuswertung;
        window->show();
        QApplication::processEvents();
    }
    void TearDown() override
    {
        delete window;
        ProgrammEndet = false;
    }
    TFOOrvexAuswertung* window = nullptr;
};
}

TEST_F(MainWindowTest, ShowsTitleAndButtonsAndMaximisesOnFirstActivation)
{
    EXPECT_EQ(window->windowTitle(), Produkinfo);
    EXPECT_TRUE(window->BitBtn1->isEnabled());
    EXPECT_FALSE(window->BtnRohdaten->isEnabled());
    EXPECT_FALSE(window->BtnRefresh->isEnabled());
    EXPECT_FALSE(window->fErsterStart);
    EXPECT_TRUE(window->windowState() & Qt::WindowMaximized);
}

// The End key in any control and the close button end the program; the title bar
// only closes the window.
TEST_F(MainWindowTest, TheEndKeyAndTheCloseButtonEndTheProgramOtherKeysAndTheTitleBarDoNot)
{
    QKeyEvent home(QEvent::KeyPress, Qt::Key_Home, Qt::NoModifier);
    QApplication::sendEvent(window->BitBtn1, &home);
    EXPECT_FALSE(ProgrammEndet);
    EXPECT_TRUE(window->isVisible());
    window->close();
    EXPECT_FALSE(ProgrammEndet);
    EXPECT_FALSE(window->isVisible());

    // The window sees the key before the control that has the focus.
    window->show();
    QKeyEvent end(QEvent::KeyPress, Qt::Key_End, Qt::NoModifier);
    QApplication::sendEvent(window->BtnRefresh, &end);
    EXPECT_TRUE(ProgrammEndet);
    EXPECT_FALSE(window->isVisible());

    ProgrammEndet = false;
    window->show();
    window->BitBtn1->click();
    EXPECT_TRUE(ProgrammEndet);
    EXPECT_FALSE(window->isVisible());
}

TEST_F(MainWindowTest, HeaderCaptionsAndBauNrUnderBezeichnung)
{
    QLabel* bauNr = nullptr;
    QLabel* bezeichnung = nullptr;
    QStringList captions;
    for (QLabel* l : window->KopfdatenPanel->findChildren<QLabel*>()) {
        captions << l->text();
        if (l->text() == QStringLiteral("Bau-Nr."))
            bauNr = l;
        if (l->text() == QStringLiteral("Bezeichnung"))
            bezeichnung = l;
    }
    for (const QString c : {"Versuch", "Bauteil", "Bau-Nr.", "Bezeichnung", "Bediener", "Prüfstrang", "Testbeginn",
                             "Laufzeit", "Restlaufzeit", "Status", "Kommentar"})
        EXPECT_TRUE(captions.contains(c)) << c.toStdString();
    ASSERT_TRUE(bauNr && bezeichnung);
    // One spot, "Bezeichnung" above: it is what the spot shows.
    EXPECT_EQ(bauNr->parentWidget(), bezeichnung->parentWidget());
    EXPECT_EQ(bauNr->geometry(), bezeichnung->geometry());
    EXPECT_TRUE(bauNr->isVisibleTo(window));
    EXPECT_EQ(bauNr->parentWidget()->childAt(bezeichnung->geometry().center()), bezeichnung);
    const QRect spot = bezeichnung->geometry();
    QWidget* both = bezeichnung->parentWidget();
    const QImage seen = both->grab(spot).toImage();
    bauNr->hide();
    EXPECT_EQ(both->grab(spot).toImage(), seen) << "the lower caption shows through";
    bezeichnung->hide();
    bauNr->show();
    EXPECT_NE(both->grab(spot).toImage(), seen);
}
