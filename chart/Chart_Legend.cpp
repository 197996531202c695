// The legend: which items it lists, where it stands, how it draws and what a click on it does.
#include "chart/Chart.h"
#include "chart/TeeTranslate.h"

#include <algorithm>
#include <cmath>

namespace {
// Separates the columns of one legend text.
constexpr QChar kColumnSeparator = QChar(6);
constexpr int kCheckBoxRoom = 15;
}

TLegendTitle::TLegendTitle(TCustomChart* chart) : TStringsShape(chart)
{
    fTransparent = true;
    fFrame.SetVisible(false);
}

TCustomChartLegend::TCustomChartLegend(TCustomChart* chart) : TTeeCustomShape(chart), fTitle(chart)
{
    fVisible = true;
    DividingLines.SetEndStyle(esRound);
    fBrush.SetColor(clWhite);
}

void TCustomChartLegend::SetFirstValue(int v)
{
    if (v < 0)
        throw ChartException(TeeMsg_LegendFirstValue);
    if (v != fFirstValue) {
        fFirstValue = v;
        Changed();
    }
}

bool TCustomChartLegend::ShouldDraw() const
{
    return fVisible && (fCheckBoxes || fChart->CountActiveSeries() > 0);
}

TLegendStyle TCustomChartLegend::CalcLegendStyle() const
{
    if (fLegendStyle != lsAuto)
        return fLegendStyle;
    int shown = 0;
    for (TChartSeries* s : fChart->SeriesList())
        if (s->ShowInLegend() && (s->Active() || fCheckBoxes))
            ++shown;
    return shown > 1 ? lsSeries : lsValues;
}

TChartSeries* TCustomChartLegend::GetLegendSeries() const
{
    if (Series)
        return Series;
    for (TChartSeries* s : fChart->SeriesList())
        if (s->Active() && s->ShowInLegend())
            return s;
    return nullptr;
}

TChartSeries* TCustomChartLegend::SeriesAt(int index) const
{
    int n = 0;
    for (TChartSeries* s : fChart->SeriesList()) {
        if (!s->ShowInLegend() || !(s->Active() || fCheckBoxes))
            continue;
        if (n == index)
            return s;
        ++n;
    }
    return nullptr;
}

int TCustomChartLegend::TotalLegendItems() const
{
    if (!Items.empty())
        return int(Items.size());
    switch (CalcLegendStyle()) {
    case lsSeriesGroups: return 0;   // no series groups in this system
    case lsSeries:
    case lsLastValues: {
        int n = 0;
        for (TChartSeries* s : fChart->SeriesList())
            if (s->ShowInLegend() && (s->Active() || fCheckBoxes))
                ++n;
        return std::max(0, n - fFirstValue);
    }
    default: {
        TChartSeries* s = GetLegendSeries();
        return s ? std::max(0, s->Count() - fFirstValue) : 0;
    }
    }
}

QString TCustomChartLegend::LegendText(int index) const
{
    QString text;
    const TLegendStyle style = CalcLegendStyle();
    if (!Items.empty()) {
        const TLegendItem& it = Items[std::size_t(index)];
        text = it.Text;
        if (!it.Text2.isEmpty() || !it.Text3.isEmpty())
            text += kColumnSeparator + it.Text2 + kColumnSeparator + it.Text3;
    } else if (style == lsSeries) {
        if (TChartSeries* s = SeriesAt(index))
            text = s->Title();
    } else if (style == lsLastValues) {
        // Each series with its newest value beside its title.
        if (TChartSeries* s = SeriesAt(index)) {
            const int last = s->Count() - 1;
            const QString value = last < 0 ? QString() : TeeFormatFloat(s->ValueFormat, s->YValue(last));
            switch (TextStyle) {
            case ltsPlain: text = s->Title(); break;
            case ltsRightValue: text = s->Title() + kColumnSeparator + value; break;
            case ltsXValue: text = last < 0 ? QString() : TeeFormatFloat(s->ValueFormat, s->XValue(last)); break;
            case ltsValue: text = value; break;
            default: text = value + kColumnSeparator + s->Title(); break;
            }
        }
    } else if (TChartSeries* s = GetLegendSeries()) {
        const QString value = TeeFormatFloat(s->ValueFormat, s->YValue(index));
        const QString label = s->Labels().Label(index);
        switch (TextStyle) {
        case ltsPlain: text = label; break;
        case ltsRightValue: text = label + kColumnSeparator + value; break;
        case ltsXValue: text = TeeFormatFloat(s->ValueFormat, s->XValue(index)); break;
        case ltsValue: text = value; break;
        default: text = value + kColumnSeparator + label; break;
        }
    }
    if (fChart->OnGetLegendText)
        fChart->OnGetLegendText(fChart, style, index, text);
    return text;
}

