#pragma once
// The chart as a picture: PNG of a chosen size, SVG and PDF as vectors, the
// clipboard, and a printed page with a header line.

#include <QPicture>
#include <QSize>
#include <QString>

class TCustomTeePanel;
class QPrinter;

// The chart drawn as vectors at size, unbuffered, so that every line and text stays one.
QPicture ChartPicture(TCustomTeePanel* chart, const QSize& size);
// Each writes the file whole or returns false with error set (German); a failed
// write leaves no file behind.
bool ChartExportPNG(TCustomTeePanel* chart, const QString& path, const QSize& size, QString& error);
bool ChartExportSVG(TCustomTeePanel* chart, const QString& path, const QSize& size, QString& error);
bool ChartExportPDF(TCustomTeePanel* chart, const QString& path, const QString& header, QString& error);
// Puts the chart as a bitmap of its window size on the clipboard.
void ChartToClipboard(TCustomTeePanel* chart);
// Draws header at the top of the page and the chart scaled into the rest, keeping its proportion.
void ChartPrintPage(TCustomTeePanel* chart, QPrinter* printer, const QString& header);
