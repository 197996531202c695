#include "testdata/uDMorvex.h"

#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"
#include "frame/zellib_msg.h"
#include "testdata/OrvexSchema.h"

#include <algorithm>
#include <functional>

std::unique_ptr<TVersuchDaten> AktVersuch;

std::array<QString, 4> NetzteilTexte{"NT 1 [ + 2000 V ]", "NT 2 [ - 2000 V ]", "NT 3 [ + 100 V ]", "NT 4 [ - 100 V ]"};
const std::array<QString, 4> AnlagenTexte{"Standby", "in Betrieb", "Unterbrechung", "Störung"};
// Stored statuses of runs are compared with these texts: the spelling of 9 stays.
const std::array<QString, 10> StatusTexte{"Angelegt",       "Freigegeben",     "Test aktiv",
                                          "Vorlauf aktiv",  "Versuch aktiv",   "Nachlauf aktiv",
                                          "Gestoppt - User", "Gestoppt - Keine Prüflinge", "Gestoppt - Fehler",
                                          "Bendet"};

namespace {
std::array<QString, 31> BuiltInEreignisTexte()
{
    std::array<QString, 31> t;
    t[1] = "Versuchsstart";
    t[2] = "Vorlaufende";
    t[3] = "Unterbrechung (User)";
    t[4] = "Unterbrechung (Fehler)";
    t[5] = "Unterbrechung (keine Prüflinge)";
    t[6] = "Fortsetzung";
    t[7] = "Speicherzyklus";
    t[8] = "Versuchsende";
    t[9] = "Messstellen geändert";
    t[10] = "Test-Messung";
    return t;
}

std::array<QString, 31> BuiltInFehlerTexte()
{
    std::array<QString, 31> t;
    t[1] = "Fehler beim Speichern";
    t[2] = "Haube offen";
    t[3] = "CANBus ";   // the blank belongs to the stored text
    t[4] = "Not Ready";
    t[5] = "Datensatz nicht vorhanden";
    t[11] = "Kommunikation HSMM";
    t[13] = "Summenstromüberschreitung";
    t[14] = "Spannung zu groß";
    t[15] = "Strom passt nicht zu Bauteilanzahl";
    t[16] = "Spannung unsymetrisch";
    t[17] = "Kondensator falsch geschaltet";
    t[18] = "HV-Schalter-Fehler";
    t[19] = "Stromabschaltung HSMM";
    return t;
}
}

std::array<QString, 31> EreignisTexte = BuiltInEreignisTexte();
std::array<QString, 31> FehlerTexte = BuiltInFehlerTexte();
std::unique_ptr<QStringList> BenutzerListe;

std::uint8_t StatusIndex(const QString& text)
{
    std::uint8_t result = 0;
    for (std::uint8_t i = 0; i < StatusTexte.size(); ++i)
        if (StatusTexte[i].compare(text, Qt::CaseInsensitive) == 0)
            result = i;
    return result;
}

QString StatusTextOfNumber(const QString& value)
{
    return StatusTextOfNumber(StrToInt(value));
}

QString StatusTextOfNumber(int value)
{
    const unsigned index = static_cast<unsigned>(value) & 0xFFu;
    return index < StatusTexte.size() ? StatusTexte[index] : QString();
}

void TexteLaden()
{
    const QString ntDefaults[4] = {"NT1 [2000 V]", "NT2 [-2000 V]", "NT3 [100 V]", "NT4 [-100 V]"};
    for (int i = 0; i < 4; ++i)
        NetzteilTexte[i] = ReadIniString("OrvexCLient", QStringLiteral("NT%1").arg(i + 1), ntDefaults[i], 0);
    const auto ereignis = BuiltInEreignisTexte();
    for (int i = 1; i <= 30; ++i)
        EreignisTexte[i] = ReadIniString("Events", QStringLiteral("E") + IntToFixed(i, 2), ereignis[i], 0);
    const auto fehler = BuiltInFehlerTexte();
    for (int i = 1; i <= 30; ++i)
        FehlerTexte[i] = ReadIniString("Fehler", QStringLiteral("F") + IntToFixed(i, 2), fehler[i], 0).left(40);
    BenutzerListe = std::make_unique<QStringList>();
    const QString users = ReadIniString("PROGRAMM", "User", "\"A.Nutzer\",\"G.Nutzer\"", 0);
    // As a list's text: one entry per line, no entry for an empty text.
    const QString lines = CsvToLines(users);
    if (!lines.isEmpty())
        *BenutzerListe = lines.split(QStringLiteral("\r\n"));
}