void TCustomChartLegend::CalcLegendRect(TRect& chartRect)
{
    TCanvas3D* c = fChart->Canvas();
    const TRect& bounds = fChart->ChartBounds();
    c->AssignFont(fFont);
    const int fh = c->FontHeight();
    ItemHeight = fh;
    if (Symbol.Visible) {
        if (Symbol.HeightUnits == lcsPixels)
            ItemHeight = std::max(ItemHeight, Symbol.Height);
        else if (Symbol.Height > 100)
            ItemHeight = int(std::lround(Symbol.Height * fh * 0.01));
    }
    if (fCheckBoxes)
        ItemHeight = std::max(ItemHeight, 17);
    ItemHeight += VertSpacing;
    if (Vertical() && DividingLines.Visible())
        ItemHeight += DividingLines.Width();

    const int total = TotalLegendItems();
    const int frame = FrameWidth();
    const int margin = int(std::lround(ItemHeight * 0.1));
    // The title's lines above the items, and 4 pixels between.
    int titleWidth = 0;
    TitleHeight = 0;
    if (fTitle.ShouldDraw()) {
        c->AssignFont(fTitle.Font());
        TitleHeight = int(fTitle.Text().size()) * c->FontHeight() + fTitle.FrameWidth();
        for (const QString& line : fTitle.Text())
            titleWidth = std::max(titleWidth, c->TextWidth(line));
        c->AssignFont(fFont);
    }
    const int titleBand = TitleHeight > 0 ? TitleHeight + 4 : 0;

    // Only items that can show are measured: a legend of the rows of a long curve
    // lists a screenful, not a million texts.
    int canShow;
    if (Vertical()) {
        const int top0 = chartRect.Top + int(std::lround(0.01 * TopPos * chartRect.Height()));
        const int available =
            (fCustomPosition ? bounds.Bottom - fTop : chartRect.Bottom - top0) - 2 - 2 * margin - frame - titleBand;
        canShow = std::clamp(ItemHeight > 0 ? available / ItemHeight : total, 0, total);
    } else {
        canShow = std::min(total, (MaxNumRows == 0 ? 10 : MaxNumRows) * std::max(1, chartRect.Width() / 8));
    }
    ColumnWidths[0] = ColumnWidths[1] = ColumnWidths[2] = 0;
    for (int i = 0; i < canShow; ++i) {
        const QStringList cols = LegendText(i + fFirstValue).split(kColumnSeparator);
        for (int k = 0; k < 3 && k < cols.size(); ++k)
            if (!cols[k].isEmpty())
                ColumnWidths[k] = std::max(ColumnWidths[k], c->TextWidth(cols[k]) + TextSymbolGap);
    }
    const int textWidth = ColumnWidths[0] + ColumnWidths[1] + ColumnWidths[2];
    // The symbol's width in pixels, or in percent of the item height.
    const int symbolWidth = !Symbol.Visible ? 0
                            : Symbol.WidthUnits == lcsPixels ? Symbol.Width
                                                             : int(std::lround(0.01 * Symbol.Width * ItemHeight));
    XLegendText = 6 + TextSymbolGap / 2 + (fCheckBoxes ? kCheckBoxRoom : 0);
    XCheckBox = 4;
    XLegendColor = XLegendText;
    XLegendBox = symbolWidth + HorizMargin;
    const int itemWidth = XLegendText + (symbolWidth > 0 ? XLegendBox + TextSymbolGap + 2 : 0) + textWidth + 6;

    int width, rows;
    if (Vertical()) {
        rows = canShow;
        NumCols = 1;
        NumRows = rows;
        width = itemWidth;
    } else {
        const int room = chartRect.Width() - 2 * frame;
        NumCols = 1;
        for (int n = std::max(1, canShow); n >= 1; --n)
            if (n * itemWidth <= room || n == 1) {
                NumCols = n;
                break;
            }
        const int maxRows = MaxNumRows == 0 ? 10 : MaxNumRows;
        NumRows = std::min(maxRows, total == 0 ? 0 : (total + NumCols - 1) / NumCols);
        rows = std::min(total, NumRows * NumCols);
        width = NumCols * itemWidth;
    }
    fRows = rows;
    LastValue = fFirstValue + rows - 1;
    const int height = ItemHeight * NumRows + 2 + 2 * margin + frame + titleBand;
    width = std::max(width, titleWidth + 12) + frame;

    int left, top;
    if (fCustomPosition) {
        left = PositionUnits == muPercent ? int(std::lround(0.01 * bounds.Width() * fLeft)) : fLeft;
        top = PositionUnits == muPercent ? int(std::lround(0.01 * bounds.Height() * fTop)) : fTop;
    } else {
        switch (fAlignment) {
        case laLeft:
            left = chartRect.Left + frame + 1;
            top = chartRect.Top + int(std::lround(0.01 * TopPos * chartRect.Height()));
            break;
        case laRight:
            left = chartRect.Right - ShadowSize - frame / 2 - 1 - width;
            top = chartRect.Top + int(std::lround(0.01 * TopPos * chartRect.Height()));
            break;
        case laTop:
            left = (chartRect.Left + chartRect.Right) / 2 - width / 2;
            top = chartRect.Top;
            break;
        default:
            left = (chartRect.Left + chartRect.Right) / 2 - width / 2;
            top = chartRect.Bottom - height;
            break;
        }
    }
    RectLegend = TRect{left, top, left + width, top + height};
    if (fChart->OnGetLegendRect)
        fChart->OnGetLegendRect(fChart, RectLegend);
    if (ResizeChart && !fCustomPosition) {
        const int gap = ShadowSize + 4;
        switch (fAlignment) {
        case laLeft: chartRect.Left = RectLegend.Right + gap; break;
        case laRight: chartRect.Right = RectLegend.Left - gap; break;
        case laTop: chartRect.Top = RectLegend.Bottom + gap; break;
        case laBottom: chartRect.Bottom = RectLegend.Top - gap; break;
        }
        chartRect.Right = std::max(chartRect.Right, chartRect.Left + 1);
        chartRect.Bottom = std::max(chartRect.Bottom, chartRect.Top + 1);
    }
}

