// Edits, numeric edits and the memo bound to a real dataset: what they show as the
// dataset moves, opens, closes or its source switches off, and what typing does.
#include "RunFixture.h"
#include "dbcontrols/TdxDBCurrencyEdit.h"
#include "dbcontrols/TdxDBEdit.h"
#include "dbcontrols/TdxDBMemo.h"

#include <QTest>

namespace {

class BoundEdits : public RunFixture {
protected:
    void SetUp() override
    {
        RunFixture::SetUp();
        Teil.SetDataSource(&HeaderSource);
        Teil.SetDataField(QStringLiteral("TEILENR"));
        Laufzeit.SetDataSource(&HeaderSource);
        Laufzeit.SetDataField(QStringLiteral("DAUER_GESAMT_STD"));
        Laufzeit.SetDisplayFormat(QStringLiteral(",0 h"));
        Laufzeit.SetDecimalPlaces(0);
        Rest.SetDataSource(&HeaderSource);
        Rest.SetDataField(QStringLiteral("RESTLAUFZEIT"));
        Rest.SetDisplayFormat(QStringLiteral(",0.00 h"));
        IMax.SetDataSource(&HeaderSource);
        IMax.SetDataField(QStringLiteral("I_MAX"));
        IMax.SetDisplayFormat(QString::fromUtf8(",0.000 µA"));
        IMax.SetDecimalPlaces(3);
        IMax.SetMaxValue(300.0);
        Kommentar.SetDataSource(&HeaderSource);
        Kommentar.SetDataField(QStringLiteral("KOMMENTAR"));
    }
    QStringList Shown() const
    {
        return {Teil.Text(), Laufzeit.Text(), Rest.Text(), IMax.Text(), Kommentar.Text()};
    }

