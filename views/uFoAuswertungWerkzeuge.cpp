#include "views/uFoAuswertungWerkzeuge.h"

#include "chart/Chart.h"
#include "chart/TeCanvas.h"
#include "dbcontrols/TCheckListBox.h"
#include "frame/MessageDlg.h"
#include "frame/ZELColor.h"
#include "frame/ZELFormat.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"
#include "testdata/uDMorvex.h"
#include "views/uFoAuswertungUebersicht.h"

#include <QAction>
#include <QApplication>
#include <QBoxLayout>
#include <QClipboard>
#include <QFrame>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QShortcut>
#include <QTableWidget>
#include <QTimer>
#include <QToolTip>
#include <cmath>

namespace {
const QString kSektion = QStringLiteral("Auswertung");

// A mark or the cursor counts as hit within this many pixels of the mouse.
constexpr int kTreffer = 3;

QColor Kontrast(TColor hintergrund)
{
    const QColor c = ColorToQColor(hintergrund);
    return c.lightness() < 128 ? QColor(230, 230, 230) : QColor(60, 60, 60);
}
}

// The layer over a chart that carries the cursor line and the readout: drawn on
// its own, so that moving the mouse repaints no curve.
class TCursorEbene : public QWidget {
public:
    TCursorEbene(TAuswertungWerkzeuge* tools, TChart* chart) : QWidget(chart), t(tools), c(chart)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setAttribute(Qt::WA_NoSystemBackground);
        setGeometry(chart->rect());
        raise();
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        if (!t->CursorAktiv() || !t->XWerte())
            return;
        const TRect r = c->ChartRect();
        const double xv = (*t->XWerte())[t->fCursorZeile];
        TChartAxis* bottom = c->BottomAxis();
        const int x = bottom->CalcPosValue(xv);
        if (x < r.Left || x > r.Right)
            return;
        QPainter p(this);
        p.setPen(QPen(Kontrast(c->Color()), 1));
        p.drawLine(x, r.Top, x, r.Bottom);
        if (t->fAnzeigeChart != c)
            return;
        const auto lines = t->Anzeige();
        if (lines.empty())
            return;
        QFont f = font();
        f.setPointSize(9);
        p.setFont(f);
        const QFontMetrics fm(f);
        int width = 0;
        for (const auto& l : lines)
            width = std::max(width, fm.horizontalAdvance(l.Text));
        const int lineH = fm.height();
        QRect box(0, r.Top + 4, width + 12, int(lines.size()) * lineH + 8);
        box.moveLeft(x + 8 + box.width() > r.Right ? x - 8 - box.width() : x + 8);
        const QColor back = ColorToQColor(c->Color());
        p.setPen(QPen(Kontrast(c->Color()), 1));
        p.setBrush(QColor(back.red(), back.green(), back.blue(), 225));
        p.drawRect(box);
        int y = box.top() + 4 + fm.ascent();
        for (const auto& l : lines) {
            p.setPen(ColorToQColor(l.Farbe));
            p.drawText(box.left() + 6, y, l.Text);
            y += lineH;
        }
    }

private:
    TAuswertungWerkzeuge* t;
    TChart* c;
};

