#include "views/uFoSetupAx.h"

#include "chart/TeEngine.h"
#include "dbcontrols/AdvTrackBar.h"
#include "dbcontrols/TJvColorComboBox.h"
#include "dbcontrols/TdxCheckEdit.h"
#include "dbcontrols/TdxDBCurrencyEdit.h"
#include "dbcontrols/TdxEdit.h"
#include "dbcontrols/TdxSpinEdit.h"
#include "frame/ThdTimer.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <cmath>
#include <limits>

TFoSetupAx* FoSetupAx = nullptr;

namespace {

// Rounds half to even, as the sliders' integer scale expects, within the int range.
int Round(double v)
{
    if (std::isnan(v))
        return 0;
    constexpr double lo = std::numeric_limits<int>::min(), hi = std::numeric_limits<int>::max();
    const double r = std::nearbyint(v);
    return r <= lo ? std::numeric_limits<int>::min() : r >= hi ? std::numeric_limits<int>::max() : int(r);
}

QLabel* MakeLabel(const QString& caption, QWidget* parent, int x, int y, int w)
{
    auto* l = new QLabel(caption, parent);
    l->setGeometry(x, y, w, 18);
    return l;
}

TdxCurrencyEdit* MakeNumber(const QString& name, QWidget* parent, int x, int y, int w)
{
    auto* e = new TdxCurrencyEdit(parent);
    e->setObjectName(name);
    e->SetDisplayFormat(QStringLiteral(",0.00"));
    e->SetDecimalPlaces(4);
    e->SetNullable(false);
    e->SetChangeWhileTyping(true);
    e->SetValue(0);
    e->setGeometry(x, y, w, 22);
    return e;
}

TAdvRangeSlider* MakeSlider(const QString& name, QWidget* parent, int x, int y, int h)
{
    auto* s = new TAdvRangeSlider(parent);
    s->setObjectName(name);
    s->SetOrientation(trVertical);
    s->TrackHint = false;
    s->TickMarkStyle = tsNone;
    s->ThumbLeft.Size = s->ThumbRight.Size = 12;
    s->ThumbLeft.Shape = s->ThumbRight.Shape = tsPointer;
    s->SetMax(100);
    s->SetPositionRight(10);
    s->setGeometry(x, y, 30, h);
    return s;
}

TdxSpinEdit* MakeSpin(const QString& name, int minValue, int maxValue, QWidget* parent, int x, int y)
{
    auto* s = new TdxSpinEdit(parent);
    s->setObjectName(name);
    s->SetMinValue(minValue);
    s->SetMaxValue(maxValue);
    s->setGeometry(x, y, 56, 22);
    return s;
}

} // namespace

