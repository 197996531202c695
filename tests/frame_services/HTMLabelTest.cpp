#include "frame/HTMLabel.h"
#include "tests/frame_services/TestHelpers.h"

#include <QFontMetrics>
#include <gtest/gtest.h>

namespace {
struct Box {
    int Left = INT_MAX, Top = INT_MAX, Right = -1, Bottom = -1;
    bool Empty() const { return Right < 0; }
};

// Bounding box of the pixels darker than mid-grey from column fromX on.
Box DarkBox(const QImage& image, int fromX = 0, int toX = INT_MAX)
{
    Box b;
    for (int y = 0; y < image.height(); ++y)
        for (int x = fromX; x < std::min(toX, image.width()); ++x)
            if (qGray(image.pixel(x, y)) < 128) {
                b.Left = std::min(b.Left, x);
                b.Right = std::max(b.Right, x);
                b.Top = std::min(b.Top, y);
                b.Bottom = std::max(b.Bottom, y);
            }
    return b;
}

class HTMLabelTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        QFont f(QStringLiteral("Arial"));
        f.setPointSize(9);
        label.setFont(f);
        label.SetFontColor(Qt::black);
        QPalette pal = label.palette();
        pal.setColor(QPalette::Window, Qt::white);
        label.setPalette(pal);
    }
    QImage Render(const QString& text, QSize size = {})
    {
        label.SetHTMLText({text});
        label.resize(size.isValid() ? size : label.TextSize());
        return label.grab().toImage().convertToFormat(QImage::Format_RGB32);
    }
    QFontMetrics Metrics(int pointSize, bool bold = false)
    {
        QFont f = label.font();
        f.setPointSize(pointSize);
        f.setBold(bold);
        return QFontMetrics(f, &label);
    }
    THTMLabel label;
};
}

TEST_F(HTMLabelTest, ASubscriptIsDrawnAQuarterOfALineLowerAtTheSameSize)
{
    QFont big = label.font();
    big.setPointSize(24);
    label.setFont(big);
    const QFontMetrics fm(big, &label);
    QFont bold = big;
    bold.setBold(true);
    const int afterI = QFontMetrics(bold, &label).horizontalAdvance(QStringLiteral("I "));

    const QImage sub = Render(QStringLiteral("<B>I </B><SUB>max</SUB>"));
    const QImage plain = Render(QStringLiteral("<B>I </B>max"));
    ASSERT_EQ(sub.height(), plain.height() + fm.height() / 4) << "the line makes room below";

    const Box subMax = DarkBox(sub, afterI);
    const Box plainMax = DarkBox(plain, afterI);
    ASSERT_FALSE(subMax.Empty());
    EXPECT_EQ(subMax.Top - plainMax.Top, fm.height() / 4);
    EXPECT_EQ(subMax.Bottom - plainMax.Bottom, fm.height() / 4);
    EXPECT_EQ(subMax.Right - subMax.Left, plainMax.Right - plainMax.Left) << "same size";
    // The bold "I" stays on the baseline.
    EXPECT_EQ(DarkBox(sub, 0, afterI).Bottom, DarkBox(plain, 0, afterI).Bottom);

    const QImage sup = Render(QStringLiteral("<B>I </B><SUP>max</SUP>"));
    EXPECT_EQ(sup.height(), plain.height() + fm.height() / 4) << "the line makes room above";
    EXPECT_EQ(DarkBox(sup, afterI).Top - DarkBox(sup, 0, afterI).Top,
              plainMax.Top - DarkBox(plain, 0, afterI).Top - fm.height() / 4);
}

TEST_F(HTMLabelTest, FontSizesFollowTheStepTableOrTheNumberAndAClosingTagGoesBackToTheBaseFont)
{
    const QString x = QStringLiteral("Xy");
    const int steps[] = {8, 10, 12, 14, 16};
    for (int i = 1; i <= 5; ++i) {
        label.SetHTMLText({QStringLiteral("<FONT size=\"%1\">Xy</FONT>").arg(i)});
        EXPECT_EQ(label.TextSize(), QSize(Metrics(steps[i - 1]).horizontalAdvance(x), Metrics(steps[i - 1]).height()))
            << "size " << i;
    }
    label.SetHTMLText({QStringLiteral("<font SIZE=10>Xy</font>")});
    EXPECT_EQ(label.TextSize().width(), Metrics(10).horizontalAdvance(x));
    label.SetHTMLText({QStringLiteral("<FONT size=\"22\">Xy</FONT>")});
    EXPECT_EQ(label.TextSize().width(), Metrics(22).horizontalAdvance(x));

    // A closing font tag goes back to the base font at once, not to the outer tag's.
    label.SetHTMLText({QStringLiteral("<FONT size=\"5\"><FONT size=\"1\">a</FONT>b</FONT>c")});
    EXPECT_EQ(label.TextSize().width(), Metrics(8).horizontalAdvance(QStringLiteral("a"))
                                            + Metrics(9).horizontalAdvance(QStringLiteral("b"))
                                            + Metrics(9).horizontalAdvance(QStringLiteral("c")));
    // Bold is a style, not part of the font tag: it stays until </B>.
    label.SetHTMLText({QStringLiteral("<B><FONT size=\"1\">a</FONT>b</B>c")});
    EXPECT_EQ(label.TextSize().width(), Metrics(8, true).horizontalAdvance(QStringLiteral("a"))
                                            + Metrics(9, true).horizontalAdvance(QStringLiteral("b"))
                                            + Metrics(9).horizontalAdvance(QStringLiteral("c")));
}

