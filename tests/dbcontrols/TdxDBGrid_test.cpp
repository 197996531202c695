// The data grid and the navigator over an in-memory dataset: texts by column kind,
// the band header, and the navigator's buttons along the rows.
#include "dbcontrols/TSMDBNavigator.h"
#include "dbcontrols/TdxDBGrid.h"
#include "tests/dbaccess/MemDataSet.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>

namespace {
class GridFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        fSaved = FormatSettings;
        FormatSettings.DecimalSeparator = u',';
        FormatSettings.ThousandSeparator = u'.';
        Rows.AddColumn(QStringLiteral("NR"), ftInteger);
        Rows.AddColumn(QStringLiteral("WERT"), ftFloat);
        Rows.AddColumn(QStringLiteral("TEXT"), ftString, 20);
        for (int i = 0; i < 5; ++i) {
            const int r = Rows.AddRow();
            Rows.SetCell(r, 0, i + 1);
            Rows.SetCell(r, 1, i == 2 ? QVariant() : QVariant(1234.5 * (i + 1)));
            Rows.SetCell(r, 2, QStringLiteral("Zeile %1").arg(i + 1));
        }
        Source.SetDataSet(&Rows);
        Rows.Open();
    }
    void TearDown() override
    {
        Rows.Close();
        FormatSettings = fSaved;
    }
    TMemDataSet Rows;
    TDataSource Source;

private:
    TFormatSettings fSaved;
};
}

TEST_F(GridFixture, ColumnsShowTheirTextsAndTheBandStandsAboveTheCaptions)
{
    TdxDBGrid grid;
    grid.SetDataSource(&Source);
    grid.CreateColumn<TdxDBGridMaskColumn>(QStringLiteral("NR"));
    auto* wert = grid.CreateColumn<TdxDBGridCurrencyColumn>(QStringLiteral("WERT"));
    wert->SetDisplayFormat(QStringLiteral(",0.000"));
    wert->SetCaption(QStringLiteral("Wert [V]"));
    auto* text = grid.CreateColumn<TdxDBGridColumn>(QStringLiteral("TEXT"));
    grid.SetBandCaption(QStringLiteral("Versuch X"));
    QAbstractItemModel* m = grid.model();
    ASSERT_EQ(m->rowCount(), 5);
    EXPECT_EQ(m->headerData(0, Qt::Horizontal, Qt::DisplayRole).toString(), QStringLiteral("NR"));
    EXPECT_EQ(m->headerData(1, Qt::Horizontal, Qt::DisplayRole).toString(), QStringLiteral("Wert [V]"));
    EXPECT_EQ(m->data(m->index(1, 1)).toString(), QStringLiteral("2.469,000"));
    EXPECT_EQ(m->data(m->index(2, 1)).toString(), QString()) << "a null is empty, not 0";
    EXPECT_EQ(m->data(m->index(4, 2)).toString(), QStringLiteral("Zeile 5"));
    EXPECT_EQ(Rows.RecNo(), 1) << "reading cells leaves the cursor";

    // A hidden column stays in the model but not on screen.
    text->SetVisible(false);
    EXPECT_TRUE(grid.isColumnHidden(2));
    EXPECT_EQ(grid.VisibleColumns().size(), 2u);

    // The header is taller by the band, and the band's caption is drawn there.
    grid.resize(400, 200);
    grid.show();
    QApplication::processEvents();
    auto* header = static_cast<TdxDBGridHeader*>(grid.horizontalHeader());
    EXPECT_GT(header->height(), header->BandHeight() + 10);
    const QImage shot = grid.grab().toImage();
    const QImage blank = [&] {
        grid.SetBandCaption(QString());
        QApplication::processEvents();
        return grid.grab().toImage();
    }();
    bool differs = false;
    for (int y = 0; y < header->BandHeight() && !differs; ++y)
        for (int x = 0; x < shot.width() && !differs; ++x)
            differs = shot.pixel(x, y) != blank.pixel(x, y);
    EXPECT_TRUE(differs) << "the band caption is painted in the band's strip";

    // Closing empties the grid; opening fills it again on the first row.
    Rows.Close();
    EXPECT_EQ(m->rowCount(), 0);
    Rows.Open();
    EXPECT_EQ(m->rowCount(), 5);
    EXPECT_EQ(grid.currentIndex().row(), 0);
}

TEST_F(GridFixture, NavigatorButtonsFollowThePosition)
{
    TSMDBNavigator nav;
    nav.SetDataSource(&Source);
    const auto enabled = [&nav] {
        QString s;
        for (auto b : {TSMDBNavigator::nbFirst, TSMDBNavigator::nbPrior, TSMDBNavigator::nbNext,
                       TSMDBNavigator::nbLast})
            s += nav.Button(b)->isEnabled() ? u'1' : u'0';
        return s;
    };
    EXPECT_EQ(enabled(), QStringLiteral("0011"));
    nav.Button(TSMDBNavigator::nbNext)->click();
    EXPECT_EQ(Rows.RecNo(), 2);
    EXPECT_EQ(enabled(), QStringLiteral("1111"));
    nav.Button(TSMDBNavigator::nbPrior)->click();
    EXPECT_EQ(enabled(), QStringLiteral("0011")) << "back on the first row by a step";
    nav.Button(TSMDBNavigator::nbLast)->click();
    EXPECT_EQ(Rows.RecNo(), 5);
    EXPECT_EQ(enabled(), QStringLiteral("1100"));
    nav.BtnClick(TSMDBNavigator::nbNext);   // disabled: nothing happens
    EXPECT_EQ(Rows.RecNo(), 5);
    Rows.Close();
    EXPECT_EQ(enabled(), QStringLiteral("0000"));
}
