// The run selector over a real dataset: its list, a choice moving the dataset, and
// what it shows as the dataset moves or closes.
#include "RunFixture.h"
#include "dbcontrols/TdxDBEdit.h"
#include "dbcontrols/TdxLookupEdit.h"

#include <QLineEdit>
#include <QTest>

namespace {

class LookupEdit : public RunFixture {
protected:
    void SetUp() override
    {
        RunFixture::SetUp();
        Lookup.SetListSource(&ListSource);
        Lookup.SetKeyFieldName(QStringLiteral("VERSUCHSNR"));
        Lookup.SetListFieldName(QStringLiteral("VERSUCHSNR"));
        Lookup.SetDropDownRows(20);
        Lookup.OnChange = [this](QObject* sender) {
            EXPECT_EQ(sender, &Lookup);
            Changes << Lookup.Text();
        };
        Teil.SetDataSource(&HeaderSource);
        Teil.SetDataField(QStringLiteral("TEILENR"));
        HeaderSource.SetEnabled(false);
        Lookup.show();
    }
    TdxLookupEdit Lookup;
    TdxDBEdit Teil;
    QStringList Changes;
};

TEST_F(LookupEdit, ListsEveryRowStartsEmptyAndAChoiceMovesTheDatasetAndFiresOnce)
{
    ASSERT_EQ(Lookup.count(), 3);
    EXPECT_EQ(Lookup.itemText(0), "V-0101");
    EXPECT_EQ(Lookup.itemText(2), "V-0103");
    EXPECT_EQ(Lookup.Text(), "");
    EXPECT_FALSE(Lookup.KeyValue().isValid());
    // Reading the list leaves the cursor where it was.
    EXPECT_EQ(Runs.RecNo(), 1);
    EXPECT_EQ(Runs.FieldByName(QStringLiteral("VERSUCHSNR"))->AsString(), "V-0101");

    emit Lookup.activated(2);
    EXPECT_EQ(Runs.RecNo(), 3);
    EXPECT_EQ(Lookup.Text(), "V-0103");
    EXPECT_EQ(Lookup.KeyValue().toString(), "V-0103");
    EXPECT_EQ(Changes, QStringList{"V-0103"});
    // The header, on its own source over the same dataset, follows once switched on.
    HeaderSource.SetEnabled(true);
    EXPECT_EQ(Teil.Text(), "BYV 26");

    // Typing a number of the list and Enter chooses that row as well.
    Lookup.lineEdit()->setFocus();
    Lookup.lineEdit()->selectAll();
    QTest::keyClicks(Lookup.lineEdit(), QStringLiteral("V-0102"));
    QTest::keyClick(Lookup.lineEdit(), Qt::Key_Return);
    EXPECT_EQ(Runs.RecNo(), 2);
    EXPECT_EQ(Teil.Text(), "IRF 540");
    EXPECT_EQ(Changes, (QStringList{"V-0103", "V-0102"}));
}

TEST_F(LookupEdit, FollowsTheDatasetWithoutFiringAndEmptiesWhenClosed)
{
    emit Lookup.activated(1);
    Runs.First();
    EXPECT_EQ(Lookup.Text(), "V-0101");
    EXPECT_EQ(Lookup.currentIndex(), 0);
    Runs.Close();
    EXPECT_EQ(Lookup.Text(), "");
    EXPECT_EQ(Lookup.count(), 0);
    // Reopened (as a refresh does) and moved back to the chosen row, it shows it again.
    Runs.Open();
    Runs.Locate(QStringLiteral("AUFTRAGKEY"), 102, {});
    EXPECT_EQ(Lookup.Text(), "V-0102");
    EXPECT_EQ(Lookup.count(), 3);
    ListSource.SetEnabled(false);
    EXPECT_EQ(Lookup.Text(), "");
    ListSource.SetEnabled(true);
    EXPECT_EQ(Lookup.Text(), "V-0102");
    EXPECT_EQ(Changes, QStringList{"V-0102"});
}

TEST_F(LookupEdit, ClearingTheTextFiresWithAnEmptyText)
{
    emit Lookup.activated(0);
    Lookup.lineEdit()->setFocus();
    Lookup.lineEdit()->selectAll();
    QTest::keyClick(Lookup.lineEdit(), Qt::Key_Backspace);
    EXPECT_EQ(Changes, (QStringList{"V-0101", ""}));
    EXPECT_FALSE(Lookup.KeyValue().isValid());
    // The dataset stays where it was, and moving it no longer fills the text.
    EXPECT_EQ(Runs.RecNo(), 1);
    Runs.Next();
    EXPECT_EQ(Lookup.Text(), "");

    EXPECT_TRUE(Lookup.SetKeyValue(QStringLiteral("V-0103")));
    EXPECT_EQ(Runs.RecNo(), 3);
    EXPECT_EQ(Lookup.Text(), "V-0103");
    EXPECT_FALSE(Lookup.SetKeyValue(QStringLiteral("V-9999")));
    EXPECT_EQ(Lookup.Text(), "");
    EXPECT_EQ(Changes.size(), 2);
}

}  // namespace
