// Field objects of the dataset, and the number and date patterns of their display texts.
#include "dbaccess/DB.h"

#include <QDateTime>
#include <QLocale>
#include <algorithm>
#include <cmath>
#include <limits>

// =====================================================================
// Patterns
// =====================================================================


// =====================================================================
// TField
// =====================================================================

TField::TField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType dataType)
    : TComponent(dataSet), fFieldName(fieldName), fDataType(dataType)
{
    SetName(name);
    if (dataSet)
        dataSet->AddField(this, false);
}

TField::~TField()
{
    MarkDestroying();
    if (fDataSet)
        fDataSet->RemoveField(this);
}

void TField::SetDataSet(TDataSet* dataSet)
{
    if (fDataSet == dataSet)
        return;
    if (fDataSet) {
        if (fDataSet->Active())
            throw EDatabaseError(QStringLiteral("Cannot perform this operation on an open dataset"));
        fDataSet->RemoveField(this);
    }
    if (dataSet) {
        if (dataSet->Active())
            throw EDatabaseError(QStringLiteral("Cannot perform this operation on an open dataset"));
        dataSet->AddField(this, false);
    }
}

void TField::SetFieldName(const QString& value)
{
    fFieldName = value;
}

void TField::SetFieldKind(TFieldKind value)
{
    if (fDataSet && fDataSet->Active())
        throw EDatabaseError(QStringLiteral("Cannot perform this operation on an open dataset"));
    fFieldKind = value;
}

int TField::Index() const
{
    return fDataSet ? fDataSet->Fields().IndexOf(this) : -1;
}

void TField::SetDisplayFormat(const QString& value)
{
    if (fDisplayFormat == value)
        return;
    fDisplayFormat = value;
    if (fDataSet && fDataSet->Active())
        fDataSet->DataEvent(deLayoutChange);
}

void TField::SetEditFormat(const QString& value)
{
    fEditFormat = value;
}

bool TField::IsNull() const
{
    switch (FieldStorage(fDataType)) {
    case TFieldStorage::Float:
        return !GetData(static_cast<double*>(nullptr));
    case TFieldStorage::Integer:
        return !GetData(static_cast<qint64*>(nullptr));
    case TFieldStorage::Text:
        return !GetData(static_cast<QString*>(nullptr));
    case TFieldStorage::Bytes:
        return !GetData(static_cast<QByteArray*>(nullptr));
    case TFieldStorage::None:
        break;
    }
    return true;
}

void TField::Clear()
{
    switch (FieldStorage(fDataType)) {
    case TFieldStorage::Float:
        SetData(static_cast<const double*>(nullptr));
        break;
    case TFieldStorage::Integer:
        SetData(static_cast<const qint64*>(nullptr));
        break;
    case TFieldStorage::Text:
        SetData(static_cast<const QString*>(nullptr));
        break;
    case TFieldStorage::Bytes:
    case TFieldStorage::None:
        SetData(static_cast<const QByteArray*>(nullptr));
        break;
    }
}

void TField::CheckCanWrite() const
{
    if (!fDataSet)
        throw EDatabaseError(QStringLiteral("Field '%1' has no dataset").arg(DisplayLabel()));
    const TDataSetState state = fDataSet->State();
    const bool calcState = state == dsCalcFields || state == dsInternalCalc;
    if (fFieldKind != fkData && calcState)
        return;
    if (fReadOnly)
        throw EDatabaseError(QStringLiteral("Field '%1' cannot be modified").arg(DisplayLabel()));
    if (!(state == dsEdit || state == dsInsert || state == dsSetKey || state == dsNewValue))
        throw EDatabaseError(QStringLiteral("%1: Dataset not in edit or insert mode").arg(fDataSet->Name()));
}

template <class T>
void TField::SetData(const T* value)
{
    CheckCanWrite();
    if (fFieldKind != fkData) {
        fDataSet->SetCalcData(this, value);
    } else {
        // Edits belong to the cursor row, even when a grid was just reading another one.
        fDataSet->fOverride = nullptr;
        fDataSet->SetFieldData(this, value);
    }
    fDataSet->FieldChanged(this);
}

