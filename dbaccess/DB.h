#pragma once
// The generic dataset: a cursor over rows with field objects, states, events and
// data links. It knows nothing of where rows come from; a derived class (the
// record cache over a statement, or an in-memory table) supplies them through the
// protected virtual operations below.
//
// How a derived dataset plugs in
// ------------------------------
// Record buffers. The base asks for three buffers at open (AllocRecordBuffer) and
// gives them back at close (FreeRecordBuffer): the cursor buffer, a spare one and a
// read buffer. What a buffer holds is the derived class's business: a full copy of
// the row, or only a row number into its cache. GetRecord(buffer, mode) fills one:
//   gmNext    moves the derived cursor one row on and fills the buffer; grEOF at the end,
//   gmPrior   one row back; grBOF before the first,
//   gmCurrent fills the row the cursor stands on; grEOF/grBOF/grError when there is none.
// A result other than grOK may leave the buffer in any state: the base reads into
// the spare buffer and swaps the two pointers on success, so the row shown never
// changes by a failed move and nothing is copied by the base.
// After a failed move the derived cursor may be anywhere; the base calls
// InternalSetToRecord(cursor buffer) before the next move, so the buffer must know
// its row (a row number in it is enough).
// InternalFirst puts the cursor before the first row, InternalLast after the last
// (a fetching dataset fetches all there). GetRecordAt(buffer, row) fills a buffer
// with the row at 0-based position `row` of the visible order without moving the
// cursor; a data-bound grid reads its rows through it (TDataLink::SetActiveRecord).
//
// Editing. Edit calls InternalEdit with the cursor buffer current: from then on the
// buffer must be writable without touching the stored row (copy it there if the
// buffer is only a row number). Insert/Append call InternalInsert (Appending()
// tells which) and then InternalInitRecord(buffer): an empty row, all fields null.
// InternalPost writes the buffer (State() tells insert from edit) and leaves the
// derived cursor on the posted row; InternalCancel drops pending changes;
// InternalDelete removes the cursor row and leaves the cursor on the row that took
// its place, or past the end. After each of them the base re-reads the cursor row
// with gmCurrent (then gmPrior, then it is empty). Errors raised inside InternalEdit,
// InternalPost and InternalDelete go to OnEditError/OnPostError/OnDeleteError.
//
// Field data. Fields read and write through typed overloads, so that reading a
// double never touches QVariant or the heap:
//   double     ftFloat, ftCurrency, ftBCD, ftDate, ftTime, ftDateTime (dates as TDateTime days)
//   qint64     ftSmallint, ftInteger, ftWord, ftAutoInc, ftLargeint, ftBoolean (0/1)
//   QString    ftString, ftFixedChar, ftWideString, ftGuid, ftMemo, ftWideMemo
//   QByteArray ftBytes, ftVarBytes, ftBlob, ftGraphic
// GetFieldData(field, value) answers false for null; value may be nullptr to ask
// only for null. It reads ActiveBuffer(), which the base points at the cursor
// buffer, the read buffer of a data link, or the buffer being filtered; the state
// (dsOldValue, dsCurValue, ...) tells a derived class when to read something else.
// Index the row by field->FieldNo() (1-based, the column of FieldDefs). Calculated
// and lookup fields never reach the derived class: the base keeps their values
// per buffer and fills them through OnCalcFields after every successful GetRecord.
// SetFieldData(field, value) stores into ActiveBuffer(); nullptr stores null. The
// field has checked state, read-only and range before; the base fires the change
// events after.
//
// Speed. Next() is one GetRecord and a pointer swap, plus event calls only where
// handlers are set; nothing in the base allocates per row. field->AsFloat() is two
// virtual calls and a null test. Keep GetRecord(gmNext) and GetFieldData O(1).
//
// Open and close. Open calls InternalOpen, which must fill FieldDefs (its own
// InternalInitFieldDefs), call CreateFields() when DefaultFields() is true, call
// BindFields(true) (raises for a persistent field without column) and open the
// cursor. IsCursorOpen() false after InternalOpen means "nothing to show" (a
// statement that returns no rows): the dataset stays closed without events.
// InternalClose closes the cursor; the base then removes default fields and keeps
// persistent ones. A derived destructor must call MarkDestroying() and Close()
// itself: the base destructor can no longer reach the derived virtuals, and a
// dataset closed while being destroyed fires no events.

#include "dbaccess/FIBComponent.h"
#include "frame/ZELBase.h"
#include "frame/ZELFormat.h"

#include <QByteArray>
#include <QFlags>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

class TDataSet;
class TField;
class TDataSource;
class TDataLink;

// ---- Exceptions ----
class EDatabaseError : public Exception {
public:
    using Exception::Exception;
};

// A silent end of an operation, asked for by an error handler with daAbort.
class EAbort : public Exception {
public:
    EAbort() : Exception(QStringLiteral("Operation aborted")) {}
};

