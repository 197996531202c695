// The chart editor: the order of a run, its hold on chart and series, the pages
// writing into the chart at once, and every text of every page in German.

#include "ChartTestSupport.h"
#include "chart/ButtonColor.h"
#include "chart/Chart.h"
#include "chart/ChartEditor.h"
#include "chart/ChartListBox.h"
#include "chart/SeriesDataModel.h"
#include "chart/Series.h"
#include "chart/TeeTranslate.h"
#include "frame/ZELColor.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QPushButton>
#include <QSpinBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTableView>
#include <QTimer>
#include <gtest/gtest.h>
#include <memory>

namespace {

// Records what happens around the modal part instead of waiting for a user.
class RecordingEditor : public TChartEditor {
public:
    using TChartEditor::TChartEditor;
    std::vector<QString> Log;
    std::function<void(TChartEditForm*)> WhileShown;

protected:
    void ShowModal(TChartEditForm* form) override
    {
        Log.push_back(QStringLiteral("modal repaint=%1").arg(Chart()->AutoRepaint()));
        if (WhileShown)
            WhileShown(form);
    }
};

class ChartEditorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        TeeSetGerman();
        chart = std::make_unique<TChart>();
        chart->resize(600, 360);
        for (int k = 0; k < 2; ++k) {
            auto s = std::make_unique<TFastLineSeries>();
            s->SetTitle(k == 0 ? QStringLiteral("Spannung") : QStringLiteral("Strom"));
            for (int i = 0; i < 50; ++i)
                s->AddXY(i, (k + 1) * std::sin(i / 8.0) + 3);
            chart->AddSeries(s.get());
            series.push_back(std::move(s));
        }
        chart->Title().SetCaption(QStringLiteral("Versuch"));
    }
    void TearDown() override
    {
        for (auto& s : series)
            if (chart)
                chart->RemoveSeries(s.get());
    }
    std::unique_ptr<TChart> chart;
    std::vector<std::unique_ptr<TFastLineSeries>> series;
};

template <class W>
W* Child(QWidget* form, const char* name)
{
    W* w = form->findChild<W*>(QLatin1String(name));
    EXPECT_NE(w, nullptr) << name;
    return w;
}

}

TEST_F(ChartEditorTest, ExecuteRunsItsStepsInOrderAndCancelsTheMouseAfterwards)
{
    RecordingEditor ed;
    ed.Execute();   // no chart: nothing at all
    EXPECT_TRUE(ed.Log.empty());

    ed.SetChart(chart.get());
    ed.AutoRepaint = false;
    ed.HideTabs = {cetLegend, cetPanel, cetPaging, cetWalls, cet3D};
    ed.Title = QStringLiteral("Eigener Titel");
    ed.OnShow = [&](TChartEditForm* f) {
        ed.Log.push_back(QStringLiteral("show repaint=%1 title=%2").arg(chart->AutoRepaint()).arg(f->windowTitle()));
    };
    ed.OnClose = [&](TChartEditForm*) { ed.Log.push_back(QStringLiteral("close repaint=%1").arg(chart->AutoRepaint())); };
    ed.WhileShown = [&](TChartEditForm* f) {
        EXPECT_EQ(f->Chart(), chart.get());
        for (TChartEditorTab t : {cetLegend, cetPanel, cetPaging, cetWalls, cet3D})
            EXPECT_FALSE(f->TabShown(t)) << t;
        for (TChartEditorTab t : {cetMain, cetGeneral, cetAxis, cetTitles, cetSeriesGeneral, cetSeriesData, cetExport,
                                  cetTools, cetPrintPreview})
            EXPECT_TRUE(f->TabShown(t)) << t;
    };
    chart->CancelMouse = false;
    ed.Execute();
    const std::vector<QString> expected = {QStringLiteral("show repaint=1 title=Eigener Titel"), QStringLiteral("modal repaint=0"),
                                           QStringLiteral("close repaint=1")};
    EXPECT_EQ(ed.Log, expected);
    EXPECT_TRUE(chart->AutoRepaint());
    EXPECT_TRUE(chart->CancelMouse);

    // With AutoRepaint on, the chart keeps painting while the form is open.
    ed.AutoRepaint = true;
    ed.Log.clear();
    ed.OnShow = nullptr;
    ed.OnClose = nullptr;
    ed.Execute();
    EXPECT_EQ(ed.Log, std::vector<QString>{QStringLiteral("modal repaint=1")});
}