TAuswertungWerkzeuge::TAuswertungWerkzeuge(TFOOrvexAuswertung* window) : QObject(window), w(window)
{
    fUeberschreitung.fill(-1);
    Optionen.Laden();
    MenueBauen();

    for (int i = 1; i <= 2; ++i) {
        TChart* c = w->fCharts[i];
        fEbenen[i] = new TCursorEbene(this, c);
        c->installEventFilter(this);
        c->setMouseTracking(true);
        c->OnMouseMove = [this](TCustomChart* sender, Qt::KeyboardModifiers, int x, int y) { MausBewegt(sender, x, y); };
        c->OnAfterDraw = [this, c] { NachZeichnen(c); };
    }

    // The statistics below the charts, over the whole width.
    fStatistikPanel = new QFrame(w);
    fStatistikPanel->setObjectName(QStringLiteral("StatistikPanel"));
    auto* box = new QVBoxLayout(fStatistikPanel);
    box->setContentsMargins(4, 2, 4, 2);
    box->setSpacing(2);
    fBereichLabel = new QLabel(fStatistikPanel);
    fBereichLabel->setObjectName(QStringLiteral("StatistikBereich"));
    fTabelle = new QTableWidget(0, 6, fStatistikPanel);
    fTabelle->setObjectName(QStringLiteral("StatistikTabelle"));
    fTabelle->setHorizontalHeaderLabels({QStringLiteral("Kurve"), QStringLiteral("Minimum"), QStringLiteral("Maximum"),
                                         QStringLiteral("Mittelwert"), QStringLiteral("Letzter Wert"),
                                         QStringLiteral("Zeilen")});
    fTabelle->verticalHeader()->setVisible(false);
    fTabelle->verticalHeader()->setDefaultSectionSize(fTabelle->fontMetrics().height() + 4);
    fTabelle->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    fTabelle->setEditTriggers(QAbstractItemView::NoEditTriggers);
    fTabelle->setSelectionBehavior(QAbstractItemView::SelectRows);
    fTabelle->setContextMenuPolicy(Qt::ActionsContextMenu);
    auto* kopieren = new QAction(QStringLiteral("Als Text kopieren"), fTabelle);
    kopieren->setShortcut(QKeySequence::Copy);
    kopieren->setShortcutContext(Qt::WidgetShortcut);
    connect(kopieren, &QAction::triggered, this,
            [this] { QApplication::clipboard()->setText(StatistikText()); });
    fTabelle->addAction(kopieren);
    box->addWidget(fBereichLabel);
    box->addWidget(fTabelle);
    fStatistikPanel->setFixedHeight(13 * fTabelle->verticalHeader()->defaultSectionSize() + 40);
    if (auto* outer = qobject_cast<QBoxLayout*>(w->layout()))
        outer->addWidget(fStatistikPanel);
    fStatistikPanel->setVisible(Optionen.Statistik);
    fPanelBreite = w->Panel3->width();
}

TAuswertungWerkzeuge::~TAuswertungWerkzeuge()
{
    for (int i = 1; i <= 2; ++i)
        if (TChart* c = w->fCharts[i]) {
            c->OnMouseMove = nullptr;
            c->OnAfterDraw = nullptr;
        }
}

void TAuswertungWerkzeuge::MenueBauen()
{
    fMenue = new QMenu(QStringLiteral("Auswertung"), w->PopupMenu1);
    fMenue->setObjectName(QStringLiteral("MenueAuswertung"));
    const struct {
        const char* key;
        const char* text;
        bool TAuswertungOptionen::*flag;
    } toggles[] = {
        {"Cursor", "Cursor mit Messwertanzeige", &TAuswertungOptionen::Cursor},
        {"Marken", "Ereignis- und Fehlermarken", &TAuswertungOptionen::Marken},
        {"Statistik", "Statistik des sichtbaren Bereichs", &TAuswertungOptionen::Statistik},
        {"LogStromachse", "Logarithmische Stromachse", &TAuswertungOptionen::LogStromachse},
        {"Bauteilfarben", "Prüflinge in eigenen Farben", &TAuswertungOptionen::Bauteilfarben},
        {"Grenzwert", "Grenzwert I_MAX und Überschreitungen", &TAuswertungOptionen::Grenzwert},
    };
    QAction* fit = fMenue->addAction(QStringLiteral("Y-Achsen an Daten anpassen"));
    fit->setObjectName(QStringLiteral("Anpassen"));
    connect(fit, &QAction::triggered, this, &TAuswertungWerkzeuge::YAchsenAnpassen);
    fMenue->addSeparator();
    for (const auto& t : toggles) {
        QAction* a = fMenue->addAction(QString::fromUtf8(t.text));
        a->setObjectName(QLatin1String(t.key));
        a->setCheckable(true);
        a->setChecked(Optionen.*(t.flag));
        const QString key = QLatin1String(t.key);
        connect(a, &QAction::toggled, this, [this, key](bool on) { OptionUmschalten(key, on); });
    }
    // With every key off the context menu stays as it always was.
    const bool any = Optionen.Menue || Optionen.Cursor || Optionen.Marken || Optionen.Statistik ||
                     Optionen.Anpassen || Optionen.LogStromachse || Optionen.Bauteilfarben || Optionen.Grenzwert;
    if (any) {
        w->PopupMenu1->addSeparator();
        w->PopupMenu1->addMenu(fMenue);
    }
    fit->setVisible(Optionen.Anpassen || Optionen.Menue);
}

