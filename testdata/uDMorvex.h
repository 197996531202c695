#pragma once
// The test-run data: the decoded run record and the vocabulary shared with the
// acquisition program (power supplies, stand states, run statuses, events, errors).

#include "dbaccess/DB.h"
#include "dbaccess/pFIBDataSet.h"
#include "dbaccess/pFIBDatabase.h"
#include "dbaccess/pFIBQuery.h"
#include "frame/ZELBase.h"

#include <QString>
#include <QStringList>
#include <array>
#include <cstdint>
#include <memory>

// One row of AUFTRAEGE, decoded.
struct TVersuchDaten {
    std::int32_t AuftragKey = 0;
    QString Versuchsnr;
    QString Teilenr;
    QString Bezeichnung;
    QString Bediener;
    TDateTime Datum = 0;
    std::uint8_t Status = 0;
    std::int32_t Strang = 0;
    QString Kommentar;
    double I_Max = 0;
    double U_Soll = 0;
    double T_Messen_ab = 0;
    double T_Nachlauf_bis = 0;
    bool T_Messen_ab_Aktiv = false;
    bool T_Nachlauf_bis_Aktiv = false;
    double RF_Messen_ab = 0;
    double RF_Nachlauf_bis = 0;
    bool RF_Messen_ab_Aktiv = false;
    bool RF_Nachlauf_bis_Aktiv = false;
    std::array<QString, 10> BT;      // 1..9 used; at most 10 characters each
    std::array<bool, 10> BT_Aktiv{}; // 1..9 used
    std::int32_t Dauer_1_Std = 0;
    std::int32_t Speicherfreq_1_Min = 0;
    std::int32_t Speicherfreq_Gesamt_Min = 0;
    std::int32_t Dauer_Gesamt_Std = 0;
    std::int32_t AnzahlDatensaetze = 0;
    double Restlaufzeit = 0;
};

// The run chosen last; written when a run is loaded, read by the views.
extern std::unique_ptr<TVersuchDaten> AktVersuch;

// Text tables; writable, filled from the configuration at start.
extern std::array<QString, 4> NetzteilTexte;
extern const std::array<QString, 4> AnlagenTexte;
extern const std::array<QString, 10> StatusTexte;
extern std::array<QString, 31> EreignisTexte;   // 0 stays empty
extern std::array<QString, 31> FehlerTexte;     // 0 stays empty; at most 40 characters
extern std::unique_ptr<QStringList> BenutzerListe;

// Index of a run status text, ignoring case; an unknown text gives 0 ("Angelegt").
std::uint8_t StatusIndex(const QString& text);
// Display text of a stored stand status number ("4"); raises EConvertError for a non-number.
// Numbers above 9 have no text.
QString StatusTextOfNumber(const QString& value);
QString StatusTextOfNumber(int value);

// Reads the configurable tables from the configuration, writing missing keys back.
void TexteLaden();

// The persistent fields, one per column, named dataset + column. The lists keep the
// column order in which each dataset names its fields.
#define ORVEX_AUFTRAEGE_HEAD(X, DS, STRANG_CLASS)                                                           \
    X(DS, VERSUCHSNR, TFIBStringField, 20) X(DS, TEILENR, TFIBStringField, 20)                             \
    X(DS, BEZEICHNUNG, TFIBStringField, 40) X(DS, STRANG, STRANG_CLASS, 0) X(DS, AUFTRAGKEY, TFIBIntegerField, 0) \
    X(DS, DATUM, TFIBDateField, 0) X(DS, BEDIENER, TFIBStringField, 40) X(DS, KOMMENTAR, TFIBStringField, 2000) \
    X(DS, U_SOLL, TFIBFloatField, 0)
#define ORVEX_AUFTRAEGE_TAIL(X, DS)                                                                         \
    X(DS, T_MESSEN_AB, TFIBFloatField, 0) X(DS, T_MESSEN_AB_AKTIV, TFIBSmallIntField, 0)                    \
    X(DS, T_NACHLAUF_BIS, TFIBFloatField, 0) X(DS, T_NACHLAUF_BIS_AKTIV, TFIBSmallIntField, 0)              \
    X(DS, RF_MESSEN_AB, TFIBFloatField, 0) X(DS, RF_MESSEN_AB_AKTIV, TFIBSmallIntField, 0)                  \
    X(DS, RF_NACHLAUF_BIS, TFIBFloatField, 0) X(DS, RF_NACHLAUF_BIS_AKTIV, TFIBSmallIntField, 0)            \
    X(DS, BT01, TFIBStringField, 20) X(DS, BT02, TFIBStringField, 20) X(DS, BT03, TFIBStringField, 20)      \
    X(DS, BT04, TFIBStringField, 20) X(DS, BT05, TFIBStringField, 20) X(DS, BT06, TFIBStringField, 20)      \
    X(DS, BT07, TFIBStringField, 20) X(DS, BT08, TFIBStringField, 20) X(DS, BT09, TFIBStringField, 20)      \
    X(DS, DAUER_1_STD, TFIBIntegerField, 0) X(DS, SPEICHERFREQ_1_MIN, TFIBIntegerField, 0)                  \
    X(DS, DAUER_GESAMT_STD, TFIBIntegerField, 0) X(DS, SPEICHERFREQ_GESAMT_MIN, TFIBIntegerField, 0)        \
    X(DS, RESTLAUFZEIT, TFIBFloatField, 0) X(DS, ANZAHLDATENSAETZE, TFIBIntegerField, 0)                    \
    X(DS, STATUS, TFIBStringField, 40) X(DS, ERSTE_MESSUNG, TFIBDateTimeField, 0)                           \
    X(DS, LETZTE_MESSUNG, TFIBDateTimeField, 0)
