#pragma once
// The on-screen keyboard of touch-screen stations: a window of key buttons that types
// into a linked edit. It works only while KeyboardEnabled is set; the program's
// settings switch it off, and then every entry below returns at once, so the input
// dialog's calls cost nothing.
//
// Layout files (Resourcepath/<layout name>) hold one key per line, fields separated by
// blanks, texts in single quotes ('' for a quote itself, #13 for a character by code,
// parts written side by side are joined):
//   type  normal shift alt-gr texts  normal shift alt-gr values  left top width height
//   visible enabled  'font name' font-size font-colour margin
// for example the key "9":
//   0 '9' ')' ']' '9' ')' ']' 86 4 8 8 True True 'Lucida Sans Unicode' 14 -16777208 1
// Positions and sizes are grid units: the keyboard stretches the grid over its own
// size. "visible" false leaves the key out, "enabled" false shows it without taking
// presses; margin is the free space in pixels round the key. Empty lines and lines
// starting with ";" or "//" are remarks. An empty value sends the text.

#include "frame/ZELBase.h"

#include <QLabel>
#include <QList>
#include <QPointer>
#include <QString>
#include <QToolButton>
#include <QWidget>
#include <array>
#include <functional>

// Key types as stored.
enum TKeyType { ktCharacter = 0, ktShift = 1, ktCapsLock = 2, ktEscape = 3, ktAltGr = 4, ktEnter = 5, ktTab = 6,
                ktBackspace = 7 };
enum TKeyLevel { klNormal = 0, klShift = 1, klAltGr = 2 };
enum TEditCharCase { ecNormal, ecUpperCase, ecLowerCase };

struct TKey {
    TKeyType KeyType = ktCharacter;
    std::array<QString, 3> Text;    // by TKeyLevel
    std::array<QString, 3> Value;   // what is typed; empty: the text
    int Left = 0, Top = 0, Width = 8, Height = 8;
    bool Visible = true;
    bool Enabled = true;
    QString FontName;
    int FontSize = 14;
    TColor FontColor = clWindowText;
    int Margin = 1;

    QString TextAt(TKeyLevel level) const { return Text[level]; }
    QString ValueAt(TKeyLevel level) const { return Value[level].isEmpty() ? Text[level] : Value[level]; }
};

// The keys of one layout, in stored order.
class TKeyCollection {
public:
    QList<TKey> Items;

    // Raises Exception with a German text for a missing file or a malformed line.
    void LoadFromFile(const QString& fileName);
    void LoadFromText(const QString& text, const QString& origin);
    // The stored form of one key.
    static QString KeyToLine(const TKey& key);
    // Parses one stored line; raises Exception naming what is wrong.
    static TKey LineToKey(const QString& line);
    // The key that shows the character at the level, without regard to case; -1 for none.
    int IndexOfChar(const QString& character, TKeyLevel level) const;
    // Right and bottom edge of the visible keys in grid units.
    QSize Extent() const;
};

// The button of one key.
class TKeyControl : public QToolButton {
public:
    TKeyControl(const TKey& key, int index, QWidget* parent);
    const TKey& Key() const { return fKey; }
    int Index() const { return fIndex; }
    void ShowLevel(TKeyLevel level);
    void SetHighlighted(bool on, const QColor& color);

private:
    TKey fKey;
    int fIndex;
};

class TKeyboard : public QWidget {
public:
    explicit TKeyboard(QWidget* parent = nullptr);

    TEditCharCase CharCase = ecNormal;
    bool BeepOnKeyPressed = false;
    TColor HighlightColor = clRed;

    QWidget* LinkedControl() const { return fLinked; }
    void SetLinkedControl(QWidget* value) { fLinked = value; }
    bool ShiftState() const { return fShift; }
    void SetShiftState(bool value);
    bool CapsState() const { return fCaps; }
    void SetCapsState(bool value);
    bool AltGrState() const { return fAltGr; }
    void SetAltGrState(bool value);
    // Alt-gr before shift: with caps lock the shift level is on as well.
    TKeyLevel KeyLevel() const { return fAltGr ? klAltGr : (fShift || fCaps) ? klShift : klNormal; }
    const TKeyCollection& Keys() const { return fKeys; }
    void SetKeys(const TKeyCollection& keys);
    TKeyControl* KeyControl(int index) const { return fControls.value(index); }

    // A press of the key with this index, as by a click on it.
    void PressKey(int index);

    std::function<void(TKeyboard* sender, const TKey& key, const QString& text)> OnKey;
    std::function<void(TKeyboard* sender)> OnShiftStateChange, OnCapsStateChange, OnAltGrStateChange;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void Deliver(const TKey& key, const QString& text);
    void UpdateKeys();
    void LayoutKeys();

    TKeyCollection fKeys;
    QList<TKeyControl*> fControls;
    QPointer<QWidget> fLinked;
    bool fShift = false, fCaps = false, fAltGr = false;
};

// The keyboard window: no border, on top, blue, a hint line above the keys.
class TFoKb : public QWidget {
public:
    explicit TFoKb(QWidget* parent = nullptr);

    TKeyboard* KB;
    QLabel* Hinweis;
    QString LayoutFile;

    // Reads LayoutFile into KB; raises Exception when it is missing or malformed.
    void LoadLayout();
    // Empty hides the hint line; a text shows it with one blank in front.
    void SetHint(const QString& text);
    void KBKey(TKeyboard* sender, const TKey& key, const QString& text);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void ClickButtonOfLinkedForm(const char* name);
    void BackspaceLinked();
};

extern bool KeyboardEnabled;
extern QString FirstLayoutName;
extern QString SecondLayoutName;
// The open keyboard, or none.
extern QPointer<TFoKb> FoKb;

// Opens the keyboard with the first layout under anchor (which it types into),
// placed 2 below top: above instead when it would reach past the screen bottom.
// Raises Exception when the layout cannot be read.
void ShowFirstKeyboard(QWidget* anchor, int left, int top, const QString& hint);
// The same with the second layout.
void ShowSecondKeyboard(QWidget* linked, int left, int top, const QString& hint);
void CloseKeyboard();
