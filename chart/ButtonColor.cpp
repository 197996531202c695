#include "chart/ButtonColor.h"

#include "chart/TeeTranslate.h"

#include <QColorDialog>
#include <QPixmap>

TButtonColor::TButtonColor(const QString& caption, QWidget* parent) : QPushButton(caption, parent)
{
    connect(this, &QPushButton::clicked, this, &TButtonColor::Pick);
}

void TButtonColor::SetColor(const QColor& c, bool notify)
{
    fColor = c;
    QPixmap swatch(16, 16);
    swatch.fill(c);
    setIcon(QIcon(swatch));
    if (notify && OnChange)
        OnChange(c);
}

void TButtonColor::Pick()
{
    const QColor c = QColorDialog::getColor(fColor, this, TeeMsg(QStringLiteral("Color")));
    if (c.isValid())
        SetColor(c, true);
}
