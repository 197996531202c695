#include "dbaccess/DB.h"

#include <QDateTime>
#include <QLocale>
#include <QScopeGuard>
#include <algorithm>
#include <cmath>
#include <limits>

namespace {

QString FieldNotFoundText(const QString& name)
{
    return QStringLiteral("Field \"%1\" not found.").arg(name);
}

bool IsEditState(TDataSetState state)
{
    return state == dsEdit || state == dsInsert;
}

// Restores the state on every way out, also by an exception.
struct TTempState {
    TDataSetState& State;
    TDataSetState Saved;
    ~TTempState() { State = Saved; }
};

}  // namespace

// =====================================================================
// Types
// =====================================================================

TFieldStorage FieldStorage(TFieldType type)
{
    switch (type) {
    case ftFloat:
    case ftCurrency:
    case ftBCD:
    case ftDate:
    case ftTime:
    case ftDateTime:
        return TFieldStorage::Float;
    case ftSmallint:
    case ftInteger:
    case ftWord:
    case ftAutoInc:
    case ftLargeint:
    case ftBoolean:
        return TFieldStorage::Integer;
    case ftString:
    case ftFixedChar:
    case ftWideString:
    case ftGuid:
    case ftMemo:
    case ftWideMemo:
        return TFieldStorage::Text;
    case ftBytes:
    case ftVarBytes:
    case ftBlob:
    case ftGraphic:
        return TFieldStorage::Bytes;
    case ftUnknown:
        break;
    }
    return TFieldStorage::None;
}

QString FieldTypeName(TFieldType type)
{
    static const char* const names[] = {"Unknown", "String",  "SmallInt", "Integer",  "Word",       "Boolean",
                                        "Float",   "Currency", "BCD",     "Date",     "Time",       "DateTime",
                                        "Bytes",   "VarBytes", "AutoInc", "Blob",     "Memo",       "Graphic",
                                        "FixedChar", "WideString", "LargeInt", "Guid", "WideMemo"};
    const auto i = static_cast<std::size_t>(type);
    return i < std::size(names) ? QString::fromLatin1(names[i]) : QStringLiteral("Unknown");
}

// =====================================================================
// Field definitions
// =====================================================================

TFieldDef& TFieldDefs::Add(const QString& name, TFieldType dataType, int size, bool required)
{
    TFieldDef def;
    def.Name = name;
    def.DataType = dataType;
    def.Size = size;
    def.Required = required;
    def.FieldNo = Count() + 1;
    fItems.push_back(def);
    return fItems.back();
}

int TFieldDefs::IndexOf(const QString& name) const
{
    for (int i = 0; i < Count(); ++i)
        if (fItems[static_cast<std::size_t>(i)].Name.compare(name, Qt::CaseInsensitive) == 0)
            return i;
    return -1;
}

const TFieldDef* TFieldDefs::Find(const QString& name) const
{
    const int i = IndexOf(name);
    return i < 0 ? nullptr : &fItems[static_cast<std::size_t>(i)];
}

// =====================================================================
// TFields
// =====================================================================

int TFields::IndexOf(const TField* field) const
{
    const auto it = std::find(fList.begin(), fList.end(), field);
    return it == fList.end() ? -1 : static_cast<int>(it - fList.begin());
}

TField* TFields::FindField(const QString& fieldName) const
{
    for (TField* f : fList)
        if (f->FieldName().compare(fieldName, Qt::CaseInsensitive) == 0)
            return f;
    return nullptr;
}

TField* TFields::FieldByNumber(int fieldNo) const
{
    for (TField* f : fList)
        if (f->FieldNo() == fieldNo)
            return f;
    return nullptr;
}

// =====================================================================
// TDataSet
// =====================================================================

TDataSet::TDataSet(TComponent* owner) : TComponent(owner) {}

TDataSet::~TDataSet()
{
    MarkDestroying();
    // A derived destructor has closed the dataset; what is left here is base state.
    while (!fDataSources.empty())
        fDataSources.back()->SetDataSet(nullptr);
    fDestroyingFields = true;
    for (TField* f : fFields.fList) {
        f->fDataSet = nullptr;
        delete f;
    }
    fFields.fList.clear();
}

void TDataSet::AddField(TField* field, bool isDefault)
{
    field->fDataSet = this;
    field->fDefault = isDefault;
    fFields.fList.push_back(field);
    if (!isDefault && fActive)
        DataEvent(deFieldListChange);
}

void TDataSet::RemoveField(TField* field)
{
    if (fDestroyingFields)
        return;
    std::erase(fFields.fList, field);
    field->fDataSet = nullptr;
}

void TDataSet::AddDataSource(TDataSource* source)
{
    fDataSources.push_back(source);
}

