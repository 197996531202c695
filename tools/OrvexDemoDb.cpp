#include "tools/OrvexDemoDb.h"

#include "dbaccess/pFIBDatabase.h"
#include "dbaccess/pFIBQuery.h"
#include "testdata/OrvexSchema.h"

#include <QFileInfo>
#include <QThread>

namespace {
const QString kInsRow = QStringLiteral(
    "EXECUTE PROCEDURE INS_MESSDATENSATZ (?AUFTRAGKEY,?SATZNR,?ZEITPUNKT,?ZEIT_STD,?STATUS,?EREIGNIS,?Fehler,?T,?RF,"
    "?I_01,?I_02,?I_03,?I_04,?I_05,?I_06,?I_07,?I_08,?I_09,?U)");
const QString kUpdRun = QStringLiteral(
    "EXECUTE PROCEDURE UPD_AUFTRAG(?AUFTRAGKEY, ?BEDIENER, ?STRANG, ?DATUM, ?ANZAHLDATENSAETZE, ?RESTLAUFZEIT, ?STATUS)");

std::unique_ptr<TpFIBQuery> MakeQuery(TpFIBDatabase* db, TpFIBTransaction* tr, const QString& sql)
{
    auto q = std::make_unique<TpFIBQuery>();
    q->SetDatabase(db);
    q->SetTransaction(tr);
    q->SQL().SetText(sql);
    q->Prepare();
    return q;
}

// The parameters of INS_MESSDATENSATZ in statement order, set by position: a
// million rows should not look names up a million times.
void SetRowParams(TpFIBQuery& q, int key, const TDemoRow& r)
{
    TFIBXSQLDA& p = q.Params();
    p[0].SetAsInteger(key);
    p[1].SetAsInteger(r.Satznr);
    p[2].SetAsDateTime(r.Zeitpunkt);
    p[3].SetAsDouble(r.Zeit_Std);
    p[4].SetAsString(r.Status);
    p[5].SetAsString(r.Ereignis);
    p[6].SetAsString(r.Fehler);
    p[7].SetAsDouble(r.T);
    p[8].SetAsDouble(r.RF);
    for (int c = 0; c < 9; ++c)
        p[9 + c].SetAsDouble(r.I[c]);
    p[18].SetAsDouble(r.U);
}

void InsertRun(TpFIBDatabase* db, TpFIBTransaction* tr, const TDemoRun& run)
{
    tr->StartTransaction();
    auto gen = MakeQuery(db, tr, QStringLiteral("SELECT GEN_ID(GEN_AUFTRAEGE_ID, 1) FROM RDB$DATABASE"));
    gen->ExecQuery();
    const int key = gen->Fields(0).AsInteger();
    gen->Close();

    const QStringList cols = AuftraegeColumns();
    QStringList params;
    for (const QString& c : cols)
        params << u':' + c;
    auto ins = MakeQuery(db, tr,
                         QStringLiteral("INSERT INTO AUFTRAEGE (%1) VALUES (%2)").arg(cols.join(", "), params.join(", ")));
    const TDemoRowGenerator g(run);
    const auto set = [&](const char* name, const QVariant& v) { ins->ParamByName(QLatin1String(name)).SetAsVariant(v); };
    set("VERSUCHSNR", run.Versuchsnr);
    set("TEILENR", run.Teilenr);
    set("BEZEICHNUNG", run.Bezeichnung);
    set("STRANG", run.Strang);
    set("AUFTRAGKEY", key);
    ins->ParamByName("DATUM").SetAsDateTime(run.Datum);
    set("BEDIENER", run.Bediener);
    set("KOMMENTAR", run.Kommentar);
    set("U_SOLL", run.U_Soll);
    set("I_MAX", run.I_Max);
    set("T_MESSEN_AB", run.T_Messen_ab);
    set("T_MESSEN_AB_AKTIV", run.T_Messen_ab_Aktiv);
    set("T_NACHLAUF_BIS", run.T_Nachlauf_bis);
    set("T_NACHLAUF_BIS_AKTIV", run.T_Nachlauf_bis_Aktiv);
    set("RF_MESSEN_AB", run.RF_Messen_ab);
    set("RF_MESSEN_AB_AKTIV", run.RF_Messen_ab_Aktiv);
    set("RF_NACHLAUF_BIS", run.RF_Nachlauf_bis);
    set("RF_NACHLAUF_BIS_AKTIV", run.RF_Nachlauf_bis_Aktiv);
    for (int c = 0; c < 9; ++c)
        ins->ParamByName(QStringLiteral("BT%1").arg(c + 1, 2, 10, QChar(u'0'))).SetAsString(run.BT[c]);
    set("DAUER_1_STD", run.Dauer_1_Std);
    set("SPEICHERFREQ_1_MIN", run.Speicherfreq_1_Min);
    set("DAUER_GESAMT_STD", run.Dauer_Gesamt_Std);
    set("SPEICHERFREQ_GESAMT_MIN", run.Speicherfreq_Gesamt_Min);
    set("RESTLAUFZEIT", run.Restlaufzeit);
    set("ANZAHLDATENSAETZE", run.Zeilen);
    set("STATUS", run.Status);
    if (run.Zeilen > 0) {
        ins->ParamByName("ERSTE_MESSUNG").SetAsDateTime(g.Row(0).Zeitpunkt);
        ins->ParamByName("LETZTE_MESSUNG").SetAsDateTime(g.Row(run.Zeilen - 1).Zeitpunkt);
    } else {
        ins->ParamByName("ERSTE_MESSUNG").SetIsNull(true);
        ins->ParamByName("LETZTE_MESSUNG").SetIsNull(true);
    }
    ins->ExecQuery();

    auto rows = MakeQuery(db, tr, kInsRow);
    for (int k = 0; k < run.Zeilen; ++k) {
        SetRowParams(*rows, key, g.Row(k));
        rows->ExecQuery();
    }
    tr->Commit();
}
}

