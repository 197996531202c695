#pragma once
// The dataset the program uses: the cached dataset with default display formats.

#include "dbaccess/FIBDataSet.h"

class TpFIBDataSet : public TFIBDataSet {
public:
    explicit TpFIBDataSet(TComponent* owner = nullptr);
    TFormatFields& DefaultFormats() { return fDefaultFormats; }
};
