#pragma once
// What the benches of the evaluation window share: its start on a bench database.

#include "frame/ZELLIB_INI.h"
#include "testdata/uDMorvex.h"
#include "views/uFoAuswertungUebersicht.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>
#include <cstdio>

// The window benches draw offscreen where there is no screen; call before the application.
inline void OffscreenWithoutScreen()
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM") && !qEnvironmentVariableIsSet("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

// The run named by "name DATABASE [VERSUCHSNR [PASSWORD]]", 'BENCH-GROSS' by default;
// empty, after the usage line, when no database is given.
inline QString BenchRun(int argc, char** argv, const char* name)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s DATABASE [VERSUCHSNR [PASSWORD]]\n", name);
        return {};
    }
    return argc > 2 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral("BENCH-GROSS");
}

// Makes a KELMAR.INI in dir, pointing at the database and holding the extra lines,
// the program's INI; false when it cannot be written.
inline bool UseBenchIni(const QTemporaryDir& dir, const char* database, const QByteArray& extra = {})
{
    IniFileName = dir.filePath(QStringLiteral("KELMAR.INI"));
    QFile f(IniFileName);
    return f.open(QIODevice::WriteOnly) &&
           f.write("[Path]\r\nServer name=" + QByteArray(database) + "\r\n" + extra) >= 0;
}

// The window, its data module and connection (with the password, when given, for
// SYSDBA), shown at 1600 x 1000 as a user's screen would have it.
inline void OpenBenchWindow(const QString& password)
{
    FOOrvexAuswertung = new TFOOrvexAuswertung;
    DMorvex = std::make_unique<TDMorvex>();
    if (!password.isEmpty())
        DMorvex->orvexDB->DBParams().SetText(QStringLiteral("user_name=SYSDBA\npassword=") + password +
                                             QStringLiteral("\nlc_ctype=WIN1252\nsql_role_name="));
    FOOrvexAuswertung->DatenquellenZuordnen();
    DMorvex->DataModuleCreate();
    FOOrvexAuswertung->setWindowState(Qt::WindowNoState);
    FOOrvexAuswertung->resize(1600, 1000);
    FOOrvexAuswertung->show();
    QApplication::processEvents();
}