void TDataSet::RemoveDataSource(TDataSource* source)
{
    std::erase(fDataSources, source);
}

void TDataSet::CheckActive() const
{
    if (!fActive)
        throw EDatabaseError(QStringLiteral("%1: Cannot perform this operation on a closed dataset").arg(Name()));
}

TField* TDataSet::FieldByName(const QString& fieldName) const
{
    TField* f = fFields.FindField(fieldName);
    if (!f)
        throw EDatabaseError(FieldNotFoundText(fieldName));
    return f;
}

std::vector<TField*> TDataSet::GetFieldList(const QString& fieldNames) const
{
    std::vector<TField*> list;
    for (const QString& part : fieldNames.split(u';', Qt::SkipEmptyParts)) {
        const QString name = part.trimmed();
        if (!name.isEmpty())
            list.push_back(FieldByName(name));
    }
    return list;
}

// ---------------------------------------------------------------- open / close

void TDataSet::SetActive(bool value)
{
    if (value == fActive || fState == dsOpening)
        return;
    if (value)
        OpenCursor();
    else
        CloseCursor();
}

void TDataSet::OpenCursor()
{
    Notify(BeforeOpen);
    fState = dsOpening;
    fDefaultFields = std::none_of(fFields.begin(), fFields.end(), [](TField* f) { return !f->fDefault; });
    try {
        InternalOpen();
        if (!IsCursorOpen()) {
            // Nothing to show: a statement that returns no rows has run.
            fState = dsInactive;
            return;
        }
        for (TSlot& s : fSlots) {
            s.Data = AllocRecordBuffer();
            s.Calc.assign(static_cast<std::size_t>(fCalcFieldCount), QVariant());
        }
    } catch (...) {
        fState = dsInactive;
        FreeSlots();
        if (IsCursorOpen())
            InternalClose();
        BindFields(false);
        throw;
    }
    fActive = true;
    fState = dsBrowse;
    fModified = false;
    QuietFirst();
    DataEvent(deUpdateState);
    Notify(AfterOpen);
    if (!IsEmpty())
        DoAfterScroll();
}

void TDataSet::CloseCursor()
{
    // While the owner goes, its handlers may already be gone: close without events.
    const bool quiet = IsDestroying();
    if (IsEditState(fState)) {
        if (quiet)
            InternalCancel();
        else
            Cancel();
    }
    if (!quiet)
        Notify(BeforeClose);
    fState = dsInactive;
    fActive = false;
    fOverride = nullptr;
    fHasCurrent = false;
    fEof = fBof = true;
    fInsertReturn.clear();
    InternalClose();
    FreeSlots();
    BindFields(false);
    // Default fields belong to one opening; persistent ones stay.
    std::vector<TField*> defaults;
    for (TField* f : fFields.fList)
        if (f->fDefault)
            defaults.push_back(f);
    for (TField* f : defaults)
        delete f;
    DataEvent(deUpdateState);
    if (!quiet)
        Notify(AfterClose);
}

void TDataSet::FreeSlots()
{
    for (TSlot& s : fSlots) {
        if (s.Data)
            FreeRecordBuffer(s.Data);
        s.Data = nullptr;
        s.Calc.clear();
    }
    fCur = 0;
    fSpare = 1;
    fOverride = nullptr;
}

std::unique_ptr<TField> TDataSet::CreateFieldOfType(TFieldType type)
{
    switch (type) {
    case ftString:
    case ftFixedChar:
        return std::make_unique<TStringField>();
    case ftWideString:
        return std::make_unique<TWideStringField>();
    case ftGuid:
        return std::make_unique<TGuidField>();
    case ftSmallint:
        return std::make_unique<TSmallintField>();
    case ftInteger:
    case ftWord:
    case ftAutoInc:
        return std::make_unique<TIntegerField>();
    case ftLargeint:
        return std::make_unique<TLargeintField>();
    case ftBoolean:
        return std::make_unique<TBooleanField>();
    case ftFloat:
    case ftCurrency:
        return std::make_unique<TFloatField>();
    case ftBCD:
        return std::make_unique<TBCDField>();
    case ftDate:
        return std::make_unique<TDateField>();
    case ftTime:
        return std::make_unique<TTimeField>();
    case ftDateTime:
        return std::make_unique<TDateTimeField>();
    case ftBytes:
    case ftVarBytes:
        return std::make_unique<TBytesField>();
    case ftBlob:
    case ftGraphic:
        return std::make_unique<TBlobField>();
    case ftMemo:
    case ftWideMemo:
        return std::make_unique<TMemoField>();
    case ftUnknown:
        break;
    }
    return nullptr;
}