void TAuswertungWerkzeuge::OptionUmschalten(const QString& key, bool on)
{
    bool* flag = key == QLatin1String("Cursor")          ? &Optionen.Cursor
                 : key == QLatin1String("Marken")        ? &Optionen.Marken
                 : key == QLatin1String("Statistik")     ? &Optionen.Statistik
                 : key == QLatin1String("LogStromachse") ? &Optionen.LogStromachse
                 : key == QLatin1String("Bauteilfarben") ? &Optionen.Bauteilfarben
                 : key == QLatin1String("Grenzwert")     ? &Optionen.Grenzwert
                                                         : nullptr;
    if (!flag || *flag == on)
        return;
    *flag = on;
    WriteIniBool(kSektion, key, on);
    if (QAction* a = fMenue->findChild<QAction*>(key); a && a->isChecked() != on)
        a->setChecked(on);
    if (!Optionen.Cursor)
        CursorAus();
    // A tool switched on works on the run already loaded (the marks are read now).
    if (on)
        DatenGeladen(false);
    AnsichtAktualisiert();
}

const TChartValues* TAuswertungWerkzeuge::XWerte() const
{
    const TChartValuesPtr& x = w->fZeitstempel ? w->fWerteZeit : w->fWerteStd;
    return x ? x.get() : nullptr;
}

double TAuswertungWerkzeuge::SchwelleUA() const
{
    return Optionen.Schwelle_uA > 0 ? Optionen.Schwelle_uA : (AktVersuch ? AktVersuch->I_Max : 0);
}

void TAuswertungWerkzeuge::DatenGeladen(bool neuerLauf)
{
    fCursorZeile = -1;
    fMarken.clear();
    fUeberschreitung.fill(-1);
    fOhneDaten.fill(false);
    fZeilen = 0;
    fStatistikVon = 1;
    fStatistikBis = 0;
    // With every tool off a load costs what it always cost.
    if (!Optionen.IrgendeinWerkzeug())
        return;
    const TChartValues* x = XWerte();
    fZeilen = x ? SteigendeZeilen(*x, w->fAnzahlSaetze) : 0;
    if (fZeilen > 0) {
        const double schwelle = SchwelleUA() / std::max(w->fTeilerI, 1);
        for (int k = 1; k <= 9; ++k) {
            fOhneDaten[k] = OhneDaten(*w->fWerteI[k], fZeilen);
            if (schwelle > 0)
                fUeberschreitung[k] = ErsteUeberschreitung(*w->fWerteI[k], fZeilen, schwelle);
        }
    }
    if (Optionen.Marken && fZeilen > 0 && DMorvex && DMorvex->orvexDB && AktVersuch) {
        try {
            fMarken = MarkenLesen(*DMorvex->orvexDB, *DMorvex->TaMessdaten, AktVersuch->AuftragKey,
                                  Optionen.RoutineListe());
        } catch (const std::exception& e) {
            const auto* own = dynamic_cast<const Exception*>(&e);
            ShowMessage(QStringLiteral("Die Ereignismarken konnten nicht gelesen werden:\n") +
                        (own ? own->Message() : QString::fromLocal8Bit(e.what())));
        }
        std::vector<const TChartValues*> kanaele;
        for (int k = 1; k <= 9; ++k)
            kanaele.push_back(w->fWerteI[k].get());
        const TChartValues& stunden = *w->fWerteStd;
        for (TMarke& m : fMarken)
            if (m.IstFehler())
                m.Abgeschaltet = AbgeschalteterKanal(kanaele, fZeilen, ZeileBei(stunden, fZeilen, m.Stunde));
    }
    if (neuerLauf && Optionen.LogStromachse && fLogAktiv && !w->fRefreshLaeuft) {
        // A new run set the linear range of its own: it is the one to return to.
        TChartAxis* a = w->fAchsen[1];
        fLinMin = a->Minimum();
        fLinMax = a->Maximum();
        fLinInc = a->Increment();
        fLogAktiv = false;
    }
}

