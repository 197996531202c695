#include "frame/ThdTimer.h"
#include "tests/frame_services/TestHelpers.h"

#include <QThread>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

namespace {
struct TickLog {
    int Count = 0;
    bool AllOnMainThread = true;
    QElapsedTimer Clock;
    QList<qint64> Times;
    void Record()
    {
        ++Count;
        AllOnMainThread = AllOnMainThread && QThread::currentThread() == QCoreApplication::instance()->thread();
        Times.append(Clock.elapsed());
    }
};
}

TEST(ThdTimer, TicksArriveOnTheMainThreadAndStopWhenDisabled)
{
    TThreadedTimer timer;
    EXPECT_FALSE(timer.Enabled());

    TickLog ticks;
    ticks.Clock.start();
    timer.OnTimer = [&](TThreadedTimer* sender) {
        EXPECT_EQ(sender, &timer);
        ticks.Record();
    };
    timer.SetInterval(20);
    PumpFor(100);
    EXPECT_EQ(ticks.Count, 0) << "a timer never enabled must not tick";

    timer.SetEnabled(true);
    ASSERT_TRUE(PumpUntil([&] { return ticks.Count >= 3; }));
    EXPECT_TRUE(ticks.AllOnMainThread);

    timer.SetEnabled(false);
    PumpFor(50);   // a tick handed over just before the switch is dropped by the Enabled check
    const int stopped = ticks.Count;
    PumpFor(200);
    EXPECT_EQ(ticks.Count, stopped);
}

TEST(ThdTimer, ReenablingOrANewIntervalGivesAFullInterval)
{
    // A handler that switches the timer off and on again, as the log's flush does:
    // the next tick comes one full interval after the re-enabling, never sooner.
    constexpr int interval = 300;
    TThreadedTimer timer;
    TickLog ticks;
    ticks.Clock.start();
    qint64 reenabledAt = -1;
    timer.SetInterval(interval);
    timer.OnTimer = [&](TThreadedTimer*) {
        ticks.Record();
        timer.SetEnabled(false);
        PumpFor(interval / 2);   // work longer than half an interval inside the tick
        timer.SetEnabled(true);
        reenabledAt = ticks.Clock.elapsed();
    };
    timer.SetEnabled(true);
    ASSERT_TRUE(PumpUntil([&] { return ticks.Count >= 2; }));
    ASSERT_EQ(ticks.Times.size(), 2);
    EXPECT_GE(ticks.Times[1] - ticks.Times[0], interval + interval / 2 - 5);

    // Outside a tick: switching off and on halfway restarts the wait.
    timer.OnTimer = [&](TThreadedTimer*) { ticks.Record(); };
    timer.SetEnabled(false);
    ticks.Times.clear();
    timer.SetEnabled(true);
    PumpFor(interval / 2);
    timer.SetEnabled(false);
    timer.SetEnabled(true);
    reenabledAt = ticks.Clock.elapsed();
    ASSERT_TRUE(PumpUntil([&] { return !ticks.Times.isEmpty(); }));
    EXPECT_GE(ticks.Times.first() - reenabledAt, interval - 5);

    // A changed interval restarts the wait as well, and the timer stays enabled.
    ticks.Times.clear();
    PumpFor(interval / 2);
    timer.SetInterval(interval + 1);
    const qint64 changedAt = ticks.Clock.elapsed();
    EXPECT_TRUE(timer.Enabled());
    ASSERT_TRUE(PumpUntil([&] { return !ticks.Times.isEmpty(); }));
    EXPECT_GE(ticks.Times.first() - changedAt, interval - 5);
}

TEST(ThdTimer, ZeroIntervalTicksOnlyWithAllowZeroAndAThrowingHandlerDoesNotStopTheTicks)
{
    TThreadedTimer timer;
    int count = 0;
    timer.OnTimer = [&](TThreadedTimer*) { ++count; };
    timer.SetInterval(0);
    timer.SetEnabled(true);
    EXPECT_TRUE(timer.Enabled()) << "reads true though nothing runs";
    PumpFor(200);
    EXPECT_EQ(count, 0);

    timer.SetEnabled(false);
    timer.SetAllowZero(true);
    timer.SetEnabled(true);
    ASSERT_TRUE(PumpUntil([&] { return count >= 5; }));
    timer.SetEnabled(false);

    // A handler that throws does not stop the ticks.
    count = 0;
    timer.SetInterval(10);
    timer.OnTimer = [&](TThreadedTimer*) {
        ++count;
        if (count % 2)
            throw std::runtime_error("tick failed");
        throw 42;
    };
    timer.SetEnabled(true);
    EXPECT_TRUE(PumpUntil([&] { return count >= 4; }));
    timer.SetEnabled(false);
}

TEST(ThdTimer, DestructionReturnsInEveryState)
{
    // Never enabled: the thread never ran.
    delete new TThreadedTimer;

    // Enabled, then disabled: the thread stands suspended.
    {
        TThreadedTimer timer;
        timer.SetInterval(10);
        timer.SetEnabled(true);
        PumpFor(50);
        timer.SetEnabled(false);
    }

    // Busy: with interval 0 the thread waits in the hand-over to the main thread,
    // which does not pump while it destroys the timer.
    {
        int count = 0;
        auto* timer = new TThreadedTimer;
        timer->SetAllowZero(true);
        timer->SetInterval(0);
        timer->OnTimer = [&](TThreadedTimer*) { ++count; };
        timer->SetEnabled(true);
        ASSERT_TRUE(PumpUntil([&] { return count >= 1; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const int before = count;
        delete timer;
        EXPECT_EQ(count, before) << "no tick during destruction";
        PumpFor(50);
        EXPECT_EQ(count, before);
    }

    // Enabled with a long interval: the thread stands in its wait.
    {
        TThreadedTimer timer;
        timer.SetInterval(600000);
        timer.SetEnabled(true);
        PumpFor(20);
    }

    // Destroyed by its own handler.
    {
        int count = 0;
        auto* timer = new TThreadedTimer;
        timer->SetInterval(5);
        timer->OnTimer = [&, timer](TThreadedTimer*) {
            ++count;
            delete timer;
        };
        timer->SetEnabled(true);
        ASSERT_TRUE(PumpUntil([&] { return count >= 1; }));
        PumpFor(100);
        EXPECT_EQ(count, 1);
    }
}
