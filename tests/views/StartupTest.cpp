// Runs the built program as a user would start it: in a working folder of its
// own, without a screen, and ends it the way the system does (SIGTERM).

#include "tests/QtPrinters.h"
#include "tests/views/DemoSuite.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include "frame/MemIniFile.h"

#include <QImage>
#include <QLibraryInfo>
#include <QSet>

namespace {
constexpr int kWaitMs = 30000;   // generous: the sanitizer build starts slowly

// A port on this machine that nothing listens on just now.
int FreePort()
{
    const int s = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    int port = 0;
    if (s >= 0 && ::bind(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
        ::getsockname(s, reinterpret_cast<sockaddr*>(&addr), &len) == 0)
        port = ntohs(addr.sin_port);
    if (s >= 0)
        ::close(s);
    return port;
}

// Whether a process has set signal sig to be ignored ("SigIgn") or caught
// ("SigCgt"), as the kernel lists it.
bool SignalIn(const QProcess& p, const QByteArray& list, int sig)
{
    QFile f(QStringLiteral("/proc/%1/status").arg(p.processId()));
    if (!f.open(QIODevice::ReadOnly))
        return false;
    for (const QByteArray& line : f.readAll().split('\n'))
        if (line.startsWith(list + ':'))
            return (line.mid(list.size() + 1).trimmed().toULongLong(nullptr, 16) >> (sig - 1)) & 1;
    return false;
}

class StartupTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(root.isValid());
        ASSERT_TRUE(runtime.isValid());   // private lock folder: no clash with a running demo
        QDir().mkpath(WorkDir());
    }
    QString WorkDir() const { return root.filePath("ZELSOFT/Orvex"); }
    QString Ini() const { return WorkDir() + "/Config/KELMAR.INI"; }

    void Start(QProcess& p, const QString& dir, const QStringList& args = {},
               const QString& platform = QStringLiteral("offscreen"))
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", platform);
        env.insert("XDG_RUNTIME_DIR", runtime.path());
        p.setProcessEnvironment(env);
        p.setWorkingDirectory(dir);
        p.start(ORVEX_EXE, args);
        ASSERT_TRUE(p.waitForStarted(kWaitMs));
    }

    // The start is complete once the last key of the start sequence is in the file.
    bool WaitUntilStarted(QProcess& p)
    {
        QElapsedTimer t;
        t.start();
        while (t.elapsed() < kWaitMs) {
            QFile f(Ini());
            if (f.open(QIODevice::ReadOnly) && f.readAll().contains("UseFormDesigner="))
                return p.state() == QProcess::Running;
            if (p.state() != QProcess::Running)
                return false;
            QThread::msleep(50);
        }
        return false;
    }

    // Polls condition while p runs; false when p ended or the time is up.
    static bool WaitWhileRunning(QProcess& p, const std::function<bool()>& condition)
    {
        QElapsedTimer t;
        t.start();
        while (t.elapsed() < kWaitMs && p.state() == QProcess::Running) {
            if (condition())
                return true;
            QThread::msleep(20);
        }
        return false;
    }

    // Whether p holds the single-instance lock, as the kernel lists the locks.
    bool HoldsInstanceLock(const QProcess& p) const
    {
        struct stat st {};
        if (::stat(QFile::encodeName(runtime.filePath("ORVEXAUSW.lock")).constData(), &st) != 0)
            return false;
        QFile locks(QStringLiteral("/proc/locks"));
        if (!locks.open(QIODevice::ReadOnly))
            return false;
        for (const QByteArray& line : locks.readAll().split('\n')) {
            const QList<QByteArray> f = line.simplified().split(' ');
            if (f.size() > 5 && f[1] == "FLOCK" && f[4] == QByteArray::number(p.processId()) &&
                f[5].split(':').value(2) == QByteArray::number(st.st_ino))
                return true;
        }
        return false;
    }

    // The system's request to end, once the program listens for it: sent earlier,
    // it would end the process before it could keep its settings.
    static bool EndsCleanly(QProcess& p)
    {
        if (!WaitWhileRunning(p, [&] { return SignalIn(p, "SigCgt", SIGTERM); }))
            return false;
        p.terminate();   // SIGTERM
        return p.waitForFinished(kWaitMs) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    }

    QTemporaryDir root;
    QTemporaryDir runtime;
};
}