void uDMorvex_Initialize()
{
    AktVersuch = std::make_unique<TVersuchDaten>();
    TexteLaden();
}

void uDMorvex_Finalize()
{
    BenutzerListe.reset();
    AktVersuch.reset();
}

// ---------------------------------------------------------------- statements

namespace OrvexSQL {
namespace {
QString ParamList(const QStringList& columns, const QString& prefix)
{
    QStringList p;
    for (const QString& c : columns)
        p << prefix + c;
    return p.join(QStringLiteral(", "));
}

QString SetList(const QStringList& columns)
{
    QStringList p;
    for (const QString& c : columns)
        p << c + QStringLiteral(" = :") + c;
    return p.join(QStringLiteral(", "));
}
}

QString AuftraegeSelect() { return QStringLiteral("SELECT * FROM AUFTRAEGE order by upper(Versuchsnr)"); }

QString AuftraegeInsert()
{
    const QStringList c = AuftraegeColumns();
    return QStringLiteral("INSERT INTO AUFTRAEGE( ") + ParamList(c, {}) + QStringLiteral(" ) VALUES( ")
           + ParamList(c, QStringLiteral(":")) + QStringLiteral(" )");
}

QString AuftraegeUpdate()
{
    QStringList c = AuftraegeColumns();
    c.removeAll(QStringLiteral("VERSUCHSNR"));
    c.removeAll(QStringLiteral("TEILENR"));
    return QStringLiteral("UPDATE AUFTRAEGE SET ") + SetList(c)
           + QStringLiteral(" WHERE VERSUCHSNR = :OLD_VERSUCHSNR and TEILENR = :OLD_TEILENR");
}

QString AuftraegeDelete()
{
    return QStringLiteral("DELETE FROM AUFTRAEGE WHERE VERSUCHSNR = :OLD_VERSUCHSNR and TEILENR = :OLD_TEILENR");
}

QString AuftraegeRefresh()
{
    return QStringLiteral("SELECT * FROM AUFTRAEGE WHERE AUFTRAEGE.VERSUCHSNR = :OLD_VERSUCHSNR and "
                          "AUFTRAEGE.TEILENR = :OLD_TEILENR");
}

QString VersuchSelect()
{
    QStringList c = AuftraegeColumns();
    c.removeAll(QStringLiteral("I_MAX"));
    c << QStringLiteral("I_MAX");
    return QStringLiteral("SELECT ") + c.join(QStringLiteral(", "))
           + QStringLiteral(" FROM AUFTRAEGE WHERE Versuchsnr = :Auftrag");
}

QString MessdatenColumnList() { return MessdatenColumns().join(QStringLiteral(", ")); }

QString MessdatenSelect()
{
    return QStringLiteral("SELECT ") + MessdatenColumnList()
           + QStringLiteral(" FROM MESSDATEN Where AUFTRAGKEY = :AUFTRAGKEY order by zeitpunkt");
}

QString MessdatenInsert()
{
    const QStringList c = MessdatenColumns();
    return QStringLiteral("INSERT INTO MESSDATEN( ") + ParamList(c, {}) + QStringLiteral(" ) VALUES( ")
           + ParamList(c, QStringLiteral(":")) + QStringLiteral(" )");
}

QString MessdatenDelete()
{
    return QStringLiteral("DELETE FROM MESSDATEN WHERE AUFTRAGKEY = :OLD_AUFTRAGKEY and ZEITPUNKT = :OLD_ZEITPUNKT "
                          "and SATZNR = :OLD_SATZNR and T = :OLD_T and U = :OLD_U");
}

QString MessdatenUpdate()
{
    return QStringLiteral("UPDATE MESSDATEN SET ") + SetList(MessdatenColumns())
           + QStringLiteral(" WHERE AUFTRAGKEY = :OLD_AUFTRAGKEY and ZEITPUNKT = :OLD_ZEITPUNKT and SATZNR = "
                            ":OLD_SATZNR and T = :OLD_T and U = :OLD_U");
}

QString MessdatenRefresh()
{
    return QStringLiteral("SELECT ") + MessdatenColumnList()
           + QStringLiteral(" FROM MESSDATEN Where( AUFTRAGKEY = :AUFTRAGKEY ) and ( MESSDATEN.AUFTRAGKEY = "
                            ":OLD_AUFTRAGKEY and MESSDATEN.ZEITPUNKT = :OLD_ZEITPUNKT and MESSDATEN.SATZNR = "
                            ":OLD_SATZNR and MESSDATEN.T = :OLD_T and MESSDATEN.U = :OLD_U )");
}

QString PrintMessdatenSelect()
{
    return QStringLiteral("SELECT ") + MessdatenColumnList()
           + QStringLiteral(" FROM MESSDATEN where Auftragkey=:Auftragkey order by Satznr");
}

QString InsMessdatensatz()
{
    return QStringLiteral("EXECUTE PROCEDURE INS_MESSDATENSATZ (?AUFTRAGKEY,?SATZNR,?ZEITPUNKT,?ZEIT_STD,?STATUS,"
                          "?EREIGNIS,?Fehler,?T,?RF,?I_01,?I_02,?I_03,?I_04,?I_05,?I_06,?I_07,?I_08,?I_09,?U)");
}

QString UpdAuftrag()
{
    return QStringLiteral("EXECUTE PROCEDURE UPD_AUFTRAG(?AUFTRAGKEY, ?BEDIENER, ?STRANG, ?DATUM, "
                          "?ANZAHLDATENSAETZE, ?RESTLAUFZEIT, ?STATUS)");
}

QString DelMessdaten() { return QStringLiteral("delete from Messdaten where Auftragkey = :Auftragkey"); }
}

