#include "frame/ZELColor.h"

#include <cstdint>

QColor ColorToQColor(TColor color)
{
    // System colours map onto the palette roles that play the same part.
    switch (color) {
    case clBtnFace: return QColor(240, 240, 240);
    case clWindow: return QColor(255, 255, 255);
    case clWindowText: return QColor(0, 0, 0);
    case clHighlight: return QColor(0, 120, 215);
    case clBtnShadow: return QColor(160, 160, 160);
    case clInfoBk: return QColor(255, 255, 225);
    default: break;
    }
    const auto c = static_cast<std::uint32_t>(color);
    return QColor(int(c & 0xFF), int((c >> 8) & 0xFF), int((c >> 16) & 0xFF));
}

TColor QColorToColor(const QColor& color)
{
    return TColor(color.red() | (color.green() << 8) | (color.blue() << 16));
}
