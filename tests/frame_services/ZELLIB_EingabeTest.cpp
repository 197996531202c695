// The input dialog: its layout around the question, the number formats, the keys,
// and a barcode reader simulated on a pseudo-terminal pair.

#include "frame/ZELInit.h"
#include "frame/ZELLIB_Eingabe.h"
#include "frame/ZELLIB_INI.h"
#include "frame/zellib_Logging.h"
#include "frame/zellib_keyboard.h"
#include "frame/zellib_msg.h"
#include "tests/frame_services/TestHelpers.h"

#include <QKeyEvent>
#include <QTemporaryDir>
#include <QTimer>
#include <gtest/gtest.h>

namespace {
class EingabeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        AppName = QStringLiteral("ORVEXTEST");
        CommonAppPath = dir.path();
        IniFileName = dir.filePath("KELMAR.INI");
        COM_Logging = true;
        ProgrammEndet = false;
        ZELLogFile = std::make_unique<TZELLogFile>(QStringList{QStringLiteral("test")});
    }
    void TearDown() override
    {
        KeyboardEnabled = false;
        FirstLayoutName.clear();
        zellib_msg_Finalize();
        zellib_Logging_Finalize();
        IniStore.reset();
        PumpFor(20);
    }
    static int Bottom(const QWidget* w) { return w->y() + w->height(); }
    QTemporaryDir dir;
};

void Key(QWidget* target, Qt::Key key)
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &press);
}
}

TEST_F(EingabeTest, WithoutAScreenNotesLogQuestionsCancelAndAMissingPortIsReported)
{
    QElapsedTimer t;
    t.start();
    ShowHinweis("Datei<BR>konnte nicht gelöscht werden");
    EXPECT_LT(t.elapsed(), 5000);
    EXPECT_EQ(CurrentEingabe, nullptr);
    EXPECT_EQ(LoggedEntries(), QStringList{";DLG       ;Hinweis Datei<BR>konnte nicht gelöscht werden"});
    // The questions have nobody to answer them: cancel.
    QString text = "vorher";
    EXPECT_FALSE(EingabeText("Name?", text));
    EXPECT_EQ(text, "vorher");
    double value = 1;
    EXPECT_FALSE(EingabeZahl("Wert?", value, 0, 10, 2, "V"));
    int index = 0;
    EXPECT_FALSE(EingabeAuswahl("Welcher?", {"a", "b"}, index));

    // A missing reader port is reported, and the window nobody sees ends.
    t.restart();
    EXPECT_FALSE(EingabeText("Barcode scannen:", text, dir.filePath("ttyFehlt")));
    EXPECT_LT(t.elapsed(), 5000);
    EXPECT_EQ(text, "vorher");
    ASSERT_NE(FoMsg, nullptr);
    EXPECT_TRUE(FoMsg->MsgLabel->text().startsWith("Die Schnittstelle " + dir.filePath("ttyFehlt") +
                                                   " ist nicht vorhanden"))
        << FoMsg->MsgLabel->text().toStdString();
}