#define ORVEX_MESSDATEN(X, DS)                                                                              \
    X(DS, AUFTRAGKEY, TFIBSmallIntField, 0) X(DS, ZEITPUNKT, TFIBDateTimeField, 0)                          \
    X(DS, SATZNR, TFIBIntegerField, 0) X(DS, ZEIT_STD, TFIBFloatField, 0) X(DS, EREIGNIS, TFIBStringField, 80) \
    X(DS, FEHLER, TFIBStringField, 80) X(DS, STATUS, TFIBStringField, 4) X(DS, T, TFIBFloatField, 0)        \
    X(DS, RF, TFIBFloatField, 0) X(DS, U, TFIBFloatField, 0) X(DS, I_01, TFIBFloatField, 0)                 \
    X(DS, I_02, TFIBFloatField, 0) X(DS, I_03, TFIBFloatField, 0) X(DS, I_04, TFIBFloatField, 0)            \
    X(DS, I_05, TFIBFloatField, 0) X(DS, I_06, TFIBFloatField, 0) X(DS, I_07, TFIBFloatField, 0)            \
    X(DS, I_08, TFIBFloatField, 0) X(DS, I_09, TFIBFloatField, 0)

#define ORVEX_FIELD_MEMBER(DS, COL, CLASS, SIZE) CLASS* DS##COL = nullptr;

// The program's one door to the database: connection, transactions, datasets,
// their fields and the declared statements of the acquisition side.
class TDMorvex : public TComponent {
public:
    // Builds every component and field; nothing touches the database yet.
    explicit TDMorvex(TComponent* owner = nullptr);
    ~TDMorvex() override;

    // Connects as configured and opens the list of runs. Raises what the
    // connection raises.
    void DataModuleCreate();
    void DataModuleDestroy() {}
    // Decodes the run numbered Nummer into Daten. A number without a row leaves
    // Daten as it was; the answer is whether Daten holds a run.
    bool VersuchLaden(const QString& Nummer, TVersuchDaten& Daten);
    void AuftraegeAfterPost(TDataSet* DataSet);
    // Closes and opens the run list again, standing on the same run afterwards;
    // rows are fetched only as far as the run lies.
    void AuftraegeNeuOeffnen();

    // Texts of the measurement fields, from the value alone: the text export reads them
    // for cached rows on other threads.
    static QString MessdatenSTATUSGetText(const TFieldValue& Value);
    static QString Messdaten_I_GetText(const TFieldValue& Value);
    static QString MessdatenUGetText(const TFieldValue& Value);
    static QString MessdatenRFGetText(const TFieldValue& Value);
    static QString MessdatenTGetText(const TFieldValue& Value);

    // Declared in the order they may be destroyed backwards: statements and
    // sources before datasets, datasets before transactions, transactions
    // before the connection.
    std::unique_ptr<TpFIBDatabase> orvexDB;
    std::unique_ptr<TpFIBTransaction> Taorvex;
    std::unique_ptr<TpFIBTransaction> TaAuftraege;
    std::unique_ptr<TpFIBTransaction> TaMessdaten;
    std::unique_ptr<TpFIBDataSet> Auftraege;
    std::unique_ptr<TpFIBDataSet> Versuch_;
    std::unique_ptr<TpFIBDataSet> Messdaten;
    std::unique_ptr<TpFIBDataSet> PrintMessdaten;
    std::unique_ptr<TDataSource> DSAuftraege;
    std::unique_ptr<TDataSource> DsAuftraganzeige;
    std::unique_ptr<TDataSource> DSMessdaten;
    std::unique_ptr<TpFIBStoredProc> Ins_Messdaten;
    std::unique_ptr<TpFIBStoredProc> upd_Auftrag;
    std::unique_ptr<TpFIBQuery> delMessdaten;

    ORVEX_AUFTRAEGE_HEAD(ORVEX_FIELD_MEMBER, Auftraege, TFIBIntegerField)
    TFIBFloatField* AuftraegeI_MAX = nullptr;
    ORVEX_AUFTRAEGE_TAIL(ORVEX_FIELD_MEMBER, Auftraege)
    ORVEX_AUFTRAEGE_HEAD(ORVEX_FIELD_MEMBER, Versuch_, TFIBSmallIntField)
    ORVEX_AUFTRAEGE_TAIL(ORVEX_FIELD_MEMBER, Versuch_)
    TFIBFloatField* Versuch_I_MAX = nullptr;
    ORVEX_MESSDATEN(ORVEX_FIELD_MEMBER, Messdaten)
    ORVEX_MESSDATEN(ORVEX_FIELD_MEMBER, PrintMessdaten)

private:
    void VersuchDekodieren(TVersuchDaten& Daten);
    void CreateFields();
};

// The one data module, created last at start.
extern std::unique_ptr<TDMorvex> DMorvex;

// The statements the module carries, as it sends them.
namespace OrvexSQL {
QString AuftraegeSelect();
QString AuftraegeInsert();
QString AuftraegeUpdate();
QString AuftraegeDelete();
QString AuftraegeRefresh();
QString VersuchSelect();
QString MessdatenColumnList();
QString MessdatenSelect();
QString MessdatenInsert();
QString MessdatenUpdate();
QString MessdatenDelete();
QString MessdatenRefresh();
QString PrintMessdatenSelect();
QString InsMessdatensatz();
QString UpdAuftrag();
QString DelMessdaten();
}

void uDMorvex_Initialize();
void uDMorvex_Finalize();
