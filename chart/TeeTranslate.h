#pragma once
// Live translation of the chart engine's texts: its dialogs are built in English and
// turned into German through a KEY=Value table; its messages are process-wide
// variables that the German set overwrites.

#include <QString>
#include <QStringList>

class QWidget;

// The current table, or none. KEY is the English text in upper case without
// hot-key mark, trailing ":" or "...".
extern QStringList* TeeLanguage;
extern bool TeeTranslateHotkeyAsian;
extern bool TeeTranslateActive;

// Messages of the engine that reach the user.
extern QString TeeMsg_AxisMinMax;          // minimum above maximum
extern QString TeeMsg_AxisMaxMin;          // maximum below minimum
extern QString TeeMsg_AxisIncrement;
extern QString TeeMsg_AxisLogDateTime;
extern QString TeeMsg_AxisLogNotPositive;
extern QString TeeMsg_AxisLogBase;
extern QString TeeMsg_AxisLabelSep;
extern QString TeeMsg_LegendFirstValue;
extern QString TeeMsg_ValuesListOutOfRange;   // %1 list, %2 index, %3 last index
extern QString TeeMsg_SeriesDeleteOutOfRange; // %1 index, %2 last index
extern QString TeeMsg_DeleteQuantityLess;
extern QString TeeMsg_DeleteQuantityPositive;
extern QString TeeMsg_ValuesCountTooBig;      // %1 count, %2 length
extern QString TeeMsg_ValuesCountPositive;
extern QString TeeMsg_NoParentChart;
extern QString TeeMsg_GalleryLine;            // the name of a line series

// The German table, built once for the process.
const QStringList& TeeGermanLanguage();
// Makes German the language and assigns the engine messages.
void TeeSetGerman();
// Value of key in the table, empty when there is none.
QString TeeLookup(const QString& key);
// Translates text in place; usedHotkeys collects the letters marked so far in one form.
bool TeeTranslateString(QString& text, QString& usedHotkeys);
// Convenience for a single text without hot-key bookkeeping.
QString TeeMsg(const QString& english);
// Translates control and all its children: captions, items, tabs, headers, menus, hints.
void TeeTranslateControl(QWidget* control);
