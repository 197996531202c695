#include "views/uFoAuswertungUebersicht.h"

#include "dbaccess/FIBServerCount.h"
#include "views/uFoAuswertungWerkzeuge.h"
#include "views/uAutoAktualisierung.h"

#include "dbcontrols/TCheckListBox.h"
#include "dbcontrols/TdxCheckEdit.h"
#include "dbcontrols/TdxDBCurrencyEdit.h"
#include "dbcontrols/TdxDBEdit.h"
#include "dbcontrols/TdxDBMemo.h"
#include "dbcontrols/TdxLookupEdit.h"
#include "chart/TeeTranslate.h"
#include "frame/HTMLabel.h"
#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "testdata/uDMorvex.h"
#include "views/uFoRohdatenansicht.h"
#include "views/uFoSetupcharts.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDateTime>
#include <QLocale>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QScopeGuard>
#include <QScreen>
#include <QVBoxLayout>
#include <cmath>

TFOOrvexAuswertung* FOOrvexAuswertung = nullptr;

namespace {
QFrame* MakePanel(const QString& name, QWidget* parent)
{
    auto* p = new QFrame(parent);
    p->setObjectName(name);
    p->setFrameShape(QFrame::StyledPanel);
    return p;
}

QPushButton* MakeButton(const QString& name, const QString& caption, QWidget* parent)
{
    auto* b = new QPushButton(caption, parent);
    b->setObjectName(name);
    return b;
}

QLabel* MakeLabel(const QString& caption, QWidget* parent)
{
    auto* l = new QLabel(caption, parent);
    l->setContentsMargins(0, 4, 0, 0);
    return l;
}

// Header controls show the run and are never typed into.
template <class T>
T* HeaderControl(const QString& name, const QString& field, QWidget* parent, bool readOnly = true)
{
    auto* c = new T(parent);
    c->setObjectName(name);
    c->SetDataField(field);
    if (readOnly)
        c->SetReadOnly(true);
    c->SetEnabled(false);
    return c;
}
}

TFOOrvexAuswertung::TFOOrvexAuswertung(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("FOOrvexAuswertung"));
    resize(1443, 1152);
    setMinimumSize(800, 600);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    Bedienpanel = MakePanel(QStringLiteral("Bedienpanel"), this);
    Bedienpanel->setFixedHeight(36);
    auto* buttons = new QHBoxLayout(Bedienpanel);
    buttons->setContentsMargins(4, 4, 4, 4);
    BitBtn1 = MakeButton(QStringLiteral("BitBtn1"), QStringLiteral("&Schließen"), Bedienpanel);
    BtnRohdaten = MakeButton(QStringLiteral("BtnRohdaten"), QStringLiteral("Rohdaten"), Bedienpanel);
    BtnRohdaten->setEnabled(false);
    BtnRefresh = MakeButton(QStringLiteral("BtnRefresh"), QStringLiteral("aktualisieren"), Bedienpanel);
    BtnRefresh->setEnabled(false);
    buttons->addWidget(BitBtn1);
    buttons->addWidget(BtnRohdaten);
    buttons->addWidget(BtnRefresh);
    buttons->addStretch();
    outer->addWidget(Bedienpanel);

    auto* body = new QHBoxLayout;
    body->setSpacing(0);
    KopfdatenPanel = MakePanel(QStringLiteral("KopfdatenPanel"), this);
    KopfdatenPanel->setFixedWidth(221);
    Panel3 = MakePanel(QStringLiteral("Panel3"), this);
    Panel3->setFixedWidth(80);
    ChartPanel = MakePanel(QStringLiteral("ChartPanel"), this);
    ChartPanel->setFrameShape(QFrame::NoFrame);
    body->addWidget(KopfdatenPanel);
    body->addWidget(Panel3);
    body->addWidget(ChartPanel, 1);
    outer->addLayout(body, 1);

    BuildHeaderPanel();
    BuildCurvePanel();
    BuildCharts();
    AchsenklicksVerbinden();

    connect(BitBtn1, &QPushButton::clicked, this, &TFOOrvexAuswertung::BitBtn1Click);
    connect(BtnRefresh, &QPushButton::clicked, this, &TFOOrvexAuswertung::BtnRefreshClick);
    connect(BtnRohdaten, &QPushButton::clicked, this, &TFOOrvexAuswertung::BtnRohdatenClick);
    // Key preview: the window sees keys before any of its controls.
    qApp->installEventFilter(this);

    if (const QScreen* s = screen())
        move(s->availableGeometry().center() - rect().center());

    FormCreate();
    AutoAktualisierung = new TAutoAktualisierung(this);
}

TFOOrvexAuswertung::~TFOOrvexAuswertung()
{
    qApp->removeEventFilter(this);
    delete Werkzeuge;   // before the charts it draws on
    Werkzeuge = nullptr;
    // The charts go with their widgets; the series must not outlive them attached.
    for (int k = 1; k <= 9; ++k)
        chart_U_I->RemoveSeries(fSerIStore[k].get());
    chart_U_I->RemoveSeries(Ser_U.get());
    Chart_T_RF->RemoveSeries(Ser_T.get());
    Chart_T_RF->RemoveSeries(Ser_rF.get());
    if (FOOrvexAuswertung == this)
        FOOrvexAuswertung = nullptr;
}

