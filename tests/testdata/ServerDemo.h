#pragma once
// The demo database on a private server, and the acquisition simulator writing rows
// into one run from a process of its own while the test's module works beside it.
#include "testdata/uDMorvex.h"
#include "tools/OrvexDemoDb.h"
#include "tests/dbaccess/DbTestSupport.h"

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

class TServerDemo {
public:
    // False, with Server.Reason(), where no private server can run.
    bool Create()
    {
        if (!Server.Start())
            return false;
        Login.DBName = Server.ConnectString(Data.filePath(QStringLiteral("Orvex.fdb")));
        Login.Password = TestPassword;
        CreateDemoDatabase(Login);
        return true;
    }
    void Connect(TDMorvex& dm) const
    {
        dm.orvexDB->SetDBName(Login.DBName);
        dm.orvexDB->DBParams().SetText(QStringLiteral("user_name=SYSDBA\npassword=") + TestPassword +
                                       QStringLiteral("\nlc_ctype=WIN1252\nsql_role_name="));
        dm.orvexDB->SetConnected(true);
    }
    // Appends count rows to the run behind its rows already stored, one every 15 ms.
    bool StartSimulator(const TDemoRun& run, int count)
    {
        Committed = run.Zeilen;
        Sim.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        Sim.start(QStringLiteral(ORVEX_DEMO_EXE),
                  {QStringLiteral("simulate"), Login.DBName, QStringLiteral("--password"), TestPassword,
                   QStringLiteral("--run"), run.Versuchsnr, QStringLiteral("--interval"), QStringLiteral("15"),
                   QStringLiteral("--count"), QString::number(count)});
        return Sim.waitForStarted(10000);
    }
    // The highest record number the simulator has reported as committed so far.
    int ReadCommitted(int waitMs)
    {
        Sim.waitForReadyRead(waitMs);
        fPending += Sim.readAllStandardOutput();
        for (const auto& m : fWritten.globalMatch(QString::fromUtf8(fPending)))
            Committed = std::max(Committed, m.captured(1).toInt());
        const int cut = fPending.lastIndexOf('\n');
        if (cut >= 0)
            fPending.remove(0, cut + 1);
        return Committed;
    }

    TPrivateServer Server;
    QTemporaryDir Data;
    TDemoDbLogin Login;
    QProcess Sim;
    int Committed = 0;

private:
    QByteArray fPending;
    const QRegularExpression fWritten{QStringLiteral("Satz (\\d+) geschrieben")};
};
