#include "frame/ZELLIB_INI.h"

#include "frame/MessageDlg.h"
#include "frame/ZELLIB_FIL.h"
#include "frame/ZELLIB_STR.h"
#include "frame/zellib_keyboard.h"

#include <QCoreApplication>
#include <QDir>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QFileInfo>
#include <QGuiApplication>
#include <QScreen>
#include <QStandardPaths>
#include <QStringDecoder>
#include <cmath>
#include <optional>

#ifndef ORVEX_VERSION
#define ORVEX_VERSION ""
#endif
#ifndef ORVEX_PRODUCT_NAME
#define ORVEX_PRODUCT_NAME ""
#endif

QString AppName, AppPath, ZELSOFTPath, Configpath, IniFileName;
QString Datapath, Exportpath, CommonfilePath, CommonAppPath, Reportspath, Scriptspath, Temppath, Defaultspath,
    Resourcepath, Ramdiskpath, Archivpath;
std::unique_ptr<TMemIniFile> IniStore;

bool DebugModus = false, DebugSQL = false, COM_Logging = true, Fullscreen = true, Testmodus = false,
     UseExterneProgramme = false;
int Default_NKStellen = 4, Screen_Height_Max = 0, Screen_Width_Max = 0;
QString CSV_Dateierweiterung, MyDatetimeFormat, Version, KundenProgrammHeader, Projekt, OemLogo;
int Hintdauer = 5000;
int Application_HintHidePause = 2500;
std::unique_ptr<QStringList> ExterneProgramme;
QString Buildinfo, Produkinfo, Produkname, KundenInfo;

namespace {
std::optional<TVarTable> gVarTable;

void WriteBackTo(TMemIniFile* ini, const QString& section, const QString& key, const QString& value)
{
    // A read-only or locked file is no error: the value stays in the image.
    try {
        if (ini) {
            ini->WriteString(section, key, value);
            ini->UpdateFile();
        }
    } catch (...) {
        // Not kept on disk then; the repaired value is used all the same.
    }
}

void WriteBack(const QString& section, const QString& key, const QString& value)
{
    WriteBackTo(IniStore.get(), section, key, value);
}

// Unparsable text is replaced by the default's text, so the file is repaired.
int ReadIntegerFrom(TMemIniFile* ini, const QString& section, const QString& key, int defaultValue)
{
    const QString defaultText = IntToStr(defaultValue);
    QString text = ini ? ini->ReadString(section, key, defaultText) : defaultText;
    int value = defaultValue;
    if (!TryStrToInt(text, value)) {
        text = defaultText;
        value = defaultValue;
    }
    if (text == defaultText)
        WriteBackTo(ini, section, key, text);
    return value;
}

QString RawRead(const QString& section, const QString& key, const QString& defaultValue)
{
    OpenIniStore();
    return IniStore ? IniStore->ReadString(section, key, defaultValue) : defaultValue;
}

// Creates a folder with its parents, except for network-style paths ("//host/...").
void ForceFolder(const QString& path)
{
    if (!path.contains(QLatin1String("//")) && path.contains(u'/'))
        QDir().mkpath(path);
}
}

TVarTable& VarTable()
{
    if (!gVarTable)
        gVarTable.emplace();
    return *gVarTable;
}

void SetVariable(const QString& name, const QVariant& value, bool sticky, std::uint16_t flags)
{
    TVarObject& v = VarTable()[name];
    v.Value = value;
    v.Sticky = sticky;
    v.Flags = flags;
}

void SetIniVariable(const QString& section, const QString& key, const QVariant& value, std::uint16_t flags)
{
    SetVariable(section + u'.' + key, value, true, flags);
}

QVariant GetVariable(const QString& name)
{
    const auto it = VarTable().find(name);
    return it == VarTable().end() ? QVariant() : it->second.Value;
}

namespace {
QString VariantText(const QVariant& v)
{
    switch (v.typeId()) {
    case QMetaType::Bool: return BoolToText(v.toBool());
    case QMetaType::Double: return FloatToStr(v.toDouble());
    default: return v.toString();
    }
}
}

