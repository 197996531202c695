#pragma once
// A label that draws a small subset of HTML: bold, line breaks, fonts with face,
// colours and sizes, subscript and superscript, as the header captions need for
// physical symbols ("<B>I </B><SUB>max</SUB>"). One parser lays out and draws in
// the same walk, so what is measured is what is painted.
//
// There is no tag stack: a closing tag goes back to the label's base value, not to
// the value in force before the opening tag.

#include <QFont>
#include <QPaintDevice>
#include <QPainter>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QWidget>

enum TAutoSizeType { asVertical, asHorizontal, asBoth };

// Lays out the text in rect with the given base font and colour, and draws it when
// a painter is given. Answers the size of the laid-out text. Font metrics come from
// metricsDevice (the screen when null), so measuring and painting agree.
QSize DrawHTML(QPainter* painter, const QString& text, const QRect& rect, const QFont& baseFont,
                 const QColor& baseColor, QPaintDevice* metricsDevice = nullptr);

// Plain text for hints and logs: <BR> and <HR> become line breaks, hidden parts
// between <z> and </z> (then <Z> and </Z>) go, every other tag goes.
QString HTMLToPlainText(const QString& text);

// The colour a mark-up colour value names ("clred", "clinfobk", "#RRGGBB"); false when it names none.
bool HTMLColor(const QString& value, QColor& color);

class THTMLabel : public QWidget {
public:
    explicit THTMLabel(QWidget* parent = nullptr);

    // The lines are joined into one text; only <BR> breaks a line.
    const QStringList& HTMLText() const { return fHTMLText; }
    void SetHTMLText(const QStringList& value);
    bool AutoSizing() const { return fAutoSizing; }
    void SetAutoSizing(bool value);
    TAutoSizeType AutoSizeType() const { return fAutoSizeType; }
    void SetAutoSizeType(TAutoSizeType value);
    bool Transparent() const { return fTransparent; }
    void SetTransparent(bool value);
    QColor FontColor() const;
    void SetFontColor(const QColor& value);
    QString Version() const { return QStringLiteral("1.9.0.1"); }

    // Size of the laid-out text with the current font.
    QSize TextSize();
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void DoAutoSize();

    QStringList fHTMLText;
    bool fAutoSizing = false;
    TAutoSizeType fAutoSizeType = asVertical;
    bool fTransparent = false;
};
