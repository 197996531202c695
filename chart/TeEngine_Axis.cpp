// Axes: range, value-pixel mapping, label steps, layout and drawing.
#include "chart/TeEngine.h"
#include "chart/TeeTranslate.h"

#include <QFontMetrics>
#include <algorithm>
#include <climits>
#include <cmath>
#include <numbers>

namespace {

constexpr double kSecond = 1.0 / 86400.0;
constexpr double kMinute = 1.0 / 1440.0;
constexpr double kHour = 1.0 / 24.0;

} // namespace

const double DateTimeStep[NumDateTimeSteps] = {
    kSecond / 1000000.0, kSecond / 1000.0, kSecond, 5 * kSecond, 10 * kSecond, 15 * kSecond, 30 * kSecond,
    kMinute, 5 * kMinute, 10 * kMinute, 15 * kMinute, 30 * kMinute,
    kHour, 2 * kHour, 6 * kHour, 12 * kHour,
    1, 2, 3, 7, 15, 30, 60, 90, 120, 182, 365};

double NextDateTimeStep(double x)
{
    for (int i = NumDateTimeSteps - 2; i >= 0; --i)
        if (DateTimeStep[i] <= x)
            return DateTimeStep[i + 1];
    return 365;
}

int FindDateTimeStep(double step)
{
    for (int i = 0; i < NumDateTimeSteps; ++i)
        if (std::abs(DateTimeStep[i] - step) <= DateTimeStep[i] * 1e-9)
            return i;
    return NumDateTimeSteps;
}

double NextStep(double x)
{
    if (std::isinf(x) || !(x > 0))
        return 1;   // zero, negative or not a number would never reach the ladder
    if (x >= 10)
        return 10 * NextStep(0.1 * x);
    if (x < 1)
        return 0.1 * NextStep(10 * x);
    if (x < 2)
        return 2;
    if (x < 5)
        return 5;
    return 10;
}

// ================================================================ TChartAxis

TChartAxis::TChartAxis(TCustomAxisPanel* chart, bool horizontal, bool otherSide)
    : fParentChart(chart), fHorizontal(horizontal), fOtherSide(otherSide)
{
    auto changed = [this] { Changed(); };
    fAxisPen.OnChange = changed;
    fGrid.OnChange = changed;
    fMinorGrid.OnChange = changed;
    fTicks.OnChange = changed;
    fTicksInner.OnChange = changed;
    fMinorTicks.OnChange = changed;
    fLabels.Font.OnChange = changed;
    fTitle.OnChange = changed;
    fTitle.Font().OnChange = changed;
    RecalcRange();
}

TChartAxis::~TChartAxis() = default;

void TChartAxis::Changed()
{
    if (fParentChart)
        fParentChart->Invalidate();
}

// ---------------------------------------------------------------- setters

void TChartAxis::SetAutomatic(bool v)
{
    fAutomatic = v;
    fAutomaticMinimum = v;
    fAutomaticMaximum = v;
    Changed();
}

void TChartAxis::SetMinimum(double v)
{
    if (!(fParentChart && fParentChart->Loading()) && v > fMaximum)
        throw AxisException(TeeMsg_AxisMinMax);
    if (v != fMinimum) {
        fMinimum = v;
        Changed();
    }
}

void TChartAxis::SetMaximum(double v)
{
    if (!(fParentChart && fParentChart->Loading()) && v < fMinimum)
        throw AxisException(TeeMsg_AxisMaxMin);
    if (v != fMaximum) {
        fMaximum = v;
        Changed();
    }
}

void TChartAxis::SetMinMax(double min, double max)
{
    fAutomatic = fAutomaticMinimum = fAutomaticMaximum = false;
    if (min > max)
        std::swap(min, max);
    fMinimum = min;
    fMaximum = max;
    Changed();
}

void TChartAxis::Scroll(double delta, bool checkLimits)
{
    if (checkLimits) {
        double smin = 0, smax = 0;
        CalcMinMax(smin, smax);
        if (delta > 0 && !(smax - delta >= fMaximum))
            return;
        if (delta < 0 && !(smin < fMinimum))
            return;
    }
    fAutomatic = fAutomaticMinimum = fAutomaticMaximum = false;
    fMinimum += delta;
    fMaximum += delta;
    Changed();
    if (fParentChart)
        for (TChartSeries* s : fParentChart->SeriesList())
            if (s->AssociatedToAxis(this))
                fParentChart->BroadcastSeriesEvent(s, seDataChanged);
}

void TChartAxis::SetIncrement(double v)
{
    if (v < 0)
        throw AxisException(TeeMsg_AxisIncrement);
    if (IsDateTime())
        TeeFormatDateTime(QStringLiteral("c"), v);   // an impossible date raises here
    if (v != fIncrement) {
        fIncrement = v;
        Changed();
    }
}

void TChartAxis::SetLogarithmic(bool v)
{
    if (v && IsDateTime())
        throw AxisException(TeeMsg_AxisLogDateTime);
    if (v != fLogarithmic) {
        fLogarithmic = v;
        RecalcRange();
        Changed();
    }
}

void TChartAxis::SetLogarithmicBase(double v)
{
    if (!(v > 1))
        throw AxisException(TeeMsg_AxisLogBase);
    if (v != fLogarithmicBase) {
        fLogarithmicBase = v;
        RecalcRange();
        Changed();
    }
}

void TChartAxis::SetInverted(bool v)
{
    if (v != fInverted) {
        fInverted = v;
        RecalcRange();
        Changed();
    }
}

void TChartAxis::SetHorizontal(bool v)
{
    if (v != fHorizontal) {
        fHorizontal = v;
        RecalcRange();
        Changed();
    }
}

void TChartAxis::SetLabelsAngle(double v)
{
    v = std::fmod(v, 360.0);
    if (v < 0)
        v += 360;
    if (v != fLabels.Angle) {
        fLabels.Angle = v;
        Changed();
    }
}