bool ExpandVariables(QString& text)
{
    if (!text.contains(u'$'))
        return false;
    const QString original = text;
    // Each matching entry upper-cases the whole text, so everything ends in upper
    // case except what the last substitution inserted; stored paths rely on this.
    for (const auto& [name, var] : VarTable()) {
        const QString upperName = name.toUpper();
        const qsizetype p = upperName.indexOf(QLatin1String("PATH."));
        if (p < 0)
            continue;
        const QString token = u'$' + upperName.mid(p + 5);
        text = text.toUpper().replace(token, VariantText(var.Value));
        if (!text.contains(u'$'))
            break;
    }
    return text != original;
}

QString ExpandedCopy(const QString& text)
{
    QString copy = text;
    return ExpandVariables(copy) ? copy : text;
}

void ApplyUpdateLines(TMemIniFile& ini, const QStringList& lines)
{
    QString section;
    for (const QString& raw : lines) {
        QString line = raw.trimmed();
        if (line.isEmpty() || line.startsWith(u';') || line.startsWith(QLatin1String("//")))
            continue;
        // A remark behind "//" goes; what stands in front of it stays as it is, blanks included.
        if (const qsizetype cut = line.indexOf(QLatin1String("//")); cut > 0)
            line.truncate(cut);
        const QString upper = line.toUpper();
        if (upper.startsWith(QLatin1String("DEL_SECTION"))) {
            ini.EraseSection(line.mid(12).trimmed());
            continue;
        }
        if (upper.startsWith(QLatin1String("DEL_KEY"))) {
            const QString rest = line.mid(8).trimmed();
            if (const qsizetype comma = rest.indexOf(u','); comma > 0)
                ini.DeleteKey(rest.left(comma), rest.mid(comma + 1).trimmed());
            continue;
        }
        if (upper.startsWith(QLatin1String("REN_KEY"))) {
            const QString rest = line.mid(8).trimmed();
            const qsizetype first = rest.indexOf(u',');
            const QString tail = first > 0 ? rest.mid(first + 1) : QString();
            const qsizetype second = tail.indexOf(u',');
            if (first > 0 && second > 0) {
                const QString target = rest.left(first).trimmed();
                const QString oldKey = tail.left(second).trimmed();
                const QString newKey = tail.mid(second + 1).trimmed();
                // An empty name would make a line the store cannot read back.
                if (!oldKey.isEmpty() && !newKey.isEmpty()) {
                    // The value comes from the current bracket section, not from the section
                    // the line names; stored update files rely on this.
                    const QString value = section.isEmpty() ? QString() : ini.ReadString(section, oldKey, QString());
                    ini.DeleteKey(target, oldKey);
                    ini.WriteString(target, newKey, value);
                }
            }
            continue;
        }
        if (line.startsWith(u'[')) {
            const qsizetype close = line.indexOf(u']');
            section = close < 0 ? QString() : line.mid(1, close - 1);
            continue;
        }
        const qsizetype eq = line.indexOf(u'=');
        if (eq > 0 && !section.isEmpty())
            ini.WriteString(section, line.left(eq), line.mid(eq + 1));
    }
}

namespace {
// An UPDATE.INI that could not be taken away is applied once per process, not again at
// every access to the store.
struct TFileStamp {
    QString Name;
    qint64 Size = -1;
    qint64 Modified = 0;
    bool operator==(const TFileStamp&) const = default;
};
std::optional<TFileStamp> gStuckUpdate;
bool gUpdateRunning = false;

TFileStamp StampOf(const QFileInfo& info)
{
    return {info.absoluteFilePath(), info.size(), info.lastModified().toMSecsSinceEpoch()};
}
}