template void TField::SetData(const double*);
template void TField::SetData(const qint64*);
template void TField::SetData(const QString*);
template void TField::SetData(const QByteArray*);

void TField::Change()
{
    if (OnChange)
        OnChange(this);
}

void TField::AccessError(const QString& typeName) const
{
    throw EDatabaseError(QStringLiteral("Cannot access field '%1' as type %2").arg(DisplayLabel(), typeName));
}

void TField::RangeError(double value, double min, double max) const
{
    if (min == 0 && max == 0)
        return;
    if (value < min || value > max)
        throw EDatabaseError(QStringLiteral("%1 is not a valid value for field '%2'. The allowed range is %3 to %4")
                                 .arg(FloatToStr(value), DisplayLabel(), FloatToStr(min), FloatToStr(max)));
}

QString TField::AsString() const { AccessError(QStringLiteral("String")); }
void TField::SetAsString(const QString&) { AccessError(QStringLiteral("String")); }
qint64 TField::AsLargeInt() const { AccessError(QStringLiteral("Integer")); }
void TField::SetAsLargeInt(qint64) { AccessError(QStringLiteral("Integer")); }
double TField::AsFloat() const { AccessError(QStringLiteral("Float")); }
void TField::SetAsFloat(double) { AccessError(QStringLiteral("Float")); }
TDateTime TField::AsDateTime() const { AccessError(QStringLiteral("DateTime")); }
void TField::SetAsDateTime(TDateTime) { AccessError(QStringLiteral("DateTime")); }
bool TField::AsBoolean() const { AccessError(QStringLiteral("Boolean")); }
void TField::SetAsBoolean(bool) { AccessError(QStringLiteral("Boolean")); }
QByteArray TField::AsBytes() const { AccessError(QStringLiteral("Bytes")); }
void TField::SetAsBytes(const QByteArray&) { AccessError(QStringLiteral("Bytes")); }

QVariant TField::GetAsVariant() const
{
    return IsNull() ? QVariant() : QVariant(AsString());
}

void TField::SetValue(const QVariant& value)
{
    SetAsVariant(value);
}

void TField::SetAsVariant(const QVariant& value)
{
    if (value.isNull() || !value.isValid()) {
        Clear();
        return;
    }
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
        SetAsFloat(value.toDouble());
        break;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        SetAsLargeInt(value.toLongLong());
        break;
    case QMetaType::Bool:
        SetAsBoolean(value.toBool());
        break;
    case QMetaType::QDateTime:
        SetAsDateTime(QDateTimeToDateTime(value.toDateTime()));
        break;
    case QMetaType::QDate:
        SetAsDateTime(QDateTimeToDateTime(value.toDate().startOfDay()));
        break;
    case QMetaType::QByteArray:
        SetAsBytes(value.toByteArray());
        break;
    default:
        SetAsString(value.toString());
        break;
    }
}

QString TField::GetText(bool) const
{
    return IsNull() ? QString() : AsString();
}

QString TField::ValueText(const TFieldValue&, bool) const
{
    return QString();
}

TFieldValue TField::CurrentValue() const
{
    TFieldValue v;
    switch (FieldStorage(fDataType)) {
    case TFieldStorage::Float: v.IsNull = !GetData(&v.Float); break;
    case TFieldStorage::Integer: v.IsNull = !GetData(&v.Integer); break;
    case TFieldStorage::Text: v.IsNull = !GetData(&v.Text); break;
    case TFieldStorage::Bytes:
    case TFieldStorage::None: break;
    }
    return v;
}

QString TField::DisplayText() const
{
    if (OnGetText) {
        QString text;
        OnGetText(const_cast<TField*>(this), text, true);
        return text;
    }
    if (OnGetValueText)
        return OnGetValueText(CurrentValue());
    return GetText(true);
}