TEST_F(ChartEditorTest, ARealModalRunEndsWhenTheFormCloses)
{
    TChartEditor ed;
    ed.SetChart(chart.get());
    bool shown = false;
    ed.OnShow = [&](TChartEditForm* f) {
        QTimer::singleShot(0, f, [f, &shown] {
            shown = f->isVisible();
            f->reject();
        });
    };
    ed.Execute();
    EXPECT_TRUE(shown);
    EXPECT_TRUE(chart->CancelMouse);
}

TEST_F(ChartEditorTest, TheEditorLetsGoOfAChartOrSeriesThatGoesAway)
{
    TChartEditor ed;
    ed.SetChart(chart.get());
    ed.SetSeries(series[1].get());
    EXPECT_EQ(ed.Series(), series[1].get());
    chart->RemoveSeries(series[1].get());
    EXPECT_EQ(ed.Series(), nullptr);

    // A series of another chart is dropped when the chart changes.
    ed.SetSeries(series[0].get());
    TChart other;
    ed.SetChart(&other);
    EXPECT_EQ(ed.Series(), nullptr);
    ed.SetChart(chart.get());
    ed.SetSeries(series[0].get());
    // Removing from the earlier chart no longer reaches this editor's series.
    auto stray = std::make_unique<TFastLineSeries>();
    other.AddSeries(stray.get());
    other.RemoveSeries(stray.get());
    EXPECT_EQ(ed.Series(), series[0].get());

    chart->RemoveSeries(series[0].get());
    series.clear();
    chart.reset();
    EXPECT_EQ(ed.Chart(), nullptr);
    ed.Execute();   // nothing to edit: returns at once
}