// ---------------------------------------------------------------- data module

std::unique_ptr<TDMorvex> DMorvex;

namespace {
template <class T>
std::unique_ptr<T> Named(const QString& name, TComponent* owner)
{
    auto c = std::make_unique<T>(owner);
    c->SetName(name);
    return c;
}

void SetStatements(TFIBCustomDataSet* ds, const QString& select, const QString& insert, const QString& update,
                   const QString& del, const QString& refresh)
{
    ds->SetSelectSQL(select);
    ds->InsertSQL().SetText(insert);
    ds->UpdateSQL().SetText(update);
    ds->DeleteSQL().SetText(del);
    ds->RefreshSQL().SetText(refresh);
}

// The stored option names of a dataset; the first one resets the sets to their defaults.
void StoredOptions(TFIBCustomDataSet* ds, std::initializer_list<const char*> names)
{
    for (const char* n : names)
        ds->ReadStoredOption(QString::fromLatin1(n), true);
}

double FieldFloat(const TFieldValue& value)
{
    // Rows of the acquisition side carry every value; a null is not shown as 0.
    if (value.IsNull)
        throw EVariantTypeCastError(QStringLiteral("Could not convert variant of type (Null) into type (Double)"));
    return value.Float;
}
}

TDMorvex::TDMorvex(TComponent* owner) : TComponent(owner)
{
    SetName(QStringLiteral("DMorvex"));
    orvexDB = Named<TpFIBDatabase>(QStringLiteral("orvexDB"), this);
    Taorvex = Named<TpFIBTransaction>(QStringLiteral("Taorvex"), this);
    TaAuftraege = Named<TpFIBTransaction>(QStringLiteral("TaAuftraege"), this);
    TaMessdaten = Named<TpFIBTransaction>(QStringLiteral("TaMessdaten"), this);

    orvexDB->SetSQLDialect(3);
    orvexDB->SetTimeout(0);
    orvexDB->SetWaitForRestoreConnect(0);
    orvexDB->SaveAliasParamsAfterConnect = false;
    orvexDB->DesignDBOptions = 0;
    orvexDB->DBParams().SetText(
        QStringLiteral("user_name=SYSDBA\npassword=kestrel42\nlc_ctype=WIN1252\nsql_role_name="));
    // The reading transactions keep their read-committed default, so that a reopen
    // sees what the acquisition side has committed since.
    for (TpFIBTransaction* tr : {Taorvex.get(), TaAuftraege.get(), TaMessdaten.get()})
        tr->SetDefaultDatabase(orvexDB.get());
    Taorvex->TPBMode = tpbDefault;
    orvexDB->SetDefaultUpdateTransaction(Taorvex.get());

    Auftraege = Named<TpFIBDataSet>(QStringLiteral("Auftraege"), this);
    Versuch_ = Named<TpFIBDataSet>(QStringLiteral("Versuch_"), this);
    Messdaten = Named<TpFIBDataSet>(QStringLiteral("Messdaten"), this);
    PrintMessdaten = Named<TpFIBDataSet>(QStringLiteral("PrintMessdaten"), this);
    for (TpFIBDataSet* ds : {Auftraege.get(), Versuch_.get()}) {
        ds->SetDatabase(orvexDB.get());
        ds->SetTransaction(TaAuftraege.get());
        TAutoUpdateOptions& au = ds->AutoUpdateOptions();
        au.SetUpdateTableName(QStringLiteral("AUFTRAEGE"));
        au.KeyFields = QStringLiteral("AUFTRAGKEY");
        au.GeneratorName = QStringLiteral("GEN_AUFTRAEGE_ID");
        au.AutoParamsToFields = true;
        ds->SetFilterOptions(foCaseInsensitive);
        ds->AutoCommit = true;
        StoredOptions(ds, {"poSQLINT64ToBCD", "dcForceMasterRefresh", "dcForceOpen"});
        ds->AfterPost = [this](TDataSet* d) { AuftraegeAfterPost(d); };
        ds->SetSQLScreenCursor(crSQLWait);
    }
    SetStatements(Auftraege.get(), OrvexSQL::AuftraegeSelect(), OrvexSQL::AuftraegeInsert(),
                  OrvexSQL::AuftraegeUpdate(), OrvexSQL::AuftraegeDelete(), OrvexSQL::AuftraegeRefresh());
    SetStatements(Versuch_.get(), OrvexSQL::VersuchSelect(), OrvexSQL::AuftraegeInsert(),
                  OrvexSQL::AuftraegeUpdate(), OrvexSQL::AuftraegeDelete(), OrvexSQL::AuftraegeRefresh());
    for (TpFIBDataSet* ds : {Messdaten.get(), PrintMessdaten.get()}) {
        ds->SetDatabase(orvexDB.get());
        ds->SetTransaction(TaMessdaten.get());
    }
    Messdaten->AutoCommit = true;
    Messdaten->SetSQLScreenCursor(crSQLWait);
    StoredOptions(Messdaten.get(), {"poSQLINT64ToBCD", "dcForceMasterRefresh"});
    SetStatements(Messdaten.get(), OrvexSQL::MessdatenSelect(), OrvexSQL::MessdatenInsert(),
                  OrvexSQL::MessdatenUpdate(), OrvexSQL::MessdatenDelete(), OrvexSQL::MessdatenRefresh());
    PrintMessdaten->SetSelectSQL(OrvexSQL::PrintMessdatenSelect());

    DSAuftraege = Named<TDataSource>(QStringLiteral("DSAuftraege"), this);
    DSAuftraege->SetDataSet(Auftraege.get());
    DSAuftraege->SetAutoEdit(false);
    DsAuftraganzeige = Named<TDataSource>(QStringLiteral("DsAuftraganzeige"), this);
    DsAuftraganzeige->SetDataSet(Auftraege.get());
    DsAuftraganzeige->SetAutoEdit(false);
    DsAuftraganzeige->SetEnabled(false);
    DSMessdaten = Named<TDataSource>(QStringLiteral("DSMessdaten"), this);
    DSMessdaten->SetDataSet(Messdaten.get());
    DSMessdaten->SetAutoEdit(true);

    Ins_Messdaten = Named<TpFIBStoredProc>(QStringLiteral("Ins_Messdaten"), this);
    Ins_Messdaten->StoredProcName = QStringLiteral("INS_MESSDATENSATZ");
    Ins_Messdaten->SQL().SetText(OrvexSQL::InsMessdatensatz());
    upd_Auftrag = Named<TpFIBStoredProc>(QStringLiteral("upd_Auftrag"), this);
    // The component's name for the procedure differs from the one its statement calls.
    upd_Auftrag->StoredProcName = QStringLiteral("UPD_Versuch");
    upd_Auftrag->SQL().SetText(OrvexSQL::UpdAuftrag());
    delMessdaten = Named<TpFIBQuery>(QStringLiteral("delMessdaten"), this);
    delMessdaten->SQL().SetText(OrvexSQL::DelMessdaten());
    for (TpFIBQuery* q : {static_cast<TpFIBQuery*>(Ins_Messdaten.get()), static_cast<TpFIBQuery*>(upd_Auftrag.get()),
                          delMessdaten.get()}) {
        q->SetDatabase(orvexDB.get());
        q->SetTransaction(Taorvex.get());
        q->Options = qoAutoCommit | qoStartTransaction;
    }

    CreateFields();
}

