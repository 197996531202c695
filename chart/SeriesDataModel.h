#pragma once
// The values of one series as a read-only table that reads each cell from the
// series when the view asks; nothing is copied, so a million rows cost nothing.

#include <QAbstractTableModel>

class TChartSeries;

class TSeriesDataModel : public QAbstractTableModel {
public:
    explicit TSeriesDataModel(QObject* parent = nullptr) : QAbstractTableModel(parent) {}
    void SetSeries(TChartSeries* s);
    TChartSeries* Series() const { return fSeries; }
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    TChartSeries* fSeries = nullptr;
};
