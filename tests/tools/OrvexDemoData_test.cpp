#include "tools/OrvexDemoData.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QDateTime>
#include <set>

TEST(DemoData, FinishedRunStoresAtTwoIntervalsWithItsEvents)
{
    const auto runs = DemoRuns();
    const TDemoRun& htrb = FindDemoRun(runs, "HTRB-2026-017");
    // 24 h at one minute, then 976 h at ten minutes, both ends included.
    EXPECT_EQ(htrb.Zeilen, 24 * 60 + 976 * 6 + 1);
    const TDemoRowGenerator g(htrb);
    EXPECT_DOUBLE_EQ(g.HourOfRow(60), 1.0);
    EXPECT_NEAR(g.HourOfRow(1441) - g.HourOfRow(1440), 10.0 / 60.0, 1e-9);
    EXPECT_EQ(g.Row(0).Ereignis, "Versuchsstart");
    EXPECT_EQ(g.Row(htrb.Zeilen - 1).Ereignis, "Versuchsende");
    EXPECT_EQ(g.Row(htrb.Zeilen - 1).Status, "9");
    EXPECT_EQ(g.Row(500).Ereignis, "Speicherzyklus");
    std::set<QString> states;
    double lastTime = -1;
    for (int k = 0; k < htrb.Zeilen; k += 97) {
        const TDemoRow r = g.Row(k);
        states.insert(r.Status);
        EXPECT_GT(r.Zeitpunkt, lastTime);
        lastTime = r.Zeitpunkt;
        EXPECT_EQ(r.Satznr, k + 1);
    }
    EXPECT_TRUE(states.count("3") && states.count("4"));
    // At test conditions the chamber holds its temperature and the voltage stands.
    const TDemoRow mid = g.Row(3000);
    EXPECT_NEAR(mid.T, 150, 1);
    EXPECT_NEAR(mid.U, 960, 2);
    EXPECT_LT(mid.RF, 5);
    for (double i : mid.I) {
        EXPECT_GT(i, 0);
        EXPECT_LT(i, htrb.I_Max);
    }
    EXPECT_DOUBLE_EQ(htrb.Restlaufzeit, 0);
}

TEST(DemoData, FailingDeviceJumpsIsSwitchedOffAndReadsZero)
{
    const auto runs = DemoRuns();
    const TDemoRun& wet = FindDemoRun(runs, "H3TRB 2026/021");
    const TDemoRowGenerator g(wet);
    int jump = -1;
    for (int k = 1; k < wet.Zeilen; ++k)
        if (!g.Row(k).Fehler.isEmpty()) {
            jump = k;
            break;
        }
    ASSERT_GT(jump, 0);
    const TDemoRow at = g.Row(jump);
    EXPECT_EQ(at.Fehler, "Stromabschaltung HSMM");
    EXPECT_GT(at.I[3], wet.I_Max);
    EXPECT_LT(g.Row(jump - 1).I[3], wet.I_Max * 0.1);
    EXPECT_EQ(g.Row(jump + 1).I[3], 0.0);
    EXPECT_GT(g.Row(jump + 1).I[2], 0.0);   // the others go on
    EXPECT_TRUE(g.Row(jump + 1).Fehler.isEmpty());
    // Unused channels read 0 throughout.
    EXPECT_EQ(g.Row(jump + 10).I[7], 0.0);
    EXPECT_EQ(g.Row(jump + 10).I[8], 0.0);
    EXPECT_NEAR(g.Row(2000).RF, 85, 2);
    EXPECT_GT(wet.Restlaufzeit, 0);
    EXPECT_TRUE(wet.Versuchsnr.contains(' ') && wet.Versuchsnr.contains('/'));
}

TEST(DemoData, TheRunsCoverWhatTheProgramMustShow)
{
    const auto runs = DemoRuns(1000);
    EXPECT_EQ(FindDemoRun(runs, "HTRB-2026-023").Zeilen, 0);
    EXPECT_GE(FindDemoRun(runs, "HTRB-2026-019").I_Max, 10000.0);
    EXPECT_GT(FindDemoRun(runs, "HTRB-2026-019").BT[0].size(), 10);
    EXPECT_EQ(FindDemoRun(runs, "BENCH-GROSS").Zeilen, 1000);
    const TDemoRowGenerator big(FindDemoRun(runs, "BENCH-GROSS"));
    EXPECT_DOUBLE_EQ(big.HourOfRow(999), 999.0 / 60.0);
    std::set<QString> status;
    for (const TDemoRun& r : runs)
        status.insert(r.Status);
    EXPECT_GE(status.size(), 4u);
    // The same seed gives the same rows (DemoDbTest reads them back against a second
    // generator); different runs differ.
    EXPECT_NE(TDemoRowGenerator(runs[0]).Row(100).I[0], TDemoRowGenerator(runs[2]).Row(100).I[0]);
}