// ---- Vocabulary ----
enum TDataSetState {
    dsInactive,
    dsBrowse,
    dsEdit,
    dsInsert,
    dsSetKey,
    dsCalcFields,
    dsFilter,
    dsNewValue,
    dsOldValue,
    dsCurValue,
    dsBlockRead,
    dsInternalCalc,
    dsOpening
};

enum TFieldType {
    ftUnknown,
    ftString,
    ftSmallint,
    ftInteger,
    ftWord,
    ftBoolean,
    ftFloat,
    ftCurrency,
    ftBCD,
    ftDate,
    ftTime,
    ftDateTime,
    ftBytes,
    ftVarBytes,
    ftAutoInc,
    ftBlob,
    ftMemo,
    ftGraphic,
    ftFixedChar,
    ftWideString,
    ftLargeint,
    ftGuid,
    ftWideMemo
};

enum TFieldKind { fkData, fkCalculated, fkLookup, fkInternalCalc };
enum TGetMode { gmCurrent, gmNext, gmPrior };
enum TGetResult { grOK, grBOF, grEOF, grError };
enum TDataAction { daFail, daAbort, daRetry };

enum TDataEvent {
    deFieldChange,
    deRecordChange,
    deDataSetChange,
    deDataSetScroll,
    deLayoutChange,
    deUpdateRecord,
    deUpdateState,
    deCheckBrowseMode,
    deFieldListChange
};

enum TLocateOption { loCaseInsensitive = 1, loPartialKey = 2 };
using TLocateOptions = QFlags<TLocateOption>;
Q_DECLARE_OPERATORS_FOR_FLAGS(TLocateOptions)

enum TFilterOption { foCaseInsensitive = 1, foNoPartialCompare = 2 };
using TFilterOptions = QFlags<TFilterOption>;
Q_DECLARE_OPERATORS_FOR_FLAGS(TFilterOptions)

using TRecordBuffer = std::byte*;
// Identifies one row; its inner form belongs to the derived dataset. Empty = none.
using TBookmark = QByteArray;

// Which typed overload of GetFieldData/SetFieldData a field type travels through.
enum class TFieldStorage { Float, Integer, Text, Bytes, None };
TFieldStorage FieldStorage(TFieldType type);
// English name of a type, for messages ("Float", "Integer", ...).
QString FieldTypeName(TFieldType type);


// ---- Field definitions: the columns a dataset offers ----
struct TFieldDef {
    QString Name;
    TFieldType DataType = ftUnknown;
    int Size = 0;
    int Precision = 0;
    bool Required = false;
    int FieldNo = 0;  // 1-based
};

class TFieldDefs {
public:
    int Count() const { return static_cast<int>(fItems.size()); }
    const TFieldDef& Items(int index) const { return fItems.at(static_cast<std::size_t>(index)); }
    const TFieldDef& operator[](int index) const { return Items(index); }
    // Adds a definition; its FieldNo is its 1-based position.
    TFieldDef& Add(const QString& name, TFieldType dataType, int size = 0, bool required = false);
    void Clear() { fItems.clear(); }
    // Case-insensitive; -1 when absent.
    int IndexOf(const QString& name) const;
    const TFieldDef* Find(const QString& name) const;

private:
    std::vector<TFieldDef> fItems;
};

// ---- Fields ----
// A field's value as its storage (FieldStorage of its type) holds it: Float, Integer or
// Text, the others unused.
struct TFieldValue {
    bool IsNull = true;
    double Float = 0;
    qint64 Integer = 0;
    QString Text;
};

