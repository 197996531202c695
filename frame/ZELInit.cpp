#include "frame/ZELInit.h"

#include "frame/MessageDlg.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QHelpEvent>
#include <QLocale>
#include <QSocketNotifier>
#include <QToolTip>
#include <QWidget>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

bool ProgrammEndet = false;
TDateTime StartDate = 0;
QElapsedTimer HighResCounter;
int LanguageId = 0;

namespace {
int gInstanceLock = -1;

// Exit codes of the refusals, so that scripts can tell them apart.
constexpr int kExitRefused = 1;
constexpr int kExitFailure = 2;

[[noreturn]] void Fail(const QString& text, int code = kExitFailure)
{
    ShowMessage(text);
    Halt(code);
}

// The lock is held by the running instance for its whole life; the kernel
// releases it when the process ends, however it ends.
bool AnotherInstanceRuns(bool& failed)
{
    failed = false;
    // The user's runtime folder; without one, a private folder in the temporary
    // folder serves the same user (asking Qt for it would print a warning each start).
    QString dir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (dir.isEmpty() || !QFileInfo(dir).isDir()) {
        dir = QDir::tempPath() + QStringLiteral("/runtime-") + QString::number(::getuid());
        QDir().mkpath(dir);
        QFile::setPermissions(dir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    const QByteArray path = QFile::encodeName(dir + u'/' + AppName + QStringLiteral(".lock"));
    gInstanceLock = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (gInstanceLock < 0) {
        failed = true;
        return false;
    }
    if (::flock(gInstanceLock, LOCK_EX | LOCK_NB) == 0)
        return false;
    if (errno != EWOULDBLOCK) {
        failed = true;
        return false;
    }
    ::close(gInstanceLock);
    gInstanceLock = -1;
    return true;
}

void SetProcessFormats()
{
    FormatSettings.ThousandSeparator = QChar();
    FormatSettings.DecimalSeparator = u',';
    FormatSettings.DateSeparator = u'.';
    FormatSettings.ShortDateFormat = QStringLiteral("dd.MM.yyyy");
    FormatSettings.ShortTimeFormat = QStringLiteral("HH:mm:ss");
    // Widgets format numbers through the default locale: German, without grouping.
    QLocale german(QLocale::German, QLocale::Germany);
    german.setNumberOptions(QLocale::OmitGroupSeparator);
    QLocale::setDefault(german);
}

void InitPaths()
{
    // Bound to the working folder; only a root-like folder falls back to the executable's.
    AppPath = QDir::currentPath();
    if (AppPath.size() > 1 && AppPath.endsWith(u'/'))
        AppPath.chop(1);
    if (AppPath.size() < 4)
        AppPath = QCoreApplication::applicationDirPath();
    // A working folder deleted under the process leaves no path at all.
    if (AppPath.isEmpty() || !QFileInfo(AppPath).isDir())
        Fail(QStringLiteral("Fehler : AppPath=") + AppPath);

    ZELSOFTPath = AppPath;
    while (!ZELSOFTPath.isEmpty() && !ZELSOFTPath.endsWith(u'/'))
        ZELSOFTPath.chop(1);
    if (!ZELSOFTPath.isEmpty())
        ZELSOFTPath.chop(1);
    if (ZELSOFTPath.size() < 2)
        ZELSOFTPath = AppPath;
    if (AppPath.contains(QLatin1String("Desktop")))
        Fail(QStringLiteral("Startpfad (Desktop) nicht erlaubt"), kExitRefused);
    Configpath = AppPath + QStringLiteral("/Config");
    if (!Configpath.contains(QLatin1String("//")) && Configpath.contains(u'/') && !QDir().mkpath(Configpath))
        Fail(QStringLiteral("Fehler Configpath"));
    SetVariable(QStringLiteral("PATH.Configpath"), Configpath);
    SetVariable(QStringLiteral("PATH.AppPath"), AppPath);
    SetVariable(QStringLiteral("PATH.ZELSOFTPath"), ZELSOFTPath);

    IniFileName = Configpath + QStringLiteral("/KELMAR.INI");
    if (!QFileInfo::exists(IniFileName)) {
        // Without a screen nobody can answer; going on creates the file with the first key.
        const TModalResult r = MessageDlg(QStringLiteral("INI-File nicht gefunden. Programm wird beendet."),
                                          {TModalResult::mrAbort, TModalResult::mrIgnore}, TModalResult::mrIgnore);
        if (r == TModalResult::mrAbort)
            Halt(kExitRefused);
    }
    try {
        IniStore = std::make_unique<TMemIniFile>(IniFileName);
    } catch (...) {
        Fail(QStringLiteral("Fehler in IniFile"));
    }
}

// Shows every tool tip for the configured pause instead of the style's default.
class THintPauseFilter : public QObject {
public:
    using QObject::QObject;
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::ToolTip)
            return false;
        auto* w = qobject_cast<QWidget*>(watched);
        if (!w || w->toolTip().isEmpty())
            return false;
        const auto* help = static_cast<QHelpEvent*>(event);
        QToolTip::showText(help->globalPos(), w->toolTip(), w, {}, Application_HintHidePause);
        return true;
    }
};

int gSignalPipe[2] = {-1, -1};

extern "C" void OnCloseSignal(int)
{
    const char c = 1;
    [[maybe_unused]] auto n = ::write(gSignalPipe[1], &c, 1);
}
}

