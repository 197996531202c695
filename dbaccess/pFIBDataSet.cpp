#include "dbaccess/pFIBDataSet.h"

TpFIBDataSet::TpFIBDataSet(TComponent* owner) : TFIBDataSet(owner) {}
