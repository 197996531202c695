#pragma once
// The link between one field of a data source and a control. The control learns
// through callbacks when to show the field again, when the dataset goes into or out
// of an editing state, and when it must write its pending text into the field.

#include "dbaccess/DB.h"

#include <QString>
#include <functional>

class TFieldDataLink : public TDataLink {
public:
    QString FieldName() const { return fFieldName; }
    void SetFieldName(const QString& value);
    // The bound field; nullptr while the link is inactive or the name is unknown.
    TField* Field() const { return fField; }

    // The control holds text the field does not have yet.
    bool Modified() const { return fModified; }
    void Modified(bool value) { fModified = value; }
    void Reset();
    // The link may put the dataset into edit state for the control.
    bool CanModify() const;

    // Show the field again (scroll, change, open, close, enable, disable).
    std::function<void()> OnDataChange;
    std::function<void()> OnEditingChange;
    // Write the control's text into Field().
    std::function<void()> OnUpdateData;

protected:
    void ActiveChanged() override;
    void LayoutChanged() override;
    void EditingChanged() override;
    void RecordChanged(TField* field) override;
    void UpdateData() override;

private:
    void UpdateField();
    void Notify(const std::function<void()>& event)
    {
        if (event)
            event();
    }
    QString fFieldName;
    TField* fField = nullptr;
    bool fModified = false;
};

// What a control bound to one field offers its users: the source, the field's name
// and the field; the control wires the link's callbacks itself.
class TFieldBound {
public:
    TDataSource* DataSource() const { return fLink.DataSource(); }
    void SetDataSource(TDataSource* value) { fLink.SetDataSource(value); }
    QString DataField() const { return fLink.FieldName(); }
    void SetDataField(const QString& value) { fLink.SetFieldName(value); }
    TField* Field() const { return fLink.Field(); }

protected:
    TFieldDataLink fLink;
};
