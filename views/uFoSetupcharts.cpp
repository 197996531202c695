#include "views/uFoSetupcharts.h"

#include "dbcontrols/TJvOfficeColorButton.h"
#include "dbcontrols/TdxCheckEdit.h"
#include "dbcontrols/TdxSpinEdit.h"
#include "frame/ZELInit.h"

#include <QApplication>
#include <QGuiApplication>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QStyle>

TFoSetupCharts* FoSetupCharts = nullptr;

namespace {

QLabel* MakeLabel(const QString& name, const QString& caption, QWidget* parent, int x, int y, int w)
{
    auto* l = new QLabel(caption, parent);
    l->setObjectName(name);
    l->setGeometry(x, y, w, 22);
    return l;
}

TJvOfficeColorButton* MakeColorButton(const QString& name, QWidget* parent, int x, int y)
{
    auto* b = new TJvOfficeColorButton(parent);
    b->setObjectName(name);
    b->move(x, y);
    return b;
}

TdxSpinEdit* MakeSpin(const QString& name, int maxValue, QWidget* parent, int x, int y)
{
    auto* s = new TdxSpinEdit(parent);
    s->setObjectName(name);
    s->SetMinValue(0);
    s->SetMaxValue(maxValue);
    s->setGeometry(x, y, 50, 22);
    return s;
}

} // namespace

TFoSetupCharts::TFoSetupCharts(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("FoSetupCharts"));
    // A tool window with a title but no buttons in it: it leaves only by OK,
    // cancel or Escape.
    setWindowFlags(Qt::Tool | Qt::CustomizeWindowHint | Qt::WindowTitleHint);
    setWindowTitle(QStringLiteral("Charteinstellungen"));
    setFixedSize(279, 190);

    // Colours on the left, one row per curve kind and one for the chart face.
    const int colLabel = 12, colButton = 56, row0 = 8, rowStep = 24;
    Label1 = MakeLabel(QStringLiteral("Label1"), QStringLiteral("I"), this, colLabel, row0, 40);
    EdCol_I = MakeColorButton(QStringLiteral("EdCol_I"), this, colButton, row0);
    Label2 = MakeLabel(QStringLiteral("Label2"), QStringLiteral("U"), this, colLabel, row0 + rowStep, 40);
    edCol_U = MakeColorButton(QStringLiteral("edCol_U"), this, colButton, row0 + rowStep);
    Label3 = MakeLabel(QStringLiteral("Label3"), QStringLiteral("rF"), this, colLabel, row0 + 2 * rowStep, 40);
    EdCol_RF = MakeColorButton(QStringLiteral("EdCol_RF"), this, colButton, row0 + 2 * rowStep);
    Label4 = MakeLabel(QStringLiteral("Label4"), QStringLiteral("Temp"), this, colLabel, row0 + 3 * rowStep, 40);
    EdCol_Temp = MakeColorButton(QStringLiteral("EdCol_Temp"), this, colButton, row0 + 3 * rowStep);
    Label5 = MakeLabel(QStringLiteral("Label5"), QStringLiteral("Chart"), this, colLabel, row0 + 4 * rowStep, 40);
    EdCol_Chart = MakeColorButton(QStringLiteral("EdCol_Chart"), this, colButton, row0 + 4 * rowStep);

    // Margins on the right, each box placed like the side it stands for.
    const int sideLeft = 135, middle = 177, sideRight = 219;
    Label6 = MakeLabel(QStringLiteral("Label6"), QStringLiteral("Chart-Ränder"), this, sideLeft, row0,
                       sideRight + 50 - sideLeft);
    Label6->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
    EDSTop = MakeSpin(QStringLiteral("EDSTop"), kRandObenUntenMax, this, middle, row0 + rowStep);
    EDSLeft = MakeSpin(QStringLiteral("EDSLeft"), kRandSeiteMax, this, sideLeft, row0 + 2 * rowStep);
    EDSRight = MakeSpin(QStringLiteral("EDSRight"), kRandSeiteMax, this, sideRight, row0 + 2 * rowStep);
    EDSBottom = MakeSpin(QStringLiteral("EDSBottom"), kRandObenUntenMax, this, middle, row0 + 3 * rowStep);

    EDZT = new TdxCheckEdit(QStringLiteral("X-Achse absolutes Datum"), this);
    EDZT->setObjectName(QStringLiteral("EDZT"));
    EDZT->setGeometry(colLabel, row0 + 5 * rowStep, 255, 22);

    BitBtn1 = new QPushButton(style()->standardIcon(QStyle::SP_DialogCancelButton), QStringLiteral("Abbrechen"), this);
    BitBtn1->setObjectName(QStringLiteral("BitBtn1"));
    BitBtn1->setAutoDefault(false);
    BitBtn1->setGeometry(279 - 12 - 90, 190 - 8 - 25, 90, 25);
    BitBtn2 = new QPushButton(style()->standardIcon(QStyle::SP_DialogOkButton), QStringLiteral("OK"), this);
    BitBtn2->setObjectName(QStringLiteral("BitBtn2"));
    BitBtn2->setDefault(true);
    BitBtn2->setGeometry(279 - 12 - 90 - 8 - 90, 190 - 8 - 25, 90, 25);

    for (TJvOfficeColorButton* b : {EdCol_I, edCol_U, EdCol_RF, EdCol_Temp, EdCol_Chart})
        b->OnColorChange = [this](QObject*) { EdChange(); };
    for (TdxSpinEdit* s : {EDSTop, EDSLeft, EDSRight, EDSBottom})
        s->OnChange = [this](QObject*) { EdChange(); };
    EDZT->OnChange = [this](QObject*) { EDZTChange(); };
    connect(BitBtn1, &QPushButton::clicked, this, &TFoSetupCharts::BitBtn1Click);
    connect(BitBtn2, &QPushButton::clicked, this, &TFoSetupCharts::BitBtn2Click);

    setTabOrder(EdCol_I, edCol_U);
    setTabOrder(edCol_U, EdCol_RF);
    setTabOrder(EdCol_RF, EdCol_Temp);
    setTabOrder(EdCol_Temp, EdCol_Chart);
    setTabOrder(EdCol_Chart, EDSTop);
    setTabOrder(EDSTop, EDSLeft);
    setTabOrder(EDSLeft, EDSRight);
    setTabOrder(EDSRight, EDSBottom);
    setTabOrder(EDSBottom, EDZT);
    setTabOrder(EDZT, BitBtn2);
    setTabOrder(BitBtn2, BitBtn1);
}

