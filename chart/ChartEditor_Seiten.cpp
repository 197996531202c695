// The pages of the chart editor. Each control writes its property into the chart
// the moment it changes; the chart then repaints.

#include "chart/ButtonColor.h"
#include "chart/Chart.h"
#include "chart/ChartEditor.h"
#include "chart/ChartExport.h"
#include "chart/ChartListBox.h"
#include "chart/Series.h"
#include "chart/SeriesDataModel.h"
#include "chart/TeeTranslate.h"
#include "frame/ZELColor.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableView>
#include <QVBoxLayout>

namespace {

template <class W>
W* Named(W* w, const char* name)
{
    w->setObjectName(QLatin1String(name));
    return w;
}

QString Number(double v)
{
    QLocale german(QLocale::German);
    german.setNumberOptions(QLocale::OmitGroupSeparator);
    return german.toString(v, 'g', 12);
}

bool ParseNumber(const QString& text, double& v)
{
    bool ok = false;
    v = QLocale(QLocale::German).toDouble(text.trimmed(), &ok);
    if (!ok)
        v = text.trimmed().toDouble(&ok);
    return ok;
}

// Runs a change; a refusal of the engine shows as a message and leaves the chart as it was.
bool Apply(QWidget* parent, const std::function<void()>& change)
{
    try {
        change();
        return true;
    } catch (const std::exception& e) {
        QMessageBox::warning(parent, TeeMsg(QStringLiteral("Error")), QString::fromUtf8(e.what()));
        return false;
    }
}

QWidget* Sheet(QTabWidget* tabs, const char* name, const QString& caption)
{
    auto* w = Named(new QWidget, name);
    tabs->addTab(w, caption);
    return w;
}

QString SeriesName(TChartSeries* s)
{
    return s->Title().isEmpty() ? s->Name() : s->Title();
}

void FillSeriesCombo(QComboBox* combo, TCustomChart* chart)
{
    combo->clear();
    for (int i = 0; chart && i < chart->SeriesCount(); ++i)
        combo->addItem(SeriesName(chart->Series(i)));
}

}