    TdxDBEdit Teil;
    TdxDBCurrencyEdit Laufzeit, Rest, IMax;
    TdxDBMemo Kommentar;
};

TEST_F(BoundEdits, FollowTheCurrentRowAndItsChangesAndShowNothingWhileOffOrClosed)
{
    EXPECT_EQ(Shown(), (QStringList{"BUZ 11", "1.234 h", "12,50 h", QString::fromUtf8("0,500 µA"),
                                    "erster Lauf\nzweite Zeile"}));
    Runs.Next();
    // A null shows nothing, not "0,00 h".
    EXPECT_EQ(Shown(), (QStringList{"IRF 540", "168 h", "", QString::fromUtf8("120,250 µA"), ""}));
    Runs.Last();
    // Rounding happens in the display only; the value keeps its digits.
    EXPECT_EQ(Shown(), (QStringList{"BYV 26", "1.000.000 h", "0,00 h", QString::fromUtf8("300,000 µA"),
                                    "ohne Befund"}));
    EXPECT_DOUBLE_EQ(IMax.Value(), 299.9996);
    Runs.SetRecNo(1);
    EXPECT_EQ(Teil.Text(), "BUZ 11");

    // Changes of the row's data show at once.
    HeaderSource.SetAutoEdit(true);
    Runs.Edit();
    Runs.FieldByName(QStringLiteral("RESTLAUFZEIT"))->SetAsFloat(7.125);
    Runs.FieldByName(QStringLiteral("TEILENR"))->SetAsString(QStringLiteral("BUZ 12"));
    EXPECT_EQ(Rest.Text(), "7,13 h");
    EXPECT_EQ(Teil.Text(), "BUZ 12");
    Runs.Cancel();
    EXPECT_EQ(Rest.Text(), "12,50 h");
    EXPECT_EQ(Teil.Text(), "BUZ 11");

    // The source off or the dataset closed: nothing shows.
    const QStringList none{"", "", "", "", ""};
    HeaderSource.SetEnabled(false);
    EXPECT_EQ(Shown(), none);
    // Moving while off shows nothing; switching on shows the row reached meanwhile.
    Runs.Next();
    EXPECT_EQ(Shown(), none);
    HeaderSource.SetEnabled(true);
    EXPECT_EQ(Teil.Text(), "IRF 540");
    EXPECT_EQ(Laufzeit.Text(), "168 h");

    Runs.Close();
    EXPECT_EQ(Shown(), none);
    EXPECT_EQ(Teil.Field(), nullptr);
    Runs.Open();
    EXPECT_EQ(Teil.Text(), "BUZ 11");
    EXPECT_EQ(Kommentar.Text(), "erster Lauf\nzweite Zeile");
}

TEST_F(BoundEdits, TypingReachesTheFieldOnlyWithAutoEdit)
{
    Kommentar.show();
    Kommentar.setFocus();
    Kommentar.moveCursor(QTextCursor::End);
    QTest::keyClicks(&Kommentar, QStringLiteral("xyz"));
    QTest::keyClick(&Kommentar, Qt::Key_Backspace);
    QTest::keyClick(&Kommentar, Qt::Key_Return);
    EXPECT_EQ(Runs.State(), dsBrowse);
    EXPECT_EQ(Kommentar.Text(), "erster Lauf\nzweite Zeile");
    // Still usable for reading: enabled, and the text can be selected.
    EXPECT_TRUE(Kommentar.isEnabled());
    EXPECT_TRUE(Kommentar.textInteractionFlags() & Qt::TextSelectableByKeyboard);

    Teil.show();
    Teil.setFocus();
    QTest::keyClicks(&Teil, QStringLiteral("Q"));
    EXPECT_EQ(Runs.State(), dsBrowse);
    EXPECT_EQ(Teil.Text(), "BUZ 11");

    // With AutoEdit the typed text reaches the field.
    HeaderSource.SetAutoEdit(true);
    Kommentar.setFocus();
    Kommentar.moveCursor(QTextCursor::End);
    QTest::keyClicks(&Kommentar, QStringLiteral("!"));
    EXPECT_EQ(Runs.State(), dsEdit);
    Runs.Post();
    EXPECT_EQ(Runs.Cell(0, KOMM).toString(), "erster Lauf\nzweite Zeile!");

    // A read-only edit refuses even when the source would allow editing.
    Teil.SetReadOnly(true);
    Teil.setFocus();
    QTest::keyClicks(&Teil, QStringLiteral("Q"));
    EXPECT_EQ(Runs.State(), dsBrowse);

    // The numeric edit takes the typed number in the process's separators and
    // holds it to its upper limit.
    IMax.show();
    IMax.setFocus();
    IMax.selectAll();
    QTest::keyClicks(&IMax, QStringLiteral("450,5"));
    QTest::keyClick(&IMax, Qt::Key_Return);
    EXPECT_EQ(Runs.State(), dsEdit);
    Runs.Post();
    EXPECT_DOUBLE_EQ(Runs.Cell(0, IMAX).toDouble(), 300.0);

    // Emptying a nullable edit stores null.
    Rest.show();
    Rest.setFocus();
    Rest.selectAll();
    QTest::keyClick(&Rest, Qt::Key_Delete);
    QTest::keyClick(&Rest, Qt::Key_Return);
    Runs.Post();
    EXPECT_TRUE(Runs.Cell(0, REST).isNull());
    EXPECT_EQ(Rest.Text(), "");
}

TEST(CurrencyEdit, UnboundValueFormatChangeEventAndCountingWhileTyping)
{
    TFormatSettings saved = FormatSettings;
    FormatSettings.DecimalSeparator = u',';
    FormatSettings.ThousandSeparator = u'.';
    TdxCurrencyEdit edit;
    int changes = 0;
    edit.OnChange = [&](QObject* sender) {
        EXPECT_EQ(sender, &edit);
        ++changes;
    };
    EXPECT_EQ(edit.Text(), "");
    edit.SetValue(12345.678);
    EXPECT_EQ(edit.Text(), "12.345,68");
    edit.SetValue(12345.678);
    EXPECT_EQ(changes, 1);
    edit.SetDisplayFormat(QStringLiteral(",0.0 V"));
    EXPECT_EQ(edit.Text(), "12.345,7 V");
    edit.Clear();
    EXPECT_EQ(edit.Text(), "");
    EXPECT_EQ(changes, 2);
    edit.SetMinValue(-10000.0);
    edit.SetMaxValue(50000.0);
    EXPECT_EQ(edit.Limited(-20000), -10000.0);
    EXPECT_EQ(edit.Limited(60000), 50000.0);
    EXPECT_EQ(edit.Limited(17), 17.0);
    // A giant value shows, and with the focus edits, in exponent form; leaving the
    // edit reads the text back as the value it was.
    edit.SetMinValue(0);
    edit.SetMaxValue(0);
    edit.SetValue(1e300);
    EXPECT_EQ(edit.Text(), "1,0E+300 V");
    edit.show();
    edit.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&edit));
    edit.setFocus();
    ASSERT_TRUE(edit.hasFocus());
    EXPECT_EQ(edit.Text(), "1E300");
    edit.SetValue(-2.5e19);
    EXPECT_EQ(edit.Text(), "-2,5E19");
    QTest::keyClick(&edit, Qt::Key_End);
    QTest::keyClicks(&edit, QStringLiteral("0"));
    QTest::keyClick(&edit, Qt::Key_Return);
    EXPECT_EQ(edit.Value(), -2.5e190);
    edit.SetValue(-2.5e17);
    EXPECT_EQ(edit.Text(), "-250000000000000000,00");

    // Counting while typing: without the option only Enter or leaving counts.
    edit.SetDisplayFormat(QStringLiteral(",0.00"));
    edit.SetNullable(false);
    edit.SetMinValue(-10);
    edit.SetMaxValue(50);
    edit.SetValue(3);
    QList<double> seen;
    edit.OnChange = [&](QObject*) { seen << edit.Value(); };
    edit.selectAll();
    QTest::keyClicks(&edit, QStringLiteral("12"));
    EXPECT_TRUE(seen.isEmpty());
    QTest::keyClick(&edit, Qt::Key_Return);
    EXPECT_EQ(seen, (QList<double>{12}));
    seen.clear();
    edit.SetChangeWhileTyping(true);
    edit.selectAll();
    QTest::keyClicks(&edit, QStringLiteral("-1,5"));
    // "-" is no number yet; "-1", "-1," (the same value) and "-1,5" are.
    EXPECT_EQ(seen, (QList<double>{-1, -1.5}));
    EXPECT_EQ(edit.text(), "-1,5");   // the text stays as typed
    // Beyond the limits the value is clamped as it would be on Enter.
    seen.clear();
    edit.selectAll();
    QTest::keyClicks(&edit, QStringLiteral("-20"));
    EXPECT_EQ(seen, (QList<double>{-2, -10}));
    // Enter does not count the same value again, and shows it as a number.
    seen.clear();
    QTest::keyClick(&edit, Qt::Key_Return);
    EXPECT_TRUE(seen.isEmpty());
    EXPECT_EQ(edit.text(), "-10,00");
    FormatSettings = saved;
}

}  // namespace