void TFOOrvexAuswertung::BuildHeaderPanel()
{
    auto* grid = new QVBoxLayout(KopfdatenPanel);
    grid->setContentsMargins(6, 4, 6, 6);
    grid->setSpacing(1);
    auto add = [&](const QString& caption, QWidget* control) {
        grid->addWidget(MakeLabel(caption, KopfdatenPanel));
        grid->addWidget(control);
    };
    LookupAuftrag = new TdxLookupEdit(KopfdatenPanel);
    LookupAuftrag->setObjectName(QStringLiteral("LookupAuftrag"));
    LookupAuftrag->SetKeyFieldName(QStringLiteral("Versuchsnr"));
    LookupAuftrag->SetListFieldName(QStringLiteral("Versuchsnr"));
    LookupAuftrag->SetDropDownRows(20);
    LookupAuftrag->OnChange = [this](QObject* sender) { LookupAuftragSelectionChange(sender); };
    add(QStringLiteral("Versuch"), LookupAuftrag);

    dxDBEdit1 = HeaderControl<TdxDBEdit>(QStringLiteral("dxDBEdit1"), QStringLiteral("TEILENR"), KopfdatenPanel);
    add(QStringLiteral("Bauteil"), dxDBEdit1);
    // "Bau-Nr." and "Bezeichnung" lie on one spot; "Bezeichnung" lies above and covers it.
    auto* spot = new QWidget(KopfdatenPanel);
    auto* stack = new QGridLayout(spot);
    stack->setContentsMargins(0, 0, 0, 0);
    QLabel* bauNr = MakeLabel(QStringLiteral("Bau-Nr."), spot);
    QLabel* bezeichnung = MakeLabel(QStringLiteral("Bezeichnung"), spot);
    bezeichnung->setAutoFillBackground(true);
    stack->addWidget(bauNr, 0, 0);
    stack->addWidget(bezeichnung, 0, 0);
    bezeichnung->raise();
    Charge = HeaderControl<TdxDBEdit>(QStringLiteral("Charge"), QStringLiteral("BEZEICHNUNG"), KopfdatenPanel);
    grid->addWidget(spot);
    grid->addWidget(Charge);
    Bediener = HeaderControl<TdxDBEdit>(QStringLiteral("Bediener"), QStringLiteral("BEDIENER"), KopfdatenPanel);
    add(QStringLiteral("Bediener"), Bediener);
    Strang = HeaderControl<TdxDBEdit>(QStringLiteral("Strang"), QStringLiteral("STRANG"), KopfdatenPanel);
    add(QStringLiteral("Prüfstrang"), Strang);
    Datum = HeaderControl<TdxDBEdit>(QStringLiteral("Datum"), QStringLiteral("DATUM"), KopfdatenPanel);
    add(QStringLiteral("Testbeginn"), Datum);
    Laufzeit = HeaderControl<TdxDBCurrencyEdit>(QStringLiteral("Laufzeit"), QStringLiteral("DAUER_GESAMT_STD"),
                                                 KopfdatenPanel);
    Laufzeit->SetDisplayFormat(QStringLiteral(",0 h"));
    Laufzeit->SetDecimalPlaces(0);
    Laufzeit->SetNullable(true);
    add(QStringLiteral("Laufzeit"), Laufzeit);
    Restlaufzeit = HeaderControl<TdxDBCurrencyEdit>(QStringLiteral("Restlaufzeit"), QStringLiteral("RESTLAUFZEIT"),
                                                     KopfdatenPanel);
    Restlaufzeit->SetDisplayFormat(QStringLiteral(",0.00 h"));
    Restlaufzeit->SetNullable(true);
    add(QStringLiteral("Restlaufzeit"), Restlaufzeit);
    dxDBEdit2 = HeaderControl<TdxDBEdit>(QStringLiteral("dxDBEdit2"), QStringLiteral("STATUS"), KopfdatenPanel);
    add(QStringLiteral("Status"), dxDBEdit2);

    HTMLabel1 = new THTMLabel(KopfdatenPanel);
    HTMLabel1->setObjectName(QStringLiteral("HTMLabel1"));
    HTMLabel1->SetHTMLText({QStringLiteral("<FONT size=\"10\"><B>V</B><SUB>soll</SUB></FONT>")});
    HTMLabel1->setMinimumHeight(22);
    grid->addWidget(HTMLabel1);
    ED_U_SOLL = HeaderControl<TdxDBCurrencyEdit>(QStringLiteral("ED_U_SOLL"), QStringLiteral("U_SOLL"),
                                                  KopfdatenPanel, false);
    ED_U_SOLL->SetDisplayFormat(QStringLiteral(",0.0 V"));
    ED_U_SOLL->SetDecimalPlaces(1);
    grid->addWidget(ED_U_SOLL);
    HTMLabel5 = new THTMLabel(KopfdatenPanel);
    HTMLabel5->setObjectName(QStringLiteral("HTMLabel5"));
    HTMLabel5->SetHTMLText({QStringLiteral("<B>I </B><SUB>max</SUB>")});
    HTMLabel5->setMinimumHeight(22);
    HTMLabel5->setEnabled(false);
    grid->addWidget(HTMLabel5);
    Ed_I_BT_MAX = HeaderControl<TdxDBCurrencyEdit>(QStringLiteral("Ed_I_BT_MAX"), QStringLiteral("I_MAX"),
                                                    KopfdatenPanel, false);
    Ed_I_BT_MAX->SetDisplayFormat(QStringLiteral(",0.000 µA"));
    Ed_I_BT_MAX->SetDecimalPlaces(3);
    Ed_I_BT_MAX->SetMaxValue(300.0);
    grid->addWidget(Ed_I_BT_MAX);

    Kommentar = new TdxDBMemo(KopfdatenPanel);
    Kommentar->setObjectName(QStringLiteral("Kommentar"));
    Kommentar->SetDataField(QStringLiteral("KOMMENTAR"));
    grid->addWidget(MakeLabel(QStringLiteral("Kommentar"), KopfdatenPanel));
    grid->addWidget(Kommentar, 1);   // grows with the window
}