void TChartAxis::SetLabelsSeparation(int v)
{
    if (v < 0)
        throw AxisException(TeeMsg_AxisLabelSep);
    SetInt(fLabels.Separation, v);
}

// ---------------------------------------------------------------- range

void TChartAxis::RecalcRange()
{
    IRange = static_cast<long double>(IMaximum) - IMinimum;
    IRangeZero = std::fabs(IRange) <= 1e-16L;
    fScale = IRangeZero ? 0.0 : double(IAxisSize / IRange);
    if (fLogarithmic) {
        fLogMin = IMinimum > 0 ? std::log(IMinimum) : 0.0;
        fLogMax = IMaximum > 0 ? std::log(IMaximum) : 0.0;
        fLogRange = fLogMax - fLogMin;
        fLogScale = fLogRange == 0 ? 0.0 : IAxisSize / fLogRange;
    }
    ChooseMapping();
}

void TChartAxis::ChooseMapping()
{
    // Chosen once per range change, so that mapping a point is one indirect call.
    if (fLogarithmic) {
        fCalcPosValue = IRange == 0 ? &TChartAxis::CenterPos : &TChartAxis::LogPos;
        fCalcPosPoint = &TChartAxis::LogPoint;
        return;
    }
    fCalcPosPoint = &TChartAxis::LinearPoint;
    if (IRangeZero)
        fCalcPosValue = &TChartAxis::CenterPos;
    else if (fHorizontal)
        fCalcPosValue = fInverted ? &TChartAxis::LinearHorizInv : &TChartAxis::LinearHoriz;
    else
        fCalcPosValue = fInverted ? &TChartAxis::LinearVertInv : &TChartAxis::LinearVert;
}

TChartValueList* TChartAxis::AxisList(TChartSeries* s) const
{
    return fHorizontal ? s->XValues() : s->YValues();
}

void TChartAxis::CalcMinMax(double& min, double& max) const
{
    const bool doMax = fAutomatic || fAutomaticMaximum;
    const bool doMin = fAutomatic || fAutomaticMinimum;
    if (!doMax && !doMin)
        return;
    bool first = true;
    double mn = 0, mx = 0;
    if (fParentChart)
        for (TChartSeries* s : fParentChart->SeriesList()) {
            if (!s->Active() || s->Count() == 0 || !s->AssociatedToAxis(this))
                continue;
            const double smx = fHorizontal ? s->MaxXValue() : s->MaxYValue();
            const double smn = fHorizontal ? s->MinXValue() : s->MinYValue();
            if (first) {
                mn = smn;
                mx = smx;
                first = false;
            } else {
                mn = std::min(mn, smn);
                mx = std::max(mx, smx);
            }
        }
    if (doMax)
        max = mx;
    if (doMin)
        min = mn;
}

void TChartAxis::RoundRange()
{
    if (IAxisSize == 0 || IRangeZero)
        return;
    bool ran = false;
    double step = 0;
    if (fMaximumRound && (fAutomatic || fAutomaticMaximum)) {
        step = CalcIncrement();
        if (step != 0) {
            IMaximum = std::ceil(IMaximum / step) * step;
            ran = true;
        }
    }
    if (fMinimumRound && (fAutomatic || fAutomaticMinimum)) {
        if (step == 0)
            step = CalcIncrement();
        if (step != 0) {
            IMinimum = std::floor(IMinimum / step) * step;
            ran = true;
        }
    }
    if (ran)
        RecalcRange();
}

void TChartAxis::AdjustMaxMin()
{
    CalcMinMax(fMinimum, fMaximum);
    IMaximum = fMaximum;
    IMinimum = fMinimum;
    RecalcRange();
    RoundRange();
}

void TChartAxis::AdjustMaxMinRect()
{
    if (!fParentChart)
        return;
    int a = 0, b = 0, startMargin = 0, endMargin = 0;
    for (TChartSeries* s : fParentChart->SeriesList()) {
        if (!s->Active() || !s->AssociatedToAxis(this))
            continue;
        if (fHorizontal)
            s->CalcHorizMargins(a, b);   // left, right
        else
            s->CalcVerticalMargins(a, b);   // top, bottom
        startMargin = std::max(startMargin, a);
        endMargin = std::max(endMargin, b);
    }
    // The offsets belong to the value ends; which pixel end that is depends on direction.
    const bool minAtStart = fHorizontal != fInverted;
    startMargin += minAtStart ? fMinimumOffset : fMaximumOffset;
    endMargin += minAtStart ? fMaximumOffset : fMinimumOffset;
    if (startMargin == 0 && endMargin == 0)
        return;
    const int s0 = IStartPos, e0 = IEndPos;
    IStartPos = s0 + startMargin;
    IEndPos = e0 - endMargin;
    IAxisSize = IEndPos - IStartPos;
    RecalcRange();
    const double v0 = CalcPosPoint(s0), v1 = CalcPosPoint(e0);
    IStartPos = s0;
    IEndPos = e0;
    IAxisSize = e0 - s0;
    if (fAutomatic || fAutomaticMinimum)
        IMinimum = std::min(v0, v1);
    if (fAutomatic || fAutomaticMaximum)
        IMaximum = std::max(v0, v1);
    RecalcRange();
    RoundRange();
}

void TChartAxis::InternalCalcPositions()
{
    if (!fParentChart)
        return;
    const TRect& r = fParentChart->ChartRect();
    const int base = fHorizontal ? r.Left : r.Top;
    const int size = fHorizontal ? r.Width() : r.Height();
    IStartPos = base + RoundPix(0.01 * size * fStartPosition);
    IEndPos = base + RoundPix(0.01 * size * fEndPosition);
    IAxisSize = IEndPos - IStartPos;
    ICenterPos = (IStartPos + IEndPos) / 2;
    RecalcRange();
}

// ---------------------------------------------------------------- mapping

int TChartAxis::LinearHoriz(double v) const
{
    return IStartPos + RoundPix((v - IMinimum) * fScale);
}

int TChartAxis::LinearHorizInv(double v) const
{
    return IEndPos - RoundPix((v - IMinimum) * fScale);
}

