#pragma once
// Track bars: the plain one with a single position, and the range slider with two
// thumbs that mark a range. Vertical bars have their minimum at the bottom, so a
// range on the bar stands where it stands on a vertical scale beside it.

#include <QWidget>
#include <functional>

enum TTrackBarOrientation { trHorizontal, trVertical };
enum TThumbShape { tsRectangle, tsPointer };
enum TTickMarkStyle { tsNone, tsTopLeft, tsBottomRight, tsBoth };

// What every track bar shares: the limits, the orientation and the common
// position setter. The control does not take keyboard focus on its own.
class TCustomTrackBar : public QWidget {
    Q_OBJECT
public:
    explicit TCustomTrackBar(QWidget* parent = nullptr);

    int Min() const { return fMin; }
    virtual void SetMin(int value);
    int Max() const { return fMax; }
    virtual void SetMax(int value);
    int Position() const { return fPosition; }
    void SetPosition(int value) { SetPositionValue(fPosition, value); }
    TTrackBarOrientation Orientation() const { return fOrientation; }
    void SetOrientation(TTrackBarOrientation value);
    // A bar being loaded takes values in any order.
    bool Loading() const { return fLoading; }
    void SetLoading(bool value) { fLoading = value; }
    bool TrackHint = false;
    TTickMarkStyle TickMarkStyle = tsNone;

    // Follows every change of a position, the program's own included.
    std::function<void(QObject* sender)> OnChange;

    QSize sizeHint() const override;

protected:
    // The common setter: stores the value limited to Min and Max, repaints and
    // tells OnChange. Nothing happens when the limited value is already stored.
    void SetPositionValue(int& field, int value);
    void Changed();
    int Limit(int value) const;

    // Geometry of the track: pixels along the bar for a value and back.
    int TrackStart() const;
    int TrackEnd() const;
    int ValueToPixel(int value) const;
    int PixelToValue(int pixel) const;
    // The coordinate along the bar of a point, and across it.
    int Along(const QPoint& p) const { return fOrientation == trVertical ? p.y() : p.x(); }
    int Across(const QPoint& p) const { return fOrientation == trVertical ? p.x() : p.y(); }
    int Length() const { return fOrientation == trVertical ? height() : width(); }
    int Breadth() const { return fOrientation == trVertical ? width() : height(); }

    int fMin = 0;
    int fMax = 10;
    int fPosition = 0;
    TTrackBarOrientation fOrientation = trHorizontal;
    bool fLoading = false;
    static constexpr int ThumbMargin = 8;   // half a thumb and a little air at each end
};

// Colours of the slider's track: the whole track and the chosen part between the thumbs.
struct TRangeSliderColors {
    QColor Track{0xD6, 0xDB, 0xE1};
    QColor Range{0x2F, 0x7D, 0xD1};
    QColor RangeDisabled{0xA9, 0xB2, 0xBC};
};

struct TRangeThumb {
    int Size = 12;
    TThumbShape Shape = tsPointer;
};

// Two thumbs on one track: PositionLeft and PositionRight. The setters keep the left
// thumb at or below the right one by refusing a value that would pass the other
// thumb; a caller moving both upward sets PositionRight first.
class TAdvRangeSlider : public TCustomTrackBar {
    Q_OBJECT
public:
    explicit TAdvRangeSlider(QWidget* parent = nullptr);

    int PositionLeft() const { return fPosition; }
    // A value above PositionRight is dropped, unless the slider is being loaded.
    void SetPositionLeft(int value);
    int PositionRight() const { return fPositionRight; }
    // A value below PositionLeft is dropped; others are limited to Min and Max.
    void SetPositionRight(int value);
    // The inherited SetMin and SetMax move only PositionLeft (the base position);
    // PositionRight keeps its value until it is set again.

    TRangeThumb ThumbLeft;
    TRangeThumb ThumbRight;
    TRangeSliderColors Slider;

    // The centre of a thumb along the bar, in pixels: for tests and for the look.
    int ThumbPixel(bool right) const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    enum class TThumb { None, Left, Right, Range };
    TThumb HitThumb(const QPoint& p) const;
    void DrawThumb(class QPainter& painter, int along, const TRangeThumb& thumb, bool hot, bool pressed) const;
    void MoveRange(int delta);

    int fPositionRight = 0;
    TThumb fDragging = TThumb::None;
    TThumb fHot = TThumb::None;
    int fGrabOffset = 0;          // pixels between the press and the thumb's centre
    int fGrabValue = 0;           // where a dragged range began, in values
    int fGrabRight = 0;
    int fGrabPixel = 0;
};