// A field is one column of the current row. A field constructed with a dataset is
// persistent: the dataset owns it (deleting it earlier is allowed) and binds it by
// FieldName at every open. Fields the dataset makes from FieldDefs go at close.
class TField : public TComponent {
public:
    TField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType dataType);
    ~TField() override;

    TDataSet* DataSet() const { return fDataSet; }
    // Moves the field to another dataset (or none); the new one owns it.
    void SetDataSet(TDataSet* dataSet);

    QString FieldName() const { return fFieldName; }
    void SetFieldName(const QString& value);
    // Column number in FieldDefs, bound at open: 1-based; 0 when unbound or not a data field.
    int FieldNo() const { return fFieldNo; }
    // Position in the dataset's field list.
    int Index() const;
    TFieldKind FieldKind() const { return fFieldKind; }
    void SetFieldKind(TFieldKind value);
    TFieldType DataType() const { return fDataType; }
    int Size() const { return fSize; }
    virtual void SetSize(int value) { fSize = value; }
    bool Required() const { return fRequired; }
    void SetRequired(bool value) { fRequired = value; }
    bool ReadOnly() const { return fReadOnly; }
    void SetReadOnly(bool value) { fReadOnly = value; }
    bool Visible() const { return fVisible; }
    void SetVisible(bool value) { fVisible = value; }
    // Caption for a grid column; the field name when empty.
    QString DisplayLabel() const { return fDisplayLabel.isEmpty() ? fFieldName : fDisplayLabel; }
    void SetDisplayLabel(const QString& value) { fDisplayLabel = value; }
    QString DisplayFormat() const { return fDisplayFormat; }
    void SetDisplayFormat(const QString& value);
    QString EditFormat() const { return fEditFormat; }
    void SetEditFormat(const QString& value);
    // A field made by the dataset at open from FieldDefs (not by the program).
    bool IsDefault() const { return fDefault; }

    // Lookup fields: this dataset's KeyFields are looked up in LookupDataSet's
    // LookupKeyFields, and LookupResultField is the value.
    TDataSet* LookupDataSet = nullptr;
    QString KeyFields;
    QString LookupKeyFields;
    QString LookupResultField;

    // Values. A null reads as 0, "" or an empty array.
    bool IsNull() const;
    void Clear();
    QVariant Value() const { return GetAsVariant(); }
    void SetValue(const QVariant& value);
    virtual QString AsString() const;
    virtual void SetAsString(const QString& value);
    int AsInteger() const { return static_cast<int>(AsLargeInt()); }
    void SetAsInteger(int value) { SetAsLargeInt(value); }
    virtual qint64 AsLargeInt() const;
    virtual void SetAsLargeInt(qint64 value);
    virtual double AsFloat() const;
    virtual void SetAsFloat(double value);
    virtual TDateTime AsDateTime() const;
    virtual void SetAsDateTime(TDateTime value);
    virtual bool AsBoolean() const;
    virtual void SetAsBoolean(bool value);
    virtual QByteArray AsBytes() const;
    virtual void SetAsBytes(const QByteArray& value);

    // Text for showing (by DisplayFormat) and for editing (by EditFormat), through OnGetText when set.
    QString DisplayText() const;
    QString Text() const;
    // Through OnSetText when set, else AsString.
    void SetText(const QString& value);

    std::function<void(TField* sender, QString& text, bool displayText)> OnGetText;
    // A text made from the field's value alone, set instead of OnGetText: DisplayText and
    // Text give it the value of the row read, and readers without the cursor (the text
    // export) give it values from the dataset's cache, also on other threads. It must read
    // nothing but its argument and data that stay unchanged meanwhile.
    std::function<QString(const TFieldValue& value)> OnGetValueText;
    std::function<void(TField* sender, const QString& text)> OnSetText;
    std::function<void(TField* sender)> OnChange;

    // Whether DisplayText is ValueDisplayText of the row's value: no OnGetText, and
    // OnGetValueText or a class whose text is its value's formatted by its settings.
    bool HasValueDisplayText() const { return !OnGetText && (OnGetValueText || FormatsValue()); }
    // What DisplayText gives on a row holding value (only where HasValueDisplayText).
    // Reads the field's settings, not the dataset: other threads may call it as long
    // as the field is not changed meanwhile.
    QString ValueDisplayText(const TFieldValue& value) const
    {
        return OnGetValueText ? OnGetValueText(value) : ValueText(value, true);
    }
    // The value of the row read, as GetData gives it for the field's storage.
    TFieldValue CurrentValue() const;

protected:
    // The text without OnGetText; null gives "".
    virtual QString GetText(bool displayText) const;
    // True for classes whose GetText is ValueText of CurrentValue.
    virtual bool FormatsValue() const { return false; }
    // The text of a value by the field's formats; only where FormatsValue.
    virtual QString ValueText(const TFieldValue& value, bool displayText) const;
    virtual QVariant GetAsVariant() const;
    virtual void SetAsVariant(const QVariant& value);
    [[noreturn]] void AccessError(const QString& typeName) const;
    // A value outside [min, max] raises; both 0 means no limit.
    void RangeError(double value, double min, double max) const;

    // Typed reads and writes of the current row; false = null.
    template <class T>
    bool GetData(T* value) const;
    template <class T>
    void SetData(const T* value);
    // Checks before any write: a dataset, editing state, not read-only.
    void CheckCanWrite() const;

    void SetDataType(TFieldType value) { fDataType = value; }
    virtual void Change();

private:
    friend class TDataSet;
    TDataSet* fDataSet = nullptr;
    QString fFieldName;
    QString fDisplayLabel;
    QString fDisplayFormat;
    QString fEditFormat;
    TFieldType fDataType;
    TFieldKind fFieldKind = fkData;
    int fFieldNo = 0;
    int fCalcIndex = -1;
    int fSize = 0;
    bool fRequired = false;
    bool fReadOnly = false;
    bool fVisible = true;
    bool fDefault = false;
};

class TStringField : public TField {
public:
    explicit TStringField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    // Derived fields decide here how text is stored (an empty text as null, cut at Size, ...).
    QString AsString() const override;
    void SetAsString(const QString& value) override;
    qint64 AsLargeInt() const override;
    void SetAsLargeInt(qint64 value) override;
    double AsFloat() const override;
    void SetAsFloat(double value) override;
    bool AsBoolean() const override;
    void SetAsBoolean(bool value) override;
    TDateTime AsDateTime() const override;
    void SetAsDateTime(TDateTime value) override;
    // What AsLargeInt answers for a field holding text.
    static qint64 IntegerOfText(const QString& text);

protected:
    TStringField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType type);
    QVariant GetAsVariant() const override;
    QString GetText(bool displayText) const override;
    bool FormatsValue() const override { return true; }
    QString ValueText(const TFieldValue& value, bool displayText) const override;
};