void TDataSet::CreateFields()
{
    for (int i = 0; i < fFieldDefs.Count(); ++i) {
        const TFieldDef& def = fFieldDefs[i];
        std::unique_ptr<TField> f = CreateFieldOfType(def.DataType);
        if (!f)
            continue;
        f->SetFieldName(def.Name);
        f->SetName(Name() + def.Name);
        if (def.Size > 0)
            f->SetSize(def.Size);
        f->SetRequired(def.Required);
        AddField(f.release(), true);
    }
}

void TDataSet::BindFields(bool binding)
{
    fCalcFieldCount = 0;
    for (TField* f : fFields.fList) {
        f->fFieldNo = 0;
        f->fCalcIndex = -1;
        if (f->fFieldKind != fkData) {
            if (binding)
                f->fCalcIndex = fCalcFieldCount++;
            continue;
        }
        if (!binding)
            continue;
        const TFieldDef* def = fFieldDefs.Find(f->FieldName());
        if (!def)
            throw EDatabaseError(FieldNotFoundText(f->FieldName()));
        if (FieldStorage(def->DataType) != FieldStorage(f->DataType()))
            throw EDatabaseError(QStringLiteral("Type mismatch for field '%1', expecting: %2 actual: %3")
                                     .arg(f->DisplayLabel(), FieldTypeName(f->DataType()), FieldTypeName(def->DataType)));
        f->fFieldNo = def->FieldNo;
    }
}

// ---------------------------------------------------------------- reading rows

TGetResult TDataSet::Fetch(int slot, TGetMode mode)
{
    TSlot& s = fSlots[slot];
    const TGetResult r = GetRecord(s.Data, mode, true);
    if (r == grOK && fCalcFieldCount > 0)
        CalculateFields(s);
    return r;
}

void TDataSet::UpdateCursorPos()
{
    if (fHasCurrent && !fCursorSync) {
        InternalSetToRecord(fSlots[fCur].Data);
        fCursorSync = true;
    }
}

void TDataSet::QuietFirst()
{
    fOverride = nullptr;
    InternalFirst();
    if (Fetch(fSpare, gmNext) == grOK) {
        std::swap(fCur, fSpare);
        fHasCurrent = true;
        fEof = false;
    } else {
        fHasCurrent = false;
        fEof = true;
    }
    fBof = true;
    fCursorSync = true;
}

bool TDataSet::StepNext()
{
    UpdateCursorPos();
    if (Fetch(fSpare, gmNext) == grOK) {
        std::swap(fCur, fSpare);
        fHasCurrent = true;
        return true;
    }
    fCursorSync = false;
    return false;
}

bool TDataSet::StepPrior()
{
    UpdateCursorPos();
    if (Fetch(fSpare, gmPrior) == grOK) {
        std::swap(fCur, fSpare);
        fHasCurrent = true;
        return true;
    }
    fCursorSync = false;
    return false;
}

void TDataSet::Resync()
{
    fOverride = nullptr;
    if (Fetch(fSpare, gmCurrent) == grOK || Fetch(fSpare, gmPrior) == grOK) {
        std::swap(fCur, fSpare);
        fHasCurrent = true;
        fEof = fBof = false;
    } else {
        // The cursor may stand before the first row: try once more forward.
        if (Fetch(fSpare, gmNext) == grOK) {
            std::swap(fCur, fSpare);
            fHasCurrent = true;
            fEof = false;
            fBof = true;
        } else {
            fHasCurrent = false;
            fEof = fBof = true;
        }
    }
    fCursorSync = true;
}

bool TDataSet::GetRecordAt(TRecordBuffer, int)
{
    return false;
}

void TDataSet::InternalSetRecNo(int value)
{
    InternalFirst();
    TRecordBuffer buffer = fSlots[fRead].Data;
    for (int i = 0; i < value; ++i)
        if (GetRecord(buffer, gmNext, true) != grOK)
            break;
}

void TDataSet::InternalHandleException()
{
    throw;
}

// ---------------------------------------------------------------- navigation

void TDataSet::First()
{
    TScreenCursorScope wait(NavigationCursor());
    CheckBrowseMode();
    Notify(BeforeScroll);
    QuietFirst();
    DataEvent(deDataSetChange);
    DoAfterScroll();
}

void TDataSet::Last()
{
    TScreenCursorScope wait(NavigationCursor());
    CheckBrowseMode();
    Notify(BeforeScroll);
    fOverride = nullptr;
    InternalLast();
    if (Fetch(fSpare, gmPrior) == grOK) {
        std::swap(fCur, fSpare);
        fHasCurrent = true;
        fBof = false;
    } else {
        fHasCurrent = false;
        fBof = true;
    }
    fEof = true;
    fCursorSync = true;
    DataEvent(deDataSetChange);
    DoAfterScroll();
}