int TChartAxis::LinearVert(double v) const
{
    return IEndPos - RoundPix((v - IMinimum) * fScale);
}

int TChartAxis::LinearVertInv(double v) const
{
    return IStartPos + RoundPix((v - IMinimum) * fScale);
}

bool TChartAxis::LinearMapping(TLinearPixelMap& map) const
{
    const bool fromStart = fCalcPosValue == &TChartAxis::LinearHoriz || fCalcPosValue == &TChartAxis::LinearVertInv;
    const bool fromEnd = fCalcPosValue == &TChartAxis::LinearHorizInv || fCalcPosValue == &TChartAxis::LinearVert;
    if (!fromStart && !fromEnd)
        return false;
    map = TLinearPixelMap{fromStart ? IStartPos : IEndPos, fromStart ? 1 : -1, IMinimum, fScale};
    return true;
}

void TChartAxis::CalcPosValues(const double* values, int* pixels, int count) const
{
    // The linear mappings are one of two forms; the loop runs without a call per value.
    const bool fromStart = fCalcPosValue == &TChartAxis::LinearHoriz || fCalcPosValue == &TChartAxis::LinearVertInv;
    const bool fromEnd = fCalcPosValue == &TChartAxis::LinearHorizInv || fCalcPosValue == &TChartAxis::LinearVert;
    const double min = IMinimum, scale = fScale;
    if (fromStart) {
        const int base = IStartPos;
        for (int i = 0; i < count; ++i)
            pixels[i] = base + RoundPix((values[i] - min) * scale);
    } else if (fromEnd) {
        const int base = IEndPos;
        for (int i = 0; i < count; ++i)
            pixels[i] = base - RoundPix((values[i] - min) * scale);
    } else {
        for (int i = 0; i < count; ++i)
            pixels[i] = (this->*fCalcPosValue)(values[i]);
    }
}

int TChartAxis::LogPos(double v) const
{
    if (v <= 0) {
        if (fHorizontal)
            return fInverted ? IEndPos : IStartPos;
        return fInverted ? IStartPos : IEndPos;
    }
    const double lv = std::log(v);
    const int r = RoundPix((fInverted ? fLogMax - lv : lv - fLogMin) * fLogScale);
    return fHorizontal ? IStartPos + r : IEndPos - r;
}

double TChartAxis::LinearPoint(int pixel) const
{
    if (IAxisSize < 1)
        return 0;
    const double t = (fInverted ? IEndPos - pixel : pixel - IStartPos) * double(IRange / IAxisSize);
    return fHorizontal ? IMinimum + t : IMaximum - t;
}

double TChartAxis::LogPoint(int pixel) const
{
    if (IAxisSize < 1)
        return 0;
    // The pixel ends give the range ends exactly, free of exp(log()) rounding.
    const bool minAtStart = fHorizontal != fInverted;
    if (pixel == IStartPos)
        return minAtStart ? IMinimum : IMaximum;
    if (pixel == IEndPos)
        return minAtStart ? IMaximum : IMinimum;
    const double t = (fInverted ? IEndPos - pixel : pixel - IStartPos) * fLogRange / IAxisSize;
    return fHorizontal ? std::exp(fLogMin + t) : std::exp(fLogMax - t);
}

// ---------------------------------------------------------------- steps

bool TChartAxis::IsDateTime() const
{
    if (!fParentChart)
        return false;
    for (TChartSeries* s : fParentChart->SeriesList())
        if (s->Active() && s->AssociatedToAxis(this))
            return AxisList(s)->DateTime();
    return false;
}

bool TChartAxis::AnySeriesHasLessThan(int num) const
{
    if (!fParentChart)
        return false;
    for (TChartSeries* s : fParentChart->SeriesList())
        if (s->Active() && s->AssociatedToAxis(this) && fHorizontal == s->YMandatory() && s->Count() <= num)
            return true;
    return false;
}

double TChartAxis::CalcLabelsIncrement(int maxNumLabels)
{
    if (maxNumLabels <= 0)
        return IAxisDateTime ? DateTimeStep[0] : TeeMinAxisIncrement;
    const double range = double(IRange);
    if (IAxisDateTime) {
        double t = std::max(fIncrement, DateTimeStep[0]);
        if (t > 0 && std::isfinite(range)) {
            if (range / t > 1000000)
                t = range / 1000000;
            while (std::llround(range / t) > maxNumLabels) {
                if (t >= 365)
                    t *= 2;
                else if (t >= DateTimeStep[2])
                    t = NextDateTimeStep(t);
                else
                    t = NextStep(t);
            }
        }
        return std::max(DateTimeStep[0], t);
    }
    double result;
    if (fIncrement > 0) {
        result = fIncrement;
    } else if (IRangeZero) {
        result = 1;
    } else {
        result = std::abs(range) / (maxNumLabels + 1);
        if (fLogarithmic)
            result = std::pow(fLogarithmicBase, std::round(std::log(result) / std::log(fLogarithmicBase)));
    }
    if (range >= 1.1 && AnySeriesHasLessThan(maxNumLabels))
        result = std::max(result, 1.0);
    if (fLabels.Separation != 0 && range != 0 && result != 0) {
        long long labels = LLONG_MAX;
        do {
            const double t = range / result;
            const bool countable = std::abs(t) < 2147483647.0;
            if (countable)
                labels = std::llround(t);
            if (!countable || labels > maxNumLabels) {
                if (fLogarithmic)
                    result *= fLogarithmicBase;
                else if (countable && fIncrement > 0)
                    result *= 2;
                else
                    result = NextStep(result);
            }
        } while (labels > maxNumLabels && !(range < result) && !std::isinf(result));
    }
    if (std::isinf(result))
        return range;
    return std::max(TeeMinAxisIncrement, result);
}

double TChartAxis::CalcXYIncrement(int maxLabelSize)
{
    int n = 1;
    if (maxLabelSize >= 1 && IAxisSize >= 1) {
        if (fLabels.Separation > 0)
            maxLabelSize += RoundPix(0.01 * fLabels.Separation * maxLabelSize);
        n = RoundPix(1.0 * IAxisSize / maxLabelSize);
    }
    return CalcLabelsIncrement(n);
}

