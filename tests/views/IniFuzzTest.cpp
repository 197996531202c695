// Hostile values in every key of KELMAR.INI that the program reads, each tried on
// the real executable without a screen: every start must end with exit code 0 and
// the picture of the run, and a value that its reader checks must be gone from the
// file afterwards. The keys are those the program itself writes into the demo's
// INI on a first start, so a key added to the program is tried without a word here.
// Seeded: ORVEX_FUZZ_SEED=<n> repeats a run.

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include "frame/MemIniFile.h"
#include "frame/ZELBase.h"
#include "frame/ZELLIB_STR.h"
#include "tools/OrvexDemoDb.h"
#include "views/uFoSetupcharts.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <array>
#include <cmath>
#include <iostream>
#include <optional>

namespace {
constexpr int kWaitMs = 60000;   // a start takes about a second; the sanitizer build far more
// Starts with random values, two at a time, and how many keys each spoils: about
// 350 hostile values over some 150 keys per run. A start costs about half a second
// of processor and most of a second of waiting (engine, orderly end), so this is
// half a minute on two idle cores and a minute and a half on busy ones.
#ifdef __SANITIZE_ADDRESS__
constexpr int kStarts = 12;   // the instrumented program starts several times slower
#else
constexpr int kStarts = 48;
#endif
constexpr int kKeysPerStart = 7;
const QString kVersuch = QStringLiteral("H3TRB 2026/021");

struct TKey {
    QString Section, Key;
    QString Pristine;   // what the program wrote on its first start
};

const QStringList& HostileValues()
{
    static const QStringList values = [] {
        const QString huge = QString(308, u'9') + QStringLiteral(",00");
        return QStringList{QStringLiteral("-5"), QStringLiteral("-0,01"), QStringLiteral("0"), QStringLiteral("NaN"),
                           QStringLiteral("INF"), QStringLiteral("-INF"), QStringLiteral("1e308"), huge,
                           u'-' + huge, QString(), QString(5000, u'x'), QStringLiteral("%$&<>;\"'[]="),
                           QStringLiteral("ja"), QStringLiteral("clRed"), QStringLiteral("1,5"),
                           QStringLiteral("-99999"), QStringLiteral("99999"), QStringLiteral("2147483648"),
                           QStringLiteral("$7FFFFFFF"), QStringLiteral("-9999,-9999,-9999,-9999"),
                           QStringLiteral("1,2,3"), QStringLiteral("äöü€ß")};
    }();
    return values;
}

std::optional<double> Float(const QString& text)
{
    try {
        return StrToFloatTolerant(text);
    } catch (const EConvertError&) {
        return std::nullopt;
    }
}

// What a checked key may hold after a start; empty when the value is sane.
// The kind of a key is told by what the program itself wrote there first.
QString Insane(const TKey& k, const QString& value)
{
    static const QRegularExpression floatForm(QStringLiteral("^-?[0-9]+,[0-9]+$"));
    static const QRegularExpression intForm(QStringLiteral("^-?[0-9]+$"));
    static const QRegularExpression colourForm(QStringLiteral("^(cl[A-Za-z0-9]+|\\$[0-9A-Fa-f]{8})$"));
    const QString key = k.Key.toLower();
    if (k.Section.compare(QLatin1String("PATH"), Qt::CaseInsensitive) == 0 && !key.contains(u' '))
        return value.trimmed().isEmpty() ? QStringLiteral("empty folder") : QString();
    if (key == QLatin1String("rand")) {
        const QStringList parts = value.split(u',');
        const std::array<int, 4> max{kRandSeiteMax, kRandObenUntenMax, kRandSeiteMax, kRandObenUntenMax};
        if (parts.size() != 4)
            return QStringLiteral("no rectangle");
        for (int i = 0; i < 4; ++i) {
            int v = 0;
            if (!TryStrToInt(parts[i], v) || v < 0 || v > max[i])
                return QStringLiteral("margin outside");
        }
        return {};
    }
    if (key == QLatin1String("true_string") || key == QLatin1String("wahr_string"))
        return TextToBool(value) ? QString() : QStringLiteral("true text that reads false");
    if (key == QLatin1String("false_string") || key == QLatin1String("falsch_string"))
        return TextToBool(value) ? QStringLiteral("false text that reads true") : QString();
    if (floatForm.match(k.Pristine).hasMatch()) {
        const std::optional<double> v = Float(value);
        if (!v || !std::isfinite(*v) || std::abs(*v) > 1e12)
            return QStringLiteral("number not finite or out of range");
        if (key.endsWith(QLatin1String("ticks")) && *v < 0)
            return QStringLiteral("negative step");
        if ((key.endsWith(QLatin1String("istart")) || key.endsWith(QLatin1String("iende"))) && (*v < 0 || *v > 100))
            return QStringLiteral("position outside 0..100");
        return {};
    }
    if (colourForm.match(k.Pristine).hasMatch()) {
        try {
            const TColor c = StringToColor(value);
            return (static_cast<std::uint32_t>(c) & 0xFF000000u) ? QStringLiteral("colour beyond 24 bits") : QString();
        } catch (const EConvertError&) {
            return QStringLiteral("no colour");
        }
    }
    if (intForm.match(k.Pristine).hasMatch()) {
        // A whole number in the first file may be an integer or a float of the
        // program (a default of 0 is written as "0" either way): what stays must be
        // read by one of the two.
        int v = 0;
        if (!TryStrToInt(value, v)) {
            const std::optional<double> f = Float(value);
            return f && std::isfinite(*f) && std::abs(*f) <= 1e12 ? QString() : QStringLiteral("no number");
        }
        if (key == QLatin1String("csv_kommazeichen_wert") && (v & 0xFF) != ',' && (v & 0xFF) != '.')
            return QStringLiteral("decimal character");
        return {};
    }
    return {};   // booleans and texts: whatever stands is read somehow
}

// The keys that name the database: spoiled, they can only fail, which a start of
// its own tries.
bool NamesTheDatabase(const TKey& k)
{
    return k.Key.compare(QLatin1String("Server name"), Qt::CaseInsensitive) == 0 ||
           k.Key.compare(QLatin1String("Library Name"), Qt::CaseInsensitive) == 0;
}

class IniFuzzTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(root.isValid());
        ASSERT_TRUE(runtime.isValid());
        TDemoDbLogin login;
        login.DBName = root.filePath(QStringLiteral("Orvex.fdb"));
        CreateDemoDatabase(login);
        // Each lane is a working folder with a database of its own: the embedded
        // engine opens a file for one process only.
        for (int lane = 0; lane < 2; ++lane) {
            QDir().mkpath(Lane(lane) + QStringLiteral("/Data"));
            QDir().mkpath(Lane(lane) + QStringLiteral("/Config"));
            ASSERT_TRUE(QFile::copy(login.DBName, Lane(lane) + QStringLiteral("/Data/Orvex.fdb")));
        }
    }
    QString Lane(int lane) const { return root.filePath(QStringLiteral("lauf%1").arg(lane)); }
    QString Ini(int lane) const { return Lane(lane) + QStringLiteral("/Config/KELMAR.INI"); }
    QString Picture(int lane) const { return Lane(lane) + QStringLiteral("/bild.png"); }

    void Start(QProcess& p, int lane)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
        p.setProcessEnvironment(env);
        p.setWorkingDirectory(Lane(lane));
        QFile::remove(Picture(lane));
        p.start(QStringLiteral(ORVEX_EXE), {QStringLiteral("--versuch"), kVersuch, QStringLiteral("--screenshot"),
                                            Picture(lane)});
    }

    // Writes the INI of a lane: the program's own first file with these values.
    void WriteIni(int lane, const std::vector<std::pair<TKey, QString>>& values)
    {
        QFile::remove(Ini(lane));
        ASSERT_TRUE(QFile::copy(pristine, Ini(lane)));
        TMemIniFile ini(Ini(lane));
        // Each lane reads its own database, whatever the first start wrote.
        ini.WriteString(QStringLiteral("Path"), QStringLiteral("Server name"), Lane(lane) + QStringLiteral("/Data/Orvex.fdb"));
        for (const auto& [k, v] : values)
            ini.WriteString(k.Section, k.Key, v);
        ini.UpdateFile();
    }

    QTemporaryDir root;
    QTemporaryDir runtime;
    QString pristine;
};
}

