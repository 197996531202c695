#include "dbcontrols/TSMDBNavigator.h"

#include "dbaccess/FIBDataSet.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QPainterPath>

namespace {
// A triangle pointing left or right, with a bar in front of it for first and last.
QIcon NavigatorIcon(TSMDBNavigator::TNavigateBtn which)
{
    QIcon icon;
    for (const bool enabled : {true, false}) {
        QPixmap pm(16, 16);
        pm.fill(Qt::transparent);
        QPainter p(&pm);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        p.setBrush(enabled ? QColor(0x20, 0x20, 0x20) : QColor(0xA0, 0xA0, 0xA0));
        const bool left = which == TSMDBNavigator::nbFirst || which == TSMDBNavigator::nbPrior;
        const bool bar = which == TSMDBNavigator::nbFirst || which == TSMDBNavigator::nbLast;
        QPainterPath tri;
        if (left) {
            tri.moveTo(11, 3);
            tri.lineTo(11, 13);
            tri.lineTo(5, 8);
        } else {
            tri.moveTo(5, 3);
            tri.lineTo(5, 13);
            tri.lineTo(11, 8);
        }
        tri.closeSubpath();
        p.drawPath(tri);
        if (bar)
            p.drawRect(left ? QRectF(3, 3, 2, 10) : QRectF(11, 3, 2, 10));
        p.end();
        icon.addPixmap(pm, enabled ? QIcon::Normal : QIcon::Disabled);
    }
    return icon;
}
}

TSMDBNavigator::TSMDBNavigator(QWidget* parent) : QWidget(parent)
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    const char* hints[] = {"Erster Datensatz", "Vorheriger Datensatz", "Nächster Datensatz", "Letzter Datensatz"};
    const char* names[] = {"First", "Prior", "Next", "Last"};
    for (int i = 0; i < 4; ++i) {
        auto* b = new QToolButton(this);
        b->setObjectName(QString::fromLatin1(names[i]));
        b->setAutoRaise(true);
        b->setIcon(NavigatorIcon(static_cast<TNavigateBtn>(i)));
        b->setIconSize(QSize(16, 16));
        b->setFixedSize(28, 26);
        b->setToolTip(QString::fromUtf8(hints[i]));
        connect(b, &QToolButton::clicked, this, [this, i] { BtnClick(static_cast<TNavigateBtn>(i)); });
        layout->addWidget(b);
        fButtons[static_cast<std::size_t>(i)] = b;
    }
    UpdateButtons();
}

TSMDBNavigator::~TSMDBNavigator()
{
    fLink.SetDataSource(nullptr);
}

void TSMDBNavigator::SetDataSource(TDataSource* value)
{
    fLink.SetDataSource(value);
    UpdateButtons();
}

void TSMDBNavigator::BtnClick(TNavigateBtn which)
{
    TDataSet* ds = fLink.DataSet();
    if (!fLink.Active() || !ds || !fButtons[which]->isEnabled())
        return;
    switch (which) {
    case nbFirst: ds->First(); break;
    case nbPrior: ds->Prior(); break;
    case nbNext: ds->Next(); break;
    case nbLast: ds->Last(); break;
    }
}

void TSMDBNavigator::UpdateButtons()
{
    TDataSet* ds = fLink.Active() ? fLink.DataSet() : nullptr;
    bool up = false, down = false;
    if (ds && !ds->IsEmpty()) {
        const int recNo = ds->RecNo();
        up = !ds->Bof() && recNo != 1;
        // The end is known only when every row is there; before that, next may still find one.
        const auto* fib = dynamic_cast<const TFIBCustomDataSet*>(ds);
        const bool endKnown = !fib || fib->AllFetched();
        down = !ds->Eof() && !(endKnown && recNo >= ds->RecordCount());
    }
    fButtons[nbFirst]->setEnabled(up);
    fButtons[nbPrior]->setEnabled(up);
    fButtons[nbNext]->setEnabled(down);
    fButtons[nbLast]->setEnabled(down);
}
