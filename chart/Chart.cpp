#include "chart/Chart.h"

#include <QMouseEvent>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

// ================================================================ shapes

TTeeCustomShape::TTeeCustomShape(TCustomChart* chart) : fChart(chart)
{
    fFont.OnChange = [this] { Changed(); };
    fFrame.OnChange = [this] { Changed(); };
    fBrush.OnChange = [this] { Changed(); };
}

void TTeeCustomShape::Changed()
{
    if (fChart)
        fChart->Invalidate();
}

void TTeeCustomShape::DrawShape(const TRect& r)
{
    TCanvas3D* c = fChart->Canvas();
    if (fTransparent) {
        c->Brush().SetStyle(bsClear);
    } else {
        c->Brush().SetStyle(fBrush.Style());
        c->Brush().SetColor(fBrush.Color());
    }
    c->AssignVisiblePen(fFrame);
    c->Rectangle(r);
}

TChartTitle::TChartTitle(TCustomChart* chart, bool foot) : TStringsShape(chart), fFoot(foot)
{
    fTransparent = true;
    fFrame.SetVisible(false);
    fFont.SetColor(foot ? clRed : clBlue);
    if (foot)
        fFont.SetStyle(fsItalic);
}

void TChartTitle::CalcBand(TRect& chartRect, bool remember)
{
    TCanvas3D* c = fChart->Canvas();
    c->AssignFont(fFont);
    const int band = int(fText.size()) * c->FontHeight() + VertMargin + FrameWidth();
    TRect bounds;
    if (CustomPosition) {
        bounds = TRect{Left, Top, Left, Top + band};
    } else if (fFoot) {
        bounds = TRect{chartRect.Left, chartRect.Bottom - band, chartRect.Right, chartRect.Bottom};
        chartRect.Bottom -= band;
    } else {
        bounds = TRect{chartRect.Left, chartRect.Top, chartRect.Right, chartRect.Top + band};
        chartRect.Top += band;
    }
    if (remember)
        ShapeBounds = bounds;
}

void TChartTitle::Draw()
{
    TCanvas3D* c = fChart->Canvas();
    c->AssignFont(fFont);
    c->SetBackMode(cbmTransparent);
    const int fh = c->FontHeight();
    int widest = 0;
    for (const QString& line : fText)
        widest = std::max(widest, c->TextWidth(line));
    const TRect& b = fChart->ChartBounds();
    const int w = b.Width();
    int y = CustomPosition ? Top : ShapeBounds.Top + (fFoot ? 0 : VertMargin / 2);
    int frameLeft = ShapeBounds.Left, frameRight = ShapeBounds.Right;
    for (const QString& line : fText) {
        const int tw = c->TextWidth(line);
        int x;
        if (CustomPosition)
            x = Left;
        else if (fAlignment == taLeftJustify)
            x = b.Left + int(std::lround(0.01 * w * fChart->MarginLeft()));
        else if (fAlignment == taRightJustify)
            x = b.Right - int(std::lround(0.01 * w * fChart->MarginRight())) - tw;
        else
            x = fChart->ChartXCenter() - tw / 2;
        if (tw == widest) {
            frameLeft = x - 2;
            frameRight = x + tw + 2;
        }
        c->SetTextAlign(TA_LEFT | TA_TOP);
        c->TextOut(x, y, line);
        y += fh;
    }
    if (AdjustFrame) {
        ShapeBounds.Left = frameLeft;
        ShapeBounds.Right = frameRight;
    }
    if (fFrame.Visible()) {
        c->Brush().SetStyle(bsClear);
        c->AssignVisiblePen(fFrame);
        c->Rectangle(ShapeBounds);
    }
}

TChartWall::TChartWall(TCustomChart* chart) : fChart(chart)
{
    fPen.OnChange = [this] { Changed(); };
    fBrush.OnChange = [this] { Changed(); };
}

void TChartWall::Changed()
{
    if (fChart)
        fChart->Invalidate();
}

void TChartWall::SetColor(TColor v)
{
    if (v != fColor) {
        fColor = v;
        Changed();
    }
}