std::unique_ptr<TpFIBDatabase> ConnectOrvex(const TDemoDbLogin& login)
{
    auto db = std::make_unique<TpFIBDatabase>();
    db->SetName(QStringLiteral("orvexDB"));
    db->SetLibraryName(login.LibraryName);
    db->SetDBName(login.DBName);
    db->SetSQLDialect(3);
    db->DBParams().Assign({QStringLiteral("user_name=") + login.User, QStringLiteral("password=") + login.Password,
                           QStringLiteral("lc_ctype=WIN1252")});
    db->Open();
    return db;
}

void CreateDemoDatabase(const TDemoDbLogin& login, int largeRows, const std::function<void(const QString&)>& progress)
{
    {
        TpFIBDatabase create;
        create.SetLibraryName(login.LibraryName);
        create.SetDBName(login.DBName);
        create.SetSQLDialect(3);
        create.DBParams().Assign({QStringLiteral("USER '%1'").arg(login.User),
                                  QStringLiteral("PASSWORD '%1'").arg(login.Password), QStringLiteral("PAGE_SIZE 8192"),
                                  QStringLiteral("DEFAULT CHARACTER SET WIN1252")});
        create.CreateDatabase();
        create.Close();
    }
    auto db = ConnectOrvex(login);
    TpFIBTransaction tr;
    tr.SetName(QStringLiteral("TaDemo"));
    tr.AddDatabase(db.get());
    db->SetDefaultTransaction(&tr);
    tr.StartTransaction();
    for (const QString& statement : OrvexSchemaStatements())
        tr.ExecSQLImmediate(statement);
    tr.Commit();

    for (const TDemoRun& run : DemoRuns(largeRows)) {
        InsertRun(db.get(), &tr, run);
        if (progress)
            progress(QStringLiteral("%1: %2 Zeilen").arg(run.Versuchsnr).arg(run.Zeilen));
    }
    db->Close();
}

TAcquisitionSimulator::TAcquisitionSimulator(TpFIBDatabase* db, const QString& versuchsnr) : fDb(db)
{
    fRun = FindDemoRun(DemoRuns(), versuchsnr);
    fTr = std::make_unique<TpFIBTransaction>();
    fTr->SetName(QStringLiteral("TaSimulator"));
    fTr->AddDatabase(db);
    fTr->StartTransaction();
    auto q = MakeQuery(db, fTr.get(),
                       QStringLiteral("SELECT AUFTRAGKEY, ANZAHLDATENSAETZE FROM AUFTRAEGE WHERE VERSUCHSNR = :NR"));
    q->ParamByName("NR").SetAsString(versuchsnr);
    q->ExecQuery();
    if (q->Eof())
        throw Exception(QStringLiteral("Versuch nicht in der Datenbank: ") + versuchsnr);
    fKey = q->Fields(0).AsInteger();
    fNext = q->Fields(1).AsInteger();
    q->Close();
    // Prepared once; the statements outlive the transactions that run them.
    fIns = MakeQuery(db, fTr.get(), kInsRow);
    fUpd = MakeQuery(db, fTr.get(), kUpdRun);
    fTr->Commit();
    // The generator runs on as if the run had always been planned this long.
    fRun.Zeilen = std::numeric_limits<int>::max();
    fRun.Beendet = false;
    fGen = std::make_unique<TDemoRowGenerator>(fRun);
}

TAcquisitionSimulator::~TAcquisitionSimulator()
{
    if (fTr && fTr->Active())
        fTr->Rollback();
}

int TAcquisitionSimulator::AppendRow()
{
    const TDemoRow row = fGen->Row(fNext);
    // A row held by another writer (the evaluation side editing the run's header)
    // makes the server refuse this write; the row is written again rather than lost.
    for (int attempt = 1;; ++attempt) {
        if (!fTr->Active())
            fTr->StartTransaction();
        try {
            SetRowParams(*fIns, fKey, row);
            fIns->ExecQuery();
            TFIBXSQLDA& p = fUpd->Params();
            p[0].SetAsInteger(fKey);
            p[1].SetAsString(fRun.Bediener);
            p[2].SetAsInteger(fRun.Strang);
            p[3].SetAsDateTime(fRun.Datum);
            p[4].SetAsInteger(fNext + 1);
            p[5].SetAsDouble(std::max(0.0, fRun.Dauer_Gesamt_Std - row.Zeit_Std));
            p[6].SetAsString(fRun.Status);
            fUpd->ExecQuery();
            fTr->Commit();
            break;
        } catch (const EFIBError& e) {
            fTr->Rollback();
            const bool conflict = e.SQLCode == -913 || e.IBErrorCode == 335544345 || e.IBErrorCode == 335544451;
            if (!conflict || attempt >= 50)
                throw;
            QThread::msleep(20);
        } catch (...) {
            fTr->Rollback();
            throw;
        }
    }
    return ++fNext;
}