int TChartAxis::LabelTextWidth(const QString& text)
{
    TTeeCanvas* c = fParentChart ? fParentChart->Canvas() : nullptr;
    int w = 0;
    for (const QString& line : text.split(u'\n')) {
        if (c) {
            c->AssignFont(fLabels.Font);
            w = std::max(w, c->TextWidth(line));
        } else {
            w = std::max(w, QFontMetrics(fLabels.Font.ToQFont()).horizontalAdvance(line));
        }
    }
    return w;
}

int TChartAxis::LabelTextHeight(const QString& text)
{
    const int lines = int(text.count(u'\n')) + 1;
    if (fParentChart) {
        TTeeCanvas* c = fParentChart->Canvas();
        c->AssignFont(fLabels.Font);
        return c->FontHeight() * lines;
    }
    return QFontMetrics(fLabels.Font.ToQFont()).height() * lines;
}

int TChartAxis::TextSize(double value)
{
    if (fLabels.GridIgnoresLabelSize)
        return 1;
    const QString text = LabelValue(value);
    const double a = fLabels.Angle;
    const bool perpendicular = fHorizontal ? (a == 90 || a == 270) : (a == 0 || a == 180);
    return perpendicular ? LabelTextHeight(text) : LabelTextWidth(text);
}

double TChartAxis::CalcIncrement()
{
    double low = IMinimum, high = IMaximum;
    if (fLabels.RoundFirst && fIncrement != 0) {
        // Only a text width is estimated here: the products stand as they are.
        low = std::abs(IMinimum) > 9223372036854775807.0 ? fIncrement * IMinimum : std::round(IMinimum) * fIncrement;
        high = std::abs(IMaximum) > 9223372036854775807.0 ? fIncrement * IMaximum : std::trunc(IMaximum) * fIncrement;
    }
    int size;
    if (fIncrement != 0) {
        size = std::max({TextSize(low), TextSize(high), TextSize(low - fIncrement), TextSize(high + fIncrement)});
    } else {
        double mid = 0.5 * (high - low) + low;
        if (std::isinf(mid))
            mid = 0;
        // A value with decimals measures wider than the round ends would suggest.
        for (int guard = 0; guard < 2100 && mid != 0 && !std::isnan(mid) && mid == std::trunc(mid); ++guard)
            mid *= 0.5;
        size = std::max({TextSize(mid), TextSize(high), TextSize(low)});
    }
    double result = CalcXYIncrement(size);
    if (fLabels.Alternate)
        result = fLogarithmic ? result / fLogarithmicBase : result / 2;
    return result;
}

int TChartAxis::CurrentDateStep(double step) const
{
    if (!(IAxisDateTime && fExactDateTime && fIncrement != 0))
        return NumDateTimeSteps;
    int i = FindDateTimeStep(fIncrement);
    if (i >= NumDateTimeSteps)
        return NumDateTimeSteps;
    while (i < NumDateTimeSteps - 1 && DateTimeStep[i] < step)
        ++i;
    return i;
}

double TChartAxis::AlignDate(double value, int dateStep) const
{
    if (!(value >= -693593.0 && value < 2958466.0))
        return value;
    const double day = std::floor(value);
    switch (dateStep) {
    case 16: return day;
    case 17: return std::floor(day / 2) * 2;
    case 18: return std::floor(day / 3) * 3;
    case 19: return 1 + std::floor((day - 1) / 7) * 7;
    default: break;
    }
    const QDate d = DateTimeToQDateTime(value).date();
    const int dayOfMonth = dateStep == 20 && d.day() >= 15 ? 15 : 1;
    return QDateTimeToDateTime(QDateTime(QDate(d.year(), d.month(), dayOfMonth), QTime(0, 0)));
}

void TChartAxis::ValueLoop(double step, int dateStep, const std::function<bool(double)>& fn)
{
    if (fLogarithmic && fIncrement == 0) {
        if (!(IMaximum > 0))
            return;
        const double lo = IMinimum > 0 ? IMinimum : IMaximum / std::pow(fLogarithmicBase, 12);
        double tmp = std::pow(fLogarithmicBase, std::ceil(std::log(lo) / std::log(fLogarithmicBase)));
        for (int n = 0; tmp <= IMaximum && n < 10000; ++n, tmp *= fLogarithmicBase)
            if (!fn(tmp))
                return;
        return;
    }
    if (!(step > 0) || std::abs(double(IRange) / step) >= 10000)
        return;
    double tmp;
    if (IAxisDateTime && fExactDateTime && dateStep >= 16 && dateStep != NumDateTimeSteps)
        tmp = AlignDate(IMaximum, dateStep);
    else if (IMinimum == IMaximum || !fLabels.RoundFirst)
        tmp = IMaximum;
    else
        tmp = std::trunc(IMaximum / step) * step;
    // Every value is the start less a whole number of steps. Taking the step off again
    // and again would pile up its rounding: on a date axis a midnight would arrive as
    // a hair before it and name the day before.
    const double start = tmp;
    for (int k = 1; tmp > IMaximum; ++k) {
        const double next = start - k * step;
        if (!std::isfinite(next) || std::abs(next) > 1.7e308 || next == tmp)
            return;
        tmp = next;
    }
    if (IRangeZero) {
        fn(tmp);
        return;
    }
    const double top = tmp;
    const double limit = IMinimum < 0 ? IMinimum : (IMinimum - TeeMinAxisIncrement) / (1 + TeeMinAxisIncrement);
    for (int n = 1; tmp >= limit && n <= 10000; ++n) {
        if (!fn(tmp))
            return;
        const double next = top - n * step;
        if (next == tmp)
            return;
        tmp = next;
    }
}

