#include "frame/CPort.h"

#include <QFile>
#include <QMetaObject>
#include <QRegularExpression>
#include <QStringDecoder>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

QString ComPortDevicePath(const QString& port)
{
    QString name = port.trimmed();
    if (name.startsWith(QLatin1String("\\\\.\\")))
        name = name.mid(4);
    if (name.startsWith(u'/'))
        return name;
    static const QRegularExpression com(QStringLiteral("^COM(\\d+)$"), QRegularExpression::CaseInsensitiveOption);
    if (const auto m = com.match(name); m.hasMatch() && m.captured(1).toInt() >= 1)
        return QStringLiteral("/dev/ttyS") + QString::number(m.captured(1).toInt() - 1);
    return QStringLiteral("/dev/") + name;
}

namespace {
QString SystemText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// What the reader thread and the main thread share. The reader alone reads the line
// and keeps what came in, so every arrival is known as such: a receive event means new
// bytes, never bytes still lying unread. The reader waits for a handed-over event to
// finish; closing marks the state cancelled, which releases that wait at once, so a
// close never has to serve the main thread's queue while it joins the reader.
struct TComShared {
    std::mutex Lock;
    std::condition_variable Changed;
    bool Cancelled = false;   // the port closes: no more events, no more waiting
    bool Done = false;        // the handed-over event has run
    QByteArray Input;         // received, not yet taken by ReadStr
    int InputSize = 1024;     // most bytes kept; beyond it they wait in the device
    int Wake = -1;            // eventfd that ends the reader's poll
    int Device = -1;
    TComEvents Mask = 0;
    TSyncMethod Sync = smThreadSync;
    TCustomComPort* Port = nullptr;

    ~TComShared()
    {
        if (Wake >= 0)
            ::close(Wake);
    }
    bool IsCancelled()
    {
        std::lock_guard<std::mutex> g(Lock);
        return Cancelled;
    }
};

int BytesWaiting(int fd)
{
    int count = 0;
    if (fd < 0 || ::ioctl(fd, FIONREAD, &count) != 0)
        return 0;
    return count;
}
}

// ---- TComThread ----

class TComThread {
public:
    TComThread(TCustomComPort* port, int device, TComEvents mask, TSyncMethod sync, int inputSize);
    ~TComThread() { Stop(); }
    // Ends the reader and waits for it; a pending hand-over is cancelled, not served.
    void Stop();
    int InputCount();
    QByteArray Take(int count);

private:
    static void Execute(std::shared_ptr<TComShared> shared);
    // False when the port closed meanwhile.
    static bool Dispatch(const std::shared_ptr<TComShared>& shared, TComEvents events);

    std::shared_ptr<TComShared> fShared;
    std::thread fThread;
};

TComThread::TComThread(TCustomComPort* port, int device, TComEvents mask, TSyncMethod sync, int inputSize)
    : fShared(std::make_shared<TComShared>())
{
    fShared->Wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fShared->Wake < 0)
        throw EComPort(CError_ThreadCreated, errno,
                       QStringLiteral("Die Überwachung der Schnittstelle %1 kann nicht gestartet werden: %2")
                           .arg(port->Port(), SystemText(errno)));
    fShared->Device = device;
    fShared->Mask = mask;
    fShared->Sync = sync;
    fShared->Port = port;
    fShared->InputSize = std::max(inputSize, 1);
    fThread = std::thread(&TComThread::Execute, fShared);
}

void TComThread::Stop()
{
    if (!fThread.joinable())
        return;
    {
        std::lock_guard<std::mutex> g(fShared->Lock);
        fShared->Cancelled = true;
    }
    fShared->Changed.notify_all();
    const std::uint64_t one = 1;
    [[maybe_unused]] auto n = ::write(fShared->Wake, &one, sizeof one);
    if (std::this_thread::get_id() == fThread.get_id())
        fThread.detach();   // closed by a handler that runs on the reader itself; it ends on its own
    else
        fThread.join();
}

int TComThread::InputCount()
{
    std::lock_guard<std::mutex> g(fShared->Lock);
    return int(fShared->Input.size());
}