int TCustomChartLegend::ItemsTop() const
{
    return RectLegend.Top + 1 + int(std::lround(ItemHeight * 0.1)) + (TitleHeight > 0 ? TitleHeight + 4 : 0);
}

void TCustomChartLegend::Draw()
{
    TCanvas3D* c = fChart->Canvas();
    DrawShape(RectLegend);
    c->SetBackMode(cbmTransparent);
    c->SetTextAlign(TA_LEFT | TA_TOP);
    if (TitleHeight > 0) {
        c->AssignFont(fTitle.Font());
        const int fh = c->FontHeight();
        int y = RectLegend.Top + 2 + FrameWidth();
        for (const QString& line : fTitle.Text()) {
            const int tw = c->TextWidth(line);
            int x = RectLegend.Left + 6;
            if (fTitle.Alignment() == taCenter)
                x = (RectLegend.Left + RectLegend.Right - tw) / 2;
            else if (fTitle.Alignment() == taRightJustify)
                x = RectLegend.Right - 6 - tw;
            c->TextOut(x, y, line);
            y += fh;
        }
    }
    c->AssignFont(fFont);
    const int itemWidth = NumCols > 0 ? (RectLegend.Width() - FrameWidth()) / NumCols : RectLegend.Width();
    const int fh = c->FontHeight();
    const TLegendStyle style = CalcLegendStyle();
    for (int k = 0; k < fRows; ++k) {
        const int index = fFirstValue + (Inverted ? fRows - 1 - k : k);
        const int row = Vertical() ? k : k / std::max(1, NumCols);
        const int col = Vertical() ? 0 : k % std::max(1, NumCols);
        const int x0 = RectLegend.Left + col * itemWidth;
        const int y0 = ItemsTop() + row * ItemHeight;
        const int yMid = y0 + ItemHeight / 2;
        TChartSeries* series = PerSeries(style) ? SeriesAt(index) : GetLegendSeries();
        int x = x0 + XLegendText;
        int xColor = x;
        int y = yMid - fh / 2;
        if (fChart->OnGetLegendPos)
            fChart->OnGetLegendPos(fChart, index, x, y, xColor);
        if (fCheckBoxes && series) {
            const int size = std::min(11, ItemHeight - 4);
            const TRect box{x0 + XCheckBox, yMid - size / 2, x0 + XCheckBox + size, yMid - size / 2 + size};
            c->Brush().SetStyle(bsSolid);
            c->Brush().SetColor(clWhite);
            TTeePen framePen;
            framePen.SetColor(clGray);
            c->AssignVisiblePen(framePen);
            if (CheckBoxesStyle == cbsRadio)
                c->Ellipse(box);
            else
                c->Rectangle(box);
            if (series->Active()) {
                TTeePen mark;
                mark.SetWidth(2);
                c->AssignVisiblePen(mark);
                if (CheckBoxesStyle == cbsRadio) {
                    c->Brush().SetColor(clBlack);
                    c->Ellipse(TRect{box.Left + 3, box.Top + 3, box.Right - 3, box.Bottom - 3});
                } else {
                    c->MoveTo(box.Left + 2, box.Top + size / 2);
                    c->LineTo(box.Left + size / 2 - 1, box.Bottom - 3);
                    c->LineTo(box.Right - 2, box.Top + 2);
                }
            }
        }
        int textX = x;
        if (Symbol.Visible && XLegendBox > 0 && series) {
            const int w = XLegendBox - HorizMargin;
            const int sx = Symbol.Position == spLeft ? xColor : x0 + itemWidth - 6 - w;
            const TRect symbolRect{sx, y0 + 2, sx + w, y0 + ItemHeight - 2};
            const TColor color = PerSeries(style) ? series->SeriesColor() : series->ValueColor(index);
            if (Symbol.OnDraw)
                Symbol.OnDraw(series, index, symbolRect);
            else
                series->DrawLegendShape(color, symbolRect);
            if (Symbol.Position == spLeft)
                textX = sx + XLegendBox + TextSymbolGap + 2;
        }
        TTeeFont f;
        f.Assign(fFont);
        if (FontSeriesColor && series)
            f.SetColor(series->SeriesColor());
        c->AssignFont(f);
        const QStringList cols = LegendText(index).split(kColumnSeparator);
        int cx = textX;
        for (int k2 = 0; k2 < 3 && k2 < cols.size(); ++k2) {
            c->TextOut(cx, y, cols[k2]);
            cx += ColumnWidths[k2];
        }
        if (DividingLines.Visible() && k > 0 && col == 0) {
            c->AssignVisiblePen(DividingLines);
            c->HorizLine(RectLegend.Left, RectLegend.Right, y0);
        }
    }
}

