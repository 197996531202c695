#include "chart/TeCanvas.h"

#include "frame/ZELColor.h"

#include <QFontMetrics>
#include <cmath>

void TTeePen::Assign(const TTeePen& other)
{
    fColor = other.fColor;
    fWidth = other.fWidth;
    fStyle = other.fStyle;
    fMode = other.fMode;
    fVisible = other.fVisible;
    fSmallDots = other.fSmallDots;
    fSmallSpace = other.fSmallSpace;
    fEndStyle = other.fEndStyle;
    fJoinStyle = other.fJoinStyle;
    fFill = other.fFill;
    Changed();
}

int TFont::Size() const
{
    return int(std::lround(std::abs(fHeight) * 72.0 / 96.0));
}

void TFont::SetSize(int points)
{
    SetHeight(-int(std::lround(points * 96.0 / 72.0)));
}

void TFont::Assign(const TFont& other)
{
    if (fColor == other.fColor && fHeight == other.fHeight && fName == other.fName && fStyle == other.fStyle)
        return;   // unchanged: cached metrics stay valid
    fColor = other.fColor;
    fHeight = other.fHeight;
    fName = other.fName;
    fStyle = other.fStyle;
    Changed();
}

QFont TFont::ToQFont() const
{
    QFont f(fName);
    f.setPixelSize(std::max(1, std::abs(fHeight)));
    f.setBold(fStyle & fsBold);
    f.setItalic(fStyle & fsItalic);
    f.setUnderline(fStyle & fsUnderline);
    f.setStrikeOut(fStyle & fsStrikeOut);
    return f;
}

// ---------------------------------------------------------------- TTeeCanvas

TTeeCanvas::TTeeCanvas() = default;

void TTeeCanvas::AssignVisiblePenColor(const TTeePen& pen, TColor color)
{
    if (pen.Visible()) {
        fPen.Assign(pen);
        fPen.SetColor(color);
    } else {
        fPen.SetStyle(psClear);
    }
}

void TTeeCanvas::Line(int x0, int y0, int x1, int y1)
{
    MoveTo(x0, y0);
    LineTo(x1, y1);
}

void TTeeCanvas::HorizLine(int left, int right, int y)
{
    MoveTo(left, y);
    LineTo(right, y);
}

void TTeeCanvas::VertLine(int x, int top, int bottom)
{
    MoveTo(x, top);
    LineTo(x, bottom);
}

// -------------------------------------------------------------- TTeeCanvas3D

TTeeCanvas3D::TTeeCanvas3D() = default;

TTeeCanvas3D::~TTeeCanvas3D()
{
    EndPainter();
}

namespace {
QRect ToQRect(const TRect& r)
{
    return QRect(QPoint(r.Left, r.Top), QPoint(r.Right - 1, r.Bottom - 1));
}

[[noreturn]] void RaiseDrawError(const char* status, int number)
{
    throw Exception(QStringLiteral("GDI+ Error: %1 %2").arg(QLatin1String(status)).arg(number));
}
}

TRect TTeeCanvas3D::InitWindow(QPaintDevice* target, const TRect& rect, bool is3D, TColor backColor)
{
    (void)is3D;
    EndPainter();
    if (!target)
        RaiseDrawError("InvalidParameter", 2);
    fReferenceCanvas = target;
    fBackColor = backColor;
    fLineCalls = 0;
    fOwnPainter = std::make_unique<QPainter>();
    if (fBufferedDisplay) {
        const QSize size(std::max(1, rect.Width()), std::max(1, rect.Height()));
        if (fBitmap.size() != size)
            fBitmap = QImage(size, QImage::Format_RGB32);
        if (fBitmap.isNull())
            RaiseDrawError("OutOfMemory", 3);
        fOrigin = QPoint(rect.Left, rect.Top);
        if (!fOwnPainter->begin(&fBitmap))
            RaiseDrawError("GenericError", 1);
        // Chart coordinates stay those of the target; the buffer is shifted under them.
        fOwnPainter->translate(-rect.Left, -rect.Top);
    } else {
        fBitmap = QImage();
        if (!fOwnPainter->begin(target))
            RaiseDrawError("GenericError", 1);
    }
    fPainter = fOwnPainter.get();
    ApplyHints();
    if (fBufferedDisplay)
        fBitmap.fill(backColor == clNone ? QColor(Qt::white) : ColorToQColor(backColor));
    return rect;
}

