#include "views/uFoAuswertungUebersicht.h"

#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QApplication>
#include <QKeyEvent>
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

TEST_F(MainWindowTest, EndKeyInAnyControlEndsTheProgram)
{
    // The window sees the key before the control that has the focus.
    QKeyEvent press(QEvent::KeyPress, Qt::Key_End, Qt::NoModifier);
    QApplication::sendEvent(window->BtnRefresh, &press);
    EXPECT_TRUE(ProgrammEndet);
    EXPECT_FALSE(window->isVisible());
}

TEST_F(MainWindowTest, OtherKeysDoNothingAndTheCloseButtonEnds)
{
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Home, Qt::NoModifier);
    QApplication::sendEvent(window->BitBtn1, &press);
    EXPECT_FALSE(ProgrammEndet);
    EXPECT_TRUE(window->isVisible());
    window->BitBtn1->click();
    EXPECT_TRUE(ProgrammEndet);
    EXPECT_FALSE(window->isVisible());
}

TEST_F(MainWindowTest, TitleBarCloseLeavesTheEndFlagAlone)
{
    window->close();
    EXPECT_FALSE(ProgrammEndet);
    EXPECT_FALSE(window->isVisible());
}