int TDataSet::MoveBy(int distance)
{
    TScreenCursorScope wait(NavigationCursor());
    CheckBrowseMode();
    if (!((distance > 0 && !fEof) || (distance < 0 && !fBof)))
        return 0;
    fEof = fBof = false;
    fOverride = nullptr;
    Notify(BeforeScroll);
    int moved = 0;
    while (distance > 0) {
        if (!StepNext()) {
            fEof = true;
            break;
        }
        ++moved;
        --distance;
    }
    while (distance < 0) {
        if (!StepPrior()) {
            fBof = true;
            break;
        }
        --moved;
        ++distance;
    }
    DataEvent(deDataSetScroll, moved);
    DoAfterScroll();
    return moved;
}

void TDataSet::SetRecNo(int value)
{
    TScreenCursorScope wait(NavigationCursor());
    CheckBrowseMode();
    if (value == RecNo() || value < 1)
        return;
    Notify(BeforeScroll);
    fOverride = nullptr;
    InternalSetRecNo(value);
    Resync();
    DataEvent(deDataSetChange);
    DoAfterScroll();
}

bool TDataSet::SelectActiveRow(int row)
{
    if (!fActive || row < 0)
        return false;
    fOverride = nullptr;
    if (row == CursorRow() && (fHasCurrent || fState == dsInsert))
        return true;
    TSlot& s = fSlots[fRead];
    if (!GetRecordAt(s.Data, row))
        return false;
    if (fCalcFieldCount > 0)
        CalculateFields(s);
    fOverride = &s;
    return true;
}

int TDataSet::ActiveRow() const
{
    return fActive ? GetRecNo() - 1 : -1;
}

int TDataSet::CursorRow() const
{
    if (!fActive)
        return -1;
    TSlot* saved = fOverride;
    auto* self = const_cast<TDataSet*>(this);
    self->fOverride = nullptr;
    const int row = GetRecNo() - 1;
    self->fOverride = saved;
    return row;
}

// ---------------------------------------------------------------- editing

void TDataSet::CheckCanModify() const
{
    if (!CanModify())
        throw EDatabaseError(QStringLiteral("%1: Cannot modify a read-only dataset").arg(Name()));
}

void TDataSet::CheckBrowseMode()
{
    CheckActive();
    DataEvent(deCheckBrowseMode);
    if (IsEditState(fState)) {
        UpdateRecord();
        if (fModified)
            Post();
        else
            Cancel();
    }
}

void TDataSet::UpdateRecord()
{
    if (!IsEditState(fState))
        throw EDatabaseError(QStringLiteral("%1: Dataset not in edit or insert mode").arg(Name()));
    DataEvent(deUpdateRecord);
}

void TDataSet::RunWithErrorEvent(const TDataSetErrorEvent& handler, const std::function<void()>& op)
{
    for (;;) {
        try {
            op();
            return;
        } catch (Exception& e) {
            if (!handler)
                throw;
            TDataAction action = daFail;
            handler(this, e, action);
            if (action == daFail)
                throw;
            if (action == daAbort)
                throw EAbort();
        }
    }
}

void TDataSet::Edit()
{
    if (IsEditState(fState))
        return;
    CheckActive();
    if (IsEmpty()) {
        Insert();
        return;
    }
    CheckCanModify();
    Notify(BeforeEdit);
    CheckContinue(QStringLiteral("BeforeEdit"));
    fOverride = nullptr;
    RunWithErrorEvent(OnEditError, [this] {
        UpdateCursorPos();
        InternalEdit();
    });
    SetState(dsEdit);
    DataEvent(deRecordChange);
    Notify(AfterEdit);
}

void TDataSet::BeginInsertAppend(bool append)
{
    CheckBrowseMode();
    CheckCanModify();
    Notify(BeforeInsert);
    Notify(BeforeScroll);
    fOverride = nullptr;
    fInsertReturn.clear();
    if (fHasCurrent)
        GetBookmarkData(fSlots[fCur].Data, fInsertReturn);
    UpdateCursorPos();
    fAppending = append;
    InternalInsert();
    TSlot& cur = fSlots[fCur];
    InternalInitRecord(cur.Data);
    std::fill(cur.Calc.begin(), cur.Calc.end(), QVariant());
    fEof = fBof = false;
    SetState(dsInsert);
    try {
        DoOnNewRecord();
    } catch (...) {
        InternalCancel();
        SetState(dsBrowse);
        if (!fInsertReturn.isEmpty()) {
            InternalGotoBookmark(fInsertReturn);
            Resync();
        } else {
            QuietFirst();
        }
        DataEvent(deDataSetChange);
        throw;
    }
    if (fCalcFieldCount > 0)
        CalculateFields(cur);
    fModified = false;
    DataEvent(deDataSetChange);
    Notify(AfterInsert);
    DoAfterScroll();
}