QString TChartAxis::LabelValue(double value) const
{
    QString s;
    if (IAxisDateTime) {
        QString fmt = fDateTimeFormat;
        if (fmt.isEmpty())
            fmt = IRange <= 1 ? FormatSettings.ShortTimeFormat : FormatSettings.ShortDateFormat;
        try {
            s = TeeFormatDateTime(fmt, value);
        } catch (const EConvertError&) {
            s = FloatToStr(value);   // a paint never raises: an impossible date shows as its number
        }
    } else {
        s = TeeFormatFloat(fAxisValuesFormat, value);
    }
    if (fParentChart && fParentChart->OnGetAxisLabel)
        fParentChart->OnGetAxisLabel(const_cast<TChartAxis*>(this), nullptr, -1, s);
    if (fLabels.MultiLine)
        s.replace(u' ', u'\n');
    return s;
}

TAxisLabelStyle TChartAxis::CalcLabelStyle() const
{
    if (fLabels.Style != talAuto)
        return fLabels.Style;
    TAxisLabelStyle result = talNone;
    if (fParentChart)
        for (TChartSeries* s : fParentChart->SeriesList()) {
            if (!s->Active() || !s->AssociatedToAxis(this))
                continue;
            result = s->GetDefaultLabelStyle(this);
            if (result != talValue)
                break;
        }
    return result;
}

bool TChartAxis::LabelsVisible() const
{
    return fLabels.Visible && CalcLabelStyle() != talNone;
}

// ---------------------------------------------------------------- layout

int TChartAxis::ApplyPosition(int pos, const TRect& r) const
{
    int delta = fPositionUnits == muPercent
                    ? RoundPix(0.01 * fPositionPercent * (fHorizontal ? r.Height() : r.Width()))
                    : RoundPix(fPositionPercent);
    if (fOtherSide)
        delta = -delta;
    if (fHorizontal)
        delta = -delta;
    return pos + delta;
}

int TChartAxis::MaxLabelsWidth()
{
    const TAxisLabelStyle style = CalcLabelStyle();
    int maxW = 0;
    fMaxLines = 1;
    auto measure = [&](const QString& text) {
        maxW = std::max(maxW, LabelTextWidth(text));
        fMaxLines = std::max(fMaxLines, int(text.count(u'\n')) + 1);
    };
    if (!fLabels.Items.empty()) {
        for (const TAxisItem& item : fLabels.Items)
            measure(item.Text);
    } else if (style == talValue) {
        const double step = CalcIncrement();
        int n = 0;
        if (step > 0)
            ValueLoop(step, CurrentDateStep(step), [&](double v) {
                measure(LabelValue(v));
                return ++n < 5000;
            });
        if (n == 0) {
            measure(LabelValue(IMinimum));
            measure(LabelValue(IMaximum));
        }
    } else if (style != talNone && fParentChart) {
        for (TChartSeries* s : fParentChart->SeriesList()) {
            if (!s->Active() || !s->AssociatedToAxis(this))
                continue;
            const int count = s->Count();
            const int stride = std::max(1, count / 5000);   // thousands of rows: a sample is enough
            for (int row = 0; row < count; row += stride)
                measure(PointLabelText(s, row, style));
        }
    }
    TTeeCanvas* c = fParentChart ? fParentChart->Canvas() : nullptr;
    if (maxW > 0)
        maxW += c ? c->TextWidth(QStringLiteral(" ")) : QFontMetrics(fLabels.Font.ToQFont()).horizontalAdvance(u' ');
    return maxW;
}

int TChartAxis::SizeLabels()
{
    const int maxW = MaxLabelsWidth();
    const int h = LabelTextHeight(QString()) * fMaxLines;
    const double a = fLabels.Angle;
    int size;
    if (a == 0 || a == 180)
        size = fHorizontal ? h : maxW;
    else if (a == 90 || a == 270)
        size = fHorizontal ? maxW : h;
    else {
        const double rad = a * std::numbers::pi / 180.0;
        const double s = std::abs(std::sin(rad)), c = std::abs(std::cos(rad));
        size = fHorizontal ? RoundPix(maxW * s + h * c) : RoundPix(maxW * c + h * s);
    }
    size += 2 * fLabels.Format.FrameWidth + fLabels.Format.ShadowSize;
    fLabels.LabelWidth = maxW;
    fLabels.LabelHeight = h;
    return size;
}

int TChartAxis::SizeTitle()
{
    if (fTitleSize > 0)
        return fTitleSize;
    if (!fTitle.Visible() || fTitle.Caption().isEmpty())
        return 0;
    const QFontMetrics fm(fTitle.Font().ToQFont());
    const double w = fm.horizontalAdvance(fTitle.Caption()), h = fm.height();
    const double rad = fTitle.Angle() * std::numbers::pi / 180.0;
    const double s = std::abs(std::sin(rad)), c = std::abs(std::cos(rad));
    return RoundPix(fHorizontal ? w * s + h * c : w * c + h * s);
}

void TChartAxis::CalcRect(TRect& r)
{
    IAxisDateTime = IsDateTime();
    const int inward = -DirOut();
    int side = fHorizontal ? (fOtherSide ? r.Top : r.Bottom) : (fOtherSide ? r.Right : r.Left);
    PosTitle = side;
    const int titleSize = SizeTitle();
    fTitleBand = titleSize;
    side += inward * titleSize;
    // The title band, for drawing and the hit test.
    const int a = std::min(PosTitle, side), b = std::max(PosTitle, side);
    fTitleRect = fHorizontal ? TRect{IStartPos, a, IEndPos, b} : TRect{a, IStartPos, b, IEndPos};
    int gap = 0;
    fLabelsBand = 0;
    if (LabelsVisible()) {
        fLabels.LabelWidth = 0;
        int size = fLabels.Size > 0 ? fLabels.Size : SizeLabels();
        fLabelRowSize = size;
        if (fLabels.Alternate)
            size *= 2;
        fLabelsBand = size;
        side += inward * size;
        gap = RoundPix(0.01 * fLabels.MarginToAxis * LabelTextHeight(QString()));
    }
    int reach = 0;
    if (fTicks.Visible())
        reach = fTickLength;
    if (fMinorTicks.Visible())
        reach = std::max(reach, fMinorTickLength);
    if (fAxisPen.Visible())
        reach += fAxisPen.Width() + 1;
    side += inward * (gap + reach);
    fLabelGap = gap + reach;
    // The rectangle shrinks but never turns over.
    if (fHorizontal) {
        if (fOtherSide)
            r.Top = side = std::min(side, r.Bottom - 1);
        else
            r.Bottom = side = std::max(side, r.Top + 1);
    } else {
        if (fOtherSide)
            r.Right = side = std::max(side, r.Left + 1);
        else
            r.Left = side = std::min(side, r.Right - 1);
    }
    PosAxis = ApplyPosition(side, r);
    PosLabels = PosAxis + DirOut() * fLabelGap;
}

