#include "dbaccess/pFIBQuery.h"

void TpFIBQuery::ExecQuery()
{
    try {
        TFIBQuery::ExecQuery();
    } catch (EFIBError& error) {
        bool handled = false;
        if (OnExecuteError)
            OnExecuteError(this, error, handled);
        if (!handled)
            throw;
    }
}