void TDataSet::CheckRequiredFields()
{
    for (TField* f : fFields.fList)
        if (f->Required() && !f->ReadOnly() && f->FieldKind() == fkData && f->IsNull())
            throw EDatabaseError(QStringLiteral("Field '%1' must have a value").arg(f->DisplayLabel()));
}

void TDataSet::Post()
{
    if (!IsEditState(fState))
        return;
    UpdateRecord();
    DataEvent(deCheckBrowseMode);
    DoBeforePost();
    CheckContinue(QStringLiteral("BeforePost"));
    fOverride = nullptr;
    CheckRequiredFields();
    RunWithErrorEvent(OnPostError, [this] { InternalPost(); });
    fAppending = false;
    fInsertReturn.clear();
    SetState(dsBrowse);
    Resync();
    DataEvent(deDataSetChange);
    Notify(AfterPost);
}

void TDataSet::Cancel()
{
    if (!IsEditState(fState))
        return;
    DataEvent(deCheckBrowseMode);
    Notify(BeforeCancel);
    CheckContinue(QStringLiteral("BeforeCancel"));
    fOverride = nullptr;
    const bool wasInsert = fState == dsInsert;
    InternalCancel();
    fAppending = false;
    SetState(dsBrowse);
    if (wasInsert) {
        if (!fInsertReturn.isEmpty()) {
            InternalGotoBookmark(fInsertReturn);
            Resync();
        } else {
            QuietFirst();
        }
        fInsertReturn.clear();
    } else {
        InternalSetToRecord(fSlots[fCur].Data);
        Resync();
    }
    DataEvent(deDataSetChange);
    Notify(AfterCancel);
}

void TDataSet::Delete()
{
    CheckActive();
    if (fState == dsInsert) {
        Cancel();
        return;
    }
    if (IsEmpty())
        throw EDatabaseError(QStringLiteral("%1: Cannot perform this operation on an empty dataset").arg(Name()));
    DataEvent(deCheckBrowseMode);
    CheckCanModify();
    Notify(BeforeDelete);
    CheckContinue(QStringLiteral("BeforeDelete"));
    Notify(BeforeScroll);
    fOverride = nullptr;
    RunWithErrorEvent(OnDeleteError, [this] {
        UpdateCursorPos();
        InternalDelete();
    });
    SetState(dsBrowse);
    Resync();
    DataEvent(deDataSetChange);
    Notify(AfterDelete);
    DoAfterScroll();
}

void TDataSet::Refresh()
{
    CheckBrowseMode();
    Notify(BeforeRefresh);
    fOverride = nullptr;
    UpdateCursorPos();
    InternalRefresh();
    Resync();
    DataEvent(deDataSetChange);
    Notify(AfterRefresh);
}

void TDataSet::SetState(TDataSetState value)
{
    if (fState == value)
        return;
    fState = value;
    fModified = false;
    DataEvent(deUpdateState);
}

// ---------------------------------------------------------------- calculated fields

void TDataSet::CalculateFields(TSlot& slot)
{
    TSlot* savedOverride = fOverride;
    fOverride = &slot;
    TTempState keep{fState, fState};
    fState = dsCalcFields;
    std::fill(slot.Calc.begin(), slot.Calc.end(), QVariant());
    if (ReadCachedCalcFields(slot.Data, slot.Calc)) {
        fOverride = savedOverride;
        return;
    }
    try {
        for (TField* f : fFields.fList) {
            if (f->fFieldKind != fkLookup || !f->LookupDataSet || f->fCalcIndex < 0)
                continue;
            const std::vector<TField*> keys = GetFieldList(f->KeyFields);
            QVariantList values;
            for (TField* k : keys)
                values.push_back(k->Value());
            const QVariant key = values.size() == 1 ? values.front() : QVariant(values);
            slot.Calc[static_cast<std::size_t>(f->fCalcIndex)] =
                f->LookupDataSet->Lookup(f->LookupKeyFields, key, f->LookupResultField);
        }
        if (OnCalcFields)
            OnCalcFields(this);
    } catch (...) {
        // Not swallowed: the dataset decides in InternalHandleException, which rethrows here.
        fOverride = savedOverride;
        fState = keep.Saved;
        InternalHandleException();
        return;
    }
    fOverride = savedOverride;
    WriteCachedCalcFields(slot.Data, slot.Calc);
}

bool TDataSet::ReadCachedCalcFields(TRecordBuffer, std::vector<QVariant>&) { return false; }

