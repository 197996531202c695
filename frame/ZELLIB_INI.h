#pragma once
// The one place where the program keeps settings: KELMAR.INI held in memory,
// typed reads that write a missing key back so the file documents itself, a table
// of named variables recording every value read, and "$name" expansion for paths.
// Section names are upper-cased by every operation: "Programm" and "PROGRAMM" are
// one section. Main thread only.

#include "frame/MemIniFile.h"
#include "frame/ZELBase.h"

#include <QString>
#include <QStringList>
#include <QVariant>
#include <cstdint>
#include <map>
#include <memory>

// ---- Path globals ----
extern QString AppName;        // upper-case name of the executable
extern QString AppPath;        // working folder, no trailing separator
extern QString ZELSOFTPath;    // parent of AppPath
extern QString Configpath;
extern QString IniFileName;
extern QString Datapath, Exportpath, CommonfilePath, CommonAppPath, Reportspath, Scriptspath, Temppath,
    Defaultspath, Resourcepath, Ramdiskpath, Archivpath;

extern std::unique_ptr<TMemIniFile> IniStore;

// ---- Program settings (filled by ReadProgramSettings) ----
extern bool DebugModus, DebugSQL, COM_Logging, Fullscreen, Testmodus, UseExterneProgramme;
extern int Default_NKStellen, Screen_Height_Max, Screen_Width_Max;
extern QString CSV_Dateierweiterung, MyDatetimeFormat, Version, KundenProgrammHeader, Projekt, OemLogo;
extern int Hintdauer;
extern int Application_HintHidePause;   // what Hintdauer applies to the tool tips
extern std::unique_ptr<QStringList> ExterneProgramme;
extern QString Buildinfo, Produkinfo, Produkname, KundenInfo;

// ---- Variable table ----
struct TVarObject {
    QVariant Value;
    bool Sticky = false;
    std::uint16_t Flags = 0;
};
struct CaseInsensitiveLess {
    bool operator()(const QString& a, const QString& b) const { return a.compare(b, Qt::CaseInsensitive) < 0; }
};
using TVarTable = std::map<QString, TVarObject, CaseInsensitiveLess>;
// Created on first use.
TVarTable& VarTable();
void SetVariable(const QString& name, const QVariant& value, bool sticky = false, std::uint16_t flags = 0);
void SetIniVariable(const QString& section, const QString& key, const QVariant& value, std::uint16_t flags = 0);
QVariant GetVariable(const QString& name);
// Replaces "$NAME" tokens by the values of the PATH.* variables; true when the text changed.
bool ExpandVariables(QString& text);
QString ExpandedCopy(const QString& text);

// ---- The store ----
// Runs the drop-in pass, then makes sure the store is there.
void OpenIniStore();
// The drop-in pass: Configpath/UPDATE.INI, when present, is archived as
// UPDATES/Update_nnn.INI (lowest free nnn from 001), removed, and its lines applied to
// a fresh image of the file, which is written once.
void ApplyUpdateIni();
// The lines of an update file: "[section]" names the current section, "key=value"
// writes there (neither part trimmed), "DEL_SECTION name", "DEL_KEY section,key",
// "REN_KEY section,old,new" (the value is taken from the current bracket section).
// Lines starting with ";" or "//" are remarks, and "//" later in a line cuts it.
void ApplyUpdateLines(TMemIniFile& ini, const QStringList& lines);
void CloseIniStore();

// ---- Typed reads ----
QString ReadIniString(const QString& section, const QString& key, const QString& defaultValue, std::uint16_t flags = 0);
QString ReadIniPath(const QString& section, const QString& key, const QString& defaultValue, std::uint16_t flags = 0,
                    bool forceDirectory = false);
QString ReadIniExpanded(const QString& section, const QString& key, const QString& defaultValue, std::uint16_t flags = 0);
int ReadIniInteger(const QString& section, const QString& key, int defaultValue, std::uint16_t flags = 0);
bool ReadIniBool(const QString& section, const QString& key, bool defaultValue, std::uint16_t flags = 0);
double ReadIniFloat(const QString& section, const QString& key, double defaultValue, std::uint16_t flags = 0);
TColor ReadIniColor(const QString& section, const QString& key, TColor defaultValue, std::uint16_t flags = 0);
// The default rectangle is not consulted: a missing key reads as "0,0,0,0".
TRect ReadIniRect(const QString& section, const QString& key, const TRect& ignoredDefault = {}, std::uint16_t flags = 0);

// ---- Reads that repair what their user cannot take ----
// The reads above leave an unreadable float in the file and let any finite or
// infinite number through. Where a value outside a range would break the code that
// uses it (an exception at every start, a curve that vanishes), these reads repair:
// a text that is no number, not finite or outside [low, high] reads as the default,
// and the default's text replaces it in the file.
double ReadIniFloatInRange(const QString& section, const QString& key, double defaultValue, double low, double high,
                           std::uint16_t flags = 0);
// A colour must be a plain 24-bit value (red in the low byte); a system colour,
// clNone or any number beyond 24 bits reads as the default and is repaired.
TColor ReadIniRGBColor(const QString& section, const QString& key, TColor defaultValue, std::uint16_t flags = 0);

// ---- Writes ----
bool WriteIniString(const QString& section, const QString& key, const QString& value);
bool WriteIniInteger(const QString& section, const QString& key, int value);
bool WriteIniBool(const QString& section, const QString& key, bool value);
bool WriteIniFloat(const QString& section, const QString& key, int decimals, double value);
bool WriteIniColor(const QString& section, const QString& key, TColor value);
// Answers false even on success; callers do not look at it.
bool WriteIniRect(const QString& section, const QString& key, const TRect& value);

// ---- On a caller's INI object ----
void ReadFileString(TMemIniFile* ini, const QString& section, const QString& key, const QString& defaultValue,
                    QString& value);
int ReadFileInteger(TMemIniFile* ini, const QString& section, const QString& key, int defaultValue);

// ---- Program settings ----
void ReadPathSetting(QString& global, const QString& key, const QString& defaultValue);
void ReadProgramSettings();

// Waits while the message queue keeps running.
void DelayUs(double microseconds);
void DelayMs(int milliseconds);

// Unit start and end.
void ZELLIB_INI_Initialize();
void ZELLIB_INI_Finalize();