void TFOOrvexAuswertung::BuildCurvePanel()
{
    auto* box = new QVBoxLayout(Panel3);
    box->setContentsMargins(3, 4, 3, 4);
    box->setSpacing(3);
    Label1 = MakeLabel(QStringLiteral("Auswahl Kurve"), Panel3);
    Label1->setWordWrap(true);
    Kurven = new TCheckListBox(Panel3);
    Kurven->setObjectName(QStringLiteral("Kurven"));
    Kurven->SetItems({QStringLiteral("U"), QStringLiteral("I1-9"), QStringLiteral("T"), QStringLiteral("rF")});
    Kurven->setFixedHeight(4 * Kurven->sizeHintForRow(0) + 2 * Kurven->frameWidth() + 2);
    Kurven->OnClickCheck = [this](QObject*) { KurvenClickCheck(); };
    BtnAlleKurvenan = MakeButton(QStringLiteral("BtnAlleKurvenan"), QStringLiteral("Alle &ein"), Panel3);
    Label2 = MakeLabel(QStringLiteral("Auswahl Prüfling"), Panel3);
    Label2->setWordWrap(true);
    Kanaele = new TCheckListBox(Panel3);
    Kanaele->setObjectName(QStringLiteral("Kanaele"));
    QStringList channels;
    for (int i = 1; i <= 9; ++i)
        channels << QStringLiteral(" %1").arg(i);
    Kanaele->SetItems(channels);
    Kanaele->setFixedHeight(9 * Kanaele->sizeHintForRow(0) + 2 * Kanaele->frameWidth() + 2);
    Kanaele->OnClickCheck = [this](QObject*) { KanaeleClickCheck(); };
    Button4 = MakeButton(QStringLiteral("Button4"), QStringLiteral("Alle &ein"), Panel3);
    togglemode = new TdxCheckEdit(QStringLiteral("toggle"), Panel3);
    togglemode->setObjectName(QStringLiteral("togglemode"));
    Button3 = MakeButton(QStringLiteral("Button3"), QStringLiteral("Alle &aus"), Panel3);
    for (QWidget* w : std::initializer_list<QWidget*>{Label1, Kurven, BtnAlleKurvenan, Label2, Kanaele, Button4,
                                                      togglemode, Button3})
        box->addWidget(w);
    box->addStretch();
    connect(BtnAlleKurvenan, &QPushButton::clicked, this, &TFOOrvexAuswertung::BtnAlleKurvenanClick);
    connect(Button4, &QPushButton::clicked, this, &TFOOrvexAuswertung::Button4Click);
    connect(Button3, &QPushButton::clicked, this, &TFOOrvexAuswertung::Button3Click);
}

TChart* TFOOrvexAuswertung::MakeChart(const QString& name, const QString& title)
{
    auto* c = new TChart(ChartPanel);
    c->setObjectName(name);
    c->SetDefaultCanvas(QStringLiteral("TGDIPlusCanvas"));
    c->SetView3D(false);
    c->Legend().SetVisible(false);
    c->Title().SetCaption(title);
    c->Zoom().Direction = tzdHorizontal;
    c->Zoom().Animated = true;
    c->SetMarginUnits(muPixels);
    c->SetMarginLeft(60);
    c->SetMarginRight(60);
    c->SetMarginTop(0);
    c->SetMarginBottom(0);
    c->LeftAxis()->SetVisible(false);
    c->BottomAxis()->Title().SetCaption(QStringLiteral("h"));
    c->BottomAxis()->SetAxisValuesFormat(QStringLiteral("###0.00"));
    c->OnZoom = [this](TCustomChart* sender) { charts_Zoom(sender); };
    c->OnUndoZoom = [this](TCustomChart* sender) { charts_UndoZoom(sender); };
    c->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(c, &QWidget::customContextMenuRequested, this,
            [this, c](const QPoint& pos) { PopupMenu1->popup(c->mapToGlobal(pos)); });
    // Two vertical scales, one on each side, over the full height.
    TChartAxis* left = c->CustomAxes().Add();
    TChartAxis* right = c->CustomAxes().Add();
    right->SetOtherSide(true);
    for (TChartAxis* a : {left, right}) {
        a->SetStartPosition(0);
        a->SetEndPosition(100);
        a->Grid().SetStyle(psDot);
        a->Grid().SetSmallDots(true);
    }
    return c;
}

std::unique_ptr<TFastLineSeries> TFOOrvexAuswertung::MakeSeries(TChart* chart, TChartAxis* axis, const QString& title,
                                                                 TColor color)
{
    auto s = std::make_unique<TFastLineSeries>();
    s->SetTitle(title);
    s->SetSeriesColor(color);
    s->XValues()->SetOrder(loAscending);
    s->YValues()->SetOrder(loNone);
    s->XValues()->SetName(QStringLiteral("X"));
    s->YValues()->SetName(QStringLiteral("Y"));
    s->SetVertAxis(aCustomVertAxis);
    s->SetCustomVertAxis(axis);
    chart->AddSeries(s.get());
    return s;
}

void TFOOrvexAuswertung::BuildCharts()
{
    PopupMenu1 = new QMenu(this);
    PopupMenu1->setObjectName(QStringLiteral("PopupMenu1"));
    Bearbeiten1 = PopupMenu1->addAction(QStringLiteral("Charteinstellung ändern"));
    Bearbeiten1->setObjectName(QStringLiteral("Bearbeiten1"));
    connect(Bearbeiten1, &QAction::triggered, this, &TFOOrvexAuswertung::Bearbeiten1Click);

    chart_U_I = MakeChart(QStringLiteral("chart_U_I"), QStringLiteral("I1-9"));
    chart_U_I->SetAllowPanning(pmNone);
    Chart_T_RF = MakeChart(QStringLiteral("Chart_T_RF"), QStringLiteral("Temp/rF"));
    TChartAxis* axI = chart_U_I->CustomAxes()[0];
    TChartAxis* axU = chart_U_I->CustomAxes()[1];
    TChartAxis* axT = Chart_T_RF->CustomAxes()[0];
    TChartAxis* axRF = Chart_T_RF->CustomAxes()[1];
    axI->Title().SetCaption(QStringLiteral("[µA]"));
    axU->Title().SetCaption(QStringLiteral("[V]"));
    axT->Title().SetCaption(QStringLiteral("[°C]"));
    axRF->Title().SetCaption(QStringLiteral("[%F]"));
    // Ranges until the settings or a selection say otherwise: the axes are never
    // automatic, so they need limits of their own.
    axI->SetMinMax(0, 100);
    axI->SetIncrement(5);
    axU->SetMinMax(0, 1000);
    axU->SetIncrement(50);
    axT->SetMinMax(0, 200);
    axT->SetIncrement(10);
    axRF->SetMinMax(0, 100);
    axRF->SetIncrement(5);

    TFastLineSeries** named[10] = {nullptr, &Ser_I1, &Ser_I2, &Ser_I3, &Ser_I4, &Ser_I5, &Ser_I6, &Ser_I7, &Ser_I8, &Ser_I9};
    for (int k = 1; k <= 9; ++k) {
        fSerIStore[k] = MakeSeries(chart_U_I, axI, QStringLiteral("I%1").arg(k), clBlue);
        fSerIStore[k]->SetStairs(true);
        fSerIStore[k]->SetInvertedStairs(true);
        *named[k] = fSerIStore[k].get();
    }
    Ser_U = MakeSeries(chart_U_I, axU, QStringLiteral("U"), clRed);
    Ser_T = MakeSeries(Chart_T_RF, axT, QStringLiteral("T"), clBlack);
    Ser_rF = MakeSeries(Chart_T_RF, axRF, QStringLiteral("rF"), clRed);
    for (TChart* c : {chart_U_I, Chart_T_RF})
        c->OnBeforeDrawChart = [this] { PlotsAngleichen(); };
}