TEST_F(EingabeTest, NotesFitTheirLinesEditsAndListsStandBelowTheQuestionWideTextsDoNotWiden)
{
    auto form = CreateHinweis("Erste Zeile\nzweite Zeile, etwas länger");
    EXPECT_EQ(form->windowTitle(), "Hinweis");
    EXPECT_EQ(form->Label1->HTMLText().join(""), "Erste Zeile<BR>zweite Zeile, etwas länger");
    EXPECT_EQ(form->OKBtn->text(), "&Weiter");
    EXPECT_TRUE(form->OKBtn->isDefault());
    form->show();
    PumpFor(20);
    EXPECT_EQ(CurrentEingabe, form.get());
    EXPECT_FALSE(form->ESCBtn->isVisible());
    // Two lines: the label is about twice as high as one line of its font.
    const int line = QFontMetrics(form->Label1->font()).height();
    EXPECT_GE(form->Label1->height(), 2 * line - 2);
    EXPECT_LT(form->Label1->height(), 3 * line);
    // The width follows the label, at least what the buttons need; the buttons stand 10 above the bottom.
    const int buttonsNeed = form->ESCBtn->x() + form->ESCBtn->width() + form->OKBtn->width() + 30;
    EXPECT_EQ(form->width(), std::max(form->Label1->width() + 10, buttonsNeed));
    EXPECT_EQ(form->height(), Bottom(form->Label1) + 60);
    EXPECT_EQ(Bottom(form->OKBtn), form->height() - 10);
    EXPECT_EQ(form->ESCBtn->y(), form->OKBtn->y());
    EXPECT_EQ(form->width() - (form->OKBtn->x() + form->OKBtn->width()), 11) << "OK keeps to the right edge";
    EXPECT_GT(form->OKBtn->y(), Bottom(form->Label1));
    EXPECT_TRUE(form->Label1->grab().toImage().save(PngPath("eingabe_label")));
    EXPECT_TRUE(form->grab().toImage().save(PngPath("eingabe_hinweis")));

    // Enter goes through the default button; Escape, without a cancel button, does nothing.
    Key(form.get(), Qt::Key_Escape);
    EXPECT_TRUE(form->isVisible());
    Key(form.get(), Qt::Key_Return);
    EXPECT_FALSE(form->isVisible());
    EXPECT_EQ(form->result(), QDialog::Accepted);
    EXPECT_EQ(CurrentEingabe, nullptr);

    // Edits and lists stand below the question.
    auto text = CreateTextQuery("Seriennummer des Prüflings:", "S-17");
    text->show();
    EXPECT_EQ(text->StrEdit->y(), Bottom(text->Label1) + 16);
    EXPECT_EQ(text->height(), Bottom(text->StrEdit) + 100);
    EXPECT_EQ(text->width(), std::max(text->StrEdit->width(), text->Label1->width()) + 22);
    EXPECT_EQ(text->ESCBtn->text(), "Abbruch");
    PumpFor(20);
    // The paint selected the text to type over.
    EXPECT_EQ(text->StrEdit->selectedText(), "S-17");
    EXPECT_TRUE(text->grab().toImage().save(PngPath("eingabe_text")));
    // Enter and Escape in the edit act through the buttons alone.
    Key(text->StrEdit, Qt::Key_Escape);
    EXPECT_EQ(text->result(), QDialog::Rejected);
    EXPECT_FALSE(text->isVisible());

    // A wide note does not widen its window, nor a question wider than the list a choice.
    auto wide = CreateHinweis(QString(40, u'W') + " passt nicht in die Breite des Fensters");
    wide->show();
    EXPECT_GT(wide->Label1->width(), 472);
    EXPECT_EQ(wide->width(), 472);
    wide->done(QDialog::Accepted);
    auto choice = CreateChoiceQuery(QString(45, u'W') + " welche Kurve?", {"I_01", "I_02", "U_Soll"}, 1);
    choice->show();
    EXPECT_GT(choice->Label1->width() + 22, choice->width());
    EXPECT_EQ(choice->width(), choice->Auswahlliste->width() + 22);
    EXPECT_EQ(choice->Auswahlliste->y(), Bottom(choice->Label1) + 16);
    EXPECT_EQ(choice->height(), Bottom(choice->Auswahlliste) + 100);
    // A double click ends it with OK.
    emit choice->Auswahlliste->itemDoubleClicked(choice->Auswahlliste->item(2));
    EXPECT_EQ(choice->result(), QDialog::Accepted);

    // A position given is kept when the window fits; one past the screen is pulled back.
    auto placed = CreateHinweis("hier");
    placed->PosX = 30;
    placed->PosY = 40;
    placed->show();
    EXPECT_EQ(placed->frameGeometry().topLeft(), QPoint(30, 40));
    placed->done(0);
    auto outside = CreateHinweis("da");
    outside->PosX = 100000;
    outside->PosY = 100000;
    outside->show();
    const QRect screen = outside->screen()->geometry();
    EXPECT_EQ(outside->frameGeometry().right(), screen.right());
    EXPECT_EQ(outside->frameGeometry().bottom(), screen.bottom());
    outside->done(0);
}