TEST_F(StartupTest, FirstStartFillsTheIniAndMakesTheFoldersAndSecondStartIsRefused)
{
    QProcess first;
    Start(first, WorkDir());
    ASSERT_TRUE(WaitUntilStarted(first)) << first.readAllStandardError().constData();
    // A file size limit makes a write fail with its reason instead of ending the program.
    EXPECT_TRUE(SignalIn(first, "SigIgn", SIGXFSZ));

    // A second start without parameters is refused while the first runs.
    QProcess second;
    Start(second, WorkDir());
    ASSERT_TRUE(second.waitForFinished(kWaitMs));
    EXPECT_EQ(second.exitCode(), 1);
    EXPECT_TRUE(QString::fromUtf8(second.readAllStandardError()).contains("ORVEXAUSW läuft bereits auf diesem Rechner"));

    // Any parameter lets it run beside the first.
    QProcess third;
    Start(third, WorkDir(), {"2"});
    EXPECT_FALSE(third.waitForFinished(1500));
    EXPECT_EQ(third.state(), QProcess::Running);
    EXPECT_TRUE(EndsCleanly(third));
    // An option that the toolkit takes for itself is a parameter of the start as well.
    QProcess fourth;
    Start(fourth, WorkDir(), {"-platform", "offscreen"});
    EXPECT_FALSE(fourth.waitForFinished(1500)) << fourth.readAllStandardError().constData();
    EXPECT_TRUE(EndsCleanly(fourth));

    EXPECT_TRUE(EndsCleanly(first)) << first.readAllStandardError().constData();

    const TMemIniFile ini(Ini());
    const QStringList pathKeys{"Datapath", "Exportpath", "CommonfilePath", "CommonAppPath", "Reportspath",
                               "Scriptspath", "Temppath", "Defaultspath", "Resourcepath", "Ramdiskpath",
                               "Archivpath"};
    for (const QString& k : pathKeys) {
        const QString v = ini.ReadString("PATH", k, "");
        EXPECT_FALSE(v.isEmpty()) << k.toStdString();
        EXPECT_TRUE(QDir(v).exists()) << v.toStdString();
    }
    EXPECT_EQ(ini.ReadString("PATH", "Datapath", ""), WorkDir() + "/Data");
    EXPECT_EQ(ini.ReadString("PATH", "CommonAppPath", ""), root.filePath("ZELSOFT/Gemeinsame Dateien/ORVEXAUSW"));
    const QStringList programmKeys{"DebugModus", "DebugSQL", "COM_Logging", "Default_NKStellen", "Fullscreen",
                                   "Screen_Height_Max", "Screen_Width_Max", "CSV_Kommazeichen_Wert",
                                   "CSV_Trennzeichen_Wert", "CSV_Dateierweiterung", "MyDatetimeFormat", "Testmodus",
                                   "UseExterneProgramme", "KundenProgrammHeader", "Projekt", "Hintdauer",
                                   "Localized_Boolean"};
    for (const QString& k : programmKeys)
        EXPECT_TRUE(ini.ValueExists("PROGRAMM", k)) << k.toStdString();
    const QStringList constantKeys{"fail_String", "Pass_String", "Inaktiv_String", "Aktiv_String", "False_String",
                                   "True_String", "Falsch_String", "Wahr_String", "aus_String", "ein_String"};
    for (const QString& k : constantKeys)
        EXPECT_TRUE(ini.ValueExists("String_Constants", k)) << k.toStdString();
    // Keys with an empty default are not written: nothing would document them.
    EXPECT_FALSE(ini.ValueExists("PROGRAMM", "Version"));
    EXPECT_FALSE(ini.ValueExists("PROGRAMM", "OemLogo"));
    EXPECT_EQ(ini.ReadString("PROGRAMM", "CSV_Kommazeichen_Wert", ""), "44");
    EXPECT_EQ(ini.ReadString("PROGRAMM", "COM_Logging", ""), "true");

    QFile raw(Ini());
    ASSERT_TRUE(raw.open(QIODevice::ReadOnly));
    const QByteArray bytes = raw.readAll();
    EXPECT_EQ(bytes.count('\n'), bytes.count("\r\n"));
}

