#include "chart/TeeTranslate.h"

#include <QAbstractButton>
#include <QAction>
#include <QComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QTabWidget>
#include <QTableWidget>
#include <QTreeWidget>

QStringList* TeeLanguage = nullptr;
bool TeeTranslateHotkeyAsian = false;
bool TeeTranslateActive = false;

QString TeeMsg_AxisMinMax = QStringLiteral("Axis Minimum Value must be <= Maximum");
QString TeeMsg_AxisMaxMin = QStringLiteral("Axis Maximum Value must be >= Minimum");
QString TeeMsg_AxisIncrement = QStringLiteral("Axis increment must be >= 0");
QString TeeMsg_AxisLogDateTime = QStringLiteral("DateTime Axis cannot be Logarithmic");
QString TeeMsg_AxisLogNotPositive = QStringLiteral("Logarithmic Axis Min and Max values should be >= 0");
QString TeeMsg_AxisLogBase = QStringLiteral("Axis logarithmic base must be > 1");
QString TeeMsg_AxisLabelSep = QStringLiteral("Axis labels separation must be >= 0");
QString TeeMsg_LegendFirstValue = QStringLiteral("First Legend Value must be > 0");
QString TeeMsg_ValuesListOutOfRange = QStringLiteral("ValueList %1: index %2 out of bounds (0 to %3).");
QString TeeMsg_SeriesDeleteOutOfRange = QStringLiteral("Series Delete: ValueIndex %1 out of bounds (0 to %2).");
QString TeeMsg_DeleteQuantityLess = QStringLiteral("Quantity of data to delete must be less than Count.");
QString TeeMsg_DeleteQuantityPositive = QStringLiteral("Quantity of data to delete must be greater than zero.");
QString TeeMsg_ValuesCountTooBig = QStringLiteral("ValueList Count (%1) greater than array length (%2).");
QString TeeMsg_ValuesCountPositive = QStringLiteral("ValueList Count must be greater than zero.");
QString TeeMsg_NoParentChart = QStringLiteral("No ParentChart to allow Datasource");
QString TeeMsg_GalleryLine = QStringLiteral("Line");

static void TeeSetGermanMessages()
{
    TeeMsg_AxisMinMax = QStringLiteral("Achsen Minimum Wert muss <= Maximum sein");
    TeeMsg_AxisMaxMin = QStringLiteral("Achsen Maximum Wert muss >= Minimum sein");
    TeeMsg_AxisIncrement = QStringLiteral("Achsen Inkrement muss >= 0 sein");
    TeeMsg_AxisLogDateTime = QStringLiteral("Datum/Uhrzeit-Achse kann nicht logarithmisch sein ");
    TeeMsg_AxisLogNotPositive = QStringLiteral("Logarithmus-Achs Min und Max Werte sollten >= 0 sein");
    TeeMsg_AxisLogBase = QStringLiteral("Basis der logarithmischen Achse muss > 1 sein");
    TeeMsg_AxisLabelSep = QStringLiteral("Abstand der Achsenbeschriftungen muss >= 0 sein");
    TeeMsg_LegendFirstValue = QStringLiteral("Erster Legendenwert muss > 0 sein");
    TeeMsg_ValuesListOutOfRange = QStringLiteral("Werteliste %1: Index %2 außerhalb der Grenzen (0 bis %3).");
    TeeMsg_SeriesDeleteOutOfRange = QStringLiteral("Serie löschen: Wertindex %1 außerhalb der Grenzen (0 bis %2).");
    TeeMsg_DeleteQuantityLess = QStringLiteral("Die Anzahl der zu löschenden Werte muss kleiner als die Anzahl sein.");
    TeeMsg_DeleteQuantityPositive = QStringLiteral("Die Anzahl der zu löschenden Werte muss größer als null sein.");
    TeeMsg_ValuesCountTooBig = QStringLiteral("Anzahl der Werteliste (%1) größer als die Länge des Feldes (%2).");
    TeeMsg_ValuesCountPositive = QStringLiteral("Anzahl der Werteliste muss größer als null sein.");
    TeeMsg_NoParentChart = QStringLiteral("Kein ParentChart um Datenquelle zu erlauben");
    TeeMsg_GalleryLine = QStringLiteral("Linie");
}

void TeeSetGerman()
{
    static QStringList table = TeeGermanLanguage();
    TeeLanguage = &table;
    TeeSetGermanMessages();
    TeeTranslateHotkeyAsian = false;
    TeeTranslateActive = true;
}