void TFOOrvexAuswertung::PlotsAngleichen()
{
    // The zoom coupling passes pixels, so both plots must start and end on the same
    // columns. Width and margins are the same; the scales at the sides are not, so
    // both charts reserve at each side what the wider of the two needs. The hidden
    // chart counts too: it follows every zoom and must map pixels alike.
    int left = 0, right = 0;
    for (TChart* c : {chart_U_I, Chart_T_RF}) {
        c->CalcLayout();
        left = std::max(left, c->AxesWidthLeft());
        right = std::max(right, c->AxesWidthRight());
    }
    for (TChart* c : {chart_U_I, Chart_T_RF}) {
        if (c->MinAxesWidthLeft() == left && c->MinAxesWidthRight() == right)
            continue;
        c->SetMinAxesWidths(left, right);
        // Its next paint follows; its pixels count from now on.
        if (!c->Drawing())
            c->CalcLayout();
    }
}

void TFOOrvexAuswertung::FormCreate()
{
    // The chart engine's dialogs and messages speak German from here on.
    TeeSetGerman();
    ChartEditor = new TChartEditor(this);
    ChartEditor->HideTabs = {cetLegend, cetPanel, cetPaging, cetWalls, cet3D};
    ChartEditorAusfuehren = [this](TCustomChart* chart) {
        ChartEditor->SetChart(chart);
        const QString nr = AktVersuch ? AktVersuch->Versuchsnr : QString();
        ChartEditor->HeaderText = QStringLiteral("Versuch %1    %2")
                                      .arg(nr, QLocale(QLocale::German).toString(QDateTime::currentDateTime(), QStringLiteral("dd.MM.yyyy HH:mm")));
        ChartEditor->Execute();
    };
    fRefreshLaeuft = false;
    setWindowTitle(Produkinfo);
    fErsterStart = true;
    fXAchseGeaendert = false;
    for (int i = 0; i < Kurven->Count(); ++i)
        Kurven->SetChecked(i, true);
    for (int i = 0; i < Kanaele->Count(); ++i) {
        Kanaele->SetChecked(i, true);
        fKanalAktiv[i + 1] = true;
    }
    fCharts[1] = chart_U_I;
    fCharts[2] = Chart_T_RF;
    for (TChart* c : {chart_U_I, Chart_T_RF})
        c->BottomAxis()->SetDateTimeFormat(QStringLiteral("dd.mm hh:mm"));
    fAchsen[1] = chart_U_I->CustomAxes()[0];
    fAchsen[2] = chart_U_I->CustomAxes()[1];
    fAchsen[3] = Chart_T_RF->CustomAxes()[0];
    fAchsen[4] = Chart_T_RF->CustomAxes()[1];
    EinstellungenLaden();
    for (int k = 1; k <= 9; ++k)
        fSerI[k] = fSerIStore[k].get();
    for (int k = 1; k <= 9; ++k) {
        fSerI[k]->SetStairs(fStufenAnzeige);
        fSerI[k]->SetInvertedStairs(fStufenInvertiert);
        fSerI[1]->SetSeriesColor(fFarbeI);
    }
    for (TFastLineSeries* s : {Ser_T.get(), Ser_rF.get(), Ser_U.get()}) {
        s->SetStairs(fStufenAnzeige);
        s->SetInvertedStairs(fStufenInvertiert);
    }
    Ser_T->SetSeriesColor(fFarbeT);
    Ser_rF->SetSeriesColor(fFarbeRF);
    Ser_U->SetSeriesColor(fFarbeU);
    KurvenAuswerten();
    Werkzeuge = new TAuswertungWerkzeuge(this);
    ChartsAktualisieren();
}

void TFOOrvexAuswertung::FormActivate()
{
    if (ProgrammEndet || !fErsterStart)
        return;
    ChartsAnordnen();
    fErsterStart = false;
    setWindowState(windowState() | Qt::WindowMaximized);
}

void TFOOrvexAuswertung::FormResize()
{
    if (!ProgrammEndet)
        ChartsAnordnen();
}

// ---------------------------------------------------------------- selection and loading

void TFOOrvexAuswertung::LookupAuftragSelectionChange(QObject*)
{
    if (fRefreshLaeuft || ProgrammEndet)
        return;
    if (LookupAuftrag->Text().isEmpty()) {
        BtnRefresh->setEnabled(false);
        BtnRohdaten->setEnabled(false);
        return;
    }
    BtnRefresh->setEnabled(true);
    BtnRohdaten->setEnabled(true);
    DMorvex->DsAuftraganzeige->SetEnabled(true);
    VersuchAnzeigen();
    QCoreApplication::processEvents();
    ChartsAnordnen();
    DatenLaden();
    SetVariable(QStringLiteral("AktAuftrag"), LookupAuftrag->Text(), false, 0);
}

