#include "dbcontrols/AdvTrackBar.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cstdlib>

// ---------------------------------------------------------------- common track bar

TCustomTrackBar::TCustomTrackBar(QWidget* parent) : QWidget(parent)
{
    setFocusPolicy(Qt::NoFocus);
    setMouseTracking(true);
}

void TCustomTrackBar::SetMin(int value)
{
    if (value == fMin)
        return;
    fMin = value;
    if (fPosition < fMin)
        fPosition = fMin;
    update();
}

void TCustomTrackBar::SetMax(int value)
{
    if (value == fMax)
        return;
    fMax = value;
    if (fPosition > fMax)
        fPosition = fMax;
    update();
}

void TCustomTrackBar::SetOrientation(TTrackBarOrientation value)
{
    if (value == fOrientation)
        return;
    fOrientation = value;
    updateGeometry();
    update();
}

QSize TCustomTrackBar::sizeHint() const
{
    return fOrientation == trVertical ? QSize(28, 150) : QSize(150, 28);
}

int TCustomTrackBar::Limit(int value) const
{
    // Min above Max happens between two setter calls; Min wins then, as it would
    // for a value below both.
    return std::max(fMin, std::min(value, fMax));
}

void TCustomTrackBar::SetPositionValue(int& field, int value)
{
    const int limited = Limit(value);
    if (limited == field)
        return;
    field = limited;
    update();
    Changed();
}

void TCustomTrackBar::Changed()
{
    if (OnChange)
        OnChange(this);
}

int TCustomTrackBar::TrackStart() const
{
    return fOrientation == trVertical ? Length() - 1 - ThumbMargin : ThumbMargin;
}

int TCustomTrackBar::TrackEnd() const
{
    return fOrientation == trVertical ? ThumbMargin : Length() - 1 - ThumbMargin;
}

int TCustomTrackBar::ValueToPixel(int value) const
{
    const long long span = static_cast<long long>(fMax) - fMin;
    if (span <= 0)
        return TrackStart();
    const long long offset = static_cast<long long>(value) - fMin;
    const long long pixels = TrackEnd() - TrackStart();
    // Rounded to the nearest pixel, on both sides of the start.
    const long long num = offset * pixels;
    const long long r = num >= 0 ? (num + span / 2) / span : -((-num + span / 2) / span);
    return TrackStart() + static_cast<int>(r);
}

int TCustomTrackBar::PixelToValue(int pixel) const
{
    const long long pixels = TrackEnd() - TrackStart();
    if (pixels == 0)
        return fMin;
    const long long span = static_cast<long long>(fMax) - fMin;
    const long long num = (static_cast<long long>(pixel) - TrackStart()) * span;
    const long long half = std::llabs(pixels) / 2;
    // The sign of pixels is the bar's direction; round to the nearest value.
    long long v = (num >= 0) == (pixels > 0) ? (std::llabs(num) + half) / std::llabs(pixels)
                                             : -((std::llabs(num) + half) / std::llabs(pixels));
    v += fMin;
    return static_cast<int>(std::clamp<long long>(v, fMin, std::max(fMin, fMax)));
}

// ---------------------------------------------------------------- range slider

TAdvRangeSlider::TAdvRangeSlider(QWidget* parent) : TCustomTrackBar(parent)
{
    fMax = 100;
    fPosition = 0;
    fPositionRight = 10;
}

void TAdvRangeSlider::SetPositionLeft(int value)
{
    if (value == fPosition)
        return;
    if (value > fPositionRight && !fLoading)
        return;
    SetPositionValue(fPosition, value);
}

void TAdvRangeSlider::SetPositionRight(int value)
{
    if (value == fPositionRight || value < fPosition)
        return;
    const int limited = value < fMin ? fMin : value > fMax ? fMax : value;
    if (limited == fPositionRight)
        return;
    fPositionRight = limited;
    update();
    Changed();
}

int TAdvRangeSlider::ThumbPixel(bool right) const
{
    return ValueToPixel(right ? fPositionRight : fPosition);
}

