#include "dbaccess/IB_Intf.h"

#include <QFile>
#include <dlfcn.h>
#include <link.h>
#include <mutex>
#include <vector>

namespace {
const char* const kEntryPointNames[fibep_Count] = {
#define FIB_NAME_ENTRY(fn) #fn,
    FIB_FORWARDED_ENTRY_POINTS(FIB_NAME_ENTRY) FIB_PROBED_ENTRY_POINTS(FIB_NAME_ENTRY)
#undef FIB_NAME_ENTRY
};

QString LoaderError()
{
    const char* text = dlerror();
    return text ? QString::fromLocal8Bit(text) : QStringLiteral("Unknown loader error");
}

// The pool lives as long as the process; a library object once made is kept so that
// every database naming the same file shares it.
struct TLibraryPool {
    std::mutex Lock;
    std::vector<std::shared_ptr<TIBClientLibrary>> Items;
};

TLibraryPool& LibraryPool()
{
    static TLibraryPool pool;
    return pool;
}
}  // namespace

const char* FIBEntryPointName(TFIBEntryPoint entry)
{
    if (entry < 0 || entry >= fibep_Count)
        return "";
    return kEntryPointNames[entry];
}

void IIBClientLibrary::RaiseMissingEntryPoint(TFIBEntryPoint entry) const
{
    throw Exception(FormatFIBText(FIBTexts::CantFindProcedure,
                                  {QString::fromLatin1(FIBEntryPointName(entry)), LibraryName()}));
}

TIBClientLibrary::TIBClientLibrary(const QString& libraryName) : fLibraryName(libraryName) {}

TIBClientLibrary::~TIBClientLibrary() { UnloadClientLibrary(); }

void TIBClientLibrary::ClearEntryPoints()
{
    for (void*& p : fEntryPoints)
        p = nullptr;
}

void TIBClientLibrary::Bind(TFIBEntryPoint entry, bool required)
{
    dlerror();
    void* p = dlsym(fHandle, kEntryPointNames[entry]);
    if (!p && required) {
        const QString text = LoaderError();
        UnloadClientLibrary();
        throw Exception(text);
    }
    fEntryPoints[entry] = p;
}