QString TeeLookup(const QString& key)
{
    if (!TeeLanguage)
        return {};
    // First match wins; lines without "=" are passed over.
    for (const QString& line : *TeeLanguage) {
        const qsizetype eq = line.indexOf(u'=');
        if (eq < 0)
            continue;
        if (QStringView(line).left(eq) == key)
            return line.mid(eq + 1);
    }
    return {};
}

bool TeeTranslateString(QString& text, QString& usedHotkeys)
{
    if (text.isEmpty() || text == u"?" || text == u"%" || text == u"0")
        return false;
    QString s = text.trimmed();
    if (s.isEmpty())
        return false;
    const qsizetype amp = s.indexOf(u'&');
    const bool hadHotkey = amp >= 0;
    const QChar hotkeyLetter = hadHotkey && amp + 1 < s.size() ? s.at(amp + 1) : QChar();
    if (hadHotkey)
        s.remove(amp, 1);
    QString key = s.toUpper();
    bool colon = false, dots = false;
    if (key.endsWith(u':')) {
        colon = true;
        key.chop(1);
    } else if (key.endsWith(QStringLiteral("..."))) {
        dots = true;
        key.chop(3);
    }
    QString value = TeeLookup(key);
    if (value.isEmpty()) {
        text = s;
        if (hadHotkey)
            text.insert(amp, u'&');   // untranslated text keeps its own mark
        return false;
    }
    if (hadHotkey) {
        if (TeeTranslateHotkeyAsian) {
            value += QStringLiteral("(&") + hotkeyLetter.toUpper() + u')';
        } else {
            for (qsizetype i = 0; i < value.size(); ++i) {
                const QChar c = value.at(i);
                if (c.isLetterOrNumber() && !usedHotkeys.contains(c.toUpper())) {
                    usedHotkeys += c.toUpper();
                    value.insert(i, u'&');
                    break;
                }
            }
        }
    }
    if (dots)
        value += QStringLiteral("...");
    if (colon)
        value += u':';
    text = value;
    return true;
}

QString TeeMsg(const QString& english)
{
    QString s = english, used;
    TeeTranslateString(s, used);
    return s;
}

static QString Translated(QString s, QString& used)
{
    TeeTranslateString(s, used);
    return s;
}

void TeeTranslateControl(QWidget* control)
{
    if (!control || !TeeLanguage)
        return;
    QString used;   // hot keys are unique within one form
    QList<QWidget*> all = control->findChildren<QWidget*>();
    all.prepend(control);
    for (QWidget* w : all) {
        if (!w->windowTitle().isEmpty() && w->isWindow())
            w->setWindowTitle(Translated(w->windowTitle(), used));
        if (!w->toolTip().isEmpty())
            w->setToolTip(Translated(w->toolTip(), used));
        if (auto* l = qobject_cast<QLabel*>(w)) {
            if (l->textFormat() != Qt::RichText)
                l->setText(Translated(l->text(), used));
        } else if (auto* b = qobject_cast<QAbstractButton*>(w)) {
            b->setText(Translated(b->text(), used));
        } else if (auto* g = qobject_cast<QGroupBox*>(w)) {
            g->setTitle(Translated(g->title(), used));
        } else if (auto* c = qobject_cast<QComboBox*>(w)) {
            if (!c->isEditable())
                for (int i = 0; i < c->count(); ++i)
                    c->setItemText(i, Translated(c->itemText(i), used));
        } else if (auto* t = qobject_cast<QTabWidget*>(w)) {
            for (int i = 0; i < t->count(); ++i)
                t->setTabText(i, Translated(t->tabText(i), used));
        } else if (auto* tw = qobject_cast<QTableWidget*>(w)) {
            for (int i = 0; i < tw->columnCount(); ++i)
                if (auto* h = tw->horizontalHeaderItem(i))
                    h->setText(Translated(h->text(), used));
        } else if (auto* tr = qobject_cast<QTreeWidget*>(w)) {
            QTreeWidgetItem* h = tr->headerItem();
            for (int i = 0; h && i < h->columnCount(); ++i)
                h->setText(i, Translated(h->text(i), used));
            for (QTreeWidgetItemIterator it(tr); *it; ++it)
                for (int i = 0; i < (*it)->columnCount(); ++i)
                    (*it)->setText(i, Translated((*it)->text(i), used));
        } else if (auto* lw = qobject_cast<QListWidget*>(w)) {
            // Items of a list of series are names the user gave: they stay.
            if (!lw->property("teeNoTranslate").toBool())
                for (int i = 0; i < lw->count(); ++i)
                    lw->item(i)->setText(Translated(lw->item(i)->text(), used));
        } else if (auto* m = qobject_cast<QMenu*>(w)) {
            m->setTitle(Translated(m->title(), used));
        }
        for (QAction* a : w->actions())
            a->setText(Translated(a->text(), used));
    }
}
