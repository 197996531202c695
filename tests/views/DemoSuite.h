#pragma once
// What the window suites share: a demo database made for the suite in a folder of
// its own, and the program's globals set as a start sets them for each test.

#include "dbaccess/pFIBDatabase.h"
#include "frame/ZELBase.h"
#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "testdata/uDMorvex.h"
#include "tools/OrvexDemoDb.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>
#include <memory>
#include <stdexcept>

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
        auto db = ConnectOrvex(fLogin);
        TpFIBTransaction tr;
        tr.SetDefaultDatabase(db.get());
        tr.StartTransaction();
        for (const QString& sql : statements)
            tr.ExecSQLImmediate(sql);
        tr.Commit();
        db->Close();
    }
    // The first column of the first row.
    QVariant Value(const QString& sql) const
    {
        auto db = ConnectOrvex(fLogin);
        const QVariant v = db->QueryValue(sql);
        db->Close();
        return v;
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
