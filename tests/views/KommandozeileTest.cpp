// The screen-free exports as a script starts them: the built program in a working
// folder of its own, with no screen at all, several files in one call, read back by
// readers that share no code with ours (xlrd, openpyxl, pdftoppm, pdftotext).

#include "tests/QtPrinters.h"
#include "tests/views/DemoSuite.h"

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <QStringDecoder>

namespace {
constexpr int kWaitMs = 120000;
const QString Versuch = QStringLiteral("HTRB-2026-017");

struct TLauf {
    bool Beendet = false;
    int Code = -1;
    QString Err;
};

QString Ausgabe(const QString& program, const QStringList& args)
{
    QProcess p;
    p.start(program, args);
    if (!p.waitForFinished(kWaitMs) || p.exitCode() != 0)
        return QStringLiteral("FEHLER: ") + QString::fromUtf8(p.readAllStandardError());
    return QString::fromUtf8(p.readAllStandardOutput());
}

// A share of pixels that are not white: something is drawn there.
double Bedeckt(const QImage& image, const QRect& r)
{
    int n = 0, drawn = 0;
    for (int y = r.top(); y <= r.bottom(); y += 3)
        for (int x = r.left(); x <= r.right(); x += 3) {
            ++n;
            if (image.pixel(x, y) != qRgb(255, 255, 255))
                ++drawn;
        }
    return n ? double(drawn) / n : 0;
}

class KommandozeileTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        root = std::make_unique<TDemoDatabase>(QStringLiteral("Orvex/Data/Orvex.fdb"));
        rows = root->Value(QStringLiteral("select count(*) from MESSDATEN m join AUFTRAEGE a on a.AUFTRAGKEY = "
                                          "m.AUFTRAGKEY where a.VERSUCHSNR = '%1'")
                               .arg(Versuch))
                   .toInt();
    }
    static void TearDownTestSuite() { root.reset(); }
    void SetUp() override { ASSERT_TRUE(out.isValid() && runtime.isValid()); }

    static QString WorkDir() { return root->FilePath("Orvex"); }
    QString Out(const QString& name) const { return out.filePath(name); }

    // Started as a script would be on a machine without any screen: no display, no
    // platform chosen. A program that tried to open a window would not get far.
    TLauf Starte(const QStringList& args)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char* v : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
            env.remove(QString::fromLatin1(v));
        env.insert("XDG_RUNTIME_DIR", runtime.path());
        QProcess p;
        p.setProcessEnvironment(env);
        p.setWorkingDirectory(WorkDir());
        p.start(ORVEX_EXE, args);
        TLauf l;
        l.Beendet = p.waitForFinished(kWaitMs) && p.exitStatus() == QProcess::NormalExit;
        l.Code = p.exitCode();
        l.Err = QString::fromUtf8(p.readAllStandardError());
        if (p.state() == QProcess::Running) {
            p.kill();
            p.waitForFinished();
        }
        return l;
    }

    static inline std::unique_ptr<TDemoDatabase> root;
    static inline int rows = 0;
    QTemporaryDir out;
    QTemporaryDir runtime;
};
}