TEST_F(HTMLabelTest, LineBreaksAndAutoSizing)
{
    const QFontMetrics fm = Metrics(9);
    label.resize(300, 40);
    label.SetHTMLText({QStringLiteral("a<BR>b"), QStringLiteral("c")});   // list lines join without a break
    EXPECT_EQ(label.TextSize(), QSize(fm.horizontalAdvance(QStringLiteral("bc")), 2 * fm.height()));
    EXPECT_EQ(label.size(), QSize(300, 40)) << "without AutoSizing the control keeps its size";

    label.SetAutoSizeType(asBoth);
    label.SetAutoSizing(true);
    EXPECT_EQ(label.size(), label.TextSize());
    label.SetHTMLText({QStringLiteral("<FONT size=\"5\">wider text</FONT><br><br>x")});
    EXPECT_EQ(label.size(), QSize(Metrics(16).horizontalAdvance(QStringLiteral("wider text")),
                                  Metrics(16).height() + 2 * fm.height()))
        << "an empty line takes the current font's height";

    // Two lines drawn: dark pixels in the upper and in the lower line.
    label.SetHTMLText({QStringLiteral("H<BR>H")});
    const QImage img = label.grab().toImage();
    EXPECT_LT(DarkBox(img).Top, fm.height());
    EXPECT_GE(DarkBox(img).Bottom, fm.height());
}

TEST_F(HTMLabelTest, EntitiesUnknownTagsAndThePlainTextForm)
{
    const QFontMetrics fm = Metrics(9);
    label.SetHTMLText({QStringLiteral("<BLINK>a&lt;b&gt;&amp;&euro;&copy;&unknown;c</BLINK><P><LI>")});
    EXPECT_EQ(label.TextSize().width(), fm.horizontalAdvance(QString::fromUtf8("a<b>&€©&unknown;c")));
    label.SetHTMLText({QStringLiteral("x<Z>hidden</Z>y<i>z</i>")});
    QFont italic = label.font();
    italic.setItalic(true);
    EXPECT_EQ(label.TextSize().width(),
              fm.horizontalAdvance(QStringLiteral("xy")) + QFontMetrics(italic, &label).horizontalAdvance(u'z'));

    EXPECT_EQ(HTMLToPlainText(QStringLiteral("<B>I </B><SUB>max</SUB>")), QStringLiteral("I max"));
    EXPECT_EQ(HTMLToPlainText(QStringLiteral("a<br>b<HR color=\"clred\">c")), QStringLiteral("a\nb\nc"));
    EXPECT_EQ(HTMLToPlainText(QStringLiteral("x<z>one</z>y<Z>two</Z>z")), QStringLiteral("xyz"));
    EXPECT_EQ(HTMLToPlainText(QStringLiteral("a < b")), QStringLiteral("a < b"));
}

TEST_F(HTMLabelTest, ColoursByNameAndBackground)
{
    QColor c;
    EXPECT_TRUE(HTMLColor(QStringLiteral("clred"), c));
    EXPECT_EQ(c, QColor(255, 0, 0));
    EXPECT_TRUE(HTMLColor(QStringLiteral("clInfoBk"), c));
    EXPECT_EQ(c, QColor(255, 255, 225));
    EXPECT_FALSE(HTMLColor(QStringLiteral("red-ish"), c));

    QFont big = label.font();
    big.setPointSize(20);
    label.setFont(big);
    auto count = [](const QImage& img, QRgb rgb) {
        int n = 0;
        for (int y = 0; y < img.height(); ++y)
            for (int x = 0; x < img.width(); ++x)
                n += img.pixel(x, y) == rgb ? 1 : 0;
        return n;
    };
    const QImage red = Render(QStringLiteral("<FONT color=\"clred\">M</FONT>M"));
    EXPECT_GT(count(red, qRgb(255, 0, 0)), 10);
    // BGCOLOR fills behind the text and leaves the text colour alone.
    const QImage yellow = Render(QStringLiteral("<FONT bgcolor=\"clyellow\">M</FONT>M"));
    EXPECT_GT(count(yellow, qRgb(255, 255, 0)), 50);
    EXPECT_GT(count(yellow, qRgb(0, 0, 0)), 10);
    EXPECT_EQ(count(yellow, qRgb(255, 0, 0)), 0);
    const int yellowOnly = count(yellow, qRgb(255, 255, 0));
    const QImage restored = Render(QStringLiteral("<FONT bgcolor=\"clyellow\">M</FONT><FONT size=\"20\">M</FONT>"));
    EXPECT_EQ(count(restored, qRgb(255, 255, 0)), yellowOnly) << "</FONT> takes back the brush";
}

TEST_F(HTMLabelTest, HeaderCaptionsRendered)
{
    // The header panel's captions, large enough to look at.
    const QStringList captions{QStringLiteral("<FONT size=\"10\"><B>U</B><SUB>soll</SUB></FONT>"),
                               QStringLiteral("<B>I </B><SUB>max</SUB>")};
    const QStringList names{QStringLiteral("htmlabel_usoll"), QStringLiteral("htmlabel_imax")};
    QFont f = label.font();
    f.setPointSize(10);
    label.setFont(f);
    label.SetAutoSizeType(asBoth);
    label.SetAutoSizing(true);
    for (int i = 0; i < captions.size(); ++i) {
        label.SetHTMLText({captions[i]});
        const QImage img = label.grab().toImage();
        ASSERT_FALSE(DarkBox(img).Empty());
        ASSERT_TRUE(img.scaled(img.size() * 4).save(PngPath(names[i])));
    }
}
