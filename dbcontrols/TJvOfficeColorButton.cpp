#include "dbcontrols/TJvOfficeColorButton.h"

#include "frame/ZELColor.h"

#include <QColorDialog>
#include <QGridLayout>
#include <QMenu>
#include <QPainter>
#include <QWidgetAction>

const QList<TColor>& TJvOfficeColorButton::PaletteColors()
{
    static const QList<TColor> colors = {
        clBlack,  clMaroon, clGreen,  clOlive,   clNavy,  clPurple,     clTeal,    clGray,
        clSilver, clRed,    clLime,   clYellow,  clBlue,  clFuchsia,    clAqua,    clWhite,
        0x003399, 0x0080FF, 0x00CC99, 0x99CC00,  0xCC9933, 0xFF6666,    0x9900CC,  0x666666,
        0x99CCFF, 0xCCFFFF, 0xCCFFCC, 0xFFFFCC,  0xFFCC99, clMoneyGreen, clSkyBlue, clCream,
    };
    return colors;
}

TJvOfficeColorButton::TJvOfficeColorButton(QWidget* parent) : QToolButton(parent)
{
    setPopupMode(QToolButton::InstantPopup);
    setToolButtonStyle(Qt::ToolButtonIconOnly);
    setFixedSize(60, 22);
    BuildMenu();
}

void TJvOfficeColorButton::SetSelectedColor(TColor value)
{
    if (fColor == value)
        return;
    fColor = value;
    setToolTip(ColorToString(value));
    update();
    if (OnColorChange)
        OnColorChange(this);
    emit ColorChange(value);
}

void TJvOfficeColorButton::BuildMenu()
{
    fMenu = new QMenu(this);
    auto* grid = new QWidget(fMenu);
    auto* layout = new QGridLayout(grid);
    layout->setSpacing(2);
    layout->setContentsMargins(4, 4, 4, 4);
    const QList<TColor>& colors = PaletteColors();
    for (int i = 0; i < colors.size(); ++i) {
        const TColor color = colors[i];
        auto* cell = new QToolButton(grid);
        cell->setFixedSize(18, 18);
        cell->setAutoRaise(true);
        cell->setToolTip(ColorToString(color));
        cell->setStyleSheet(QStringLiteral("QToolButton { background: %1; border: 1px solid #808080; }")
                                .arg(ColorToQColor(color).name()));
        connect(cell, &QToolButton::clicked, this, [this, color] {
            fMenu->close();
            SetSelectedColor(color);
        });
        layout->addWidget(cell, i / 8, i % 8);
    }
    auto* action = new QWidgetAction(fMenu);
    action->setDefaultWidget(grid);
    fMenu->addAction(action);
    fMenu->addSeparator();
    fMenu->addAction(QStringLiteral("Andere Farben..."), this, &TJvOfficeColorButton::ChooseOther);
    setMenu(fMenu);
}

void TJvOfficeColorButton::ChooseOther()
{
    const QColor chosen = QColorDialog::getColor(ColorToQColor(fColor), this, QStringLiteral("Farbe"));
    if (chosen.isValid())
        SetSelectedColor(QColorToColor(chosen));
}

void TJvOfficeColorButton::paintEvent(QPaintEvent* event)
{
    QToolButton::paintEvent(event);
    // The colour swatch fills the button left of the drop-down indicator.
    const QRect swatch = rect().adjusted(5, 5, -17, -5);
    QPainter painter(this);
    painter.setPen(isEnabled() ? QColor(64, 64, 64) : QColor(160, 160, 160));
    painter.setBrush(isEnabled() ? ColorToQColor(fColor) : palette().color(QPalette::Button));
    painter.drawRect(swatch.adjusted(0, 0, -1, -1));
}
