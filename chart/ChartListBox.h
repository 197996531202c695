#pragma once
// The list of a chart's series: a check box for showing each, its colour and title.

#include <QListWidget>

class TCustomChart;
class TChartSeries;

class TChartListBox : public QListWidget {
public:
    explicit TChartListBox(QWidget* parent = nullptr);
    void SetChart(TCustomChart* chart);
    // Rebuilds the rows from the chart, keeping the current row.
    void FillSeries();
    TChartSeries* SelectedSeries() const;
    // Moves the current series one place up (-1) or down (+1) in the chart.
    void MoveCurrent(int delta);

private:
    void ItemChanged(QListWidgetItem* item);
    TCustomChart* fChart = nullptr;
    bool fFilling = false;
};