void TChartAxis::PlaceAtChartRect()
{
    if (!fParentChart)
        return;
    const TRect& r = fParentChart->ChartRect();
    const int edge = fHorizontal ? (fOtherSide ? r.Top : r.Bottom) : (fOtherSide ? r.Right : r.Left);
    PosAxis = ApplyPosition(edge, r);
    PosLabels = PosAxis + DirOut() * fLabelGap;
    // The title follows its labels: with several axes on one side every one of them
    // draws at the plot's edge, not in the band the layout first gave it.
    PosTitle = edge + DirOut() * (fLabelGap + fLabelsBand + fTitleBand);
    const int inner = PosTitle - DirOut() * fTitleBand;
    const int a = std::min(PosTitle, inner), b = std::max(PosTitle, inner);
    fTitleRect = fHorizontal ? TRect{IStartPos, a, IEndPos, b} : TRect{a, IStartPos, b, IEndPos};
}

bool TChartAxis::AxisClicked(int x, int y) const
{
    if (!fVisible)
        return false;
    const int a0 = std::min(IStartPos, IEndPos), a1 = std::max(IStartPos, IEndPos);
    int c0 = PosAxis, c1 = PosAxis;
    if (fLabels.Visible) {
        const int inner = PosAxis - DirOut() * 3;
        c0 = std::min(inner, PosLabels);
        c1 = std::max(inner, PosLabels);
    }
    const int along = fHorizontal ? x : y, across = fHorizontal ? y : x;
    return along >= a0 && along <= a1 && across >= c0 && across <= c1;
}

// ---------------------------------------------------------------- labels

void TChartAxis::OneLabel(double value)
{
    const int pixel = CalcPosValue(value);
    if (!fLabels.OnAxis && !(pixel > IStartPos && pixel < IEndPos))
        return;
    if (!fTickOnLabelsOnly) {
        fTicks_.push_back(pixel);
        fTickValues.push_back(value);
    }
    if (!(LabelsVisible() || (fGrid.Visible() && fGrid.DrawAlways)))
        return;
    const QString text = LabelValue(value);
    if (fTickOnLabelsOnly) {
        fTicks_.push_back(pixel);
        fTickValues.push_back(value);
    }
    int anchor = pixel;
    if (fLabels.Position == lpBeforeTick || fLabels.Position == lpCenter)
        anchor -= LabelTextWidth(text) / 2;
    else if (fLabels.Position == lpAfterTick)
        anchor += LabelTextWidth(text) / 2;
    fEntries.push_back({value, text, anchor});
    if (fLabels.Behind && LabelsVisible())
        DrawLabel(anchor, text);
}

QString TChartAxis::PointLabelText(TChartSeries* s, int row, TAxisLabelStyle style) const
{
    TChartValueList* list = (fHorizontal == s->YMandatory()) ? s->NotMandatoryValueList() : s->MandatoryValueList();
    switch (style) {
    case talText: return s->Labels().Label(row);
    case talMark: return s->GetMarkText(row);
    default: return LabelValue((*list)[row]);
    }
}

bool TChartAxis::PointLabelFits(int pixel, QString& text)
{
    auto halfSize = [&](const QString& t) {
        int size = fHorizontal ? LabelTextWidth(t) : LabelTextHeight(t);
        if (fLabels.Separation != 0)
            size += int(std::trunc(0.01 * size * fLabels.Separation));
        return size / 2;
    };
    if (!fHasLastLabel) {
        fLastLabelSize = halfSize(text);
        return true;
    }
    const bool up = pixel < fLastLabelPos;
    auto fits = [&](int half) {
        return up ? pixel + half <= fLastLabelPos - fLastLabelSize : pixel - half >= fLastLabelPos + fLastLabelSize;
    };
    int half = halfSize(text);
    if (fits(half)) {
        fLastLabelSize = half;
        return true;
    }
    if (!fLabels.Format.ClipText)
        return false;
    while (!text.isEmpty()) {
        text.chop(1);
        half = halfSize(text);
        if (!text.isEmpty() && fits(half)) {
            fLastLabelSize = half;
            return true;
        }
    }
    return false;
}

void TChartAxis::PointLabels(TAxisLabelStyle style)
{
    if (!fParentChart)
        return;
    const bool anyHandler = bool(fParentChart->OnGetAxisLabel);
    for (TChartSeries* s : fParentChart->SeriesList()) {
        if (!s->Active() || !s->AssociatedToAxis(this))
            continue;
        s->CalcFirstLastVisibleIndex();
        const int first = s->FirstValueIndex(), last = s->LastValueIndex();
        if (first < 0)
            continue;
        const int rows = last - first + 1;
        int stride = 1;
        if (!anyHandler && IAxisSize > 0 && rows > IAxisSize)
            stride = std::max(1, int(2LL * rows / IAxisSize));
        TChartValueList* list = (fHorizontal == s->YMandatory()) ? s->NotMandatoryValueList() : s->MandatoryValueList();
        for (int row = first; row <= last; row += stride) {
            const double value = (*list)[row];
            if (value < IMinimum || value > IMaximum)
                continue;
            QString text = PointLabelText(s, row, style);
            if (anyHandler)
                fParentChart->OnGetAxisLabel(this, s, row, text);
            if (text.isEmpty())
                continue;
            const int pixel = CalcPosValue(value);
            if (!PointLabelFits(pixel, text))
                continue;
            fHasLastLabel = true;
            fLastLabelPos = pixel;
            fTicks_.push_back(pixel);
            fTickValues.push_back(value);
            fEntries.push_back({value, text, pixel});
            if (fLabels.Behind)
                DrawLabel(pixel, text);
        }
    }
}