void TFOOrvexAuswertung::DatenquellenZuordnen()
{
    LookupAuftrag->SetListSource(DMorvex->DSAuftraege.get());
    TDataSource* header = DMorvex->DsAuftraganzeige.get();
    for (TdxDBEdit* e : {dxDBEdit1, Charge, Bediener, Strang, Datum, dxDBEdit2})
        e->SetDataSource(header);
    for (TdxDBCurrencyEdit* e : {Laufzeit, Restlaufzeit, ED_U_SOLL, Ed_I_BT_MAX})
        e->SetDataSource(header);
    Kommentar->SetDataSource(header);
}

bool TFOOrvexAuswertung::VersuchWaehlen(const QString& nummer)
{
    if (!LookupAuftrag->SetKeyValue(nummer))
        return false;
    LookupAuftragSelectionChange(LookupAuftrag);
    return true;
}

void TFOOrvexAuswertung::BtnRefreshClick()
{
    if (ProgrammEndet)
        return;
    fRefreshLaeuft = true;
    // The flag must fall also when the load fails: the report comes from the loop.
    const auto reset = qScopeGuard([this] { fRefreshLaeuft = false; });
    DatenLaden();
    // New header values (remaining time, row count) without losing the chosen run.
    DMorvex->AuftraegeNeuOeffnen();
}

void TFOOrvexAuswertung::BtnRohdatenClick()
{
    if (FoRohdatenansicht)
        FoRohdatenansicht->exec();
}

void TFOOrvexAuswertung::VersuchAnzeigen()
{
    DMorvex->VersuchLaden(LookupAuftrag->Text(), *AktVersuch);
    if (!fRefreshLaeuft) {
        if (AktVersuch->I_Max >= 1000.0) {
            fEinheitI = QStringLiteral("[mA]");
            fNachkommaI = 3;
            fTeilerI = 1000;
        } else {
            fEinheitI = QStringLiteral("[µA]");
            fNachkommaI = 3;
            fTeilerI = 1;
        }
        TChartAxis* axis = chart_U_I->CustomAxes()[0];
        axis->Title().SetCaption(fEinheitI);
        // The range is rounded down to full tens of µA, in 64-bit integers where they
        // hold the value; a value past them is whole already and stays finite as a double.
        const double iMax = AktVersuch->I_Max;
        double m = 0;
        if (std::abs(iMax) < 9.0e18)
            m = static_cast<double>(static_cast<qint64>(std::llround(iMax)) / 10 * 10);
        else if (std::isfinite(iMax))
            m = std::trunc(iMax / 10) * 10;
        const double top = std::isfinite(m) ? std::max(m / fTeilerI, 1.0) : 1.0;
        axis->SetMinMax(0, top);
        axis->SetIncrement(axis->Maximum() / 20.0);
        fAchsen[1] = axis;
    }
    TpFIBDataSet* md = DMorvex->Messdaten.get();
    // The bound grid follows again also when the rows cannot be opened.
    const TControlsDisabled quiet(md);
    md->Close();
    md->ParamByName(QStringLiteral("AUFTRAGKEY"))->SetAsInteger(AktVersuch->AuftragKey);
    md->Open();
}

