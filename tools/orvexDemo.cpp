// The demo database tool and the acquisition simulator.
//
//   orvexDemo create FILE [--rows N] [--force]
//       creates FILE with the schema and the demo runs; --rows adds a run of N rows
//   orvexDemo simulate DBNAME [--run NR] [--interval MS] [--count N]
//       appends rows to a run as the acquisition program does, until stopped or N rows

#include "tools/OrvexDemoDb.h"

#include "dbaccess/pFIBDatabase.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <csignal>
#include <ctime>
#include <cstdio>

namespace {
void Print(const QString& line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}
}

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Demo-Datenbank und Simulator der Messwerterfassung"));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("befehl"), QStringLiteral("create oder simulate"));
    parser.addPositionalArgument(QStringLiteral("datenbank"), QStringLiteral("Datei oder host/port:pfad"));
    parser.addOption({QStringLiteral("rows"), QStringLiteral("zusätzlicher Versuch mit N Zeilen"), QStringLiteral("N"), QStringLiteral("0")});
    parser.addOption({QStringLiteral("force"), QStringLiteral("vorhandene Datei ersetzen")});
    parser.addOption({QStringLiteral("run"), QStringLiteral("Versuchsnummer"), QStringLiteral("NR"), QStringLiteral("H3TRB 2026/021")});
    parser.addOption({QStringLiteral("interval"), QStringLiteral("Abstand der Zeilen in ms"), QStringLiteral("MS"), QStringLiteral("1000")});
    parser.addOption({QStringLiteral("count"), QStringLiteral("nach N Zeilen enden (0: nie)"), QStringLiteral("N"), QStringLiteral("0")});
    parser.addOption({QStringLiteral("password"), QStringLiteral("Kennwort von SYSDBA"), QStringLiteral("PW"), QStringLiteral("kestrel42")});
    parser.process(app);
    const QStringList args = parser.positionalArguments();
    if (args.size() != 2) {
        std::fprintf(stderr, "%s", qPrintable(parser.helpText()));
        return 2;
    }
    TDemoDbLogin login;
    login.DBName = args[1];
    login.Password = parser.value(QStringLiteral("password"));

    try {
        if (args[0] == QLatin1String("create")) {
            if (QFile::exists(login.DBName)) {
                if (!parser.isSet(QStringLiteral("force"))) {
                    std::fprintf(stderr, "%s existiert schon (--force ersetzt sie)\n", qPrintable(login.DBName));
                    return 1;
                }
                QFile::remove(login.DBName);
            }
            QElapsedTimer t;
            t.start();
            CreateDemoDatabase(login, parser.value(QStringLiteral("rows")).toInt(), Print);
            Print(QStringLiteral("%1 angelegt in %2 s").arg(login.DBName).arg(t.elapsed() / 1000.0, 0, 'f', 1));
            return 0;
        }
        if (args[0] == QLatin1String("simulate")) {
            // The stop signals are blocked in every thread (the client library's too, which
            // are made later and inherit the mask) and taken only while waiting between
            // rows: a signal must never break a call to the server.
            sigset_t stopSignals;
            sigemptyset(&stopSignals);
            sigaddset(&stopSignals, SIGTERM);
            sigaddset(&stopSignals, SIGINT);
            pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
            auto db = ConnectOrvex(login);
            TAcquisitionSimulator sim(db.get(), parser.value(QStringLiteral("run")));
            const int interval = parser.value(QStringLiteral("interval")).toInt();
            const int count = parser.value(QStringLiteral("count")).toInt();
            bool stop = false;
            for (int written = 0; !stop && (count == 0 || written < count); ++written) {
                const int nr = sim.AppendRow();
                Print(QStringLiteral("Satz %1 geschrieben").arg(nr));
                const timespec wait{interval / 1000, long(interval % 1000) * 1000000L};
                stop = sigtimedwait(&stopSignals, nullptr, &wait) > 0;
            }
            db->Close();
            return 0;
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "Fehler: %s\n", e.what());
        return 1;
    }
    std::fprintf(stderr, "%s", qPrintable(parser.helpText()));
    return 2;
}