QByteArray TComThread::Take(int count)
{
    std::lock_guard<std::mutex> g(fShared->Lock);
    const QByteArray taken = fShared->Input.left(count);
    fShared->Input.remove(0, taken.size());
    return taken;
}

bool TComThread::Dispatch(const std::shared_ptr<TComShared>& shared, TComEvents events)
{
    if (shared->Sync == smNone) {
        shared->Port->DoEvents(events);
        return !shared->IsCancelled();
    }
    {
        std::lock_guard<std::mutex> g(shared->Lock);
        if (shared->Cancelled)
            return false;
        shared->Done = false;
    }
    // The port is the call's context: a port destroyed before the call runs drops it.
    QMetaObject::invokeMethod(
        shared->Port,
        [shared, events] {
            {
                std::lock_guard<std::mutex> g(shared->Lock);
                if (shared->Cancelled)
                    return;
            }
            // Marks the event done however the handler leaves, also by an exception.
            struct Finish {
                TComShared& s;
                ~Finish()
                {
                    {
                        std::lock_guard<std::mutex> g(s.Lock);
                        s.Done = true;
                    }
                    s.Changed.notify_all();
                }
            } finish{*shared};
            // The handler may close the port, or even destroy it: nothing of the port is touched after it.
            shared->Port->DoEvents(events);
        },
        Qt::QueuedConnection);
    std::unique_lock<std::mutex> lock(shared->Lock);
    shared->Changed.wait(lock, [&] { return shared->Done || shared->Cancelled; });
    return !shared->Cancelled;
}

