#include "frame/ThdTimer.h"

#include <QCoreApplication>
#include <chrono>

namespace {
QThread::Priority ToQtPriority(TThreadPriority p)
{
    switch (p) {
    case tpIdle: return QThread::IdlePriority;
    case tpLowest: return QThread::LowestPriority;
    case tpLower: return QThread::LowPriority;
    case tpNormal: return QThread::NormalPriority;
    case tpHigher: return QThread::HighPriority;
    case tpHighest: return QThread::HighestPriority;
    case tpTimeCritical: return QThread::TimeCriticalPriority;
    }
    return QThread::NormalPriority;
}
}

// ---- TTimerThread ----

TTimerThread::TTimerThread(TThreadedTimer* owner) : fOwner(owner) {}

std::uint32_t TTimerThread::Interval() const
{
    std::lock_guard lock(fMutex);
    return fInterval;
}

void TTimerThread::SetInterval(std::uint32_t value)
{
    std::lock_guard lock(fMutex);
    fInterval = value;
}

void TTimerThread::SetPriority(TThreadPriority value)
{
    fPriority = value;
    if (isRunning())
        setPriority(ToQtPriority(value));
}

void TTimerThread::SignalStopEvent()
{
    {
        std::lock_guard lock(fMutex);
        fSignalled = true;
    }
    fWake.notify_all();
}

void TTimerThread::Suspend()
{
    std::lock_guard lock(fMutex);
    fSuspended = true;
}

void TTimerThread::Resume()
{
    bool terminated = false;
    {
        std::lock_guard lock(fMutex);
        fSuspended = false;
        terminated = fTerminated;
    }
    fWake.notify_all();
    // A thread that never ran has nothing to finish when it is told to end.
    if (!terminated && !isRunning() && !isFinished())
        start(ToQtPriority(fPriority));
}

void TTimerThread::Terminate()
{
    {
        std::lock_guard lock(fMutex);
        fTerminated = true;
    }
    fWake.notify_all();
}

void TTimerThread::WaitFor()
{
    // A tick posted to the main thread would wait for a loop that is itself waiting
    // here; delivering it (the tick sees the owner going and does nothing) frees the thread.
    while (!wait(QDeadlineTimer(10)))
        QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

void TTimerThread::Orphan()
{
    fOwner = nullptr;
    connect(this, &QThread::finished, this, &QObject::deleteLater);
}

void TTimerThread::run()
{
    std::unique_lock lock(fMutex);
    while (!fTerminated) {
        fWake.wait(lock, [this] { return !fSuspended || fTerminated; });
        if (fTerminated)
            break;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(fInterval);
        fWake.wait_until(lock, deadline, [this] { return fSignalled || fTerminated || fSuspended; });
        if (fTerminated)
            break;
        if (fSignalled) {
            // A signal restarts the wait; it never ticks.
            fSignalled = false;
            continue;
        }
        if (fSuspended)
            continue;   // frozen mid-wait: the resume signals and so starts a fresh wait
        lock.unlock();
        QMetaObject::invokeMethod(this, [this] { DoTimer(); }, Qt::BlockingQueuedConnection);
        lock.lock();
    }
}

void TTimerThread::DoTimer()
{
    if (!fOwner)
        return;
    fInTick = true;
    fOwner->Timer();
    // The owner may have gone during its tick; this object stays until the loop ends.
    fInTick = false;
}

// ---- TThreadedTimer ----

TThreadedTimer::TThreadedTimer(QObject* owner) : QObject(owner), fTimerThread(new TTimerThread(this)) {}

TThreadedTimer::~TThreadedTimer()
{
    fDestroying = true;
    SetEnabled(false);
    fTimerThread->Terminate();
    fTimerThread->SignalStopEvent();
    fTimerThread->Resume();
    if (fTimerThread->InTick()) {
        // Destroyed by its own handler: the thread waits in the hand-over for this
        // very call to return, so it cannot be waited for here.
        fTimerThread->Orphan();
        return;
    }
    fTimerThread->WaitFor();
    delete fTimerThread;
}

void TThreadedTimer::SetEnabled(bool value)
{
    if (value == fEnabled)
        return;
    fEnabled = value;
    if (fEnabled) {
        if (fTimerThread->Interval() > 0 || fAllowZero) {
            fTimerThread->SignalStopEvent();
            fTimerThread->Resume();
        }
    } else {
        fTimerThread->Suspend();
    }
}

std::uint32_t TThreadedTimer::Interval() const
{
    return fTimerThread->Interval();
}

void TThreadedTimer::SetInterval(std::uint32_t value)
{
    if (value == Interval())
        return;
    const bool wasEnabled = fEnabled;
    SetEnabled(false);
    fTimerThread->SetInterval(value);
    SetEnabled(wasEnabled);
}

TThreadPriority TThreadedTimer::ThreadPriority() const
{
    return fTimerThread->Priority();
}

void TThreadedTimer::SetThreadPriority(TThreadPriority value)
{
    fTimerThread->SetPriority(value);
}

void TThreadedTimer::Timer()
{
    if (!fEnabled || !OnTimer || fDestroying)
        return;
    // A copy, since the handler may replace OnTimer or destroy the timer.
    const auto handler = OnTimer;
    try {
        handler(this);
    } catch (...) {
        // A failing handler must not stop the ticks.
    }
}
