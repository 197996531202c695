#include "dbcontrols/TdxDBGrid.h"

#include "dbaccess/FIBDataSet.h"
#include "frame/ZELFormat.h"

#include <QPainter>
#include <QScrollBar>
#include <QStyleOptionHeader>
#include <QTimer>
#include <algorithm>

// ---------------------------------------------------------------- columns

int TdxDBGridColumn::Index() const
{
    if (!fGrid)
        return -1;
    for (int i = 0; i < fGrid->ColumnCount(); ++i)
        if (fGrid->Columns(i) == this)
            return i;
    return -1;
}

void TdxDBGridColumn::SetFieldName(const QString& value)
{
    fFieldName = value;
    if (fGrid)
        fGrid->BindColumns();
    Changed();
}

void TdxDBGridColumn::SetCaption(const QString& value)
{
    fCaption = value;
    Changed();
}

void TdxDBGridColumn::SetWidth(int value)
{
    fWidth = value;
    Changed();
}

void TdxDBGridColumn::SetMinWidth(int value)
{
    fMinWidth = value;
    Changed();
}

void TdxDBGridColumn::SetVisible(bool value)
{
    fVisible = value;
    Changed();
}

void TdxDBGridColumn::SetAlignment(Qt::Alignment value)
{
    fAlignment = value;
    Changed();
}

void TdxDBGridColumn::Changed()
{
    if (fGrid)
        fGrid->ColumnChanged(this);
}

QString TdxDBGridColumn::CellText() const
{
    return fField ? fField->DisplayText() : QString();
}

Qt::Alignment TdxDBGridColumn::CellAlignment() const
{
    if (fAlignment & Qt::AlignHorizontal_Mask)
        return fAlignment | Qt::AlignVCenter;
    if (fField) {
        const TFieldStorage s = FieldStorage(fField->DataType());
        const bool date = fField->DataType() == ftDate || fField->DataType() == ftTime ||
                          fField->DataType() == ftDateTime;
        if ((s == TFieldStorage::Float || s == TFieldStorage::Integer) && !date &&
            fField->DataType() != ftBoolean)
            return Qt::AlignRight | Qt::AlignVCenter;
    }
    return Qt::AlignLeft | Qt::AlignVCenter;
}

void TdxDBGridCurrencyColumn::SetDisplayFormat(const QString& value)
{
    fDisplayFormat = value;
    Changed();
}

QString TdxDBGridCurrencyColumn::CellText() const
{
    TField* f = Field();
    if (!f || fDisplayFormat.isEmpty())
        return TdxDBGridColumn::CellText();
    if (f->IsNull())
        return QString();
    return FormatFloat(fDisplayFormat, f->AsFloat());
}

// ---------------------------------------------------------------- model

TdxDBGridModel::TdxDBGridModel(TdxDBGrid* grid) : QAbstractTableModel(grid), fGrid(grid) {}

int TdxDBGridModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : fRows;
}

int TdxDBGridModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : fColumns;
}

QVariant TdxDBGridModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= fRows || index.column() >= fColumns)
        return {};
    const TdxDBGridColumn* column = fGrid->Columns(index.column());
    if (role == Qt::TextAlignmentRole)
        return QVariant::fromValue(column->CellAlignment());
    if (role != Qt::DisplayRole)
        return {};
    TDataSet* ds = fGrid->DataSet();
    if (!ds || !ds->Active())
        return {};
    // The row is read into the dataset's read buffer; the cursor stays where it is.
    fGrid->fLink.SetActiveRecord(index.row());
    QString text;
    if (ds->ActiveRow() == index.row())
        text = column->CellText();
    ds->SelectCursorRow();
    return text;
}

QVariant TdxDBGridModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return {};
    if (orientation == Qt::Horizontal)
        return section >= 0 && section < fColumns ? fGrid->Columns(section)->DisplayCaption() : QVariant();
    // The row indicator: a marker on the dataset's current row.
    const TDataSet* ds = fGrid->DataSet();
    return ds && ds->Active() && ds->CursorRow() == section ? QStringLiteral("\u25B6") : QString();
}

bool TdxDBGridModel::canFetchMore(const QModelIndex& parent) const
{
    if (parent.isValid())
        return false;
    TDataSet* ds = fGrid->DataSet();
    if (!ds || !ds->Active() || ds->ControlsDisabled())
        return false;
    if (const auto* fib = dynamic_cast<const TFIBCustomDataSet*>(ds))
        return !fib->AllFetched() || fib->RecordCount() > fRows;
    return ds->RecordCount() > fRows;
}