TEST_F(EingabeTest, NumberFormatsFollowDecimalsAndUnit)
{
    EXPECT_EQ(TFoEingabe::NumberFormat(0, "mm"), ",0 mm;-,0 mm");
    EXPECT_EQ(TFoEingabe::NumberFormat(1, "V"), ",0.0 V;-,0.0 V");
    EXPECT_EQ(TFoEingabe::NumberFormat(6, "µA"), ",0.000000 µA;-,0.000000 µA");
    EXPECT_EQ(TFoEingabe::NumberFormat(7, "V"), "");
    EXPECT_EQ(TFoEingabe::NumberFormat(-1, "V"), "");

    const TFormatSettings saved = FormatSettings;
    FormatSettings.DecimalSeparator = u',';
    auto form = CreateValueQuery("Spannung:", 1234.5, -10, 2000, 2, "V");
    EXPECT_EQ(form->ValEdit->DisplayFormat(), ",0.00 V;-,0.00 V");
    EXPECT_EQ(form->ValEdit->text(), "1234,50 V");
    form->ValEdit->SetValue(-3);
    EXPECT_EQ(form->ValEdit->text(), "-3,00 V");
    // Each change takes the fields anew.
    form->Decimals = 0;
    form->UnitText = "mV";
    form->ValEdit->SetValue(7);
    EXPECT_EQ(form->ValEdit->text(), "7 mV");
    EXPECT_EQ(form->ValEdit->DecimalPlaces(), 0);
    // What is typed is bound by the limits.
    form->ValEdit->setText("9999");
    emit form->ValEdit->textEdited("9999");
    EXPECT_EQ(form->ValEdit->Value(), 2000);
    form->ValEdit->setText("abc");
    emit form->ValEdit->textEdited("abc");
    EXPECT_EQ(form->ValEdit->Value(), 2000);   // no number: the value stays
    form->show();
    EXPECT_EQ(form->ValEdit->y(), Bottom(form->Label1) + 16);
    const int buttonsNeed = form->ESCBtn->x() + form->ESCBtn->width() + form->OKBtn->width() + 30;
    EXPECT_EQ(form->width(), std::max(std::max(form->ValEdit->width(), form->Label1->width()) + 22, buttonsNeed));
    form->done(0);
    FormatSettings = saved;
}

TEST_F(EingabeTest, AScanEndingInCrLfFillsTheTextAndConfirmsAfterHalfASecondUnlessCancelled)
{
    PtyPair pty;
    ASSERT_TRUE(pty.Valid());
    auto form = CreateTextQuery("Barcode scannen:", "", pty.Path());
    QElapsedTimer sinceScan;
    QTimer::singleShot(300, [&] {
        EXPECT_TRUE(form->BCReader->Connected()) << "the paint connects the reader";
        sinceScan.start();
        pty.Send("4006381333931\r\n");
    });
    const int result = form->exec();
    EXPECT_EQ(result, QDialog::Accepted);
    EXPECT_GE(sinceScan.elapsed(), 500);
    EXPECT_LT(sinceScan.elapsed(), 5000);
    EXPECT_EQ(form->StrEdit->text(), "4006381333931");
    EXPECT_TRUE(form->BarcodeBuffer.isEmpty());
    // Closing freed the port for the next opener.
    EXPECT_FALSE(form->BCReader->Connected());
    TComPort next;
    next.SetPort(pty.Path());
    EXPECT_NO_THROW(next.SetConnected(true));
    next.SetConnected(false);

    // A scan in pieces is collected.
    auto pieces = CreateTextQuery("Barcode scannen:", "", pty.Path());
    QTimer::singleShot(200, [&] { pty.Send("AB-"); });
    QTimer::singleShot(300, [&] { pty.Send("12\r"); });
    QTimer::singleShot(400, [&] { pty.Send("\n"); });
    EXPECT_EQ(pieces->exec(), QDialog::Accepted);
    EXPECT_EQ(pieces->StrEdit->text(), "AB-12");

    // A cancel within the half second stays a cancel.
    auto second = CreateTextQuery("Barcode scannen:", "", pty.Path());
    QTimer::singleShot(200, [&] { pty.Send("XY\r\n"); });
    QTimer::singleShot(450, [&] { second->ESCBtn->click(); });
    EXPECT_EQ(second->exec(), QDialog::Rejected);
    EXPECT_EQ(second->StrEdit->text(), "XY");
}

TEST_F(EingabeTest, TheKeyboardOpensAtPaintTimeUnderTheDialogWhenEnabled)
{
    Resourcepath = QStringLiteral(ORVEX_FIXTURE_DIR "/keyboard");
    KeyboardEnabled = true;
    FirstLayoutName = "Deutsch.kbl";
    auto form = CreateTextQuery("Name:", "");
    form->show();
    PumpFor(50);
    ASSERT_FALSE(FoKb.isNull());
    EXPECT_EQ(FoKb->KB->LinkedControl(), form->StrEdit);
    EXPECT_EQ(FoKb->x(), form->frameGeometry().left());
    // Enter on the keyboard confirms the dialog, which closes the keyboard.
    const auto& keys = FoKb->KB->Keys().Items;
    FoKb->KB->PressKey(FoKb->KB->Keys().IndexOfChar("k", klNormal));
    for (qsizetype i = 0; i < keys.size(); ++i)
        if (keys[i].KeyType == ktEnter) {
            FoKb->KB->PressKey(int(i));
            break;
        }
    EXPECT_EQ(form->result(), QDialog::Accepted);
    EXPECT_EQ(form->StrEdit->text(), "k");
    PumpFor(20);
    EXPECT_TRUE(FoKb.isNull());
}