QString TField::Text() const
{
    if (OnGetText) {
        QString text;
        OnGetText(const_cast<TField*>(this), text, false);
        return text;
    }
    if (OnGetValueText)
        return OnGetValueText(CurrentValue());
    return GetText(false);
}

void TField::SetText(const QString& value)
{
    if (OnSetText)
        OnSetText(this, value);
    else
        SetAsString(value);
}

// =====================================================================
// Text fields
// =====================================================================

TStringField::TStringField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TStringField(dataSet, name, fieldName, ftString)
{
}

TStringField::TStringField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType type)
    : TField(dataSet, name, fieldName, type)
{
    SetSize(20);
}

QString TStringField::AsString() const
{
    QString v;
    return GetData(&v) ? v : QString();
}

void TStringField::SetAsString(const QString& value)
{
    SetData(&value);
}

qint64 TStringField::AsLargeInt() const
{
    return IntegerOfText(AsString());
}

qint64 TStringField::IntegerOfText(const QString& s)
{
    if (s.trimmed().isEmpty())
        return 0;
    bool ok = false;
    const qint64 v = s.trimmed().toLongLong(&ok);
    if (!ok)
        throw EConvertError(QStringLiteral("'%1' ist kein gültiger Integerwert").arg(s));
    return v;
}

void TStringField::SetAsLargeInt(qint64 value)
{
    SetAsString(QString::number(value));
}

double TStringField::AsFloat() const
{
    const QString s = AsString();
    return s.trimmed().isEmpty() ? 0.0 : StrToFloat(s);
}

void TStringField::SetAsFloat(double value)
{
    SetAsString(FloatToStr(value));
}

bool TStringField::AsBoolean() const
{
    const QString s = AsString().trimmed().toUpper();
    return s.startsWith(u'T') || s.startsWith(u'Y') || s.startsWith(u'J') || s == QLatin1String("1");
}

void TStringField::SetAsBoolean(bool value)
{
    SetAsString(value ? QStringLiteral("T") : QStringLiteral("F"));
}

TDateTime TStringField::AsDateTime() const
{
    const QString s = AsString().trimmed();
    if (s.isEmpty())
        return 0;
    QDateTime dt = QDateTime::fromString(s, FormatSettings.ShortDateFormat + u' ' + FormatSettings.ShortTimeFormat);
    if (!dt.isValid())
        dt = QDate::fromString(s, FormatSettings.ShortDateFormat).startOfDay();
    if (!dt.isValid())
        throw EConvertError(QStringLiteral("'%1' ist kein gültiges Datum").arg(s));
    return QDateTimeToDateTime(dt);
}

void TStringField::SetAsDateTime(TDateTime value)
{
    SetAsString(DateTimeToQDateTime(value).toString(FormatSettings.ShortDateFormat + u' ' + FormatSettings.ShortTimeFormat));
}

QVariant TStringField::GetAsVariant() const
{
    QString v;
    return GetData(&v) ? QVariant(v) : QVariant();
}

QString TStringField::GetText(bool displayText) const
{
    return ValueText(CurrentValue(), displayText);
}

QString TStringField::ValueText(const TFieldValue& value, bool) const
{
    return value.IsNull ? QString() : value.Text;
}

TWideStringField::TWideStringField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TStringField(dataSet, name, fieldName, ftWideString)
{
}

TGuidField::TGuidField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TStringField(dataSet, name, fieldName, ftGuid)
{
    SetSize(38);
}

// =====================================================================
// Numbers
// =====================================================================

QString TNumericField::TextFormat(bool displayText) const
{
    return displayText || EditFormat().isEmpty() ? DisplayFormat() : EditFormat();
}

QString TNumericField::FormatNumber(double value, bool displayText, const QString& plain) const
{
    const QString format = TextFormat(displayText);
    return format.isEmpty() ? plain : FormatFloat(format, value);
}

