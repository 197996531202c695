#include "dbaccess/pFIBDataSet.h"

void TAutoUpdateOptions::SetUpdateTableName(const QString& value)
{
    fUpdateTableName = value;
    if (WhenGetGenID == wgNever || !GeneratorName.isEmpty() || value.isEmpty())
        return;
    if (value.startsWith(u'"') && value.endsWith(u'"') && value.size() > 1)
        GeneratorName = QStringLiteral("\"GEN_") + value.mid(1, value.size() - 2) + QStringLiteral("_ID\"");
    else
        GeneratorName = QStringLiteral("GEN_") + value + QStringLiteral("_ID");
}

void TAutoUpdateOptions::ReadStoredBoolean(const QString& name, bool value)
{
    if (name.compare(QLatin1String("SelectGenID"), Qt::CaseInsensitive) == 0)
        fStoredSelectGenID = value;
    else if (name.compare(QLatin1String("GenBeforePost"), Qt::CaseInsensitive) == 0)
        fStoredGenBeforePost = value;
    else
        return;
    WhenGetGenID = !fStoredSelectGenID ? wgNever : fStoredGenBeforePost ? wgBeforePost : wgOnNewRecord;
}

TpFIBDataSet::TpFIBDataSet(TComponent* owner) : TFIBDataSet(owner) {}

TpFIBUpdateObject::~TpFIBUpdateObject()
{
    if (fDataSet)
        fDataSet->RemoveUpdateObject(this);
}

void TpFIBUpdateObject::SetDataSet(TFIBCustomDataSet* value)
{
    if (value == fDataSet)
        return;
    if (fDataSet)
        fDataSet->RemoveUpdateObject(this);
    fDataSet = value;
    if (fDataSet)
        fDataSet->AddUpdateObject(this);
}

void TpFIBUpdateObject::SetKindUpdate(TUpdateKind value)
{
    if (value == fKindUpdate)
        return;
    TFIBCustomDataSet* ds = fDataSet;
    SetDataSet(nullptr);
    fKindUpdate = value;
    SetDataSet(ds);
}

void TpFIBUpdateObject::SetOrderInList(int value)
{
    fOrderInList = value;
    TFIBCustomDataSet* ds = fDataSet;
    SetDataSet(nullptr);
    SetDataSet(ds);
}