TAdvRangeSlider::TThumb TAdvRangeSlider::HitThumb(const QPoint& p) const
{
    const int along = Along(p);
    const int left = ThumbPixel(false), right = ThumbPixel(true);
    const int reachLeft = ThumbLeft.Size / 2 + 3, reachRight = ThumbRight.Size / 2 + 3;
    const bool onLeft = std::abs(along - left) <= reachLeft;
    const bool onRight = std::abs(along - right) <= reachRight;
    // Thumbs on top of each other: the side of the press decides, so that both stay
    // reachable; towards Max it is the right thumb.
    if (onLeft && onRight) {
        const bool towardsMax = (TrackEnd() - TrackStart()) * (along - left) > 0;
        return towardsMax ? TThumb::Right : TThumb::Left;
    }
    if (onRight)
        return TThumb::Right;
    if (onLeft)
        return TThumb::Left;
    const int lo = std::min(left, right), hi = std::max(left, right);
    if (along > lo && along < hi)
        return TThumb::Range;
    return TThumb::None;
}

void TAdvRangeSlider::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !isEnabled()) {
        QWidget::mousePressEvent(event);
        return;
    }
    const QPoint p = event->position().toPoint();
    fDragging = HitThumb(p);
    if (fDragging == TThumb::None) {
        // A press on the free track brings the nearer thumb there and holds it.
        const int value = PixelToValue(Along(p));
        const bool right = std::abs(value - fPositionRight) < std::abs(value - fPosition) ||
                           (value > fPositionRight);
        fDragging = right ? TThumb::Right : TThumb::Left;
        if (right)
            SetPositionRight(std::max(value, fPosition));
        else
            SetPositionLeft(std::min(value, fPositionRight));
    }
    fGrabOffset = 0;
    if (fDragging == TThumb::Left || fDragging == TThumb::Right)
        fGrabOffset = Along(p) - ThumbPixel(fDragging == TThumb::Right);
    fGrabPixel = Along(p);
    fGrabValue = fPosition;
    fGrabRight = fPositionRight;
    update();
    event->accept();
}

void TAdvRangeSlider::MoveRange(int delta)
{
    // The range keeps its width; it stops at the ends of the track.
    delta = std::clamp(delta, fMin - fGrabValue, fMax - fGrabRight);
    const int left = fGrabValue + delta, right = fGrabRight + delta;
    if (right >= fPositionRight) {
        SetPositionRight(right);
        SetPositionLeft(left);
    } else {
        SetPositionLeft(left);
        SetPositionRight(right);
    }
}

void TAdvRangeSlider::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint p = event->position().toPoint();
    if (fDragging == TThumb::None) {
        const TThumb hot = HitThumb(p);
        if (hot != fHot) {
            fHot = hot;
            setCursor(hot == TThumb::None ? Qt::ArrowCursor
                      : fOrientation == trVertical ? Qt::SizeVerCursor : Qt::SizeHorCursor);
            update();
        }
        return;
    }
    if (fDragging == TThumb::Range) {
        MoveRange(PixelToValue(Along(p)) - PixelToValue(fGrabPixel));
    } else {
        const int value = PixelToValue(Along(p) - fGrabOffset);
        // A thumb dragged against the other one stops there.
        if (fDragging == TThumb::Left)
            SetPositionLeft(std::min(value, fPositionRight));
        else
            SetPositionRight(std::max(value, fPosition));
    }
    event->accept();
}

void TAdvRangeSlider::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && fDragging != TThumb::None) {
        fDragging = TThumb::None;
        update();
        event->accept();
        return;
    }
    QWidget::mouseReleaseEvent(event);
}

void TAdvRangeSlider::leaveEvent(QEvent* event)
{
    if (fHot != TThumb::None) {
        fHot = TThumb::None;
        update();
    }
    QWidget::leaveEvent(event);
}

