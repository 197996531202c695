#include "frame/zellib_keyboard.h"

#include "frame/ZELColor.h"
#include "frame/ZELLIB_INI.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QScreen>
#include <QStringDecoder>

bool KeyboardEnabled = false;
QString FirstLayoutName;
QString SecondLayoutName;
QPointer<TFoKb> FoKb;

namespace {
constexpr int kDesignWidth = 604;
constexpr int kDesignHeight = 255;

struct TToken {
    QString Text;
    bool Quoted = false;
};

[[noreturn]] void Malformed(const QString& what)
{
    throw Exception(what);
}

// Splits a stored line: bare words, and texts made of quoted parts and #codes.
QList<TToken> Tokens(const QString& line)
{
    QList<TToken> out;
    qsizetype i = 0;
    const qsizetype n = line.size();
    while (i < n) {
        if (line[i].isSpace()) {
            ++i;
            continue;
        }
        TToken t;
        if (line[i] == u'\'' || line[i] == u'#') {
            t.Quoted = true;
            while (i < n && (line[i] == u'\'' || line[i] == u'#')) {
                if (line[i] == u'#') {
                    qsizetype j = ++i;
                    while (j < n && line[j].isDigit())
                        ++j;
                    bool ok = false;
                    const uint code = QStringView(line).mid(i, j - i).toUInt(&ok);
                    if (!ok || code > 0xFFFF)
                        Malformed(QStringLiteral("ungültiger Zeichencode"));
                    t.Text += QChar(char16_t(code));
                    i = j;
                    continue;
                }
                ++i;   // opening quote
                for (;;) {
                    if (i >= n)
                        Malformed(QStringLiteral("Text ohne schließendes Hochkomma"));
                    if (line[i] == u'\'') {
                        if (i + 1 < n && line[i + 1] == u'\'') {
                            t.Text += u'\'';
                            i += 2;
                            continue;
                        }
                        ++i;
                        break;
                    }
                    t.Text += line[i++];
                }
            }
        } else {
            while (i < n && !line[i].isSpace())
                t.Text += line[i++];
        }
        out.append(t);
    }
    return out;
}

int IntField(const TToken& t, const char* name)
{
    bool ok = false;
    const int v = t.Text.toInt(&ok);
    if (!ok || t.Quoted)
        Malformed(QStringLiteral("%1 ist keine Zahl: %2").arg(QLatin1String(name), t.Text));
    return v;
}

bool BoolField(const TToken& t)
{
    if (!t.Quoted && t.Text.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0)
        return true;
    if (!t.Quoted && t.Text.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0)
        return false;
    Malformed(QStringLiteral("True oder False erwartet: %1").arg(t.Text));
}

QString Quote(const QString& text)
{
    QString out;
    bool open = false;
    for (QChar c : text) {
        if (c.unicode() < 32) {
            if (open)
                out += u'\'';
            open = false;
            out += u'#' + QString::number(c.unicode());
            continue;
        }
        if (!open)
            out += u'\'';
        open = true;
        out += c == u'\'' ? QStringLiteral("''") : QString(c);
    }
    if (open)
        out += u'\'';
    return out.isEmpty() ? QStringLiteral("''") : out;
}

// Stored colours may carry the system-colour mark in the whole top byte.
QColor KeyColor(TColor color)
{
    if ((static_cast<std::uint32_t>(color) >> 24) == 0xFF)
        color = clSystemColor | (color & 0xFF);
    return ColorToQColor(color);
}

TKey KeyOfType(TKeyType type)
{
    TKey key;
    key.KeyType = type;
    return key;
}

bool IsModifier(TKeyType type)
{
    return type == ktShift || type == ktCapsLock || type == ktAltGr;
}
}

// ---- TKeyCollection ----

TKey TKeyCollection::LineToKey(const QString& line)
{
    const QList<TToken> t = Tokens(line);
    if (t.size() != 17)
        Malformed(QStringLiteral("17 Angaben erwartet, %1 gefunden").arg(t.size()));
    TKey k;
    const int type = IntField(t[0], "Tastenart");
    if (type < ktCharacter || type > ktBackspace)
        Malformed(QStringLiteral("unbekannte Tastenart %1").arg(type));
    k.KeyType = TKeyType(type);
    for (int level = 0; level < 3; ++level) {
        k.Text[level] = t[1 + level].Text;
        k.Value[level] = t[4 + level].Text;
    }
    k.Left = IntField(t[7], "Links");
    k.Top = IntField(t[8], "Oben");
    k.Width = IntField(t[9], "Breite");
    k.Height = IntField(t[10], "Höhe");
    if (k.Left < 0 || k.Top < 0 || k.Width <= 0 || k.Height <= 0)
        Malformed(QStringLiteral("Lage oder Größe ungültig"));
    k.Visible = BoolField(t[11]);
    k.Enabled = BoolField(t[12]);
    k.FontName = t[13].Text;
    k.FontSize = IntField(t[14], "Schriftgröße");
    k.FontColor = TColor(IntField(t[15], "Schriftfarbe"));
    k.Margin = IntField(t[16], "Rand");
    return k;
}