void TChartWall::SetTransparent(bool v)
{
    if (v != fTransparent) {
        fTransparent = v;
        Changed();
    }
}

void TChartWall::SetVisible(bool v)
{
    if (v != fVisible) {
        fVisible = v;
        Changed();
    }
}

// ================================================================ the chart

TCustomChart::TCustomChart(QWidget* parent)
    : TCustomAxisPanel(parent), fLegend(std::make_unique<TChartLegend>(this)), fWalls(this)
{
}

TCustomChart::~TCustomChart() = default;

TChartTitle& TCustomChart::Title()
{
    if (!fTitle)
        fTitle = std::make_unique<TChartTitle>(this);
    return *fTitle;
}

TChartTitle& TCustomChart::SubTitle()
{
    if (!fSubTitle)
        fSubTitle = std::make_unique<TChartTitle>(this);
    return *fSubTitle;
}

TChartFootTitle& TCustomChart::Foot()
{
    if (!fFoot)
        fFoot = std::make_unique<TChartFootTitle>(this);
    return *fFoot;
}

TChartFootTitle& TCustomChart::SubFoot()
{
    if (!fSubFoot)
        fSubFoot = std::make_unique<TChartFootTitle>(this);
    return *fSubFoot;
}

void TCustomChart::DrawTitlesAndLegend(bool beforeSeries)
{
    TChartLegend& legend = *fLegend;
    const bool showLegend = legend.ShouldDraw();
    if (beforeSeries) {
        TRect r = fChartRect;
        ReserveTitlesAndLegend(r, true);
        SetChartRect(r);
        for (TChartTitle* t : {fTitle.get(), fSubTitle.get(), static_cast<TChartTitle*>(fFoot.get()),
                               static_cast<TChartTitle*>(fSubFoot.get())})
            if (t && t->ShouldDraw())
                t->Draw();
        if (showLegend && legend.DrawBehind)
            legend.Draw();
        return;
    }
    if (showLegend && !legend.DrawBehind)
        legend.Draw();
}

void TCustomChart::ReserveTitlesAndLegend(TRect& r, bool remember)
{
    TChartLegend& legend = *fLegend;
    const bool showLegend = legend.ShouldDraw();
    auto titles = [&] {
        for (TChartTitle* t : {fTitle.get(), fSubTitle.get()})
            if (t && t->ShouldDraw())
                t->CalcBand(r, remember);
        for (TChartTitle* t : {static_cast<TChartTitle*>(fFoot.get()), static_cast<TChartTitle*>(fSubFoot.get())})
            if (t && t->ShouldDraw())
                t->CalcBand(r, remember);
    };
    // A legend on the side is placed first so the titles centre over what is left.
    if (showLegend && legend.Vertical()) {
        legend.CalcLegendRect(r);
        titles();
    } else {
        titles();
        if (showLegend)
            legend.CalcLegendRect(r);
    }
}

void TCustomChart::DrawWalls()
{
    TChartBackWall& w = fWalls.BackWall;
    if (w.Visible()) {
        TCanvas3D* c = Canvas();
        if (w.Transparent()) {
            c->Brush().SetStyle(bsClear);
        } else {
            c->Brush().SetStyle(w.Brush().Style());
            c->Brush().SetColor(w.Color() == clTeeColor ? clSilver : w.Color());
        }
        c->AssignVisiblePen(w.Pen());
        const TRect& r = fChartRect;
        // The wall frames the plot on its outer pixels.
        c->Rectangle(TRect{r.Left - 1, r.Top - 1, r.Right + 1, r.Bottom + 1});
    }
    // A picture inside the walls lies over the wall's fill, within its frame.
    if (!BackImage.isNull() && BackImageInside)
        DrawBackImage(fChartRect);
}

// ------------------------------------------------------------------ hit test

