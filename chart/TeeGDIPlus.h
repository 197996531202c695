#pragma once
// The smoothing canvas: the same QPainter drawing as TTeeCanvas3D with
// antialiased lines and text, and a component that tunes it per chart.

#include "chart/TeCanvas.h"

class TGDIPlusCanvas : public TTeeCanvas3D {
public:
    TGDIPlusCanvas();
    double Scale() const { return fScale; }
    void SetScale(double v) { fScale = v; }
    // Fast line mode passes its inverse to the smoothing: lines are drawn plain in between.
    void FastLineMode(bool on) override;

private:
    double fScale = 1.0;
};

// Per-chart settings of the smoothing canvas; applied by the chart before a paint.
class TTeeGDIPlus {
public:
    bool Active = true;
    bool AntiAlias = true;
    bool AntiAliasText = true;
    double Scale = 1.0;
    void ApplyTo(TGDIPlusCanvas& canvas) const;
};

// The canvas class a chart asks for by name; unknown names get the plain canvas.
std::unique_ptr<TCanvas3D> CreateCanvasByName(const QString& className);