TFoSetupCharts::~TFoSetupCharts()
{
    if (FoSetupCharts == this)
        FoSetupCharts = nullptr;
}

void TFoSetupCharts::EdChange()
{
    fGeaendert = true;
}

void TFoSetupCharts::EDZTChange()
{
    fGeaendert = true;
    fZeitGeaendert = true;
}

void TFoSetupCharts::BitBtn1Click()
{
    done(2);
}

void TFoSetupCharts::BitBtn2Click()
{
    done(1);
}

void TFoSetupCharts::reject()
{
    BitBtn1Click();
}

void TFoSetupCharts::Zentrieren()
{
    QRect area;
    if (QWidget* p = parentWidget())
        area = p->window()->frameGeometry();
    else if (QScreen* s = QGuiApplication::primaryScreen())
        area = s->availableGeometry();
    if (area.isValid())
        move(area.center() - rect().center());
}

void TFoSetupCharts::ChartsBearbeiten(const std::function<void()>& Nachher, TColor& Farbe_Chart, TColor& Farbe_T,
                                      TColor& Farbe_I, TColor& Farbe_U, TColor& Farbe_rF, TRect& Rand,
                                      bool& Zeitstempel, bool& XGeaendert)
{
    // The main window stays live while the dialog is open, so its menu can ask
    // again; a second loop would restore and exchange the colours twice.
    if (fLaeuft) {
        raise();
        activateWindow();
        return;
    }

    const bool altZeitstempel = Zeitstempel;
    const TRect altRand = Rand;
    const TColor altChart = Farbe_Chart, altT = Farbe_T, altI = Farbe_I, altU = Farbe_U, altRF = Farbe_rF;

    EDSLeft->SetIntValue(Rand.Left);
    EDSRight->SetIntValue(Rand.Right);
    EDSTop->SetIntValue(Rand.Top);
    EDSBottom->SetIntValue(Rand.Bottom);
    EdCol_Chart->SetSelectedColor(Farbe_Chart);
    EdCol_Temp->SetSelectedColor(Farbe_T);
    edCol_U->SetSelectedColor(Farbe_U);
    EdCol_I->SetSelectedColor(Farbe_I);
    EdCol_RF->SetSelectedColor(Farbe_rF);
    EDZT->SetChecked(Zeitstempel);

    // Filling the controls fires their change handlers; that is not a change.
    fGeaendert = false;
    fZeitGeaendert = false;

    setResult(0);
    fLaeuft = true;
    QPointer<TFoSetupCharts> self(this);
    // Also when Nachher raises: the dialog must not stay open without its loop.
    struct Aufraeumen {
        QPointer<TFoSetupCharts>& form;
        ~Aufraeumen()
        {
            if (!form)
                return;
            form->fLaeuft = false;
            form->hide();
        }
    } aufraeumen{self};
    Zentrieren();
    show();

    // Busy polling on purpose: the caller's charts and the main window stay live,
    // and every change shows without delay.
    while (self && isVisible()) {
        QCoreApplication::processEvents();
        if (!self)
            break;
        // Quitting asks every window to close, which ends the loop as cancel; the
        // orderly end of the main window does not wait for that.
        if (ProgrammEndet) {
            hide();
            break;
        }
        if (fGeaendert) {
            Rand.Left = EDSLeft->IntValue();
            Rand.Top = EDSTop->IntValue();
            Rand.Right = EDSRight->IntValue();
            Rand.Bottom = EDSBottom->IntValue();
            Farbe_Chart = EdCol_Chart->SelectedColor();
            Farbe_T = EdCol_Temp->SelectedColor();
            Farbe_I = EdCol_I->SelectedColor();
            Farbe_U = edCol_U->SelectedColor();
            Farbe_rF = EdCol_RF->SelectedColor();
            if (fZeitGeaendert) {
                XGeaendert = true;
                Zeitstempel = EDZT->Checked();
                fZeitGeaendert = false;
            }
            fGeaendert = false;
            if (Nachher)
                Nachher();
        }
    }

    const int ergebnis = self ? result() : 2;

    if (ergebnis != 1) {
        Rand = altRand;
        Farbe_Chart = altChart;
        Farbe_T = altT;
        Farbe_rF = altRF;
        Zeitstempel = altZeitstempel;
        // Cancel hands I and U back exchanged; the exchange is deliberate and must stay.
        Farbe_I = altU;
        Farbe_U = altI;
    }
}