void Halt(int exitCode)
{
    std::fflush(nullptr);
    std::exit(exitCode);
}

void ZELInit_Initialize(int argc, char** argv)
{
    Q_UNUSED(argv);
    HighResCounter.start();
    ProgrammEndet = false;
    StartDate = Now();

    const QString exe = QCoreApplication::applicationFilePath();
    AppName = NormalizeName(QFileInfo(exe).completeBaseName());
    if (AppName.isEmpty())
        Fail(QStringLiteral("Fehler in Programmname"));

    bool lockFailed = false;
    const bool running = AnotherInstanceRuns(lockFailed);
    if (lockFailed)
        Fail(QStringLiteral("Fehler Apphandle"));
    // Any parameter lets a second instance run beside the first.
    if (argc <= 1 && running)
        Fail(AppName + QStringLiteral(" läuft bereits auf diesem Rechner"), kExitRefused);

    // A file size limit turns into a failed write that the exports report with its
    // reason, rather than ending the process.
    std::signal(SIGXFSZ, SIG_IGN);

    SetProcessFormats();
    InitPaths();
    SetVariable(QStringLiteral("PROGRAMM.AppName"), exe);

    OpenIniStore();
    ReadProgramSettings();
    // Read at start and kept, though nothing acts on it.
    ReadIniBool(QStringLiteral("Programm"), QStringLiteral("UseFormDesigner"), false);
    LanguageId = 1031;
    CloseIniStore();
}

void ZELInit_Finalize()
{
    ExterneProgramme.reset();
    IniStore.reset();
    if (gInstanceLock >= 0) {
        ::close(gInstanceLock);
        gInstanceLock = -1;
    }
}

void InstallCloseRequestHandler(std::function<void()> onCloseRequest)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, gSignalPipe) != 0)
        return;
    auto* notifier = new QSocketNotifier(gSignalPipe[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [handler = std::move(onCloseRequest)] {
        char buf[16];
        [[maybe_unused]] auto n = ::read(gSignalPipe[0], buf, sizeof buf);
        handler();
    });
    struct sigaction sa {};
    sa.sa_handler = OnCloseSignal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGINT, &sa, nullptr);
}

void InstallHintHidePause()
{
    if (QCoreApplication::instance())
        QCoreApplication::instance()->installEventFilter(new THintPauseFilter(QCoreApplication::instance()));
}