TChartClickResult TCustomChart::CalcClickResult(QPoint pos, bool checkSeries)
{
    TChartClickResult click;
    const int x = pos.x(), y = pos.y();
    auto legendHit = [&] {
        if (!fLegend->ShouldDraw())
            return false;
        const TRect& r = fLegend->RectLegend;
        if (x >= r.Left && x < r.Right && y >= r.Top && y < r.Bottom) {
            click.ClickedArea = caLegend;
            click.PointIndex = fLegend->Clicked(x, y);
            return true;
        }
        return false;
    };
    if (fLegend->DrawBehind && legendHit())
        return click;
    for (int i = SeriesCount() - 1; i >= 0; --i) {
        TChartSeries* s = Series(i);
        if (!s->Active())
            continue;
        if (checkSeries && !s->OnClick && !OnClickSeries)
            continue;
        const int row = s->Clicked(x, y);
        if (row != -1) {
            click.ClickedArea = caSeries;
            click.PointIndex = row;
            click.ASeries = s;
            return click;
        }
    }
    for (TChartAxis* a : Axes()) {
        if (!IsAxisShown(a))
            continue;
        if (a->AxisClicked(x, y)) {
            click.ClickedArea = caAxis;
            click.AAxis = a;
            return click;
        }
        const TRect t = a->TitleRect();
        if (t.Width() > 0 && x >= t.Left && x < t.Right && y >= t.Top && y < t.Bottom) {
            click.ClickedArea = caAxisTitle;
            click.AAxis = a;
            return click;
        }
    }
    if (!fLegend->DrawBehind && legendHit())
        return click;
    const std::pair<TChartTitle*, TChartClickedArea> titles[] = {
        {fTitle.get(), caTitle}, {fSubTitle.get(), caSubTitle}, {fFoot.get(), caFoot}, {fSubFoot.get(), caSubFoot}};
    for (const auto& [t, style] : titles) {
        if (!t || !t->ShouldDraw())
            continue;
        const TRect& r = t->ShapeBounds;
        if (x >= r.Left && x < r.Right && y >= r.Top && y < r.Bottom) {
            click.ClickedArea = style;
            return click;
        }
    }
    const TRect& r = fChartRect;
    if (CountActiveSeries() > 0 && x >= r.Left && x < r.Right && y >= r.Top && y < r.Bottom)
        click.ClickedArea = caChartRect;
    return click;
}

// ------------------------------------------------------------------ the mouse

bool TCustomChart::ActiveSeriesAllowZoom() const
{
    // Line series allow zoom; a chart without series allows it too.
    return true;
}

void TCustomChart::MouseDown(Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y)
{
    if (CancelMouse || fZoom.Active || fPanning.Active)
        return;
    CancelMouse = false;
    const TChartClickResult click = CalcClickResult(QPoint(x, y), true);
    auto cancelled = [this] { return CancelMouse; };
    switch (click.ClickedArea) {
    case caLegend:
        if (click.PointIndex != -1 && fLegend->CheckBoxes()) {
            fLegend->DoClick(click.PointIndex);
            CancelMouse = true;   // the click is handled: no zoom starts from it
        }
        if (OnClickLegend) {
            CancelMouse = true;
            OnClickLegend(this, button, shift, x, y);
        }
        break;
    case caSeries:
    case caSeriesPointer:
        if (click.ASeries->OnClick)
            click.ASeries->OnClick(click.ASeries, click.PointIndex, button, shift, x, y);
        if (OnClickSeries)
            OnClickSeries(this, click.ASeries, click.PointIndex, button, shift, x, y);
        if (!cancelled())
            PanAndZoomStart(button, shift, x, y);
        break;
    case caAxis:
    case caAxisTitle:
        if (OnClickAxis)
            OnClickAxis(this, click.AAxis, button, shift, x, y);
        if (!cancelled())
            PanAndZoomStart(button, shift, x, y);
        break;
    case caTitle:
    case caFoot:
    case caSubTitle:
    case caSubFoot:
        if (OnClickTitle) {
            TChartTitle* t = click.ClickedArea == caTitle ? fTitle.get()
                             : click.ClickedArea == caSubTitle ? fSubTitle.get()
                             : click.ClickedArea == caFoot ? static_cast<TChartTitle*>(fFoot.get())
                                                   : static_cast<TChartTitle*>(fSubFoot.get());
            OnClickTitle(this, t, button, shift, x, y);
        }
        if (!cancelled())
            PanAndZoomStart(button, shift, x, y);
        break;
    case caChartRect:
        if (OnClickBackground)
            OnClickBackground(this, button, shift, x, y);
        if (!cancelled())
            PanAndZoomStart(button, shift, x, y);
        break;
    case caSeriesMarks:
    case caNone: break;
    }
    if (!CancelMouse) {
        if (OnClickBackground)
            OnClickBackground(this, button, shift, x, y);
        if (!CancelMouse)
            PanAndZoomStart(button, shift, x, y);
    }
    CancelMouse = false;
}