void TAuswertungWerkzeuge::AnsichtAktualisiert()
{
    FarbenSetzen();
    KanaeleBeschriften();
    if (Optionen.LogStromachse != fLogAktiv)
        LogStromachseSetzen(Optionen.LogStromachse);
    fStatistikPanel->setVisible(Optionen.Statistik);
    fStatistikVon = 1;
    fStatistikBis = 0;
    if (Optionen.Statistik)
        StatistikAktualisieren();
    for (TChart* c : {w->chart_U_I, w->Chart_T_RF})
        c->Invalidate();
    EbenenAktualisieren();
}

void TAuswertungWerkzeuge::VorDemSpeichern()
{
    if (fLogAktiv)
        LogStromachseSetzen(false);
}

void TAuswertungWerkzeuge::FarbenSetzen()
{
    if (Optionen.Bauteilfarben) {
        for (int k = 1; k <= 9; ++k)
            w->fSerI[k]->SetSeriesColor(Bauteilfarbe(k));
    } else if (fFarbenGesetzt) {
        // Back to the window's own look: the first current in its set colour, the others blue.
        w->fSerI[1]->SetSeriesColor(w->fFarbeI);
        for (int k = 2; k <= 9; ++k)
            w->fSerI[k]->SetSeriesColor(clBlue);
    }
    fFarbenGesetzt = Optionen.Bauteilfarben;
}

void TAuswertungWerkzeuge::KanaeleBeschriften()
{
    const bool names = Optionen.Bauteilfarben || Optionen.Grenzwert;
    TCheckListBox* list = w->Kanaele;
    for (int k = 1; k <= 9 && k <= list->Count(); ++k) {
        QListWidgetItem* item = list->item(k - 1);
        QString text = QStringLiteral(" %1").arg(k);
        QString tip;
        if (names) {
            const QString name = w->fBauteil[k].trimmed();
            if (!name.isEmpty())
                text += QStringLiteral("  ") + name;
            if (fZeilen > 0 && fOhneDaten[k])
                text += QStringLiteral("  keine Daten");
            if (Optionen.Grenzwert && fUeberschreitung[k] >= 0) {
                const int row = fUeberschreitung[k];
                text += QStringLiteral("  > ab %1 h").arg(Zahl((*w->fWerteStd)[row], 1));
                tip = QStringLiteral("Schwelle %1 µA überschritten ab %2 (%3 h)")
                          .arg(Zahl(SchwelleUA(), 3),
                               FormatDateTime(QStringLiteral("dd.mm.yyyy hh:nn:ss"), (*w->fWerteZeit)[row]),
                               Zahl((*w->fWerteStd)[row], 2));
            }
        }
        // Setting the text must not count as a click on the box.
        const QSignalBlocker quiet(list);
        item->setText(text);
        item->setToolTip(tip);
        item->setForeground(Optionen.Bauteilfarben ? QBrush(ColorToQColor(Bauteilfarbe(k))) : QBrush());
        if (Optionen.Grenzwert && fUeberschreitung[k] >= 0) {
            QFont f = item->font();
            f.setBold(true);
            item->setFont(f);
        } else {
            item->setFont(list->font());
        }
    }
    const int wide = names ? std::max(fPanelBreite, 200) : fPanelBreite;
    if (w->Panel3->width() != wide)
        w->Panel3->setFixedWidth(wide);
}

std::vector<const TChartValues*> TAuswertungWerkzeuge::KurvenAufAchse(int achse) const
{
    std::vector<const TChartValues*> out;
    auto add = [&out](TFastLineSeries* s, const TChartValuesPtr& y) {
        if (s && s->Active() && y)
            out.push_back(y.get());
    };
    switch (achse) {
    case 1:
        for (int k = 1; k <= 9; ++k)
            add(w->fSerI[k], w->fWerteI[k]);
        break;
    case 2: add(w->Ser_U.get(), w->fWerteU); break;
    case 3: add(w->Ser_T.get(), w->fWerteT); break;
    case 4: add(w->Ser_rF.get(), w->fWerteRF); break;
    default: break;
    }
    return out;
}