void TTeeCanvas3D::BeginPainter(QPainter* painter)
{
    EndPainter();
    fPainter = painter;
    fReferenceCanvas = painter->device();
    fLineCalls = 0;
    ApplyHints();
}

bool TTeeCanvas3D::BeginBufferPaint()
{
    EndPainter();
    if (!fBufferedDisplay || fBitmap.isNull())
        return false;
    fOwnPainter = std::make_unique<QPainter>();
    if (!fOwnPainter->begin(&fBitmap)) {
        fOwnPainter.reset();
        return false;
    }
    fOwnPainter->translate(-fOrigin.x(), -fOrigin.y());
    fPainter = fOwnPainter.get();
    ApplyHints();
    return true;
}

void TTeeCanvas3D::EndPainter()
{
    if (!fPainter)
        return;
    Flush();
    while (fBlendDepth > 0) {
        fPainter->restore();
        --fBlendDepth;
    }
    if (fOwnPainter && fOwnPainter->isActive())
        fOwnPainter->end();
    fOwnPainter.reset();
    fPainter = nullptr;
}

void TTeeCanvas3D::ShowImage(QPaintDevice* target, const TRect& rect)
{
    EndPainter();
    if (!fBufferedDisplay || fBitmap.isNull() || !target)
        return;
    QPainter p(target);
    p.drawImage(QPoint(rect.Left, rect.Top), fBitmap,
                QRect(rect.Left - fOrigin.x(), rect.Top - fOrigin.y(), rect.Width(), rect.Height()));
}

void TTeeCanvas3D::ApplyHints()
{
    if (!fPainter)
        return;
    fPainter->setRenderHint(QPainter::Antialiasing, fAntiAlias && !fFastLine);
    fPainter->setRenderHint(QPainter::TextAntialiasing, fAntiAliasText);
}

void TTeeCanvas3D::SetAntiAlias(bool v)
{
    Flush();
    fAntiAlias = v;
    ApplyHints();
}

void TTeeCanvas3D::SetAntiAliasText(bool v)
{
    fAntiAliasText = v;
    ApplyHints();
}

void TTeeCanvas3D::FastLineMode(bool on)
{
    Flush();
    fFastLine = on;
    ApplyHints();
}

QPen TTeeCanvas3D::MakeQPen() const
{
    QPen p(ColorToQColor(fPen.Color()));
    p.setWidth(std::max(0, fPen.Width()));
    // Flat ends leave out the final pixel of a thin line, as the platform's line rule does.
    switch (fPen.EndStyle()) {
    case esRound: p.setCapStyle(fPen.Width() > 1 ? Qt::RoundCap : Qt::FlatCap); break;
    case esSquare: p.setCapStyle(fPen.Width() > 1 ? Qt::SquareCap : Qt::FlatCap); break;
    case esFlat: p.setCapStyle(Qt::FlatCap); break;
    }
    switch (fPen.JoinStyle()) {
    case jsRound: p.setJoinStyle(Qt::RoundJoin); break;
    case jsBevel: p.setJoinStyle(Qt::BevelJoin); break;
    case jsMitter: p.setJoinStyle(Qt::MiterJoin); break;
    }
    if (fPen.SmallDots()) {
        // One pixel on, SmallSpace + 1 off.
        p.setDashPattern({1.0 / std::max(1, fPen.Width()), double(fPen.SmallSpace() + 1) / std::max(1, fPen.Width())});
    } else {
        switch (fPen.Style()) {
        case psDash: p.setStyle(Qt::DashLine); break;
        case psDot: p.setStyle(Qt::DotLine); break;
        case psDashDot: p.setStyle(Qt::DashDotLine); break;
        case psDashDotDot: p.setStyle(Qt::DashDotDotLine); break;
        default: p.setStyle(Qt::SolidLine); break;
        }
    }
    return p;
}