QString TKeyCollection::KeyToLine(const TKey& k)
{
    QStringList parts{QString::number(int(k.KeyType))};
    for (const QString& s : k.Text)
        parts << Quote(s);
    for (const QString& s : k.Value)
        parts << Quote(s);
    parts << QString::number(k.Left) << QString::number(k.Top) << QString::number(k.Width)
          << QString::number(k.Height) << (k.Visible ? QStringLiteral("True") : QStringLiteral("False"))
          << (k.Enabled ? QStringLiteral("True") : QStringLiteral("False")) << Quote(k.FontName)
          << QString::number(k.FontSize) << QString::number(k.FontColor) << QString::number(k.Margin);
    return parts.join(u' ');
}

void TKeyCollection::LoadFromText(const QString& text, const QString& origin)
{
    QList<TKey> keys;
    const QStringList lines = text.split(u'\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString line = lines[i].trimmed();
        if (line.isEmpty() || line.startsWith(u';') || line.startsWith(QLatin1String("//")))
            continue;
        try {
            keys.append(LineToKey(line));
        } catch (const Exception& e) {
            throw Exception(QStringLiteral("Tastaturlayout %1, Zeile %2: %3").arg(origin).arg(i + 1).arg(e.Message()));
        }
    }
    if (keys.isEmpty())
        throw Exception(QStringLiteral("Tastaturlayout %1 enthält keine Tasten").arg(origin));
    Items = keys;
}

void TKeyCollection::LoadFromFile(const QString& fileName)
{
    QFile f(fileName);
    if (!f.exists())
        throw Exception(QStringLiteral("Tastaturlayout %1 nicht gefunden").arg(fileName));
    if (!f.open(QIODevice::ReadOnly))
        throw Exception(QStringLiteral("Tastaturlayout %1 kann nicht gelesen werden: %2").arg(fileName, f.errorString()));
    QStringDecoder decode("windows-1252");
    LoadFromText(decode(f.readAll()), fileName);
}

int TKeyCollection::IndexOfChar(const QString& character, TKeyLevel level) const
{
    for (qsizetype i = 0; i < Items.size(); ++i)
        if (Items[i].KeyType == ktCharacter && Items[i].Visible &&
            Items[i].TextAt(level).compare(character, Qt::CaseInsensitive) == 0)
            return int(i);
    return -1;
}

QSize TKeyCollection::Extent() const
{
    QSize s(0, 0);
    for (const TKey& k : Items)
        if (k.Visible)
            s = s.expandedTo(QSize(k.Left + k.Width, k.Top + k.Height));
    return s;
}

// ---- TKeyControl ----

TKeyControl::TKeyControl(const TKey& key, int index, QWidget* parent)
    : QToolButton(parent), fKey(key), fIndex(index)
{
    setFocusPolicy(Qt::NoFocus);   // key presses go to the keyboard window, not to one key
    setAutoRaise(false);
    QFont f = font();
    if (!key.FontName.isEmpty())
        f.setFamily(key.FontName);
    if (key.FontSize > 0)
        f.setPointSize(key.FontSize);
    setFont(f);
    QPalette pal = palette();
    pal.setColor(QPalette::ButtonText, KeyColor(key.FontColor));
    setPalette(pal);
    setEnabled(key.Enabled);
    setVisible(key.Visible);
    ShowLevel(klNormal);
}

void TKeyControl::ShowLevel(TKeyLevel level)
{
    // "&" would become a mnemonic on a button.
    QString text = fKey.TextAt(level);
    setText(text.replace(u'&', QLatin1String("&&")));
}

void TKeyControl::SetHighlighted(bool on, const QColor& color)
{
    setAutoFillBackground(on);
    QPalette pal = palette();
    pal.setColor(QPalette::Button, on ? color : QApplication::palette().color(QPalette::Button));
    setPalette(pal);
}

// ---- TKeyboard ----

TKeyboard::TKeyboard(QWidget* parent) : QWidget(parent) {}

void TKeyboard::SetKeys(const TKeyCollection& keys)
{
    qDeleteAll(fControls);
    fControls.clear();
    fKeys = keys;
    for (qsizetype i = 0; i < fKeys.Items.size(); ++i) {
        auto* c = new TKeyControl(fKeys.Items[i], int(i), this);
        connect(c, &QToolButton::clicked, this, [this, i] { PressKey(int(i)); });
        fControls.append(c);
    }
    LayoutKeys();
    UpdateKeys();
}

