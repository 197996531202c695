#include "views/Auswertungswerkzeuge.h"

#include "dbaccess/pFIBDatabase.h"
#include "dbaccess/pFIBQuery.h"
#include "frame/ZELColor.h"
#include "frame/ZELLIB_INI.h"

#include <QColor>
#include <algorithm>
#include <cmath>
#include <limits>

namespace {
const QString kSektion = QStringLiteral("Auswertung");

// The rows inside [von, bis] of the rising prefix, as an index range [first, last).
std::pair<int, int> Bereich(const TChartValues& x, int n, double von, double bis)
{
    n = std::clamp(n, 0, static_cast<int>(x.size()));
    const auto b = x.begin();
    const int first = static_cast<int>(std::lower_bound(b, b + n, von) - b);
    const int last = static_cast<int>(std::upper_bound(b, b + n, bis) - b);
    return {first, std::max(first, last)};
}
}

void TAuswertungOptionen::Laden()
{
    Menue = ReadIniBool(kSektion, QStringLiteral("Menue"), false);
    Cursor = ReadIniBool(kSektion, QStringLiteral("Cursor"), false);
    Marken = ReadIniBool(kSektion, QStringLiteral("Marken"), false);
    Statistik = ReadIniBool(kSektion, QStringLiteral("Statistik"), false);
    Anpassen = ReadIniBool(kSektion, QStringLiteral("Anpassen"), false);
    LogStromachse = ReadIniBool(kSektion, QStringLiteral("LogStromachse"), false);
    Bauteilfarben = ReadIniBool(kSektion, QStringLiteral("Bauteilfarben"), false);
    Grenzwert = ReadIniBool(kSektion, QStringLiteral("Grenzwert"), false);
    XlsxExport = ReadIniBool(kSektion, QStringLiteral("XlsxExport"), false);
    // A threshold the comparison cannot use would mark every device or none.
    Schwelle_uA = ReadIniFloatInRange(kSektion, QStringLiteral("Schwelle_uA"), 0, 0, 1e12);
    Routineereignisse = ReadIniString(kSektion, QStringLiteral("Routineereignisse"), QStringLiteral("Speicherzyklus"));
}

QStringList TAuswertungOptionen::RoutineListe() const
{
    QStringList out;
    for (const QString& s : Routineereignisse.split(u',', Qt::SkipEmptyParts))
        if (!s.trimmed().isEmpty())
            out << s.trimmed();
    return out;
}

int SteigendeZeilen(const TChartValues& x, int n)
{
    n = std::clamp(n, 0, static_cast<int>(x.size()));
    int i = 1;
    while (i < n && x[i] >= x[i - 1])
        ++i;
    return std::min(i, n);
}

int ZeileBei(const TChartValues& x, int n, double t)
{
    n = std::clamp(n, 0, static_cast<int>(x.size()));
    const auto b = x.begin();
    return static_cast<int>(std::upper_bound(b, b + n, t) - b) - 1;
}

TKurvenStatistik StatistikImBereich(const TChartValues& x, const TChartValues& y, int n, double von, double bis)
{
    TKurvenStatistik s;
    const auto [first, last] = Bereich(x, std::min(n, static_cast<int>(y.size())), von, bis);
    if (first >= last)
        return s;
    long double sum = 0;
    s.Minimum = s.Maximum = y[first];
    for (int i = first; i < last; ++i) {
        const double v = y[i];
        s.Minimum = std::min(s.Minimum, v);
        s.Maximum = std::max(s.Maximum, v);
        sum += v;
    }
    s.Anzahl = last - first;
    s.Mittelwert = static_cast<double>(sum / s.Anzahl);
    s.Letzter = y[last - 1];
    return s;
}

bool DatenBereich(const std::vector<const TChartValues*>& ys, const TChartValues& x, int n, double von, double bis,
                  double& minimum, double& maximum)
{
    bool any = false;
    double lo = 0, hi = 0;
    for (const TChartValues* y : ys) {
        const TKurvenStatistik s = StatistikImBereich(x, *y, n, von, bis);
        if (s.Anzahl == 0 || !std::isfinite(s.Minimum) || !std::isfinite(s.Maximum))
            continue;
        lo = any ? std::min(lo, s.Minimum) : s.Minimum;
        hi = any ? std::max(hi, s.Maximum) : s.Maximum;
        any = true;
    }
    if (!any)
        return false;
    double rand = (hi - lo) * 0.05;
    if (rand <= 0)
        rand = lo != 0 ? std::abs(lo) * 0.05 : 1;   // a flat curve gets a band around it
    minimum = lo - rand;
    maximum = hi + rand;
    return true;
}