void TdxDBGridModel::fetchMore(const QModelIndex& parent)
{
    if (parent.isValid())
        return;
    if (auto* fib = dynamic_cast<TFIBCustomDataSet*>(fGrid->DataSet());
        fib && fib->Active() && !fib->AllFetched() && fib->RecordCount() <= fRows)
        fib->FetchNext(FetchChunk);
    Grow();
}

void TdxDBGridModel::Reset()
{
    beginResetModel();
    const TDataSet* ds = fGrid->DataSet();
    fRows = ds && ds->Active() ? ds->RecordCount() : 0;
    fColumns = fGrid->ColumnCount();
    endResetModel();
}

void TdxDBGridModel::Grow()
{
    const TDataSet* ds = fGrid->DataSet();
    const int n = ds && ds->Active() ? ds->RecordCount() : 0;
    if (n < fRows) {
        Reset();
    } else if (n > fRows) {
        beginInsertRows({}, fRows, n - 1);
        fRows = n;
        endInsertRows();
    }
}

// ---------------------------------------------------------------- header

TdxDBGridHeader::TdxDBGridHeader(TdxDBGrid* grid) : QHeaderView(Qt::Horizontal, grid), fGrid(grid)
{
    setSectionsClickable(false);
    setHighlightSections(false);
}

int TdxDBGridHeader::BandHeight() const
{
    return fGrid->ShowBands() ? fontMetrics().height() + 8 : 0;
}

QSize TdxDBGridHeader::sizeHint() const
{
    QSize s = QHeaderView::sizeHint();
    s.setHeight(std::max(s.height(), fontMetrics().height() + 8) + BandHeight());
    return s;
}

void TdxDBGridHeader::paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const
{
    QHeaderView::paintSection(painter, rect.adjusted(0, BandHeight(), 0, 0), logicalIndex);
}

void TdxDBGridHeader::paintEvent(QPaintEvent* event)
{
    QHeaderView::paintEvent(event);
    const int h = BandHeight();
    if (h == 0)
        return;
    QPainter p(viewport());
    QStyleOptionHeader opt;
    initStyleOption(&opt);
    // The one band spans every column, scrolled with them.
    opt.rect = QRect(-offset(), 0, std::max(length(), viewport()->width() + offset()), h);
    opt.section = 0;
    opt.position = QStyleOptionHeader::OnlyOneSection;
    opt.textAlignment = Qt::AlignCenter;
    style()->drawControl(QStyle::CE_HeaderSection, &opt, &p, this);
    QRect textRect = opt.rect.intersected(viewport()->rect()).adjusted(4, 0, -4, 0);
    p.setPen(palette().color(QPalette::ButtonText));
    p.drawText(textRect, Qt::AlignCenter, fGrid->BandCaption());
}

// ---------------------------------------------------------------- grid

TdxDBGrid::TdxDBGrid(QWidget* parent) : QTableView(parent)
{
    fModel = new TdxDBGridModel(this);
    fHeader = new TdxDBGridHeader(this);
    setHorizontalHeader(fHeader);
    setModel(fModel);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setWordWrap(false);
    setCornerButtonEnabled(false);
    // Every row the same height: a million rows cost nothing to lay out.
    QHeaderView* rows = verticalHeader();
    rows->setSectionResizeMode(QHeaderView::Fixed);
    rows->setDefaultSectionSize(fontMetrics().height() + 4);
    rows->setMinimumSectionSize(fontMetrics().height() + 4);
    rows->setFixedWidth(16);
    rows->setDefaultAlignment(Qt::AlignCenter);
    horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    horizontalHeader()->setMinimumSectionSize(4);
}

TdxDBGrid::~TdxDBGrid()
{
    fLink.SetDataSource(nullptr);
}

TdxDBGridColumn* TdxDBGrid::ColumnByFieldName(const QString& fieldName) const
{
    for (const auto& c : fColumns)
        if (c->FieldName().compare(fieldName, Qt::CaseInsensitive) == 0)
            return c.get();
    return nullptr;
}

std::vector<TdxDBGridColumn*> TdxDBGrid::VisibleColumns() const
{
    std::vector<TdxDBGridColumn*> list;
    for (const auto& c : fColumns)
        if (c->Visible())
            list.push_back(c.get());
    return list;
}

void TdxDBGrid::SetBandCaption(const QString& value)
{
    fBandCaption = value;
    fHeader->viewport()->update();
}

void TdxDBGrid::SetShowBands(bool value)
{
    fShowBands = value;
    fHeader->updateGeometry();
    updateGeometries();
    fHeader->viewport()->update();
}