void TChartAxis::BuildLabels()
{
    fTicks_.clear();
    fTickValues.clear();
    fEntries.clear();
    fHasLastLabel = false;
    if (!fLabels.Items.empty()) {
        // Fixed labels of the program replace the computed steps.
        for (const TAxisItem& item : fLabels.Items) {
            const int pixel = CalcPosValue(item.Value);
            fTicks_.push_back(pixel);
            fTickValues.push_back(item.Value);
            fEntries.push_back({item.Value, item.Text, pixel});
        }
        return;
    }
    const TAxisLabelStyle style = CalcLabelStyle();
    const double step = CalcIncrement();
    if (style == talNone && !(fGrid.Visible() && fGrid.DrawAlways))
        return;
    const int dateStep = CurrentDateStep(step);
    if (!((step > 0 || (dateStep >= 20 && dateStep <= 26)) && IMaximum >= IMinimum))
        return;
    if (style == talMark || style == talPointValue || style == talText) {
        PointLabels(style);
        return;
    }
    if (fParentChart && fParentChart->OnGetNextAxisLabel) {
        int index = 0;
        for (; index < 2000; ++index) {
            double value = 0;
            bool stop = true;
            fParentChart->OnGetNextAxisLabel(this, index, value, stop);
            if (stop)
                break;
            OneLabel(value);
        }
        if (index > 0)
            return;
    }
    ValueLoop(step, dateStep, [this](double v) {
        OneLabel(v);
        return true;
    });
}

// ---------------------------------------------------------------- drawing

void TChartAxis::DrawLabel(int anchor, const QString& text, int rowOffset)
{
    if (!fParentChart || !fParentChart->Canvas())
        return;
    TTeeCanvas* c = fParentChart->Canvas();
    c->AssignFont(fLabels.Font);
    c->SetBackMode(cbmTransparent);
    c->SetTextAlign(TA_LEFT | TA_TOP);
    const QStringList lines = text.split(u'\n');
    int w = 0;
    for (const QString& l : lines)
        w = std::max(w, c->TextWidth(l));
    const int lh = c->FontHeight();
    const double h = double(lh) * lines.size();
    const double rad = fLabels.Angle * std::numbers::pi / 180.0;
    const double cs = std::cos(rad), sn = std::sin(rad);
    // Bounding box of the turned text cell around its top-left corner.
    const double xs[4] = {0, w * cs, h * sn, w * cs + h * sn};
    const double ys[4] = {0, -w * sn, h * cs, -w * sn + h * cs};
    const double minX = *std::min_element(xs, xs + 4), maxX = *std::max_element(xs, xs + 4);
    const double minY = *std::min_element(ys, ys + 4), maxY = *std::max_element(ys, ys + 4);
    double ox, oy;
    if (fHorizontal) {
        ox = anchor - (minX + maxX) / 2;
        oy = DirOut() > 0 ? PosLabels - minY : PosLabels - maxY;
        oy += DirOut() * rowOffset;
    } else {
        oy = anchor - (minY + maxY) / 2;
        ox = DirOut() > 0 ? PosLabels - minX : PosLabels - maxX;
        ox += DirOut() * rowOffset;
    }
    for (int k = 0; k < lines.size(); ++k) {
        const double dx = (w - c->TextWidth(lines[k])) / 2.0, dy = double(k) * lh;
        const double x = ox + dx * cs + dy * sn, y = oy - dx * sn + dy * cs;
        const int ix = int(std::floor(x + 0.5)), iy = int(std::floor(y + 0.5));
        if (fLabels.Angle == 0)
            c->TextOut(ix, iy, lines[k]);
        else
            c->RotateLabel(ix, iy, lines[k], fLabels.Angle);
    }
}

void TChartAxis::DrawTitle()
{
    if (!fTitle.Visible() || fTitle.Caption().isEmpty() || !fParentChart)
        return;
    TTeeCanvas* c = fParentChart->Canvas();
    c->AssignFont(fTitle.Font());
    c->SetBackMode(cbmTransparent);
    c->SetTextAlign(TA_LEFT | TA_TOP);
    const QString& text = fTitle.Caption();
    const double w = c->TextWidth(text), h = c->FontHeight();
    const double rad = fTitle.Angle() * std::numbers::pi / 180.0;
    const double cs = std::cos(rad), sn = std::sin(rad);
    const double xs[4] = {0, w * cs, h * sn, w * cs + h * sn};
    const double ys[4] = {0, -w * sn, h * cs, -w * sn + h * cs};
    const double minX = *std::min_element(xs, xs + 4), maxX = *std::max_element(xs, xs + 4);
    const double minY = *std::min_element(ys, ys + 4), maxY = *std::max_element(ys, ys + 4);
    const double alongExtent = fHorizontal ? maxX - minX : maxY - minY;
    const int lo = std::min(IStartPos, IEndPos), hi = std::max(IStartPos, IEndPos);
    double along = (lo + hi) / 2.0;
    const bool startIsLow = fHorizontal;   // titles start left on horizontal axes, at the bottom on vertical ones
    if (fTitle.Position() == tpStart)
        along = startIsLow ? lo + alongExtent / 2 : hi - alongExtent / 2;
    else if (fTitle.Position() == tpEnd)
        along = startIsLow ? hi - alongExtent / 2 : lo + alongExtent / 2;
    const int band = SizeTitle();
    const double across = PosTitle - DirOut() * band / 2.0;
    double ox, oy;
    if (fHorizontal) {
        ox = along - (minX + maxX) / 2;
        oy = across - (minY + maxY) / 2;
    } else {
        ox = across - (minX + maxX) / 2;
        oy = along - (minY + maxY) / 2;
    }
    c->RotateLabel(int(std::floor(ox + 0.5)), int(std::floor(oy + 0.5)), text, fTitle.Angle());
}