TIntegerField::TIntegerField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TIntegerField(dataSet, name, fieldName, ftInteger, std::numeric_limits<qint32>::min(),
                    std::numeric_limits<qint32>::max())
{
}

TIntegerField::TIntegerField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType type,
                             qint64 minRange, qint64 maxRange)
    : TNumericField(dataSet, name, fieldName, type), fMinRange(minRange), fMaxRange(maxRange)
{
}

qint64 TIntegerField::AsLargeInt() const
{
    qint64 v;
    return GetData(&v) ? v : 0;
}

void TIntegerField::SetAsLargeInt(qint64 value)
{
    const bool ownLimits = fMinValue != 0 || fMaxValue != 0;
    const qint64 lo = ownLimits ? fMinValue : fMinRange;
    const qint64 hi = ownLimits ? fMaxValue : fMaxRange;
    if (value < lo || value > hi)
        throw EDatabaseError(QStringLiteral("%1 is not a valid value for field '%2'. The allowed range is %3 to %4")
                                 .arg(QString::number(value), DisplayLabel(), QString::number(lo), QString::number(hi)));
    SetData(&value);
}

QString TIntegerField::AsString() const
{
    qint64 v;
    return GetData(&v) ? QString::number(v) : QString();
}

void TIntegerField::SetAsString(const QString& value)
{
    if (value.trimmed().isEmpty()) {
        Clear();
        return;
    }
    bool ok = false;
    const qint64 v = value.trimmed().toLongLong(&ok);
    if (!ok)
        throw EConvertError(QStringLiteral("'%1' ist kein gültiger Integerwert").arg(value));
    SetAsLargeInt(v);
}

double TIntegerField::AsFloat() const
{
    return static_cast<double>(AsLargeInt());
}

void TIntegerField::SetAsFloat(double value)
{
    SetAsLargeInt(std::llround(value));
}

bool TIntegerField::AsBoolean() const
{
    return AsLargeInt() != 0;
}

void TIntegerField::SetAsBoolean(bool value)
{
    SetAsLargeInt(value ? 1 : 0);
}

QString TIntegerField::GetText(bool displayText) const
{
    return ValueText(CurrentValue(), displayText);
}

QString TIntegerField::ValueText(const TFieldValue& value, bool displayText) const
{
    if (value.IsNull)
        return QString();
    const qint64 v = value.Integer;
    return FormatNumber(static_cast<double>(v), displayText, QString::number(v));
}

QVariant TIntegerField::GetAsVariant() const
{
    qint64 v;
    if (!GetData(&v))
        return QVariant();
    return DataType() == ftLargeint ? QVariant(v) : QVariant(static_cast<int>(v));
}

TSmallintField::TSmallintField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TIntegerField(dataSet, name, fieldName, ftSmallint, -32768, 32767)
{
}

TLargeintField::TLargeintField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TIntegerField(dataSet, name, fieldName, ftLargeint, std::numeric_limits<qint64>::min(),
                    std::numeric_limits<qint64>::max())
{
}

TFloatField::TFloatField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TFloatField(dataSet, name, fieldName, ftFloat)
{
}

TFloatField::TFloatField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType type)
    : TNumericField(dataSet, name, fieldName, type)
{
}

void TFloatField::SetAsFloat(double value)
{
    RangeError(value, fMinValue, fMaxValue);
    SetData(&value);
}

QString TFloatField::AsString() const
{
    double v;
    return GetData(&v) ? FloatToStr(v) : QString();
}

void TFloatField::SetAsString(const QString& value)
{
    if (value.trimmed().isEmpty())
        Clear();
    else
        SetAsFloat(StrToFloat(value));
}

qint64 TFloatField::AsLargeInt() const
{
    return std::llround(AsFloat());
}

void TFloatField::SetAsLargeInt(qint64 value)
{
    SetAsFloat(static_cast<double>(value));
}

QString TFloatField::GetText(bool displayText) const
{
    return ValueText(CurrentValue(), displayText);
}

