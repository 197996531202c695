#include "views/uAutoAktualisierung.h"

#include "dbaccess/pFIBDatabase.h"
#include "dbaccess/pFIBQuery.h"
#include "frame/ZELBase.h"
#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "frame/zellib_msg.h"
#include "testdata/uDMorvex.h"
#include "views/uFoAuswertungUebersicht.h"
#include "views/uFoAuswertungWerkzeuge.h"

#include "dbcontrols/TdxLookupEdit.h"

#include <QScopeGuard>
#include <array>

namespace {
// The columns in the order the arrays are filled.
const char* const kSpalten = "ZEIT_STD, ZEITPUNKT, T, RF, U, I_01, I_02, I_03, I_04, I_05, I_06, I_07, I_08, I_09";

QString Text(const std::exception& e)
{
    const auto* own = dynamic_cast<const Exception*>(&e);
    return own ? own->Message() : QString::fromLocal8Bit(e.what());
}
}

bool StatusAktiv(const QString& status)
{
    // "Test aktiv" up to "Nachlauf aktiv": the acquisition program writes rows.
    const int i = StatusIndex(status);
    return i >= 2 && i <= 5;
}

TAutoAktualisierung::TAutoAktualisierung(TFOOrvexAuswertung* fenster) : QObject(fenster), w(fenster)
{
    fTimer.setSingleShot(false);
    connect(&fTimer, &QTimer::timeout, this, [this] { Nachladen(); });
    // A negative or absurd interval reads as off and is repaired in the file.
    SetIntervall_s(int(ReadIniFloatInRange(QStringLiteral("Auswertung"), QStringLiteral("AutoRefresh_s"), 0, 0, 86400)));
}

TAutoAktualisierung::~TAutoAktualisierung() = default;

void TAutoAktualisierung::SetIntervall_s(int sekunden)
{
    fIntervall_s = std::max(sekunden, 0);
    if (fIntervall_s == 0)
        fTimer.stop();
    else
        fTimer.setInterval(fIntervall_s * 1000);
}

void TAutoAktualisierung::NachVollLaden()
{
    fKey = AktVersuch ? AktVersuch->AuftragKey : 0;
    if (fIntervall_s > 0 && AktVersuch && AktVersuch->AuftragKey != 0 &&
        StatusAktiv(StatusTexte[std::min<std::size_t>(AktVersuch->Status, StatusTexte.size() - 1)])) {
        if (!fTimer.isActive())
            fTimer.start();
    } else {
        fTimer.stop();
    }
}

void TAutoAktualisierung::Vorbereiten()
{
    if (fQ)
        return;
    // Its own read-committed transaction: each refresh sees what was committed since.
    fTr = std::make_unique<TpFIBTransaction>();
    fTr->SetDefaultDatabase(DMorvex->orvexDB.get());
    fQ = std::make_unique<TpFIBQuery>();
    fQ->SetDatabase(DMorvex->orvexDB.get());
    fQ->SetTransaction(fTr.get());
    // The index over run and time finds the new rows without reading the old ones.
    fQ->SQL().SetText(QStringLiteral("select %1 from MESSDATEN where AUFTRAGKEY = :AUFTRAGKEY and ZEITPUNKT > "
                                     ":ZEITPUNKT order by ZEITPUNKT")
                          .arg(QLatin1String(kSpalten)));
}

void TAutoAktualisierung::Verloren(const QString& grund)
{
    fQ.reset();
    fTr.reset();
    if (fVerloren)
        return;
    fVerloren = true;
    // One note that stays; the next tries are silent until one succeeds.
    MsgInfo(QStringLiteral("Die automatische Aktualisierung erreicht die Datenbank nicht:<br>%1<br>Sie versucht "
                           "es alle %2 s erneut.")
                .arg(grund)
                .arg(fIntervall_s));
}

bool TAutoAktualisierung::Wiederverbinden()
{
    // The run the arrays belong to; the list may be closed already with the connection.
    const QString nummer = AktVersuch->Versuchsnr;
    try {
        TpFIBDatabase* db = DMorvex->orvexDB.get();
        if (db->Connected()) {
            try {
                db->SetConnected(false);
            } catch (const std::exception&) {
                // A connection the server dropped cannot be closed in order; it is gone either way.
            }
        }
        db->SetConnected(true);
        DMorvex->AuftraegeNeuOeffnen();
        // Everything afresh, as a choice in the list would load it.
        if (!w->VersuchWaehlen(nummer))
            return false;
        fVerloren = false;
        MsgClear();
        return true;
    } catch (const std::exception&) {
        return false;   // said once already; stays said until the next success
    }
}

int TAutoAktualisierung::Nachladen()
{
    if (ProgrammEndet || !DMorvex || !AktVersuch || AktVersuch->AuftragKey == 0 || w->fRefreshLaeuft ||
        AktVersuch->AuftragKey != fKey)
        return 0;
    if (fVerloren)
        return Wiederverbinden() ? 0 : -1;
    int neu = 0;
    try {
        Vorbereiten();
        // Rows counted but not read by the last full load leave zeros at the end of
        // the arrays: the new rows take their place.
        const int geladen = std::clamp(w->fGeladen, 0, w->fWerteStd ? int(w->fWerteStd->size()) : 0);
        std::array<TChartValues*, 14> werte{w->fWerteStd.get(), w->fWerteZeit.get(), w->fWerteT.get(),
                                            w->fWerteRF.get(),  w->fWerteU.get()};
        for (int k = 1; k <= 9; ++k)
            werte[std::size_t(4 + k)] = w->fWerteI[std::size_t(k)].get();
        for (TChartValues* v : werte)
            if (!v)
                return 0;
        const double letzte = geladen > 0 ? (*w->fWerteZeit)[std::size_t(geladen - 1)] : -1e6;
        if (!fTr->InTransaction())
            fTr->StartTransaction();
        fQ->ParamByName(QStringLiteral("AUFTRAGKEY")).SetAsInteger(AktVersuch->AuftragKey);
        fQ->ParamByName(QStringLiteral("ZEITPUNKT")).SetAsDateTime(letzte);
        fQ->ExecQuery();
        for (TChartValues* v : werte)
            v->resize(std::size_t(geladen));
        const long double teiler = w->fTeilerI;
        while (!fQ->Eof()) {
            TFIBXSQLDA& row = fQ->Current();
            werte[0]->push_back(row[0].AsDouble());
            werte[1]->push_back(row[1].AsDateTime());
            for (int c = 2; c <= 4; ++c)
                werte[std::size_t(c)]->push_back(row[c].AsDouble());
            // Currents in the unit of the scale, as the full load divides them.
            for (int c = 5; c < 14; ++c)
                werte[std::size_t(c)]->push_back(static_cast<double>(row[c].AsDouble() / teiler));
            ++neu;
            fQ->Next();
        }
        fQ->Close();
        fTr->Commit();
        w->fGeladen = geladen + neu;
        w->fAnzahlSaetze = w->fGeladen;
        if (neu > 0 || geladen != int(werte[0]->size()))
            w->SerienUebernehmen(geladen);

        // The header: remaining time, status and rows, the chosen run kept.
        {
            w->fRefreshLaeuft = true;
            const auto reset = qScopeGuard([this] { w->fRefreshLaeuft = false; });
            DMorvex->AuftraegeNeuOeffnen();
            DMorvex->VersuchLaden(w->LookupAuftrag->Text(), *AktVersuch);
        }
        NachVollLaden();
    } catch (const std::exception& e) {
        Verloren(Text(e));
        return -1;
    }
    return neu;
}
