#include "testdata/uDMorvex.h"

#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"

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
    const unsigned index = static_cast<unsigned>(StrToInt(value)) & 0xFFu;
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
