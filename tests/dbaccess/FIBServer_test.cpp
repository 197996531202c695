// Connections over the network protocol to a private server on a loopback port.
// Skipped, with the reason, when no server can be started on this machine.

#include "DbTestSupport.h"

#include <gtest/gtest.h>

class ServerDatabase : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        sServer = new TPrivateServer();
        if (!sServer->Start()) {
            sSkipReason = sServer->Reason();
            return;
        }
        sDir = new QTemporaryDir();
        sPath = sDir->filePath("Remote.fdb");
        sCreateError = ThrownMessage([] { CreateTestDatabase(sServer->ConnectString(sPath), 3, "DBR"); });
    }
    static void TearDownTestSuite()
    {
        delete sServer;
        sServer = nullptr;
        delete sDir;
        sDir = nullptr;
    }
    void SetUp() override
    {
        if (!sSkipReason.isEmpty()) {
            std::printf("No private server: %s\n", qPrintable(sSkipReason));
            GTEST_SKIP() << "no private server: " << sSkipReason.toStdString();
        }
        ASSERT_TRUE(sCreateError.isEmpty()) << "creating over the network failed: " << sCreateError.toStdString();
    }
    std::unique_ptr<TpFIBDatabase> MakeDb()
    {
        auto db = std::make_unique<TpFIBDatabase>();
        db->SetName("DBR");
        db->SetLibraryName(ClientLibraryName);
        db->SetDBName(sServer->ConnectString(sPath));
        db->SetSQLDialect(3);
        SetLoginParams(*db);
        return db;
    }
    static TPrivateServer* sServer;
    static QTemporaryDir* sDir;
    static QString sPath;
    static QString sSkipReason;
    static QString sCreateError;
};
TPrivateServer* ServerDatabase::sServer = nullptr;
QTemporaryDir* ServerDatabase::sDir = nullptr;
QString ServerDatabase::sPath;
QString ServerDatabase::sSkipReason;
QString ServerDatabase::sCreateError;

TEST_F(ServerDatabase, CreateConnectAndWork)
{
    auto db = MakeDb();
    db->Open();
    EXPECT_TRUE(db->IsFirebirdConnect());
    EXPECT_GE(db->ServerMajorVersion(), 3);
    EXPECT_GT(db->AttachmentID(), 0);
    EXPECT_EQ(db->QueryValue("select mon$remote_protocol from mon$attachments "
                             "where mon$attachment_id = current_connection")
                  .toString()
                  .trimmed(),
              "TCPv4");

    TpFIBTransaction tr;
    tr.AddDatabase(db.get());
    tr.StartTransaction();
    tr.ExecSQLImmediate("recreate table R (ID integer)");
    tr.Commit();
    tr.StartTransaction();
    tr.ExecSQLImmediate("insert into R values (1)");
    tr.CommitRetaining();
    EXPECT_TRUE(tr.Active());
    tr.Commit();

    // A second attachment from this process sees what the first committed.
    auto second = MakeDb();
    second->Open();
    EXPECT_EQ(second->QueryValue("select count(*) from R").toInt(), 1);
    second->Close();
    db->Close();
}

TEST_F(ServerDatabase, WrongPasswordIsRefused)
{
    auto db = MakeDb();
    db->ConnectParams().SetPassword("wrong");
    try {
        db->Open();
        FAIL() << "connected with a wrong password";
    } catch (const EFIBInterBaseError& e) {
        EXPECT_TRUE(e.Message().contains("user name and password")) << e.Message().toStdString();
        EXPECT_EQ(e.SQLState, "28000");
    }
    EXPECT_FALSE(db->Connected());
    // The password is a parameter line: changing it makes the next connect use it.
    db->ConnectParams().SetPassword(TestPassword);
    db->Open();
    EXPECT_TRUE(db->Connected());
    db->Close();
}
