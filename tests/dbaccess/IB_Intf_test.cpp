// Binding the client library at run time: the real one, files that are missing or
// incomplete, the two client generations, and the error text built from a status.

#include "DbTestSupport.h"
#include "dbaccess/IB_Intf.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

namespace {
QString FakeClient(int level)
{
    return QStringLiteral(FAKE_CLIENT_DIR "/libfakeclient%1.so").arg(level);
}

// The fake libraries take the texts of the next error through an export of their own.
void SetFakeTexts(const QString& library, const char* sqlText, const char* pieces, const char* state = "42000")
{
    void* handle = dlopen(library.toLocal8Bit().constData(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(handle, nullptr);
    auto set = reinterpret_cast<void (*)(const char*, const char*, const char*)>(dlsym(handle, "fake_set_texts"));
    ASSERT_NE(set, nullptr);
    set(sqlText, pieces, state);
    dlclose(handle);
}

EFIBInterBaseError CaptureStatusError(IIBClientLibrary* lib, const TComponent* sender = nullptr)
{
    return Caught<EFIBInterBaseError>([&] { RaiseStatusError(lib, sender); })
        .value_or(EFIBInterBaseError(0, nullptr, {}, {}));
}
}  // namespace

TEST(ClientLibrary, RealLibraryIsPooledByExactName)
{
    IIBClientLibraryRef lib = AcquireClientLibrary(ClientLibraryName);
    ASSERT_TRUE(lib->ClientLibraryLoaded());
    EXPECT_GE(lib->ClientMajorVersion(), 3);
    EXPECT_TRUE(lib->ClientLibraryPath().contains("libfbclient")) << lib->ClientLibraryPath().toStdString();
    EXPECT_TRUE(lib->HasEntryPoint(fibep_fb_interpret));
    EXPECT_TRUE(lib->HasEntryPoint(fibep_isc_rollback_retaining));
    EXPECT_FALSE(lib->InCall());

    EXPECT_EQ(AcquireClientLibrary(ClientLibraryName), lib);
    // The same file under another spelling is another pool entry.
    const QString fullPath = lib->ClientLibraryPath();
    IIBClientLibraryRef other = AcquireClientLibrary(fullPath);
    EXPECT_NE(other, lib);
    EXPECT_EQ(other->LibraryName(), fullPath);

    // An unloaded pool entry is loaded again when asked for.
    other->UnloadClientLibrary();
    EXPECT_FALSE(other->ClientLibraryLoaded());
    EXPECT_EQ(AcquireClientLibrary(fullPath), other);
    EXPECT_TRUE(other->ClientLibraryLoaded());

    // Never bound on purpose: nothing describes arrays.
    EXPECT_EQ(ThrownMessage([&] { lib->isc_array_lookup_desc(StatusVector(), nullptr, nullptr, "", "", nullptr); }),
              "Can't find procedure isc_array_lookup_desc in " + ClientLibraryName);
    EXPECT_FALSE(lib->InCall());
}

TEST(ClientLibrary, LoadFailuresShowTheLoadersTextOrThatNoLibraryIsConfigured)
{
    const QString missing = QStringLiteral("/nonexistent/libnothing.so");
    const QString text = ThrownMessage([&] { AcquireClientLibrary(missing); });
    EXPECT_TRUE(text.contains("libnothing.so")) << text.toStdString();
    EXPECT_TRUE(text.contains("No such file")) << text.toStdString();
    // Nothing was pooled: the second attempt opens the file again and fails again.
    EXPECT_EQ(ThrownMessage([&] { AcquireClientLibrary(missing); }), text);

    // A file that lacks a required entry point is refused at load.
    const QString partial = ThrownMessage([&] { AcquireClientLibrary(FakeClient(1)); });
    EXPECT_TRUE(partial.contains("undefined symbol: isc_sql_interprete")) << partial.toStdString();

    TIBClientLibrary direct(FakeClient(1));
    EXPECT_THROW(direct.LoadClientLibrary(), Exception);
    EXPECT_FALSE(direct.ClientLibraryLoaded());

    // An empty library name says that no client library is configured.
    for (const QString& name : {QString(), QStringLiteral("   ")}) {
        const QString text = ThrownMessage([&] { AcquireClientLibrary(name); });
        EXPECT_TRUE(text.contains("Keine Client-Bibliothek")) << text.toStdString();
        EXPECT_FALSE(text.contains("Can't find procedure")) << text.toStdString();
        EXPECT_FALSE(text.contains("undefined symbol")) << text.toStdString();
    }
    // A database with no library name says the same at connect and stays closed.
    TFIBDatabase db;
    db.SetName("DB1");
    db.SetLibraryName(QString());
    db.SetDBName("/tmp/egal.fdb");
    const QString atConnect = ThrownMessage([&] { db.Open(); });
    EXPECT_TRUE(atConnect.contains("Keine Client-Bibliothek")) << atConnect.toStdString();
    EXPECT_FALSE(db.Connected());
}

TEST(ClientLibrary, GenerationsAreProbedByTheirEntryPoints)
{
    IIBClientLibraryRef old = AcquireClientLibrary(FakeClient(5));
    EXPECT_EQ(old->ClientMajorVersion(), 5);
    EXPECT_EQ(old->ClientMinorVersion(), 0);
    EXPECT_FALSE(old->HasEntryPoint(fibep_isc_service_attach));
    EXPECT_FALSE(old->HasEntryPoint(fibep_fb_interpret));
    isc_tr_handle tr = 0;
    EXPECT_EQ(ThrownMessage([&] { old->isc_rollback_retaining(StatusVector(), &tr); }),
              "Can't find procedure isc_rollback_retaining in " + FakeClient(5));
    EXPECT_FALSE(old->InCall());

    IIBClientLibraryRef newer = AcquireClientLibrary(FakeClient(6));
    EXPECT_EQ(newer->ClientMajorVersion(), 6);
    EXPECT_EQ(newer->ClientMinorVersion(), 0);
    EXPECT_TRUE(newer->HasEntryPoint(fibep_isc_service_attach));
    EXPECT_TRUE(newer->HasEntryPoint(fibep_fb_sqlstate));
    EXPECT_FALSE(newer->HasEntryPoint(fibep_isc_get_client_major_version));
}

namespace {
void SwitchFlagsOff() { SetErrorDisplayFlags(0); }

void SetInterpretHook(const QString& library, void (*hook)())
{
    void* handle = dlopen(library.toLocal8Bit().constData(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(handle, nullptr);
    auto set = reinterpret_cast<void (*)(void (*)())>(dlsym(handle, "fake_set_interpret_hook"));
    ASSERT_NE(set, nullptr);
    set(hook);
    dlclose(handle);
}
}  // namespace

TEST(ClientLibrary, StatusErrorTextAssembly)
{
    TErrorFlagsGuard guard;
    SetErrorDisplayFlags(DefaultErrorDisplayFlags);
    IIBClientLibraryRef newer = AcquireClientLibrary(FakeClient(6));
    TComponent sender;
    sender.SetName("DB1");

    SetFakeTexts(FakeClient(6), "foo\\nbar", "first piece|Second.|");
    EFIBInterBaseError e = CaptureStatusError(newer.get(), &sender);
    EXPECT_EQ(e.SQLCode, -104);
    EXPECT_EQ(e.SQLState, "42000");
    EXPECT_EQ(e.SQLMessage, "Foobar." + CRLF);
    EXPECT_EQ(e.IBMessage, "SQL error state =42000" + CRLF + "First piece." + CRLF + "Second." + CRLF);
    EXPECT_EQ(e.Message(), "DB1:" + CRLF + e.SQLMessage + e.IBMessage);

    // A text that ends in a full stop keeps it and gets no line end in the SQL part.
    SetFakeTexts(FakeClient(6), "Foo.", "Foo.");
    e = CaptureStatusError(newer.get());
    EXPECT_EQ(e.SQLMessage, "Foo.");
    EXPECT_EQ(e.IBMessage, "SQL error state =42000" + CRLF + "Foo." + CRLF);

    // The older generation has no state and interprets with the older call.
    IIBClientLibraryRef old = AcquireClientLibrary(FakeClient(5));
    SetFakeTexts(FakeClient(5), "", "a|b");
    e = CaptureStatusError(old.get());
    EXPECT_TRUE(e.SQLState.isEmpty());
    EXPECT_TRUE(e.SQLMessage.isEmpty());
    EXPECT_EQ(e.IBMessage, "A." + CRLF + "B." + CRLF);

    SetErrorDisplayFlags(0);
    SetFakeTexts(FakeClient(6), "foo", "bar");
    e = CaptureStatusError(newer.get(), &sender);
    EXPECT_TRUE(e.Message().isEmpty());
    EXPECT_TRUE(e.SQLMessage.isEmpty());
    EXPECT_TRUE(e.IBMessage.isEmpty());

    // The state alone still needs its own flag.
    SetErrorDisplayFlags(ShowIBMessage);
    SetFakeTexts(FakeClient(6), "foo", "bar");
    e = CaptureStatusError(newer.get());
    EXPECT_EQ(e.Message(), "Bar." + CRLF);

    // Another thread switching the flags while an error is assembled must not give
    // an error whose parts were gathered under one setting and joined under another.
    SetErrorDisplayFlags(DefaultErrorDisplayFlags);
    SetFakeTexts(FakeClient(6), "sql text", "status text");
    SetInterpretHook(FakeClient(6), &SwitchFlagsOff);
    e = CaptureStatusError(newer.get(), &sender);
    SetInterpretHook(FakeClient(6), nullptr);
    EXPECT_EQ(e.SQLMessage, "Sql text." + CRLF);
    EXPECT_EQ(e.IBMessage, "SQL error state =42000" + CRLF + "Status text." + CRLF);
    EXPECT_EQ(e.Message(), "DB1:" + CRLF + e.SQLMessage + e.IBMessage);
    // Texts set later are composed under the same flags.
    e.SetMessageBody("Body");
    EXPECT_EQ(e.Message(), "DB1:" + CRLF + e.SQLMessage + e.IBMessage + "Body");
}