void TDataSet::WriteCachedCalcFields(TRecordBuffer, const std::vector<QVariant>&) {}

template <class T>
bool TDataSet::GetCalcData(const TField* field, T* value) const
{
    const TSlot* s = fOverride ? fOverride : &fSlots[fCur];
    if (field->fCalcIndex < 0 || static_cast<std::size_t>(field->fCalcIndex) >= s->Calc.size())
        return false;
    const QVariant& v = s->Calc[static_cast<std::size_t>(field->fCalcIndex)];
    if (v.isNull())
        return false;
    if (value) {
        if constexpr (std::is_same_v<T, double>)
            *value = v.toDouble();
        else if constexpr (std::is_same_v<T, qint64>)
            *value = v.toLongLong();
        else if constexpr (std::is_same_v<T, QString>)
            *value = v.toString();
        else
            *value = v.toByteArray();
    }
    return true;
}

template <class T>
void TDataSet::SetCalcData(const TField* field, const T* value)
{
    TSlot* s = fOverride ? fOverride : &fSlots[fCur];
    if (field->fCalcIndex < 0 || static_cast<std::size_t>(field->fCalcIndex) >= s->Calc.size())
        return;
    s->Calc[static_cast<std::size_t>(field->fCalcIndex)] = value ? QVariant::fromValue(*value) : QVariant();
}

template bool TDataSet::GetCalcData(const TField*, double*) const;
template bool TDataSet::GetCalcData(const TField*, qint64*) const;
template bool TDataSet::GetCalcData(const TField*, QString*) const;
template bool TDataSet::GetCalcData(const TField*, QByteArray*) const;
template void TDataSet::SetCalcData(const TField*, const double*);
template void TDataSet::SetCalcData(const TField*, const qint64*);
template void TDataSet::SetCalcData(const TField*, const QString*);
template void TDataSet::SetCalcData(const TField*, const QByteArray*);

void TDataSet::FieldChanged(TField* field)
{
    if (fState == dsCalcFields || fState == dsFilter || fState == dsInternalCalc)
        return;
    DataEvent(deFieldChange, reinterpret_cast<std::intptr_t>(field));
}

bool TDataSet::RecordFilter(TRecordBuffer buffer)
{
    if (!fFiltered || !OnFilterRecord)
        return true;
    TSlot temp;
    temp.Data = buffer;
    TSlot* savedOverride = fOverride;
    fOverride = &temp;
    const auto restoreOverride = qScopeGuard([&] { fOverride = savedOverride; });
    TTempState keep{fState, fState};
    fState = dsFilter;
    bool accept = true;
    OnFilterRecord(this, accept);
    return accept;
}

void TDataSet::SetFilter(const QString& value)
{
    if (fFilter == value)
        return;
    fFilter = value;
    if (fActive && fFiltered)
        First();
}

void TDataSet::SetFiltered(bool value)
{
    if (fFiltered == value)
        return;
    if (fActive)
        CheckBrowseMode();
    fFiltered = value;
    if (fActive)
        First();
}

// ---------------------------------------------------------------- bookmarks

TBookmark TDataSet::GetBookmark() const
{
    TBookmark bookmark;
    if (fActive && fHasCurrent && !IsEditState(fState) && fState != dsInactive)
        GetBookmarkData(fSlots[fCur].Data, bookmark);
    return bookmark;
}

void TDataSet::GotoBookmark(const TBookmark& bookmark)
{
    if (bookmark.isEmpty())
        return;
    CheckBrowseMode();
    Notify(BeforeScroll);
    fOverride = nullptr;
    InternalGotoBookmark(bookmark);
    Resync();
    DataEvent(deDataSetChange);
    DoAfterScroll();
}

bool TDataSet::BookmarkValid(const TBookmark& bookmark) const
{
    return !bookmark.isEmpty();
}

int TDataSet::CompareBookmarks(const TBookmark& a, const TBookmark& b) const
{
    if (a.isEmpty() || b.isEmpty())
        return int(!a.isEmpty()) - int(!b.isEmpty());
    return a < b ? -1 : (b < a ? 1 : 0);
}

// ---------------------------------------------------------------- locate / lookup

