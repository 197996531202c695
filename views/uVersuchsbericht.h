#pragma once
// What the shown run looks like, written without a screen: both charts as the
// window shows them into a PNG, and a one-page landscape PDF report with the run
// number, its header data and both charts. Files take their name only once they
// are complete; a failure says in German what went wrong and leaves no half file.

#include "frame/ZELBase.h"

#include <QImage>
#include <QList>
#include <QPair>
#include <QString>

class TFOOrvexAuswertung;

class EVersuchsbericht : public Exception {
public:
    using Exception::Exception;
};

// Caption and shown text of each header field, in the window's order.
QList<QPair<QString, QString>> Kopfdaten(const TFOOrvexAuswertung& w);

// Both charts (with what the evaluation tools draw beside them) as they stand.
QImage ChartsBild(const TFOOrvexAuswertung& w);

void ChartsBildSchreiben(const TFOOrvexAuswertung& w, const QString& datei);
// The window takes the page's proportions while the charts are drawn, and its
// size again after.
void BerichtPdfSchreiben(TFOOrvexAuswertung& w, const QString& datei);