QString TFloatField::ValueText(const TFieldValue& value, bool displayText) const
{
    if (value.IsNull)
        return QString();
    const double v = value.Float;
    if (const QString format = TextFormat(displayText); !format.isEmpty())
        return FormatFloat(format, v);
    // Without a format a display shows Precision significant digits.
    return displayText ? DigitsText(v, fPrecision) : FloatToStr(v);
}

QString TFloatField::DigitsText(double value, int digits)
{
    // A text of at most 15 digits names a double whose own text of 15 digits is that
    // text again: without an exponent it is written once, not written, read and written.
    char buffer[48];
    if (const int length = digits <= 15 ? QtDigitsText(value, digits, buffer) : -1; length >= 0) {
        QString s = QString::fromLatin1(buffer, length);
        s.replace(u'.', FormatSettings.DecimalSeparator);
        return s;
    }
    return FloatToStr(QString::number(value, 'g', digits).toDouble());
}

QVariant TFloatField::GetAsVariant() const
{
    double v;
    return GetData(&v) ? QVariant(v) : QVariant();
}

TBCDField::TBCDField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TFloatField(dataSet, name, fieldName, ftBCD)
{
    SetSize(4);
}

// =====================================================================
// Booleans
// =====================================================================

TBooleanField::TBooleanField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TField(dataSet, name, fieldName, ftBoolean)
{
}

QString TBooleanField::TrueText() const
{
    return fDisplayValues.section(u';', 0, 0);
}

QString TBooleanField::FalseText() const
{
    return fDisplayValues.section(u';', 1, 1);
}

bool TBooleanField::AsBoolean() const
{
    qint64 v;
    return GetData(&v) && v != 0;
}

void TBooleanField::SetAsBoolean(bool value)
{
    const qint64 v = value ? 1 : 0;
    SetData(&v);
}

QString TBooleanField::AsString() const
{
    qint64 v;
    if (!GetData(&v))
        return QString();
    return v ? TrueText() : FalseText();
}

void TBooleanField::SetAsString(const QString& value)
{
    const QString t = value.trimmed();
    if (t.isEmpty()) {
        Clear();
        return;
    }
    auto matches = [&t](const QString& word) {
        return !word.isEmpty() && word.startsWith(t, Qt::CaseInsensitive);
    };
    if (matches(TrueText()))
        SetAsBoolean(true);
    else if (matches(FalseText()))
        SetAsBoolean(false);
    else
        throw EDatabaseError(QStringLiteral("'%1' is not a valid boolean value for field '%2'").arg(value, DisplayLabel()));
}

QVariant TBooleanField::GetAsVariant() const
{
    qint64 v;
    return GetData(&v) ? QVariant(v != 0) : QVariant();
}

// =====================================================================
// Date and time
// =====================================================================

TDateTimeField::TDateTimeField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TDateTimeField(dataSet, name, fieldName, ftDateTime)
{
}

TDateTimeField::TDateTimeField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType type)
    : TField(dataSet, name, fieldName, type)
{
}

TDateTime TDateTimeField::AsDateTime() const
{
    double v;
    return GetData(&v) ? v : 0.0;
}

void TDateTimeField::SetAsDateTime(TDateTime value)
{
    SetData(&value);
}

QString TDateTimeField::DefaultText(TDateTime value) const
{
    // The time only when there is one: a date without hours reads best without "00:00:00".
    const QDateTime dt = DateTimeToQDateTime(value);
    if (TimeOfDayMs(value) == 0)
        return dt.date().toString(FormatSettings.ShortDateFormat);
    return dt.toString(FormatSettings.ShortDateFormat + u' ' + FormatSettings.ShortTimeFormat);
}

QString TDateTimeField::AsString() const
{
    double v;
    return GetData(&v) ? DefaultText(v) : QString();
}

