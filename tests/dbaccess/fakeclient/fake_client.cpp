// A stand-in client library for the binding tests: it exports only the entry points
// its build level asks for, and answers the error text calls with texts the test
// sets through fake_set_texts. Nothing here talks to a database.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#define EXPORT extern "C" __attribute__((visibility("default")))
#define DUMMY(name) EXPORT intptr_t name() { return 0; }

namespace {
std::string gSqlText;
std::vector<std::string> gPieces;
std::size_t gNext = 0;
std::string gState = "42000";
void (*gInterpretHook)() = nullptr;
}  // namespace

// Called at each status text piece: lets a test change the process around the text assembly.
EXPORT void fake_set_interpret_hook(void (*hook)()) { gInterpretHook = hook; }

// Texts for the next error: the SQL text and the pieces of the status text, "|"-separated.
EXPORT void fake_set_texts(const char* sqlText, const char* pieces, const char* state)
{
    gSqlText = sqlText;
    gPieces.clear();
    std::string all = pieces;
    std::size_t start = 0;
    while (!all.empty()) {
        const std::size_t bar = all.find('|', start);
        gPieces.push_back(all.substr(start, bar == std::string::npos ? std::string::npos : bar - start));
        if (bar == std::string::npos)
            break;
        start = bar + 1;
    }
    gNext = 0;
    gState = state;
}

DUMMY(BLOB_get)
DUMMY(BLOB_put)
EXPORT intptr_t isc_sqlcode(const intptr_t*) { return -104; }

#if FAKE_LEVEL >= 5
EXPORT void isc_sql_interprete(short, char* buffer, short length)
{
    std::strncpy(buffer, gSqlText.c_str(), static_cast<std::size_t>(length) - 1);
    buffer[length - 1] = 0;
}

static int NextPiece(char* buffer, std::size_t size)
{
    if (gInterpretHook)
        gInterpretHook();
    if (gNext >= gPieces.size())
        return 0;
    const std::string& piece = gPieces[gNext++];
    std::strncpy(buffer, piece.c_str(), size - 1);
    buffer[size - 1] = 0;
    return static_cast<int>(piece.size());
}

EXPORT int isc_interprete(char* buffer, const intptr_t**) { return NextPiece(buffer, 1024); }

DUMMY(isc_vax_integer) DUMMY(isc_blob_info) DUMMY(isc_open_blob2) DUMMY(isc_close_blob)
DUMMY(isc_get_segment) DUMMY(isc_put_segment) DUMMY(isc_create_blob2) DUMMY(isc_decode_date)
DUMMY(isc_encode_date) DUMMY(isc_dsql_free_statement) DUMMY(isc_dsql_execute2) DUMMY(isc_dsql_execute)
DUMMY(isc_dsql_set_cursor_name) DUMMY(isc_dsql_fetch) DUMMY(isc_dsql_sql_info) DUMMY(isc_dsql_alloc_statement2)
DUMMY(isc_dsql_prepare) DUMMY(isc_dsql_describe_bind) DUMMY(isc_dsql_describe) DUMMY(isc_dsql_execute_immediate)
DUMMY(isc_dsql_exec_immed2) DUMMY(isc_drop_database) DUMMY(isc_detach_database) DUMMY(isc_attach_database)
DUMMY(isc_database_info) DUMMY(isc_start_multiple) DUMMY(isc_commit_transaction) DUMMY(isc_commit_retaining)
DUMMY(isc_rollback_transaction) DUMMY(isc_cancel_events) DUMMY(isc_que_events) DUMMY(isc_event_counts)
DUMMY(isc_event_block) DUMMY(isc_free) DUMMY(isc_array_lookup_bounds) DUMMY(isc_array_get_slice)
DUMMY(isc_array_put_slice) DUMMY(isc_wait_for_event) DUMMY(isc_transaction_info) DUMMY(isc_prepare_transaction)
DUMMY(isc_prepare_transaction2)
#endif

#if FAKE_LEVEL >= 6
DUMMY(isc_rollback_retaining)
DUMMY(isc_service_attach) DUMMY(isc_service_detach) DUMMY(isc_service_query) DUMMY(isc_service_start)
DUMMY(isc_decode_sql_date) DUMMY(isc_decode_sql_time) DUMMY(isc_decode_timestamp) DUMMY(isc_encode_sql_date)
DUMMY(isc_encode_sql_time) DUMMY(isc_encode_timestamp) DUMMY(isc_portable_integer)
EXPORT int fb_interpret(char* buffer, unsigned size, const intptr_t**) { return NextPiece(buffer, size); }
EXPORT void fb_sqlstate(char* state, const intptr_t*)
{
    std::strncpy(state, gState.c_str(), 5);
}
#endif
