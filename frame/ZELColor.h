#pragma once
// The program's colour values as the painter's colours and back; the system
// colours become the palette shades that play the same part.

#include "frame/ZELBase.h"

#include <QColor>

QColor ColorToQColor(TColor color);
TColor QColorToColor(const QColor& color);