void TFOOrvexAuswertung::DatenLaden()
{
    TDMorvex& dm = *DMorvex;
    TpFIBDataSet* md = dm.Messdaten.get();
    md->CloseOpen(true);
    md->First();
    TField* bt[10] = {nullptr,          dm.AuftraegeBT01, dm.AuftraegeBT02, dm.AuftraegeBT03, dm.AuftraegeBT04,
                      dm.AuftraegeBT05, dm.AuftraegeBT06, dm.AuftraegeBT07, dm.AuftraegeBT08, dm.AuftraegeBT09};
    for (int i = 1; i <= 9; ++i)
        fBauteil[i] = bt[i]->AsString();

    // The server's count now, after the fetch: rows committed in between make the
    // arrays longer than the rows read, and their tail stays 0. It is asked beside
    // the reading of the fetched rows, which does not depend on it.
    TFIBServerCount zaehlung(*md);
    const auto geholt = static_cast<std::size_t>(std::max(md->RecordsFetched(), 0));

    // New arrays every time: the series keep the old ones until they are handed these.
    const std::array<TChartValuesPtr*, 14> alle{&fWerteStd,  &fWerteZeit, &fWerteT,    &fWerteRF,   &fWerteU,
                                                &fWerteI[1], &fWerteI[2], &fWerteI[3], &fWerteI[4], &fWerteI[5],
                                                &fWerteI[6], &fWerteI[7], &fWerteI[8], &fWerteI[9]};
    for (TChartValuesPtr* v : alle)
        *v = std::make_shared<TChartValues>(geholt);
    // A run that is followed grows at its end: room for it now spares the refreshes a copy.
    if (AutoAktualisierung && AutoAktualisierung->Intervall_s() > 0 && AktVersuch &&
        StatusAktiv(StatusTexte[std::min<std::size_t>(AktVersuch->Status, StatusTexte.size() - 1)])) {
        const std::size_t platz = geholt + std::max<std::size_t>(geholt / 8, 4096);
        for (TChartValuesPtr* v : alle)
            (*v)->reserve(platz);
    }
    TField* const zeitStd = dm.MessdatenZEIT_STD;
    TField* const zeitpunkt = dm.MessdatenZEITPUNKT;
    TField* const t = dm.MessdatenT;
    TField* const rf = dm.MessdatenRF;
    TField* const u = dm.MessdatenU;
    TField* const current[10] = {nullptr,          dm.MessdatenI_01, dm.MessdatenI_02, dm.MessdatenI_03,
                                 dm.MessdatenI_04, dm.MessdatenI_05, dm.MessdatenI_06, dm.MessdatenI_07,
                                 dm.MessdatenI_08, dm.MessdatenI_09};
    double* werteI[10] = {nullptr};
    for (int k = 1; k <= 9; ++k)
        werteI[k] = fWerteI[k]->data();
    double* std_ = fWerteStd->data();
    double* zeit = fWerteZeit->data();
    double* wt = fWerteT->data();
    double* wrf = fWerteRF->data();
    double* wu = fWerteU->data();
    const long double teiler = fTeilerI;
    // Bound controls (the raw data grid) need not follow a million scrolls.
    const TControlsDisabled quiet(md);
    std::size_t i = 0;
    const std::vector<TField*> spalten{zeitStd, zeitpunkt, t, rf, u, current[1], current[2], current[3], current[4],
                                       current[5], current[6], current[7], current[8], current[9]};
    if (md->CanReadFloats(spalten)) {
        // Column by column from the fetched rows: the same numbers as the walk below,
        // without a cursor step and fourteen field reads per row. The cursor ends
        // where the walk leaves it, at the end.
        const std::vector<double*> ziele{std_,      zeit,      wt,        wrf,       wu,
                                         werteI[1], werteI[2], werteI[3], werteI[4], werteI[5],
                                         werteI[6], werteI[7], werteI[8], werteI[9]};
        i = static_cast<std::size_t>(md->ReadFloats(spalten, ziele, static_cast<int>(geholt)));
        for (int k = 1; k <= 9; ++k)
            for (std::size_t r = 0; r < i; ++r)
                werteI[k][r] = static_cast<double>(werteI[k][r] / teiler);
        if (i > 0)
            md->Last();
    }
    for (; !md->Eof() && i < geholt; ++i) {
        std_[i] = zeitStd->AsFloat();
        zeit[i] = zeitpunkt->AsFloat();
        wt[i] = t->AsFloat();
        wrf[i] = rf->AsFloat();
        wu[i] = u->AsFloat();
        for (int k = 1; k <= 9; ++k)
            werteI[k][i] = static_cast<double>(current[k]->AsFloat() / teiler);
        md->Next();
    }
    // Most often the count agrees with the rows read: the series take them now and
    // work out what the paint needs while the count is still out.
    fAnzahlSaetze = static_cast<int>(geholt);
    fGeladen = static_cast<int>(i);
    SerienZuweisen();
    SerienVorbereiten();
    fAnzahlSaetze = zaehlung.Result();
    // Rows deleted between fetch and count shorten the arrays, rows added lengthen
    // them with a tail of 0.
    const auto n = static_cast<std::size_t>(std::max(fAnzahlSaetze, 0));
    if (n != geholt) {
        for (TChartValuesPtr* v : alle)
            (*v)->resize(n);
        fGeladen = static_cast<int>(std::min(i, n));
        // The rows both have in common keep what the series worked out of them.
        SerienZuweisen(static_cast<int>(std::min(geholt, n)));
    }
    if (Werkzeuge)
        Werkzeuge->DatenGeladen();
    ChartsAktualisieren();
    Chart_T_RF->repaint();
    chart_U_I->repaint();
    if (AutoAktualisierung)
        AutoAktualisierung->NachVollLaden();
}

void TFOOrvexAuswertung::SerienUebernehmen(int Behalten)
{
    SerienZuweisen(Behalten);
    if (Werkzeuge) {
        Werkzeuge->DatenGeladen(false);
        Werkzeuge->AnsichtAktualisiert();
    }
    chart_U_I->update();
    Chart_T_RF->update();
}

void TFOOrvexAuswertung::SerienZuweisen(int Behalten, bool NurX)
{
    const TChartValuesPtr& x = fZeitstempel ? fWerteZeit : fWerteStd;
    SerieBelegen(Ser_U.get(), fWerteU, x, fZeitstempel, fAnzahlSaetze, Behalten, NurX);
    SerieBelegen(Ser_T.get(), fWerteT, x, fZeitstempel, fAnzahlSaetze, Behalten, NurX);
    SerieBelegen(Ser_rF.get(), fWerteRF, x, fZeitstempel, fAnzahlSaetze, Behalten, NurX);
    for (int k = 1; k <= 9; ++k)
        SerieBelegen(fSerI[k], fWerteI[k], x, fZeitstempel, fAnzahlSaetze, Behalten, NurX);
    fXAchseGeaendert = false;
}

void TFOOrvexAuswertung::SerienVorbereiten(bool NurX)
{
    std::vector<TFastLineSeries*> alle{Ser_U.get(), Ser_T.get(), Ser_rF.get()};
    for (int k = 1; k <= 9; ++k)
        alle.push_back(fSerI[k]);
    // All series share one x array: it is walked once, the others take its figures.
    TChartValueList* x = alle.front()->XValues();
    x->MinValue();
    x->InAscendingOrder();
    for (TFastLineSeries* s : alle) {
        s->XValues()->TakeFactsOf(*x);
        if (!NurX) {
            s->YValues()->MinValue();
            s->YValues()->RangeIndex();
        }
    }
}

void TFOOrvexAuswertung::SerieBelegen(TFastLineSeries* Serie, const TChartValuesPtr& Y, const TChartValuesPtr& X,
                                      bool IstDatum, int Anzahl, int Behalten, bool NurX)
{
    // Before the first load there are no arrays: the series stay empty.
    const int count = X && Y ? Anzahl : 0;
    Serie->BeginUpdate();
    if (X && Y && Behalten > 0 && Serie->XValues()->Value == X && Serie->YValues()->Value == Y) {
        // The same arrays, grown at their end: what the series know of the rows
        // before stays valid, only the new rows are looked at.
        Serie->XValues()->SetCountKeeping(count, Behalten);
        Serie->YValues()->SetCountKeeping(count, Behalten);
    } else if (NurX && X && Y && Serie->YValues()->Value == Y && Serie->YValues()->Count() == count) {
        // Only the x axis changed: the y values keep their figures and range index,
        // which a million rows would otherwise work out again in the next frame.
        Serie->XValues()->Value = X;
        Serie->XValues()->SetCount(count);
        Serie->XValues()->SetModified(true);
    } else {
        const TChartValuesPtr empty = std::make_shared<TChartValues>();
        Serie->XValues()->Value = X ? X : empty;
        Serie->XValues()->SetCount(count);
        Serie->XValues()->SetModified(true);
        Serie->YValues()->Value = Y ? Y : empty;
        Serie->YValues()->SetCount(count);
        Serie->YValues()->SetModified(true);
    }
    Serie->XValues()->SetDateTime(IstDatum);
    Serie->EndUpdate();
    Serie->SetManualData(true);
}

