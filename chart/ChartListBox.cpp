#include "chart/ChartListBox.h"

#include "chart/Chart.h"
#include "frame/ZELColor.h"

#include <QPixmap>

TChartListBox::TChartListBox(QWidget* parent) : QListWidget(parent)
{
    setObjectName(QStringLiteral("LBSeries"));
    // Series titles are the user's names and stay as they are.
    setProperty("teeNoTranslate", true);
    connect(this, &QListWidget::itemChanged, this, &TChartListBox::ItemChanged);
}

void TChartListBox::SetChart(TCustomChart* chart)
{
    fChart = chart;
    FillSeries();
}

void TChartListBox::FillSeries()
{
    fFilling = true;
    const int row = currentRow();
    clear();
    if (fChart) {
        for (int i = 0; i < fChart->SeriesCount(); ++i) {
            TChartSeries* s = fChart->Series(i);
            QPixmap swatch(14, 14);
            swatch.fill(ColorToQColor(s->SeriesColor()));
            auto* item = new QListWidgetItem(QIcon(swatch), s->Title().isEmpty() ? s->Name() : s->Title(), this);
            item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
            item->setCheckState(s->Active() ? Qt::Checked : Qt::Unchecked);
        }
    }
    setCurrentRow(std::min(row < 0 ? 0 : row, count() - 1));
    fFilling = false;
}

TChartSeries* TChartListBox::SelectedSeries() const
{
    const int r = currentRow();
    return fChart && r >= 0 && r < fChart->SeriesCount() ? fChart->Series(r) : nullptr;
}

void TChartListBox::MoveCurrent(int delta)
{
    const int r = currentRow();
    if (!fChart || r < 0 || r + delta < 0 || r + delta >= fChart->SeriesCount())
        return;
    fChart->ExchangeSeries(r, r + delta);
    setCurrentRow(r + delta);
    FillSeries();
    setCurrentRow(r + delta);
}

void TChartListBox::ItemChanged(QListWidgetItem* item)
{
    if (fFilling || !fChart)
        return;
    const int r = row(item);
    if (r >= 0 && r < fChart->SeriesCount())
        fChart->Series(r)->SetActive(item->checkState() == Qt::Checked);
}