int TCustomChartLegend::Clicked(int x, int y) const
{
    const TRect& r = RectLegend;
    if (x < r.Left || x >= r.Right || y < r.Top || y >= r.Bottom || ItemHeight <= 0)
        return -1;
    const int dy = y - ItemsTop();
    if (dy < 0)
        return -1;
    const int row = dy / ItemHeight;
    if (row >= NumRows)
        return -1;
    int k = row;
    if (!Vertical()) {
        const int itemWidth = NumCols > 0 ? (r.Width() - FrameWidth()) / NumCols : r.Width();
        const int col = itemWidth > 0 ? (x - r.Left) / itemWidth : 0;
        if (col >= NumCols)
            return -1;
        k = row * NumCols + col;
    }
    if (k >= fRows)
        return -1;
    return fFirstValue + (Inverted ? fRows - 1 - k : k);
}

void TCustomChartLegend::DoClick(int itemIndex)
{
    if (itemIndex == -1 || !fCheckBoxes || CalcLegendStyle() == lsSeriesGroups)
        return;
    if (CheckBoxesStyle == cbsCheck) {
        if (TChartSeries* s = SeriesAt(itemIndex))
            s->SetActive(!s->Active());
        return;
    }
    std::vector<TChartSeries*> shown;
    for (int i = 0; TChartSeries* s = SeriesAt(i); ++i)
        shown.push_back(s);
    for (int i = 0; i < int(shown.size()); ++i)
        shown[std::size_t(i)]->SetActive(i == itemIndex);
}
