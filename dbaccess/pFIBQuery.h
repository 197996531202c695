#pragma once
// The statement class the program uses: a description and a last word on
// execution errors.

#include "dbaccess/FIBQuery.h"

class TpFIBQuery : public TFIBQuery {
public:
    explicit TpFIBQuery(TComponent* owner = nullptr) : TFIBQuery(owner) {}

    QString Description;
    // Receives an error of ExecQuery; setting handled swallows it.
    std::function<void(TFIBQuery* query, EFIBError& error, bool& handled)> OnExecuteError;

    void ExecQuery() override;
};

// A statement that runs a stored procedure. The procedure name is kept for the
// reader; the statement text decides what runs.
class TpFIBStoredProc : public TpFIBQuery {
public:
    explicit TpFIBStoredProc(TComponent* owner = nullptr) : TpFIBQuery(owner) {}
    QString StoredProcName;
};
