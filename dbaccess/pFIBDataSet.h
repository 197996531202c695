#pragma once
// The dataset the program uses: the cached dataset with default display formats,
// the settings from which its write statements are generated, and the commit after
// a write; and the statements that run beside a dataset's own writes.

#include "dbaccess/FIBDataSet.h"
#include "dbaccess/pFIBQuery.h"

class TpFIBDataSet : public TFIBDataSet {
public:
    explicit TpFIBDataSet(TComponent* owner = nullptr);
    TFormatFields& DefaultFormats() { return fDefaultFormats; }
};

// A statement that runs with each write of one kind of its dataset, before or
// after the dataset's own statement, with its parameters bound from the row as
// the dataset's are. The dataset keeps it in the list of its kind by OrderInList.
class TpFIBUpdateObject : public TpFIBQuery {
public:
    explicit TpFIBUpdateObject(TComponent* owner = nullptr) : TpFIBQuery(owner) {}
    ~TpFIBUpdateObject() override;

    TFIBCustomDataSet* DataSet() const { return fDataSet; }
    void SetDataSet(TFIBCustomDataSet* value);
    TUpdateKind KindUpdate() const { return fKindUpdate; }
    void SetKindUpdate(TUpdateKind value);
    int OrderInList() const { return fOrderInList; }
    void SetOrderInList(int value);
    bool Active = true;
    TFIBOrderExecUO ExecuteOrder = oeBeforeDefault;

private:
    TFIBCustomDataSet* fDataSet = nullptr;
    TUpdateKind fKindUpdate = ukModify;
    int fOrderInList = 0;
};