void TAuswertungWerkzeuge::YAchsenAnpassen()
{
    const TChartValues* x = XWerte();
    if (!x || fZeilen == 0) {
        ShowMessage(QStringLiteral("Es ist kein Versuch geladen: die Achsen bleiben, wie sie sind."));
        return;
    }
    TChartAxis* bottom = w->chart_U_I->BottomAxis();
    const double von = bottom->IMinimum, bis = bottom->IMaximum;
    for (int n = 1; n <= 4; ++n) {
        const auto ys = KurvenAufAchse(n);
        TChartAxis* a = w->fAchsen[n];
        double lo = 0, hi = 0;
        if (n == 1 && fLogAktiv) {
            if (LogBereich(ys, *x, fZeilen, von, bis, lo, hi))
                a->SetMinMax(lo, hi);
            continue;
        }
        if (!DatenBereich(ys, *x, fZeilen, von, bis, lo, hi))
            continue;
        a->SetMinMax(lo, hi);
        // A round step that gives about ten labels.
        const double raw = (hi - lo) / 10;
        const double mag = std::pow(10.0, std::floor(std::log10(raw)));
        double step = mag;
        for (double f : {1.0, 2.0, 2.5, 5.0, 10.0})
            if (f * mag >= raw) {
                step = f * mag;
                break;
            }
        a->SetIncrement(step);
    }
    for (TChart* c : {w->chart_U_I, w->Chart_T_RF})
        c->Invalidate();
}

void TAuswertungWerkzeuge::LogStromachseSetzen(bool on)
{
    TChartAxis* a = w->fAchsen[1];
    if (!a)
        return;
    if (on) {
        if (!fLogAktiv) {
            fLinMin = a->Minimum();
            fLinMax = a->Maximum();
            fLinInc = a->Increment();
            if (!a->Logarithmic())   // after a new run the scale still carries our format
                fLinFormat = a->AxisValuesFormat();
        }
        double lo = 0.001, hi = std::max(fLinMax, 1.0);
        const TChartValues* x = XWerte();
        if (x && fZeilen > 0) {
            double l = 0, h = 0;
            if (LogBereich(KurvenAufAchse(1), *x, fZeilen, (*x)[0], (*x)[fZeilen - 1], l, h)) {
                lo = l;
                hi = std::max(h, fLinMax > 0 ? fLinMax : h);
            }
        }
        if (!(lo > 0) || !(hi > lo))
            hi = lo * 1000;
        a->SetLogarithmic(true);
        a->SetMinMax(lo, hi);
        a->SetIncrement(0);   // decades
        a->SetAxisValuesFormat(QStringLiteral("#,##0.######"));   // small decades must not read "0"
        fLogAktiv = true;
    } else if (fLogAktiv) {
        a->SetLogarithmic(false);
        a->SetMinMax(fLinMin, fLinMax);
        a->SetIncrement(fLinInc);
        a->SetAxisValuesFormat(fLinFormat);
        fLogAktiv = false;
    }
    w->chart_U_I->Invalidate();
}

// ---------------------------------------------------------------- cursor and readout

void TAuswertungWerkzeuge::CursorSetzen(double x, TCustomChart* chart)
{
    const TChartValues* xs = XWerte();
    if (!Optionen.Cursor || !xs || fZeilen == 0)
        return;
    const int row = std::max(ZeileBei(*xs, fZeilen, x), 0);
    if (chart)
        fAnzeigeChart = chart;
    if (row == fCursorZeile)
        return;
    fCursorZeile = row;
    EbenenAktualisieren();
}

void TAuswertungWerkzeuge::CursorSchritt(int rows)
{
    if (!CursorAktiv() || fZeilen == 0)
        return;
    fCursorZeile = std::clamp(fCursorZeile + rows, 0, fZeilen - 1);
    EbenenAktualisieren();
}

void TAuswertungWerkzeuge::CursorAus()
{
    if (fCursorZeile < 0)
        return;
    fCursorZeile = -1;
    EbenenAktualisieren();
}

void TAuswertungWerkzeuge::EbenenAktualisieren()
{
    for (int i = 1; i <= 2; ++i) {
        fEbenen[i]->setGeometry(w->fCharts[i]->rect());
        fEbenen[i]->raise();
        fEbenen[i]->update();
    }
}