class TWideStringField : public TStringField {
public:
    explicit TWideStringField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};

class TGuidField : public TStringField {
public:
    explicit TGuidField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};

// Numbers: shown by DisplayFormat, edited by EditFormat.
class TNumericField : public TField {
protected:
    using TField::TField;
    QString FormatNumber(double value, bool displayText, const QString& plain) const;
    // The format for a text of that kind: the edit text falls back to the display format.
    QString TextFormat(bool displayText) const;
};

class TIntegerField : public TNumericField {
public:
    explicit TIntegerField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    qint64 MinValue() const { return fMinValue; }
    void SetMinValue(qint64 value) { fMinValue = value; }
    qint64 MaxValue() const { return fMaxValue; }
    void SetMaxValue(qint64 value) { fMaxValue = value; }

    QString AsString() const override;
    void SetAsString(const QString& value) override;
    qint64 AsLargeInt() const override;
    void SetAsLargeInt(qint64 value) override;
    double AsFloat() const override;
    void SetAsFloat(double value) override;
    bool AsBoolean() const override;
    void SetAsBoolean(bool value) override;

protected:
    TIntegerField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType type, qint64 minRange,
                  qint64 maxRange);
    QString GetText(bool displayText) const override;
    bool FormatsValue() const override { return true; }
    QString ValueText(const TFieldValue& value, bool displayText) const override;
    QVariant GetAsVariant() const override;

private:
    qint64 fMinValue = 0;
    qint64 fMaxValue = 0;
    qint64 fMinRange;
    qint64 fMaxRange;
};

class TSmallintField : public TIntegerField {
public:
    explicit TSmallintField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};

class TLargeintField : public TIntegerField {
public:
    explicit TLargeintField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};

class TFloatField : public TNumericField {
public:
    explicit TFloatField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    // The display text of value with that many significant digits: the text of the rounded value.
    static QString DigitsText(double value, int digits);
    // Significant digits of the text without a format.
    int Precision() const { return fPrecision; }
    void SetPrecision(int value) { fPrecision = value < 2 ? 2 : (value > 15 ? 15 : value); }
    double MinValue() const { return fMinValue; }
    void SetMinValue(double value) { fMinValue = value; }
    double MaxValue() const { return fMaxValue; }
    void SetMaxValue(double value) { fMaxValue = value; }

    QString AsString() const override;
    void SetAsString(const QString& value) override;
    qint64 AsLargeInt() const override;
    void SetAsLargeInt(qint64 value) override;
    double AsFloat() const override
    {
        double v;
        return GetData(&v) ? v : 0.0;
    }
    void SetAsFloat(double value) override;

protected:
    TFloatField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType type);
    QString GetText(bool displayText) const override;
    bool FormatsValue() const override { return true; }
    QString ValueText(const TFieldValue& value, bool displayText) const override;
    QVariant GetAsVariant() const override;

private:
    int fPrecision = 15;
    double fMinValue = 0;
    double fMaxValue = 0;
};

// Fixed-point numbers; Size is the count of decimals. Values travel as double.
class TBCDField : public TFloatField {
public:
    explicit TBCDField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
};

class TBooleanField : public TField {
public:
    explicit TBooleanField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    // "true text;false text", default "True;False".
    QString DisplayValues() const { return fDisplayValues; }
    void SetDisplayValues(const QString& value) { fDisplayValues = value; }

    bool AsBoolean() const override;
    void SetAsBoolean(bool value) override;
    QString AsString() const override;
    void SetAsString(const QString& value) override;
    qint64 AsLargeInt() const override { return AsBoolean() ? 1 : 0; }
    void SetAsLargeInt(qint64 value) override { SetAsBoolean(value != 0); }

protected:
    virtual QString TrueText() const;
    virtual QString FalseText() const;
    QVariant GetAsVariant() const override;

private:
    QString fDisplayValues = QStringLiteral("True;False");
};

class TDateTimeField : public TField {
public:
    explicit TDateTimeField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    TDateTime AsDateTime() const override;
    void SetAsDateTime(TDateTime value) override;
    double AsFloat() const override { return AsDateTime(); }
    void SetAsFloat(double value) override { SetAsDateTime(value); }
    QString AsString() const override;
    void SetAsString(const QString& value) override;

protected:
    TDateTimeField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType type);
    // The text without DisplayFormat, in the process's short date and time formats.
    virtual QString DefaultText(TDateTime value) const;
    QString GetText(bool displayText) const override;
    bool FormatsValue() const override { return true; }
    QString ValueText(const TFieldValue& value, bool displayText) const override;
    QVariant GetAsVariant() const override;
};