void TTeeCanvas3D::ApplyMode(TPenMode mode)
{
    switch (mode) {
    case pmCopy: fPainter->setCompositionMode(QPainter::CompositionMode_SourceOver); break;
    case pmXor: fPainter->setCompositionMode(QPainter::RasterOp_SourceXorDestination); break;
    case pmNotXor: fPainter->setCompositionMode(QPainter::RasterOp_NotSourceXorDestination); break;
    }
    if (mode != pmCopy)
        fPainter->setRenderHint(QPainter::Antialiasing, false);   // exclusive-or must hit whole pixels
    else
        fPainter->setRenderHint(QPainter::Antialiasing, fAntiAlias && !fFastLine);
}

bool TTeeCanvas3D::ApplyPen()
{
    ApplyMode(fPen.Mode());
    if (!fPen.Visible() || fPen.Style() == psClear) {
        fPainter->setPen(Qt::NoPen);
        return false;
    }
    fPainter->setPen(MakeQPen());
    return true;
}

bool TTeeCanvas3D::ApplyBrush()
{
    if (fBrush.Style() == bsClear || fBrush.Color() == clNone) {
        fPainter->setBrush(Qt::NoBrush);
        return false;
    }
    Qt::BrushStyle s = Qt::SolidPattern;
    switch (fBrush.Style()) {
    case bsHorizontal: s = Qt::HorPattern; break;
    case bsVertical: s = Qt::VerPattern; break;
    case bsFDiagonal: s = Qt::FDiagPattern; break;
    case bsBDiagonal: s = Qt::BDiagPattern; break;
    case bsCross: s = Qt::CrossPattern; break;
    case bsDiagCross: s = Qt::DiagCrossPattern; break;
    default: break;
    }
    fPainter->setBrush(QBrush(ColorToQColor(fBrush.Color()), s));
    return true;
}

void TTeeCanvas3D::CloseColumn()
{
    if (!fColOpen)
        return;
    fColOpen = false;
    auto put = [this](int y) {
        if (fPending.empty() || fPending.back().x() != fColX || fPending.back().y() != y)
            fPending.emplace_back(fColX, y);
    };
    put(fColFirstY);
    if (fColMinLater) {
        put(fColMaxY);
        put(fColMinY);
    } else {
        put(fColMinY);
        put(fColMaxY);
    }
    put(fColLastY);
}

void TTeeCanvas3D::Flush()
{
    CloseColumn();
    if (fPending.size() < 2 || !fPainter) {
        fPending.clear();
        return;
    }
    ApplyMode(fPendingMode);
    fPainter->setPen(fPendingQPen);
    fPainter->drawPolyline(fPending.data(), int(fPending.size()));
    ++fLineCalls;
    fPending.clear();
}

void TTeeCanvas3D::MoveTo(int x, int y)
{
    if (x != fX || y != fY) {
        Flush();
        fX = x;
        fY = y;
    }
}

void TTeeCanvas3D::LineToPoints(const TPoint* points, int count)
{
    const unsigned stamp = fPen.ChangeStamp();
    for (int i = 0; i < count; ++i) {
        const int x = points[i].X, y = points[i].Y;
        if (fColOpen && x == fColX && fPendingPen == stamp) {
            if (y < fColMinY) {
                fColMinY = y;
                fColMinLater = true;
            } else if (y > fColMaxY) {
                fColMaxY = y;
                fColMinLater = false;
            }
            fColLastY = y;
            fX = x;
            fY = y;
        } else {
            LineTo(x, y);
        }
    }
}

