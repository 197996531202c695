#pragma once
// Small text and number operations of the in-house library, with the word tables
// for booleans. Indices given to these functions are 1-based, as the stored
// formats they serve count them.

#include "frame/ZELBase.h"

#include <QString>
#include <QStringList>
#include <cstdint>

// Word tables; the configuration store may overwrite the pairs.
extern QStringList TrueWords;
extern QStringList FalseWords;   // for reference only: whatever is not a true word reads as false
struct TBoolPair {
    QString False, True;
};
extern TBoolPair PairFailPass;
extern TBoolPair PairInactiveActive;
extern TBoolPair PairFalseTrue;
extern TBoolPair PairNoYes;      // the localized pair
extern TBoolPair PairOffOn;
extern bool Localized_Boolean;

// "0" in front up to width, then cut to width; a minus sign stays where it was.
QString IntToFixed(qint64 value, int width);
QString PadRight(const QString& text, int width);
// "hh:mm:ss:zzz" of the time of day.
QString TimeText(TDateTime value);
bool IsNumberText(const QString& text);
bool IsBlank(const QString& text);
// Keeps 32..128 and the micro sign and German letters; every other character becomes a blank.
QString LogSafeText(const QString& text);
// Separator-agnostic number reading; raises EConvertError when the cleaned text is malformed.
double StrToFloatTolerant(const QString& text);
QString FloatToFixed(int decimals, double value);
// Name safe for files and kernel objects: upper case, umlauts spelled out, markup dropped.
QString NormalizeName(const QString& text);
bool TextToBool(const QString& text);
QString BoolToText(bool value);
QString ExtractToken(QChar separator, int index, const QString& text);
// Raises EConvertError for an empty or malformed token.
int TokenToInt(const QString& text, int index);
QString ReplaceFirst(const QString& text, const QString& search, const QString& replacement);
QString ReplaceAll(const QString& text, const QString& search, const QString& replacement);
QString CsvToLines(const QString& text);
QString WordToBits(std::uint16_t value);
QString TranslateText(const QString& text);