void TIBClientLibrary::LoadClientLibrary()
{
    if (fHandle)
        return;
    ClearEntryPoints();
    // The loader takes an empty name for the program itself, which then lacks the
    // first entry point: a confusing text for a setting that is simply missing.
    if (fLibraryName.trimmed().isEmpty())
        throw Exception(QStringLiteral("Keine Client-Bibliothek für die Datenbank eingestellt: "
                                       "\"Library Name\" ist leer."));
    // The library is never really unmapped: the client starts threads and exit
    // handlers of its own that must outlive any handle this layer holds.
    fHandle = dlopen(QFile::encodeName(fLibraryName).constData(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!fHandle)
        throw Exception(LoaderError());

    static constexpr TFIBEntryPoint required[] = {
        fibep_BLOB_get, fibep_BLOB_put, fibep_isc_sqlcode, fibep_isc_sql_interprete, fibep_isc_interprete,
        fibep_isc_vax_integer, fibep_isc_blob_info, fibep_isc_open_blob2, fibep_isc_close_blob,
        fibep_isc_get_segment, fibep_isc_put_segment, fibep_isc_create_blob2, fibep_isc_decode_date,
        fibep_isc_encode_date, fibep_isc_dsql_free_statement, fibep_isc_dsql_execute2, fibep_isc_dsql_execute,
        fibep_isc_dsql_set_cursor_name, fibep_isc_dsql_fetch, fibep_isc_dsql_sql_info,
        fibep_isc_dsql_alloc_statement2, fibep_isc_dsql_prepare, fibep_isc_dsql_describe_bind,
        fibep_isc_dsql_describe, fibep_isc_dsql_execute_immediate, fibep_isc_dsql_exec_immed2,
        fibep_isc_drop_database, fibep_isc_detach_database, fibep_isc_attach_database, fibep_isc_database_info,
        fibep_isc_start_multiple, fibep_isc_commit_transaction, fibep_isc_commit_retaining,
        fibep_isc_rollback_transaction, fibep_isc_cancel_events, fibep_isc_que_events, fibep_isc_event_counts,
        fibep_isc_event_block, fibep_isc_free, fibep_isc_array_lookup_bounds, fibep_isc_array_get_slice,
        fibep_isc_array_put_slice, fibep_isc_wait_for_event, fibep_isc_transaction_info,
        fibep_isc_prepare_transaction, fibep_isc_prepare_transaction2};
    for (TFIBEntryPoint entry : required) {
        Bind(entry, true);
        if (entry == fibep_isc_interprete)
            Bind(fibep_fb_interpret, false);
    }

    // The retaining rollback marks the newer generation of client libraries.
    Bind(fibep_isc_rollback_retaining, false);
    if (!fEntryPoints[fibep_isc_rollback_retaining]) {
        fMajorVersion = 5;
        fMinorVersion = 0;
    } else {
        fMajorVersion = 6;
        fMinorVersion = 0;
        static constexpr TFIBEntryPoint version6[] = {
            fibep_isc_service_attach, fibep_isc_service_detach, fibep_isc_service_query,
            fibep_isc_service_start, fibep_isc_decode_sql_date, fibep_isc_decode_sql_time,
            fibep_isc_decode_timestamp, fibep_isc_encode_sql_date, fibep_isc_encode_sql_time,
            fibep_isc_encode_timestamp, fibep_isc_portable_integer};
        for (TFIBEntryPoint entry : version6)
            Bind(entry, true);
    }
    Bind(fibep_fb_sqlstate, false);
    Bind(fibep_isc_get_client_version, false);
    if (!fEntryPoints[fibep_isc_get_client_version]) {
        fMinorVersion = 0;
    } else {
        Bind(fibep_isc_get_client_major_version, true);
        Bind(fibep_isc_get_client_minor_version, true);
        fMajorVersion = isc_get_client_major_version();
        fMinorVersion = isc_get_client_minor_version();
        Bind(fibep_isc_dsql_batch_execute_immed, false);
        Bind(fibep_isc_dsql_batch_execute, false);
        Bind(fibep_fb_cancel_operation, false);
    }
    SetExtendedFPUPrecision();
}

void TIBClientLibrary::UnloadClientLibrary()
{
    if (fHandle) {
        dlclose(fHandle);
        fHandle = nullptr;
    }
    ClearEntryPoints();
}

QString TIBClientLibrary::ClientLibraryPath() const
{
    if (!fHandle)
        return {};
    link_map* map = nullptr;
    if (dlinfo(fHandle, RTLD_DI_LINKMAP, &map) != 0 || !map || !map->l_name)
        return {};
    // The same limit a fixed 1,025-character buffer would set.
    QByteArray path(map->l_name);
    path.truncate(1024);
    return QFile::decodeName(path);
}

bool TIBClientLibrary::HasEntryPoint(TFIBEntryPoint entry) const { return EntryPoint(entry) != nullptr; }

void* TIBClientLibrary::EntryPoint(TFIBEntryPoint entry) const
{
    // These two are deliberately never bound: nothing in the program describes arrays.
    if (entry == fibep_isc_array_lookup_desc || entry == fibep_isc_array_set_desc)
        return nullptr;
    if (entry < 0 || entry >= fibep_Count)
        return nullptr;
    return fEntryPoints[entry];
}

IIBClientLibraryRef AcquireClientLibrary(const QString& name)
{
    TLibraryPool& pool = LibraryPool();
    std::lock_guard lock(pool.Lock);
    for (const auto& item : pool.Items) {
        if (item->LibraryName() == name) {
            if (!item->ClientLibraryLoaded())
                item->LoadClientLibrary();
            return item;
        }
    }
    auto library = std::make_shared<TIBClientLibrary>(name);
    library->LoadClientLibrary();
    pool.Items.push_back(library);
    return library;
}
