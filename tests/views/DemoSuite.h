#pragma once
// What the window suites share: a demo database made for the suite in a folder of
// its own, and the program's globals set as a start sets them for each test.

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
#include <QFileInfo>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>
#include <memory>
#include <stdexcept>

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