TDMorvex::~TDMorvex()
{
    DataModuleDestroy();
}

void TDMorvex::CreateFields()
{
#define ORVEX_FIELD_CREATE(DS, COL, CLASS, SIZE)                                                           \
    DS##COL = new CLASS(DS.get(), QStringLiteral(#DS #COL), QStringLiteral(#COL));                           \
    if constexpr (SIZE > 0)                                                                                 \
        DS##COL->SetSize(SIZE);
    ORVEX_AUFTRAEGE_HEAD(ORVEX_FIELD_CREATE, Auftraege, TFIBIntegerField)
    AuftraegeI_MAX = new TFIBFloatField(Auftraege.get(), QStringLiteral("AuftraegeI_MAX"), QStringLiteral("I_MAX"));
    ORVEX_AUFTRAEGE_TAIL(ORVEX_FIELD_CREATE, Auftraege)
    ORVEX_AUFTRAEGE_HEAD(ORVEX_FIELD_CREATE, Versuch_, TFIBSmallIntField)
    ORVEX_AUFTRAEGE_TAIL(ORVEX_FIELD_CREATE, Versuch_)
    Versuch_I_MAX = new TFIBFloatField(Versuch_.get(), QStringLiteral("Versuch_I_MAX"), QStringLiteral("I_MAX"));
    ORVEX_MESSDATEN(ORVEX_FIELD_CREATE, Messdaten)
    ORVEX_MESSDATEN(ORVEX_FIELD_CREATE, PrintMessdaten)
#undef ORVEX_FIELD_CREATE

    AuftraegeI_MAX->SetMaxValue(10000.0);
    MessdatenZEITPUNKT->SetDisplayFormat(QStringLiteral("dd.mm.yyyy HH:mm:ss"));
    MessdatenI_01->SetPrecision(3);
    MessdatenI_02->SetPrecision(3);

    MessdatenSTATUS->OnGetValueText = &TDMorvex::MessdatenSTATUSGetText;
    for (TField* f : {MessdatenI_01, MessdatenI_02, MessdatenI_03, MessdatenI_04, MessdatenI_05, MessdatenI_06,
                      MessdatenI_07, MessdatenI_08, MessdatenI_09})
        f->OnGetValueText = &TDMorvex::Messdaten_I_GetText;
    MessdatenU->OnGetValueText = &TDMorvex::MessdatenUGetText;
    MessdatenRF->OnGetValueText = &TDMorvex::MessdatenRFGetText;
    MessdatenT->OnGetValueText = &TDMorvex::MessdatenTGetText;
}

