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

TpFIBDataSet::TpFIBDataSet(TComponent* owner) : TFIBDataSet(owner) {}