void TTeeCanvas3D::LineTo(int x, int y)
{
    if (fColOpen && x == fColX && fPendingPen == fPen.ChangeStamp()) {
        // Same pixel column as the point before: only the column's extremes and
        // its last point can show, so the point only widens the column.
        if (y < fColMinY) {
            fColMinY = y;
            fColMinLater = true;
        } else if (y > fColMaxY) {
            fColMaxY = y;
            fColMinLater = false;
        }
        fColLastY = y;
        fX = x;
        fY = y;
        return;
    }
    if (!fPainter || !fPen.Visible() || fPen.Style() == psClear) {
        // A clear pen draws nothing, but the position moves all the same.
        Flush();
        fX = x;
        fY = y;
        return;
    }
    if ((fColOpen || !fPending.empty()) && fPendingPen != fPen.ChangeStamp())
        Flush();
    if (!fColOpen && fPending.empty()) {
        fPending.reserve(1024);
        fPendingPen = fPen.ChangeStamp();
        fPendingQPen = MakeQPen();
        fPendingMode = fPen.Mode();
        if (fPendingMode == pmCopy)
            OpenColumn(fX, fY);
        else
            fPending.emplace_back(fX, fY);
    }
    // Exclusive-or lines must keep every segment: a folded column would not erase itself.
    if (fPendingMode == pmCopy && fColOpen && x == fColX) {
        fColMinLater = y < fColMinY ? true : (y > fColMaxY ? false : fColMinLater);
        fColMinY = std::min(fColMinY, y);
        fColMaxY = std::max(fColMaxY, y);
        fColLastY = y;
    } else {
        CloseColumn();
        if (fPendingMode == pmCopy)
            OpenColumn(x, y);
        else
            fPending.emplace_back(x, y);
    }
    fX = x;
    fY = y;
}

void TTeeCanvas3D::Polyline(const TPoint* points, int count)
{
    Flush();
    if (!fPainter || count < 2 || !ApplyPen())
        return;
    std::vector<QPoint> pts(count);
    for (int i = 0; i < count; ++i)
        pts[i] = QPoint(points[i].X, points[i].Y);
    fPainter->drawPolyline(pts.data(), count);
    ++fLineCalls;
}

void TTeeCanvas3D::Rectangle(const TRect& r)
{
    Flush();
    if (!fPainter)
        return;
    const bool fill = ApplyBrush();
    const bool frame = ApplyPen();
    if (fill && !frame)
        fPainter->fillRect(ToQRect(r), fPainter->brush());
    else if (fill || frame)
        // The frame lies inside the rectangle: right and bottom edges are the last pixels.
        fPainter->drawRect(QRect(r.Left, r.Top, r.Width() - 1, r.Height() - 1));
}

void TTeeCanvas3D::FillRect(const TRect& r)
{
    Flush();
    if (fPainter && ApplyBrush())
        fPainter->fillRect(ToQRect(r), fPainter->brush());
}

void TTeeCanvas3D::Ellipse(const TRect& r)
{
    Flush();
    if (!fPainter)
        return;
    const bool fill = ApplyBrush();
    const bool frame = ApplyPen();
    if (fill || frame)
        fPainter->drawEllipse(QRect(r.Left, r.Top, r.Width() - 1, r.Height() - 1));
}

void TTeeCanvas3D::GradientFill(const TRect& r, const TTeeGradient& gradient)
{
    Flush();
    if (!fPainter || r.Width() <= 0 || r.Height() <= 0)
        return;
    const QRectF q(r.Left, r.Top, r.Width(), r.Height());
    QLinearGradient g;
    switch (gradient.Direction()) {
    case gdTopBottom: g = QLinearGradient(q.topLeft(), q.bottomLeft()); break;
    case gdBottomTop: g = QLinearGradient(q.bottomLeft(), q.topLeft()); break;
    case gdLeftRight: g = QLinearGradient(q.topLeft(), q.topRight()); break;
    case gdRightLeft: g = QLinearGradient(q.topRight(), q.topLeft()); break;
    }
    g.setColorAt(0, ColorToQColor(gradient.StartColor()));
    g.setColorAt(1, ColorToQColor(gradient.EndColor()));
    fPainter->fillRect(q, g);
}

void TTeeCanvas3D::StretchDraw(const TRect& r, const QImage& image)
{
    Flush();
    if (fPainter && !image.isNull())
        fPainter->drawImage(ToQRect(r), image);
}

void TTeeCanvas3D::TileDraw(const TRect& r, const QImage& image)
{
    Flush();
    if (!fPainter || image.isNull())
        return;
    QBrush tiles(image);
    tiles.setTransform(QTransform::fromTranslate(r.Left, r.Top));
    fPainter->fillRect(ToQRect(r), tiles);
}

