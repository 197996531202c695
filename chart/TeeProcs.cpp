#include "chart/TeeProcs.h"

#include "chart/TeeGDIPlus.h"
#include "frame/ZELFormat.h"

#include <QLocale>
#include <cmath>

// Number and date patterns come from the frame, so that axis labels and dataset
// fields format alike.
QString TeeFormatFloat(const QString& format, double value)
{
    return FormatFloat(format, value);
}

QString TeeFormatDateTime(const QString& format, TDateTime value)
{
    return FormatDateTime(format, value);
}

// ---------------------------------------------------------------- the panel

TCustomTeePanel::TCustomTeePanel(QWidget* parent)
    : TCustomPanelNoCaption(parent), fCanvas(std::make_unique<TTeeCanvas3D>())
{
    resize(400, 250);
    // Every paint covers the whole control: the toolkit need not clear it first.
    setAttribute(Qt::WA_OpaquePaintEvent);
}

TCustomTeePanel::~TCustomTeePanel() = default;

void TCustomTeePanel::SetCanvas(std::unique_ptr<TCanvas3D> canvas)
{
    if (!canvas)
        return;
    canvas->SetBufferedDisplay(fCanvas->BufferedDisplay());
    fCanvas = std::move(canvas);
    Invalidate();
}

void TCustomTeePanel::SetDefaultCanvas(const QString& className)
{
    fDefaultCanvas = className;
    SetCanvas(CreateCanvasByName(className));
}

void TCustomTeePanel::SetChartRect(const TRect& r)
{
    fChartRect = r;
    RecalcWidthHeight();
}

void TCustomTeePanel::RecalcWidthHeight()
{
    fChartWidth = fChartRect.Width();
    fChartHeight = fChartRect.Height();
    fChartXCenter = (fChartRect.Left + fChartRect.Right) / 2;
    fChartYCenter = (fChartRect.Top + fChartRect.Bottom) / 2;
}

void TCustomTeePanel::Invalidate()
{
    if (!fDrawing && !fLoading) {
        fBufferValid = false;
        update();
    }
}

void TCustomTeePanel::Draw(QPaintDevice* target, const TRect& rect)
{
    if (fChartBounds.Width() <= 0 || fChartBounds.Height() <= 0)
        fChartBounds = fChartRect;
    if (fDrawWidth == 0 && fDrawHeight == 0) {
        fDrawWidth = rect.Width();
        fDrawHeight = rect.Height();
    }
    fDrawing = true;
    struct Done {
        TCustomTeePanel* p;
        ~Done() { p->fDrawing = false; }
    } done{this};
    fChartBounds = fCanvas->InitWindow(target, rect, false, fColor);
    const TRect& b = fChartBounds;
    const int frame = Border.Visible() ? Border.Width() : 0;
    int ml, mt, mr, mb;
    if (fMarginUnits == muPercent) {
        ml = int(std::lround(fMarginLeft * 0.01 * b.Width()));
        mr = int(std::lround(fMarginRight * 0.01 * b.Width()));
        mt = int(std::lround(fMarginTop * 0.01 * b.Height()));
        mb = int(std::lround(fMarginBottom * 0.01 * b.Height()));
    } else {
        ml = fMarginLeft;
        mr = fMarginRight;
        mt = fMarginTop;
        mb = fMarginBottom;
    }
    TRect r{b.Left + frame + ml, b.Top + frame + mt, b.Right - frame - mr, b.Bottom - frame - mb};
    r.Left = std::max(r.Left, b.Left);
    r.Top = std::max(r.Top, b.Top);
    r.Right = std::max(r.Right, r.Left + 1);
    r.Bottom = std::max(r.Bottom, r.Top + 1);
    SetChartRect(r);
    InternalDraw(fChartBounds);
    if (!fPrinting) {
        fCanvas->ShowImage(target, fChartBounds);
        fBufferValid = fCanvas->BufferedDisplay();
    }
}

QImage TCustomTeePanel::RenderImage()
{
    QImage image(std::max(1, width()), std::max(1, height()), QImage::Format_RGB32);
    image.fill(Qt::white);
    Draw(&image, TRect{0, 0, image.width(), image.height()});
    return image;
}

bool TCustomTeePanel::BeginLiveDraw()
{
    auto* c = dynamic_cast<TTeeCanvas3D*>(fCanvas.get());
    return c && fBufferValid && c->BeginBufferPaint();
}

void TCustomTeePanel::EndLiveDraw()
{
    if (auto* c = dynamic_cast<TTeeCanvas3D*>(fCanvas.get()))
        c->EndPainter();
    update();   // the buffer stays valid: the window only copies it
}

void TCustomTeePanel::paintEvent(QPaintEvent*)
{
    const TRect r{0, 0, width(), height()};
    if (fPrinting)
        return;
    if (fBufferValid && fCanvas->BufferedDisplay() && fChartBounds == r) {
        fCanvas->ShowImage(this, r);
        return;
    }
    Draw(this, r);
}

TTeeZoomBrush& TTeeZoom::Brush()
{
    if (!fBrush)
        fBrush = std::make_unique<TTeeZoomBrush>();
    return *fBrush;
}

TTeeZoomPen& TTeeZoom::Pen()
{
    if (!fPen)
        fPen = std::make_unique<TTeeZoomPen>();
    return *fPen;
}