TFoSetupAx::TFoSetupAx(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("FoSetupAx"));
    setWindowFlags(Qt::Tool | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
    setFixedSize(268, 238);

    // Title and format across the top; below them the position slider with its two
    // percentages, and the value slider with upper limit, step and lower limit in
    // the order they stand on a vertical scale; colour and the way back at the foot.
    LbTitle = MakeLabel(QStringLiteral("Titel"), this, 8, 10, 44);
    EdTitle = new TdxEdit(this);
    EdTitle->setObjectName(QStringLiteral("EdTitle"));
    EdTitle->setGeometry(56, 8, 204, 22);
    LbForm = MakeLabel(QStringLiteral("Format"), this, 8, 37, 44);
    EdForm = new TdxEdit(this);
    EdForm->setObjectName(QStringLiteral("EdForm"));
    EdForm->setGeometry(56, 35, 90, 22);
    Checkauto = new TdxCheckEdit(QStringLiteral("automatisch"), this);
    Checkauto->setObjectName(QStringLiteral("Checkauto"));
    Checkauto->setGeometry(156, 35, 104, 22);

    const int top = 82, sliderH = 118;
    LbSkalenPos = MakeLabel(QStringLiteral("Skalenposition"), this, 8, 62, 100);
    EDSkalenPos = MakeSlider(QStringLiteral("EDSkalenPos"), this, 8, top, sliderH);
    LbPosO = MakeLabel(QStringLiteral("Oben"), this, 42, top + 24, 56);
    EDPosO = MakeSpin(QStringLiteral("EDPosO"), 0, 10, this, 42, top);
    LbPosU = MakeLabel(QStringLiteral("Unten"), this, 42, top + sliderH - 22 - 20, 56);
    EDPosU = MakeSpin(QStringLiteral("EDPosU"), 90, 100, this, 42, top + sliderH - 22);
    EDPosU->SetIntValue(90);

    LbSkalenwerte = MakeLabel(QStringLiteral("Skalenwert"), this, 116, 62, 100);
    EDSkalenwerte = MakeSlider(QStringLiteral("EDSkalenwerte"), this, 116, top, sliderH);
    EdHigh = MakeNumber(QStringLiteral("EdHigh"), this, 150, top, 110);
    LbInc = MakeLabel(QStringLiteral("Ticks"), this, 150, top + sliderH / 2 - 30, 60);
    EDInc = MakeNumber(QStringLiteral("EDInc"), this, 150, top + sliderH / 2 - 11, 110);
    EdNull = MakeNumber(QStringLiteral("EdNull"), this, 150, top + sliderH - 22, 110);
    EdNull->SetMinValue(-10000.0);
    EdNull->SetMaxValue(50000.0);

    LbColor = MakeLabel(QStringLiteral("Farbe"), this, 8, 210, 40);
    EDColor = new TJvColorComboBox(this);
    EDColor->setObjectName(QStringLiteral("EDColor"));
    EDColor->SetAllowCustomColors(true);
    EDColor->setGeometry(48, 208, 118, 24);
    BitBtn2 = new QPushButton(style()->standardIcon(QStyle::SP_ArrowBack), QStringLiteral("   zurück"), this);
    BitBtn2->setObjectName(QStringLiteral("BitBtn2"));
    BitBtn2->setAutoDefault(false);
    BitBtn2->setGeometry(172, 207, 88, 26);

    changeTimer = new TThreadedTimer(this);
    changeTimer->SetInterval(500);
    changeTimer->SetAllowZero(true);
    changeTimer->OnTimer = [this](TThreadedTimer*) { changeTimerTimer(); };

    for (TdxEdit* e : {EdTitle, EdForm})
        e->OnChange = [this](QObject*) { EdChange(); };
    EDColor->OnChange = [this](QObject*) { EdChange(); };
    Checkauto->OnChange = [this](QObject*) { EdChange(); };
    EDInc->OnChange = [this](QObject*) { EdChange(); };
    EdHigh->OnChange = [this](QObject*) { EdHighNullChange(); };
    EdNull->OnChange = [this](QObject*) { EdHighNullChange(); };
    EDSkalenwerte->OnChange = [this](QObject*) { EDSkalenWerteChange(); };
    EDSkalenPos->OnChange = [this](QObject*) { EDSkalenPosChange(); };
    EDPosO->OnChange = [this](QObject*) { EDPosOUChange(); };
    EDPosU->OnChange = [this](QObject*) { EDPosOUChange(); };
    connect(BitBtn2, &QPushButton::clicked, this, &TFoSetupAx::BitBtn2Click);
    // The window it belongs to may close while the dialog is open (a request of the
    // system): the dialog closes with it, so that nothing waits on it.
    if (parent)
        parent->installEventFilter(this);

    setTabOrder(EdTitle, EdForm);
    setTabOrder(EdForm, Checkauto);
    setTabOrder(Checkauto, EDPosO);
    setTabOrder(EDPosO, EDPosU);
    setTabOrder(EDPosU, EdHigh);
    setTabOrder(EdHigh, EDInc);
    setTabOrder(EDInc, EdNull);
    setTabOrder(EdNull, EDColor);
    setTabOrder(EDColor, BitBtn2);
}

TFoSetupAx::~TFoSetupAx()
{
    // The timer thread must not tick into a half-destroyed dialog.
    changeTimer->OnTimer = nullptr;
    changeTimer->SetEnabled(false);
    if (FoSetupAx == this)
        FoSetupAx = nullptr;
}

void TFoSetupAx::AchseBearbeiten(const std::function<void()>& Nachher, TChartAxis* Achse, int X, int Y)
{
    if (!Achse || isVisible())
        return;
    fLaedt = true;
    fPosSperre = true;
    fWertSperre = true;
    EdNull->SetValue(Achse->Minimum());
    EdHigh->SetValue(Achse->Maximum());
    EdForm->SetText(Achse->AxisValuesFormat());
    EdNull->SetDisplayFormat(EdForm->Text());
    EdHigh->SetDisplayFormat(EdForm->Text());
    EdTitle->SetText(Achse->Title().Caption());
    EDColor->SetColorValue(Achse->Title().Font().Color());
    EDPosO->SetIntValue(Round(Achse->StartPosition()));
    EDPosU->SetIntValue(Round(Achse->EndPosition()));
    EDSkalenPos->SetPositionLeft(Round(100 - Achse->EndPosition()));
    EDSkalenPos->SetPositionRight(Round(100 - Achse->StartPosition()));
    // The value slider offers twice the present upper limit.
    EDSkalenwerte->SetMax(Round(Achse->Maximum() * 2));
    EDSkalenwerte->SetMin(0);
    EDSkalenwerte->SetPositionLeft(Round(Achse->Minimum()));
    EDSkalenwerte->SetPositionRight(Round(Achse->Maximum()));
    // A step of 0 means "choose one": the dialog shows, and fixes, the one the axis
    // uses now.
    if (Achse->Increment() == 0)
        Achse->SetIncrement(Achse->CalcIncrement());
    EDInc->SetValue(Achse->Increment());
    Checkauto->SetChecked(Achse->Automatic());
    setWindowTitle(Achse->Title().Caption());
    fPosSperre = false;
    fWertSperre = false;
    move(X, Y);
    fAchse = Achse;
    fNachher = Nachher;
    fLaedt = false;
    exec();
}

