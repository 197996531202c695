#include "frame/ZELLIB_INI.h"
#include "frame/zellib_keyboard.h"
#include "tests/frame_services/TestHelpers.h"

#include <QApplication>
#include <QDialog>
#include <QFile>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {
const QString kLayout = QStringLiteral("Deutsch.kbl");

// A form like the input dialog: an edit and the two buttons the keyboard clicks by name.
struct EditForm : QDialog {
    QLineEdit* Edit = new QLineEdit(this);
    QPushButton* OKBtn = new QPushButton(QStringLiteral("OK"), this);
    QPushButton* ESCBtn = new QPushButton(QStringLiteral("Abbruch"), this);
    EditForm()
    {
        OKBtn->setObjectName("OKBtn");
        ESCBtn->setObjectName("ESCBtn");
        connect(OKBtn, &QPushButton::clicked, this, &QDialog::accept);
        connect(ESCBtn, &QPushButton::clicked, this, &QDialog::reject);
        Edit->setGeometry(10, 10, 200, 24);
        OKBtn->setGeometry(10, 40, 80, 30);
        ESCBtn->setGeometry(100, 40, 80, 30);
        resize(300, 80);
        move(100, 100);
        show();
    }
};

class KeyboardTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        IniStore.reset();
        IniFileName = dir.filePath("KELMAR.INI");
        Resourcepath = QStringLiteral(ORVEX_FIXTURE_DIR "/keyboard");
        KeyboardEnabled = true;
        FirstLayoutName = kLayout;
        SecondLayoutName = kLayout;
    }
    void TearDown() override
    {
        if (FoKb)
            FoKb->close();
        PumpFor(20);   // the closed window deletes itself
        KeyboardEnabled = false;
        FirstLayoutName.clear();
        SecondLayoutName.clear();
        IniStore.reset();
    }
    // Clicks the key that shows the text at the current level.
    static void Press(const QString& shown)
    {
        const int i = FoKb->KB->Keys().IndexOfChar(shown, FoKb->KB->KeyLevel());
        ASSERT_GE(i, 0) << shown.toStdString();
        FoKb->KB->KeyControl(i)->click();
    }
    static void PressType(TKeyType type)
    {
        const auto& items = FoKb->KB->Keys().Items;
        for (qsizetype i = 0; i < items.size(); ++i)
            if (items[i].KeyType == type) {
                FoKb->KB->KeyControl(int(i))->click();
                return;
            }
        FAIL() << "no key of type " << int(type);
    }
    static QRect Screen() { return QGuiApplication::primaryScreen()->geometry(); }
    QTemporaryDir dir;
};
}

TEST_F(KeyboardTest, DisabledOrWithoutLayoutNameEveryEntryReturnsAtOnce)
{
    EditForm form;
    Resourcepath = dir.filePath("gibt-es-nicht");   // an attempt to load would raise
    KeyboardEnabled = false;
    EXPECT_NO_THROW(ShowFirstKeyboard(form.Edit, 0, 0, "Hinweis"));
    EXPECT_NO_THROW(ShowSecondKeyboard(form.Edit, 0, 0, ""));
    EXPECT_NO_THROW(CloseKeyboard());
    EXPECT_TRUE(FoKb.isNull());
    EXPECT_FALSE(QFile::exists(IniFileName));   // not even the sizes are read

    KeyboardEnabled = true;
    FirstLayoutName.clear();
    EXPECT_NO_THROW(ShowFirstKeyboard(form.Edit, 0, 0, ""));
    EXPECT_TRUE(FoKb.isNull());
    // With a name, a missing layout file is a failure the caller sees.
    try {
        ShowSecondKeyboard(form.Edit, 0, 0, "");
        FAIL() << "a missing layout opened";
    } catch (const Exception& e) {
        EXPECT_EQ(e.Message(), "Tastaturlayout " + Resourcepath + "/" + kLayout + " nicht gefunden");
    }
    EXPECT_TRUE(FoKb.isNull());
}

