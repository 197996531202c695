#include "dbcontrols/TdxLookupEdit.h"

#include "dbaccess/FIBDataSet.h"

#include <QLineEdit>

int TLookupListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : fRows;
}

QVariant TLookupListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::EditRole))
        return {};
    return fEdit->RowText(index.row());
}

void TLookupListModel::Reload()
{
    // The list offers every row, also those a fetching dataset has not read yet.
    if (auto* fib = dynamic_cast<TFIBCustomDataSet*>(fEdit->fLink.DataSet()); fib && fib->Active() && !fib->AllFetched())
        fib->FetchAll();
    beginResetModel();
    fRows = fEdit->fLink.Active() ? fEdit->fLink.RecordCount() : 0;
    endResetModel();
}

TdxLookupEdit::TdxLookupEdit(QWidget* parent) : QComboBox(parent), fModel(new TLookupListModel(this))
{
    setEditable(true);
    setInsertPolicy(QComboBox::NoInsert);
    setMaxVisibleItems(20);
    setModel(fModel);
    // The text is a choice from the list, not a completion the combo box would pick;
    // Enter on a text of the list chooses that row (through activated).
    setCompleter(nullptr);
    connect(this, &QComboBox::activated, this, [this](int row) { RowChosen(row); });
    connect(lineEdit(), &QLineEdit::textEdited, this, [this](const QString& text) {
        if (text.isEmpty() && fChosen) {
            fChosen = false;
            FireChange();
        }
    });
}

TdxLookupEdit::~TdxLookupEdit()
{
    fLink.SetDataSource(nullptr);
}

void TdxLookupEdit::SetKeyFieldName(const QString& value)
{
    fKeyFieldName = value;
    ListChanged();
}

void TdxLookupEdit::SetListFieldName(const QString& value)
{
    fListFieldName = value;
    ListChanged();
}

TField* TdxLookupEdit::ListField() const
{
    TDataSet* ds = fLink.Active() ? fLink.DataSet() : nullptr;
    return ds ? ds->FindField(fListFieldName) : nullptr;
}

TField* TdxLookupEdit::KeyField() const
{
    TDataSet* ds = fLink.Active() ? fLink.DataSet() : nullptr;
    return ds ? ds->FindField(fKeyFieldName.isEmpty() ? fListFieldName : fKeyFieldName) : nullptr;
}

template <class F>
auto TdxLookupEdit::AtRow(int row, F read) const
{
    TDataSet* ds = fLink.DataSet();
    using R = decltype(read());
    if (!fLink.Active() || !ds->SelectActiveRow(row))
        return R();
    R value = read();
    ds->SelectCursorRow();
    return value;
}

QString TdxLookupEdit::RowText(int row) const
{
    TField* field = ListField();
    if (!field)
        return {};
    return AtRow(row, [field] { return field->DisplayText(); });
}

QVariant TdxLookupEdit::RowKey(int row) const
{
    TField* field = KeyField();
    if (!field)
        return {};
    return AtRow(row, [field] { return field->Value(); });
}

QVariant TdxLookupEdit::KeyValue() const
{
    TField* field = KeyField();
    if (!fChosen || !field || fLink.DataSet()->IsEmpty())
        return {};
    return field->Value();
}

bool TdxLookupEdit::SetKeyValue(const QVariant& value)
{
    if (!value.isValid() || value.isNull()) {
        fChosen = false;
        ShowCurrent();
        return true;
    }
    const bool found = fLink.Active() && KeyField() && fLink.DataSet()->Locate(KeyField()->FieldName(), value, {});
    fChosen = found;
    ShowCurrent();
    return found;
}

void TdxLookupEdit::ListChanged()
{
    ++fSyncing;
    fModel->Reload();
    --fSyncing;
    ShowCurrent();
}

void TdxLookupEdit::ShowCurrent()
{
    ++fSyncing;
    TField* field = ListField();
    if (fChosen && field && !fLink.DataSet()->IsEmpty()) {
        setCurrentIndex(fLink.DataSet()->CursorRow());
        setEditText(field->DisplayText());
    } else {
        setCurrentIndex(-1);
        setEditText(QString());
    }
    --fSyncing;
}

void TdxLookupEdit::RowChosen(int row)
{
    if (fSyncing)
        return;
    const QVariant key = RowKey(row);
    if (!key.isValid() || !KeyField())
        return;
    fChosen = fLink.DataSet()->Locate(KeyField()->FieldName(), key, {});
    ShowCurrent();
    FireChange();
}

void TdxLookupEdit::FireChange()
{
    if (OnChange)
        OnChange(this);
    emit SelectionChange();
}
