#include "ChartTestSupport.h"
#include "chart/TeeGDIPlus.h"

#include <gtest/gtest.h>

namespace {

constexpr QRgb kWhite = 0xFFFFFFFF;
constexpr QRgb kBlack = 0xFF000000;

QImage WhiteImage(int w = 40, int h = 40)
{
    QImage img(w, h, QImage::Format_RGB32);
    img.fill(Qt::white);
    return img;
}

// Paints on img through an unbuffered canvas of the given class.
template <typename Canvas>
struct Painting {
    explicit Painting(QImage& img) : image(img)
    {
        canvas.SetBufferedDisplay(false);
        canvas.InitWindow(&image, {0, 0, img.width(), img.height()}, false, clWhite);
    }
    void Finish() { canvas.ShowImage(&image, {0, 0, image.width(), image.height()}); }
    QImage& image;
    Canvas canvas;
};

TEST(Canvas, HiddenOrClearPenDrawsNothing)
{
    QImage img = WhiteImage();
    {
        Painting<TTeeCanvas3D> p(img);
        p.canvas.Brush().SetColor(clRed);
        p.canvas.Pen().SetColor(clBlack);
        p.canvas.Pen().SetVisible(false);
        p.canvas.Rectangle({5, 5, 15, 15});
        p.canvas.Pen().SetVisible(true);
        p.canvas.Rectangle({20, 5, 30, 15});
        // A clear pen still moves the pen position.
        p.canvas.MoveTo(2, 2);
        p.canvas.Pen().SetStyle(psClear);
        p.canvas.LineTo(35, 2);
        EXPECT_EQ(p.canvas.PenPos(), (TPoint{35, 2}));
        p.canvas.Pen().SetStyle(psSolid);
        p.canvas.LineTo(35, 20);
        p.Finish();
    }
    EXPECT_EQ(img.pixel(5, 5), QColor(Qt::red).rgb());
    EXPECT_EQ(img.pixel(14, 14), QColor(Qt::red).rgb());
    EXPECT_EQ(img.pixel(15, 15), kWhite);   // right and bottom stay outside
    EXPECT_EQ(img.pixel(20, 5), kBlack);    // a visible pen frames
    EXPECT_EQ(img.pixel(29, 14), kBlack);
    EXPECT_EQ(img.pixel(25, 10), QColor(Qt::red).rgb());
    for (int x = 0; x < 35; ++x)
        ASSERT_EQ(img.pixel(x, 2), kWhite) << x;
    EXPECT_EQ(img.pixel(35, 2), kBlack);
    EXPECT_EQ(img.pixel(35, 19), kBlack);
    EXPECT_EQ(img.pixel(35, 20), kWhite);   // the end pixel belongs to the next line
}

TEST(Canvas, ConsecutiveLinesReachThePainterAsOnePolyline)
{
    QImage img = WhiteImage(1000, 50);
    Painting<TTeeCanvas3D> p(img);
    p.canvas.MoveTo(0, 10);
    for (int x = 1; x < 1000; ++x)
        p.canvas.LineTo(x, 10 + (x % 7));
    p.canvas.Pen().SetColor(clRed);   // a pen change ends the first batch
    for (int x = 998; x > 0; --x)
        p.canvas.LineTo(x, 40);
    p.canvas.MoveTo(0, 45);   // a jump ends the second batch
    p.canvas.LineTo(500, 45);
    p.Finish();
    EXPECT_EQ(p.canvas.LineCalls(), 3);
    EXPECT_EQ(img.pixel(500, 10 + 500 % 7), kBlack);
    EXPECT_EQ(img.pixel(500, 40), QColor(Qt::red).rgb());
    EXPECT_EQ(img.pixel(250, 45), QColor(Qt::red).rgb());
}

TEST(Canvas, ExclusiveOrRubberBandErasesItself)
{
    QImage img = WhiteImage();
    {
        Painting<TTeeCanvas3D> p(img);
        p.canvas.Brush().SetColor(clBlue);
        p.canvas.Rectangle({0, 0, 40, 20});
        p.Finish();
    }
    const QImage before = img.copy();
    auto band = [&] {
        Painting<TTeeCanvas3D> p(img);
        p.canvas.Brush().SetStyle(bsClear);
        p.canvas.Pen().SetColor(clWhite);
        p.canvas.Pen().SetMode(pmXor);
        p.canvas.Rectangle({5, 5, 35, 30});
        p.Finish();
    };
    band();
    EXPECT_NE(img, before);
    EXPECT_EQ(img.pixel(5, 10), QColor(Qt::yellow).rgb());   // blue xor white
    EXPECT_EQ(img.pixel(5, 25), kBlack);                     // white xor white
    band();
    EXPECT_EQ(img, before);
}

QRect InkBox(const QImage& img)
{
    QRect box;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x)
            if (qGray(img.pixel(x, y)) < 128)
                box |= QRect(x, y, 1, 1);
    return box;
}

