#include "dbcontrols/TJvColorComboBox.h"

#include "frame/ZELColor.h"

#include <QColorDialog>
#include <QPainter>
#include <QPixmap>

namespace {
struct TNamedColor {
    TColor Color;
    const char* Name;
};
const TNamedColor StandardColors[] = {
    {clBlack, "Schwarz"},   {clMaroon, "Kastanienbraun"}, {clGreen, "Grün"},     {clOlive, "Oliv"},
    {clNavy, "Marineblau"}, {clPurple, "Violett"},        {clTeal, "Blaugrün"},  {clGray, "Grau"},
    {clSilver, "Silber"},   {clRed, "Rot"},               {clLime, "Hellgrün"},  {clYellow, "Gelb"},
    {clBlue, "Blau"},       {clFuchsia, "Pink"},          {clAqua, "Türkis"},    {clWhite, "Weiß"},
};

QIcon Swatch(TColor color)
{
    QPixmap pm(16, 12);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setPen(QColor(96, 96, 96));
    p.setBrush(ColorToQColor(color));
    p.drawRect(0, 0, 15, 11);
    return QIcon(pm);
}
}

TJvColorComboBox::TJvColorComboBox(QWidget* parent) : QComboBox(parent)
{
    fFilling = true;
    for (const TNamedColor& c : StandardColors)
        AddColor(c.Color, count());
    addItem(fOther);
    fFilling = false;
    ShowCurrent();
    ChooseColor = [this](TColor& color) {
        const QColor chosen = QColorDialog::getColor(ColorToQColor(color), this, QStringLiteral("Farbe"));
        if (!chosen.isValid())
            return false;
        color = QColorToColor(chosen);
        return true;
    };
    connect(this, &QComboBox::activated, this, &TJvColorComboBox::Activated);
}

QString TJvColorComboBox::ColorName(TColor color)
{
    for (const TNamedColor& c : StandardColors)
        if (c.Color == color)
            return QString::fromUtf8(c.Name);
    return ColorToQColor(color).name().toUpper();
}

QList<TColor> TJvColorComboBox::Colors() const
{
    QList<TColor> list;
    for (int i = 0; i < count() - 1; ++i)
        list << itemData(i).toInt();
    return list;
}

int TJvColorComboBox::IndexOf(TColor color) const
{
    for (int i = 0; i < count() - 1; ++i)
        if (itemData(i).toInt() == color)
            return i;
    return -1;
}

int TJvColorComboBox::AddColor(TColor color, int at)
{
    insertItem(at, Swatch(color), ColorName(color), QVariant(static_cast<int>(color)));
    return at;
}

void TJvColorComboBox::ShowCurrent()
{
    const bool filling = fFilling;
    fFilling = true;
    int index = IndexOf(fColor);
    if (index < 0 && fCustom)
        index = AddColor(fColor, count() - 1);
    setCurrentIndex(index);
    fFilling = filling;
}

void TJvColorComboBox::SetColorValue(TColor value)
{
    if (value == fColor)
        return;
    fColor = value;
    ShowCurrent();
    if (OnChange)
        OnChange(this);
}

void TJvColorComboBox::Activated(int index)
{
    if (fFilling)
        return;
    if (index == count() - 1) {
        TColor chosen = fColor;
        const bool ok = ChooseColor && ChooseColor(chosen);
        // Cancelled: the box goes back to the colour it had.
        if (!ok || chosen == fColor) {
            ShowCurrent();
            return;
        }
        SetColorValue(chosen);
        return;
    }
    SetColorValue(itemData(index).toInt());
}