void TFOOrvexAuswertung::Chart_SummenMouseMove(TChart* Sender, Qt::KeyboardModifiers, int, int)
{
    fKlickChart = Sender;
}

// ---------------------------------------------------------------- curves and channels

void TFOOrvexAuswertung::KurvenClickCheck()
{
    KurvenAuswerten();
}

void TFOOrvexAuswertung::BtnAlleKurvenanClick()
{
    for (int i = 0; i < 4; ++i)
        Kurven->SetChecked(i, true);
    KurvenAuswerten();
}

void TFOOrvexAuswertung::KurvenAuswerten()
{
    fChartAktiv[1] = Kurven->Checked(0) || Kurven->Checked(1);
    fChartAktiv[2] = Kurven->Checked(2) || Kurven->Checked(3);
    ChartsAktualisieren();
}

void TFOOrvexAuswertung::KanaeleClickCheck()
{
    // The item whose state differs from the one remembered is the clicked one.
    int clicked = 0;
    for (int i = 0; i < Kanaele->Count(); ++i)
        if (Kanaele->Checked(i) != fKanalAktiv[i + 1])
            clicked = i;
    if (togglemode->Checked()) {
        const bool state = Kanaele->Checked(clicked);
        for (int i = 0; i < Kanaele->Count(); ++i)
            if (i != clicked)
                Kanaele->SetChecked(i, !state);
    }
    for (int i = 0; i < Kanaele->Count(); ++i)
        fKanalAktiv[i + 1] = Kanaele->Checked(i);
    ChartsAktualisieren();
}

void TFOOrvexAuswertung::Button4Click()
{
    for (int i = 0; i < 9; ++i)
        Kanaele->SetChecked(i, true);
    for (int i = 0; i < 9; ++i)
        fKanalAktiv[i + 1] = Kanaele->Checked(i);
    ChartsAktualisieren();
}

void TFOOrvexAuswertung::Button3Click()
{
    for (int i = 0; i < 9; ++i)
        Kanaele->SetChecked(i, false);
    for (int i = 0; i < 9; ++i)
        fKanalAktiv[i + 1] = Kanaele->Checked(i);
    ChartsAktualisieren();
}

void TFOOrvexAuswertung::ChartsAktualisieren()
{
    if (fXAchseGeaendert) {
        SerienZuweisen(0, true);
        SerienVorbereiten(true);
    }
    fCharts[1]->SetColor(fFarbeChart);
    fCharts[2]->SetColor(fFarbeChart);
    Ser_U->SetActive(Kurven->Checked(0));
    Ser_T->SetActive(Kurven->Checked(2));
    Ser_rF->SetActive(Kurven->Checked(3));
    Ser_T->SetSeriesColor(fFarbeT);
    Ser_rF->SetSeriesColor(fFarbeRF);
    Ser_U->SetSeriesColor(fFarbeU);
    for (int k = 1; k <= 9; ++k) {
        fSerI[k]->SetActive(Kurven->Checked(1) && fKanalAktiv[k]);
        // Only the first current follows the colour setting; the others keep their own.
        Ser_I1->SetSeriesColor(fFarbeI);
    }
    ChartsAnordnen();
    RandSetzen(fCharts[1], fRand);
    AchseUebertragen(fAchsen[1], fAchsen[1]);
    AchseUebertragen(fAchsen[2], fAchsen[2]);
    RandSetzen(fCharts[2], fRand);
    AchseUebertragen(fAchsen[3], fAchsen[3]);
    AchseUebertragen(fAchsen[4], fAchsen[4]);
    if (Werkzeuge)
        Werkzeuge->AnsichtAktualisiert();
}

void TFOOrvexAuswertung::ChartsAnordnen()
{
    int n = (fChartAktiv[1] ? 1 : 0) + (fChartAktiv[2] ? 1 : 0);
    const int h = n > 0 ? ChartPanel->height() / n - 10 : 0;
    int top = 0, bottom = 1;
    for (int c = 1; c <= 2; ++c) {
        TChart* chart = fCharts[c];
        if (fChartAktiv[c]) {
            --n;
            chart->SetBufferedDisplay(true);
            TChartAxis* ax = chart->BottomAxis();
            int height;
            if (n != 0) {
                // Another chart lies below: it carries the scale.
                height = h;
                ax->SetLabels(false);
                ax->Ticks().SetVisible(false);
                ax->Title().SetVisible(false);
                ax->SetTickOnLabelsOnly(false);
                ax->MinorTicks().SetVisible(false);
                ax->TicksInner().SetVisible(false);
            } else {
                height = ChartPanel->height() - bottom;
                ax->Ticks().SetVisible(true);
                ax->SetLabels(true);
                ax->Title().SetVisible(true);
            }
            chart->setGeometry(0, top, ChartPanel->width(), height);
            ax->Grid().SetStyle(psDot);
            ax->Grid().SetVisible(true);
            ax->Grid().SetSmallDots(true);
            ax->SetVisible(true);
            chart->Legend().SetVisible(false);
            bottom = chart->y() + chart->height();
            top += h;
            fKlickAchse = ax;
        }
        chart->setVisible(fChartAktiv[c]);
        chart->Invalidate();
    }
}

