#include "views/uFoAuswertungUebersicht.h"

#include "testdata/uDMorvex.h"

#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

TFOOrvexAuswertung* FOOrvexAuswertung = nullptr;

namespace {
QFrame* MakePanel(const QString& name, QWidget* parent)
{
    auto* p = new QFrame(parent);
    p->setObjectName(name);
    p->setFrameShape(QFrame::StyledPanel);
    return p;
}
}

TFOOrvexAuswertung::TFOOrvexAuswertung(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("FOOrvexAuswertung"));
    resize(1443, 1152);
    setMinimumSize(800, 600);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    Bedienpanel = MakePanel(QStringLiteral("Bedienpanel"), this);
    Bedienpanel->setFixedHeight(36);
    auto* buttons = new QHBoxLayout(Bedienpanel);
    buttons->setContentsMargins(4, 4, 4, 4);
    BitBtn1 = new QPushButton(QStringLiteral("&Schließen"), Bedienpanel);
    BitBtn1->setObjectName(QStringLiteral("BitBtn1"));
    BtnRohdaten = new QPushButton(QStringLiteral("Rohdaten"), Bedienpanel);
    BtnRohdaten->setObjectName(QStringLiteral("BtnRohdaten"));
    BtnRohdaten->setEnabled(false);
    BtnRefresh = new QPushButton(QStringLiteral("aktualisieren"), Bedienpanel);
    BtnRefresh->setObjectName(QStringLiteral("BtnRefresh"));
    BtnRefresh->setEnabled(false);
    buttons->addWidget(BitBtn1);
    buttons->addWidget(BtnRohdaten);
    buttons->addWidget(BtnRefresh);
    buttons->addStretch();
    outer->addWidget(Bedienpanel);

    auto* body = new QHBoxLayout;
    body->setSpacing(0);
    KopfdatenPanel = MakePanel(QStringLiteral("KopfdatenPanel"), this);
    KopfdatenPanel->setFixedWidth(221);
    Panel3 = MakePanel(QStringLiteral("Panel3"), this);
    Panel3->setFixedWidth(80);
    ChartPanel = MakePanel(QStringLiteral("ChartPanel"), this);
    body->addWidget(KopfdatenPanel);
    body->addWidget(Panel3);
    body->addWidget(ChartPanel, 1);
    outer->addLayout(body, 1);

    connect(BitBtn1, &QPushButton::clicked, this, &TFOOrvexAuswertung::BitBtn1Click);
    // Key preview: the window sees keys before any of its controls.
    qApp->installEventFilter(this);

    if (const QScreen* s = screen())
        move(s->availableGeometry().center() - rect().center());

    FormCreate();
}

TFOOrvexAuswertung::~TFOOrvexAuswertung()
{
    qApp->removeEventFilter(this);
    if (FOOrvexAuswertung == this)
        FOOrvexAuswertung = nullptr;
}

void TFOOrvexAuswertung::FormCreate()
{
    fRefreshLaeuft = false;
    setWindowTitle(Produkinfo);
    fErsterStart = true;
    fXAchseGeaendert = false;
}

void TFOOrvexAuswertung::FormActivate()
{
    if (ProgrammEndet || !fErsterStart)
        return;
    fErsterStart = false;
    setWindowState(windowState() | Qt::WindowMaximized);
}

void TFOOrvexAuswertung::FormKeyDown(int key)
{
    if (key == Qt::Key_End)
        ProgrammBeenden();
}

void TFOOrvexAuswertung::BitBtn1Click()
{
    ProgrammBeenden();
}

void TFOOrvexAuswertung::ProgrammBeenden()
{
    ProgrammEndet = true;
    if (DMorvex) {
        // The datasets go first, newest registration first, then the connection.
        TFIBDatabase* db = DMorvex->orvexDB.get();
        for (int i = db->FIBBaseCount() - 1; i >= 0; --i) {
            const TFIBBase* base = db->FIBBases(i);
            TComponent* statement = base ? base->Owner() : nullptr;
            auto* ds = statement ? dynamic_cast<TFIBDataSet*>(statement->Owner()) : nullptr;
            if (ds && ds->Active())
                ds->Close();
        }
        db->SetConnected(false);
    }
    QCoreApplication::processEvents();
    DelayMs(200);
    close();
}

void TFOOrvexAuswertung::FormCloseQuery(bool& canClose)
{
    canClose = true;
}

void TFOOrvexAuswertung::FormClose()
{
}

bool TFOOrvexAuswertung::event(QEvent* e)
{
    if (e->type() == QEvent::WindowActivate)
        FormActivate();
    return QWidget::event(e);
}

void TFOOrvexAuswertung::showEvent(QShowEvent* e)
{
    QWidget::showEvent(e);
    // Offscreen and some window managers never activate; the first show counts then.
    FormActivate();
}

void TFOOrvexAuswertung::closeEvent(QCloseEvent* e)
{
    bool canClose = true;
    FormCloseQuery(canClose);
    if (!canClose) {
        e->ignore();
        return;
    }
    FormClose();
    e->accept();
}

bool TFOOrvexAuswertung::eventFilter(QObject* watched, QEvent* e)
{
    if (e->type() == QEvent::KeyPress && !ProgrammEndet) {
        auto* w = qobject_cast<QWidget*>(watched);
        if (w && w->window() == this && static_cast<QKeyEvent*>(e)->key() == Qt::Key_End) {
            FormKeyDown(Qt::Key_End);
            return true;
        }
    }
    return QWidget::eventFilter(watched, e);
}