void TChartEditForm::BuildPages()
{
    TCustomChart* chart = fChart;
    auto repaint = [this] { Changed(); };
    auto* outer = new QVBoxLayout(this);
    MainPage = Named(new QTabWidget, "MainPage");
    outer->addWidget(MainPage);
    auto* close = Named(new QPushButton(QStringLiteral("&Close")), "BClose");
    auto* bottom = new QHBoxLayout;
    bottom->addStretch();
    bottom->addWidget(close);
    outer->addLayout(bottom);
    connect(close, &QPushButton::clicked, this, &QDialog::accept);

    TabChart = Sheet(MainPage, "TabChart", QStringLiteral("Chart"));
    SubPage = Named(new QTabWidget, "SubPage");
    (new QVBoxLayout(TabChart))->addWidget(SubPage);

    // ---- series list
    TabSeriesList = Sheet(SubPage, "TabSeriesList", QStringLiteral("Series"));
    {
        auto* lay = new QHBoxLayout(TabSeriesList);
        LBSeries = new TChartListBox;
        lay->addWidget(LBSeries, 1);
        auto* buttons = new QVBoxLayout;
        lay->addLayout(buttons);
        const std::pair<const char*, const char*> names[] = {
            {"BAddSeries", "&Add..."}, {"BDeleteSeries", "&Delete"}, {"BRenameSeries", "&Title..."},
            {"BCloneSeries", "C&lone"}, {"BChangeTypeSeries", "&Change..."}, {"BMoveUp", "Move &Up"},
            {"BMoveDown", "Move Do&wn"}};
        QPushButton* b[7];
        for (int i = 0; i < 7; ++i) {
            b[i] = Named(new QPushButton(QString::fromLatin1(names[i].second)), names[i].first);
            buttons->addWidget(b[i]);
        }
        buttons->addStretch();
        // The series belong to the window that shows them: none is added, cloned or deleted here.
        for (int i : {0, 1, 3}) {
            b[i]->setEnabled(false);
            b[i]->setToolTip(QStringLiteral("The series of this chart are fixed"));
        }
        b[2]->setEnabled(Options.count(ceTitle) > 0);
        b[5]->setEnabled(Options.count(ceOrderSeries) > 0);
        b[6]->setEnabled(Options.count(ceOrderSeries) > 0);
        LBSeries->SetChart(chart);
        if (fSeries && chart)
            LBSeries->setCurrentRow(chart->SeriesList().IndexOf(fSeries));
        connect(b[2], &QPushButton::clicked, this, [this] {
            TChartSeries* s = LBSeries->SelectedSeries();
            if (!s)
                return;
            bool ok = false;
            const QString t = QInputDialog::getText(this, TeeMsg(QStringLiteral("Series Title")),
                                                    TeeMsg(QStringLiteral("Title:")), QLineEdit::Normal, s->Title(), &ok);
            if (ok) {
                s->SetTitle(t);
                LBSeries->FillSeries();
                Changed();
            }
        });
        connect(b[4], &QPushButton::clicked, this, [this] {
            if (auto* combo = TabSeries->findChild<QComboBox*>(QStringLiteral("CBSeries")))
                combo->setCurrentIndex(LBSeries->currentRow());
            MainPage->setCurrentWidget(TabSeries);
        });
        auto move = [this](int d) {
            LBSeries->MoveCurrent(d);
            if (OnChangeSeriesOrder)
                OnChangeSeriesOrder();
        };
        connect(b[5], &QPushButton::clicked, this, [move] { move(-1); });
        connect(b[6], &QPushButton::clicked, this, [move] { move(+1); });
    }

    // ---- general
    TabGeneral = Sheet(SubPage, "TabGeneral", QStringLiteral("General"));
    {
        auto* lay = new QVBoxLayout(TabGeneral);
        auto* margins = new QGroupBox(QStringLiteral("Margins"));
        auto* mf = new QFormLayout(margins);
        const std::pair<const char*, const char*> names[] = {
            {"SEMarginLeft", "Left:"}, {"SEMarginTop", "Top:"}, {"SEMarginRight", "Right:"}, {"SEMarginBottom", "Bottom:"}};
        const int values[] = {chart->MarginLeft(), chart->MarginTop(), chart->MarginRight(), chart->MarginBottom()};
        for (int i = 0; i < 4; ++i) {
            auto* sp = Named(new QSpinBox, names[i].first);
            sp->setRange(0, 100);
            sp->setValue(values[i]);
            mf->addRow(QString::fromLatin1(names[i].second), sp);
            connect(sp, &QSpinBox::valueChanged, this, [chart, i, repaint](int v) {
                switch (i) {
                case 0: chart->SetMarginLeft(v); break;
                case 1: chart->SetMarginTop(v); break;
                case 2: chart->SetMarginRight(v); break;
                default: chart->SetMarginBottom(v); break;
                }
                repaint();
            });
        }
        lay->addWidget(margins);

        auto* zoom = new QGroupBox(QStringLiteral("Zoom"));
        auto* zf = new QFormLayout(zoom);
        auto* allow = Named(new QCheckBox(QStringLiteral("Allow")), "CBAllowZoom");
        allow->setChecked(chart->Zoom().Allow);
        connect(allow, &QCheckBox::toggled, this, [chart](bool v) { chart->Zoom().Allow = v; });
        auto* animated = Named(new QCheckBox(QStringLiteral("Animated")), "CBAnimatedZoom");
        animated->setChecked(chart->Zoom().Animated);
        connect(animated, &QCheckBox::toggled, this, [chart](bool v) { chart->Zoom().Animated = v; });
        auto* dir = Named(new QComboBox, "CBZoomDirection");
        dir->addItems({QStringLiteral("Horizontal"), QStringLiteral("Vertical"), QStringLiteral("Both")});
        dir->setCurrentIndex(int(chart->Zoom().Direction));
        connect(dir, &QComboBox::currentIndexChanged, this,
                [chart](int i) { chart->Zoom().Direction = TTeeZoomDirection(i); });
        auto* minPixels = Named(new QSpinBox, "SEZoomMinPixels");
        minPixels->setRange(1, 1000);
        minPixels->setValue(chart->Zoom().MinimumPixels);
        connect(minPixels, &QSpinBox::valueChanged, this, [chart](int v) { chart->Zoom().MinimumPixels = v; });
        zf->addRow(allow);
        zf->addRow(animated);
        zf->addRow(QStringLiteral("Direction:"), dir);
        zf->addRow(QStringLiteral("Minimum pixels:"), minPixels);
        lay->addWidget(zoom);

        auto* scroll = new QGroupBox(QStringLiteral("Scroll"));
        auto* sf = new QFormLayout(scroll);
        auto* pan = Named(new QComboBox, "CBAllowScroll");
        pan->addItems({QStringLiteral("None"), QStringLiteral("Horizontal"), QStringLiteral("Vertical"), QStringLiteral("Both")});
        pan->setCurrentIndex(int(chart->AllowPanning()));
        connect(pan, &QComboBox::currentIndexChanged, this, [chart](int i) { chart->SetAllowPanning(TPanningMode(i)); });
        sf->addRow(QStringLiteral("Allow scroll:"), pan);
        lay->addWidget(scroll);
        lay->addStretch();
    }

    // ---- axes
    TabAxis = Sheet(SubPage, "TabAxis", QStringLiteral("Axis"));
    {
        auto* lay = new QHBoxLayout(TabAxis);
        auto* which = Named(new QComboBox, "CBAxis");
        std::vector<TChartAxis*> axes = {chart->LeftAxis(), chart->RightAxis(), chart->TopAxis(), chart->BottomAxis()};
        which->addItems({QStringLiteral("Left"), QStringLiteral("Right"), QStringLiteral("Top"), QStringLiteral("Bottom")});
        for (int i = 0; i < chart->CustomAxes().Count(); ++i) {
            axes.push_back(chart->CustomAxes()[i]);
            which->addItem(QStringLiteral("Custom %1").arg(i + 1));
        }
        auto* left = new QVBoxLayout;
        left->addWidget(new QLabel(QStringLiteral("Axis:")));
        left->addWidget(which);
        left->addStretch();
        lay->addLayout(left);
        auto* form = new QFormLayout;
        lay->addLayout(form, 1);
        auto* visible = Named(new QCheckBox(QStringLiteral("Visible")), "CBAxisVisible");
        auto* automatic = Named(new QCheckBox(QStringLiteral("Automatic")), "CBAxisAutomatic");
        auto* minimum = Named(new QLineEdit, "EAxisMinimum");
        auto* maximum = Named(new QLineEdit, "EAxisMaximum");
        auto* increment = Named(new QLineEdit, "EAxisIncrement");
        auto* logarithmic = Named(new QCheckBox(QStringLiteral("Logarithmic")), "CBAxisLogarithmic");
        auto* inverted = Named(new QCheckBox(QStringLiteral("Inverted")), "CBAxisInverted");
        auto* title = Named(new QLineEdit, "EAxisTitle");
        auto* format = Named(new QLineEdit, "EAxisFormat");
        auto* axisColor = Named(new TButtonColor(QStringLiteral("Axis...")), "BAxisColor");
        auto* gridColor = Named(new TButtonColor(QStringLiteral("Grid...")), "BGridColor");
        auto* grid = Named(new QCheckBox(QStringLiteral("Grid")), "CBAxisGrid");
        auto* start = Named(new QSpinBox, "SEAxisStart");
        auto* end = Named(new QSpinBox, "SEAxisEnd");
        auto* position = Named(new QSpinBox, "SEAxisPosition");
        start->setRange(0, 100);
        end->setRange(0, 100);
        position->setRange(-100, 200);
        form->addRow(visible);
        form->addRow(automatic);
        form->addRow(QStringLiteral("Minimum:"), minimum);
        form->addRow(QStringLiteral("Maximum:"), maximum);
        form->addRow(QStringLiteral("Increment:"), increment);
        form->addRow(logarithmic);
        form->addRow(inverted);
        form->addRow(QStringLiteral("Title:"), title);
        form->addRow(QStringLiteral("Values format:"), format);
        auto* colours = new QHBoxLayout;
        colours->addWidget(axisColor);
        colours->addWidget(gridColor);
        colours->addWidget(grid);
        form->addRow(QStringLiteral("Colors:"), colours);
        form->addRow(QStringLiteral("Start position %:"), start);
        form->addRow(QStringLiteral("End position %:"), end);
        form->addRow(QStringLiteral("Position %:"), position);

        auto loading = std::make_shared<bool>(false);
        auto current = [which, axes] { return axes[std::max(0, which->currentIndex())]; };
        auto load = [=] {
            *loading = true;
            TChartAxis* a = current();
            visible->setChecked(a->Visible());
            automatic->setChecked(a->Automatic());
            minimum->setText(Number(a->Minimum()));
            maximum->setText(Number(a->Maximum()));
            increment->setText(Number(a->Increment()));
            minimum->setEnabled(!a->Automatic());
            maximum->setEnabled(!a->Automatic());
            logarithmic->setChecked(a->Logarithmic());
            inverted->setChecked(a->Inverted());
            title->setText(a->Title().Caption());
            format->setText(a->AxisValuesFormat());
            axisColor->SetColor(ColorToQColor(a->Axis().Color()));
            gridColor->SetColor(ColorToQColor(a->Grid().Color()));
            grid->setChecked(a->Grid().Visible());
            start->setValue(int(a->StartPosition()));
            end->setValue(int(a->EndPosition()));
            position->setValue(int(a->PositionPercent()));
            // Only an axis of its own has a place of its own beside the plot.
            position->setEnabled(which->currentIndex() >= 4);
            *loading = false;
        };
        load();
        connect(which, &QComboBox::currentIndexChanged, this, load);
        auto change = [=, this](const std::function<void(TChartAxis*)>& f) {
            if (*loading)
                return;
            if (!Apply(this, [&] { f(current()); }))
                load();
            Changed();
        };
        connect(visible, &QCheckBox::toggled, this, [change](bool v) { change([v](TChartAxis* a) { a->SetVisible(v); }); });
        connect(automatic, &QCheckBox::toggled, this, [change, load](bool v) {
            change([v](TChartAxis* a) {
                a->SetAutomatic(v);
                if (v)
                    a->AdjustMaxMin();
            });
            load();
        });
        auto range = [=, this] {
            double lo = 0, hi = 0;
            if (*loading)
                return;
            if (!ParseNumber(minimum->text(), lo) || !ParseNumber(maximum->text(), hi)) {
                QMessageBox::warning(this, TeeMsg(QStringLiteral("Error")), TeeMsg(QStringLiteral("Please enter a number")));
                load();
                return;
            }
            change([lo, hi](TChartAxis* a) {
                a->SetAutomatic(false);
                a->SetMinMax(lo, hi);
            });
        };
        connect(minimum, &QLineEdit::editingFinished, this, range);
        connect(maximum, &QLineEdit::editingFinished, this, range);
        connect(increment, &QLineEdit::editingFinished, this, [=, this] {
            double v = 0;
            if (*loading)
                return;
            if (!ParseNumber(increment->text(), v)) {
                QMessageBox::warning(this, TeeMsg(QStringLiteral("Error")), TeeMsg(QStringLiteral("Please enter a number")));
                load();
                return;
            }
            change([v](TChartAxis* a) { a->SetIncrement(v); });
        });
        connect(logarithmic, &QCheckBox::toggled, this, [change](bool v) { change([v](TChartAxis* a) { a->SetLogarithmic(v); }); });
        connect(inverted, &QCheckBox::toggled, this, [change](bool v) { change([v](TChartAxis* a) { a->SetInverted(v); }); });
        connect(title, &QLineEdit::textChanged, this, [change](const QString& t) { change([t](TChartAxis* a) { a->Title().SetCaption(t); }); });
        connect(format, &QLineEdit::textChanged, this, [change](const QString& t) { change([t](TChartAxis* a) { a->SetAxisValuesFormat(t); }); });
        axisColor->OnChange = [change](const QColor& c) { change([c](TChartAxis* a) { a->Axis().SetColor(QColorToColor(c)); }); };
        gridColor->OnChange = [change](const QColor& c) { change([c](TChartAxis* a) { a->Grid().SetColor(QColorToColor(c)); }); };
        connect(grid, &QCheckBox::toggled, this, [change](bool v) { change([v](TChartAxis* a) { a->Grid().SetVisible(v); }); });
        connect(start, &QSpinBox::valueChanged, this, [change](int v) { change([v](TChartAxis* a) { a->SetStartPosition(v); }); });
        connect(end, &QSpinBox::valueChanged, this, [change](int v) { change([v](TChartAxis* a) { a->SetEndPosition(v); }); });
        connect(position, &QSpinBox::valueChanged, this, [change](int v) { change([v](TChartAxis* a) { a->SetPositionPercent(v); }); });
    }

    // ---- titles
    TabTitle = Sheet(SubPage, "TabTitle", QStringLiteral("Titles"));
    {
        auto* form = new QFormLayout(TabTitle);
        auto* which = Named(new QComboBox, "CBTitles");
        which->addItems({QStringLiteral("Title"), QStringLiteral("SubTitle"), QStringLiteral("Foot"), QStringLiteral("SubFoot")});
        auto* visible = Named(new QCheckBox(QStringLiteral("Visible")), "CBTitleVisible");
        auto* text = Named(new QPlainTextEdit, "MTitleText");
        auto* align = Named(new QComboBox, "CBTitleAlignment");
        align->addItems({QStringLiteral("Left"), QStringLiteral("Right"), QStringLiteral("Center")});
        auto* colour = Named(new TButtonColor(QStringLiteral("Font...")), "BTitleFontColor");
        form->addRow(QStringLiteral("Title:"), which);
        form->addRow(visible);
        form->addRow(QStringLiteral("Text:"), text);
        form->addRow(QStringLiteral("Alignment:"), align);
        form->addRow(QStringLiteral("Color:"), colour);
        auto loading = std::make_shared<bool>(false);
        auto current = [chart, which]() -> TChartTitle& {
            switch (which->currentIndex()) {
            case 1: return chart->SubTitle();
            case 2: return chart->Foot();
            case 3: return chart->SubFoot();
            default: return chart->Title();
            }
        };
        auto load = [=] {
            *loading = true;
            TChartTitle& t = current();
            visible->setChecked(t.Visible());
            text->setPlainText(t.Text().join(u'\n'));
            align->setCurrentIndex(int(t.Alignment()));
            colour->SetColor(ColorToQColor(t.Font().Color()));
            *loading = false;
        };
        load();
        connect(which, &QComboBox::currentIndexChanged, this, load);
        connect(visible, &QCheckBox::toggled, this, [=](bool v) { if (!*loading) { current().SetVisible(v); repaint(); } });
        connect(text, &QPlainTextEdit::textChanged, this, [=] {
            if (!*loading) {
                current().SetCaption(text->toPlainText());
                repaint();
            }
        });
        connect(align, &QComboBox::currentIndexChanged, this, [=](int i) { if (!*loading) { current().SetAlignment(TAlignment(i)); repaint(); } });
        colour->OnChange = [=](const QColor& c) { current().Font().SetColor(QColorToColor(c)); repaint(); };
    }

    // ---- the sheets this program hides; each still edits what it names
    TabLegend = Sheet(SubPage, "TabLegend", QStringLiteral("Legend"));
    {
        auto* v = Named(new QCheckBox(QStringLiteral("Visible")), "CBLegendVisible");
        v->setChecked(chart->Legend().Visible());
        connect(v, &QCheckBox::toggled, this, [chart, repaint](bool b) { chart->Legend().SetVisible(b); repaint(); });
        auto* l = new QVBoxLayout(TabLegend);
        l->addWidget(v);
        l->addStretch();
    }
    TabPanel = Sheet(SubPage, "TabPanel", QStringLiteral("Panel"));
    {
        auto* c = Named(new TButtonColor(QStringLiteral("Color...")), "BPanelColor");
        c->SetColor(ColorToQColor(chart->Color()));
        c->OnChange = [chart, repaint](const QColor& q) { chart->SetColor(QColorToColor(q)); repaint(); };
        auto* l = new QVBoxLayout(TabPanel);
        l->addWidget(c);
        l->addStretch();
    }
    TabPaging = Sheet(SubPage, "TabPaging", QStringLiteral("Paging"));
    (new QVBoxLayout(TabPaging))->addWidget(new QLabel(QStringLiteral("All points are shown on one page.")));
    TabWalls = Sheet(SubPage, "TabWalls", QStringLiteral("Walls"));
    {
        auto* v = Named(new QCheckBox(QStringLiteral("Back wall visible")), "CBBackWall");
        v->setChecked(chart->Walls().BackWall.Visible());
        connect(v, &QCheckBox::toggled, this, [chart, repaint](bool b) { chart->Walls().BackWall.SetVisible(b); repaint(); });
        auto* l = new QVBoxLayout(TabWalls);
        l->addWidget(v);
        l->addStretch();
    }
    Tab3D = Sheet(SubPage, "Tab3D", QStringLiteral("3D"));
    {
        auto* v = Named(new QCheckBox(QStringLiteral("3 Dimensions")), "CBView3D");
        v->setChecked(chart->View3D());
        connect(v, &QCheckBox::toggled, this, [chart, repaint](bool b) { chart->SetView3D(b); repaint(); });
        auto* l = new QVBoxLayout(Tab3D);
        l->addWidget(v);
        l->addStretch();
    }

    BuildSeriesPages();
    BuildOutputPages();
}

