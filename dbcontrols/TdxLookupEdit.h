#pragma once
// Drop-down selector over the rows of a dataset. The list shows ListFieldName of
// every row of ListSource; choosing a row makes it the dataset's current row
// (Locate by KeyFieldName) and fires OnChange, which is where a window loads what
// belongs to the row. Once a row is chosen, the edit shows the current row's text
// as the dataset moves; it shows nothing while the dataset is closed or the source
// disabled, and nothing after the user clears the text.

#include "dbcontrols/TFieldDataLink.h"

#include <QAbstractListModel>
#include <QComboBox>
#include <QVariant>
#include <functional>

class TdxLookupEdit;

// The rows of the list source for the drop-down, read without moving the cursor.
class TLookupListModel : public QAbstractListModel {
    Q_OBJECT
public:
    explicit TLookupListModel(TdxLookupEdit* edit) : fEdit(edit) {}
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    void Reload();

private:
    TdxLookupEdit* fEdit;
    int fRows = 0;
};

class TdxLookupEdit : public QComboBox {
    Q_OBJECT
public:
    explicit TdxLookupEdit(QWidget* parent = nullptr);
    ~TdxLookupEdit() override;

    TDataSource* ListSource() const { return fLink.DataSource(); }
    void SetListSource(TDataSource* value) { fLink.SetDataSource(value); }
    QString KeyFieldName() const { return fKeyFieldName; }
    void SetKeyFieldName(const QString& value);
    QString ListFieldName() const { return fListFieldName; }
    void SetListFieldName(const QString& value);
    int DropDownRows() const { return maxVisibleItems(); }
    void SetDropDownRows(int value) { setMaxVisibleItems(value); }

    QString Text() const { return currentText(); }
    // The key of the chosen row; an invalid QVariant when none is chosen.
    QVariant KeyValue() const;
    // Chooses the row with this key as if the user had; false when there is none.
    // An invalid value clears the choice. OnChange is not called.
    bool SetKeyValue(const QVariant& value);

    // The user chose a row or emptied the text.
    std::function<void(QObject* sender)> OnChange;

    // Text of the list field at a 0-based row of the list source, without moving its cursor.
    QString RowText(int row) const;
    QVariant RowKey(int row) const;

signals:
    void SelectionChange();

private:
    class TListLink : public TDataLink {
    public:
        explicit TListLink(TdxLookupEdit* edit) : fEdit(edit) {}

    protected:
        void ActiveChanged() override { fEdit->ListChanged(); }
        void DataSetChanged() override { fEdit->ListChanged(); }
        void DataSetScrolled(int) override { fEdit->ShowCurrent(); }
        void RecordChanged(TField*) override { fEdit->ListChanged(); }

    private:
        TdxLookupEdit* fEdit;
    };
    friend class TLookupListModel;

    TField* ListField() const;
    TField* KeyField() const;
    void ListChanged();
    void ShowCurrent();
    void RowChosen(int row);
    void FireChange();
    template <class F>
    auto AtRow(int row, F read) const;

    TListLink fLink{this};
    TLookupListModel* fModel;
    QString fKeyFieldName;
    QString fListFieldName;
    bool fChosen = false;
    int fSyncing = 0;
};
