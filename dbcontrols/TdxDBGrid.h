#pragma once
// A data grid over one data source. The model reads each row straight from the
// dataset through the data link's active record (the cursor does not move and no
// row is copied), and grows as the dataset fetches; the dataset's current row is
// the grid's selected row, both ways. One band spans all columns; its caption is
// drawn above the column headers.

#include "dbaccess/DB.h"

#include <QAbstractTableModel>
#include <QHeaderView>
#include <QString>
#include <QTableView>
#include <memory>
#include <vector>

class TdxDBGrid;

class TdxDBGridColumn {
public:
    virtual ~TdxDBGridColumn() = default;

    TdxDBGrid* Grid() const { return fGrid; }
    // Position among all columns of the grid, hidden ones included.
    int Index() const;

    QString FieldName() const { return fFieldName; }
    void SetFieldName(const QString& value);
    // The header text; the field name when empty.
    QString Caption() const { return fCaption; }
    void SetCaption(const QString& value);
    QString DisplayCaption() const { return fCaption.isEmpty() ? fFieldName : fCaption; }
    int Width() const { return fWidth; }
    void SetWidth(int value);
    int MinWidth() const { return fMinWidth; }
    void SetMinWidth(int value);
    bool Visible() const { return fVisible; }
    void SetVisible(bool value);
    // 0: by the field (numbers right, the rest left).
    Qt::Alignment Alignment() const { return fAlignment; }
    void SetAlignment(Qt::Alignment value);

    // The bound field; nullptr while the dataset is closed or the name is unknown.
    TField* Field() const { return fField; }
    // What a cell of the current active record shows; "" without a field.
    virtual QString CellText() const;
    Qt::Alignment CellAlignment() const;

protected:
    void Changed();

private:
    friend class TdxDBGrid;
    TdxDBGrid* fGrid = nullptr;
    TField* fField = nullptr;
    QString fFieldName;
    QString fCaption;
    int fWidth = 80;
    int fMinWidth = 4;
    bool fVisible = true;
    Qt::Alignment fAlignment = {};
};

// Plain text of the field; the edit mask plays no part in showing.
class TdxDBGridMaskColumn : public TdxDBGridColumn {};

class TdxDBGridDateColumn : public TdxDBGridColumn {};

// A number shown by the column's DisplayFormat (the field's text without one).
class TdxDBGridCurrencyColumn : public TdxDBGridColumn {
public:
    QString DisplayFormat() const { return fDisplayFormat; }
    void SetDisplayFormat(const QString& value);
    // Whether editing may clear the value; a null is shown empty either way.
    bool Nullable() const { return fNullable; }
    void SetNullable(bool value) { fNullable = value; }
    QString CellText() const override;

private:
    QString fDisplayFormat;
    bool fNullable = true;
};

// The rows of the grid's dataset, read on demand.
class TdxDBGridModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit TdxDBGridModel(TdxDBGrid* grid);
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;

    // Rows fetched in one step while the view scrolls down.
    static constexpr int FetchChunk = 256;

private:
    friend class TdxDBGrid;
    // Everything anew: the dataset opened, closed or changed beyond a row.
    void Reset();
    // Rows the dataset fetched meanwhile (a jump to the end) become rows of the model.
    void Grow();
    TdxDBGrid* fGrid;
    int fRows = 0;
    int fColumns = 0;
};

// Column headers under one band that spans them all.
class TdxDBGridHeader : public QHeaderView {
public:
    explicit TdxDBGridHeader(TdxDBGrid* grid);
    QSize sizeHint() const override;
    int BandHeight() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const override;

private:
    TdxDBGrid* fGrid;
};

class TdxDBGrid : public QTableView {
    Q_OBJECT
public:
    explicit TdxDBGrid(QWidget* parent = nullptr);
    ~TdxDBGrid() override;

    TDataSource* DataSource() const { return fLink.DataSource(); }
    void SetDataSource(TDataSource* value) { fLink.SetDataSource(value); }
    TDataSet* DataSet() const { return fLink.DataSet(); }
    TDataLink* DataLink() { return &fLink; }

    // The columns, owned by the grid; T is one of the column classes.
    template <class T = TdxDBGridColumn>
    T* CreateColumn(const QString& fieldName)
    {
        auto column = std::make_unique<T>();
        T* raw = column.get();
        AddColumn(std::move(column), fieldName);
        return raw;
    }
    int ColumnCount() const { return static_cast<int>(fColumns.size()); }
    TdxDBGridColumn* Columns(int index) const { return fColumns.at(static_cast<std::size_t>(index)).get(); }
    TdxDBGridColumn* ColumnByFieldName(const QString& fieldName) const;
    // The shown columns in their order.
    std::vector<TdxDBGridColumn*> VisibleColumns() const;

    // One band over all columns.
    QString BandCaption() const { return fBandCaption; }
    void SetBandCaption(const QString& value);
    bool ShowBands() const { return fShowBands; }
    void SetShowBands(bool value);

    // 0-based rows the user selected, ascending; empty when none.
    std::vector<int> SelectedRows() const;
    TdxDBGridModel* Model() const { return fModel; }

protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void updateGeometries() override;

private:
    friend class TdxDBGridColumn;
    friend class TdxDBGridModel;

    class TGridDataLink : public TDataLink {
    public:
        explicit TGridDataLink(TdxDBGrid* grid) : fGrid(grid) {}

    protected:
        void ActiveChanged() override { fGrid->LinkActiveChanged(); }
        void LayoutChanged() override { fGrid->LinkActiveChanged(); }
        void DataSetChanged() override { fGrid->LinkDataSetChanged(); }
        void DataSetScrolled(int) override { fGrid->LinkScrolled(); }
        void RecordChanged(TField*) override { fGrid->LinkRecordChanged(); }

    private:
        TdxDBGrid* fGrid;
    };

    void AddColumn(std::unique_ptr<TdxDBGridColumn> column, const QString& fieldName);
    void ColumnChanged(TdxDBGridColumn* column);
    void BindColumns();
    void ApplyColumnLayout();
    void LinkActiveChanged();
    void LinkDataSetChanged();
    void LinkScrolled();
    void LinkRecordChanged();
    // Puts the grid's current row on the dataset's cursor row.
    void FollowCursor();
    // Fetches until the rows fill the view or the dataset has no more.
    void FillViewport();

    TGridDataLink fLink{this};
    std::vector<std::unique_ptr<TdxDBGridColumn>> fColumns;
    TdxDBGridModel* fModel;
    TdxDBGridHeader* fHeader;
    QString fBandCaption;
    bool fShowBands = true;
    // Set while the grid moves the selection itself, so that it does not move the dataset back.
    bool fFollowing = false;
    bool fFillPending = false;
};