bool LogBereich(const std::vector<const TChartValues*>& ys, const TChartValues& x, int n, double von, double bis,
                double& minimum, double& maximum)
{
    double lo = std::numeric_limits<double>::infinity(), hi = 0;
    for (const TChartValues* y : ys) {
        const auto [first, last] = Bereich(x, std::min(n, static_cast<int>(y->size())), von, bis);
        for (int i = first; i < last; ++i) {
            const double v = (*y)[i];
            if (v > 0 && std::isfinite(v)) {
                lo = std::min(lo, v);
                hi = std::max(hi, v);
            }
        }
    }
    if (!(hi > 0))
        return false;
    // The switch-on ramp starts near zero: five decades under the largest value
    // show every device, and lower values lie under the scale.
    lo = std::max(lo, hi * 1e-5);
    minimum = std::pow(10.0, std::floor(std::log10(lo)));
    maximum = std::pow(10.0, std::ceil(std::log10(hi)));
    if (maximum <= minimum)
        maximum = minimum * 10;
    return true;
}

int ErsteUeberschreitung(const TChartValues& y, int n, double schwelle)
{
    n = std::clamp(n, 0, static_cast<int>(y.size()));
    for (int i = 0; i < n; ++i)
        if (y[i] > schwelle)
            return i;
    return -1;
}

bool OhneDaten(const TChartValues& y, int n)
{
    n = std::clamp(n, 0, static_cast<int>(y.size()));
    return std::all_of(y.begin(), y.begin() + n, [](double v) { return v == 0; });
}

TColor Bauteilfarbe(int kanal)
{
    static const char* const palette[9] = {"#CC6677", "#332288", "#DDCC77", "#117733", "#88CCEE",
                                           "#882255", "#44AA99", "#999933", "#AA4499"};
    return QColorToColor(QColor(QLatin1String(palette[std::clamp(kanal, 1, 9) - 1])));
}

QString TMarke::Text() const
{
    QStringList parts;
    if (!Fehler.trimmed().isEmpty())
        parts << Fehler.trimmed();
    if (!Ereignis.trimmed().isEmpty())
        parts << Ereignis.trimmed();
    return parts.join(QStringLiteral(" / "));
}

std::vector<TMarke> MarkenLesen(TpFIBDatabase& db, TpFIBTransaction& tr, int auftragKey, const QStringList& routine)
{
    QString ohne;
    for (int i = 0; i < routine.size(); ++i)
        ohne += QStringLiteral(" and trim(EREIGNIS) <> :R%1").arg(i);
    TpFIBQuery q;
    q.SetDatabase(&db);
    q.SetTransaction(&tr);
    q.SQL().SetText(QStringLiteral("select ZEIT_STD, ZEITPUNKT, EREIGNIS, FEHLER from MESSDATEN "
                                   "where AUFTRAGKEY = :K and (trim(coalesce(FEHLER, '')) <> '' "
                                   "or (trim(coalesce(EREIGNIS, '')) <> ''%1)) order by ZEITPUNKT")
                        .arg(ohne));
    const bool started = !tr.InTransaction();
    if (started)
        tr.StartTransaction();
    std::vector<TMarke> out;
    try {
        q.ParamByName(QStringLiteral("K")).SetAsInteger(auftragKey);
        for (int i = 0; i < routine.size(); ++i)
            q.ParamByName(QStringLiteral("R%1").arg(i)).SetAsString(routine[i]);
        q.ExecQuery();
        while (!q.Eof()) {
            TMarke m;
            m.Stunde = q.FieldByName(QStringLiteral("ZEIT_STD")).AsDouble();
            m.Zeit = q.FieldByName(QStringLiteral("ZEITPUNKT")).AsDateTime();
            m.Ereignis = q.FieldByName(QStringLiteral("EREIGNIS")).AsString();
            m.Fehler = q.FieldByName(QStringLiteral("FEHLER")).AsString();
            out.push_back(std::move(m));
            q.Next();
        }
        q.Close();
    } catch (...) {
        // The caller reports; a transaction started here must not stay open.
        if (started && tr.InTransaction())
            tr.Rollback();
        throw;
    }
    if (started)
        tr.Commit();
    return out;
}

int AbgeschalteterKanal(const std::vector<const TChartValues*>& kanaele, int n, int i)
{
    for (std::size_t k = 0; k < kanaele.size(); ++k) {
        const TChartValues& y = *kanaele[k];
        const int m = std::min(n, static_cast<int>(y.size()));
        if (i < 0 || i + 1 >= m || !(y[i] > 0))
            continue;
        if (std::all_of(y.begin() + i + 1, y.begin() + m, [](double v) { return v == 0; }))
            return static_cast<int>(k) + 1;
    }
    return 0;
}
