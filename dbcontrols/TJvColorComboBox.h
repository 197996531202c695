#pragma once
// A drop-down of colours: the sixteen standard colours by their German names, the
// colours of the program that are none of them ("custom colours"), and last
// "Andere...", which opens the colour dialog. OnChange follows every change of
// ColorValue, the program's own included.

#include "frame/ZELBase.h"

#include <QComboBox>
#include <functional>

class TJvColorComboBox : public QComboBox {
    Q_OBJECT
public:
    explicit TJvColorComboBox(QWidget* parent = nullptr);

    TColor ColorValue() const { return fColor; }
    // A colour that the list lacks is added before "Andere..." when custom colours
    // are on; otherwise the box shows no item for it but keeps the value.
    void SetColorValue(TColor value);
    bool AllowCustomColors() const { return fCustom; }
    void SetAllowCustomColors(bool value) { fCustom = value; }
    QString OtherCaption() const { return fOther; }
    // The colours shown, in list order, without "Andere...".
    QList<TColor> Colors() const;
    // Caption of a standard colour, or the hex notation of another one.
    static QString ColorName(TColor color);

    std::function<void(QObject* sender)> OnChange;

    // Opens the colour dialog; a hook so that tests can answer without a window.
    std::function<bool(TColor& color)> ChooseColor;

private:
    void Activated(int index);
    int IndexOf(TColor color) const;
    int AddColor(TColor color, int at);
    void ShowCurrent();

    TColor fColor = clBlack;
    bool fCustom = true;
    bool fFilling = false;
    QString fOther = QStringLiteral("Andere...");
};
