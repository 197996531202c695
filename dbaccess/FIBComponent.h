#pragma once
// Small building blocks of the database layer: a named component with owner and
// loading state, text lines that report their changes, event lists that survive
// the death of their targets, and the timer that brings idle time-outs to the
// main thread.

#include <QString>
#include <QStringList>
#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

class TComponent;
using TNotifyEvent = std::function<void(TComponent* sender)>;

enum TComponentStateFlag : std::uint8_t { csLoading = 1, csDesigning = 2, csDestroying = 4 };

// A named object with an owner. While loading, property wishes are stored and
// honoured by Loaded(); designing is the state of a form editor, never set by the
// program itself.
class TComponent {
public:
    explicit TComponent(TComponent* owner = nullptr) : fOwner(owner) {}
    virtual ~TComponent();
    TComponent(const TComponent&) = delete;
    TComponent& operator=(const TComponent&) = delete;

    TComponent* Owner() const { return fOwner; }
    QString Name() const { return fName; }
    virtual void SetName(const QString& name) { fName = name; }

    std::uint8_t ComponentState() const { return fState; }
    bool IsLoading() const { return fState & csLoading; }
    bool IsDesigning() const { return fState & csDesigning; }
    bool IsDestroying() const { return fState & csDestroying; }
    void SetDesigning(bool value);

    // Loading brackets: properties set in between take effect at EndLoading.
    void BeginLoading() { fState |= csLoading; }
    void EndLoading();

    // Calls back when this component is destroyed; key identifies the listener.
    void FreeNotification(const void* key, std::function<void(TComponent*)> callback);
    void RemoveFreeNotification(const void* key);

protected:
    virtual void Loaded() {}
    // Derived destructors call this first, so that virtual state checks see it.
    void MarkDestroying() { fState |= csDestroying; }

private:
    TComponent* fOwner;
    QString fName;
    std::uint8_t fState = 0;
    std::vector<std::pair<const void*, std::function<void(TComponent*)>>> fFreeNotifies;
};

// Text lines name=value that tell their owner of every change.
class TFIBStringList {
public:
    virtual ~TFIBStringList() = default;

    int Count() const { return static_cast<int>(fLines.size()); }
    QString Strings(int index) const { return fLines.value(index); }
    void SetStrings(int index, const QString& text);
    void Add(const QString& text);
    void Insert(int index, const QString& text);
    void Delete(int index);
    void Clear();
    const QStringList& Lines() const { return fLines; }
    void Assign(const QStringList& lines);
    // Lines joined by line breaks; setting splits at any line break.
    QString Text() const;
    void SetText(const QString& text);
    // Index of the first line whose name part (before "=") equals name exactly.
    int IndexOfName(const QString& name) const;
    // Writes a line without telling the owner (a trimmed line written back).
    void PutQuiet(int index, const QString& text) { fLines[index] = text; }

    // Asked before every change; may raise to refuse it.
    std::function<void()> OnChanging;
    std::function<void()> OnChange;

private:
    void Changing()
    {
        if (OnChanging)
            OnChanging();
    }
    void Changed()
    {
        if (OnChange)
            OnChange();
    }
    QStringList fLines;
};

// Notification lists: a target adds a handler once (adding again returns the first
// index) and its entries go away when the target is destroyed.
template <class... Args>
class TEventList {
public:
    using Handler = std::function<void(Args...)>;
    TEventList() = default;
    ~TEventList()
    {
        std::lock_guard lock(fLock);
        for (auto& entry : fEntries)
            if (entry.Target)
                entry.Target->RemoveFreeNotification(this);
    }
    TEventList(const TEventList&) = delete;
    TEventList& operator=(const TEventList&) = delete;

    int Add(TComponent* target, Handler handler)
    {
        std::lock_guard lock(fLock);
        for (std::size_t i = 0; i < fEntries.size(); ++i)
            if (fEntries[i].Target == target)
                return static_cast<int>(i);
        fEntries.push_back({target, std::move(handler)});
        if (target)
            target->FreeNotification(this, [this](TComponent* gone) { Remove(gone); });
        return static_cast<int>(fEntries.size()) - 1;
    }
    void Remove(TComponent* target)
    {
        std::lock_guard lock(fLock);
        std::erase_if(fEntries, [target](const Entry& e) { return e.Target == target; });
    }
    int Count() const
    {
        std::lock_guard lock(fLock);
        return static_cast<int>(fEntries.size());
    }
    // Calls every handler, first to last or last to first.
    void Call(bool reverse, Args... args)
    {
        std::vector<Handler> handlers;
        {
            std::lock_guard lock(fLock);
            for (auto& e : fEntries)
                handlers.push_back(e.Callback);
        }
        if (reverse)
            std::reverse(handlers.begin(), handlers.end());
        for (auto& h : handlers)
            if (h)
                h(args...);
    }

private:
    struct Entry {
        TComponent* Target;
        Handler Callback;
    };
    mutable std::mutex fLock;
    std::vector<Entry> fEntries;
};

using TNotifyEventList = TEventList<TComponent*>;

// A repeating timer whose ticks arrive on the main thread (through its event loop)
// while Synchronized, or on the timer's own thread otherwise. Enable/disable from
// any thread; re-enabling restarts the interval.
class TFIBCustomTimer {
public:
    TFIBCustomTimer();
    ~TFIBCustomTimer();
    TFIBCustomTimer(const TFIBCustomTimer&) = delete;
    TFIBCustomTimer& operator=(const TFIBCustomTimer&) = delete;

    int Interval() const;
    void SetInterval(int ms);
    bool Enabled() const;
    void SetEnabled(bool value);
    // Disable and enable: the next tick comes one full interval from now.
    void Restart();
    bool Synchronized = true;
    std::function<void()> OnTimer;

    int Id() const { return fId; }

private:
    int fId;
};

// Milliseconds of a steady clock, for idle measurements.
std::int64_t FIBTickCount();

// Optional receiver of the layer's own trace lines.
enum TLogFlag { lfQPrepare, lfQExecute, lfQFetch, lfConnect, lfTransact, lfService, lfMisc };
class ISQLLogger {
public:
    virtual ~ISQLLogger() = default;
    virtual void WriteData(const QString& componentName, const QString& operation, const QString& value,
                           TLogFlag flag) = 0;
};