class TDateField : public TDateTimeField {
public:
    explicit TDateField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});

protected:
    QString DefaultText(TDateTime value) const override;
};

class TTimeField : public TDateTimeField {
public:
    explicit TTimeField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});

protected:
    QString DefaultText(TDateTime value) const override;
};

class TBytesField : public TField {
public:
    explicit TBytesField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    QByteArray AsBytes() const override;
    void SetAsBytes(const QByteArray& value) override;
    QString AsString() const override;
    void SetAsString(const QString& value) override;

protected:
    TBytesField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType type);
    QVariant GetAsVariant() const override;
};

class TBlobField : public TBytesField {
public:
    explicit TBlobField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});

protected:
    TBlobField(TDataSet* dataSet, const QString& name, const QString& fieldName, TFieldType type);
    // "(BLOB)", or "(blob)" when null: a grid shows a marker, not the bytes.
    QString GetText(bool displayText) const override;
};

// Text blobs travel as QString.
class TMemoField : public TBlobField {
public:
    explicit TMemoField(TDataSet* dataSet = nullptr, const QString& name = {}, const QString& fieldName = {});
    QString AsString() const override;
    void SetAsString(const QString& value) override;
    QByteArray AsBytes() const override;
    void SetAsBytes(const QByteArray& value) override;

protected:
    QString GetText(bool displayText) const override;
    QVariant GetAsVariant() const override;
};

// The fields of a dataset in their order.
class TFields {
public:
    int Count() const { return static_cast<int>(fList.size()); }
    TField* Fields(int index) const { return fList.at(static_cast<std::size_t>(index)); }
    TField* operator[](int index) const { return Fields(index); }
    int IndexOf(const TField* field) const;
    // Case-insensitive; nullptr when absent.
    TField* FindField(const QString& fieldName) const;
    TField* FieldByNumber(int fieldNo) const;
    auto begin() const { return fList.begin(); }
    auto end() const { return fList.end(); }

private:
    friend class TDataSet;
    friend class TField;
    std::vector<TField*> fList;
};

// ---- The dataset ----
// Screen cursors a dataset asks for while it works; the numbers are the
// toolkit-neutral ids the GUI layer maps to its own cursors.
using TCursor = int;
constexpr TCursor crDefault = 0;
constexpr TCursor crHourGlass = -11;
constexpr TCursor crSQLWait = -17;

// dbaccess draws nothing: the GUI layer sets these to its override-cursor calls.
// Every push is followed by exactly one pop, also when the work throws.
inline std::function<void(TCursor cursor)> ScreenCursorPush;
inline std::function<void()> ScreenCursorPop;

// Holds a screen cursor for a scope; crDefault (or no hook) does nothing.
class TScreenCursorScope {
public:
    explicit TScreenCursorScope(TCursor cursor) : fPushed(cursor != crDefault && ScreenCursorPush && ScreenCursorPop)
    {
        if (fPushed)
            ScreenCursorPush(cursor);
    }
    ~TScreenCursorScope()
    {
        if (fPushed)
            ScreenCursorPop();
    }
    TScreenCursorScope(const TScreenCursorScope&) = delete;
    TScreenCursorScope& operator=(const TScreenCursorScope&) = delete;

private:
    bool fPushed;
};

class TDataSet : public TComponent {
public:
    using TDataSetNotifyEvent = std::function<void(TDataSet* dataSet)>;
    using TDataSetErrorEvent = std::function<void(TDataSet* dataSet, Exception& e, TDataAction& action)>;
    using TFilterRecordEvent = std::function<void(TDataSet* dataSet, bool& accept)>;

    explicit TDataSet(TComponent* owner = nullptr);
    ~TDataSet() override;

    bool Active() const { return fActive; }
    void SetActive(bool value);
    TDataSetState State() const { return fState; }
    void Open() { SetActive(true); }
    void Close() { SetActive(false); }

    // Navigation. Moves fire BeforeScroll/AfterScroll; Next at the end and Prior at the start do nothing.
    void First();
    void Last();
    void Next() { MoveBy(1); }
    void Prior() { MoveBy(-1); }
    // Answers the distance moved.
    int MoveBy(int distance);
    bool Eof() const { return fEof; }
    bool Bof() const { return fBof; }
    bool IsEmpty() const { return !fHasCurrent && fState != dsInsert; }
    // 1-based number of the row the fields read; 0 inactive or none.
    int RecNo() const { return fActive ? GetRecNo() : 0; }
    void SetRecNo(int value);
    int RecordCount() const { return fActive ? GetRecordCount() : 0; }

    // Editing.
    void Edit();
    void Insert() { BeginInsertAppend(false); }
    void Append() { BeginInsertAppend(true); }
    void Post();
    void Cancel();
    void Delete();
    void Refresh();
    // Posts or cancels pending changes (by Modified) so that the cursor may move.
    void CheckBrowseMode();
    // Asks data links to write their pending control text into the fields.
    void UpdateRecord();
    bool Modified() const { return fModified; }
    bool CanModify() const { return GetCanModify(); }