TEST_F(KeyboardTest, StoredKeysReadAndWriteBackAsTheyStand)
{
    const QString nine = "0 '9' ')' ']' '9' ')' ']' 86 4 8 8 True True 'Lucida Sans Unicode' 14 -16777208 1";
    const TKey k = TKeyCollection::LineToKey(nine);
    EXPECT_EQ(k.KeyType, ktCharacter);
    EXPECT_EQ(k.TextAt(klShift), ")");
    EXPECT_EQ(k.ValueAt(klAltGr), "]");
    EXPECT_EQ(QRect(k.Left, k.Top, k.Width, k.Height), QRect(86, 4, 8, 8));
    EXPECT_EQ(k.FontName, "Lucida Sans Unicode");
    EXPECT_EQ(k.FontSize, 14);
    EXPECT_EQ(k.Margin, 1);
    EXPECT_EQ(TKeyCollection::KeyToLine(k), nine);

    // Quotes, control characters by code, and an empty value that types the text.
    const QString quote = "0 '''' '\"' '' '' '' '' 0 0 8 8 True False 'Arial' 10 0 2";
    EXPECT_EQ(TKeyCollection::LineToKey(quote).TextAt(klNormal), "'");
    EXPECT_EQ(TKeyCollection::LineToKey(quote).ValueAt(klNormal), "'");
    EXPECT_FALSE(TKeyCollection::LineToKey(quote).Enabled);
    EXPECT_EQ(TKeyCollection::KeyToLine(TKeyCollection::LineToKey(quote)), quote);
    const TKey enter = TKeyCollection::LineToKey("5 'Enter' 'a'#13'b' '' #13 #13 #13 0 0 8 8 True True '' 10 0 1");
    EXPECT_EQ(enter.KeyType, ktEnter);
    EXPECT_EQ(enter.Value[0], "\r");
    EXPECT_EQ(enter.Text[1], "a\rb");
    EXPECT_EQ(TKeyCollection::LineToKey(TKeyCollection::KeyToLine(enter)).Text[1], "a\rb");

    // Malformed lines name the file and the line.
    TKeyCollection keys;
    try {
        keys.LoadFromText("; remark\n\n" + nine + "\n0 'a' 'A' '' '' '' '' 0 0 8 True True 'Arial' 10 0 1\n", "x.kbl");
        FAIL() << "a line with a missing field was taken";
    } catch (const Exception& e) {
        EXPECT_EQ(e.Message(), "Tastaturlayout x.kbl, Zeile 4: 17 Angaben erwartet, 16 gefunden");
    }
    EXPECT_THROW(keys.LoadFromText("9 'a' 'A' '' '' '' '' 0 0 8 8 True True 'Arial' 10 0 1", "x"), Exception);
    EXPECT_THROW(keys.LoadFromText("0 'a' 'A' '' '' '' '' 0 0 8 8 True True 'Arial 10 0 1", "x"), Exception);
    EXPECT_THROW(keys.LoadFromText("0 'a' 'A' '' '' '' '' 0 0 8 8 Ja True 'Arial' 10 0 1", "x"), Exception);
    EXPECT_THROW(keys.LoadFromText("; only a remark", "x"), Exception);
    EXPECT_TRUE(keys.Items.isEmpty());   // a failed load leaves the keys as they were
}

TEST_F(KeyboardTest, KeysTypeIntoTheLinkedEditWithShiftCapsAndAltGrEnterConfirmsEscapeCancels)
{
    EditForm form;
    ShowFirstKeyboard(form.Edit, form.x(), form.frameGeometry().bottom(), "");
    ASSERT_FALSE(FoKb.isNull());
    EXPECT_TRUE(FoKb->isVisible());
    EXPECT_EQ(FoKb->KB->LinkedControl(), form.Edit);

    Press("h");
    PressType(ktShift);
    EXPECT_TRUE(FoKb->KB->ShiftState());
    EXPECT_EQ(FoKb->KB->KeyLevel(), klShift);
    Press("A");
    EXPECT_FALSE(FoKb->KB->ShiftState()) << "shift lasts one key";
    Press("l");
    PressType(ktShift);
    PressType(ktShift);   // a second press takes it back
    Press("l");
    EXPECT_EQ(form.Edit->text(), "hAll");

    PressType(ktCapsLock);
    Press("O");
    Press("!");   // the shifted "1"
    EXPECT_TRUE(FoKb->KB->CapsState()) << "caps lock stays";
    PressType(ktCapsLock);
    PressType(ktAltGr);
    EXPECT_EQ(FoKb->KB->KeyLevel(), klAltGr);
    Press("@");
    EXPECT_FALSE(FoKb->KB->AltGrState());
    Press(" ");
    EXPECT_EQ(form.Edit->text(), "hAllO!@ ");

    PressType(ktBackspace);
    PressType(ktBackspace);
    EXPECT_EQ(form.Edit->text(), "hAllO!");
    EXPECT_EQ(form.Edit->cursorPosition(), 6);

    FoKb->KB->CharCase = ecUpperCase;
    Press("x");
    EXPECT_EQ(form.Edit->text(), "hAllO!X");

    // A key pressed on the physical keyboard presses the key that shows it.
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Q, Qt::NoModifier, "q");
    QCoreApplication::sendEvent(FoKb, &key);
    EXPECT_EQ(form.Edit->text(), "hAllO!XQ");

    // Enter confirms through the form's OK button and closes the keyboard.
    PressType(ktEnter);
    EXPECT_EQ(form.result(), QDialog::Accepted);
    PumpFor(20);
    EXPECT_TRUE(FoKb.isNull());

    // Escape cancels the form, clears its edit and closes the keyboard.
    EditForm second;
    second.Edit->setText("abc");
    ShowSecondKeyboard(second.Edit, 0, 0, "");
    ASSERT_FALSE(FoKb.isNull());
    QKeyEvent esc(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QCoreApplication::sendEvent(FoKb, &esc);
    EXPECT_EQ(second.result(), QDialog::Rejected);
    EXPECT_FALSE(second.isVisible());
    EXPECT_TRUE(second.Edit->text().isEmpty());
    PumpFor(20);
    EXPECT_TRUE(FoKb.isNull());
}