void TCustomChart::PanAndZoomStart(Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y)
{
    if (!ActiveSeriesAllowZoom())
        return;
    if (fZoom.Allow && button == fZoom.MouseButton && (shift & fZoom.KeyShift) == fZoom.KeyShift) {
        if (fZoom.Direction == tzdVertical)
            x = fChartRect.Left;
        if (fZoom.Direction == tzdHorizontal)
            y = fChartRect.Top;
        fZoom.Activate(x, y);
        if (fZoom.Direction == tzdVertical)
            fZoom.X1 = fChartRect.Right;
        if (fZoom.Direction == tzdHorizontal)
            fZoom.Y1 = fChartRect.Bottom;
        if (fZoom.X0 != fZoom.X1 || fZoom.Y0 != fZoom.Y1)
            PaintZoomRect();
    }
    if (fAllowPanning != pmNone && button == fScrollMouseButton)
        fPanning.Activate(x, y);
    CancelMouse = true;
}

void TCustomChart::ZoomRectDraw()
{
    TCanvas3D* c = Canvas();
    TTeeZoomPen& pen = fZoom.Pen();
    const TColor back = 16777215 - (fColor == clNone ? clWhite : fColor);
    if (fZoom.HasBrush() && fZoom.Brush().Style() != bsClear && !fZoom.FullRepaint) {
        c->Brush().SetStyle(fZoom.Brush().Style());
        c->Brush().SetColor(fZoom.Brush().Color() ^ back);
    } else {
        c->Brush().SetStyle(bsClear);
    }
    c->AssignVisiblePenColor(pen, fZoom.FullRepaint ? pen.Color() : (pen.Color() ^ back));
    c->Pen().SetMode(fZoom.FullRepaint ? pmNotXor : pmXor);
    const int l = std::min(fZoom.X0, fZoom.X1), r = std::max(fZoom.X0, fZoom.X1);
    const int t = std::min(fZoom.Y0, fZoom.Y1), b = std::max(fZoom.Y0, fZoom.Y1);
    c->Rectangle(TRect{l, t, r + 1, b + 1});
    c->Pen().SetMode(pmCopy);
}

void TCustomChart::PaintZoomRect()
{
    if (fZoom.FullRepaint || !BeginLiveDraw()) {
        // No picture to draw on: the next paint draws the band (InternalDraw's last step).
        fZoomRectShown = false;
        Invalidate();
        return;
    }
    ZoomRectDraw();
    fZoomRectShown = !fZoomRectShown;
    EndLiveDraw();
}

void TCustomChart::DrawZoomRectangle()
{
    fZoomRectShown = false;
    if (fZoom.Active && (fZoom.X0 != fZoom.X1 || fZoom.Y0 != fZoom.Y1)) {
        ZoomRectDraw();
        fZoomRectShown = true;
    }
}