void TTeeCanvas3D::CenterDraw(const TRect& r, const QImage& image)
{
    Flush();
    if (!fPainter || image.isNull())
        return;
    fPainter->save();
    fPainter->setClipRect(ToQRect(r), Qt::IntersectClip);
    fPainter->drawImage(QPoint((r.Left + r.Right - image.width()) / 2, (r.Top + r.Bottom - image.height()) / 2), image);
    fPainter->restore();
}

void TTeeCanvas3D::RoundRect(const TRect& r, int xRadius, int yRadius)
{
    Flush();
    if (!fPainter)
        return;
    const bool fill = ApplyBrush();
    const bool frame = ApplyPen();
    if (fill || frame)
        fPainter->drawRoundedRect(QRect(r.Left, r.Top, r.Width() - 1, r.Height() - 1), xRadius / 2.0, yRadius / 2.0);
}

const QFontMetrics& TTeeCanvas3D::Metrics()
{
    // Labels are measured by the thousand: the metrics are rebuilt only when the font changed.
    if (!fMetrics || fMetricsStamp != fFont.ChangeStamp()) {
        fQFont = fFont.ToQFont();
        fMetrics.emplace(fQFont);
        fMetricsStamp = fFont.ChangeStamp();
    }
    return *fMetrics;
}

int TTeeCanvas3D::TextWidth(const QString& text)
{
    return Metrics().horizontalAdvance(text);
}

int TTeeCanvas3D::TextHeight(const QString& text)
{
    (void)text;
    return Metrics().height();
}

void TTeeCanvas3D::DrawText(int x, int y, const QString& text, double angle)
{
    Flush();
    if (!fPainter)
        return;
    const QFontMetrics& fm = Metrics();
    const QFont& font = fQFont;
    const int w = fm.horizontalAdvance(text);
    // The anchor is turned into the top-left corner of the unrotated text cell.
    double dx = 0, dy = 0;
    const unsigned h = fTextAlign & 6, v = fTextAlign & 24;
    if (h == TA_CENTER)
        dx = -w / 2.0;
    else if (h == TA_RIGHT)
        dx = -w;
    if (v == TA_BOTTOM)
        dy = -fm.height();
    else if (v == TA_BASELINE)
        dy = -fm.ascent();
    fPainter->save();
    fPainter->setCompositionMode(QPainter::CompositionMode_SourceOver);
    fPainter->translate(x, y);
    if (angle != 0)
        fPainter->rotate(-angle);   // angles count counter-clockwise, the painter's clockwise
    const QRectF cell(dx, dy, w, fm.height());
    if (fBackMode == cbmOpaque && fBackColor != clNone)
        fPainter->fillRect(cell, ColorToQColor(fBackColor));
    fPainter->setFont(font);
    fPainter->setPen(ColorToQColor(fFont.Color()));
    fPainter->drawText(QPointF(dx, dy + fm.ascent()), text);
    fPainter->restore();
}

void TTeeCanvas3D::TextOut(int x, int y, const QString& text)
{
    DrawText(x, y, text, 0);
}

void TTeeCanvas3D::RotateLabel(int x, int y, const QString& text, double angle)
{
    DrawText(x, y, text, std::fmod(angle, 360.0));
}

void TTeeCanvas3D::ClipRectangle(const TRect& r)
{
    Flush();
    if (fPainter)
        fPainter->setClipRect(ToQRect(r));
}

void TTeeCanvas3D::UnClipRectangle()
{
    Flush();
    if (fPainter)
        fPainter->setClipping(false);
}

TTeeBlend TTeeCanvas3D::BeginBlending(const TRect& r, int percent)
{
    (void)r;
    Flush();
    if (!fPainter)
        return 0;
    fPainter->save();
    fPainter->setOpacity(1.0 - std::clamp(percent, 0, 100) / 100.0);
    return ++fBlendDepth;
}

void TTeeCanvas3D::EndBlending(TTeeBlend handle)
{
    Flush();
    while (fPainter && fBlendDepth >= handle && fBlendDepth > 0) {
        fPainter->restore();
        --fBlendDepth;
    }
}
