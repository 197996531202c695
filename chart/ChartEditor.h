#pragma once
// The tabbed dialog that changes a chart's series, axes, titles and general
// settings while the program runs, with its data, export and print pages. Every
// change reaches the chart at once; nothing is stored.

#include <QDialog>
#include <QPointer>
#include <QString>
#include <functional>
#include <set>

class QTabWidget;
class QWidget;
#include "chart/Chart.h"

class TChartSeries;
class TChartListBox;

enum TChartEditorTab {
    cetMain, cetGeneral, cetAxis, cetTitles, cetLegend, cetPanel, cetPaging, cetWalls, cet3D,
    cetSeriesGeneral, cetSeriesMarks, cetAllSeries, cetSeriesData, cetExport, cetExportNative,
    cetTools, cetAnimations, cetPrintPreview
};
using TChartEditorTabs = std::set<TChartEditorTab>;

enum TChartEditorOption {
    ceAdd, ceDelete, ceChange, ceClone, ceDataSource, ceTitle, ceHelp, ceGroups, ceGroupAll,
    ceOrderSeries, ceAskDelete, ceEditData
};
using TChartEditorOptions = std::set<TChartEditorOption>;

class TChartEditForm : public QDialog {
    Q_OBJECT
public:
    explicit TChartEditForm(QWidget* parent = nullptr);
    ~TChartEditForm() override;

    // Fills the pages from chart; call once before showing.
    void SetChart(TCustomChart* chart);
    TCustomChart* Chart() const { return fChart; }
    void SetEditSeries(TChartSeries* s);
    void SetDefaultTab(TChartEditorTab tab);
    void SetHideTabs(const TChartEditorTabs& tabs);
    // The sheet that shows tab, or none.
    QWidget* TabSheet(TChartEditorTab tab) const;
    // Whether the sheet of tab can be reached by the user.
    bool TabShown(TChartEditorTab tab) const;

    bool TreeView = false;
    bool RememberPosition = false;
    bool HighLightTabs = false;
    TChartEditorOptions Options;
    int GalleryHeight = 0, GalleryWidth = 0;
    // First line of a printed or exported page (e.g. which run it shows).
    QString HeaderText;
    std::function<void()> OnChangeSeriesOrder;

    QTabWidget* MainPage = nullptr;
    QWidget* TabChart = nullptr;
    QTabWidget* SubPage = nullptr;
    QWidget *TabSeriesList = nullptr, *TabGeneral = nullptr, *TabAxis = nullptr, *TabTitle = nullptr,
            *TabLegend = nullptr, *TabPanel = nullptr, *TabPaging = nullptr, *TabWalls = nullptr,
            *Tab3D = nullptr, *TabSeries = nullptr, *TabData = nullptr, *TabExport = nullptr,
            *TabTools = nullptr, *TabAnimations = nullptr, *TabPrint = nullptr;
    TChartListBox* LBSeries = nullptr;

private:
    void BuildPages();
    void BuildSeriesPages();
    void BuildOutputPages();
    void Changed();
    QPointer<TCustomChart> fChart;
    TChartSeries* fSeries = nullptr;
};

// Runs the dialog for Chart; keeps track of the chart and series it points at.
class TCustomChartEditor : public QObject {
    Q_OBJECT
public:
    explicit TCustomChartEditor(QObject* owner = nullptr);
    TCustomChart* Chart() const { return fChart; }
    virtual void SetChart(TCustomChart* chart);
    virtual void Execute() = 0;
    QString Title;
    std::function<void(TChartEditForm* form)> OnShow, OnClose;

protected:
    // Called when the chart or a series of it goes away.
    virtual void ChartDestroyed() {}
    virtual void SeriesRemoved(TChartSeries* s) { (void)s; }
    QPointer<TCustomChart> fChart;
    QMetaObject::Connection fFreeNotification;
};

class TChartEditor : public TCustomChartEditor {
    Q_OBJECT
public:
    explicit TChartEditor(QObject* owner = nullptr);
    void SetChart(TCustomChart* chart) override;
    void Execute() override;

    bool AutoRepaint = true;
    TChartEditorTab DefaultTab = cetMain;
    TChartEditorTabs HideTabs;
    bool HighLightTabs = false;
    TChartEditorOptions Options;
    int PixelsPerInch = 0;
    bool RememberPosition = false;
    bool TreeView = false;
    int GalleryHeight = 0, GalleryWidth = 0, Height = 0, Width = 0;
    std::function<void()> OnChangeSeriesOrder;
    // The first line of printed and exported pages, filled by the window that owns the chart.
    QString HeaderText;
    TChartSeries* Series() const { return fSeries; }
    void SetSeries(TChartSeries* s);
    // Builds the form; the test uses it to look at a form that is not shown.
    virtual TChartEditForm* CreateForm();

protected:
    // Shows the form modally; a test may replace it.
    virtual void ShowModal(TChartEditForm* form);
    void ChartDestroyed() override { fSeries = nullptr; }
    void SeriesRemoved(TChartSeries* s) override { if (s == fSeries) fSeries = nullptr; }

private:
    TChartSeries* fSeries = nullptr;
};