void TCustomChart::MouseMove(Qt::KeyboardModifiers shift, int x, int y)
{
    if (CancelMouse)
        return;
    if (OnMouseMove)
        OnMouseMove(this, shift, x, y);
    if (fZoom.Active) {
        if (fZoom.Direction == tzdVertical)
            x = fChartRect.Right;
        if (fZoom.Direction == tzdHorizontal)
            y = fChartRect.Bottom;
        if (x == fZoom.X1 && y == fZoom.Y1)
            return;
        if (fZoomRectShown)
            PaintZoomRect();   // erase
        if (fZoom.KeepAspectRatio && fChartRect.Height() > 0) {
            const double ratio = double(fChartRect.Width()) / fChartRect.Height();
            const double dx = std::abs(x - fZoom.X0), dy = std::abs(y - fZoom.Y0);
            const double a = dy == 0 ? 1e300 : dx / dy;
            if (a < ratio) {
                fZoom.X1 = fZoom.X0 + int(std::lround((y - fZoom.Y0) * ratio));
                fZoom.Y1 = fZoom.Y0 + int(std::lround((fZoom.X1 - fZoom.X0) / ratio));
            } else {
                fZoom.Y1 = fZoom.Y0 + int(std::lround((x - fZoom.X0) / ratio));
                fZoom.X1 = fZoom.X0 + int(std::lround((fZoom.Y1 - fZoom.Y0) * ratio));
            }
        } else {
            fZoom.X1 = x;
            fZoom.Y1 = y;
        }
        if (!fZoom.FullRepaint)
            PaintZoomRect();
        else
            Invalidate();
        return;
    }
    if (fPanning.Active) {
        const TRect& r = fChartRect;
        if (fPanning.InsideBounds && !(x >= r.Left && x < r.Right && y >= r.Top && y < r.Bottom)) {
            fPanning.Active = false;
            return;
        }
        if (x == fPanning.X1 && y == fPanning.Y1)
            return;
        if (fRestoreAxesNotStored)
            StoreAxes();
        const bool h = ScrollAxes(true, fPanning.X1, x);
        const bool v = ScrollAxes(false, fPanning.Y1, y);
        fPanning.X1 = x;
        fPanning.Y1 = y;
        if (h || v) {
            if (OnScroll)
                OnScroll(this);
            Invalidate();
        }
    }
}

bool TCustomChart::ScrollAxes(bool horizontal, int oldPixel, int newPixel)
{
    if (oldPixel == newPixel)
        return false;
    if (!(fAllowPanning == pmBoth || (horizontal ? fAllowPanning == pmHorizontal : fAllowPanning == pmVertical)))
        return false;
    bool any = false;
    for (TChartAxis* a : Axes()) {
        if (a->IsDepthAxis || a->Horizontal() != horizontal)
            continue;
        double min = a->MinimumOffset() == 0 && a->MaximumOffset() == 0 ? a->IMinimum : a->Minimum();
        double max = a->MinimumOffset() == 0 && a->MaximumOffset() == 0 ? a->IMaximum : a->Maximum();
        if (a->Logarithmic()) {
            const int shift = newPixel - oldPixel;
            const double nmin = a->CalcPosPoint(a->CalcPosValue(min) - shift);
            const double nmax = a->CalcPosPoint(a->CalcPosValue(max) - shift);
            if (nmin > nmax)
                continue;
            min = nmin;
            max = nmax;
        } else {
            const double delta = a->CalcPosPoint(oldPixel) - a->CalcPosPoint(newPixel);
            if (std::abs(min + delta) > 1.7e308 || std::abs(max + delta) > 1.7e308)
                continue;
            min += delta;
            max += delta;
        }
        bool allow = true;
        if (OnAllowScroll)
            OnAllowScroll(a, min, max, allow);
        if (allow) {
            a->SetMinMax(min, max);
            any = true;
        }
    }
    return any;
}

void TCustomChart::MouseUp(Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y)
{
    (void)shift;
    CancelMouse = false;
    if (fZoom.Active && button == fZoom.MouseButton) {
        fZoom.Active = false;
        if (fZoomRectShown)
            PaintZoomRect();   // erase
        Canvas()->Pen().SetMode(pmCopy);
        if (!fZoom.KeepAspectRatio) {
            if (fZoom.Direction != tzdVertical)
                fZoom.X1 = x;
            if (fZoom.Direction != tzdHorizontal)
                fZoom.Y1 = y;
        }
        const bool wide = std::abs(fZoom.X1 - fZoom.X0) > fZoom.MinimumPixels;
        const bool high = std::abs(fZoom.Y1 - fZoom.Y0) > fZoom.MinimumPixels;
        const bool counts = fZoom.Direction == tzdHorizontal ? wide : fZoom.Direction == tzdVertical ? high : wide && high;
        if (counts) {
            bool zoom = true;
            if (!fZoom.UpLeftZooms)
                zoom = fZoom.Direction == tzdVertical ? fZoom.Y1 > fZoom.Y0 : fZoom.X1 > fZoom.X0;
            if (zoom)
                DoZoom();
            else
                UndoZoom();
        }
        Invalidate();
    }
    fPanning.Active = false;
}