TEST(Canvas, RotatedTextTurnsAroundItsAnchor)
{
    QImage flat = WhiteImage(200, 200), turned = WhiteImage(200, 200);
    const QString text = QStringLiteral("Spannung 1234");
    int w = 0;
    {
        Painting<TTeeCanvas3D> p(flat);
        w = p.canvas.TextWidth(text);
        p.canvas.TextOut(20, 100, text);
        p.Finish();
    }
    {
        Painting<TTeeCanvas3D> p(turned);
        p.canvas.RotateLabel(100, 180, text, 90);
        p.Finish();
    }
    const QRect a = InkBox(flat), b = InkBox(turned);
    ASSERT_FALSE(a.isEmpty());
    ASSERT_FALSE(b.isEmpty());
    EXPECT_GT(a.width(), 3 * a.height());
    EXPECT_GT(b.height(), 3 * b.width());
    EXPECT_NEAR(b.height(), a.width(), 3);
    // Read upward: the text starts at the anchor and ends w pixels above it.
    EXPECT_LE(b.bottom(), 180);
    EXPECT_NEAR(b.top(), 180 - w, 4);
    EXPECT_GE(b.left(), 100);
}

bool HasInBetweenShades(const QImage& img)
{
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x) {
            const QRgb c = img.pixel(x, y);
            if (c != kWhite && c != kBlack)
                return true;
        }
    return false;
}

TEST(Canvas, SmoothingCanvasAntialiasesUntilFastLineMode)
{
    QImage smooth = WhiteImage(), fast = WhiteImage(), plain = WhiteImage();
    {
        Painting<TGDIPlusCanvas> p(smooth);
        EXPECT_TRUE(p.canvas.AntiAlias());
        p.canvas.Line(0, 0, 39, 13);
        p.Finish();
    }
    {
        Painting<TGDIPlusCanvas> p(fast);
        p.canvas.FastLineMode(true);
        EXPECT_FALSE(p.canvas.AntiAlias());
        p.canvas.Line(0, 0, 39, 13);
        p.canvas.FastLineMode(false);
        EXPECT_TRUE(p.canvas.AntiAlias());
        p.Finish();
    }
    {
        Painting<TTeeCanvas3D> p(plain);
        p.canvas.Line(0, 0, 39, 13);
        p.Finish();
    }
    EXPECT_TRUE(HasInBetweenShades(smooth));
    EXPECT_FALSE(HasInBetweenShades(fast));
    EXPECT_FALSE(HasInBetweenShades(plain));
}

TEST(Canvas, BufferedDisplayPaintsIntoTheBitmapAndCopiesOnShow)
{
    QImage target = WhiteImage(60, 60);
    TTeeCanvas3D canvas;
    ASSERT_TRUE(canvas.BufferedDisplay());
    const TRect r{10, 10, 50, 50};
    EXPECT_EQ(canvas.InitWindow(&target, r, false, clWhite), r);
    canvas.Brush().SetColor(clGreen);
    canvas.Pen().SetVisible(false);
    canvas.FillRect({0, 0, 60, 60});   // the buffer only covers r
    canvas.BeginEntity(QStringLiteral("Series"));
    canvas.EndEntity();
    EXPECT_EQ(target.pixel(20, 20), kWhite);   // nothing reaches the target before the swap
    canvas.ShowImage(&target, r);
    EXPECT_EQ(canvas.Bitmap().size(), QSize(40, 40));
    EXPECT_EQ(target.pixel(10, 10), QColor(0, 128, 0).rgb());
    EXPECT_EQ(target.pixel(49, 49), QColor(0, 128, 0).rgb());
    EXPECT_EQ(target.pixel(9, 9), kWhite);
    EXPECT_EQ(target.pixel(50, 50), kWhite);
    // A repaint without a change only copies the kept picture.
    QImage again = WhiteImage(60, 60);
    canvas.ShowImage(&again, r);
    EXPECT_EQ(again, target);
}

