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
    fShadow.OnChange = [this] { Invalidate(); };
    fEmboss.OnChange = [this] { Invalidate(); };
    Border.OnChange = [this] { Invalidate(); };
}

TRect TCustomTeePanel::PanelBody(const TRect& bounds) const
{
    TRect r = bounds;
    for (const TTeeShadow* s : {&fShadow, &fEmboss}) {
        if (!s->Visible())
            continue;
        // The copy lies beside the body on the side its sizes point to.
        r.Left = std::max(r.Left, bounds.Left - std::min(0, s->HorizSize()));
        r.Right = std::min(r.Right, bounds.Right - std::max(0, s->HorizSize()));
        r.Top = std::max(r.Top, bounds.Top - std::min(0, s->VertSize()));
        r.Bottom = std::min(r.Bottom, bounds.Bottom - std::max(0, s->VertSize()));
    }
    return r;
}

TRect TCustomTeePanel::MarginRect(const TRect& bounds) const
{
    const TRect body = PanelBody(bounds);
    const int frame = FrameSize();
    int ml, mt, mr, mb;
    if (fMarginUnits == muPercent) {
        ml = int(std::lround(fMarginLeft * 0.01 * bounds.Width()));
        mr = int(std::lround(fMarginRight * 0.01 * bounds.Width()));
        mt = int(std::lround(fMarginTop * 0.01 * bounds.Height()));
        mb = int(std::lround(fMarginBottom * 0.01 * bounds.Height()));
    } else {
        ml = fMarginLeft;
        mr = fMarginRight;
        mt = fMarginTop;
        mb = fMarginBottom;
    }
    TRect r{body.Left + frame + ml, body.Top + frame + mt, body.Right - frame - mr, body.Bottom - frame - mb};
    r.Left = std::max(r.Left, bounds.Left);
    r.Top = std::max(r.Top, bounds.Top);
    r.Right = std::max(r.Right, r.Left + 1);
    r.Bottom = std::max(r.Bottom, r.Top + 1);
    return r;
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
    SetChartRect(MarginRect(fChartBounds));
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

TCustomTeePanelExtended::TCustomTeePanelExtended(QWidget* parent) : TCustomTeePanel(parent)
{
    fGradient.OnChange = [this] { Invalidate(); };
}

void TCustomTeePanelExtended::DrawBackImage(const TRect& r)
{
    if (BackImage.isNull())
        return;
    QImage image = BackImage;
    if (BackImageTransp) {
        // The colour of the bottom-left pixel stands for "no picture here".
        image = image.convertToFormat(QImage::Format_ARGB32);
        const QRgb key = image.pixel(0, image.height() - 1);
        for (int y = 0; y < image.height(); ++y) {
            auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
            for (int x = 0; x < image.width(); ++x)
                if ((line[x] | 0xFF000000u) == (key | 0xFF000000u))
                    line[x] = 0;
        }
    }
    switch (BackImageMode) {
    case pbmStretch: fCanvas->StretchDraw(r, image); break;
    case pbmTile: fCanvas->TileDraw(r, image); break;
    case pbmCenter: fCanvas->CenterDraw(r, image); break;
    }
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
