// The range slider: the order rules of its two positions, what reaches OnChange,
// dragging with the mouse, and how it looks. Also the colour drop-down of the axis
// dialog; its number edit is tested with the other numeric edits (BoundEdits_test).
#include "dbcontrols/AdvTrackBar.h"
#include "dbcontrols/TJvColorComboBox.h"
#include "frame/ZELBase.h"
#include "tests/QtPrinters.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QTest>

namespace {

struct Slider {
    TAdvRangeSlider s;
    int changes = 0;
    Slider()
    {
        s.SetOrientation(trVertical);
        s.resize(30, 217);   // 200 pixels of track: two for each unit of 0..100
        s.OnChange = [this](QObject* sender) {
            EXPECT_EQ(sender, &s);
            ++changes;
        };
    }
    std::pair<int, int> Positions() const { return {s.PositionLeft(), s.PositionRight()}; }
};

TEST(AdvRangeSlider, SettersKeepLeftAtOrBelowRightAndLimitsMoveOnlyTheLeftThumb)
{
    Slider t;
    TAdvRangeSlider& s = t.s;
    EXPECT_EQ(t.Positions(), std::make_pair(0, 10));

    // Left above right: dropped without a word, whichever way it is set.
    s.SetPositionLeft(20);
    EXPECT_EQ(t.Positions(), std::make_pair(0, 10));
    EXPECT_EQ(t.changes, 0);
    // Moving both up works only right first; left first loses the left value.
    s.SetPositionLeft(30);
    s.SetPositionRight(40);
    EXPECT_EQ(t.Positions(), std::make_pair(0, 40));
    s.SetPositionLeft(30);
    EXPECT_EQ(t.Positions(), std::make_pair(30, 40));
    EXPECT_EQ(t.changes, 2);
    // Right below left: dropped too.
    s.SetPositionRight(20);
    EXPECT_EQ(t.Positions(), std::make_pair(30, 40));
    // Equal is allowed both ways.
    s.SetPositionRight(30);
    s.SetPositionLeft(30);
    EXPECT_EQ(t.Positions(), std::make_pair(30, 30));
    EXPECT_EQ(t.changes, 3);
    // The same value again is no change.
    s.SetPositionRight(30);
    EXPECT_EQ(t.changes, 3);

    // Beyond the limits: clamped.
    s.SetPositionRight(500);
    EXPECT_EQ(s.PositionRight(), 100);
    s.SetPositionLeft(-7);
    EXPECT_EQ(s.PositionLeft(), 0);
    EXPECT_EQ(t.changes, 5);
    // A value clamped onto the stored one is no change either.
    s.SetPositionRight(101);
    EXPECT_EQ(t.changes, 5);

    // While the slider is being loaded, left may pass right.
    s.SetPositionRight(10);
    s.SetLoading(true);
    s.SetPositionLeft(60);
    s.SetLoading(false);
    EXPECT_EQ(t.Positions(), std::make_pair(60, 10));

    // Limits move only the left thumb.
    s.SetPositionRight(80);
    s.SetPositionLeft(70);
    const int before = t.changes;
    // A lower Max pulls left down to it and leaves right above Max until it is set again.
    s.SetMax(50);
    EXPECT_EQ(t.Positions(), std::make_pair(50, 80));
    s.SetPositionRight(60);
    EXPECT_EQ(s.PositionRight(), 50);
    // A higher Min pushes left up to it; right keeps its value.
    s.SetMin(55);
    EXPECT_EQ(t.Positions(), std::make_pair(55, 50));
    s.SetMin(-20);
    EXPECT_EQ(t.Positions(), std::make_pair(55, 50));
    // The limits themselves are no change of a position.
    EXPECT_EQ(t.changes, before + 1);
}

TEST(AdvRangeSlider, DraggingMovesOneThumbOrTheRangeAndStopsAtTheOtherThumb)
{
    Slider t;
    TAdvRangeSlider& s = t.s;
    s.show();
    s.SetPositionRight(60);
    s.SetPositionLeft(20);
    // Min lies at the bottom: the upper thumb is the right one.
    EXPECT_LT(s.ThumbPixel(true), s.ThumbPixel(false));
    const int x = s.width() / 2;
    auto pixelOf = [&](int value) {
        return s.ThumbPixel(false) + (value - s.PositionLeft()) * (s.ThumbPixel(true) - s.ThumbPixel(false)) /
                                         (s.PositionRight() - s.PositionLeft());
    };
    const int at40 = pixelOf(40), at90 = pixelOf(90), at5 = pixelOf(5);

    // The upper thumb up to 90.
    const int changesBefore = t.changes;
    QTest::mousePress(&s, Qt::LeftButton, {}, QPoint(x, s.ThumbPixel(true)));
    QTest::mouseMove(&s, QPoint(x, at90));
    QTest::mouseRelease(&s, Qt::LeftButton, {}, QPoint(x, at90));
    EXPECT_EQ(t.Positions(), std::make_pair(20, 90));
    EXPECT_GT(t.changes, changesBefore);

    // The lower thumb dragged past the upper one stops there.
    QTest::mousePress(&s, Qt::LeftButton, {}, QPoint(x, s.ThumbPixel(false)));
    QTest::mouseMove(&s, QPoint(x, 2));
    QTest::mouseRelease(&s, Qt::LeftButton, {}, QPoint(x, 2));
    EXPECT_EQ(t.Positions(), std::make_pair(90, 90));
    // On top of each other, a press below the thumbs takes the lower one.
    QTest::mousePress(&s, Qt::LeftButton, {}, QPoint(x, s.ThumbPixel(false) + 3));
    QTest::mouseMove(&s, QPoint(x, at40 + 3));
    QTest::mouseRelease(&s, Qt::LeftButton, {}, QPoint(x, at40 + 3));
    EXPECT_EQ(t.Positions(), std::make_pair(40, 90));

    // The range between the thumbs moves as a whole and keeps its width at the end.
    QTest::mousePress(&s, Qt::LeftButton, {}, QPoint(x, pixelOf(60)));
    QTest::mouseMove(&s, QPoint(x, pixelOf(30)));
    EXPECT_EQ(t.Positions(), std::make_pair(10, 60));
    QTest::mouseMove(&s, QPoint(x, pixelOf(-40)));
    QTest::mouseRelease(&s, Qt::LeftButton, {}, QPoint(x, pixelOf(-40)));
    EXPECT_EQ(t.Positions(), std::make_pair(0, 50));

    // A press on the free track brings the nearer thumb there.
    s.SetPositionLeft(30);
    QTest::mouseClick(&s, Qt::LeftButton, {}, QPoint(x, at5));
    EXPECT_EQ(t.Positions(), std::make_pair(5, 50));
    QTest::mouseClick(&s, Qt::LeftButton, {}, QPoint(x, at90));
    EXPECT_EQ(t.Positions(), std::make_pair(5, 90));

    // The right button and a disabled slider move nothing.
    QTest::mouseClick(&s, Qt::RightButton, {}, QPoint(x, at40));
    s.setEnabled(false);
    QTest::mouseClick(&s, Qt::LeftButton, {}, QPoint(x, at40));
    EXPECT_EQ(t.Positions(), std::make_pair(5, 90));
}

TEST(AdvRangeSlider, DrawsTrackRangeAndThumbsWhereThePositionsAre)
{
    Slider t;
    TAdvRangeSlider& s = t.s;
    s.SetPositionRight(75);
    s.SetPositionLeft(25);
    QImage img(s.size(), QImage::Format_ARGB32);
    img.fill(Qt::white);
    s.render(&img);
    img.save(QStringLiteral(DBCONTROLS_PICTURE_DIR "/range_slider.png"));
    const int mid = s.width() / 2;
    const QColor inRange = img.pixelColor(mid, (s.ThumbPixel(false) + s.ThumbPixel(true)) / 2);
    const QColor outside = img.pixelColor(mid, (s.ThumbPixel(true) + 8) / 2);
    EXPECT_EQ(inRange, s.Slider.Range);
    EXPECT_EQ(outside, s.Slider.Track);
    // Each thumb has its edge in the range colour a few pixels off its centre line.
    for (bool right : {false, true}) {
        bool edge = false;
        for (int dy = -8; dy <= 8 && !edge; ++dy)
            for (int x = 0; x < s.width() && !edge; ++x)
                edge = img.pixelColor(x, s.ThumbPixel(right) + dy) == s.Slider.Range && std::abs(x - mid) > 4;
        EXPECT_TRUE(edge) << (right ? "right" : "left");
    }
    // A horizontal slider draws as well, minimum on the left.
    s.SetOrientation(trHorizontal);
    s.resize(217, 30);
    EXPECT_LT(s.ThumbPixel(false), s.ThumbPixel(true));
    QImage h(s.size(), QImage::Format_ARGB32);
    h.fill(Qt::white);
    s.render(&h);
    EXPECT_EQ(h.pixelColor(s.width() / 2, s.height() / 2), s.Slider.Range);
}

TEST(JvColorComboBox, StandardCustomAndOtherColours)
{
    TJvColorComboBox box;
    EXPECT_EQ(box.itemText(box.count() - 1), "Andere...");
    EXPECT_EQ(box.Colors().size(), 16);
    int changes = 0;
    box.OnChange = [&](QObject*) { ++changes; };

    box.SetColorValue(clRed);
    EXPECT_EQ(box.currentText(), "Rot");
    EXPECT_EQ(changes, 1);
    // A colour that is none of the standard ones joins the list before "Andere...".
    box.SetColorValue(0x336699);
    EXPECT_EQ(box.Colors().size(), 17);
    EXPECT_EQ(box.currentText(), "#996633");
    EXPECT_EQ(box.itemText(box.count() - 1), "Andere...");
    EXPECT_EQ(changes, 2);

    // Picking an item as the user does.
    box.activated(box.findText(QStringLiteral("Blau")));
    EXPECT_EQ(box.ColorValue(), clBlue);
    EXPECT_EQ(changes, 3);

    // "Andere..." asks for a colour; cancelled, the box returns to the colour it had.
    int asked = 0;
    box.ChooseColor = [&](TColor& c) {
        ++asked;
        EXPECT_EQ(c, clBlue);
        return false;
    };
    box.setCurrentIndex(box.count() - 1);
    box.activated(box.count() - 1);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(box.ColorValue(), clBlue);
    EXPECT_EQ(box.currentText(), "Blau");
    EXPECT_EQ(changes, 3);
    box.ChooseColor = [&](TColor& c) {
        c = 0x102030;
        return true;
    };
    box.activated(box.count() - 1);
    EXPECT_EQ(box.ColorValue(), 0x102030);
    EXPECT_EQ(box.currentText(), "#302010");
    EXPECT_EQ(changes, 4);

    // Without custom colours an unknown colour shows no item but is kept.
    TJvColorComboBox plain;
    plain.SetAllowCustomColors(false);
    plain.SetColorValue(0x010203);
    EXPECT_EQ(plain.currentIndex(), -1);
    EXPECT_EQ(plain.ColorValue(), 0x010203);
}

} // namespace
