// Exported charts read back by other readers: Qt's image reader for PNG, its SVG
// renderer for SVG and poppler's pdftoppm for PDF.

#include "chart/Chart.h"
#include "chart/ChartExport.h"
#include "chart/Series.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QProcess>
#include <QStandardPaths>
#include <QSvgRenderer>
#include <QTemporaryDir>
#include <cmath>
#include <gtest/gtest.h>

namespace {

// Pixels that are neither white nor the panel's grey background.
int InkPixels(const QImage& img, const QColor& color, int tolerance = 40)
{
    int n = 0;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x) {
            const QColor c = img.pixelColor(x, y);
            if (std::abs(c.red() - color.red()) + std::abs(c.green() - color.green()) + std::abs(c.blue() - color.blue()) < tolerance)
                ++n;
        }
    return n;
}

class ChartExportTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        chart.resize(600, 360);
        chart.Title().SetCaption(QStringLiteral("Demo"));
        line.SetSeriesColor(clRed);
        line.Pen().SetWidth(2);
        for (int i = 0; i <= 200; ++i)
            line.AddXY(i, std::sin(i / 20.0) * 50 + 60);
        chart.AddSeries(&line);
        ASSERT_TRUE(dir.isValid());
    }
    void TearDown() override { chart.RemoveSeries(&line); }
    TChart chart;
    TFastLineSeries line;
    QTemporaryDir dir;
};

}

TEST_F(ChartExportTest, PngHasTheChosenSizeAndTheCurve)
{
    QString error;
    const QString path = dir.filePath(QStringLiteral("c.png"));
    ASSERT_TRUE(ChartExportPNG(&chart, path, QSize(800, 500), error)) << error.toStdString();
    QImage img(path);
    ASSERT_FALSE(img.isNull());
    EXPECT_EQ(img.size(), QSize(800, 500));
    EXPECT_GT(InkPixels(img, Qt::red), 300);
    EXPECT_GT(InkPixels(img, Qt::black), 100);   // axes and labels
    // The window's own picture is unaffected by the export.
    EXPECT_TRUE(chart.BufferedDisplay());

    EXPECT_FALSE(ChartExportPNG(&chart, dir.filePath(QStringLiteral("fehlt/c.png")), QSize(100, 100), error));
    EXPECT_TRUE(error.contains(QStringLiteral("konnte nicht geschrieben werden")));
}

TEST_F(ChartExportTest, SvgIsReadBackByTheSvgRendererAsVectors)
{
    QString error;
    const QString path = dir.filePath(QStringLiteral("c.svg"));
    ASSERT_TRUE(ChartExportSVG(&chart, path, QSize(600, 360), error)) << error.toStdString();
    QSvgRenderer r(path);
    ASSERT_TRUE(r.isValid());
    EXPECT_EQ(r.viewBox().size(), QSize(600, 360));
    QImage img(600, 360, QImage::Format_RGB32);
    img.fill(Qt::white);
    QPainter p(&img);
    r.render(&p);
    p.end();
    EXPECT_GT(InkPixels(img, Qt::red), 200);
    // Drawn to the full box, not shrunk by a change of resolution.
    bool redAtRight = false;
    for (int y = 0; y < img.height(); ++y)
        for (int x = img.width() * 2 / 3; x < img.width(); ++x)
            redAtRight |= img.pixelColor(x, y) == QColor(Qt::red);
    EXPECT_TRUE(redAtRight);
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const QByteArray svg = f.readAll();
    // Lines and text stay vectors, not one embedded bitmap.
    EXPECT_TRUE(svg.contains("<polyline") || svg.contains("<path"));
    EXPECT_TRUE(svg.contains("Demo"));
    EXPECT_FALSE(svg.contains("<image"));
}

TEST_F(ChartExportTest, PdfIsALandscapePageWithHeaderAndChart)
{
    const QString pdftoppm = QStandardPaths::findExecutable(QStringLiteral("pdftoppm"));
    ASSERT_FALSE(pdftoppm.isEmpty()) << "pdftoppm (poppler-utils) is missing";
    QString error;
    const QString path = dir.filePath(QStringLiteral("c.pdf"));
    ASSERT_TRUE(ChartExportPDF(&chart, path, QStringLiteral("Versuch 4711    25.11.2026 10:00"), error)) << error.toStdString();
    const QString out = QStringLiteral(CHART_TEST_OUTPUT_DIR "/export_pdf_page");
    QFile::remove(out + QStringLiteral(".png"));
    QProcess proc;
    proc.start(pdftoppm, {QStringLiteral("-png"), QStringLiteral("-r"), QStringLiteral("60"), QStringLiteral("-singlefile"), path, out});
    ASSERT_TRUE(proc.waitForFinished(30000));
    ASSERT_EQ(proc.exitCode(), 0) << proc.readAllStandardError().toStdString();
    QImage page(out + QStringLiteral(".png"));
    ASSERT_FALSE(page.isNull());
    EXPECT_GT(page.width(), page.height());
    EXPECT_GT(InkPixels(page, Qt::red), 100);
    // Scaled to the page: the curve reaches into the right fifth of the page.
    int rightmostRed = 0;
    for (int y = 0; y < page.height(); ++y)
        for (int x = page.width() - 1; x > rightmostRed; --x)
            if (page.pixelColor(x, y).red() > 200 && page.pixelColor(x, y).green() < 60)
                rightmostRed = x;
    EXPECT_GT(rightmostRed, page.width() * 4 / 5);
    const QString pdftotext = QStandardPaths::findExecutable(QStringLiteral("pdftotext"));
    ASSERT_FALSE(pdftotext.isEmpty());
    proc.start(pdftotext, {path, QStringLiteral("-")});
    ASSERT_TRUE(proc.waitForFinished(30000));
    const QString text = QString::fromUtf8(proc.readAllStandardOutput());
    EXPECT_TRUE(text.contains(QStringLiteral("Versuch 4711"))) << text.toStdString();
}
