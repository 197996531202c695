#include "dbaccess/FIBDataSet_Internal.h"

#include <algorithm>
#include <cmath>
#include <cstring>

using namespace fibds;

// ---------------------------------------------------------------- field classes

TFIBStringField::TFIBStringField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TStringField(dataSet, name, fieldName)
{
}

void TFIBStringField::SetAsString(const QString& value)
{
    if (value.isEmpty() && EmptyStrToNull) {
        Clear();
        return;
    }
    TStringField::SetAsString(Size() > 0 && value.size() > Size() ? value.left(Size()) : value);
}

TFIBWideStringField::TFIBWideStringField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TWideStringField(dataSet, name, fieldName)
{
}

void TFIBWideStringField::SetAsString(const QString& value)
{
    if (value.isEmpty() && EmptyStrToNull) {
        Clear();
        return;
    }
    TWideStringField::SetAsString(Size() > 0 && value.size() > Size() ? value.left(Size()) : value);
}

TFIBFloatField::TFIBFloatField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TFloatField(dataSet, name, fieldName)
{
}

namespace {
double RoundTo(double v, int scale)
{
    if (scale >= 0)
        return v;
    const double f = std::pow(10.0, -scale);
    return std::round(v * f) / f;
}
}  // namespace

double TFIBFloatField::AsFloat() const
{
    const double v = TFloatField::AsFloat();
    return RoundByScale ? RoundTo(v, Scale) : v;
}

void TFIBFloatField::SetAsFloat(double value) { TFloatField::SetAsFloat(RoundByScale ? RoundTo(value, Scale) : value); }

TFIBBCDField::TFIBBCDField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TBCDField(dataSet, name, fieldName)
{
}
TFIBIntegerField::TFIBIntegerField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TIntegerField(dataSet, name, fieldName)
{
}
TFIBSmallIntField::TFIBSmallIntField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TSmallintField(dataSet, name, fieldName)
{
}
TFIBLargeIntField::TFIBLargeIntField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TLargeintField(dataSet, name, fieldName)
{
}
TFIBBooleanField::TFIBBooleanField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TBooleanField(dataSet, name, fieldName)
{
}

void TFIBBooleanField::SetAsString(const QString& value)
{
    const QString v = value.trimmed();
    if (v.isEmpty()) {
        Clear();
        return;
    }
    if (v.compare(StringTrue, Qt::CaseInsensitive) == 0 || v.compare(QLatin1String("T"), Qt::CaseInsensitive) == 0
        || v == QLatin1String("1")) {
        SetAsBoolean(true);
        return;
    }
    if (v.compare(StringFalse, Qt::CaseInsensitive) == 0 || v.compare(QLatin1String("F"), Qt::CaseInsensitive) == 0
        || v == QLatin1String("0")) {
        SetAsBoolean(false);
        return;
    }
    TBooleanField::SetAsString(value);
}

TFIBDateField::TFIBDateField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TDateField(dataSet, name, fieldName)
{
}
TFIBTimeField::TFIBTimeField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TTimeField(dataSet, name, fieldName)
{
}

QString TFIBTimeField::DefaultText(TDateTime value) const
{
    return ShowMsec ? FormatDateTime(QStringLiteral("hh:nn:ss.zzz"), value) : TTimeField::DefaultText(value);
}

TFIBDateTimeField::TFIBDateTimeField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TDateTimeField(dataSet, name, fieldName)
{
}

QString TFIBDateTimeField::DefaultText(TDateTime value) const
{
    return ShowMsec ? TDateTimeField::DefaultText(value) + FormatDateTime(QStringLiteral(".zzz"), value)
                    : TDateTimeField::DefaultText(value);
}

TFIBBlobField::TFIBBlobField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TBlobField(dataSet, name, fieldName)
{
}
TFIBMemoField::TFIBMemoField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TMemoField(dataSet, name, fieldName)
{
}
TFIBGuidField::TFIBGuidField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TGuidField(dataSet, name, fieldName)
{
}
TFIBArrayField::TFIBArrayField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TBytesField(dataSet, name, fieldName)
{
}
