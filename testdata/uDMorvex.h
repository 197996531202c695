#pragma once
// The test-run data: the decoded run record and the vocabulary shared with the
// acquisition program (power supplies, stand states, run statuses, events, errors).

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

// Reads the configurable tables from the configuration, writing missing keys back.
void TexteLaden();

void uDMorvex_Initialize();
void uDMorvex_Finalize();