void TChartEditForm::BuildSeriesPages()
{
    TCustomChart* chart = fChart;
    auto repaint = [this] { Changed(); };

    // ---- one series: format and marks
    TabSeries = Sheet(MainPage, "TabSeries", QStringLiteral("Series"));
    {
        auto* lay = new QVBoxLayout(TabSeries);
        auto* which = Named(new QComboBox, "CBSeries");
        FillSeriesCombo(which, chart);
        lay->addWidget(which);
        auto* fmt = new QGroupBox(QStringLiteral("Format"));
        auto* ff = new QFormLayout(fmt);
        auto* active = Named(new QCheckBox(QStringLiteral("Visible")), "CBSeriesActive");
        auto* colour = Named(new TButtonColor(QStringLiteral("Color...")), "BSeriesColor");
        auto* width = Named(new QSpinBox, "SESeriesWidth");
        width->setRange(1, 20);
        auto* stairs = Named(new QCheckBox(QStringLiteral("Stairs")), "CBSeriesStairs");
        auto* invStairs = Named(new QCheckBox(QStringLiteral("Inverted stairs")), "CBSeriesInvStairs");
        auto* title = Named(new QLineEdit, "ESeriesTitle");
        ff->addRow(QStringLiteral("Title:"), title);
        ff->addRow(active);
        ff->addRow(QStringLiteral("Color:"), colour);
        ff->addRow(QStringLiteral("Width:"), width);
        ff->addRow(stairs);
        ff->addRow(invStairs);
        lay->addWidget(fmt);
        auto* marks = new QGroupBox(QStringLiteral("Marks"));
        auto* mf = new QVBoxLayout(marks);
        auto* marksVisible = Named(new QCheckBox(QStringLiteral("Visible")), "CBMarksVisible");
        mf->addWidget(marksVisible);
        lay->addWidget(marks);
        lay->addStretch();

        auto loading = std::make_shared<bool>(false);
        auto current = [chart, which]() -> TChartSeries* {
            const int i = which->currentIndex();
            return chart && i >= 0 && i < chart->SeriesCount() ? chart->Series(i) : nullptr;
        };
        auto load = [=] {
            TChartSeries* s = current();
            fmt->setEnabled(s);
            marks->setEnabled(s);
            if (!s)
                return;
            *loading = true;
            auto* line = dynamic_cast<TFastLineSeries*>(s);
            title->setText(s->Title());
            active->setChecked(s->Active());
            colour->SetColor(ColorToQColor(s->SeriesColor()));
            width->setValue(std::max(1, s->Pen().Width()));
            stairs->setEnabled(line);
            invStairs->setEnabled(line);
            stairs->setChecked(line && line->Stairs());
            invStairs->setChecked(line && line->InvertedStairs());
            marksVisible->setChecked(s->Marks().Visible);
            *loading = false;
        };
        if (fSeries && chart)
            which->setCurrentIndex(chart->SeriesList().IndexOf(fSeries));
        load();
        connect(which, &QComboBox::currentIndexChanged, this, load);
        auto change = [=, this](const std::function<void(TChartSeries*)>& f) {
            if (*loading || !current())
                return;
            f(current());
            LBSeries->FillSeries();
            Changed();
        };
        connect(title, &QLineEdit::textChanged, this, [=](const QString& t) {
            change([t](TChartSeries* s) { s->SetTitle(t); });
            if (!*loading)
                which->setItemText(which->currentIndex(), t);
        });
        connect(active, &QCheckBox::toggled, this, [change](bool v) { change([v](TChartSeries* s) { s->SetActive(v); }); });
        colour->OnChange = [change](const QColor& c) { change([c](TChartSeries* s) { s->SetSeriesColor(QColorToColor(c)); }); };
        connect(width, &QSpinBox::valueChanged, this, [change](int v) { change([v](TChartSeries* s) { s->Pen().SetWidth(v); }); });
        connect(stairs, &QCheckBox::toggled, this, [change](bool v) {
            change([v](TChartSeries* s) { if (auto* l = dynamic_cast<TFastLineSeries*>(s)) l->SetStairs(v); });
        });
        connect(invStairs, &QCheckBox::toggled, this, [change](bool v) {
            change([v](TChartSeries* s) { if (auto* l = dynamic_cast<TFastLineSeries*>(s)) l->SetInvertedStairs(v); });
        });
        connect(marksVisible, &QCheckBox::toggled, this, [change](bool v) { change([v](TChartSeries* s) { s->Marks().Visible = v; }); });
        // The list's check boxes switch series too: the page follows when shown.
        connect(MainPage, &QTabWidget::currentChanged, this, [this, load] {
            if (MainPage->currentWidget() == TabSeries)
                load();
        });
    }

    // ---- data: the values of one series, read when shown
    TabData = Sheet(MainPage, "TabData", QStringLiteral("Data"));
    {
        auto* lay = new QVBoxLayout(TabData);
        auto* which = Named(new QComboBox, "CBDataSeries");
        FillSeriesCombo(which, chart);
        auto* view = Named(new QTableView, "GridData");
        auto* model = new TSeriesDataModel(view);
        view->setModel(model);
        view->setEditTriggers(QAbstractItemView::NoEditTriggers);
        view->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
        view->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
        view->verticalHeader()->setDefaultSectionSize(view->fontMetrics().height() + 4);
        auto* count = Named(new QLabel, "LDataCount");
        lay->addWidget(which);
        lay->addWidget(view, 1);
        lay->addWidget(count);
        auto show = [=] {
            const int i = which->currentIndex();
            model->SetSeries(chart && i >= 0 && i < chart->SeriesCount() ? chart->Series(i) : nullptr);
            count->setText(TeeMsg(QStringLiteral("Values:")) + QLatin1Char(' ') + QLocale(QLocale::German).toString(model->rowCount()));
        };
        if (fSeries && chart)
            which->setCurrentIndex(chart->SeriesList().IndexOf(fSeries));
        show();
        connect(which, &QComboBox::currentIndexChanged, this, show);
    }
    (void)repaint;
}