    // Fields split at ";"; keyValues is a QVariantList for more than one field.
    virtual bool Locate(const QString& keyFields, const QVariant& keyValues, TLocateOptions options);
    // The result field values of the first matching row (a QVariantList for more
    // than one field), an invalid QVariant when none. The cursor does not move and no
    // scroll or change notices are sent.
    virtual QVariant Lookup(const QString& keyFields, const QVariant& keyValues, const QString& resultFields);

    TFields& Fields() { return fFields; }
    const TFields& Fields() const { return fFields; }
    TFieldDefs& FieldDefs() { return fFieldDefs; }
    TField* FindField(const QString& fieldName) const { return fFields.FindField(fieldName); }
    // Raises EDatabaseError `Field "NAME" not found.` when absent.
    TField* FieldByName(const QString& fieldName) const;
    // Fields named in a ";"-separated list; raises for any name not found.
    std::vector<TField*> GetFieldList(const QString& fieldNames) const;

    // Controls see nothing between the first Disable and the last Enable, then one
    // dataset-changed notice (or an active change when opened or closed meanwhile).
    void DisableControls();
    void EnableControls();
    bool ControlsDisabled() const { return fDisableCount > 0; }

    virtual TBookmark GetBookmark() const;
    TBookmark Bookmark() const { return GetBookmark(); }
    void SetBookmark(const TBookmark& bookmark) { GotoBookmark(bookmark); }
    virtual void GotoBookmark(const TBookmark& bookmark);
    void FreeBookmark(TBookmark& bookmark) { bookmark.clear(); }
    virtual bool BookmarkValid(const TBookmark& bookmark) const;
    // <0, 0, >0 as a comes before, with or after b.
    virtual int CompareBookmarks(const TBookmark& a, const TBookmark& b) const;

    // Stored for derived datasets; the working filter is OnFilterRecord, asked for
    // every row a derived GetRecord reads while Filtered (see RecordFilter).
    // A derived dataset that keeps a map of visible rows overrides the setters to
    // rebuild it (and calls these).
    QString Filter() const { return fFilter; }
    virtual void SetFilter(const QString& value);
    bool Filtered() const { return fFiltered; }
    virtual void SetFiltered(bool value);
    TFilterOptions FilterOptions() const { return fFilterOptions; }
    virtual void SetFilterOptions(TFilterOptions value) { fFilterOptions = value; }
    TFilterRecordEvent OnFilterRecord;

    // The master's data source of a detail dataset; none here.
    virtual TDataSource* DataSource() const { return nullptr; }

    // The buffer fields read now (nullptr when closed).
    TRecordBuffer ActiveBuffer() const { return fOverride ? fOverride->Data : fSlots[fCur].Data; }
    // Lets fields read the row at 0-based visible position `row` without moving the
    // cursor or firing events; false when there is no such row. Any move, edit or
    // SelectCursorRow goes back to the cursor row.
    bool SelectActiveRow(int row);
    void SelectCursorRow() { fOverride = nullptr; }
    // 0-based position of the row the fields read; -1 none.
    int ActiveRow() const;
    // 0-based position of the cursor row; -1 none.
    int CursorRow() const;

    // Events.
    TDataSetNotifyEvent BeforeOpen, AfterOpen, BeforeClose, AfterClose;
    TDataSetNotifyEvent BeforeInsert, AfterInsert, BeforeEdit, AfterEdit;
    TDataSetNotifyEvent BeforePost, AfterPost, BeforeCancel, AfterCancel;
    TDataSetNotifyEvent BeforeDelete, AfterDelete, BeforeRefresh, AfterRefresh;
    TDataSetNotifyEvent BeforeScroll, AfterScroll;
    TDataSetNotifyEvent OnCalcFields, OnNewRecord;
    TDataSetErrorEvent OnPostError, OnEditError, OnDeleteError;

    // ---- Field data (see the top of this file) ----
    virtual bool GetFieldData(TField* field, double* value) = 0;
    virtual bool GetFieldData(TField* field, qint64* value) = 0;
    virtual bool GetFieldData(TField* field, QString* value) = 0;
    virtual bool GetFieldData(TField* field, QByteArray* value) = 0;
    virtual void SetFieldData(TField* field, const double* value) = 0;
    virtual void SetFieldData(TField* field, const qint64* value) = 0;
    virtual void SetFieldData(TField* field, const QString* value) = 0;
    virtual void SetFieldData(TField* field, const QByteArray* value) = 0;

    // Tells sources and links; used by fields and derived datasets.
    void DataEvent(TDataEvent event, std::intptr_t info = 0);

protected:
    // ---- Record buffers ----
    virtual TRecordBuffer AllocRecordBuffer() = 0;
    virtual void FreeRecordBuffer(TRecordBuffer& buffer) = 0;
    virtual TGetResult GetRecord(TRecordBuffer buffer, TGetMode mode, bool doCheck) = 0;
    // Default: false, the dataset cannot read rows directly.
    virtual bool GetRecordAt(TRecordBuffer buffer, int row);
    virtual void InternalInitRecord(TRecordBuffer buffer) = 0;
    virtual void InternalSetToRecord(TRecordBuffer buffer) = 0;

