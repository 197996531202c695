#include "frame/HTMLabel.h"

#include <QEvent>
#include <QFontMetrics>
#include <QHash>
#include <QPaintEvent>
#include <QRegularExpression>
#include <algorithm>

namespace {
// The label's fonts are set in points: 1 to 5 are the classic HTML steps.
constexpr int kSizeSteps[] = {8, 10, 12, 14, 16};

const QHash<QString, QColor>& ColorNames()
{
    static const QHash<QString, QColor> names{
        {"clred", QColor(255, 0, 0)},          {"clblack", QColor(0, 0, 0)},
        {"clblue", QColor(0, 0, 255)},         {"clgreen", QColor(0, 128, 0)},
        {"claqua", QColor(0, 255, 255)},       {"clyellow", QColor(255, 255, 0)},
        {"clfuchsia", QColor(255, 0, 255)},    {"clwhite", QColor(255, 255, 255)},
        {"cllime", QColor(0, 255, 0)},         {"clsilver", QColor(192, 192, 192)},
        {"clgray", QColor(128, 128, 128)},     {"clolive", QColor(128, 128, 0)},
        {"clnavy", QColor(0, 0, 128)},         {"clpurple", QColor(128, 0, 128)},
        {"clteal", QColor(0, 128, 128)},       {"clmaroon", QColor(128, 0, 0)},
        // System colours, in the look of a plain desktop theme.
        {"clbackground", QColor(0, 78, 152)},          {"clactivecaption", QColor(153, 180, 209)},
        {"clinactivecaption", QColor(191, 205, 219)},  {"clmenu", QColor(240, 240, 240)},
        {"clwindow", QColor(255, 255, 255)},           {"clwindowframe", QColor(100, 100, 100)},
        {"clmenutext", QColor(0, 0, 0)},               {"clwindowtext", QColor(0, 0, 0)},
        {"clcaptiontext", QColor(0, 0, 0)},            {"clactiveborder", QColor(180, 180, 180)},
        {"clinactiveborder", QColor(244, 247, 252)},   {"clappworkspace", QColor(171, 171, 171)},
        {"clhighlight", QColor(0, 120, 215)},          {"clhighlighttext", QColor(255, 255, 255)},
        {"clbtnface", QColor(240, 240, 240)},          {"clbtnshadow", QColor(160, 160, 160)},
        {"clgraytext", QColor(109, 109, 109)},         {"clbtntext", QColor(0, 0, 0)},
        {"clinactivecaptiontext", QColor(0, 0, 0)},    {"clbtnhighlight", QColor(255, 255, 255)},
        {"cl3ddkshadow", QColor(105, 105, 105)},       {"cl3dlight", QColor(227, 227, 227)},
        {"clinfotext", QColor(0, 0, 0)},               {"clinfobk", QColor(255, 255, 225)},
    };
    return names;
}

const QHash<QString, QChar>& Entities()
{
    static const QHash<QString, QChar> entities{
        {"nbsp", QChar(0x00A0)}, {"lt", u'<'},               {"gt", u'>'},
        {"amp", u'&'},           {"quot", u'"'},             {"sect", QChar(0x00A7)},
        {"permil", QChar(0x2030)}, {"reg", QChar(0x00AE)},   {"copy", QChar(0x00A9)},
        {"para", QChar(0x00B6)}, {"trade", QChar(0x2122)},   {"euro", QChar(0x20AC)},
    };
    return entities;
}

// Value of an attribute in a tag's text; names compare without case and must stand
// as words, so COLOR is not found inside BGCOLOR.
bool Attribute(const QString& tag, const QString& name, QString& value)
{
    const QRegularExpression re(QStringLiteral("(?:^|\\s)%1\\s*=\\s*(?:\"([^\"]*)\"?|'([^']*)'?|([^\\s>]*))").arg(name),
                                QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch m = re.match(tag);
    if (!m.hasMatch())
        return false;
    for (int i = 1; i <= 3; ++i)
        if (m.capturedStart(i) >= 0) {
            value = m.captured(i).trimmed();
            return true;
        }
    return false;
}

void SetFontSize(QFont& font, const QFont& from)
{
    if (from.pointSizeF() > 0)
        font.setPointSizeF(from.pointSizeF());
    else
        font.setPixelSize(from.pixelSize());
}

struct TLineMetrics {
    int Width = 0;
    int Ascent = 0;   // above the baseline
    int Descent = 0;  // below the baseline
    bool HasText = false;
};

// The parser's state. Closing tags go back to the base values.
class THTMLParser {
public:
    THTMLParser(const QString& text, const QFont& baseFont, const QColor& baseColor, QPaintDevice* device)
        : fText(text), fBaseFont(baseFont), fBaseColor(baseColor), fDevice(device), fFont(baseFont),
          fColor(baseColor)
    {
    }

    // One walk over the text: each line is first measured, then, with a painter,
    // drawn from the same state.
    QSize Run(QPainter* painter, const QRect& rect)
    {
        qsizetype pos = 0;
        int y = rect.top();
        int width = 0;
        while (pos < fText.size()) {
            const State start = fState();
            TLineMetrics line;
            const qsizetype next = Line(pos, nullptr, rect, 0, line);
            if (painter) {
                Restore(start);
                Line(pos, painter, rect, y + line.Ascent, line);
            }
            y += line.Ascent + line.Descent;
            width = std::max(width, line.Width);
            pos = next;
        }
        return QSize(width, y - rect.top());
    }

private:
    struct State {
        QFont Font;
        QColor Color, Brush, SavedBrush;
        bool Sub, Sup, Shadow, Hidden, Anchor;
    };
    State fState() const { return {fFont, fColor, fBrush, fSavedBrush, fSub, fSup, fShadow, fHidden, fAnchor}; }
    void Restore(const State& s)
    {
        fFont = s.Font;
        fColor = s.Color;
        fBrush = s.Brush;
        fSavedBrush = s.SavedBrush;
        fSub = s.Sub;
        fSup = s.Sup;
        fShadow = s.Shadow;
        fHidden = s.Hidden;
        fAnchor = s.Anchor;
    }

    QFontMetrics Metrics() const { return fDevice ? QFontMetrics(fFont, fDevice) : QFontMetrics(fFont); }

    // Walks one line from pos; answers where the next line starts.
    qsizetype Line(qsizetype pos, QPainter* painter, const QRect& rect, int baseline, TLineMetrics& line)
    {
        int x = rect.left();
        QString run;
        auto flush = [&] {
            if (!run.isEmpty())
                x = Draw(run, x, painter, baseline, line);
            run.clear();
        };
        bool lineEnded = false;
        bool rule = false;
        while (pos < fText.size() && !lineEnded) {
            const QChar c = fText.at(pos);
            if (c == u'<') {
                const qsizetype close = fText.indexOf(u'>', pos + 1);
                if (close < 0) {
                    run += c;   // a lone "<" is text
                    ++pos;
                    continue;
                }
                flush();
                Tag(fText.mid(pos + 1, close - pos - 1), lineEnded, rule);
                pos = close + 1;
            } else if (c == u'&') {
                const qsizetype semi = fText.indexOf(u';', pos + 1);
                const auto it = semi > 0 && semi - pos <= 8 ? Entities().find(fText.mid(pos + 1, semi - pos - 1).toLower())
                                                            : Entities().end();
                if (it != Entities().end()) {
                    run += it.value();
                    pos = semi + 1;
                } else {
                    run += c;
                    ++pos;
                }
            } else if (c == u'\r' || c == u'\n') {
                ++pos;   // joined lines; only <BR> breaks
            } else {
                run += c;
                ++pos;
            }
        }
        flush();
        if (!line.HasText) {
            const QFontMetrics fm = Metrics();
            line.Ascent = std::max(line.Ascent, fm.ascent());
            line.Descent = std::max(line.Descent, fm.descent());
        }
        if (rule && painter) {
            const int y = baseline + line.Descent - 1;
            painter->setPen(QPen(fColor, 1));
            painter->drawLine(rect.left(), y, rect.right(), y);
        }
        return pos;
    }

    int Draw(const QString& run, int x, QPainter* painter, int baseline, TLineMetrics& line)
    {
        if (fHidden)
            return x;
        const QFontMetrics fm = Metrics();
        const int w = fm.horizontalAdvance(run);
        const int shift = fm.height() / 4;   // a quarter of the text height
        const int offset = fSub ? shift : fSup ? -shift : 0;
        line.HasText = true;
        line.Ascent = std::max(line.Ascent, fm.ascent() - std::min(offset, 0));
        line.Descent = std::max(line.Descent, fm.descent() + std::max(offset, 0));
        line.Width = std::max(line.Width, x + w);
        if (painter) {
            const int y = baseline + offset;
            if (fBrush.isValid())
                painter->fillRect(x, y - fm.ascent(), w, fm.height(), fBrush);
            painter->setFont(fFont);
            if (fShadow) {
                painter->setPen(QColor(128, 128, 128));
                painter->drawText(QPoint(x + 1, y + 1), run);
            }
            painter->setPen(fColor);
            painter->drawText(QPoint(x, y), run);
        }
        return x + w;
    }

    void Tag(const QString& tag, bool& lineEnded, bool& rule)
    {
        const bool closing = tag.startsWith(u'/');
        const QString body = closing ? tag.mid(1) : tag;
        qsizetype end = 0;
        while (end < body.size() && !body.at(end).isSpace() && body.at(end) != u'/')
            ++end;
        const QString name = body.left(end).toUpper();
        const QString attrs = body.mid(end);
        QString v;
        QColor color;
        if (name == u"B") {
            fFont.setBold(!closing);
        } else if (name == u"I") {
            fFont.setItalic(!closing);
        } else if (name == u"U") {
            fFont.setUnderline(!closing);
        } else if (name == u"S") {
            fFont.setStrikeOut(!closing);
        } else if (name == u"BR") {
            lineEnded = true;
        } else if (name == u"HR") {
            lineEnded = true;
            rule = true;
        } else if (name == u"FONT") {
            if (closing) {
                fFont.setFamily(fBaseFont.family());
                SetFontSize(fFont, fBaseFont);
                fColor = fBaseColor;
                fBrush = fSavedBrush;
            } else {
                fSavedBrush = fBrush;
                if (Attribute(attrs, QStringLiteral("FACE"), v) && !v.isEmpty())
                    fFont.setFamily(v);
                if (Attribute(attrs, QStringLiteral("COLOR"), v) && HTMLColor(v, color))
                    fColor = color;
                if (Attribute(attrs, QStringLiteral("BGCOLOR"), v) && HTMLColor(v, color))
                    fBrush = color;
                bool ok = false;
                const int size = Attribute(attrs, QStringLiteral("SIZE"), v) ? v.toInt(&ok) : 0;
                if (ok && size > 0)
                    fFont.setPointSize(size >= 1 && size <= 5 ? kSizeSteps[size - 1] : size);
            }
        } else if (name == u"SUB" || name == u"SUP") {
            // The closing tag of either clears both.
            fSub = !closing && name == u"SUB";
            fSup = !closing && name == u"SUP";
        } else if (name == u"Z") {
            fHidden = !closing;
        } else if (name == u"SHAD") {
            fShadow = !closing;
        } else if (name == u"A") {
            // Anchors show as links; nothing in this program follows them.
            fAnchor = !closing;
            fFont.setUnderline(fAnchor);
            fColor = fAnchor ? QColor(0, 0, 255) : fBaseColor;
        }
        // BODY, IMG, LI, OL, P, UL and unknown tags have no effect here.
    }

    const QString& fText;
    const QFont fBaseFont;
    const QColor fBaseColor;
    QPaintDevice* fDevice;
    QFont fFont;
    QColor fColor;
    QColor fBrush, fSavedBrush;   // invalid: no background
    bool fSub = false, fSup = false, fShadow = false, fHidden = false, fAnchor = false;
};
}

bool HTMLColor(const QString& value, QColor& color)
{
    const QString v = value.trimmed().toLower();
    if (const auto it = ColorNames().find(v); it != ColorNames().end()) {
        color = it.value();
        return true;
    }
    if (v.startsWith(u'#')) {
        const QColor c = QColor::fromString(v);
        if (c.isValid()) {
            color = c;
            return true;
        }
    }
    return false;
}

QSize DrawHTML(QPainter* painter, const QString& text, const QRect& rect, const QFont& baseFont,
                 const QColor& baseColor, QPaintDevice* metricsDevice)
{
    THTMLParser parser(text, baseFont, baseColor, metricsDevice);
    return parser.Run(painter, rect);
}

QString HTMLToPlainText(const QString& text)
{
    static const QRegularExpression breaks(QStringLiteral("<(BR|HR)\\b[^>]*>"), QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression hiddenLower(QStringLiteral("<z>.*?</z>"), QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression hiddenUpper(QStringLiteral("<Z>.*?</Z>"), QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression tags(QStringLiteral("<[^>]*>"));
    QString s = text;
    s.replace(breaks, QStringLiteral("\n"));
    s.replace(hiddenLower, QString());
    s.replace(hiddenUpper, QString());
    s.replace(tags, QString());
    return s;
}

// ---- THTMLabel ----

THTMLabel::THTMLabel(QWidget* parent) : QWidget(parent) {}

void THTMLabel::SetHTMLText(const QStringList& value)
{
    fHTMLText = value;
    DoAutoSize();
    update();
}

void THTMLabel::SetAutoSizing(bool value)
{
    if (value == fAutoSizing)
        return;
    fAutoSizing = value;
    DoAutoSize();
}

void THTMLabel::SetAutoSizeType(TAutoSizeType value)
{
    fAutoSizeType = value;
    DoAutoSize();
}

void THTMLabel::SetTransparent(bool value)
{
    if (value == fTransparent)
        return;
    fTransparent = value;
    update();
}

QColor THTMLabel::FontColor() const
{
    return palette().color(QPalette::WindowText);
}

void THTMLabel::SetFontColor(const QColor& value)
{
    QPalette pal = palette();
    pal.setColor(QPalette::WindowText, value);
    setPalette(pal);
    update();
}

QSize THTMLabel::TextSize()
{
    return DrawHTML(nullptr, fHTMLText.join(QString()), QRect(0, 0, width(), height()), font(), FontColor(), this);
}

QSize THTMLabel::sizeHint() const
{
    return DrawHTML(nullptr, fHTMLText.join(QString()), QRect(), font(), FontColor(), const_cast<THTMLabel*>(this));
}

void THTMLabel::DoAutoSize()
{
    if (!fAutoSizing)
        return;
    const QSize s = TextSize();
    switch (fAutoSizeType) {
    case asBoth: resize(s); break;
    case asHorizontal: resize(s.width(), height()); break;
    case asVertical: resize(width(), s.height()); break;
    }
}

void THTMLabel::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    if (!fTransparent)
        p.fillRect(rect(), palette().color(QPalette::Window));
    p.setClipRect(rect());
    DrawHTML(&p, fHTMLText.join(QString()), rect(), font(), FontColor(), this);
}

void THTMLabel::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::FontChange)
        DoAutoSize();
    QWidget::changeEvent(event);
}