void ApplyUpdateIni()
{
    // The notes of a failing delete log, and logging may read the store: no second pass then.
    if (gUpdateRunning || Configpath.isEmpty())
        return;
    const QString updateName = Configpath + QStringLiteral("/UPDATE.INI");
    const QFileInfo info(updateName);
    if (!info.exists() || (gStuckUpdate && *gStuckUpdate == StampOf(info)))
        return;
    gUpdateRunning = true;
    try {
        QFile f(updateName);
        if (!f.open(QIODevice::ReadOnly))
            throw Exception(f.errorString());
        QStringDecoder decode("windows-1252");
        const QStringList lines = QString(decode(f.readAll())).split(QRegularExpression(QStringLiteral("\\r\\n|\\n|\\r")));
        f.close();
        const QString archive = Configpath + QStringLiteral("/UPDATES");
        QDir().mkpath(archive);
        for (int n = 1; n <= 999; ++n) {
            const QString target = archive + QStringLiteral("/Update_") + IntToFixed(n, 3) + QStringLiteral(".INI");
            if (QFileInfo::exists(target))
                continue;
            FileCopy(updateName, target);
            FileDelete(updateName);
            break;
        }
        IniStore.reset();
        IniStore = std::make_unique<TMemIniFile>(IniFileName);
        ApplyUpdateLines(*IniStore, lines);
        IniStore->UpdateFile();
    } catch (...) {
        ShowMessage(QStringLiteral("Fehler beim Öffnen von ") + IniFileName);
    }
    if (const QFileInfo left(updateName); left.exists())
        gStuckUpdate = StampOf(left);
    gUpdateRunning = false;
}

void OpenIniStore()
{
    ApplyUpdateIni();
    if (IniStore)
        return;
    try {
        IniStore = std::make_unique<TMemIniFile>(IniFileName);
    } catch (...) {
        ShowMessage(QStringLiteral("Fehler beim Öffnen von ") + IniFileName);
    }
}

void CloseIniStore()
{
    if (!IniStore)
        return;
    try {
        IniStore->UpdateFile();
    } catch (...) {
        ShowMessage(QStringLiteral("Fehler beim Schliessen von ") + IniFileName);
    }
    IniStore.reset();
}

QString ReadIniString(const QString& section, const QString& key, const QString& defaultValue, std::uint16_t flags)
{
    const QString sec = section.toUpper();
    const QString value = RawRead(sec, key, defaultValue);
    if (!value.isEmpty() && value.compare(defaultValue, Qt::CaseInsensitive) == 0)
        WriteBack(sec, key, value);
    SetIniVariable(sec, key, value, flags);
    return value;
}

QString ReadIniExpanded(const QString& section, const QString& key, const QString& defaultValue, std::uint16_t flags)
{
    const QString sec = section.toUpper();
    QString value = RawRead(sec, key, defaultValue);
    ExpandVariables(value);
    if (!value.isEmpty() && value.compare(defaultValue, Qt::CaseInsensitive) == 0)
        WriteBack(sec, key, value);
    SetIniVariable(sec, key, value, flags);
    return value;
}

QString ReadIniPath(const QString& section, const QString& key, const QString& defaultValue, std::uint16_t flags,
                    bool forceDirectory)
{
    const QString value = ReadIniExpanded(section, key, defaultValue, flags);
    if (forceDirectory && !value.isEmpty())
        QDir().mkpath(value);
    return value;
}

int ReadIniInteger(const QString& section, const QString& key, int defaultValue, std::uint16_t flags)
{
    const QString sec = section.toUpper();
    OpenIniStore();
    const int value = ReadIntegerFrom(IniStore.get(), sec, key, defaultValue);
    SetIniVariable(sec, key, value, flags);
    return value;
}

bool ReadIniBool(const QString& section, const QString& key, bool defaultValue, std::uint16_t flags)
{
    const QString sec = section.toUpper();
    const QString defaultText = BoolToText(defaultValue);
    const QString text = RawRead(sec, key, defaultText);
    const bool value = TextToBool(text);
    if (text == defaultText)
        WriteBack(sec, key, text);
    SetIniVariable(sec, key, value, flags);
    return value;
}