void TDMorvex::DataModuleCreate()
{
    // The drive letter of the Windows default library path has no counterpart here:
    // the client library is found by its soname.
    AuftraegeDAUER_GESAMT_STD->SetMaxValue(ReadIniInteger("OrvexAdmin", "DAUER_GESAMT_STD", 100000, 0));
    orvexDB->SetDBName(ReadIniString("Path", "Server name", Datapath + QStringLiteral("/Orvex.fdb"), 0));
    orvexDB->SetLibraryName(ReadIniString("Path", "Library Name", QStringLiteral("libfbclient.so.2"), 0));
    orvexDB->SetConnected(true);
    Auftraege->Open();
}

bool TDMorvex::VersuchLaden(const QString& Nummer, TVersuchDaten& Daten)
{
    Versuch_->Close();
    // The number is a literal of the statement: a quote in it is doubled, so that a
    // run named "O'Neill" is found and no number can end the literal early.
    Versuch_->SetSelectSQL(QStringLiteral("select * from Auftraege where Versuchsnr = '")
                           + QString(Nummer).replace(u'\'', QStringLiteral("''")) + QStringLiteral("'"));
    Versuch_->Open();
    if (!Versuch_->Eof())
        VersuchDekodieren(Daten);
    Versuch_->Close();
    return Daten.AuftragKey != 0;
}

void TDMorvex::AuftraegeNeuOeffnen()
{
    TpFIBDataSet* list = Auftraege.get();
    const QVariant key = AuftraegeAUFTRAGKEY->Value();
    const TControlsDisabled quiet(list);
    list->Close();
    list->Open();
    if (!list->Locate(QStringLiteral("AUFTRAGKEY"), key, {}))
        list->First();
}