TEST_F(IniFuzzTest, HostileValuesInEveryKeyNeitherStopAStartNorStayWhereTheyAreChecked)
{
    // The process conventions the file is written in, for reading it back here.
    struct TKonventionen {
        TFormatSettings formats = FormatSettings;
        bool localized = Localized_Boolean;
        ~TKonventionen()
        {
            FormatSettings = formats;
            Localized_Boolean = localized;
        }
    } kept;
    FormatSettings.DecimalSeparator = u',';
    Localized_Boolean = true;
    const quint32 seed = qEnvironmentVariableIsSet("ORVEX_FUZZ_SEED")
                             ? quint32(qEnvironmentVariableIntValue("ORVEX_FUZZ_SEED"))
                             : QRandomGenerator::system()->generate();
    std::cout << "ORVEX_FUZZ_SEED=" << seed << std::endl;
    SCOPED_TRACE("ORVEX_FUZZ_SEED=" + std::to_string(seed));
    QRandomGenerator random(seed);

    // The demo's first start, with the INI the demo script writes (its printf lines
    // that start a section): the program fills the file with every key it reads.
    {
        QFile script(QStringLiteral(ORVEX_SOURCE_DIR "/tools/run-demo.sh"));
        ASSERT_TRUE(script.open(QIODevice::ReadOnly));
        static const QRegularExpression printfLine(QStringLiteral("printf '(\\[[^']*)'"));
        QByteArray demoIni;
        for (auto m = printfLine.globalMatch(QString::fromUtf8(script.readAll())); m.hasNext();)
            demoIni += m.next().captured(1).replace(QLatin1String("\\r"), QLatin1String("\r"))
                           .replace(QLatin1String("\\n"), QLatin1String("\n")).toLatin1();
        ASSERT_TRUE(demoIni.startsWith("[Chartsettings]")) << demoIni.constData();
        QFile f(Ini(0));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(demoIni);
    }
    {
        QProcess p;
        Start(p, 0);
        ASSERT_TRUE(p.waitForFinished(kWaitMs));
        ASSERT_EQ(p.exitCode(), 0) << p.readAllStandardError().constData();
    }
    pristine = root.filePath(QStringLiteral("KELMAR.INI"));
    ASSERT_TRUE(QFile::copy(Ini(0), pristine));
    std::vector<TKey> keys;
    const TMemIniFile first(pristine);
    for (const QString& section : first.ReadSections())
        for (const QString& key : first.ReadSection(section)) {
            const TKey k{section, key, first.ReadString(section, key, QString())};
            if (!NamesTheDatabase(k))
                keys.push_back(k);
        }
    ASSERT_GT(keys.size(), 100u);   // frame, texts, chart settings, curves

    // One start of each lane at a time; the values of a start, for the report.
    struct TLauf {
        std::vector<std::pair<TKey, QString>> Values;
        QProcess Process;
    };
    const auto describe = [](const TLauf& l) {
        std::string s;
        for (const auto& [k, v] : l.Values)
            s += "\n  [" + k.Section.toStdString() + "] " + k.Key.toStdString() + "=" + v.left(40).toStdString();
        return s;
    };
    const auto check = [&](TLauf& l, int lane) {
        const bool ended = l.Process.waitForFinished(kWaitMs);
        const std::string err = l.Process.readAllStandardError().toStdString();
        ASSERT_TRUE(ended) << "no end" << describe(l);
        ASSERT_EQ(l.Process.exitStatus(), QProcess::NormalExit) << err << describe(l);
        ASSERT_EQ(l.Process.exitCode(), 0) << err << describe(l);
        ASSERT_EQ(QImage(Picture(lane)).size(), QSize(1600, 1000)) << describe(l);
        const TMemIniFile after(Ini(lane));
        for (const auto& [k, v] : l.Values) {
            const QString now = after.ReadString(k.Section, k.Key, QStringLiteral("<fehlt>"));
            if (!Insane(k, v).isEmpty()) {
                EXPECT_EQ(Insane(k, now), QString())
                    << "[" << k.Section.toStdString() << "] " << k.Key.toStdString() << " stays "
                    << now.left(40).toStdString() << describe(l);
            }
        }
    };

    // A spoiled database name can only fail: in German, at once, without a picture.
    {
        TLauf l;
        WriteIni(0, {});
        TMemIniFile ini(Ini(0));
        ini.WriteString(QStringLiteral("Path"), QStringLiteral("Server name"), QString(300, u'x'));
        ini.UpdateFile();
        Start(l.Process, 0);
        ASSERT_TRUE(l.Process.waitForFinished(kWaitMs));
        EXPECT_EQ(l.Process.exitStatus(), QProcess::NormalExit);
        EXPECT_NE(l.Process.exitCode(), 0);
        EXPECT_TRUE(QString::fromUtf8(l.Process.readAllStandardError()).contains(QStringLiteral("nicht vorhanden")));
        EXPECT_FALSE(QFile::exists(Picture(0)));
    }

    for (int start = 0; start < kStarts; start += 2) {
        std::array<TLauf, 2> lanes;
        for (int lane = 0; lane < 2; ++lane) {
            std::vector<size_t> chosen;
            while (chosen.size() < size_t(kKeysPerStart)) {
                const size_t i = random.bounded(quint32(keys.size()));
                if (std::find(chosen.begin(), chosen.end(), i) == chosen.end())
                    chosen.push_back(i);
            }
            for (size_t i : chosen)
                lanes[lane].Values.emplace_back(keys[i], HostileValues()[random.bounded(quint32(HostileValues().size()))]);
            WriteIni(lane, lanes[lane].Values);
            Start(lanes[lane].Process, lane);
        }
        for (int lane = 0; lane < 2; ++lane)
            check(lanes[lane], lane);
        if (HasFatalFailure() || HasFailure())
            return;
    }
}