std::vector<int> TChartAxis::MinorPositions() const
{
    std::vector<int> out;
    const int n = fMinorTickCount;
    if (n <= 0 || fTicks_.size() < 2)
        return out;
    auto addRange = [&](double a, double b, bool byValue) {
        for (int k = 1; k <= n; ++k) {
            const double f = double(k) / (n + 1);
            out.push_back(byValue ? CalcPosValue(a + (b - a) * f) : RoundPix(a + (b - a) * f));
        }
    };
    const std::size_t m = fTicks_.size();
    if (fLogarithmic) {
        const double ratio = fTickValues[0] / fTickValues[1];
        if (std::isfinite(ratio) && ratio > 0) {
            addRange(fTickValues[0], fTickValues[0] * ratio, true);
            addRange(fTickValues[m - 1] / ratio, fTickValues[m - 1], true);
        }
        for (std::size_t i = 0; i + 1 < m; ++i)
            addRange(fTickValues[i], fTickValues[i + 1], true);
    } else {
        const double gap = fTicks_[1] - fTicks_[0];
        addRange(fTicks_[0] - gap, fTicks_[0], false);
        for (std::size_t i = 0; i + 1 < m; ++i)
            addRange(fTicks_[i], fTicks_[i + 1], false);
        addRange(fTicks_[m - 1], fTicks_[m - 1] + gap, false);
    }
    return out;
}

void TChartAxis::DrawTicksAndGrid()
{
    TTeeCanvas* c = fParentChart->Canvas();
    const TRect& r = fParentChart->ChartRect();
    const int out = DirOut();
    c->Brush().SetStyle(bsClear);
    c->SetBackMode(cbmTransparent);
    auto tickLine = [&](int t, int from, int to) {
        if (fHorizontal)
            c->VertLine(t, from, to);
        else
            c->HorizLine(from, to, t);
    };
    auto gridLine = [&](int t) {
        // From the axis' side of the plot rectangle across to the other side.
        if (fHorizontal)
            fOtherSide ? c->VertLine(t, r.Top, r.Bottom) : c->VertLine(t, r.Bottom - 1, r.Top - 1);
        else
            fOtherSide ? c->HorizLine(r.Right - 1, r.Left - 1, t) : c->HorizLine(r.Left, r.Right, t);
    };
    const auto inside = [&](int t) { return t > std::min(IStartPos, IEndPos) && t < std::max(IStartPos, IEndPos); };

    if (fAxisPen.Visible()) {
        c->AssignVisiblePen(fAxisPen);
        const int at = PosAxis + out * (fAxisPen.Width() / 2);
        if (fHorizontal)
            c->HorizLine(IStartPos, IEndPos, at);
        else
            c->VertLine(at, IStartPos, IEndPos);
    }
    if (fTicks.Visible() && fTickLength != 0) {
        c->AssignVisiblePen(fTicks);
        for (int t : fTicks_)
            tickLine(t, PosAxis, PosAxis + out * fTickLength);
    }
    if (fGrid.Visible()) {
        c->AssignVisiblePen(fGrid);
        const int every = std::max(1, fGrid.DrawEvery);
        for (std::size_t k = 0; k < fTicks_.size(); k += every)
            if (inside(fTicks_[k]))
                gridLine(fTicks_[k]);
    }
    if (fTicksInner.Visible() && fTickInnerLength != 0) {
        c->AssignVisiblePen(fTicksInner);
        for (int t : fTicks_)
            tickLine(t, PosAxis, PosAxis - out * fTickInnerLength);
    }
    const bool minorTicks = fMinorTicks.Visible() && fMinorTickLength != 0;
    if (minorTicks || fMinorGrid.Visible()) {
        const std::vector<int> minor = MinorPositions();
        if (minorTicks) {
            c->AssignVisiblePen(fMinorTicks);
            for (int t : minor)
                if (inside(t))
                    tickLine(t, PosAxis, PosAxis + out * fMinorTickLength);
        }
        if (fMinorGrid.Visible()) {
            c->AssignVisiblePen(fMinorGrid);
            for (int t : minor)
                if (inside(t))
                    gridLine(t);
        }
    }
}

void TChartAxis::Draw(bool calcPosAxis)
{
    if (!fParentChart || !fParentChart->Canvas())
        return;
    IAxisDateTime = IsDateTime();
    if (calcPosAxis)
        PlaceAtChartRect();
    DrawTitle();
    BuildLabels();
    DrawTicksAndGrid();
    if (LabelsVisible() && !fLabels.Behind && fLabels.Format.Visible) {
        // Alternating labels take turns between the inner and the outer row.
        bool outer = false;
        for (const TAxisLabelEntry& e : fEntries)
            if ((e.Value >= IMinimum && e.Value <= IMaximum) || e.Value == IMinimum) {
                DrawLabel(e.Anchor, e.Text, fLabels.Alternate && outer ? fLabelRowSize : 0);
                outer = !outer;
            }
    }
}

// ================================================================ custom axes

TChartAxis* TChartCustomAxes::Add()
{
    auto axis = std::make_unique<TChartAxis>(fChart, false, false);
    axis->Title().SetAngle(90);
    TChartAxis* p = axis.get();
    fItems.push_back(std::move(axis));
    fChart->fAxes.fItems.push_back(p);
    fChart->Invalidate();
    return p;
}

void TChartCustomAxes::Delete(int i)
{
    if (i < 0 || i >= Count())
        return;
    TChartAxis* p = fItems[i].get();
    fChart->AxisRemoved(p);
    auto& list = fChart->fAxes.fItems;
    list.erase(std::remove(list.begin(), list.end(), p), list.end());
    fItems.erase(fItems.begin() + i);
    fChart->Invalidate();
}

void TChartCustomAxes::Clear()
{
    while (Count() > 0)
        Delete(Count() - 1);
}
