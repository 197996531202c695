#include "chart/ChartExport.h"

#include "chart/TeeProcs.h"

#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QPrinter>
#include <QSvgGenerator>
#include <QSvgRenderer>

namespace {

// Draws straight onto the device: the buffer would turn vectors into one bitmap.
class UnbufferedDraw {
public:
    explicit UnbufferedDraw(TCustomTeePanel* c) : fChart(c), fBuffered(c->BufferedDisplay())
    {
        fChart->SetBufferedDisplay(false);
    }
    ~UnbufferedDraw() { fChart->SetBufferedDisplay(fBuffered); }

private:
    TCustomTeePanel* fChart;
    bool fBuffered;
};

QSize Usable(TCustomTeePanel* chart, QSize size)
{
    if (size.width() <= 0 || size.height() <= 0)
        size = chart->size();
    return size.expandedTo(QSize(1, 1));
}

}

QPicture ChartPicture(TCustomTeePanel* chart, const QSize& wanted)
{
    const QSize size = Usable(chart, wanted);
    QPicture picture;
    UnbufferedDraw guard(chart);
    chart->Draw(&picture, TRect{0, 0, size.width(), size.height()});
    picture.setBoundingRect(QRect(QPoint(0, 0), size));
    // The layout of the window follows again with its next paint.
    chart->update();
    return picture;
}

bool ChartExportPNG(TCustomTeePanel* chart, const QString& path, const QSize& wanted, QString& error)
{
    const QSize size = Usable(chart, wanted);
    QImage image(size, QImage::Format_RGB32);
    if (image.isNull()) {
        error = QStringLiteral("Für ein Bild von %1 x %2 Punkten reicht der Speicher nicht.").arg(size.width()).arg(size.height());
        return false;
    }
    image.fill(Qt::white);
    {
        QPainter p(&image);
        ChartPicture(chart, size).play(&p);
    }
    if (!image.save(path, "PNG")) {
        QFile::remove(path);
        error = QStringLiteral("Die Datei \"%1\" konnte nicht geschrieben werden.").arg(path);
        return false;
    }
    return true;
}

bool ChartExportSVG(TCustomTeePanel* chart, const QString& path, const QSize& wanted, QString& error)
{
    const QSize size = Usable(chart, wanted);
    QPicture picture = ChartPicture(chart, size);
    QSvgGenerator svg;
    svg.setFileName(path);
    svg.setSize(size);
    svg.setViewBox(QRect(QPoint(0, 0), size));
    svg.setTitle(QStringLiteral("Diagramm"));
    svg.setResolution(picture.logicalDpiX());
    QPainter p;
    if (!p.begin(&svg)) {
        QFile::remove(path);
        error = QStringLiteral("Die Datei \"%1\" konnte nicht geschrieben werden.").arg(path);
        return false;
    }
    picture.play(&p);
    p.end();
    if (QFile(path).size() <= 0) {
        QFile::remove(path);
        error = QStringLiteral("Die Datei \"%1\" konnte nicht geschrieben werden.").arg(path);
        return false;
    }
    return true;
}

bool ChartExportPDF(TCustomTeePanel* chart, const QString& path, const QString& header, QString& error)
{
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(path);
    printer.setPageOrientation(QPageLayout::Landscape);
    ChartPrintPage(chart, &printer, header);
    if (!QFile::exists(path) || QFile(path).size() <= 0) {
        QFile::remove(path);
        error = QStringLiteral("Die Datei \"%1\" konnte nicht geschrieben werden.").arg(path);
        return false;
    }
    return true;
}

void ChartToClipboard(TCustomTeePanel* chart)
{
    QImage image(Usable(chart, {}), QImage::Format_RGB32);
    image.fill(Qt::white);
    {
        QPainter p(&image);
        ChartPicture(chart, image.size()).play(&p);
    }
    QApplication::clipboard()->setImage(image);
}

void ChartPrintPage(TCustomTeePanel* chart, QPrinter* printer, const QString& header)
{
    QPainter p;
    if (!p.begin(printer))
        return;
    const QRect page = printer->pageLayout().paintRectPixels(printer->resolution());
    const QRect area(0, 0, page.width(), page.height());
    QFont f(QStringLiteral("DejaVu Sans"));
    f.setPointSizeF(10);
    p.setFont(f);
    const int headerHeight = p.fontMetrics().height() * 2;
    p.drawText(QRect(area.left(), area.top(), area.width(), headerHeight), Qt::AlignLeft | Qt::AlignVCenter, header);
    const QRect body(area.left(), area.top() + headerHeight, area.width(), area.height() - headerHeight);
    // Drawn at the window's proportion, in pixels of a screen, and scaled up to the page.
    QSize size = Usable(chart, {});
    const double aspect = double(size.width()) / size.height();
    QSize target(body.width(), int(body.width() / aspect));
    if (target.height() > body.height())
        target = QSize(int(body.height() * aspect), body.height());
    // Scaled through an SVG of the chart: a replayed picture loses its clipping under
    // the printer's scale, the SVG renderer keeps it.
    QBuffer svgData;
    svgData.open(QIODevice::WriteOnly);
    {
        QPicture picture = ChartPicture(chart, size);
        QSvgGenerator svg;
        svg.setOutputDevice(&svgData);
        svg.setSize(size);
        svg.setViewBox(QRect(QPoint(0, 0), size));
        svg.setResolution(picture.logicalDpiX());   // the picture's points map one to one
        QPainter sp(&svg);
        picture.play(&sp);
    }
    QSvgRenderer renderer(svgData.data());
    renderer.render(&p, QRectF(body.left() + (body.width() - target.width()) / 2.0, body.top(), target.width(), target.height()));
    p.end();
}