QString TAuswertungWerkzeuge::Zahl(double v, int nachkomma) const
{
    return FloatToFixed(nachkomma, v);
}

QString TAuswertungWerkzeuge::XText(double x) const
{
    return w->fZeitstempel ? FormatDateTime(QStringLiteral("dd.mm.yyyy hh:nn:ss"), x)
                           : Zahl(x, 2) + QStringLiteral(" h");
}

std::vector<TAuswertungWerkzeuge::TAnzeigeZeile> TAuswertungWerkzeuge::Anzeige() const
{
    std::vector<TAnzeigeZeile> out;
    if (!CursorAktiv() || fCursorZeile >= fZeilen)
        return out;
    const int i = fCursorZeile;
    const TColor text = w->fCharts[1] && ColorToQColor(w->fCharts[1]->Color()).lightness() < 128 ? clWhite : clBlack;
    out.push_back({FormatDateTime(QStringLiteral("dd.mm.yyyy hh:nn:ss"), (*w->fWerteZeit)[i]) +
                       QStringLiteral("   ") + Zahl((*w->fWerteStd)[i], 2) + QStringLiteral(" h"),
                   text});
    const QString einheitI = QString(w->fEinheitI).remove(u'[').remove(u']');
    auto add = [&](TFastLineSeries* s, const QString& name, const TChartValuesPtr& y, int nachkomma,
                   const QString& einheit) {
        if (s && s->Active() && y && i < static_cast<int>(y->size()))
            out.push_back({name + QStringLiteral(": ") + Zahl((*y)[i], nachkomma) + u' ' + einheit, s->SeriesColor()});
    };
    add(w->Ser_U.get(), QStringLiteral("U"), w->fWerteU, 1, QStringLiteral("V"));
    for (int k = 1; k <= 9; ++k) {
        QString name = QStringLiteral("I%1").arg(k);
        if (!w->fBauteil[k].trimmed().isEmpty())
            name += QStringLiteral(" (") + w->fBauteil[k].trimmed() + u')';
        add(w->fSerI[k], name, w->fWerteI[k], w->fNachkommaI, einheitI);
    }
    add(w->Ser_T.get(), QStringLiteral("T"), w->fWerteT, 1, QStringLiteral("°C"));
    add(w->Ser_rF.get(), QStringLiteral("rF"), w->fWerteRF, 1, QStringLiteral("%"));
    return out;
}

void TAuswertungWerkzeuge::MausBewegt(TCustomChart* chart, int x, int y)
{
    const TRect r = chart->ChartRect();
    const bool inside = x >= r.Left && x <= r.Right && y >= r.Top && y <= r.Bottom;
    // A drag of the zoom keeps the picture as it is.
    if (chart->Zoom().Active || !inside)
        return;
    TChartAxis* bottom = chart->BottomAxis();
    if (Optionen.Cursor)
        CursorSetzen(bottom->CalcPosPoint(x), chart);
    if (Optionen.Marken && !fMarken.empty()) {
        const TMarke* hit = nullptr;
        for (const TMarke& m : fMarken) {
            const int px = bottom->CalcPosValue(w->fZeitstempel ? m.Zeit : m.Stunde);
            if (std::abs(px - x) <= kTreffer && (!hit || m.IstFehler()))
                hit = &m;
        }
        if (hit) {
            QString text = FormatDateTime(QStringLiteral("dd.mm.yyyy hh:nn:ss"), hit->Zeit) + QStringLiteral("  (") +
                           Zahl(hit->Stunde, 2) + QStringLiteral(" h)\n") + hit->Text();
            if (hit->Abgeschaltet > 0)
                text += QStringLiteral("\nAbgeschaltet: Prüfling %1 %2")
                            .arg(hit->Abgeschaltet)
                            .arg(w->fBauteil[hit->Abgeschaltet].trimmed());
            QToolTip::showText(chart->mapToGlobal(QPoint(x, y)), text, chart);
        } else {
            QToolTip::hideText();
        }
    }
}