    // ---- Cursor ----
    virtual void InternalOpen() = 0;
    virtual void InternalClose() = 0;
    virtual bool IsCursorOpen() const = 0;
    virtual void InternalFirst() = 0;
    virtual void InternalLast() = 0;
    virtual void InternalRefresh() {}
    // Default: cursor before the first row and GetRecord(gmNext) value times.
    virtual void InternalSetRecNo(int value);
    virtual int GetRecNo() const = 0;
    virtual int GetRecordCount() const = 0;

    // ---- Editing ----
    virtual void InternalEdit() {}
    virtual void InternalInsert() {}
    virtual void InternalPost() = 0;
    virtual void InternalCancel() {}
    virtual void InternalDelete() = 0;
    virtual bool GetCanModify() const { return true; }
    // Called inside a catch block for a failure that must not stop a row's reading
    // (an OnCalcFields handler that raised); the default passes it on.
    virtual void InternalHandleException();

    // ---- Bookmarks ----
    virtual void GetBookmarkData(TRecordBuffer buffer, TBookmark& bookmark) const = 0;
    // Puts the cursor on the bookmarked row; raises when it does not exist.
    virtual void InternalGotoBookmark(const TBookmark& bookmark) = 0;

    // ---- Fields ----
    // The field class of a type for default fields; nullptr skips the column.
    virtual std::unique_ptr<TField> CreateFieldOfType(TFieldType type);
    // True when the program made no fields: default fields come from FieldDefs.
    bool DefaultFields() const { return fDefaultFields; }
    void CreateFields();
    // Binding: every data field to its FieldDefs column; a persistent field without
    // one raises. Unbinding resets column numbers.
    void BindFields(bool binding);

    // The screen cursor that navigation holds; crDefault holds none.
    virtual TCursor NavigationCursor() const { return crDefault; }
    // Fires AfterScroll; a derived dataset may add what follows a scroll.
    virtual void DoAfterScroll() { Notify(AfterScroll); }
    // Fire BeforePost and OnNewRecord; a derived dataset may add its own steps.
    virtual void DoBeforePost() { Notify(BeforePost); }
    virtual void DoOnNewRecord() { Notify(OnNewRecord); }
    // After a Before handler: a handler that closed the dataset stops the operation.
    virtual void CheckContinue(const QString& eventName) { (void)eventName; CheckActive(); }
    // Calculated values kept by a derived dataset for the row in a buffer. Read
    // answers false when it has none; then OnCalcFields runs and Write keeps them.
    virtual bool ReadCachedCalcFields(TRecordBuffer buffer, std::vector<QVariant>& values);
    virtual void WriteCachedCalcFields(TRecordBuffer buffer, const std::vector<QVariant>& values);

    // ---- Helpers for derived classes ----
    bool Appending() const { return fAppending; }
    // Asks OnFilterRecord about a buffer while Filtered; true without a handler.
    bool RecordFilter(TRecordBuffer buffer);
    void SetState(TDataSetState value);
    void CheckActive() const;
    // Re-reads the cursor row (after a derived class moved its cursor itself).
    void Resync();

private:
    friend class TField;
    friend class TDataSource;
    struct TSlot {
        TRecordBuffer Data = nullptr;
        std::vector<QVariant> Calc;  // values of calculated and lookup fields
    };

    void OpenCursor();
    void CloseCursor();
    void FreeSlots();
    void BeginInsertAppend(bool append);
    void CheckCanModify() const;
    void CheckRequiredFields();
    // Reads into a slot and computes its calculated fields.
    TGetResult Fetch(int slot, TGetMode mode);
    void UpdateCursorPos();
    void QuietFirst();
    bool StepNext();
    bool StepPrior();
    void CalculateFields(TSlot& slot);
    void RunWithErrorEvent(const TDataSetErrorEvent& handler, const std::function<void()>& op);
    // Searches without moving the cursor row; on a match the read slot holds the row.
    bool FindRecord(const std::vector<TField*>& fields, const QVariantList& values, TLocateOptions options);
    static bool FieldMatches(const TField* field, const QVariant& key, TLocateOptions options);
    void Notify(const TDataSetNotifyEvent& event)
    {
        if (event)
            event(this);
    }
    void AddField(TField* field, bool isDefault);
    void RemoveField(TField* field);
    void AddDataSource(TDataSource* source);
    void RemoveDataSource(TDataSource* source);
    template <class T>
    bool GetCalcData(const TField* field, T* value) const;
    template <class T>
    void SetCalcData(const TField* field, const T* value);
    void FieldChanged(TField* field);

