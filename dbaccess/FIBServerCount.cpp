#include "dbaccess/FIBServerCount.h"

#include "dbaccess/FIBDataSet.h"

#include <system_error>

TFIBServerCount::TFIBServerCount(const TFIBCustomDataSet& dataSet) : fDataSet(dataSet)
{
    fQuery = dataSet.PrepareServerRecordCount();
    XSQLDA* in = nullptr;
    if (!fQuery->ServerInput(in))
        return;   // no thread: Result asks on the caller's thread
    IIBClientLibrary* lib = fQuery->Database()->ClientLibrary();
    isc_tr_handle transaction = fQuery->Transaction()->Handle();
    isc_stmt_handle statement = fQuery->Handle();
    const auto dialect = static_cast<unsigned short>(fQuery->Database()->SQLDialect());
    XSQLDA* out = fQuery->Current().AsXSQLDA();
    try {
        fDone = std::async(std::launch::async, [=]() mutable {
            // The one row of the count comes with the execute; no cursor stays open.
            ISC_STATUS_ARRAY status{};
            lib->isc_dsql_execute2(status, &transaction, &statement, dialect, in, out);
            return !(status[0] == 1 && status[1] != 0);
        });
    } catch (const std::system_error&) {
        // No thread to spare: Result asks on the caller's thread.
    }
}

TFIBServerCount::~TFIBServerCount()
{
    if (fDone.valid())
        fDone.wait();
}

int TFIBServerCount::Result()
{
    // The execute filled the query's own row: it is read as any answered count.
    fAnsweredAside = fDone.valid() && fDone.get();
    if (fAnsweredAside) {
        const TFIBXSQLVAR& count = fQuery->Current()[0];
        return count.IsNull() ? 0 : count.AsInteger();
    }
    return fDataSet.ServerRecordCount();
}
