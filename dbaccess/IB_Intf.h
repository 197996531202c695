#pragma once
// Run-time binding of the database client library. The library file is opened by
// name when a database first needs it and its entry points are bound one by one;
// two databases may use two different library files in one process. The client
// library's header provides the C types only: nothing here links against it.

#include "dbaccess/fib.h"

#include <ibase.h>

#include <QScopeGuard>
#include <QString>
#include <atomic>
#include <memory>

// Every entry point the layer knows, in one list. The two batch calls of a newer
// client generation are only probed for; they have no forwarding member.
#define FIB_FORWARDED_ENTRY_POINTS(X)                                                                        \
    X(BLOB_get) X(BLOB_put) X(isc_sqlcode) X(isc_sql_interprete) X(isc_interprete) X(fb_interpret)           \
    X(isc_vax_integer) X(isc_blob_info) X(isc_open_blob2) X(isc_close_blob) X(isc_get_segment)               \
    X(isc_put_segment) X(isc_create_blob2) X(isc_decode_date) X(isc_encode_date) X(isc_dsql_free_statement) \
    X(isc_dsql_execute2) X(isc_dsql_execute) X(isc_dsql_set_cursor_name) X(isc_dsql_fetch)                  \
    X(isc_dsql_sql_info) X(isc_dsql_alloc_statement2) X(isc_dsql_prepare) X(isc_dsql_describe_bind)         \
    X(isc_dsql_describe) X(isc_dsql_execute_immediate) X(isc_dsql_exec_immed2) X(isc_drop_database)         \
    X(isc_detach_database) X(isc_attach_database) X(isc_database_info) X(isc_start_multiple)                \
    X(isc_commit_transaction) X(isc_commit_retaining) X(isc_rollback_transaction) X(isc_cancel_events)      \
    X(isc_que_events) X(isc_event_counts) X(isc_event_block) X(isc_free) X(isc_array_lookup_bounds)         \
    X(isc_array_get_slice) X(isc_array_put_slice) X(isc_wait_for_event) X(isc_transaction_info)             \
    X(isc_prepare_transaction) X(isc_prepare_transaction2) X(isc_rollback_retaining) X(fb_sqlstate)         \
    X(isc_get_client_version) X(fb_cancel_operation) X(isc_service_attach) X(isc_service_detach)            \
    X(isc_service_query) X(isc_service_start) X(isc_decode_sql_date) X(isc_decode_sql_time)                 \
    X(isc_decode_timestamp) X(isc_encode_sql_date) X(isc_encode_sql_time) X(isc_encode_timestamp)           \
    X(isc_portable_integer) X(isc_get_client_major_version) X(isc_get_client_minor_version)                 \
    X(isc_array_lookup_desc) X(isc_array_set_desc)

#define FIB_PROBED_ENTRY_POINTS(X) X(isc_dsql_batch_execute_immed) X(isc_dsql_batch_execute)

enum TFIBEntryPoint : int {
#define FIB_ENUM_ENTRY(fn) fibep_##fn,
    FIB_FORWARDED_ENTRY_POINTS(FIB_ENUM_ENTRY) FIB_PROBED_ENTRY_POINTS(FIB_ENUM_ENTRY)
#undef FIB_ENUM_ENTRY
    fibep_Count
};

// The exported name of an entry point ("isc_attach_database").
const char* FIBEntryPointName(TFIBEntryPoint entry);

// One loaded client library. Forwarded calls keep the published signatures and
// mark the library as in a call while they run.
class IIBClientLibrary {
public:
    virtual ~IIBClientLibrary() = default;

    virtual void LoadClientLibrary() = 0;
    virtual void UnloadClientLibrary() = 0;
    virtual bool ClientLibraryLoaded() const = 0;
    virtual QString LibraryName() const = 0;
    virtual QString ClientLibraryPath() const = 0;
    virtual int ClientMajorVersion() const = 0;
    virtual int ClientMinorVersion() const = 0;
    virtual bool InCall() const = 0;
    virtual bool HasEntryPoint(TFIBEntryPoint entry) const = 0;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#define FIB_FORWARD(fn)                                             \
    template <class... A>                                           \
    auto fn(A... args)                                              \
    {                                                               \
        return Forward<decltype(&::fn)>(fibep_##fn, args...);       \
    }
    FIB_FORWARDED_ENTRY_POINTS(FIB_FORWARD)
#undef FIB_FORWARD
#pragma GCC diagnostic pop

protected:
    virtual void* EntryPoint(TFIBEntryPoint entry) const = 0;
    virtual void SetInCall(bool value) = 0;
    // Raises "Can't find procedure %s in %s".
    [[noreturn]] void RaiseMissingEntryPoint(TFIBEntryPoint entry) const;

private:
    template <class Fn, class... A>
    auto Forward(TFIBEntryPoint entry, A... args)
    {
        auto fn = reinterpret_cast<Fn>(EntryPoint(entry));
        if (!fn)
            RaiseMissingEntryPoint(entry);
        SetInCall(true);
        const auto callEnded = qScopeGuard([this] { SetInCall(false); });
        return fn(args...);
    }
};

using IIBClientLibraryRef = std::shared_ptr<IIBClientLibrary>;

class TIBClientLibrary : public IIBClientLibrary {
public:
    explicit TIBClientLibrary(const QString& libraryName);
    ~TIBClientLibrary() override;
    TIBClientLibrary(const TIBClientLibrary&) = delete;
    TIBClientLibrary& operator=(const TIBClientLibrary&) = delete;

    // Opens the file under its stored name and binds every entry point; a file that
    // cannot be opened or lacks a required entry point raises the loader's text.
    void LoadClientLibrary() override;
    void UnloadClientLibrary() override;
    bool ClientLibraryLoaded() const override { return fHandle != nullptr; }
    QString LibraryName() const override { return fLibraryName; }
    QString ClientLibraryPath() const override;
    int ClientMajorVersion() const override { return fMajorVersion; }
    int ClientMinorVersion() const override { return fMinorVersion; }
    bool InCall() const override { return fInCall.load(); }
    bool HasEntryPoint(TFIBEntryPoint entry) const override;

protected:
    void* EntryPoint(TFIBEntryPoint entry) const override;
    void SetInCall(bool value) override { fInCall.store(value); }

private:
    void Bind(TFIBEntryPoint entry, bool required);
    void ClearEntryPoints();

    QString fLibraryName;
    void* fHandle = nullptr;
    int fMajorVersion = 0;
    int fMinorVersion = 0;
    void* fEntryPoints[fibep_Count] = {};
    std::atomic<bool> fInCall{false};
};

// The process-wide pool: one library object per exact name.
IIBClientLibraryRef AcquireClientLibrary(const QString& name);