void TDateTimeField::SetAsString(const QString& value)
{
    const QString s = value.trimmed();
    if (s.isEmpty()) {
        Clear();
        return;
    }
    const QString date = FormatSettings.ShortDateFormat;
    QDateTime dt;
    for (const QString& f : {date + u' ' + FormatSettings.ShortTimeFormat, date + QStringLiteral(" HH:mm"), date})
        if (dt = QDateTime::fromString(s, f); dt.isValid())
            break;
    if (!dt.isValid())
        if (const QTime t = QTime::fromString(s, FormatSettings.ShortTimeFormat); t.isValid())
            dt = QDateTime(QDate(1899, 12, 30), t);
    if (!dt.isValid())
        throw EConvertError(QStringLiteral("'%1' ist kein gültiges Datum").arg(value));
    SetAsDateTime(QDateTimeToDateTime(dt));
}

QString TDateTimeField::GetText(bool displayText) const
{
    return ValueText(CurrentValue(), displayText);
}

QString TDateTimeField::ValueText(const TFieldValue& value, bool displayText) const
{
    if (value.IsNull)
        return QString();
    const double v = value.Float;
    if (displayText && !DisplayFormat().isEmpty())
        return FormatDateTime(DisplayFormat(), v);
    return DefaultText(v);
}

QVariant TDateTimeField::GetAsVariant() const
{
    double v;
    return GetData(&v) ? QVariant(DateTimeToQDateTime(v)) : QVariant();
}

TDateField::TDateField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TDateTimeField(dataSet, name, fieldName, ftDate)
{
}

QString TDateField::DefaultText(TDateTime value) const
{
    return DateTimeToQDateTime(value).date().toString(FormatSettings.ShortDateFormat);
}

TTimeField::TTimeField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TDateTimeField(dataSet, name, fieldName, ftTime)
{
}

QString TTimeField::DefaultText(TDateTime value) const
{
    return DateTimeToQDateTime(value).time().toString(FormatSettings.ShortTimeFormat);
}

// =====================================================================
// Bytes, blobs, memos
// =====================================================================

TBytesField::TBytesField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TBytesField(dataSet, name, fieldName, ftBytes)
{
}

TBytesField::TBytesField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType type)
    : TField(dataSet, name, fieldName, type)
{
}

QByteArray TBytesField::AsBytes() const
{
    QByteArray v;
    return GetData(&v) ? v : QByteArray();
}

void TBytesField::SetAsBytes(const QByteArray& value)
{
    SetData(&value);
}

QString TBytesField::AsString() const
{
    return QString::fromLatin1(AsBytes());
}

void TBytesField::SetAsString(const QString& value)
{
    SetAsBytes(value.toLatin1());
}

QVariant TBytesField::GetAsVariant() const
{
    QByteArray v;
    return GetData(&v) ? QVariant(v) : QVariant();
}

TBlobField::TBlobField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TBlobField(dataSet, name, fieldName, ftBlob)
{
}

TBlobField::TBlobField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType type)
    : TBytesField(dataSet, name, fieldName, type)
{
}

QString TBlobField::GetText(bool) const
{
    return IsNull() ? QStringLiteral("(blob)") : QStringLiteral("(BLOB)");
}

TMemoField::TMemoField(TDataSet* dataSet, const QString& name, const QString& fieldName)
    : TBlobField(dataSet, name, fieldName, ftMemo)
{
}

QString TMemoField::AsString() const
{
    QString v;
    return GetData(&v) ? v : QString();
}

void TMemoField::SetAsString(const QString& value)
{
    SetData(&value);
}

QByteArray TMemoField::AsBytes() const
{
    return AsString().toUtf8();
}

void TMemoField::SetAsBytes(const QByteArray& value)
{
    SetAsString(QString::fromUtf8(value));
}

QString TMemoField::GetText(bool displayText) const
{
    if (displayText)
        return IsNull() ? QStringLiteral("(memo)") : QStringLiteral("(MEMO)");
    return AsString();
}

QVariant TMemoField::GetAsVariant() const
{
    QString v;
    return GetData(&v) ? QVariant(v) : QVariant();
}