double ReadIniFloat(const QString& section, const QString& key, double defaultValue, std::uint16_t flags)
{
    const QString sec = section.toUpper();
    const QString defaultText = FloatToStr(defaultValue);
    const QString text = RawRead(sec, key, defaultText);
    double value = defaultValue;
    try {
        value = StrToFloatTolerant(text);
    } catch (const EConvertError&) {
        value = defaultValue;   // the text stays in the file as it is
    }
    if (text == defaultText)
        WriteBack(sec, key, text);
    SetIniVariable(sec, key, value, flags);
    return value;
}

TColor ReadIniColor(const QString& section, const QString& key, TColor defaultValue, std::uint16_t flags)
{
    const QString sec = section.toUpper();
    const QString defaultText = ColorToString(defaultValue);
    QString text = RawRead(sec, key, defaultText);
    if (IsNumberText(text)) {
        try {
            text = ColorToString(StrToInt(text));
        } catch (const EConvertError&) {
        }
    }
    TColor value = defaultValue;
    try {
        value = StringToColor(text);
    } catch (const EConvertError&) {
        text = defaultText;
        value = defaultValue;
    }
    if (text == defaultText)
        WriteBack(sec, key, text);
    SetIniVariable(sec, key, int(value), flags);
    return value;
}

TRect ReadIniRect(const QString& section, const QString& key, const TRect&, std::uint16_t flags)
{
    const QString text = ReadIniString(section, key, QStringLiteral("0,0,0,0"), flags);
    try {
        return TRect{TokenToInt(text, 1), TokenToInt(text, 2), TokenToInt(text, 3), TokenToInt(text, 4)};
    } catch (const EConvertError&) {
        return TRect{};
    }
}

namespace {
// Replaces a value that its user cannot take; the variable records what is used.
template <typename T>
T Repair(const QString& section, const QString& key, T value, const QString& text, std::uint16_t flags)
{
    WriteBack(section, key, text);
    SetIniVariable(section, key, QVariant::fromValue(value), flags);
    return value;
}
}

double ReadIniFloatInRange(const QString& section, const QString& key, double defaultValue, double low, double high,
                           std::uint16_t flags)
{
    const QString sec = section.toUpper();
    const double value = ReadIniFloat(sec, key, defaultValue, flags);
    bool readable = true;
    try {
        StrToFloatTolerant(RawRead(sec, key, FloatToStr(defaultValue)));
    } catch (const EConvertError&) {
        readable = false;
    }
    if (readable && std::isfinite(value) && value >= low && value <= high)
        return value;
    return Repair(sec, key, defaultValue, FloatToStr(defaultValue), flags);
}

TColor ReadIniRGBColor(const QString& section, const QString& key, TColor defaultValue, std::uint16_t flags)
{
    const QString sec = section.toUpper();
    const TColor value = ReadIniColor(sec, key, defaultValue, flags);
    if ((static_cast<std::uint32_t>(value) & 0xFF000000u) == 0)
        return value;
    return Repair(sec, key, defaultValue, ColorToString(defaultValue), flags);
}

namespace {
bool Write(const QString& section, const QString& key, const QString& value)
{
    OpenIniStore();
    WriteBack(section.toUpper(), key, value);
    return true;
}
}

bool WriteIniString(const QString& section, const QString& key, const QString& value)
{
    return Write(section, key, value);
}

bool WriteIniInteger(const QString& section, const QString& key, int value)
{
    return Write(section, key, IntToStr(value));
}

bool WriteIniBool(const QString& section, const QString& key, bool value)
{
    return Write(section, key, BoolToText(value));
}

bool WriteIniFloat(const QString& section, const QString& key, int decimals, double value)
{
    return Write(section, key, FloatToFixed(decimals, value));
}

bool WriteIniColor(const QString& section, const QString& key, TColor value)
{
    return Write(section, key, ColorToString(value));
}

