#pragma once
// The dataset the program uses: the cached dataset with default display formats,
// the settings from which its write statements are generated, and the commit after
// a write.

#include "dbaccess/FIBDataSet.h"

enum TWhenGetGenID { wgNever, wgOnNewRecord, wgBeforePost };
enum TReturningField : std::uint8_t { rfAll = 1, rfKeyFields = 2, rfBlobFields = 4 };

// Where the dataset writes to and how a new row gets its key.
class TAutoUpdateOptions {
public:
    QString UpdateTableName() const { return fUpdateTableName; }
    // Names the generator "GEN_" + table + "_ID" when keys are taken from one and
    // no generator is named yet; a quoted table gives a quoted generator name.
    void SetUpdateTableName(const QString& value);
    QString KeyFields;
    bool AutoReWriteSqls = false;
    bool CanChangeSQLs = false;
    QString GeneratorName;
    int GeneratorStep = 1;
    bool UpdateOnlyModifiedFields = false;
    TWhenGetGenID WhenGetGenID = wgNever;
    QStringList ParamsToFieldsLinks;
    bool AutoParamsToFields = false;
    bool SeparateBlobUpdate = false;
    bool UseExecuteBlock = false;
    std::uint8_t UseReturningFields = 0;
    bool UseRowsClause = false;

private:
    QString fUpdateTableName;
};

class TpFIBDataSet : public TFIBDataSet {
public:
    explicit TpFIBDataSet(TComponent* owner = nullptr);
    TFormatFields& DefaultFormats() { return fDefaultFormats; }
    TAutoUpdateOptions& AutoUpdateOptions() { return fAutoUpdateOptions; }
    // Commits the update transaction after each write of a row.
    bool AutoCommit = false;

private:
    TAutoUpdateOptions fAutoUpdateOptions;
};