TEST_F(ChartEditorTest, ChangesOnThePagesReachTheChartAtOnce)
{
    TChartEditor ed;
    ed.SetChart(chart.get());
    std::unique_ptr<TChartEditForm> f(ed.CreateForm());

    // Series page: colour, width, stairs of the second series.
    auto* which = Child<QComboBox>(f.get(), "CBSeries");
    which->setCurrentIndex(1);
    Child<TButtonColor>(f.get(), "BSeriesColor")->SetColor(QColor(0, 128, 255), true);
    EXPECT_EQ(series[1]->SeriesColor(), QColorToColor(QColor(0, 128, 255)));
    EXPECT_NE(series[0]->SeriesColor(), series[1]->SeriesColor());
    Child<QSpinBox>(f.get(), "SESeriesWidth")->setValue(3);
    EXPECT_EQ(series[1]->Pen().Width(), 3);
    Child<QCheckBox>(f.get(), "CBSeriesStairs")->setChecked(true);
    EXPECT_TRUE(series[1]->Stairs());

    // Series list: the check box hides a series, the order buttons swap two.
    TChartListBox* list = f->LBSeries;
    list->item(0)->setCheckState(Qt::Unchecked);
    EXPECT_FALSE(series[0]->Active());
    int orderChanges = 0;
    f->OnChangeSeriesOrder = [&] { ++orderChanges; };
    list->setCurrentRow(0);
    Child<QPushButton>(f.get(), "BMoveDown")->click();
    EXPECT_EQ(chart->Series(0), series[1].get());
    EXPECT_EQ(orderChanges, 1);

    // Axis page: a fixed range on the left axis, written in German notation.
    Child<QComboBox>(f.get(), "CBAxis")->setCurrentIndex(0);
    auto* mn = Child<QLineEdit>(f.get(), "EAxisMinimum");
    auto* mx = Child<QLineEdit>(f.get(), "EAxisMaximum");
    mn->setText(QStringLiteral("-2,5"));
    mx->setText(QStringLiteral("7,25"));
    emit mx->editingFinished();
    EXPECT_FALSE(chart->LeftAxis()->Automatic());
    EXPECT_DOUBLE_EQ(chart->LeftAxis()->Minimum(), -2.5);
    EXPECT_DOUBLE_EQ(chart->LeftAxis()->Maximum(), 7.25);
    Child<QCheckBox>(f.get(), "CBAxisInverted")->setChecked(true);
    EXPECT_TRUE(chart->LeftAxis()->Inverted());
    Child<QLineEdit>(f.get(), "EAxisTitle")->setText(QStringLiteral("[V]"));
    EXPECT_EQ(chart->LeftAxis()->Title().Caption(), "[V]");
    Child<QComboBox>(f.get(), "CBAxis")->setCurrentIndex(3);
    EXPECT_DOUBLE_EQ(QLocale(QLocale::German).toDouble(mn->text()), chart->BottomAxis()->Minimum());
    Child<QCheckBox>(f.get(), "CBAxisAutomatic")->setChecked(false);
    Child<QCheckBox>(f.get(), "CBAxisAutomatic")->setChecked(true);
    EXPECT_TRUE(chart->BottomAxis()->Automatic());
    EXPECT_TRUE(chart->LeftAxis()->Inverted());   // the left axis kept its own

    // Titles page: the foot gets two lines.
    Child<QComboBox>(f.get(), "CBTitles")->setCurrentIndex(2);
    Child<QPlainTextEdit>(f.get(), "MTitleText")->setPlainText(QStringLiteral("Zeile 1\nZeile 2"));
    EXPECT_EQ(chart->Foot().Text(), (QStringList{QStringLiteral("Zeile 1"), QStringLiteral("Zeile 2")}));
    EXPECT_EQ(chart->Title().Text(), QStringList{QStringLiteral("Versuch")});

    // General page: margins and zoom.
    Child<QSpinBox>(f.get(), "SEMarginLeft")->setValue(12);
    EXPECT_EQ(chart->MarginLeft(), 12);
    Child<QCheckBox>(f.get(), "CBAllowZoom")->setChecked(false);
    EXPECT_FALSE(chart->Zoom().Allow);
    Child<QComboBox>(f.get(), "CBZoomDirection")->setCurrentIndex(0);
    EXPECT_EQ(chart->Zoom().Direction, tzdHorizontal);

    // The picture shows the change: the new colour is drawn.
    const QImage img = chart->RenderImage();
    bool blue = false;
    for (int y = 0; y < img.height() && !blue; ++y)
        for (int x = 0; x < img.width() && !blue; ++x)
            blue = img.pixelColor(x, y) == QColor(0, 128, 255);
    EXPECT_TRUE(blue);
}