void TAdvRangeSlider::DrawThumb(QPainter& painter, int along, const TRangeThumb& thumb, bool hot, bool pressed) const
{
    // A rounded tag whose tip points across the track, towards the scale it serves:
    // left on a vertical bar, up on a horizontal one.
    const bool vertical = fOrientation == trVertical;
    const double half = thumb.Size / 2.0;
    const double depth = thumb.Size + 6;
    const double mid = Breadth() / 2.0;
    QPainterPath path;
    if (thumb.Shape == tsPointer) {
        const double tip = mid - depth / 2.0 - 3, back = mid + depth / 2.0;
        const double shoulder = tip + half;
        path.moveTo(tip, along + 0.5);
        path.lineTo(shoulder, along + 0.5 - half);
        path.lineTo(back - 3, along + 0.5 - half);
        path.quadTo(back, along + 0.5 - half, back, along + 0.5 - half + 3);
        path.lineTo(back, along + 0.5 + half - 3);
        path.quadTo(back, along + 0.5 + half, back - 3, along + 0.5 + half);
        path.lineTo(shoulder, along + 0.5 + half);
        path.closeSubpath();
    } else {
        path.addRoundedRect(QRectF(mid - depth / 2.0, along + 0.5 - half, depth, thumb.Size), 3, 3);
    }
    if (!vertical) {
        // Swap the axes: what was across becomes along.
        path = QTransform(0, 1, 1, 0, 0, 0).map(path);
    }
    const QColor edge = !isEnabled() ? Slider.RangeDisabled : pressed ? Slider.Range.darker(130) : Slider.Range;
    painter.setPen(QPen(edge, hot || pressed ? 2.0 : 1.5));
    painter.setBrush(pressed ? QColor(0xE8, 0xF1, 0xFB) : hot ? QColor(0xF4, 0xF8, 0xFD) : QColor(Qt::white));
    painter.drawPath(path);
    // Grip: two short lines across the thumb.
    painter.setPen(QPen(edge.lighter(120), 1.0));
    const double g0 = mid - depth / 2.0 + half / 2 + 2, g1 = mid + depth / 2.0 - 4;
    for (int d : {-2, 2}) {
        const double a = along + 0.5 + d;
        if (vertical)
            painter.drawLine(QPointF(g0, a), QPointF(g1, a));
        else
            painter.drawLine(QPointF(a, g0), QPointF(a, g1));
    }
}

void TAdvRangeSlider::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, true);
    const bool vertical = fOrientation == trVertical;
    const double mid = Breadth() / 2.0;
    const double groove = 4.0;
    auto bar = [&](int a0, int a1) {
        const double lo = std::min(a0, a1), hi = std::max(a0, a1) + 1.0;
        return vertical ? QRectF(mid - groove / 2, lo, groove, hi - lo) : QRectF(lo, mid - groove / 2, hi - lo, groove);
    };
    painter.setPen(Qt::NoPen);
    painter.setBrush(Slider.Track);
    painter.drawRoundedRect(bar(TrackStart(), TrackEnd()), groove / 2, groove / 2);
    const int left = ThumbPixel(false), right = ThumbPixel(true);
    painter.setBrush(isEnabled() ? Slider.Range : Slider.RangeDisabled);
    painter.drawRoundedRect(bar(left, right), groove / 2, groove / 2);

    if (TickMarkStyle != tsNone) {
        painter.setPen(QPen(QColor(0x8A, 0x93, 0x9D), 1.0));
        const long long span = static_cast<long long>(fMax) - fMin;
        const int steps = span > 0 ? static_cast<int>(std::min<long long>(span, 10)) : 0;
        for (int i = 0; i <= steps; ++i) {
            const int a = ValueToPixel(static_cast<int>(fMin + span * i / std::max(steps, 1)));
            const double near = 2, far = 5;
            if (TickMarkStyle == tsTopLeft || TickMarkStyle == tsBoth) {
                if (vertical)
                    painter.drawLine(QPointF(near, a + 0.5), QPointF(far, a + 0.5));
                else
                    painter.drawLine(QPointF(a + 0.5, near), QPointF(a + 0.5, far));
            }
            if (TickMarkStyle == tsBottomRight || TickMarkStyle == tsBoth) {
                const double b = Breadth();
                if (vertical)
                    painter.drawLine(QPointF(b - far, a + 0.5), QPointF(b - near, a + 0.5));
                else
                    painter.drawLine(QPointF(a + 0.5, b - far), QPointF(a + 0.5, b - near));
            }
        }
    }

    // The thumb that is held lies on top.
    const bool rightOnTop = fDragging == TThumb::Right || (fDragging != TThumb::Left && fHot == TThumb::Right);
    const bool rangeHeld = fDragging == TThumb::Range;
    auto draw = [&](bool r) {
        const TThumb which = r ? TThumb::Right : TThumb::Left;
        DrawThumb(painter, r ? right : left, r ? ThumbRight : ThumbLeft, fHot == which || fHot == TThumb::Range,
                  fDragging == which || rangeHeld);
    };
    draw(!rightOnTop);
    draw(rightOnTop);
}