void TKeyboard::SetShiftState(bool value)
{
    if (value == fShift)
        return;
    fShift = value;
    UpdateKeys();
    if (OnShiftStateChange)
        OnShiftStateChange(this);
}

void TKeyboard::SetCapsState(bool value)
{
    if (value == fCaps)
        return;
    fCaps = value;
    UpdateKeys();
    if (OnCapsStateChange)
        OnCapsStateChange(this);
}

void TKeyboard::SetAltGrState(bool value)
{
    if (value == fAltGr)
        return;
    fAltGr = value;
    UpdateKeys();
    if (OnAltGrStateChange)
        OnAltGrStateChange(this);
}

void TKeyboard::PressKey(int index)
{
    if (index < 0 || index >= fKeys.Items.size())
        return;
    const TKey key = fKeys.Items[index];   // a copy: a handler may load another layout
    if (!key.Enabled)
        return;
    if (BeepOnKeyPressed)
        QApplication::beep();
    switch (key.KeyType) {
    case ktShift: SetShiftState(!fShift); return;
    case ktAltGr: SetAltGrState(!fAltGr); return;
    case ktCapsLock: SetCapsState(!fCaps); return;
    default: break;
    }
    QString text = key.ValueAt(KeyLevel());
    if (CharCase == ecUpperCase)
        text = text.toUpper();
    else if (CharCase == ecLowerCase)
        text = text.toLower();
    QPointer<TKeyboard> self(this);
    if (OnKey)
        OnKey(this, key, text);
    if (!self)
        return;   // the handler closed the keyboard
    Deliver(key, text);
    if (fShift && !fCaps)
        SetShiftState(false);
    SetAltGrState(false);
}

void TKeyboard::Deliver(const TKey& key, const QString& text)
{
    // Enter, escape and backspace act through the keyboard's owner (OnKey); only
    // characters and the tab go to the linked control, lest they act twice.
    if (!fLinked || (key.KeyType != ktCharacter && key.KeyType != ktTab))
        return;
    if (key.KeyType == ktTab) {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Tab, Qt::NoModifier);
        QCoreApplication::sendEvent(fLinked, &press);
        return;
    }
    if (auto* edit = qobject_cast<QLineEdit*>(fLinked.data())) {
        if (!edit->isReadOnly())
            edit->insert(text);
        return;
    }
    QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, text);
    QKeyEvent release(QEvent::KeyRelease, 0, Qt::NoModifier, text);
    QCoreApplication::sendEvent(fLinked, &press);
    QCoreApplication::sendEvent(fLinked, &release);
}

void TKeyboard::UpdateKeys()
{
    const QColor highlight = ColorToQColor(HighlightColor);
    for (TKeyControl* c : fControls) {
        c->ShowLevel(KeyLevel());
        const TKeyType t = c->Key().KeyType;
        if (IsModifier(t))
            c->SetHighlighted((t == ktShift && fShift) || (t == ktCapsLock && fCaps) || (t == ktAltGr && fAltGr),
                              highlight);
    }
}

void TKeyboard::LayoutKeys()
{
    const QSize extent = fKeys.Extent();
    if (extent.isEmpty())
        return;
    const double sx = double(width()) / extent.width();
    const double sy = double(height()) / extent.height();
    for (TKeyControl* c : fControls) {
        const TKey& k = c->Key();
        const QRect cell(int(k.Left * sx), int(k.Top * sy), int((k.Left + k.Width) * sx) - int(k.Left * sx),
                         int((k.Top + k.Height) * sy) - int(k.Top * sy));
        const int m = std::max(0, k.Margin);
        c->setGeometry(cell.adjusted(m, m, -m, -m));
    }
}

void TKeyboard::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    LayoutKeys();
}

// ---- TFoKb ----

TFoKb::TFoKb(QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      KB(new TKeyboard(this)),
      Hinweis(new QLabel(this))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setAutoFillBackground(true);
    QPalette pal = palette();
    pal.setColor(QPalette::Window, ColorToQColor(clBlue));
    setPalette(pal);
    QPalette hintPal = Hinweis->palette();
    hintPal.setColor(QPalette::WindowText, Qt::white);
    Hinweis->setPalette(hintPal);
    Hinweis->hide();
    KB->HighlightColor = clRed;
    KB->BeepOnKeyPressed = true;
    KB->OnKey = [this](TKeyboard* sender, const TKey& key, const QString& text) { KBKey(sender, key, text); };
    resize(kDesignWidth, kDesignHeight);
    KB->setGeometry(2, 2, width() - 4, height() - 4);
}