void TCustomChart::MouseWheel(int delta)
{
    // A wheel tilted sideways turns neither up nor down.
    if (delta == 0)
        return;
    const bool up = delta > 0;
    if (fPanning.MouseWheel != pmwNone && (fAllowPanning == pmVertical || fAllowPanning == pmBoth)) {
        const bool sense = fPanning.MouseWheel == pmwInverted ? !up : up;
        if (fRestoreAxesNotStored)
            StoreAxes();
        for (TChartAxis* a : Axes()) {
            if (a->Horizontal() || a->IsDepthAxis)
                continue;
            double d = (a->Maximum() - a->Minimum()) * 3 * 0.01;
            if (!sense)
                d = -d;
            double min = a->Minimum() + d, max = a->Maximum() + d;
            bool allow = true;
            if (OnAllowScroll)
                OnAllowScroll(a, min, max, allow);
            if (allow)
                a->Scroll(d, false);
        }
        if (OnScroll)
            OnScroll(this);
        return;
    }
    if (fZoom.Allow && fZoom.MouseWheel != pmwNone) {
        const bool sense = fZoom.MouseWheel == pmwInverted ? !up : up;
        ZoomPercent(sense ? 110 : 90);
    }
}

void TCustomChart::mousePressEvent(QMouseEvent* event)
{
    const QPoint p = event->position().toPoint();
    MouseDown(event->button(), event->modifiers(), p.x(), p.y());
}

void TCustomChart::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint p = event->position().toPoint();
    MouseMove(event->modifiers(), p.x(), p.y());
}

void TCustomChart::mouseReleaseEvent(QMouseEvent* event)
{
    const QPoint p = event->position().toPoint();
    MouseUp(event->button(), event->modifiers(), p.x(), p.y());
}

void TCustomChart::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (OnDblClick)
        OnDblClick(this);
    else
        QWidget::mouseDoubleClickEvent(event);
}

void TCustomChart::wheelEvent(QWheelEvent* event)
{
    const int delta = event->angleDelta().y();
    if (delta == 0) {
        event->ignore();
        return;
    }
    MouseWheel(delta);
    event->accept();
}

// ------------------------------------------------------------------ zoom

void TCustomChart::StoreAxes()
{
    fRestoreAxes.clear();
    for (TChartAxis* a : Axes()) {
        TAxisRestore r;
        r.Axis = a;
        if (!a->IsDepthAxis) {
            r.Automatic = a->Automatic();
            r.AutomaticMinimum = a->AutomaticMinimum();
            r.AutomaticMaximum = a->AutomaticMaximum();
            r.Minimum = a->Minimum();
            r.Maximum = a->Maximum();
        }
        fRestoreAxes.push_back(r);
    }
    fRestoreAxesNotStored = false;
}

void TCustomChart::TakeSnapshot()
{
    TZoomSnapshot s;
    TChartAxis* fixed[4] = {BottomAxis(), LeftAxis(), TopAxis(), RightAxis()};
    for (int i = 0; i < 4; ++i) {
        s.Fixed[2 * i] = fixed[i]->Minimum();
        s.Fixed[2 * i + 1] = fixed[i]->Maximum();
    }
    s.CustomCount = CustomAxes().Count();
    for (int i = 0; i < s.CustomCount; ++i)
        s.Custom.push_back({CustomAxes()[i]->Minimum(), CustomAxes()[i]->Maximum()});
    fHistory.push_back(std::move(s));
}

void TCustomChart::ZoomRect(const TRect& rect)
{
    fZoom.X0 = rect.Left;
    fZoom.Y0 = rect.Top;
    fZoom.X1 = rect.Right;
    fZoom.Y1 = rect.Bottom;
    DoZoom();
}