void TComThread::Execute(std::shared_ptr<TComShared> shared)
{
    // With the store full, the line is looked at again after this pause, once the
    // main thread may have taken some.
    constexpr int kFullPollMs = 20;
    int device = shared->Device;
    while (!shared->IsCancelled()) {
        qsizetype room;
        {
            std::lock_guard<std::mutex> g(shared->Lock);
            room = shared->InputSize - shared->Input.size();
        }
        pollfd fds[2] = {{shared->Wake, POLLIN, 0}, {device, short(room > 0 ? POLLIN : 0), 0}};
        const int r = ::poll(fds, 2, room > 0 ? -1 : kFullPollMs);
        if (r < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        if (fds[0].revents)
            break;
        bool arrived = false;
        if (room > 0 && (fds[1].revents & (POLLIN | POLLHUP | POLLERR))) {
            QByteArray bytes(room, '\0');
            const ssize_t n = ::read(device, bytes.data(), size_t(room));
            if (n > 0) {
                bytes.truncate(n);
                std::lock_guard<std::mutex> g(shared->Lock);
                shared->Input += bytes;
                arrived = true;
            } else if (n == 0 || (errno != EINTR && errno != EAGAIN)) {
                // The line is gone (adapter pulled, other end closed): nothing more will
                // come; wait for the close alone.
                device = -1;
            }
        } else if (fds[1].revents & POLLNVAL) {
            device = -1;
        }
        if (arrived && (shared->Mask & ComEvent(evRxChar)) && !Dispatch(shared, ComEvent(evRxChar)))
            break;
    }
}

// ---- TCustomComPort ----

TCustomComPort::TCustomComPort(QObject* owner) : QObject(owner) {}

TCustomComPort::~TCustomComPort()
{
    // No handler may run for a port that is going away.
    OnRxChar = nullptr;
    OnBeforeClose = OnAfterClose = nullptr;
    OnException = nullptr;
    try {
        Close();
    } catch (...) {
        // A destructor cannot report; the line is closed by the system with the handle.
    }
}

void TCustomComPort::SetPort(const QString& value)
{
    if (value == fPort)
        return;
    const bool wasConnected = fConnected;
    Close();
    fPort = value;
    if (wasConnected)
        Open();
}

void TCustomComPort::SetBaudRate(TBaudRate value)
{
    fBaudRate = value;
    if (fConnected)
        ApplySettings();
}

void TCustomComPort::SetDataBits(TDataBits value)
{
    fDataBits = value;
    if (fConnected)
        ApplySettings();
}

void TCustomComPort::SetStopBits(TStopBits value)
{
    fStopBits = value;
    if (fConnected)
        ApplySettings();
}

void TCustomComPort::SetConnected(bool value)
{
    if (value)
        Open();
    else
        Close();
}

void TCustomComPort::CallException(int code, int winCode, const QString& message)
{
    const EComPort error(code, winCode, message);
    if (OnException) {
        OnException(this, error);
        return;
    }
    throw error;
}

namespace {
QString PortTitle(const QString& port, const QString& path)
{
    return port == path ? port : port + QStringLiteral(" (") + path + u')';
}

QString OpenFailedText(const QString& title, int error)
{
    QString what;
    switch (error) {
    case ENOENT:
    case ENODEV:
    case ENXIO: what = QStringLiteral("Die Schnittstelle %1 ist nicht vorhanden"); break;
    case EBUSY: what = QStringLiteral("Die Schnittstelle %1 ist belegt"); break;
    case EACCES:
    case EPERM: what = QStringLiteral("Keine Berechtigung für die Schnittstelle %1"); break;
    default: what = QStringLiteral("Die Schnittstelle %1 kann nicht geöffnet werden"); break;
    }
    return what.arg(title) + QStringLiteral(": ") + SystemText(error);
}

bool SpeedOf(TBaudRate rate, speed_t& speed)
{
    switch (rate) {
    case br110: speed = B110; return true;
    case br300: speed = B300; return true;
    case br600: speed = B600; return true;
    case br1200: speed = B1200; return true;
    case br2400: speed = B2400; return true;
    case br4800: speed = B4800; return true;
    case br9600: speed = B9600; return true;
    case br19200: speed = B19200; return true;
    case br38400: speed = B38400; return true;
    case br57600: speed = B57600; return true;
    case br115200: speed = B115200; return true;
    default: return false;   // rates the line discipline has no constant for
    }
}

// Sets or clears a modem line. A pseudo-terminal has no modem lines: those refusals are no failure.
bool SetModemLine(int fd, int line, bool on)
{
    if (::ioctl(fd, on ? TIOCMBIS : TIOCMBIC, &line) == 0)
        return true;
    return errno == ENOTTY || errno == EINVAL;
}
}

void TCustomComPort::Open()
{
    if (fConnected)
        return;
    if (OnBeforeOpen)
        OnBeforeOpen(this);
    fDevicePath = ComPortDevicePath(fPort);
    const QString title = PortTitle(fPort, fDevicePath);
    const int fd = ::open(QFile::encodeName(fDevicePath).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        CallException(CError_OpenFailed, errno, OpenFailedText(title, errno));
        return;
    }
    // Nobody shares the line: a lock for every opener (also one with all rights), and the
    // terminal's exclusive mode for those that do not ask for the lock.
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno == EWOULDBLOCK ? EBUSY : errno;
        ::close(fd);
        CallException(CError_OpenFailed, error, OpenFailedText(title, error));
        return;
    }
    ::ioctl(fd, TIOCEXCL);
    fHandle = fd;
    fConnected = true;
    if (!ApplySettings()) {
        Close();
        return;
    }
    if (Events != 0) {
        try {
            fThread = std::make_unique<TComThread>(this, fHandle, Events, SyncMethod, Buffer.InputSize);
        } catch (const EComPort& e) {
            Close();
            CallException(e.Code(), e.WinCode(), e.Message());
            return;
        }
    }
    if (OnAfterOpen)
        OnAfterOpen(this);
}

