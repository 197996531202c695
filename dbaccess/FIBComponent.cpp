#include "dbaccess/FIBComponent.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <chrono>
#include <condition_variable>
#include <thread>

// ---------------------------------------------------------------- TComponent

TComponent::~TComponent()
{
    fState |= csDestroying;
    // Listeners may remove themselves while being told; work on a copy.
    auto notifies = std::move(fFreeNotifies);
    fFreeNotifies.clear();
    for (auto& [key, callback] : notifies)
        if (callback)
            callback(this);
}

void TComponent::SetDesigning(bool value)
{
    if (value)
        fState |= csDesigning;
    else
        fState &= static_cast<std::uint8_t>(~csDesigning);
}

void TComponent::EndLoading()
{
    fState &= static_cast<std::uint8_t>(~csLoading);
    Loaded();
}

void TComponent::FreeNotification(const void* key, std::function<void(TComponent*)> callback)
{
    for (auto& entry : fFreeNotifies)
        if (entry.first == key)
            return;
    fFreeNotifies.emplace_back(key, std::move(callback));
}

void TComponent::RemoveFreeNotification(const void* key)
{
    std::erase_if(fFreeNotifies, [key](const auto& entry) { return entry.first == key; });
}

// ---------------------------------------------------------------- TFIBStringList

void TFIBStringList::SetStrings(int index, const QString& text)
{
    if (index < 0 || index >= Count())
        return;
    Changing();
    fLines[index] = text;
    Changed();
}

void TFIBStringList::Add(const QString& text)
{
    Changing();
    fLines.append(text);
    Changed();
}

void TFIBStringList::Insert(int index, const QString& text)
{
    Changing();
    fLines.insert(std::clamp(index, 0, Count()), text);
    Changed();
}

void TFIBStringList::Delete(int index)
{
    if (index < 0 || index >= Count())
        return;
    Changing();
    fLines.removeAt(index);
    Changed();
}

void TFIBStringList::Clear()
{
    Changing();
    fLines.clear();
    Changed();
}

void TFIBStringList::Assign(const QStringList& lines)
{
    Changing();
    fLines = lines;
    Changed();
}

QString TFIBStringList::Text() const
{
    QString text;
    for (const QString& line : fLines)
        text += line + QStringLiteral("\r\n");
    return text;
}

void TFIBStringList::SetText(const QString& text)
{
    QString normal = text;
    normal.replace(QStringLiteral("\r\n"), QStringLiteral("\n")).replace(u'\r', u'\n');
    QStringList lines = normal.split(u'\n');
    if (!lines.isEmpty() && lines.last().isEmpty() && normal.endsWith(u'\n'))
        lines.removeLast();
    Assign(lines);
}

int TFIBStringList::IndexOfName(const QString& name) const
{
    for (int i = 0; i < Count(); ++i) {
        const QString& line = fLines[i];
        const qsizetype eq = line.indexOf(u'=');
        if (eq >= 0 && line.left(eq) == name)
            return i;
    }
    return -1;
}

// ---------------------------------------------------------------- timers

std::int64_t FIBTickCount()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

namespace {
// All timers share one waiting thread and one lock-protected table. A due timer is
// delivered by id, so a tick that arrives after its timer died finds nothing.
class TTimerService {
public:
    struct Entry {
        TFIBCustomTimer* Timer = nullptr;
        int Interval = 1000;
        bool Enabled = false;
        bool Pending = false;  // a tick is on its way to the main thread
        std::chrono::steady_clock::time_point Due;
    };

    // Never destroyed: timers of objects that live until the very end of the process
    // (and the closing of the databases at exit) still find their service.
    static TTimerService& Instance()
    {
        static TTimerService* service = new TTimerService();
        return *service;
    }

    ~TTimerService()
    {
        {
            std::lock_guard lock(fLock);
            fStop = true;
        }
        fWake.notify_all();
        if (fThread.joinable())
            fThread.join();
    }

    int Register(TFIBCustomTimer* timer)
    {
        std::lock_guard lock(fLock);
        const int id = ++fLastId;
        fEntries[id].Timer = timer;
        return id;
    }

    void Unregister(int id)
    {
        std::lock_guard lock(fLock);
        fEntries.erase(id);
    }

