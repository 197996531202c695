// The data grid and the navigator over the runs in memory: texts by column kind,
// the band header, and the navigator's buttons along the rows.
#include "dbcontrols/TSMDBNavigator.h"
#include "dbcontrols/TdxDBGrid.h"
#include "RunFixture.h"

#include <QApplication>
#include <QImage>

namespace {
class GridFixture : public RunFixture {};
}

TEST_F(GridFixture, ColumnsShowTheirTextsAndTheBandStandsAboveTheCaptions)
{
    TdxDBGrid grid;
    grid.SetDataSource(&ListSource);
    grid.CreateColumn<TdxDBGridMaskColumn>(QStringLiteral("VERSUCHSNR"));
    auto* dauer = grid.CreateColumn<TdxDBGridCurrencyColumn>(QStringLiteral("DAUER_GESAMT_STD"));
    dauer->SetDisplayFormat(QStringLiteral(",0.000"));
    dauer->SetCaption(QStringLiteral("Dauer [h]"));
    grid.CreateColumn<TdxDBGridCurrencyColumn>(QStringLiteral("RESTLAUFZEIT"));
    auto* text = grid.CreateColumn<TdxDBGridColumn>(QStringLiteral("TEILENR"));
    grid.SetBandCaption(QStringLiteral("Versuch X"));
    QAbstractItemModel* m = grid.model();
    ASSERT_EQ(m->rowCount(), 3);
    EXPECT_EQ(m->headerData(0, Qt::Horizontal, Qt::DisplayRole).toString(), QStringLiteral("VERSUCHSNR"));
    EXPECT_EQ(m->headerData(1, Qt::Horizontal, Qt::DisplayRole).toString(), QStringLiteral("Dauer [h]"));
    EXPECT_EQ(m->data(m->index(0, 1)).toString(), QStringLiteral("1.234,400"));
    EXPECT_EQ(m->data(m->index(1, 2)).toString(), QString()) << "a null is empty, not 0";
    EXPECT_EQ(m->data(m->index(2, 3)).toString(), QStringLiteral("BYV 26"));
    EXPECT_EQ(Runs.RecNo(), 1) << "reading cells leaves the cursor";

    // A hidden column stays in the model but not on screen.
    text->SetVisible(false);
    EXPECT_TRUE(grid.isColumnHidden(3));
    EXPECT_EQ(grid.VisibleColumns().size(), 3u);

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
    Runs.Close();
    EXPECT_EQ(m->rowCount(), 0);
    Runs.Open();
    EXPECT_EQ(m->rowCount(), 3);
    EXPECT_EQ(grid.currentIndex().row(), 0);
}

TEST_F(GridFixture, NavigatorButtonsFollowThePosition)
{
    TSMDBNavigator nav;
    nav.SetDataSource(&ListSource);
    const auto enabled = [&nav] {
        QString s;
        for (auto b : {TSMDBNavigator::nbFirst, TSMDBNavigator::nbPrior, TSMDBNavigator::nbNext,
                       TSMDBNavigator::nbLast})
            s += nav.Button(b)->isEnabled() ? u'1' : u'0';
        return s;
    };
    EXPECT_EQ(enabled(), QStringLiteral("0011"));
    nav.Button(TSMDBNavigator::nbNext)->click();
    EXPECT_EQ(Runs.RecNo(), 2);
    EXPECT_EQ(enabled(), QStringLiteral("1111"));
    nav.Button(TSMDBNavigator::nbPrior)->click();
    EXPECT_EQ(enabled(), QStringLiteral("0011")) << "back on the first row by a step";
    nav.Button(TSMDBNavigator::nbLast)->click();
    EXPECT_EQ(Runs.RecNo(), 3);
    EXPECT_EQ(enabled(), QStringLiteral("1100"));
    nav.BtnClick(TSMDBNavigator::nbNext);   // disabled: nothing happens
    EXPECT_EQ(Runs.RecNo(), 3);
    Runs.Close();
    EXPECT_EQ(enabled(), QStringLiteral("0000"));
}