std::vector<int> TdxDBGrid::SelectedRows() const
{
    std::vector<int> rows;
    if (!selectionModel())
        return rows;
    for (const QModelIndex& i : selectionModel()->selectedRows())
        rows.push_back(i.row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

void TdxDBGrid::AddColumn(std::unique_ptr<TdxDBGridColumn> column, const QString& fieldName)
{
    column->fGrid = this;
    column->fFieldName = fieldName;
    fColumns.push_back(std::move(column));
    BindColumns();
    fModel->Reset();
    ApplyColumnLayout();
    FollowCursor();
}

void TdxDBGrid::ColumnChanged(TdxDBGridColumn* column)
{
    const int i = column->Index();
    if (i < 0)
        return;
    setColumnHidden(i, !column->Visible());
    setColumnWidth(i, std::max(column->Width(), column->MinWidth()));
    emit fModel->headerDataChanged(Qt::Horizontal, i, i);
    if (fModel->rowCount() > 0)
        emit fModel->dataChanged(fModel->index(0, i), fModel->index(fModel->rowCount() - 1, i));
}

void TdxDBGrid::BindColumns()
{
    TDataSet* ds = fLink.Active() ? DataSet() : nullptr;
    for (auto& c : fColumns)
        c->fField = ds ? ds->FindField(c->fFieldName) : nullptr;
}

void TdxDBGrid::ApplyColumnLayout()
{
    for (int i = 0; i < ColumnCount(); ++i) {
        const TdxDBGridColumn* c = Columns(i);
        setColumnHidden(i, !c->Visible());
        setColumnWidth(i, std::max(c->Width(), c->MinWidth()));
    }
}

void TdxDBGrid::LinkActiveChanged()
{
    BindColumns();
    fModel->Reset();
    ApplyColumnLayout();
    FollowCursor();
}

void TdxDBGrid::LinkDataSetChanged()
{
    const int before = fModel->fRows;
    fModel->Grow();
    if (fModel->fRows > 0 && fModel->fRows >= before)
        emit fModel->dataChanged(fModel->index(0, 0), fModel->index(fModel->fRows - 1, fModel->fColumns - 1));
    FollowCursor();
}

void TdxDBGrid::LinkScrolled()
{
    fModel->Grow();
    FollowCursor();
}

void TdxDBGrid::LinkRecordChanged()
{
    const TDataSet* ds = DataSet();
    const int row = ds ? ds->CursorRow() : -1;
    if (row >= 0 && row < fModel->fRows && fModel->fColumns > 0)
        emit fModel->dataChanged(fModel->index(row, 0), fModel->index(row, fModel->fColumns - 1));
}

void TdxDBGrid::FollowCursor()
{
    QItemSelectionModel* sel = selectionModel();
    if (!sel)
        return;
    const TDataSet* ds = fLink.Active() ? DataSet() : nullptr;
    const int row = ds && !ds->IsEmpty() ? ds->CursorRow() : -1;
    if (row >= fModel->fRows)
        fModel->Grow();
    fFollowing = true;
    const int previous = currentIndex().row();
    if (row < 0 || row >= fModel->fRows || fModel->fColumns == 0) {
        sel->clear();
    } else {
        int column = std::max(currentIndex().column(), 0);
        while (column < fModel->fColumns - 1 && isColumnHidden(column))
            ++column;
        const QModelIndex index = fModel->index(row, column);
        sel->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        scrollTo(index);
    }
    fFollowing = false;
    if (previous >= 0 && previous < fModel->fRows)
        emit fModel->headerDataChanged(Qt::Vertical, previous, previous);
    if (row >= 0 && row < fModel->fRows)
        emit fModel->headerDataChanged(Qt::Vertical, row, row);
}

void TdxDBGrid::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    QTableView::currentChanged(current, previous);
    if (fFollowing || !current.isValid() || current.row() == previous.row())
        return;
    TDataSet* ds = DataSet();
    if (!fLink.Active() || !ds || ds->ControlsDisabled())
        return;
    const int distance = current.row() - ds->CursorRow();
    if (distance != 0)
        ds->MoveBy(distance);
}

void TdxDBGrid::updateGeometries()
{
    QTableView::updateGeometries();
    // The view's own fill looks at the first column, which may be hidden; fill here.
    if (!fFillPending) {
        fFillPending = true;
        QTimer::singleShot(0, this, [this] {
            fFillPending = false;
            FillViewport();
        });
    }
}

void TdxDBGrid::FillViewport()
{
    while (fModel->canFetchMore({})) {
        const int last = fModel->rowCount() - 1;
        if (last >= 0 && rowViewportPosition(last) > viewport()->height())
            break;
        const int before = fModel->rowCount();
        fModel->fetchMore({});
        if (fModel->rowCount() == before)
            break;
    }
}
