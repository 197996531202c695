#include "chart/TeeGDIPlus.h"

TGDIPlusCanvas::TGDIPlusCanvas()
{
    fAntiAlias = true;
    fAntiAliasText = true;
}

void TGDIPlusCanvas::FastLineMode(bool on)
{
    TTeeCanvas3D::FastLineMode(on);
    SetAntiAlias(!on);
}

void TTeeGDIPlus::ApplyTo(TGDIPlusCanvas& canvas) const
{
    if (!Active)
        return;
    canvas.SetAntiAlias(AntiAlias);
    canvas.SetAntiAliasText(AntiAliasText);
    canvas.SetScale(Scale);
}

std::unique_ptr<TCanvas3D> CreateCanvasByName(const QString& className)
{
    if (className == QLatin1String("TGDIPlusCanvas"))
        return std::make_unique<TGDIPlusCanvas>();
    return std::make_unique<TTeeCanvas3D>();
}