void TCustomChart::DoZoom()
{
    fZoom.Check();
    TChartAxis* vert[2] = {LeftAxis(), RightAxis()};
    TChartAxis* horiz[2] = {TopAxis(), BottomAxis()};
    double vmin[2], vmax[2], hmin[2], hmax[2];
    for (int i = 0; i < 2; ++i) {
        vmin[i] = vert[i]->CalcPosPoint(fZoom.Y1);
        vmax[i] = vert[i]->CalcPosPoint(fZoom.Y0);
        hmin[i] = horiz[i]->CalcPosPoint(fZoom.X0);
        hmax[i] = horiz[i]->CalcPosPoint(fZoom.X1);
    }
    if (fRestoreAxesNotStored)
        StoreAxes();
    const bool doVert = fZoom.Direction != tzdHorizontal;
    const bool doHoriz = fZoom.Direction != tzdVertical;
    if (fZoom.Animated) {
        const double f = fZoom.AnimatedZoomFactor;
        for (int step = 1; step < fZoom.AnimatedSteps; ++step) {
            for (int i = 0; i < 2; ++i) {
                if (doVert) {
                    TChartAxis* a = vert[i];
                    const double lo = std::min(vmin[i], vmax[i]), hi = std::max(vmin[i], vmax[i]);
                    a->SetMinMax(a->Minimum() + (lo - a->Minimum()) / f, a->Maximum() - (a->Maximum() - hi) / f);
                }
                if (doHoriz) {
                    TChartAxis* a = horiz[i];
                    const double lo = std::min(hmin[i], hmax[i]), hi = std::max(hmin[i], hmax[i]);
                    a->SetMinMax(a->Minimum() + (lo - a->Minimum()) / f, a->Maximum() - (a->Maximum() - hi) / f);
                }
            }
            repaint();
        }
    }
    for (int i = 0; i < 2; ++i) {
        if (doVert)
            vert[i]->SetMinMax(vmin[i], vmax[i]);
        if (doHoriz)
            horiz[i]->SetMinMax(hmin[i], hmax[i]);
    }
    fZoomedState = true;
    if (OnZoom)
        OnZoom(this);
    if (fZoom.History)
        TakeSnapshot();
}

void TCustomChart::UndoZoom()
{
    bool restore = true;
    if (fZoom.History && fHistory.size() > 1) {
        const TZoomSnapshot& s = fHistory[fHistory.size() - 2];
        TChartAxis* fixed[4] = {BottomAxis(), LeftAxis(), TopAxis(), RightAxis()};
        for (int i = 0; i < 4; ++i)
            fixed[i]->SetMinMax(s.Fixed[2 * i], s.Fixed[2 * i + 1]);
        fHistory.pop_back();
        restore = false;
    } else if (fZoom.History && fHistory.size() == 1) {
        fHistory.pop_back();
    }
    if (restore && !fRestoreAxesNotStored) {
        for (const TAxisRestore& r : fRestoreAxes) {
            // Only axes that still belong to the chart: a custom axis may be gone.
            if (r.Axis->IsDepthAxis || std::find(Axes().begin(), Axes().end(), r.Axis) == Axes().end())
                continue;
            r.Axis->RestoreState(r.Automatic, r.AutomaticMinimum, r.AutomaticMaximum, r.Minimum, r.Maximum);
        }
        fRestoreAxes.clear();
        fRestoreAxesNotStored = true;
    }
    fZoomedState = false;
    if (OnUndoZoom)
        OnUndoZoom(this);
    Invalidate();
    fZoomedState = false;
}

void TCustomChart::ZoomPercent(double percent)
{
    if (fRestoreAxesNotStored)
        StoreAxes();
    for (TChartAxis* a : {BottomAxis(), LeftAxis(), TopAxis(), RightAxis()}) {
        const bool inDirection = a->Horizontal() ? fZoom.Direction != tzdVertical : fZoom.Direction != tzdHorizontal;
        if (!inDirection)
            continue;
        const double delta = (a->Maximum() - a->Minimum()) * (percent - 100) * 0.01;
        a->SetMinMax(a->Minimum() + delta, a->Maximum() - delta);
    }
    fZoomedState = true;
    if (OnZoom)
        OnZoom(this);
    if (fZoom.History)
        TakeSnapshot();
}