// Clipping, opaque text, blending and small dots, each in its own part of one picture.
TEST(Canvas, ClipOpaqueTextBlendingAndSmallDots)
{
    QImage img = WhiteImage(100, 40);
    {
        Painting<TTeeCanvas3D> p(img);
        p.canvas.ClipRectangle({10, 0, 20, 40});
        p.canvas.HorizLine(0, 40, 5);
        p.canvas.UnClipRectangle();
        p.canvas.HorizLine(0, 40, 15);
        p.canvas.SetBackMode(cbmOpaque);
        p.canvas.SetBackColor(clYellow);
        p.canvas.TextOut(50, 2, QStringLiteral("ab"));
        p.canvas.Brush().SetColor(clBlack);
        p.canvas.Pen().SetVisible(false);
        const TTeeBlend h = p.canvas.BeginBlending({60, 25, 100, 40}, 50);
        p.canvas.FillRect({60, 25, 80, 40});
        p.canvas.EndBlending(h);
        p.canvas.FillRect({80, 25, 100, 40});
        p.canvas.Pen().SetVisible(true);
        p.canvas.Pen().SetSmallDots(true);
        p.canvas.Pen().SetSmallSpace(2);
        p.canvas.HorizLine(0, 40, 30);
        p.Finish();
    }
    EXPECT_EQ(img.pixel(9, 5), kWhite);
    EXPECT_EQ(img.pixel(10, 5), kBlack);
    EXPECT_EQ(img.pixel(19, 5), kBlack);
    EXPECT_EQ(img.pixel(20, 5), kWhite);
    EXPECT_EQ(img.pixel(2, 15), kBlack);
    EXPECT_EQ(img.pixel(50, 2), QColor(Qt::yellow).rgb());
    EXPECT_NEAR(qGray(img.pixel(65, 30)), 128, 2);
    EXPECT_EQ(img.pixel(90, 30), kBlack);
    int ink = 0;
    for (int x = 0; x < 39; ++x)
        ink += img.pixel(x, 30) == kBlack;
    EXPECT_GT(ink, 5);
    EXPECT_LT(ink, 20);   // one dot, then the gap of SmallSpace + 1
}

TEST(Canvas, VisiblePenAssignmentAndCanvasByName)
{
    TTeeCanvas3D canvas;
    TTeePen pen;
    pen.SetColor(clRed);
    pen.SetWidth(3);
    pen.SetStyle(psDash);
    canvas.AssignVisiblePenColor(pen, clBlue);
    EXPECT_EQ(canvas.Pen().Color(), clBlue);
    EXPECT_EQ(canvas.Pen().Width(), 3);
    EXPECT_EQ(canvas.Pen().Style(), psDash);
    TTeeHiddenPen hidden;
    canvas.AssignVisiblePen(hidden);
    EXPECT_EQ(canvas.Pen().Style(), psClear);

    EXPECT_NE(dynamic_cast<TGDIPlusCanvas*>(CreateCanvasByName("TGDIPlusCanvas").get()), nullptr);
    auto plain = CreateCanvasByName("Unbekannt");
    EXPECT_EQ(dynamic_cast<TGDIPlusCanvas*>(plain.get()), nullptr);
    EXPECT_NE(dynamic_cast<TTeeCanvas3D*>(plain.get()), nullptr);
    EXPECT_EQ(ThrownMessage([&] { canvas.InitWindow(nullptr, {0, 0, 10, 10}, false, clWhite); }),
              "GDI+ Error: InvalidParameter 2");
}

} // namespace
