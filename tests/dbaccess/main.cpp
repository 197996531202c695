// The layer's timers deliver their ticks through the main thread's event loop;
// tests that wait for a tick pump it with QCoreApplication::processEvents.
#include "dbaccess/pFIBDatabase.h"

#include <QCoreApplication>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>

// Helper mode for the exit test: connect, never close, and end the process. The
// layer must detach on its own at exit, before the client library goes down.
static int ExitWithOpenConnection(const char* path)
{
    // Static, so that it outlives main; it is destroyed only after the exit handlers ran.
    static TpFIBDatabase database;
    TpFIBDatabase* db = &database;
    db->SetLibraryName(QStringLiteral("libfbclient.so.2"));
    db->SetDBName(QString::fromLocal8Bit(path));
    db->DBParams().Assign({QStringLiteral("user_name=SYSDBA"), QStringLiteral("lc_ctype=WIN1252")});
    db->Open();
    db->AfterDisconnect = [](TComponent*) { std::fprintf(stderr, "closed at exit\n"); };
    return db->Connected() ? 0 : 1;
}

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 3 && std::strcmp(argv[1], "--exit-with-open-connection") == 0)
        return ExitWithOpenConnection(argv[2]);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