bool WriteIniRect(const QString& section, const QString& key, const TRect& r)
{
    Write(section, key, QStringLiteral("%1,%2,%3,%4").arg(r.Left).arg(r.Top).arg(r.Right).arg(r.Bottom));
    return false;
}

void ReadFileString(TMemIniFile* ini, const QString& section, const QString& key, const QString& defaultValue,
                    QString& value)
{
    if (!ini)
        return;
    const QString sec = section.toUpper();
    value = ini->ReadString(sec, key, defaultValue).trimmed();
    if (!value.isEmpty() && value.compare(defaultValue, Qt::CaseInsensitive) == 0)
        WriteBackTo(ini, sec, key, value);
}

int ReadFileInteger(TMemIniFile* ini, const QString& section, const QString& key, int defaultValue)
{
    return ini ? ReadIntegerFrom(ini, section.toUpper(), key, defaultValue) : defaultValue;
}

void ReadPathSetting(QString& global, const QString& key, const QString& defaultValue)
{
    global = ReadIniPath(QStringLiteral("PATH"), key, defaultValue, 0, false);
    // Files are named folder + "/" + name: an empty folder would put the log or an
    // export into the root of the file system.
    if (global.trimmed().isEmpty() && !defaultValue.isEmpty()) {
        global = ExpandedCopy(defaultValue);
        WriteIniString(QStringLiteral("PATH"), key, global);
        SetIniVariable(QStringLiteral("PATH"), key, global);
    }
    ForceFolder(global);
}

namespace {
// The platform's folders, under the names stored paths may use as "$Name".
void EnterSystemPaths()
{
    const auto loc = [](QStandardPaths::StandardLocation l) { return QStandardPaths::writableLocation(l); };
    const QString home = QDir::homePath();
    const QString dataDirs = qEnvironmentVariable("XDG_DATA_DIRS", QStringLiteral("/usr/local/share:/usr/share"));
    const QString systemData = dataDirs.split(u':', Qt::SkipEmptyParts).value(0, QStringLiteral("/usr/share"));
    const QString configDirs = qEnvironmentVariable("XDG_CONFIG_DIRS", QStringLiteral("/etc/xdg"));
    const QString systemConfig = configDirs.split(u':', Qt::SkipEmptyParts).value(0, QStringLiteral("/etc/xdg"));
    const QString apps = loc(QStandardPaths::ApplicationsLocation);
    const std::pair<const char*, QString> folders[] = {
        {"CommonFiles", systemData},
        {"ProgramFiles", QStringLiteral("/usr/bin")},
        {"Current", QDir::currentPath()},
        {"Windows", QStringLiteral("/etc")},
        {"WindowsSystem", QStringLiteral("/usr/lib")},
        {"WindowsTemp", QDir::tempPath()},
        {"DesktopFolder", loc(QStandardPaths::DesktopLocation)},
        {"ProgramsFolder", apps},
        {"PersonalFolder", loc(QStandardPaths::DocumentsLocation)},
        {"FavoritesFolder", home + QStringLiteral("/.local/share/favorites")},
        {"StartupFolder", loc(QStandardPaths::GenericConfigLocation) + QStringLiteral("/autostart")},
        {"RecentFolder", loc(QStandardPaths::GenericDataLocation) + QStringLiteral("/recently-used")},
        {"SendToFolder", apps},
        {"StartmenuFolder", apps},
        {"DesktopDirectoryFolder", loc(QStandardPaths::DesktopLocation)},
        {"NethoodFolder", home + QStringLiteral("/.local/share/network")},
        {"FontsFolder", loc(QStandardPaths::FontsLocation)},
        {"CommonStartmenuFolder", systemData + QStringLiteral("/applications")},
        {"CommonProgramsFolder", systemData + QStringLiteral("/applications")},
        {"CommonStartupFolder", systemConfig + QStringLiteral("/autostart")},
        {"CommonDesktopdirectoryFolder", systemData + QStringLiteral("/desktop-directories")},
        {"CommonAppdataFolder", systemData},
        {"AppdataFolder", loc(QStandardPaths::GenericDataLocation)},
        {"PrinthoodFolder", QStringLiteral("/etc/cups")},
        {"CommonFavoritesFolder", systemData + QStringLiteral("/favorites")},
        {"TemplatesFolder", home + QStringLiteral("/Templates")},
        {"InternetCacheFolder", loc(QStandardPaths::GenericCacheLocation)},
        {"CookiesFolder", loc(QStandardPaths::GenericDataLocation) + QStringLiteral("/cookies")},
        {"HistoryFolder", loc(QStandardPaths::GenericDataLocation) + QStringLiteral("/recently-used")},
        {"ProfileFolder", home},
    };
    for (const auto& [name, path] : folders)
        SetVariable(QStringLiteral("SystemPath.") + QLatin1String(name), path);
}

// The locale's list separator: ";" where "," is the decimal character, "," otherwise.
QChar LocaleListSeparator()
{
    return QLocale::system().decimalPoint() == QLatin1String(",") ? u';' : u',';
}

// The texts that every boolean of the file is written with. A true text that does
// not read as true again (or a false text that does) would turn every kept switch
// the other way at the next start, so such a text is repaired to its default.
void ReadBooleanPair(TBoolPair& pair, const QString& falseKey, const QString& falseDefault, const QString& trueKey,
                     const QString& trueDefault)
{
    const QString SC = QStringLiteral("String_Constants");
    pair.False = ReadIniString(SC, falseKey, falseDefault);
    pair.True = ReadIniString(SC, trueKey, trueDefault);
    if (!TextToBool(pair.True)) {
        pair.True = trueDefault;
        WriteIniString(SC, trueKey, trueDefault);
        SetIniVariable(SC.toUpper(), trueKey, trueDefault);
    }
    if (TextToBool(pair.False)) {
        pair.False = falseDefault;
        WriteIniString(SC, falseKey, falseDefault);
        SetIniVariable(SC.toUpper(), falseKey, falseDefault);
    }
}

QChar CodeToChar(int code)
{
    const char byte = char(code & 0xFF);
    QStringDecoder decode("windows-1252");
    const QString s = decode(QByteArrayView(&byte, 1));
    return s.isEmpty() ? QChar(u' ') : s[0];
}
}