bool TDataSet::FieldMatches(const TField* field, const QVariant& key, TLocateOptions options)
{
    if (key.isNull() || !key.isValid())
        return field->IsNull();
    if (field->IsNull())
        return false;
    switch (FieldStorage(field->DataType())) {
    case TFieldStorage::Text: {
        const QString a = field->AsString().trimmed();
        const QString b = key.toString().trimmed();
        const Qt::CaseSensitivity cs = options.testFlag(loCaseInsensitive) ? Qt::CaseInsensitive : Qt::CaseSensitive;
        return options.testFlag(loPartialKey) ? a.startsWith(b, cs) : a.compare(b, cs) == 0;
    }
    case TFieldStorage::Float: {
        double k;
        if (key.typeId() == QMetaType::QDateTime)
            k = QDateTimeToDateTime(key.toDateTime());
        else if (key.typeId() == QMetaType::QDate)
            k = QDateTimeToDateTime(key.toDate().startOfDay());
        else {
            bool ok = false;
            k = key.toDouble(&ok);
            if (!ok)
                return false;
        }
        return field->AsFloat() == k;
    }
    case TFieldStorage::Integer: {
        if (field->DataType() == ftBoolean)
            return field->AsBoolean() == key.toBool();
        bool ok = false;
        const qint64 k = key.toLongLong(&ok);
        return ok && field->AsLargeInt() == k;
    }
    case TFieldStorage::Bytes:
        return field->AsBytes() == key.toByteArray();
    case TFieldStorage::None:
        break;
    }
    return false;
}

bool TDataSet::FindRecord(const std::vector<TField*>& fields, const QVariantList& values, TLocateOptions options)
{
    if (fields.empty() || static_cast<std::size_t>(values.size()) != fields.size())
        throw EDatabaseError(QStringLiteral("%1: Locate needs one value per key field").arg(Name()));
    // The scan reads into the read slot; the cursor row the fields show stays put.
    TSlot& s = fSlots[fRead];
    TSlot* savedOverride = fOverride;
    fOverride = &s;
    // A found row stays in the read slot for the caller to take.
    auto restoreOverride = qScopeGuard([&] { fOverride = savedOverride; });
    fCursorSync = false;
    bool found = false;
    InternalFirst();
    while (!found && GetRecord(s.Data, gmNext, true) == grOK) {
        if (fCalcFieldCount > 0)
            CalculateFields(s);
        found = true;
        for (std::size_t i = 0; i < fields.size() && found; ++i)
            found = FieldMatches(fields[i], values[static_cast<qsizetype>(i)], options);
    }
    if (found)
        restoreOverride.dismiss();
    return found;
}

namespace {
QVariantList KeyValueList(const QVariant& keyValues, std::size_t count)
{
    if (count > 1 && keyValues.typeId() == QMetaType::QVariantList)
        return keyValues.toList();
    return QVariantList{keyValues};
}
}  // namespace

bool TDataSet::Locate(const QString& keyFields, const QVariant& keyValues, TLocateOptions options)
{
    TScreenCursorScope wait(NavigationCursor());
    CheckBrowseMode();
    const std::vector<TField*> fields = GetFieldList(keyFields);
    if (!fHasCurrent)
        return false;
    if (!FindRecord(fields, KeyValueList(keyValues, fields.size()), options)) {
        fOverride = nullptr;
        return false;
    }
    TBookmark target;
    GetBookmarkData(fSlots[fRead].Data, target);
    fOverride = nullptr;
    // Handlers of BeforeScroll still see the row the cursor leaves.
    Notify(BeforeScroll);
    InternalGotoBookmark(target);
    Resync();
    DataEvent(deDataSetChange);
    DoAfterScroll();
    return true;
}

QVariant TDataSet::Lookup(const QString& keyFields, const QVariant& keyValues, const QString& resultFields)
{
    CheckBrowseMode();
    const std::vector<TField*> fields = GetFieldList(keyFields);
    const std::vector<TField*> results = GetFieldList(resultFields);
    if (!fHasCurrent)
        return QVariant();
    TSlot* saved = fOverride;
    if (!FindRecord(fields, KeyValueList(keyValues, fields.size()), {}))
        return QVariant();
    QVariant result;
    if (results.size() == 1) {
        result = results.front()->Value();
    } else {
        QVariantList list;
        for (TField* f : results)
            list.push_back(f->Value());
        result = list;
    }
    fOverride = saved;
    return result;
}

// ---------------------------------------------------------------- notifications

void TDataSet::DisableControls()
{
    if (fDisableCount++ == 0)
        fDisabledActive = fActive;
}

void TDataSet::EnableControls()
{
    if (fDisableCount == 0 || --fDisableCount > 0)
        return;
    if (fDisabledActive != fActive)
        DataEvent(deUpdateState);
    else if (fActive)
        DataEvent(deDataSetChange);
}

void TDataSet::DataEvent(TDataEvent event, std::intptr_t info)
{
    if (event == deFieldChange) {
        auto* field = reinterpret_cast<TField*>(info);
        if (field->fFieldKind == fkData || field->fFieldKind == fkInternalCalc) {
            fModified = true;
            if (fCalcFieldCount > 0 && fState != dsCalcFields)
                CalculateFields(fOverride ? *fOverride : fSlots[fCur]);
        }
        field->Change();
    }
    if (fDisableCount > 0 || fDataSources.empty())
        return;
    const std::vector<TDataSource*> sources = fDataSources;
    for (TDataSource* s : sources)
        s->DataEvent(event, info);
}

