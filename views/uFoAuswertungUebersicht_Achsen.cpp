// The charts as their own menu: a click on an axis opens the axis dialog beside
// it, a double click hands the chart to the chart editor. Edits of a bottom axis
// reach both charts, so that the two keep one time scale.

#include "views/uFoAuswertungUebersicht.h"

#include "views/uFoSetupAx.h"

#include <QFrame>
#include <QScreen>

void TFOOrvexAuswertung::AchsenklicksVerbinden()
{
    for (TChart* c : {chart_U_I, Chart_T_RF}) {
        c->OnClickAxis = [this](TCustomChart* sender, TChartAxis* axis, Qt::MouseButton button,
                                Qt::KeyboardModifiers shift, int x, int y) {
            ChartAxisClick(sender, axis, button, shift, x, y);
        };
        c->OnDblClick = [this](TCustomChart* sender) { chartDblClick(sender); };
    }
}

void TFOOrvexAuswertung::ChartAxisClick(TCustomChart* Sender, TChartAxis* Axis, Qt::MouseButton Button,
                                        Qt::KeyboardModifiers, int X, int Y)
{
    fKlickChart = dynamic_cast<TChart*>(Sender);
    fKlickAchse = Axis;
    if (Button != Qt::LeftButton || !FoSetupAx || !Axis)
        return;

    // Beside the axis: right of a scale on the left, left of one on the right, at
    // the height of the click, and never closer than 20 pixels to the screen's foot.
    TFoSetupAx* D = FoSetupAx;
    const QWidget* P = ChartPanel;
    // The dialog's outer size; before its first showing the frame is not known yet,
    // and the main window's frame is the best guess for it.
    QSize frame = D->frameGeometry().size() - D->size();
    if (frame.isNull())
        frame = frameGeometry().size() - size();
    const int dialogWidth = D->width() + frame.width(), dialogHeight = D->height() + frame.height();
    int x = Axis->OtherSide() ? P->x() + X - dialogWidth + this->x() - 10 : P->x() + X + this->x() + 20;
    int y = P->y() + Y + Sender->y() + this->y();
    if (const QScreen* s = screen()) {
        const int limit = s->geometry().y() + s->geometry().height() - 20;
        if (dialogHeight + y > limit)
            y = limit - dialogHeight;
    }

    if (Axis->Horizontal()) {
        D->AchseBearbeiten([this] { XAchseUebernehmen(); }, fKlickAchse, x, y);
    } else {
        D->AchseBearbeiten(nullptr, Axis, x, y);
        for (int c = 1; c <= 2; ++c)
            for (int k = 0; k <= 1; ++k)
                AchseUebertragen(fCharts[c]->CustomAxes()[k], fAchsen[2 * (c - 1) + k + 1]);
    }
    // The button went up in the dialog: the chart must not start a zoom from this press.
    Sender->CancelMouse = true;
    EinstellungenSpeichern();
}

void TFOOrvexAuswertung::XAchseUebernehmen()
{
    if (!fKlickAchse || !fKlickAchse->Horizontal())
        return;
    if (fKlickChart != fCharts[1] && fKlickChart != fCharts[2])
        return;
    // Range and position only: the look of an axis stays with the chart it belongs to.
    TChartAxis* const k = fKlickAchse;
    for (int c = 1; c <= 2; ++c) {
        TChartAxis* b = fCharts[c]->BottomAxis();
        b->SetAutomatic(k->Automatic());
        if (!k->Automatic())
            b->SetMinMax(k->Minimum(), k->Maximum());
        else
            b->AdjustMaxMin();
        b->SetStartPosition(k->StartPosition());
        b->SetEndPosition(k->EndPosition());
        fCharts[c]->repaint();
    }
}

void TFOOrvexAuswertung::chartDblClick(TCustomChart* Sender)
{
    Sender->Locked = true;
    if (ChartEditorAusfuehren)
        ChartEditorAusfuehren(Sender);
    Sender->Zoom().Allow = true;
}
