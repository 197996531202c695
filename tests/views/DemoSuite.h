#pragma once
// What the window suites share: a demo database made for the suite in a folder of
// its own, the program's globals set as a start sets them for each test, the steps
// inside a dialog's modal loop, and the readers of the exported files.

#include "dbaccess/pFIBDatabase.h"
#include "dbaccess/pFIBQuery.h"
#include "frame/ZELBase.h"
#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "testdata/uDMorvex.h"
#include "tools/OrvexDemoDb.h"
#include "views/uFoAuswertungUebersicht.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QTimer>
#include <QVariant>
#include <deque>
#include <functional>
#include <memory>
#include <stdexcept>

// The demo run of that number as the generator makes it.
inline const TDemoRun& RunNamed(const QString& nr)
{
    static const std::vector<TDemoRun> runs = DemoRuns();
    return FindDemoRun(runs, nr);
}

// A file's bytes; none when it cannot be read.
inline QByteArray ReadAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Runs a reader script on the file; its standard output, line by line.
inline QStringList RunReader(const QString& script, const QString& path, int timeoutMs)
{
    QProcess p;
    p.start(QStringLiteral("/usr/bin/python3"), {QStringLiteral("-c"), script, path});
    p.waitForFinished(timeoutMs);
    EXPECT_EQ(p.exitCode(), 0) << p.readAllStandardError().toStdString();
    return QString::fromUtf8(p.readAllStandardOutput()).split(u'\n');
}

// The sheet as xlrd reads it: one line per row, cells tab-separated as
// "n:<float.hex>" or "t:<text>"; the first line is rows and columns.
inline QStringList ReadWithXlrd(const QString& path)
{
    const QString script = QStringLiteral(
        "import sys, xlrd\n"
        "b = xlrd.open_workbook(sys.argv[1], encoding_override='cp1252')\n"
        "s = b.sheet_by_index(0)\n"
        "out = [str(b.biff_version) + '\\t' + str(s.nrows) + '\\t' + str(s.ncols)]\n"
        "for r in range(s.nrows):\n"
        "    cells = []\n"
        "    for c in range(s.ncols):\n"
        "        cell = s.cell(r, c)\n"
        // Without number format records xlrd files number cells under the text type,
        // but hands out the stored double; the value's type tells them apart.
        "        if isinstance(cell.value, float): cells.append('n:' + cell.value.hex())\n"
        "        elif cell.ctype == xlrd.XL_CELL_EMPTY: cells.append('e:')\n"
        "        elif cell.ctype == xlrd.XL_CELL_TEXT: cells.append('t:' + cell.value)\n"
        "        else: cells.append('x%d:%r' % (cell.ctype, cell.value))\n"
        "    out.append('\\t'.join(cells))\n"
        "sys.stdout.buffer.write('\\n'.join(out).encode('utf-8'))\n");
    return RunReader(script, path, 120000);
}

// The workbook as openpyxl reads it: the first line is rows, columns and merged
// ranges, then one line per row, cells tab-separated as "n:<repr>" (numbers),
// "d:<dd.mm.yyyy HH:MM:SS>" (dates), "t:<text>", "e:" (empty); the number
// formats of the first data row, "f:...", in formats.
inline QStringList ReadWithOpenpyxl(const QString& path, QString* formats = nullptr)
{
    const QString script = QStringLiteral(
        "import sys, datetime, openpyxl\n"
        "b = openpyxl.load_workbook(sys.argv[1])\n"
        "s = b.worksheets[0]\n"
        "out = ['%d\\t%d\\t%s' % (s.max_row, s.max_column, ' '.join(sorted(str(m) for m in s.merged_cells.ranges)))]\n"
        "formats = []\n"
        "for row in s.iter_rows():\n"
        "    cells = []\n"
        "    for c in row:\n"
        "        v = c.value\n"
        "        if v is None: cells.append('e:')\n"
        "        elif isinstance(v, datetime.datetime): cells.append('d:' + v.strftime('%d.%m.%Y %H:%M:%S'))\n"
        "        elif isinstance(v, (int, float)): cells.append('n:' + repr(float(v)))\n"
        "        else: cells.append('t:' + str(v))\n"
        "    if not formats and row[0].row == 3: formats = [c.number_format for c in row]\n"
        "    out.append('\\t'.join(cells))\n"
        "out.append('f:' + '|'.join(formats))\n"
        "sys.stdout.buffer.write('\\n'.join(out).encode('utf-8'))\n");
    QStringList lines = RunReader(script, path, 600000);
    const QString last = lines.isEmpty() ? QString() : lines.takeLast();
    if (formats)
        *formats = last;
    return lines;
}