void TFoKb::LoadLayout()
{
    TKeyCollection keys;
    keys.LoadFromFile(LayoutFile);
    KB->SetKeys(keys);
}

void TFoKb::SetHint(const QString& text)
{
    if (text.trimmed().isEmpty()) {
        Hinweis->hide();
        KB->move(2, 2);
        resize(width(), KB->height() + 2);
        return;
    }
    Hinweis->setText(u' ' + text.trimmed());
    Hinweis->setGeometry(2, 2, width() - 4, Hinweis->sizeHint().height());
    Hinweis->show();
    KB->move(2, Hinweis->geometry().bottom() + 3);
    resize(width(), KB->y() + KB->height());
}

void TFoKb::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    KB->resize(width() - 4, KB->height());
    Hinweis->resize(width() - 4, Hinweis->height());
}

void TFoKb::ClickButtonOfLinkedForm(const char* name)
{
    QWidget* linked = KB->LinkedControl();
    if (!linked)
        return;
    if (auto* button = linked->window()->findChild<QAbstractButton*>(QLatin1String(name)))
        if (button->isVisible() && button->isEnabled())
            button->click();
}

void TFoKb::BackspaceLinked()
{
    if (auto* edit = qobject_cast<QLineEdit*>(KB->LinkedControl())) {
        QString text = edit->text();
        text.chop(1);
        edit->setText(text);
        edit->setCursorPosition(int(text.size()));
    }
}

void TFoKb::KBKey(TKeyboard*, const TKey& key, const QString&)
{
    QPointer<QWidget> linked = KB->LinkedControl();
    switch (key.KeyType) {
    case ktEscape:
        ClickButtonOfLinkedForm("ESCBtn");
        if (auto* edit = qobject_cast<QLineEdit*>(linked.data()))
            edit->clear();
        close();
        break;
    case ktEnter:
        ClickButtonOfLinkedForm("OKBtn");
        KB->SetLinkedControl(nullptr);
        close();
        break;
    case ktBackspace: BackspaceLinked(); break;
    default: break;
    }
}

void TFoKb::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Backspace: KBKey(KB, KeyOfType(ktBackspace), {}); return;
    case Qt::Key_Return:
    case Qt::Key_Enter: KBKey(KB, KeyOfType(ktEnter), {}); return;
    case Qt::Key_Escape: KBKey(KB, KeyOfType(ktEscape), {}); return;
    default: break;
    }
    const QString text = event->text().toUpper();
    if (text.isEmpty()) {
        QWidget::keyPressEvent(event);
        return;
    }
    const int index = KB->Keys().IndexOfChar(text, KB->KeyLevel());
    if (index >= 0)
        KB->PressKey(index);
}

// ---- Entries ----

namespace {
void ShowKeyboard(bool first, const QString& layoutName, QWidget* control, int left, int top, const QString& hint)
{
    if (!KeyboardEnabled || layoutName.isEmpty() || !control)
        return;
    if (FoKb)
        FoKb->close();   // deletes itself
    // A window of the control's own window, so that a modal dialog does not block it.
    auto* form = new TFoKb(control->window());
    form->LayoutFile = Resourcepath + u'/' + layoutName;
    try {
        form->LoadLayout();
    } catch (...) {
        delete form;
        throw;
    }
    const int w = ReadIniInteger(QStringLiteral("KeyboardLayouts"), layoutName + QStringLiteral(".breite"), form->width());
    const int h = ReadIniInteger(QStringLiteral("KeyboardLayouts"), layoutName + QStringLiteral(".hoehe"), form->height());
    form->resize(w, h);
    form->KB->setGeometry(2, 2, w - 4, h - 4);
    form->KB->SetLinkedControl(control);
    form->SetHint(hint);

    const QScreen* screen = control->screen() ? control->screen() : QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->geometry() : QRect(0, 0, 1024, 768);
    int y = top + 2;
    if (y + form->height() > area.bottom() + 1)
        y = top - form->height() - 2 - (first ? control->height() : 0);
    int x = left;
    if (first) {
        if (y < 0)
            y = 0;
        if (x + form->width() > area.right() + 1)
            x = area.right() + 1 - form->width();
    }
    form->move(x, y);
    FoKb = form;
    form->show();
}
}

void ShowFirstKeyboard(QWidget* anchor, int left, int top, const QString& hint)
{
    ShowKeyboard(true, FirstLayoutName, anchor, left, top, hint);
}

void ShowSecondKeyboard(QWidget* linked, int left, int top, const QString& hint)
{
    ShowKeyboard(false, SecondLayoutName, linked, left, top, hint);
}

void CloseKeyboard()
{
    if (!KeyboardEnabled)
        return;
    if (FoKb)
        FoKb->close();
}
