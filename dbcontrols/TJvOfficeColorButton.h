#pragma once
// A button that shows a colour. Its drop-down holds a palette of the standard
// colours and "Andere Farben...", which opens the colour dialog. OnColorChange
// follows every change of SelectedColor, the program's own included.

#include "frame/ZELBase.h"

#include <QToolButton>
#include <functional>

class QMenu;

class TJvOfficeColorButton : public QToolButton {
    Q_OBJECT
public:
    explicit TJvOfficeColorButton(QWidget* parent = nullptr);

    TColor SelectedColor() const { return fColor; }
    void SetSelectedColor(TColor value);
    // The colours of the palette, in rows of eight.
    static const QList<TColor>& PaletteColors();

    std::function<void(QObject* sender)> OnColorChange;

signals:
    void ColorChange(TColor color);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void BuildMenu();
    void ChooseOther();
    TColor fColor = clBlack;
    QMenu* fMenu = nullptr;
};