// Steps run inside a dialog's modal loop, each posted by the one before: a pass over
// the posted events never takes what was posted during it, so the loop gets a turn
// between any two steps, and nothing is left posted after the last one to run ahead
// of the next session's first. A dialog still open after the time is hidden by hide,
// so that one a step forgot to close cannot hang the suite.
class TModalSteps {
public:
    TModalSteps(int timeoutMs, std::function<void()> hide)
    {
        fWatchdog.setSingleShot(true);
        fWatchdog.setInterval(timeoutMs);
        QObject::connect(&fWatchdog, &QTimer::timeout, [hide = std::move(hide)] {
            ADD_FAILURE() << "dialog still open";
            hide();
        });
    }
    // Posts the steps to context, then runs modal, which returns once the dialog closed.
    void Run(QObject* context, std::vector<std::function<void()>> steps, const std::function<void()>& modal)
    {
        fSteps.assign(steps.begin(), steps.end());
        Next(context);
        fWatchdog.start();
        modal();
        fWatchdog.stop();
        EXPECT_TRUE(fSteps.empty()) << fSteps.size() << " steps did not run";
    }

private:
    void Next(QObject* context)
    {
        QMetaObject::invokeMethod(context, [this, context] {
            auto step = std::move(fSteps.front());
            fSteps.pop_front();
            step();
            if (!fSteps.empty())
                Next(context);
        }, Qt::QueuedConnection);
    }

    QTimer fWatchdog;
    std::deque<std::function<void()>> fSteps;
};

// Statements on a connection and in a transaction of their own: what another program
// reads or writes beside the window. Commit makes the writes stay; without it they
// are rolled back when the object goes.
class TOwnStatement {
public:
    explicit TOwnStatement(const TDemoDbLogin& login) : fDb(ConnectOrvex(login))
    {
        fTr.SetDefaultDatabase(fDb.get());
        fTr.StartTransaction();
        fQ.SetDatabase(fDb.get());
        fQ.SetTransaction(&fTr);
    }
    ~TOwnStatement()
    {
        try {
            if (fTr.Active())
                fTr.Rollback();
            fDb->Close();
        } catch (const std::exception& e) {
            ADD_FAILURE() << "ending a test's own connection: " << e.what();
        }
    }
    TOwnStatement(const TOwnStatement&) = delete;
    TOwnStatement& operator=(const TOwnStatement&) = delete;
    // Runs sql; its rows, if any, are read through the answer.
    TpFIBQuery& Run(const QString& sql)
    {
        fQ.Close();
        fQ.SQL().SetText(sql);
        fQ.ExecQuery();
        return fQ;
    }
    void Commit() { fTr.Commit(); }

private:
    std::unique_ptr<TpFIBDatabase> fDb;
    TpFIBTransaction fTr;
    TpFIBQuery fQ;
};

// The demo database at relativePath in a temporary folder; folder and file go with
// the object.
class TDemoDatabase {
public:
    explicit TDemoDatabase(const QString& relativePath = QStringLiteral("Orvex.fdb"), int largeRows = 0)
    {
        if (!fDir.isValid())
            throw std::runtime_error("no temporary folder for the demo database");
        fLogin.DBName = fDir.filePath(relativePath);
        QDir().mkpath(QFileInfo(fLogin.DBName).path());
        CreateDemoDatabase(fLogin, largeRows);
    }
    const TDemoDbLogin& Login() const { return fLogin; }
    QString Folder() const { return fDir.path(); }
    QString FilePath(const QString& name) const { return fDir.filePath(name); }
    // Statements in one committed transaction: runs and rows the tests add.
    void Exec(const QStringList& statements) const
    {
        TOwnStatement own(fLogin);
        for (const QString& sql : statements)
            own.Run(sql);
        own.Commit();
    }
    // The first column of the first row.
    QVariant Value(const QString& sql) const
    {
        TOwnStatement own(fLogin);
        TpFIBQuery& q = own.Run(sql);
        return q.Eof() ? QVariant() : q.Fields(0).AsVariant();
    }

private:
    QTemporaryDir fDir;
    TDemoDbLogin fLogin;
};

// For one test, the globals as a start leaves them: a decimal comma, no INI store
// open, KELMAR.INI in iniFolder, the data folder, an empty run; afterwards as before.
class TProgramState {
public:
    TProgramState(const QString& iniFolder, const QString& dataFolder) : fSaved(FormatSettings)
    {
        ProgrammEndet = false;
        FormatSettings.DecimalSeparator = u',';
        IniStore.reset();
        IniFileName = QDir(iniFolder).filePath(QStringLiteral("KELMAR.INI"));
        Datapath = dataFolder;
        AktVersuch = std::make_unique<TVersuchDaten>();
    }
    ~TProgramState()
    {
        AktVersuch.reset();
        IniStore.reset();
        FormatSettings = fSaved;
        ProgrammEndet = false;
    }
    TProgramState(const TProgramState&) = delete;
    TProgramState& operator=(const TProgramState&) = delete;

private:
    TFormatSettings fSaved;
};

// The program's start: the window, the data module with its sources and connection;
// the caller shows the window.
inline TFOOrvexAuswertung* StartProgram()
{
    ProgrammEndet = false;   // a second start in one test comes after an orderly end
    auto* w = new TFOOrvexAuswertung;
    DMorvex = std::make_unique<TDMorvex>();
    w->DatenquellenZuordnen();
    DMorvex->DataModuleCreate();
    return w;
}

// The orderly end of a started window, its settings saved on the way; w is null after.
inline void EndProgram(TFOOrvexAuswertung*& w)
{
    if (!w)
        return;
    w->ProgrammBeenden();
    delete w;
    w = nullptr;
    DMorvex.reset();
    IniStore.reset();
}