TEST_F(KommandozeileTest, EveryFormatInOneCallWithoutAScreen)
{
    ASSERT_GT(rows, 1000);
    const TLauf l = Starte({"--versuch", Versuch, "--export-csv", Out("r.csv"), "--export-xls", Out("r.xls"),
                            "--export-xlsx", Out("r.xlsx"), "--export-png", Out("r.png"), "--export-pdf", Out("r.pdf")});
    ASSERT_TRUE(l.Beendet) << l.Err.toStdString();
    EXPECT_EQ(l.Code, 0) << l.Err.toStdString();

    // The text export as the button writes it: captions, an empty line, every row.
    QStringDecoder dec("windows-1252");
    const QStringList lines = QString(dec.decode(ReadAll(Out("r.csv")))).split(QStringLiteral("\r\n"));
    ASSERT_EQ(lines.size(), rows + 3);   // the last line ends with CR LF too
    EXPECT_TRUE(lines[0].startsWith(QStringLiteral("ZEITPUNKT;SATZNR;ZEIT_STD;EREIGNIS;Fehler;STATUS;T [°C];")))
        << lines[0].toStdString();
    EXPECT_EQ(lines[1], QString());

    // The worksheet and the workbook with the band that names the run, though the raw
    // data window never opened.
    const QStringList sheet = ReadWithXlrd(Out("r.xls"));
    ASSERT_EQ(sheet.size(), rows + 3);
    EXPECT_EQ(sheet[0], QStringLiteral("40\t%1\t18").arg(rows + 2));
    EXPECT_TRUE(sheet[1].startsWith(QStringLiteral("t:Versuch ") + Versuch + u'\t')) << sheet[1].toStdString();
    EXPECT_EQ(sheet[2].section(u'\t', 1, 1), QStringLiteral("t:SATZNR"));
    const QStringList book = ReadWithOpenpyxl(Out("r.xlsx"));
    ASSERT_EQ(book.size(), rows + 3);
    EXPECT_EQ(book[0], QStringLiteral("%1\t18\tA1:R1").arg(rows + 2));
    EXPECT_TRUE(book[1].startsWith(QStringLiteral("t:Versuch ") + Versuch + u'\t')) << book[1].toStdString();
    EXPECT_EQ(book[2].section(u'\t', 1, 1), QStringLiteral("t:SATZNR"));

    // Both charts, with curves on them.
    const QImage png(Out("r.png"));
    ASSERT_FALSE(png.isNull());
    EXPECT_GT(png.width(), 1000);
    EXPECT_GT(png.height(), 800);
    QSet<QRgb> colours;
    for (int y = 0; y < png.height(); y += 5)
        for (int x = 0; x < png.width(); x += 5)
            colours.insert(png.pixel(x, y));
    EXPECT_GT(colours.size(), 5);

    // One landscape page: the run and its header data as text, the charts on the right.
    if (QStandardPaths::findExecutable(QStringLiteral("pdftoppm")).isEmpty())
        GTEST_SKIP() << "pdftoppm is not installed; the report page is not read back";
    const QString info = Ausgabe(QStringLiteral("pdfinfo"), {Out("r.pdf")});
    EXPECT_TRUE(info.contains(QRegularExpression(QStringLiteral("Pages:\\s+1\\n")))) << info.toStdString();
    const QString text = Ausgabe(QStringLiteral("pdftotext"), {"-layout", Out("r.pdf"), "-"});
    for (const char* s : {"Versuch HTRB-2026-017", "Prüfstrang", "Testbeginn", "Restlaufzeit", "Kommentar"})
        EXPECT_TRUE(text.contains(QString::fromUtf8(s))) << s << "\n" << text.toStdString();
    Ausgabe(QStringLiteral("pdftoppm"), {"-r", "60", "-png", "-singlefile", Out("r.pdf"), Out("seite")});
    const QImage page(Out("seite.png"));
    ASSERT_FALSE(page.isNull());
    EXPECT_GT(page.width(), page.height() * 13 / 10);
    // The charts take the right three quarters and are drawn there.
    EXPECT_GT(Bedeckt(page, QRect(page.width() / 3, page.height() / 5, page.width() / 2, page.height() / 2)), 0.3);
}

// Every file asked for is tried; each failure is said on standard error, the exit
// code tells it, and a file of the name from before stays as it was.
TEST_F(KommandozeileTest, FailuresAreSaidAndLeaveNothingHalf)
{
    const QString nirgends = Out("fehlt/bericht.pdf");
    TLauf l = Starte({"--versuch", Versuch, "--export-pdf", nirgends, "--export-csv", Out("r.csv")});
    ASSERT_TRUE(l.Beendet);
    EXPECT_EQ(l.Code, 1);
    EXPECT_TRUE(l.Err.contains("Der Bericht \"" + nirgends + "\" kann nicht geschrieben werden:")) << l.Err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(nirgends));
    EXPECT_TRUE(QFileInfo::exists(Out("r.csv"))) << "the other file is written";

    QFile alt(Out("alt.csv"));
    ASSERT_TRUE(alt.open(QIODevice::WriteOnly));
    alt.write("von vorher");
    alt.close();
    l = Starte({"--versuch", "GIBT-ES-NICHT", "--export-csv", Out("alt.csv"), "--export-png", Out("x.png")});
    ASSERT_TRUE(l.Beendet);
    EXPECT_EQ(l.Code, 1);
    EXPECT_TRUE(l.Err.contains("Versuch \"GIBT-ES-NICHT\" ist nicht vorhanden.")) << l.Err.toStdString();
    EXPECT_EQ(ReadAll(Out("alt.csv")), QByteArray("von vorher"));
    EXPECT_FALSE(QFileInfo::exists(Out("x.png")));

    l = Starte({"--export-csv", Out("ohne.csv")});
    ASSERT_TRUE(l.Beendet);
    EXPECT_EQ(l.Code, 1);
    EXPECT_TRUE(l.Err.contains("Für einen Export bitte mit \"--versuch NR\" den Versuch nennen.")) << l.Err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(Out("ohne.csv")));

    // A line that cannot be taken as it stands writes nothing of it.
    l = Starte({"--versuch", Versuch, "--export-csv", Out("teil.csv"), "--export-ods", Out("r.ods"), "--export-pdf"});
    ASSERT_TRUE(l.Beendet);
    EXPECT_EQ(l.Code, 1);
    EXPECT_TRUE(l.Err.contains("Die Option \"--export-ods\" ist unbekannt.")) << l.Err.toStdString();
    EXPECT_TRUE(l.Err.contains("Der Option \"--export-pdf\" fehlt der Dateiname.")) << l.Err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(Out("teil.csv")));
}