void TFOOrvexAuswertung::RandSetzen(TChart* Chart, const TRect& Rand)
{
    Chart->SetMarginUnits(muPixels);
    Chart->SetMarginLeft(Rand.Left);
    Chart->SetMarginTop(Rand.Top);
    Chart->SetMarginRight(Rand.Right);
    Chart->SetMarginBottom(Rand.Bottom);
}

void TFOOrvexAuswertung::AchseUebertragen(TChartAxis* Quelle, TChartAxis* Ziel)
{
    // Quelle and Ziel are the same axis everywhere: the first step clears Automatic
    // before the third reads it, so the axis ends fixed at its present limits.
    Ziel->SetMinMax(Quelle->Minimum(), Quelle->Maximum());
    Ziel->SetIncrement(Quelle->Increment());
    Ziel->SetAutomatic(Quelle->Automatic());
    Ziel->SetAxisValuesFormat(Quelle->AxisValuesFormat());
    Ziel->Title().SetCaption(Quelle->Title().Caption());
    const TColor c = Quelle->Title().Font().Color();
    Ziel->Title().Font().SetColor(c);
    Ziel->LabelsFont().SetColor(c);
    Ziel->Axis().SetColor(c);
    Ziel->Grid().SetColor(c);
    Ziel->Ticks().SetColor(c);
    Ziel->MinorGrid().SetColor(c);
    Ziel->SetStartPosition(Quelle->StartPosition());
    Ziel->SetEndPosition(Quelle->EndPosition());
    Ziel->Grid().SetStyle(psDot);
    Ziel->Grid().SetSmallDots(true);
    Ziel->Grid().SetVisible(true);
}

// ---------------------------------------------------------------- dialog and zoom

void TFOOrvexAuswertung::Bearbeiten1Click()
{
    if (!FoSetupCharts)
        return;
    FoSetupCharts->ChartsBearbeiten([this] { ChartsAktualisieren(); }, fFarbeChart, fFarbeT, fFarbeI, fFarbeU,
                                    fFarbeRF, fRand, fZeitstempel, fXAchseGeaendert);
}

void TFOOrvexAuswertung::charts_Zoom(TCustomChart* Sender)
{
    if (fZoomLaeuft)
        return;
    fZoomLaeuft = true;
    // Both charts have one width and one margin: the pixels mean the same there.
    const TRect r{Sender->Zoom().X0, 0, Sender->Zoom().X1, 0};
    for (int c = 1; c <= 2; ++c) {
        TChart* other = fCharts[c];
        if (other == Sender)
            continue;
        other->ZoomRect(r);
        // A chart with every curve off has no range of its own to read the pixels
        // through (laid out without curves, its time axis falls to 0..0): it takes the
        // range the pixels mean on the zoomed chart, so it shows the zoom when it returns.
        // Its undo still restores the automatic range.
        if (other->CountActiveSeries() == 0)
            other->BottomAxis()->SetMinMax(Sender->BottomAxis()->Minimum(), Sender->BottomAxis()->Maximum());
    }
    fZoomLaeuft = false;
}

void TFOOrvexAuswertung::charts_UndoZoom(TCustomChart* Sender)
{
    if (fZoomLaeuft)
        return;
    fZoomLaeuft = true;
    for (int c = 1; c <= 2; ++c)
        if (fCharts[c] != Sender)
            fCharts[c]->UndoZoom();
    fZoomLaeuft = false;
}

void TFOOrvexAuswertung::FormKeyDown(int key)
{
    if (key == Qt::Key_End)
        ProgrammBeenden();
}

void TFOOrvexAuswertung::BitBtn1Click()
{
    ProgrammBeenden();
}

void TFOOrvexAuswertung::ProgrammBeenden()
{
    ProgrammEndet = true;
    if (DMorvex) {
        // The datasets go first, newest registration first, then the connection.
        TFIBDatabase* db = DMorvex->orvexDB.get();
        for (int i = db->FIBBaseCount() - 1; i >= 0; --i) {
            const TFIBBase* base = db->FIBBases(i);
            TComponent* statement = base ? base->Owner() : nullptr;
            auto* ds = statement ? dynamic_cast<TFIBDataSet*>(statement->Owner()) : nullptr;
            if (ds && ds->Active())
                ds->Close();
        }
        db->SetConnected(false);
    }
    QCoreApplication::processEvents();
    DelayMs(200);
    close();
}

void TFOOrvexAuswertung::FormCloseQuery(bool& canClose)
{
    // Closed by the title bar or the system: no selection may run while the controls go.
    if (!ProgrammEndet)
        LookupAuftrag->OnChange = nullptr;
    canClose = true;
}

void TFOOrvexAuswertung::FormClose()
{
    if (Werkzeuge)
        Werkzeuge->VorDemSpeichern();
    EinstellungenSpeichern();
}

bool TFOOrvexAuswertung::event(QEvent* e)
{
    if (e->type() == QEvent::WindowActivate)
        FormActivate();
    return QWidget::event(e);
}

void TFOOrvexAuswertung::resizeEvent(QResizeEvent* e)
{
    QWidget::resizeEvent(e);
    FormResize();
}

void TFOOrvexAuswertung::showEvent(QShowEvent* e)
{
    QWidget::showEvent(e);
    // Offscreen and some window managers never activate; the first show counts then.
    FormActivate();
}

void TFOOrvexAuswertung::closeEvent(QCloseEvent* e)
{
    bool canClose = true;
    FormCloseQuery(canClose);
    if (!canClose) {
        e->ignore();
        return;
    }
    FormClose();
    e->accept();
    if (OnGeschlossen)
        OnGeschlossen();
}

bool TFOOrvexAuswertung::eventFilter(QObject* watched, QEvent* e)
{
    if (e->type() == QEvent::KeyPress && !ProgrammEndet) {
        auto* w = qobject_cast<QWidget*>(watched);
        if (w && w->window() == this && static_cast<QKeyEvent*>(e)->key() == Qt::Key_End) {
            FormKeyDown(Qt::Key_End);
            return true;
        }
    }
    return QWidget::eventFilter(watched, e);
}