void TFoSetupAx::Aenderung()
{
    fLetzteAenderung.start();
    changeTimer->SetEnabled(false);
    changeTimer->SetEnabled(true);
}

void TFoSetupAx::EdChange()
{
    Aenderung();
}

void TFoSetupAx::EDSkalenWerteChange()
{
    if (fWertSperre)
        return;
    fWertSperre = true;
    Checkauto->SetChecked(false);
    EdNull->SetValue(EDSkalenwerte->PositionLeft());
    EdHigh->SetValue(EDSkalenwerte->PositionRight());
    Aenderung();
    fWertSperre = false;
}

void TFoSetupAx::EdHighNullChange()
{
    if (fWertSperre)
        return;
    fWertSperre = true;
    Checkauto->SetChecked(false);
    const int low = Round(EdNull->Value()), high = Round(EdHigh->Value());
    EDSkalenwerte->SetPositionLeft(low);
    EDSkalenwerte->SetPositionRight(high);
    // A typed value beyond the slider's scale widens the scale, and the thumb
    // goes to the value.
    if (EDSkalenwerte->Min() > EdNull->Value()) {
        EDSkalenwerte->SetMin(low);
        EDSkalenwerte->SetPositionLeft(low);
    }
    if (EDSkalenwerte->Max() < EdHigh->Value()) {
        EDSkalenwerte->SetMax(high);
        EDSkalenwerte->SetPositionRight(high);
    }
    Aenderung();
    fWertSperre = false;
}

void TFoSetupAx::EDSkalenPosChange()
{
    if (fPosSperre)
        return;
    fPosSperre = true;
    EDPosU->SetIntValue(100 - EDSkalenPos->PositionLeft());
    EDPosO->SetIntValue(100 - EDSkalenPos->PositionRight());
    Aenderung();
    fPosSperre = false;
}

void TFoSetupAx::EDPosOUChange()
{
    if (fPosSperre)
        return;
    fPosSperre = true;
    EDSkalenPos->SetPositionLeft(100 - EDPosU->IntValue());
    EDSkalenPos->SetPositionRight(100 - EDPosO->IntValue());
    Aenderung();
    fPosSperre = false;
}

void TFoSetupAx::changeTimerTimer()
{
    // A tick already on its way to this thread when a change restarted the timer
    // belongs to the earlier change; the restarted wait brings the next one.
    if (fLetzteAenderung.isValid() && fLetzteAenderung.elapsed() < changeTimer->Interval())
        return;
    changeTimer->SetEnabled(false);
    if (fLaedt) {
        fLaedt = false;
        return;
    }
    if (!isVisible() || !fAchse)
        return;
    TChartAxis* a = fAchse;
    a->SetAxisValuesFormat(EdForm->Text());
    a->Title().SetCaption(EdTitle->Text());
    // The step field has no lower bound of its own; the axis refuses a negative one.
    a->SetIncrement(std::max(0.0, EDInc->Value()));
    a->SetAutomatic(Checkauto->Checked());
    if (!Checkauto->Checked()) {
        a->SetMinMax(EdNull->Value(), EdHigh->Value());
    } else {
        // The fields take the limits the axis finds in its series. Writing them
        // counts as input: "automatisch" goes off again, and the next round fixes
        // the axis at these limits.
        double low = a->Minimum(), high = a->Maximum();
        a->CalcMinMax(low, high);
        EdNull->SetValue(low);
        EdHigh->SetValue(high);
    }
    a->SetStartPosition(EDPosO->IntValue());
    a->SetEndPosition(EDPosU->IntValue());
    const TColor c = EDColor->ColorValue();
    a->Title().Font().SetColor(c);
    a->LabelsFont().SetColor(c);
    a->Axis().SetColor(c);
    a->Grid().SetColor(c);
    a->Ticks().SetColor(c);
    a->MinorGrid().SetColor(c);
    if (fNachher)
        fNachher();
    QCoreApplication::processEvents();
}

void TFoSetupAx::BitBtn2Click()
{
    close();
}

bool TFoSetupAx::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == parent() && event->type() == QEvent::Hide && isVisible())
        close();
    return QDialog::eventFilter(watched, event);
}