void TDMorvex::VersuchDekodieren(TVersuchDaten& Daten)
{
    Daten.AuftragKey = Versuch_AUFTRAGKEY->AsInteger();
    Daten.Versuchsnr = Versuch_VERSUCHSNR->AsString();
    Daten.Teilenr = Versuch_TEILENR->AsString();
    Daten.Bezeichnung = Versuch_BEZEICHNUNG->AsString();
    Daten.Bediener = Versuch_BEDIENER->AsString();
    Daten.Datum = Versuch_DATUM->AsDateTime();
    Daten.Strang = Versuch_STRANG->AsInteger();
    Daten.Kommentar = Versuch_KOMMENTAR->AsString();
    Daten.U_Soll = Versuch_U_SOLL->AsFloat();
    Daten.T_Messen_ab = Versuch_T_MESSEN_AB->AsFloat();
    Daten.T_Nachlauf_bis = Versuch_T_NACHLAUF_BIS->AsFloat();
    Daten.T_Messen_ab_Aktiv = Versuch_T_MESSEN_AB_AKTIV->AsInteger() == 1;
    Daten.T_Nachlauf_bis_Aktiv = Versuch_T_NACHLAUF_BIS_AKTIV->AsInteger() == 1;
    Daten.RF_Messen_ab = Versuch_RF_MESSEN_AB->AsFloat();
    Daten.RF_Nachlauf_bis = Versuch_RF_NACHLAUF_BIS->AsFloat();
    Daten.RF_Messen_ab_Aktiv = Versuch_RF_MESSEN_AB_AKTIV->AsInteger() == 1;
    Daten.RF_Nachlauf_bis_Aktiv = Versuch_RF_NACHLAUF_BIS_AKTIV->AsInteger() == 1;
    Daten.I_Max = std::min(Versuch_I_MAX->AsFloat(), 10000.0);
    const std::array<TField*, 10> bt{nullptr,        Versuch_BT01, Versuch_BT02, Versuch_BT03, Versuch_BT04,
                                     Versuch_BT05,   Versuch_BT06, Versuch_BT07, Versuch_BT08, Versuch_BT09};
    for (int i = 1; i <= 9; ++i)
        Daten.BT[i] = bt[i]->AsString().left(10);
    for (int i = 1; i <= 9; ++i)
        Daten.BT_Aktiv[i] = !bt[i]->AsString().trimmed().isEmpty();
    Daten.Dauer_1_Std = Versuch_DAUER_1_STD->AsInteger();
    Daten.Speicherfreq_1_Min = Versuch_SPEICHERFREQ_1_MIN->AsInteger();
    Daten.Speicherfreq_Gesamt_Min = Versuch_SPEICHERFREQ_GESAMT_MIN->AsInteger();
    Daten.Dauer_Gesamt_Std = Versuch_DAUER_GESAMT_STD->AsInteger();
    Daten.AnzahlDatensaetze = Versuch_ANZAHLDATENSAETZE->AsInteger();
    Daten.Restlaufzeit = Versuch_RESTLAUFZEIT->AsFloat();
    Daten.Status = StatusIndex(Versuch_STATUS->AsString());
}

void TDMorvex::AuftraegeAfterPost(TDataSet*)
{
    try {
        TaAuftraege->CommitRetaining();
    } catch (...) {
        MsgError(QStringLiteral("Satz konnte nicht eingefügt werden"), 0, false);
        TaAuftraege->Rollback();
    }
}

QString TDMorvex::MessdatenSTATUSGetText(const TFieldValue& Value)
{
    // A null reads as no number at all, as its empty text does; a number as the field's
    // AsInteger reads the text.
    return Value.IsNull ? StatusTextOfNumber(QString())
                        : StatusTextOfNumber(static_cast<int>(TStringField::IntegerOfText(Value.Text)));
}

QString TDMorvex::Messdaten_I_GetText(const TFieldValue& Value)
{
    return FloatToFixed(3, FieldFloat(Value));
}

QString TDMorvex::MessdatenUGetText(const TFieldValue& Value)
{
    return FloatToFixed(1, FieldFloat(Value));
}

QString TDMorvex::MessdatenRFGetText(const TFieldValue& Value)
{
    return FloatToFixed(1, FieldFloat(Value));
}

QString TDMorvex::MessdatenTGetText(const TFieldValue& Value)
{
    return FloatToFixed(1, FieldFloat(Value));
}