TEST_F(KeyboardTest, SizeFromTheIniPlacementAtTheScreenEdgesTheHintAndThePicture)
{
    EditForm form;
    WriteIniInteger("KeyboardLayouts", kLayout + ".breite", 500);
    ShowFirstKeyboard(form.Edit, 40, 60, "");
    ASSERT_FALSE(FoKb.isNull());
    EXPECT_EQ(FoKb->width(), 500);
    // The height not in the file: the design height is read and written back.
    EXPECT_EQ(TMemIniFile(IniFileName).ReadString("KEYBOARDLAYOUTS", kLayout + ".hoehe", ""), "255");
    EXPECT_EQ(FoKb->pos(), QPoint(40, 62));
    // Without a hint the keys stand at the top.
    EXPECT_FALSE(FoKb->Hinweis->isVisible());
    EXPECT_EQ(FoKb->KB->y(), 2);
    EXPECT_EQ(FoKb->height(), FoKb->KB->height() + 2);

    // Near the bottom it goes above, less the anchor's height for the first layout;
    // past the right edge it moves left.
    const QRect s = Screen();
    ShowFirstKeyboard(form.Edit, s.right() - 100, s.bottom() - 10, " Bitte Barcode eingeben  ");
    ASSERT_FALSE(FoKb.isNull());
    EXPECT_EQ(FoKb->x(), s.right() + 1 - FoKb->width());
    const int height = FoKb->height();
    // The hint shows above the keys with one blank in front.
    EXPECT_TRUE(FoKb->Hinweis->isVisible());
    EXPECT_EQ(FoKb->Hinweis->text(), " Bitte Barcode eingeben");
    EXPECT_GT(FoKb->KB->y(), FoKb->Hinweis->geometry().bottom());
    EXPECT_EQ(FoKb->y(), s.bottom() - 10 - height - 2 - form.Edit->height());

    // The second layout goes above without the anchor's height and keeps a position past the right edge.
    ShowSecondKeyboard(form.Edit, s.right() - 100, s.bottom() - 10, "");
    ASSERT_FALSE(FoKb.isNull());
    EXPECT_EQ(FoKb->x(), s.right() - 100);
    EXPECT_EQ(FoKb->y(), s.bottom() - 10 - FoKb->height() - 2);
    // A top above the screen stays for the second layout but becomes 0 for the first.
    ShowSecondKeyboard(form.Edit, 0, -50, "");
    EXPECT_EQ(FoKb->y(), -48);
    ShowFirstKeyboard(form.Edit, 0, -50, "");
    EXPECT_EQ(FoKb->y(), 0);

    // Only one keyboard is open at a time.
    int open = 0;
    PumpFor(20);
    for (QWidget* w : QApplication::topLevelWidgets())
        open += dynamic_cast<TFoKb*>(w) && w->isVisible();
    EXPECT_EQ(open, 1);

    ShowFirstKeyboard(form.Edit, 0, 0, "Bitte den Namen eingeben");
    ASSERT_FALSE(FoKb.isNull());
    PressType(ktShift);
    PumpFor(20);
    const QImage image = FoKb->grab().toImage();
    EXPECT_TRUE(image.save(PngPath("keyboard_shift")));
    // The window is blue round the keys, and the shift key shows red while on.
    EXPECT_EQ(image.pixelColor(1, image.height() - 1), QColor(Qt::blue));
    const auto& items = FoKb->KB->Keys().Items;
    for (qsizetype i = 0; i < items.size(); ++i)
        if (items[i].KeyType == ktShift) {
            TKeyControl* c = FoKb->KB->KeyControl(int(i));
            EXPECT_EQ(c->palette().color(QPalette::Button), QColor(Qt::red));
            EXPECT_EQ(c->text(), "Umsch");
        }
    EXPECT_EQ(FoKb->KB->KeyControl(FoKb->KB->Keys().IndexOfChar("Q", klShift))->text(), "Q");
}