bool TAuswertungWerkzeuge::eventFilter(QObject* watched, QEvent* e)
{
    for (int i = 1; i <= 2; ++i) {
        if (watched != w->fCharts[i])
            continue;
        if (e->type() == QEvent::Resize)
            fEbenen[i]->setGeometry(w->fCharts[i]->rect());
        if (e->type() == QEvent::KeyPress && CursorAktiv()) {
            const auto* k = static_cast<QKeyEvent*>(e);
            const int step = k->modifiers() & Qt::ShiftModifier ? 10 : 1;
            if (k->key() == Qt::Key_Left || k->key() == Qt::Key_Right) {
                CursorSchritt(k->key() == Qt::Key_Left ? -step : step);
                return true;
            }
            if (k->key() == Qt::Key_Escape) {
                CursorAus();
                return true;
            }
        }
    }
    return QObject::eventFilter(watched, e);
}

// ---------------------------------------------------------------- drawn with the chart

void TAuswertungWerkzeuge::NachZeichnen(TChart* chart)
{
    // Every paint passes here: with nothing to draw or follow it costs nothing.
    if (!Optionen.Marken && !Optionen.Grenzwert && !Optionen.Statistik)
        return;
    auto* canvas = dynamic_cast<TTeeCanvas3D*>(chart->Canvas());
    QPainter* p = canvas ? canvas->Painter() : nullptr;
    TChartAxis* bottom = chart->BottomAxis();
    if (p) {
        const TRect r = chart->ChartRect();
        p->save();
        p->setClipRect(QRect(r.Left, r.Top, r.Width() + 1, r.Height() + 1));
        p->setRenderHint(QPainter::Antialiasing, false);   // one crisp pixel column per mark
        if (Optionen.Marken) {
            for (const TMarke& m : fMarken) {
                const int x = bottom->CalcPosValue(w->fZeitstempel ? m.Zeit : m.Stunde);
                if (x < r.Left || x > r.Right)
                    continue;
                p->setPen(QPen(m.IstFehler() ? QColor(210, 30, 30) : QColor(150, 150, 150), 1));
                p->drawLine(x, r.Top, x, r.Bottom);
                if (m.Abgeschaltet > 0 && chart == w->chart_U_I) {
                    p->setPen(QColor(210, 30, 30));
                    p->drawText(x + 3, r.Top + 12,
                                QStringLiteral("Abschaltung %1").arg(w->fBauteil[m.Abgeschaltet].trimmed().isEmpty()
                                                                         ? QString::number(m.Abgeschaltet)
                                                                         : w->fBauteil[m.Abgeschaltet].trimmed()));
                }
            }
        }
        if (Optionen.Grenzwert && chart == w->chart_U_I && AktVersuch && AktVersuch->I_Max > 0 &&
            w->Kurven->Checked(1)) {
            TChartAxis* a = w->fAchsen[1];
            const double v = AktVersuch->I_Max / std::max(w->fTeilerI, 1);
            const int y = a->CalcPosValue(v);
            if (std::isfinite(v) && y >= r.Top && y <= r.Bottom) {
                p->setPen(QPen(QColor(220, 90, 0), 2, Qt::DashLine));
                p->drawLine(r.Left, y, r.Right, y);
                // Above the line, or below it where the line runs along the top.
                const int textY = y - r.Top > 16 ? y - 4 : y + 14;
                p->drawText(r.Left + 4, textY,
                            QStringLiteral("I_MAX %1 %2").arg(Zahl(v, w->fNachkommaI), QString(w->fEinheitI)));
            }
        }
        p->restore();
    }
    // The statistics follow every change of the shown range, whatever made it.
    if (Optionen.Statistik && (bottom->IMinimum != fStatistikVon || bottom->IMaximum != fStatistikBis) &&
        !fStatistikGeplant) {
        fStatistikGeplant = true;
        QTimer::singleShot(0, this, [this] {
            fStatistikGeplant = false;
            StatistikAktualisieren();
        });
    }
}

// ---------------------------------------------------------------- statistics