// An existing INI with a bad value and a section twice in other case, and a service
// engineer's UPDATE.INI in Config: the file is repaired and merged, the update applied
// at the start, then archived.
TEST_F(StartupTest, AnExistingIniIsRepairedAndADropInUpdateIsAppliedAndArchived)
{
    const QString config = WorkDir() + "/Config";
    QDir().mkpath(config);
    const auto write = [](const QString& name, const QByteArray& bytes) {
        QFile f(name);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(bytes);
    };
    write(Ini(), "[Alt]\r\nx=1\r\n[Programm]\r\nDefault_NKStellen=abc\r\nAlterSchluessel=7\r\n[PROGRAMM]\r\n"
                 "Hintdauer=3000\r\n[Path]\r\nDatapath=" + QFile::encodeName(root.filePath("Messdaten")) + "\r\n");
    const QByteArray first = "; Servicebesuch\r\n"
                             "DEL_SECTION Alt\r\n"
                             "[Programm]\r\n"
                             "REN_KEY Programm,AlterSchluessel,NeuerSchluessel\r\n"
                             "Projekt=Orvex // Kunde\r\n";
    write(config + "/UPDATE.INI", first);

    QProcess p;
    Start(p, WorkDir());
    ASSERT_TRUE(WaitUntilStarted(p)) << p.readAllStandardError().constData();
    EXPECT_TRUE(EndsCleanly(p));

    EXPECT_FALSE(QFile::exists(config + "/UPDATE.INI"));
    QFile archived(config + "/UPDATES/Update_001.INI");
    ASSERT_TRUE(archived.open(QIODevice::ReadOnly));
    EXPECT_EQ(archived.readAll(), first);
    {
        const TMemIniFile ini(Ini());
        EXPECT_FALSE(ini.SectionExists("Alt"));
        EXPECT_EQ(ini.ReadString("PROGRAMM", "NeuerSchluessel", ""), "7");
        EXPECT_FALSE(ini.ValueExists("PROGRAMM", "AlterSchluessel"));
        EXPECT_EQ(ini.ReadString("PROGRAMM", "Projekt", ""), "Orvex ");
        EXPECT_EQ(ini.ReadString("PROGRAMM", "Hintdauer", ""), "3000");
        EXPECT_EQ(ini.ReadString("PROGRAMM", "Default_NKStellen", ""), "4");
        EXPECT_EQ(ini.ReadSections().filter("programm", Qt::CaseInsensitive).size(), 1);
        EXPECT_TRUE(QDir(root.filePath("Messdaten")).exists());
        // The rest of the start filled the file as ever.
        EXPECT_TRUE(ini.ValueExists("PATH", "Temppath"));
    }

    // The next drop-in is archived beside the first. (The last key of the start goes
    // first, so that its return tells that the start is complete.)
    {
        TMemIniFile ini(Ini());
        ini.DeleteKey("PROGRAMM", "UseFormDesigner");
        ini.UpdateFile();
    }
    write(config + "/UPDATE.INI", "[Programm]\r\nHintdauer=4000\r\n");
    QProcess q;
    Start(q, WorkDir());
    ASSERT_TRUE(WaitUntilStarted(q)) << q.readAllStandardError().constData();
    EXPECT_TRUE(EndsCleanly(q));
    EXPECT_FALSE(QFile::exists(config + "/UPDATE.INI"));
    EXPECT_TRUE(QFile::exists(config + "/UPDATES/Update_001.INI"));
    EXPECT_TRUE(QFile::exists(config + "/UPDATES/Update_002.INI"));
    const TMemIniFile ini(Ini());
    EXPECT_EQ(ini.ReadString("PROGRAMM", "Hintdauer", ""), "4000");
    EXPECT_EQ(ini.ReadString("PROGRAMM", "Projekt", ""), "Orvex ");   // the blank survived another start
}

TEST_F(StartupTest, StartFromADesktopFolderIsRefused)
{
    const QString desktop = root.filePath("Desktop/Orvex");
    QDir().mkpath(desktop);
    QProcess p;
    Start(p, desktop);
    ASSERT_TRUE(p.waitForFinished(kWaitMs));
    EXPECT_EQ(p.exitCode(), 1);
    EXPECT_TRUE(QString::fromUtf8(p.readAllStandardError()).contains("Startpfad (Desktop) nicht erlaubt"));
    EXPECT_FALSE(QDir(desktop + "/Config").exists());
}

// The database is missing, and the start's report of it is open as a modal box
// when the system asks the program to end: the box goes, the settings are written,
// the process ends and its lock with it. The platform is an interactive one that
// needs no screen (a VNC server nobody connects to), so the box is a real one.
TEST_F(StartupTest, TheSystemsRequestToEndIsKeptWhileAReportIsOpen)
{
    if (!QFileInfo::exists(QLibraryInfo::path(QLibraryInfo::PluginsPath) + QStringLiteral("/platforms/libqvnc.so")))
        GTEST_SKIP() << "the VNC platform plugin of Qt is not installed";
    const int port = FreePort();
    ASSERT_GT(port, 0);
    QDir().mkpath(WorkDir() + "/Config");
    QFile f(Ini());
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("[PATH]\r\nServer name=" + QFile::encodeName(root.filePath("fehlt/Orvex.fdb")) + "\r\n");
    f.close();

    QProcess p;
    Start(p, WorkDir(), {}, QStringLiteral("vnc:size=1600x1000:port=%1").arg(port));
    // The report is printed as the box comes up.
    QByteArray err;
    ASSERT_TRUE(WaitWhileRunning(p, [&] {
        p.waitForReadyRead(20);
        err += p.readAllStandardError();
        return err.contains("fehlt/Orvex.fdb");
    })) << err.constData();
    // What the start wrote is gone: what is there after the end was written by it.
    QFile::remove(Ini());
    EXPECT_TRUE(EndsCleanly(p)) << (p.state() == QProcess::Running ? "still running" : "ended badly");
    if (p.state() == QProcess::Running) {
        p.kill();
        p.waitForFinished(kWaitMs);
    }
    EXPECT_TRUE(TMemIniFile(Ini()).ValueExists("Chartsettings", "Axis_01high"));

    QProcess again;
    Start(again, WorkDir());
    EXPECT_TRUE(WaitWhileRunning(again, [&] { return HoldsInstanceLock(again); }));
    EXPECT_TRUE(EndsCleanly(again));
}