    template <class F>
    auto With(int id, F f)
    {
        std::lock_guard lock(fLock);
        auto result = f(fEntries[id]);
        Reschedule(fEntries[id]);
        fWake.notify_all();
        return result;
    }

    // Enables the timer with its next tick one full interval from now. A timer that
    // was running only moves its tick later, which the waiting thread finds when
    // the earlier time comes: no wake-up for the many restarts of a busy connection.
    void Restart(int id)
    {
        std::lock_guard lock(fLock);
        Entry& entry = fEntries[id];
        const bool wasEnabled = entry.Enabled;
        entry.Enabled = true;
        Reschedule(entry);
        if (!wasEnabled)
            fWake.notify_all();
    }

    template <class F>
    auto Read(int id, F f)
    {
        std::lock_guard lock(fLock);
        return f(fEntries[id]);
    }

private:
    void Reschedule(Entry& entry)
    {
        entry.Due = std::chrono::steady_clock::now() + std::chrono::milliseconds(entry.Interval);
        if (entry.Enabled && !fThread.joinable())
            fThread = std::thread([this] { Run(); });
    }

    void Run()
    {
        std::unique_lock lock(fLock);
        while (!fStop) {
            auto next = std::chrono::steady_clock::time_point::max();
            const auto now = std::chrono::steady_clock::now();
            std::vector<int> due;
            for (auto& [id, e] : fEntries) {
                if (!e.Enabled || e.Interval <= 0)
                    continue;
                if (e.Due <= now) {
                    e.Due = now + std::chrono::milliseconds(e.Interval);
                    if (!e.Pending) {
                        e.Pending = true;
                        due.push_back(id);
                    }
                }
                next = std::min(next, e.Due);
            }
            if (!due.empty()) {
                lock.unlock();
                for (int id : due)
                    Deliver(id);
                lock.lock();
                continue;
            }
            if (next == std::chrono::steady_clock::time_point::max())
                fWake.wait(lock);
            else
                fWake.wait_until(lock, next);
        }
    }

    void Deliver(int id)
    {
        bool synchronized = true;
        {
            std::lock_guard lock(fLock);
            auto it = fEntries.find(id);
            if (it == fEntries.end())
                return;
            synchronized = it->second.Timer->Synchronized;
        }
        QCoreApplication* app = QCoreApplication::instance();
        if (synchronized && app)
            QMetaObject::invokeMethod(app, [this, id] { Fire(id); }, Qt::QueuedConnection);
        else if (!synchronized)
            Fire(id);
        else
            ClearPending(id);
    }

    void ClearPending(int id)
    {
        std::lock_guard lock(fLock);
        auto it = fEntries.find(id);
        if (it != fEntries.end())
            it->second.Pending = false;
    }

    void Fire(int id)
    {
        TFIBCustomTimer* timer = nullptr;
        {
            std::lock_guard lock(fLock);
            auto it = fEntries.find(id);
            if (it == fEntries.end())
                return;
            it->second.Pending = false;
            if (!it->second.Enabled)
                return;
            timer = it->second.Timer;
        }
        if (timer->OnTimer)
            timer->OnTimer();
    }

    std::mutex fLock;
    std::condition_variable fWake;
    std::map<int, Entry> fEntries;
    std::thread fThread;
    int fLastId = 0;
    bool fStop = false;
};
}  // namespace

TFIBCustomTimer::TFIBCustomTimer() : fId(TTimerService::Instance().Register(this)) {}

TFIBCustomTimer::~TFIBCustomTimer() { TTimerService::Instance().Unregister(fId); }

int TFIBCustomTimer::Interval() const
{
    return TTimerService::Instance().Read(fId, [](auto& e) { return e.Interval; });
}

void TFIBCustomTimer::SetInterval(int ms)
{
    TTimerService::Instance().With(fId, [ms](auto& e) {
        e.Interval = ms;
        return 0;
    });
}

bool TFIBCustomTimer::Enabled() const
{
    return TTimerService::Instance().Read(fId, [](auto& e) { return e.Enabled; });
}

void TFIBCustomTimer::SetEnabled(bool value)
{
    TTimerService::Instance().With(fId, [value](auto& e) {
        e.Enabled = value;
        return 0;
    });
}

void TFIBCustomTimer::Restart() { TTimerService::Instance().Restart(fId); }