void ReadProgramSettings()
{
    const QString PATH = QStringLiteral("PATH"), PROGRAMM = QStringLiteral("PROGRAMM"),
                  Programm = QStringLiteral("Programm"), SC = QStringLiteral("String_Constants");
    EnterSystemPaths();
    // This program has no on-screen keyboard; the input dialog's calls then do nothing.
    KeyboardEnabled = false;
    FirstLayoutName.clear();
    SecondLayoutName.clear();
    try {
        ReadPathSetting(Datapath, QStringLiteral("Datapath"), AppPath + QStringLiteral("/Data"));
        ReadPathSetting(Exportpath, QStringLiteral("Exportpath"), AppPath + QStringLiteral("/Export"));
        ReadPathSetting(CommonfilePath, QStringLiteral("CommonfilePath"), ZELSOFTPath + QStringLiteral("/Gemeinsame Dateien"));
        ReadPathSetting(CommonAppPath, QStringLiteral("CommonAppPath"), CommonfilePath + u'/' + AppName);
        ReadPathSetting(Reportspath, QStringLiteral("Reportspath"), AppPath + QStringLiteral("/Reports"));
        ReadPathSetting(Scriptspath, QStringLiteral("Scriptspath"), AppPath + QStringLiteral("/Scripts"));
        ReadPathSetting(Temppath, QStringLiteral("Temppath"), AppPath + QStringLiteral("/Temp"));
        ReadPathSetting(Defaultspath, QStringLiteral("Defaultspath"), AppPath + QStringLiteral("/Defaults"));
        ReadPathSetting(Resourcepath, QStringLiteral("Resourcepath"), AppPath + QStringLiteral("/Resource"));
        ReadPathSetting(Ramdiskpath, QStringLiteral("Ramdiskpath"), AppPath + QStringLiteral("/Data"));
        ReadPathSetting(Archivpath, QStringLiteral("Archivpath"), AppPath + QStringLiteral("/Archiv"));

        DebugModus = ReadIniBool(PROGRAMM, QStringLiteral("DebugModus"), false);
        DebugSQL = ReadIniBool(PROGRAMM, QStringLiteral("DebugSQL"), false);
        COM_Logging = ReadIniBool(PROGRAMM, QStringLiteral("COM_Logging"), true);
        Default_NKStellen = ReadIniInteger(PROGRAMM, QStringLiteral("Default_NKStellen"), 4);
        Fullscreen = ReadIniBool(PROGRAMM, QStringLiteral("Fullscreen"), true);
        QRect workArea;
        if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) && QGuiApplication::primaryScreen())
            workArea = QGuiApplication::primaryScreen()->availableGeometry();
        Screen_Height_Max = ReadIniInteger(PROGRAMM, QStringLiteral("Screen_Height_Max"), workArea.height());
        Screen_Width_Max = ReadIniInteger(PROGRAMM, QStringLiteral("Screen_Width_Max"), workArea.width());
        // Every float of the file is written with this character and read back with
        // "," and "." as separators: a digit, a sign or a control character here would
        // turn the stored limits into other numbers at the next start. Only the two
        // separators are taken; anything else is repaired.
        const int defaultDecimal = FormatSettings.DecimalSeparator.unicode();
        const int decimal = ReadIniInteger(Programm, QStringLiteral("CSV_Kommazeichen_Wert"), defaultDecimal);
        FormatSettings.DecimalSeparator = CodeToChar(decimal);
        if (FormatSettings.DecimalSeparator != u',' && FormatSettings.DecimalSeparator != u'.') {
            WriteIniInteger(Programm, QStringLiteral("CSV_Kommazeichen_Wert"), defaultDecimal);
            SetIniVariable(PROGRAMM, QStringLiteral("CSV_Kommazeichen_Wert"), defaultDecimal);
            FormatSettings.DecimalSeparator = CodeToChar(defaultDecimal);
        }
        const int list = ReadIniInteger(Programm, QStringLiteral("CSV_Trennzeichen_Wert"), LocaleListSeparator().unicode());
        FormatSettings.ListSeparator = CodeToChar(list);
        CSV_Dateierweiterung = u'.' + ReadIniString(Programm, QStringLiteral("CSV_Dateierweiterung"), QStringLiteral("csv"));
        MyDatetimeFormat = ReadIniString(Programm, QStringLiteral("MyDatetimeFormat"), QStringLiteral("DD.MM.YYYY hh:mm:ss"));
        Testmodus = ReadIniBool(PROGRAMM, QStringLiteral("Testmodus"), false);
        UseExterneProgramme = ReadIniBool(PROGRAMM, QStringLiteral("UseExterneProgramme"), false);
        if (UseExterneProgramme) {
            ExterneProgramme = std::make_unique<QStringList>();
            const QString EP = QStringLiteral("ExterneProgramme");
            OpenIniStore();
            if (!IniStore || !IniStore->SectionExists(EP.toUpper())) {
                const QString office = QStringLiteral("C:\\Programme\\Microsoft Office\\Office");
                ReadIniExpanded(EP, QStringLiteral("MS-Word"), office + QStringLiteral("\\WINWORD.exe"));
                ReadIniExpanded(EP, QStringLiteral("MS-Word_PATH"), office);
                for (int pass = 0; pass < 2; ++pass) {
                    ReadIniExpanded(EP, QStringLiteral("MS-EXCEL"), office + QStringLiteral("\\EXCEL.exe"));
                    ReadIniExpanded(EP, QStringLiteral("MS-EXCEL_PATH"), office);
                }
            }
            OpenIniStore();
            if (IniStore)
                *ExterneProgramme = IniStore->ReadSectionValues(EP.toUpper());
        }
    } catch (...) {
        ShowMessage(QStringLiteral("Fehler PathInit"));
    }

    Version = ReadIniString(Programm, QStringLiteral("Version"), QString());
    KundenProgrammHeader = ReadIniString(Programm, QStringLiteral("KundenProgrammHeader"), QStringLiteral("_"));
    if (KundenProgrammHeader == QLatin1String("_"))
        KundenProgrammHeader.clear();
    Projekt = ReadIniString(Programm, QStringLiteral("Projekt"), QStringLiteral("_"));
    if (Projekt == QLatin1String("_"))
        Projekt.clear();
    OemLogo = ReadIniExpanded(Programm, QStringLiteral("OemLogo"), QString());

    // Build texts come from the executable's own version and product name.
    const QString fileVersion = QStringLiteral(ORVEX_VERSION);
    QString product = QStringLiteral(ORVEX_PRODUCT_NAME).trimmed();
    if (product.isEmpty())
        product = AppName;
    Buildinfo = QStringLiteral("build ") + fileVersion;
    Produkname = product;
    Produkinfo = product + QStringLiteral(" (build ") + fileVersion + QStringLiteral(" kelmar elektronik)");
    KundenInfo = KundenProgrammHeader;
    SetVariable(QStringLiteral("PROGRAMM.Buildinfo"), Buildinfo);
    SetVariable(QStringLiteral("PROGRAMM.Produkinfo"), Produkinfo);
    SetVariable(QStringLiteral("PROGRAMM.produkname"), Produkname);
    SetVariable(QStringLiteral("PROGRAMM.KundenInfo"), KundenInfo);

    Hintdauer = ReadIniInteger(Programm, QStringLiteral("Hintdauer"), 5000);
    if (Hintdauer != 2500)
        Application_HintHidePause = Hintdauer;

    PairFailPass.False = ReadIniString(SC, QStringLiteral("fail_String"), QStringLiteral("fail"));
    PairFailPass.True = ReadIniString(SC, QStringLiteral("Pass_String"), QStringLiteral("pass"));
    PairInactiveActive.False = ReadIniString(SC, QStringLiteral("Inaktiv_String"), QStringLiteral("inaktiv"));
    PairInactiveActive.True = ReadIniString(SC, QStringLiteral("Aktiv_String"), QStringLiteral("aktiv"));
    ReadBooleanPair(PairFalseTrue, QStringLiteral("False_String"), QStringLiteral("false"),
                    QStringLiteral("True_String"), QStringLiteral("true"));
    ReadBooleanPair(PairNoYes, QStringLiteral("Falsch_String"), QStringLiteral("nein"), QStringLiteral("Wahr_String"),
                    QStringLiteral("ja"));
    PairOffOn.False = ReadIniString(SC, QStringLiteral("aus_String"), QStringLiteral("aus"));
    PairOffOn.True = ReadIniString(SC, QStringLiteral("ein_String"), QStringLiteral("ein"));
    // Read last: every boolean key above therefore stands as "true"/"false" in the file.
    Localized_Boolean = ReadIniBool(Programm, QStringLiteral("Localized_Boolean"), true);
}

void DelayUs(double microseconds)
{
    QElapsedTimer t;
    t.start();
    const bool pump = QCoreApplication::instance() != nullptr;
    while (double(t.nsecsElapsed()) / 1000.0 < microseconds)
        if (pump)
            QCoreApplication::processEvents();
}

void DelayMs(int milliseconds)
{
    const int count = milliseconds & 0xFFFF;
    if (count != 0)
        DelayUs(double(count) * 1000.0);
}

void ZELLIB_INI_Initialize()
{
    SetVariable(QStringLiteral("USER.Name"), QString());
    SetVariable(QStringLiteral("USER.Fullname"), QString());
    SetVariable(QStringLiteral("USER.Profil"), QStringLiteral("STANDARD"));
}

void ZELLIB_INI_Finalize()
{
    gVarTable.reset();
}