void TChartEditForm::BuildOutputPages()
{
    TCustomChart* chart = fChart;

    TabTools = Sheet(MainPage, "TabTools", QStringLiteral("Tools"));
    {
        auto* l = new QVBoxLayout(TabTools);
        auto* text = new QLabel(QStringLiteral("This chart has no tools of its own"));
        text->setWordWrap(true);
        l->addWidget(text);
        l->addStretch();
    }

    TabExport = Sheet(MainPage, "TabExport", QStringLiteral("Export"));
    {
        auto* lay = new QVBoxLayout(TabExport);
        auto* kind = new QGroupBox(QStringLiteral("Format"));
        auto* kl = new QVBoxLayout(kind);
        auto* png = Named(new QRadioButton(QStringLiteral("PNG picture")), "RBExportPNG");
        auto* svg = Named(new QRadioButton(QStringLiteral("SVG vector picture")), "RBExportSVG");
        auto* pdf = Named(new QRadioButton(QStringLiteral("PDF document")), "RBExportPDF");
        png->setChecked(true);
        kl->addWidget(png);
        kl->addWidget(svg);
        kl->addWidget(pdf);
        lay->addWidget(kind);
        auto* size = new QGroupBox(QStringLiteral("Size"));
        auto* sf = new QFormLayout(size);
        auto* w = Named(new QSpinBox, "SEExportWidth");
        auto* h = Named(new QSpinBox, "SEExportHeight");
        w->setRange(16, 10000);
        h->setRange(16, 10000);
        w->setValue(std::max(16, chart->width()));
        h->setValue(std::max(16, chart->height()));
        sf->addRow(QStringLiteral("Width:"), w);
        sf->addRow(QStringLiteral("Height:"), h);
        lay->addWidget(size);
        connect(pdf, &QRadioButton::toggled, size, [size](bool on) { size->setEnabled(!on); });
        auto* buttons = new QHBoxLayout;
        auto* save = Named(new QPushButton(QStringLiteral("&Save...")), "BExportSave");
        auto* copy = Named(new QPushButton(QStringLiteral("&Copy")), "BExportCopy");
        buttons->addWidget(save);
        buttons->addWidget(copy);
        buttons->addStretch();
        lay->addLayout(buttons);
        lay->addStretch();
        connect(copy, &QPushButton::clicked, this, [chart] { ChartToClipboard(chart); });
        connect(save, &QPushButton::clicked, this, [=, this] {
            const QString ext = png->isChecked() ? QStringLiteral("png") : svg->isChecked() ? QStringLiteral("svg") : QStringLiteral("pdf");
            const QString path = QFileDialog::getSaveFileName(this, TeeMsg(QStringLiteral("Save As")), QStringLiteral("Diagramm.") + ext,
                                                              QStringLiteral("*.") + ext);
            if (path.isEmpty())
                return;
            QString error;
            const QSize s(w->value(), h->value());
            const bool ok = ext == u"png"   ? ChartExportPNG(chart, path, s, error)
                            : ext == u"svg" ? ChartExportSVG(chart, path, s, error)
                                            : ChartExportPDF(chart, path, HeaderText, error);
            if (!ok)
                QMessageBox::warning(this, TeeMsg(QStringLiteral("Error")), error);
        });
    }

    TabPrint = Sheet(MainPage, "TabPrint", QStringLiteral("Print"));
    {
        auto* lay = new QVBoxLayout(TabPrint);
        auto* orient = Named(new QComboBox, "CBPrintOrientation");
        orient->addItems({QStringLiteral("Landscape"), QStringLiteral("Portrait")});
        auto* form = new QFormLayout;
        form->addRow(QStringLiteral("Orientation:"), orient);
        lay->addLayout(form);
        auto* preview = Named(new QPushButton(QStringLiteral("Print Pre&view...")), "BPrintPreview");
        auto* print = Named(new QPushButton(QStringLiteral("&Print...")), "BPrint");
        auto* buttons = new QHBoxLayout;
        buttons->addWidget(preview);
        buttons->addWidget(print);
        buttons->addStretch();
        lay->addLayout(buttons);
        lay->addStretch();
        auto setup = [orient](QPrinter& p) {
            p.setPageOrientation(orient->currentIndex() == 0 ? QPageLayout::Landscape : QPageLayout::Portrait);
        };
        connect(preview, &QPushButton::clicked, this, [=, this] {
            QPrinter printer(QPrinter::HighResolution);
            setup(printer);
            QPrintPreviewDialog dlg(&printer, this);
            dlg.setWindowTitle(TeeMsg(QStringLiteral("Print Preview")));
            connect(&dlg, &QPrintPreviewDialog::paintRequested, &dlg,
                    [chart, this](QPrinter* p) { ChartPrintPage(chart, p, HeaderText); });
            dlg.exec();
        });
        connect(print, &QPushButton::clicked, this, [=, this] {
            QPrinter printer(QPrinter::HighResolution);
            setup(printer);
            QPrintDialog dlg(&printer, this);
            dlg.setWindowTitle(TeeMsg(QStringLiteral("Print")));
            if (dlg.exec() == QDialog::Accepted)
                ChartPrintPage(chart, &printer, HeaderText);
        });
    }

    TabAnimations = Sheet(MainPage, "TabAnimations", QStringLiteral("Animations"));
    (new QVBoxLayout(TabAnimations))->addWidget(new QLabel(QStringLiteral("This chart has no animations")));
}
