#include "dbcontrols/TFieldDataLink.h"

void TFieldDataLink::SetFieldName(const QString& value)
{
    if (fFieldName == value)
        return;
    fFieldName = value;
    UpdateField();
    Notify(OnDataChange);
}

void TFieldDataLink::UpdateField()
{
    fField = Active() && !fFieldName.isEmpty() ? DataSet()->FindField(fFieldName) : nullptr;
}

void TFieldDataLink::Reset()
{
    fModified = false;
    Notify(OnDataChange);
}

bool TFieldDataLink::CanModify() const
{
    return !ReadOnly() && fField && !fField->ReadOnly() && fField->FieldKind() == fkData && DataSet()->CanModify();
}

void TFieldDataLink::ActiveChanged()
{
    // Fields of a closed dataset may be gone; a stale pointer must never be read.
    UpdateField();
    fModified = false;
    Notify(OnDataChange);
}

void TFieldDataLink::LayoutChanged()
{
    UpdateField();
    TDataLink::LayoutChanged();
}

void TFieldDataLink::EditingChanged()
{
    Notify(OnEditingChange);
}

void TFieldDataLink::RecordChanged(TField* field)
{
    if (field && field != fField)
        return;
    // A change of the whole row (scroll, cancel, post) drops what the control held.
    fModified = false;
    Notify(OnDataChange);
}

void TFieldDataLink::UpdateData()
{
    if (fModified && fField) {
        Notify(OnUpdateData);
        fModified = false;
    }
}
