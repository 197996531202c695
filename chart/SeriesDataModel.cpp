#include "chart/SeriesDataModel.h"

#include "chart/TeEngine.h"

#include <QLocale>

void TSeriesDataModel::SetSeries(TChartSeries* s)
{
    beginResetModel();
    fSeries = s;
    endResetModel();
}

int TSeriesDataModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() || !fSeries ? 0 : fSeries->Count();
}

int TSeriesDataModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 2;
}

QVariant TSeriesDataModel::data(const QModelIndex& index, int role) const
{
    if (!fSeries || !index.isValid() || index.row() >= fSeries->Count())
        return {};
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole)
        return {};
    const double v = index.column() == 0 ? fSeries->XValue(index.row()) : fSeries->YValue(index.row());
    QLocale german(QLocale::German);
    german.setNumberOptions(QLocale::OmitGroupSeparator);
    return german.toString(v, 'g', 12);
}

QVariant TSeriesDataModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return {};
    if (orientation == Qt::Vertical)
        return section;   // the row index, from 0 as in the series
    return section == 0 ? QStringLiteral("X") : QStringLiteral("Y");
}

Qt::ItemFlags TSeriesDataModel::flags(const QModelIndex& index) const
{
    return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemIsSelectable : Qt::NoItemFlags;
}