TEST_F(ChartEditorTest, TheDataPageReadsAMillionRowsOnDemand)
{
    auto big = std::make_unique<TFastLineSeries>();
    auto x = std::make_shared<TChartValues>(1'000'000), y = std::make_shared<TChartValues>(1'000'000);
    for (int i = 0; i < 1'000'000; ++i) {
        (*x)[i] = i;
        (*y)[i] = i * 0.5;
    }
    ShareValues(*big, x, y);
    chart->AddSeries(big.get());
    TChartEditor ed;
    ed.SetChart(chart.get());
    ed.SetSeries(big.get());
    {
        std::unique_ptr<TChartEditForm> f(ed.CreateForm());
        auto* view = Child<QTableView>(f.get(), "GridData");
        QAbstractItemModel* m = view->model();
        ASSERT_EQ(m->rowCount(), 1'000'000);
        EXPECT_EQ(m->data(m->index(999'999, 1)).toString(), "499999,5");
        // The model reads the series itself: a change shows without a copy being refreshed.
        (*y)[999'999] = 1.25;
        EXPECT_EQ(m->data(m->index(999'999, 1)).toString(), "1,25");
        EXPECT_FALSE(m->flags(m->index(0, 0)) & Qt::ItemIsEditable);
        EXPECT_EQ(Child<QLabel>(f.get(), "LDataCount")->text(), "Werte: 1.000.000");
    }
    chart->RemoveSeries(big.get());
}

namespace {

// Every text a user can read on the form, in the order of the widgets.
QStringList VisibleTexts(QWidget* form)
{
    QStringList out;
    QList<QWidget*> all = form->findChildren<QWidget*>();
    all.prepend(form);
    for (QWidget* w : all) {
        if (w->isWindow())
            out << w->windowTitle();
        out << w->toolTip();
        if (auto* l = qobject_cast<QLabel*>(w))
            out << l->text();
        else if (auto* b = qobject_cast<QAbstractButton*>(w))
            out << b->text();
        else if (auto* g = qobject_cast<QGroupBox*>(w))
            out << g->title();
        else if (auto* c = qobject_cast<QComboBox*>(w))
            for (int i = 0; i < c->count(); ++i)
                out << c->itemText(i);
        else if (auto* t = qobject_cast<QTabWidget*>(w))
            for (int i = 0; i < t->count(); ++i)
                out << t->tabText(i);
        else if (auto* v = qobject_cast<QTableView*>(w))
            for (int i = 0; i < v->model()->columnCount(); ++i)
                out << v->model()->headerData(i, Qt::Horizontal, Qt::DisplayRole).toString();
    }
    return out;
}

}

TEST_F(ChartEditorTest, NoPageShowsAnEnglishText)
{
    TChartEditor ed;
    ed.SetChart(chart.get());
    // The same form once without and once with the table: every English text must
    // have its German form and must show that form.
    QStringList* german = TeeLanguage;
    TeeLanguage = nullptr;
    std::unique_ptr<TChartEditForm> en(ed.CreateForm());
    TeeLanguage = german;
    std::unique_ptr<TChartEditForm> de(ed.CreateForm());
    const QStringList enTexts = VisibleTexts(en.get()), deTexts = VisibleTexts(de.get());
    ASSERT_EQ(enTexts.size(), deTexts.size());
    const QStringList userData = {QStringLiteral("Spannung"), QStringLiteral("Strom")};
    int checked = 0;
    for (int i = 0; i < enTexts.size(); ++i) {
        QString e = enTexts[i];
        if (!e.contains(QRegularExpression(QStringLiteral("[A-Za-z]"))) || userData.contains(e) || e.startsWith(u"Values:"))
            continue;
        ++checked;
        QString key = e.trimmed().remove(u'&').toUpper();
        if (key.endsWith(u':'))
            key.chop(1);
        else if (key.endsWith(QStringLiteral("...")))
            key.chop(3);
        EXPECT_FALSE(TeeLookup(key).isEmpty()) << "no German for: " << e.toStdString();
        EXPECT_EQ(QString(deTexts[i]).remove(u'&'), TeeMsg(e).remove(u'&')) << e.toStdString();
    }
    EXPECT_GT(checked, 80);
    // Pages seen in German, for a person to look at.
    de->resize(640, 540);
    de->show();
    for (int i = 0; i < de->MainPage->count(); ++i) {
        de->MainPage->setCurrentIndex(i);
        if (de->MainPage->widget(i) == de->TabChart) {
            for (int j = 0; j < de->SubPage->count(); ++j) {
                de->SubPage->setCurrentIndex(j);
                de->grab().save(OutPath(QStringLiteral("editor_%1_%2.png").arg(i).arg(j)));
            }
        } else {
            de->grab().save(OutPath(QStringLiteral("editor_%1.png").arg(i)));
        }
    }
}