std::vector<TAuswertungWerkzeuge::TStatistikZeile> TAuswertungWerkzeuge::Statistik() const
{
    std::vector<TStatistikZeile> out;
    const TChartValues* x = XWerte();
    if (!x || fZeilen == 0)
        return out;
    TChartAxis* bottom = (w->fChartAktiv[2] && !w->fChartAktiv[1] ? w->Chart_T_RF : w->chart_U_I)->BottomAxis();
    const double von = bottom->IMinimum, bis = bottom->IMaximum;
    const QString einheitI = QString(w->fEinheitI).remove(u'[').remove(u']');
    auto add = [&](TFastLineSeries* s, const QString& name, const TChartValuesPtr& y, const QString& einheit,
                   int nachkomma) {
        if (s && s->Active() && y)
            out.push_back({name, einheit, StatistikImBereich(*x, *y, fZeilen, von, bis), nachkomma});
    };
    add(w->Ser_U.get(), QStringLiteral("U"), w->fWerteU, QStringLiteral("V"), 1);
    for (int k = 1; k <= 9; ++k) {
        QString name = QStringLiteral("I%1").arg(k);
        if (!w->fBauteil[k].trimmed().isEmpty())
            name += QStringLiteral(" (") + w->fBauteil[k].trimmed() + u')';
        add(w->fSerI[k], name, w->fWerteI[k], einheitI, w->fNachkommaI);
    }
    add(w->Ser_T.get(), QStringLiteral("T"), w->fWerteT, QStringLiteral("°C"), 2);
    add(w->Ser_rF.get(), QStringLiteral("rF"), w->fWerteRF, QStringLiteral("%"), 2);
    return out;
}

void TAuswertungWerkzeuge::StatistikAktualisieren()
{
    if (!Optionen.Statistik)
        return;
    TChartAxis* bottom = w->chart_U_I->BottomAxis();
    fStatistikVon = bottom->IMinimum;
    fStatistikBis = bottom->IMaximum;
    const auto rows = Statistik();
    // The band names the first and the last row the figures cover: the axis reaches
    // past the rows by its margins (below 0 h on an unzoomed run).
    const TChartValues* x = XWerte();
    const TKurvenStatistik zeilen =
        x ? StatistikImBereich(*x, *x, fZeilen, fStatistikVon, fStatistikBis) : TKurvenStatistik{};
    const double von = zeilen.Anzahl > 0 ? zeilen.Minimum : fStatistikVon;
    const double bis = zeilen.Anzahl > 0 ? zeilen.Maximum : fStatistikBis;
    fBereichLabel->setText(rows.empty() ? QStringLiteral("Statistik: kein Versuch geladen")
                                        : QStringLiteral("Statistik von %1 bis %2").arg(XText(von), XText(bis)));
    fTabelle->setRowCount(static_cast<int>(rows.size()));
    for (int r = 0; r < static_cast<int>(rows.size()); ++r) {
        const TStatistikZeile& z = rows[r];
        const bool leer = z.Werte.Anzahl == 0;
        const QString cells[6] = {z.Kurve + QStringLiteral(" [") + z.Einheit + u']',
                                  leer ? QString() : Zahl(z.Werte.Minimum, z.Nachkomma),
                                  leer ? QString() : Zahl(z.Werte.Maximum, z.Nachkomma),
                                  leer ? QString() : Zahl(z.Werte.Mittelwert, z.Nachkomma),
                                  leer ? QString() : Zahl(z.Werte.Letzter, z.Nachkomma),
                                  QString::number(z.Werte.Anzahl)};
        for (int c = 0; c < 6; ++c) {
            auto* item = new QTableWidgetItem(cells[c]);
            item->setTextAlignment(c == 0 ? Qt::AlignLeft | Qt::AlignVCenter : Qt::AlignRight | Qt::AlignVCenter);
            fTabelle->setItem(r, c, item);
        }
    }
}

QString TAuswertungWerkzeuge::StatistikText() const
{
    QStringList lines;
    lines << fBereichLabel->text();
    QStringList head;
    for (int c = 0; c < fTabelle->columnCount(); ++c)
        head << fTabelle->horizontalHeaderItem(c)->text();
    lines << head.join(u'\t');
    for (int r = 0; r < fTabelle->rowCount(); ++r) {
        QStringList cells;
        for (int c = 0; c < fTabelle->columnCount(); ++c)
            cells << (fTabelle->item(r, c) ? fTabelle->item(r, c)->text() : QString());
        lines << cells.join(u'\t');
    }
    return lines.join(u'\n') + u'\n';
}
