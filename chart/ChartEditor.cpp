#include "chart/ChartEditor.h"

#include "chart/Chart.h"
#include "chart/ChartListBox.h"
#include "chart/TeeTranslate.h"

#include <QTabWidget>
#include <QVBoxLayout>

// ------------------------------------------------------------------ form

TChartEditForm::TChartEditForm(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("ChartEditForm"));
    setWindowTitle(QStringLiteral("Editing Chart"));
    resize(620, 520);
    Options = {ceAdd, ceDelete, ceChange, ceClone, ceDataSource, ceTitle, ceHelp, ceGroupAll,
               ceOrderSeries, ceAskDelete, ceEditData};
}

TChartEditForm::~TChartEditForm() = default;

void TChartEditForm::SetChart(TCustomChart* chart)
{
    fChart = chart;
    BuildPages();
    TeeTranslateControl(this);
}

void TChartEditForm::SetEditSeries(TChartSeries* s)
{
    fSeries = s;
}

QWidget* TChartEditForm::TabSheet(TChartEditorTab tab) const
{
    switch (tab) {
    case cetMain: return TabSeriesList;
    case cetGeneral: return TabGeneral;
    case cetAxis: return TabAxis;
    case cetTitles: return TabTitle;
    case cetLegend: return TabLegend;
    case cetPanel: return TabPanel;
    case cetPaging: return TabPaging;
    case cetWalls: return TabWalls;
    case cet3D: return Tab3D;
    case cetSeriesGeneral: case cetSeriesMarks: case cetAllSeries: return TabSeries;
    case cetSeriesData: return TabData;
    case cetExport: case cetExportNative: return TabExport;
    case cetTools: return TabTools;
    case cetAnimations: return TabAnimations;
    case cetPrintPreview: return TabPrint;
    }
    return nullptr;
}

static QTabWidget* OwnerTabs(QWidget* sheet, QTabWidget* a, QTabWidget* b)
{
    if (a && a->indexOf(sheet) >= 0)
        return a;
    if (b && b->indexOf(sheet) >= 0)
        return b;
    return nullptr;
}

bool TChartEditForm::TabShown(TChartEditorTab tab) const
{
    QWidget* sheet = TabSheet(tab);
    QTabWidget* owner = sheet ? OwnerTabs(sheet, MainPage, SubPage) : nullptr;
    return owner && owner->isTabVisible(owner->indexOf(sheet));
}

void TChartEditForm::SetHideTabs(const TChartEditorTabs& tabs)
{
    for (TChartEditorTab t : tabs) {
        QWidget* sheet = TabSheet(t);
        if (QTabWidget* owner = sheet ? OwnerTabs(sheet, MainPage, SubPage) : nullptr)
            owner->setTabVisible(owner->indexOf(sheet), false);
    }
}

void TChartEditForm::SetDefaultTab(TChartEditorTab tab)
{
    QWidget* sheet = TabSheet(tab);
    if (!sheet)
        return;
    if (SubPage && SubPage->indexOf(sheet) >= 0) {
        MainPage->setCurrentWidget(TabChart);
        SubPage->setCurrentWidget(sheet);
    } else if (MainPage && MainPage->indexOf(sheet) >= 0) {
        MainPage->setCurrentWidget(sheet);
    }
}

void TChartEditForm::Changed()
{
    if (fChart)
        fChart->Invalidate();
}

// ---------------------------------------------------------------- editor

TCustomChartEditor::TCustomChartEditor(QObject* owner) : QObject(owner) {}

void TCustomChartEditor::SetChart(TCustomChart* chart)
{
    if (chart == fChart)
        return;
    if (fFreeNotification)
        disconnect(fFreeNotification);
    fFreeNotification = {};
    fChart = chart;
    if (!chart)
        return;
    fFreeNotification = connect(chart, &QObject::destroyed, this, [this] {
        fChart = nullptr;
        ChartDestroyed();
    });
    // The chart keeps its listeners; one from an earlier chart of this editor goes quiet.
    QPointer<TCustomChartEditor> self(this);
    chart->AddListener([self, chart](TChartSeries* s, TTeeSeriesEvent e) {
        if (self && self->fChart == chart && e == seRemove)
            self->SeriesRemoved(s);
    });
}

TChartEditor::TChartEditor(QObject* owner) : TCustomChartEditor(owner)
{
    Options = {ceAdd, ceDelete, ceChange, ceClone, ceDataSource, ceTitle, ceHelp, ceGroupAll,
               ceOrderSeries, ceAskDelete, ceEditData};
}

void TChartEditor::SetChart(TCustomChart* chart)
{
    TCustomChartEditor::SetChart(chart);
    if (fSeries && (!chart || chart->SeriesList().IndexOf(fSeries) < 0))
        fSeries = nullptr;
}

void TChartEditor::SetSeries(TChartSeries* s)
{
    fSeries = s && fChart && fChart->SeriesList().IndexOf(s) >= 0 ? s : nullptr;
}

TChartEditForm* TChartEditor::CreateForm()
{
    auto* form = new TChartEditForm(fChart ? fChart->window() : nullptr);
    form->TreeView = TreeView;
    form->RememberPosition = RememberPosition;
    if (!Title.isEmpty())
        form->setWindowTitle(Title);
    form->Options = Options;
    form->HeaderText = HeaderText;
    form->HighLightTabs = HighLightTabs;
    form->SetEditSeries(fSeries);
    form->SetChart(fChart);
    form->SetDefaultTab(DefaultTab);
    return form;
}

void TChartEditor::ShowModal(TChartEditForm* form)
{
    form->exec();
}

void TChartEditor::Execute()
{
    if (!fChart)
        return;
    QPointer<TCustomChart> chart = fChart;
    TChartEditForm* form = CreateForm();   // 1
    form->OnChangeSeriesOrder = OnChangeSeriesOrder;   // 2
    if (OnShow)   // 3
        OnShow(form);
    bool oldRepaint = true;
    if (!AutoRepaint) {   // 4
        oldRepaint = chart->AutoRepaint();
        chart->SetAutoRepaint(false);
    }
    form->SetHideTabs(HideTabs);   // 5
    if (PixelsPerInch != 0 && PixelsPerInch != form->logicalDpiY()) {
        const double f = double(PixelsPerInch) / form->logicalDpiY();
        QFont font = form->font();
        font.setPointSizeF(font.pointSizeF() * f);
        form->setFont(font);
        form->resize(form->size() * f);
    }
    if (Height > 0 && Width > 0)   // 6
        form->resize(Width, Height);
    form->GalleryHeight = GalleryHeight;
    form->GalleryWidth = GalleryWidth;
    ShowModal(form);   // 7
    if (!AutoRepaint && chart) {   // 8
        chart->SetAutoRepaint(oldRepaint);
        chart->repaint();
    }
    if (OnClose)   // 9
        OnClose(form);
    delete form;
    if (chart)   // 10: the release of the double click must not start a zoom
        chart->CancelMouse = true;
}