bool TCustomComPort::ApplySettings()
{
    const QString title = PortTitle(fPort, fDevicePath);
    const auto fail = [&](int error, const QString& what) {
        CallException(CError_SetStateFailed, error, what.arg(title) + QStringLiteral(": ") + SystemText(error));
        return false;
    };
    termios t{};
    if (::tcgetattr(fHandle, &t) != 0)
        return fail(errno, QStringLiteral("%1 ist keine serielle Schnittstelle"));
    ::cfmakeraw(&t);
    speed_t speed = B9600;
    if (!SpeedOf(fBaudRate, speed))
        return fail(EINVAL, QStringLiteral("Die Baudrate der Schnittstelle %1 wird nicht unterstützt"));
    ::cfsetispeed(&t, speed);
    ::cfsetospeed(&t, speed);
    t.c_cflag &= ~(CSIZE | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS);
    static constexpr tcflag_t sizes[] = {CS5, CS6, CS7, CS8};
    t.c_cflag |= sizes[fDataBits] | CLOCAL | CREAD;
    if (fStopBits != sbOneStopBit)
        t.c_cflag |= CSTOPB;   // one and a half exists only as two here
    switch (Parity.Bits) {
    case prNone: break;
    case prOdd: t.c_cflag |= PARENB | PARODD; break;
    case prEven: t.c_cflag |= PARENB; break;
    case prMark: t.c_cflag |= PARENB | PARODD | CMSPAR; break;
    case prSpace: t.c_cflag |= PARENB | CMSPAR; break;
    }
    if (Parity.Check)
        t.c_iflag |= INPCK;
    if (FlowControl.OutCTSFlow || FlowControl.ControlRTS == rtsHandshake)
        t.c_cflag |= CRTSCTS;
    t.c_iflag &= ~(IXON | IXOFF | IXANY);
    if (FlowControl.XonXoffOut)
        t.c_iflag |= IXON;
    if (FlowControl.XonXoffIn)
        t.c_iflag |= IXOFF;
    // Reads return at once with what is there.
    t.c_cc[VMIN] = 0;
    t.c_cc[VTIME] = 0;
    if (::tcsetattr(fHandle, TCSANOW, &t) != 0)
        return fail(errno, QStringLiteral("Die Einstellungen der Schnittstelle %1 lassen sich nicht setzen"));
    if (FlowControl.ControlDTR != dtrHandshake && !SetModemLine(fHandle, TIOCM_DTR, FlowControl.ControlDTR == dtrEnable))
        return fail(errno, QStringLiteral("Die DTR-Leitung der Schnittstelle %1 lässt sich nicht setzen"));
    if (FlowControl.ControlRTS != rtsHandshake && !SetModemLine(fHandle, TIOCM_RTS, FlowControl.ControlRTS == rtsEnable))
        return fail(errno, QStringLiteral("Die RTS-Leitung der Schnittstelle %1 lässt sich nicht setzen"));
    return true;
}

void TCustomComPort::Close()
{
    if (!fConnected)
        return;
    if (OnBeforeClose)
        OnBeforeClose(this);
    fThread.reset();   // and with it what was received and not taken
    ::tcflush(fHandle, TCIOFLUSH);
    ::ioctl(fHandle, TIOCNXCL);
    ::close(fHandle);
    fHandle = -1;
    fConnected = false;
    if (OnAfterClose)
        OnAfterClose(this);
}

int TCustomComPort::InputCount() const
{
    if (!fConnected)
        return 0;
    return fThread ? fThread->InputCount() : BytesWaiting(fHandle);
}

int TCustomComPort::ReadStr(QString& text, int count)
{
    text.clear();
    if (!fConnected || count <= 0)
        return 0;
    QByteArray bytes;
    ssize_t n;
    if (fThread) {
        bytes = fThread->Take(count);
        n = bytes.size();
    } else {
        bytes.resize(count);
        do
            n = ::read(fHandle, bytes.data(), size_t(count));
        while (n < 0 && errno == EINTR);
    }
    if (n < 0) {
        if (errno == EAGAIN)
            return 0;
        CallException(CError_ReadFailed, errno,
                      QStringLiteral("Lesen von der Schnittstelle %1 fehlgeschlagen: %2")
                          .arg(PortTitle(fPort, fDevicePath), SystemText(errno)));
        return 0;
    }
    bytes.truncate(n);
    if (DiscardNull)
        bytes.replace('\0', QByteArray());
    QStringDecoder decode("windows-1252");
    text = decode(bytes);
    return int(n);
}

void TCustomComPort::DoEvents(TComEvents events)
{
    if (!fConnected)
        return;
    if ((events & ComEvent(evRxChar)) && TriggersOnRxChar) {
        const int count = InputCount();
        if (count > 0 && OnRxChar)
            OnRxChar(this, count);
    }
}