// =====================================================================
// TDataSource and TDataLink
// =====================================================================

TDataSource::TDataSource(TComponent* owner) : TComponent(owner) {}

TDataSource::~TDataSource()
{
    MarkDestroying();
    SetDataSet(nullptr);
    for (TDataLink* link : std::vector<TDataLink*>(fLinks))
        link->SetDataSource(nullptr);
}

void TDataSource::SetDataSet(TDataSet* value)
{
    if (fDataSet == value)
        return;
    if (fDataSet)
        fDataSet->RemoveDataSource(this);
    fDataSet = value;
    if (fDataSet)
        fDataSet->AddDataSource(this);
    NotifyActiveChange();
}

void TDataSource::SetEnabled(bool value)
{
    if (fEnabled == value)
        return;
    fEnabled = value;
    NotifyActiveChange();
}

void TDataSource::NotifyActiveChange()
{
    for (TDataLink* link : std::vector<TDataLink*>(fLinks))
        link->UpdateState();
    if (OnStateChange && !IsDestroying())
        OnStateChange(this);
}

void TDataSource::DataEvent(TDataEvent event, std::intptr_t info)
{
    if (!fEnabled)
        return;
    for (TDataLink* link : std::vector<TDataLink*>(fLinks))
        link->DataEvent(event, info);
    switch (event) {
    case deUpdateState:
        if (OnStateChange)
            OnStateChange(this);
        break;
    case deFieldChange:
        if (OnDataChange)
            OnDataChange(this, reinterpret_cast<TField*>(info));
        break;
    case deRecordChange:
    case deDataSetChange:
    case deDataSetScroll:
    case deLayoutChange:
        if (OnDataChange)
            OnDataChange(this, nullptr);
        break;
    case deUpdateRecord:
        if (OnUpdateData)
            OnUpdateData(this);
        break;
    default:
        break;
    }
}

TDataLink::~TDataLink()
{
    if (fDataSource)
        std::erase(fDataSource->fLinks, this);
}

void TDataLink::SetDataSource(TDataSource* value)
{
    if (fDataSource == value)
        return;
    if (fDataSource)
        std::erase(fDataSource->fLinks, this);
    fDataSource = value;
    if (fDataSource)
        fDataSource->fLinks.push_back(this);
    UpdateState();
}

void TDataLink::UpdateState()
{
    TDataSet* ds = DataSet();
    const bool active = ds && fDataSource->Enabled() && ds->Active();
    const bool editing = active && IsEditState(ds->State());
    if (active != fActive) {
        fActive = active;
        ActiveChanged();
    }
    if (editing != fEditing) {
        fEditing = editing;
        EditingChanged();
    }
}

void TDataLink::DataEvent(TDataEvent event, std::intptr_t info)
{
    switch (event) {
    case deUpdateState:
        UpdateState();
        break;
    case deFieldChange:
        if (fActive)
            RecordChanged(reinterpret_cast<TField*>(info));
        break;
    case deRecordChange:
        if (fActive)
            RecordChanged(nullptr);
        break;
    case deDataSetChange:
        if (fActive)
            DataSetChanged();
        break;
    case deDataSetScroll:
        if (fActive)
            DataSetScrolled(static_cast<int>(info));
        break;
    case deLayoutChange:
        if (fActive)
            LayoutChanged();
        break;
    case deUpdateRecord:
        if (fActive)
            UpdateData();
        break;
    case deCheckBrowseMode:
        if (fActive)
            CheckBrowseMode();
        break;
    case deFieldListChange:
        break;
    }
}

void TDataLink::DataSetScrolled(int)
{
    DataSetChanged();
}

void TDataLink::RecordChanged(TField*) {}

int TDataLink::ActiveRecord() const
{
    TDataSet* ds = DataSet();
    return ds ? ds->ActiveRow() : -1;
}

void TDataLink::SetActiveRecord(int row)
{
    if (TDataSet* ds = DataSet(); ds && ds->Active())
        ds->SelectActiveRow(row);
}

int TDataLink::RecordCount() const
{
    TDataSet* ds = DataSet();
    return ds ? ds->RecordCount() : 0;
}

bool TDataLink::Edit()
{
    if (!fReadOnly && fDataSource && fDataSource->AutoEdit() && fActive && !fEditing)
        DataSet()->Edit();
    return fEditing;
}

void TDataLink::UpdateRecord()
{
    UpdateData();
}
