#pragma once
// A timer that does not depend on the window message queue for its timing: a thread
// of its own waits out the interval, and only the tick runs on the main thread,
// handed over there with a blocking call so that the waiting thread stands still
// until the handler has returned.

#include <QObject>
#include <QThread>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

enum TThreadPriority { tpIdle, tpLowest, tpLower, tpNormal, tpHigher, tpHighest, tpTimeCritical };

class TThreadedTimer;

// The waiting thread. The platform threads cannot be frozen from outside, so
// "suspended" is a state the loop honours: a suspended thread neither waits out an
// interval nor ticks until it is resumed.
class TTimerThread : public QThread {
public:
    explicit TTimerThread(TThreadedTimer* owner);

    std::uint32_t Interval() const;
    void SetInterval(std::uint32_t value);
    TThreadPriority Priority() const { return fPriority; }
    void SetPriority(TThreadPriority value);

    // The auto-reset stop event: a signal ends a wait in progress without a tick.
    void SignalStopEvent();
    void Suspend();
    // Starts the thread on its first resume.
    void Resume();
    void Terminate();
    // Waits for the end of the loop, delivering a tick that is waiting for the main
    // thread meanwhile, so that a destruction never hangs on the hand-over.
    void WaitFor();
    // True while the main thread runs this thread's tick.
    bool InTick() const { return fInTick; }
    // The owner is going away while its own tick runs: the thread ends after the
    // tick and frees itself.
    void Orphan();

protected:
    void run() override;

private:
    void DoTimer();

    TThreadedTimer* fOwner;
    mutable std::mutex fMutex;
    std::condition_variable fWake;
    std::uint32_t fInterval = 1000;
    bool fSignalled = false;
    bool fSuspended = true;
    bool fTerminated = false;
    TThreadPriority fPriority = tpNormal;
    bool fInTick = false;   // main thread only
};

class TThreadedTimer : public QObject {
public:
    explicit TThreadedTimer(QObject* owner = nullptr);
    ~TThreadedTimer() override;

    bool AllowZero() const { return fAllowZero; }
    void SetAllowZero(bool value) { fAllowZero = value; }
    bool Enabled() const { return fEnabled; }
    void SetEnabled(bool value);
    std::uint32_t Interval() const;
    void SetInterval(std::uint32_t value);
    TThreadPriority ThreadPriority() const;
    void SetThreadPriority(TThreadPriority value);

    std::function<void(TThreadedTimer* Sender)> OnTimer;

private:
    friend class TTimerThread;
    // The tick on the main thread.
    void Timer();

    TTimerThread* fTimerThread;
    bool fEnabled = false;
    bool fAllowZero = false;
    bool fDestroying = false;
};