// A screen-free run draws the run chosen on the command line, always ends, and says
// by its exit code and on standard error whether the picture was written.
TEST_F(StartupTest, ScreenFreeRunsEndAndTellWhatWentWrong)
{
    TDemoDbLogin login;
    login.DBName = WorkDir() + "/Data/Orvex.fdb";
    QDir().mkpath(WorkDir() + "/Data");
    CreateDemoDatabase(login);
    {
        // A run named with an apostrophe, and one whose key is past what the
        // measurement table can hold (a SMALLINT there).
        TOwnStatement own(login);
        own.Run("insert into AUFTRAEGE (VERSUCHSNR, TEILENR, AUFTRAGKEY, I_MAX, STATUS) "
                "values ('O''Neill 7', 'X', 901, 100, 'Angelegt')");
        own.Run("insert into AUFTRAEGE (VERSUCHSNR, TEILENR, AUFTRAGKEY, I_MAX, STATUS) "
                "values ('GROSS-1', 'X', 40000, 100, 'Angelegt')");
        own.Commit();
    }
    struct TErgebnis {
        bool Ended;
        int Code;
        QString Err;
    };
    const auto run = [&](const QString& versuch, const QString& shot) {
        QProcess p;
        Start(p, WorkDir(), {"--versuch", versuch, "--screenshot", shot});
        const bool ended = p.waitForFinished(kWaitMs);
        return TErgebnis{ended && p.exitStatus() == QProcess::NormalExit, p.exitCode(),
                         QString::fromUtf8(p.readAllStandardError())};
    };
    const QString shot = root.filePath("bild.png");

    // A run drawn into a picture, and the orderly end that writes the chart settings.
    TErgebnis r = run("HTRB-2026-017", shot);
    ASSERT_TRUE(r.Ended) << r.Err.toStdString();
    EXPECT_EQ(r.Code, 0) << r.Err.toStdString();
    EXPECT_FALSE(r.Err.contains("nicht vorhanden")) << r.Err.toStdString();
    const QImage image(shot);
    ASSERT_EQ(image.size(), QSize(1600, 1000));
    // The curves are drawn: the chart area is not one flat colour.
    const QImage charts = image.copy(400, 100, 1100, 800);
    QSet<QRgb> colours;
    for (int y = 0; y < charts.height(); y += 7)
        for (int x = 0; x < charts.width(); x += 7)
            colours.insert(charts.pixel(x, y));
    EXPECT_GT(colours.size(), 3);
    EXPECT_EQ(TMemIniFile(Ini()).ReadString("Chartsettings", "Axis_01high", ""), QStringLiteral("100,00"));   // I_MAX 100

    // Found although its number ends the literal of the statement early.
    QFile::remove(shot);
    r = run("O'Neill 7", shot);
    ASSERT_TRUE(r.Ended) << r.Err.toStdString();
    EXPECT_EQ(r.Code, 0) << r.Err.toStdString();
    EXPECT_EQ(QImage(shot).size(), QSize(1600, 1000));

    QFile::remove(shot);
    r = run("O'Fehlt", shot);
    ASSERT_TRUE(r.Ended);
    EXPECT_NE(r.Code, 0);
    EXPECT_TRUE(r.Err.contains("Versuch \"O'Fehlt\" ist nicht vorhanden.")) << r.Err.toStdString();
    EXPECT_FALSE(QFile::exists(shot));   // a picture without the run is not what was asked for

    // The selection fails in the database: reported, and the program still ends.
    r = run("GROSS-1", shot);
    ASSERT_TRUE(r.Ended) << r.Err.toStdString();
    EXPECT_NE(r.Code, 0);
    EXPECT_TRUE(r.Err.contains("Versuch \"GROSS-1\" konnte nicht angezeigt werden:")) << r.Err.toStdString();
    EXPECT_FALSE(QFile::exists(shot));

    const QString nowhere = root.filePath("fehlt/bild.png");
    r = run("HTRB-2026-017", nowhere);
    ASSERT_TRUE(r.Ended);
    EXPECT_NE(r.Code, 0);
    EXPECT_TRUE(r.Err.contains("Das Bild \"" + nowhere + "\" konnte nicht geschrieben werden.")) << r.Err.toStdString();
}