    TFields fFields;
    TFieldDefs fFieldDefs;
    std::vector<TDataSource*> fDataSources;
    TSlot fSlots[3];
    int fCur = 0;
    int fSpare = 1;
    static constexpr int fRead = 2;
    TSlot* fOverride = nullptr;
    TDataSetState fState = dsInactive;
    bool fActive = false;
    bool fEof = true;
    bool fBof = true;
    bool fHasCurrent = false;
    bool fCursorSync = true;
    bool fModified = false;
    bool fAppending = false;
    bool fDefaultFields = false;
    bool fDestroyingFields = false;
    bool fFiltered = false;
    int fCalcFieldCount = 0;
    int fDisableCount = 0;
    bool fDisabledActive = false;
    TBookmark fInsertReturn;
    QString fFilter;
    TFilterOptions fFilterOptions;
};

// Keeps a dataset's controls quiet for a scope, also when it is left by an exception.
class TControlsDisabled {
public:
    explicit TControlsDisabled(TDataSet* dataSet) : fDataSet(dataSet) { fDataSet->DisableControls(); }
    ~TControlsDisabled() { fDataSet->EnableControls(); }
    TControlsDisabled(const TControlsDisabled&) = delete;
    TControlsDisabled& operator=(const TControlsDisabled&) = delete;

private:
    TDataSet* fDataSet;
};

// ---- Data sources and links ----
class TDataSource : public TComponent {
public:
    explicit TDataSource(TComponent* owner = nullptr);
    ~TDataSource() override;

    TDataSet* DataSet() const { return fDataSet; }
    void SetDataSet(TDataSet* value);
    // A disabled source shows its links an inactive dataset.
    bool Enabled() const { return fEnabled; }
    void SetEnabled(bool value);
    // Controls may put the dataset into edit state on a key press.
    bool AutoEdit() const { return fAutoEdit; }
    void SetAutoEdit(bool value) { fAutoEdit = value; }
    TDataSetState State() const { return fDataSet && fEnabled ? fDataSet->State() : dsInactive; }

    std::function<void(TDataSource* sender, TField* field)> OnDataChange;
    TNotifyEvent OnStateChange;
    TNotifyEvent OnUpdateData;

private:
    friend class TDataSet;
    friend class TDataLink;
    void DataEvent(TDataEvent event, std::intptr_t info);
    void NotifyActiveChange();
    TDataSet* fDataSet = nullptr;
    std::vector<TDataLink*> fLinks;
    bool fEnabled = true;
    bool fAutoEdit = true;
};

// Connects a control (or a detail dataset) to a data source. The virtual
// notifications are the control's view of the dataset.
class TDataLink {
public:
    TDataLink() = default;
    virtual ~TDataLink();
    TDataLink(const TDataLink&) = delete;
    TDataLink& operator=(const TDataLink&) = delete;

    TDataSource* DataSource() const { return fDataSource; }
    void SetDataSource(TDataSource* value);
    TDataSet* DataSet() const { return fDataSource ? fDataSource->DataSet() : nullptr; }
    // Dataset present, open, and the source enabled.
    bool Active() const { return fActive; }
    // Dataset in an editing state.
    bool Editing() const { return fEditing; }
    bool ReadOnly() const { return fReadOnly; }
    void SetReadOnly(bool value) { fReadOnly = value; }

    // 0-based visible row the dataset's fields read. Setting another row reads it
    // without moving the cursor or firing events; set it back (or to the cursor row)
    // when done.
    int ActiveRecord() const;
    void SetActiveRecord(int row);
    int RecordCount() const;

    // Puts the dataset into edit state when the source allows; answers Editing.
    bool Edit();
    // Asks the control to write its pending text (UpdateData).
    void UpdateRecord();

protected:
    virtual void ActiveChanged() {}
    virtual void CheckBrowseMode() {}
    virtual void DataSetChanged() { RecordChanged(nullptr); }
    virtual void DataSetScrolled(int distance);
    virtual void EditingChanged() {}
    virtual void LayoutChanged() { DataSetChanged(); }
    virtual void RecordChanged(TField* field);
    virtual void UpdateData() {}

private:
    friend class TDataSource;
    void DataEvent(TDataEvent event, std::intptr_t info);
    void UpdateState();
    TDataSource* fDataSource = nullptr;
    bool fActive = false;
    bool fEditing = false;
    bool fReadOnly = false;
};

// A link through which a master source drives a detail dataset.
class TDetailDataLink : public TDataLink {
public:
    virtual TDataSet* DetailDataSet() const { return nullptr; }
};

// ---- Inline field data paths (the hot read) ----
template <class T>
bool TField::GetData(T* value) const
{
    const TDataSet* ds = fDataSet;
    // No row to read: closed, or empty and not inserting.
    if (!ds || !ds->fActive || (!ds->fHasCurrent && !ds->fOverride && ds->fState != dsInsert))
        return false;
    TDataSet* dataSet = fDataSet;
    if (fFieldKind != fkData)
        return dataSet->GetCalcData(this, value);
    return dataSet->GetFieldData(const_cast<TField*>(this), value);
}
