#include "frame/ZELLIB_Eingabe.h"

#include "frame/MessageDlg.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"
#include "frame/zellib_Logging.h"
#include "frame/zellib_keyboard.h"
#include "frame/zellib_msg.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPointer>
#include <QScreen>
#include <QStyle>
#include <QTimer>
#include <cstdio>

TFoEingabe* CurrentEingabe = nullptr;

namespace {
constexpr int kDesignWidth = 472;
constexpr int kDesignHeight = 154;
constexpr int kEditLeft = 11;
constexpr int kEditWidth = kDesignWidth - 2 * kEditLeft;

bool IsDialogKey(int key)
{
    return key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Escape;
}

void PrintUnattended(const QString& text)
{
    std::fprintf(stderr, "%s\n", qPrintable(HTMLToPlainText(text)));
    std::fflush(stderr);
}
}

TFoEingabe::TFoEingabe(QWidget* parent)
    : QDialog(parent, Qt::Tool | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint |
                          Qt::WindowStaysOnTopHint),
      Label1(new THTMLabel(this)),
      Warnschild(new QLabel(this)),
      ValEdit(new TCurrencyEdit(this)),
      Auswahlliste(new QListWidget(this)),
      StrEdit(new QLineEdit(this)),
      ESCBtn(new QPushButton(this)),
      OKBtn(new QPushButton(this)),
      BCReader(new TComPort(this))
{
    resize(kDesignWidth, kDesignHeight);

    Label1->move(8, 8);
    Label1->SetAutoSizeType(asBoth);
    Label1->SetAutoSizing(true);
    Label1->SetTransparent(true);

    const int icon = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    Warnschild->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning, nullptr, this).pixmap(icon, icon));
    Warnschild->setGeometry(kDesignWidth - icon - 8, 8, icon, icon);
    Warnschild->hide();

    ValEdit->setGeometry(kEditLeft, 40, 150, 24);
    ValEdit->SetDecimalPlaces(3);
    ValEdit->SetDisplayFormat(QStringLiteral(",0.000 mm;-,0.000 mm"));
    ValEdit->OnChange = [this](TCurrencyEdit*) { ValEditChange(); };
    ValEdit->hide();

    Auswahlliste->setGeometry(kEditLeft, 40, kEditWidth, 150);
    connect(Auswahlliste, &QListWidget::itemDoubleClicked, this, [this] { done(QDialog::Accepted); });
    Auswahlliste->hide();

    StrEdit->setGeometry(kEditLeft, 40, kEditWidth, 24);
    StrEdit->installEventFilter(this);
    StrEdit->hide();

    ESCBtn->setObjectName(QStringLiteral("ESCBtn"));
    ESCBtn->setText(QStringLiteral("Abbruch"));
    ESCBtn->setToolTip(QStringLiteral("abbrechen"));
    ESCBtn->setAutoDefault(false);
    ESCBtn->setGeometry(kEditLeft, 110, 105, 33);
    connect(ESCBtn, &QPushButton::clicked, this, [this] { done(QDialog::Rejected); });

    OKBtn->setObjectName(QStringLiteral("OKBtn"));
    OKBtn->setText(QStringLiteral("OK"));
    OKBtn->setToolTip(QStringLiteral("Daten übernehmen"));
    OKBtn->setDefault(true);
    OKBtn->setGeometry(kDesignWidth - kEditLeft - 105, 110, 105, 33);
    fOkRightGap = kDesignWidth - (OKBtn->x() + OKBtn->width());
    connect(OKBtn, &QPushButton::clicked, this, [this] { done(QDialog::Accepted); });

    // The reader as the dialog needs it: 9600 baud, 8 data bits, no parity, one stop
    // bit, no flow control; the port itself is named by BarcodePort at paint time.
    BCReader->SetPort(QStringLiteral("COM1"));
    BCReader->SetBaudRate(br9600);
    BCReader->SetDataBits(dbEight);
    BCReader->SetStopBits(sbOneStopBit);
    BCReader->Parity.Bits = prNone;
    BCReader->FlowControl = TComFlowControl{};
    BCReader->Events = AllComEvents;
    BCReader->TriggersOnRxChar = true;
}

TFoEingabe::~TFoEingabe()
{
    FormClose();
}

void TFoEingabe::SetQuestion(const QString& text)
{
    QString html = text;
    html.replace(QLatin1String("\r\n"), QLatin1String("<BR>"));
    html.replace(u'\n', QLatin1String("<BR>"));
    html.replace(u'\r', QLatin1String("<BR>"));
    Label1->SetHTMLText({html});
}

QString TFoEingabe::NumberFormat(int decimals, const QString& unit)
{
    if (decimals < 0 || decimals > 6)
        return QString();
    const QString digits = decimals == 0 ? QStringLiteral(",0") : QStringLiteral(",0.") + QString(decimals, u'0');
    return digits + u' ' + unit + QStringLiteral(";-") + digits + u' ' + unit;
}

void TFoEingabe::ValEditChange()
{
    ValEdit->SetDisplayFormat(NumberFormat(Decimals, UnitText));
    ValEdit->SetDecimalPlaces(Decimals);
    ValEdit->SetMaxValue(MaxValue);
    ValEdit->SetMinValue(MinValue);
}

void TFoEingabe::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    FormActivate();
}

void TFoEingabe::FormActivate()
{
    if (!FirstActivate)
        return;
    FirstActivate = false;
    CurrentEingabe = this;
    Label1->resize(Label1->sizeHint());
    const int labelBottom = Label1->y() + Label1->height();

    QWidget* edit = StrEdit->isVisibleTo(this) ? static_cast<QWidget*>(StrEdit)
                  : ValEdit->isVisibleTo(this) ? static_cast<QWidget*>(ValEdit)
                                               : nullptr;
    int clientWidth = width();
    int clientHeight = height();
    if (edit) {
        clientWidth = std::max(edit->width(), Label1->width()) + 22;
        edit->move(edit->x(), labelBottom + 16);
        clientHeight = edit->y() + edit->height() + 100;
    } else if (Auswahlliste->isVisibleTo(this)) {
        // The list alone decides the width; the question may be cut.
        clientWidth = Auswahlliste->width() + 22;
        Auswahlliste->move(Auswahlliste->x(), labelBottom + 16);
        clientHeight = Auswahlliste->y() + Auswahlliste->height() + 100;
    } else {
        // A note never widens the window beyond its design width.
        clientWidth = std::min(Label1->width() + 10, clientWidth);
        clientHeight = labelBottom + 60;
    }
    const int buttonsNeed = ESCBtn->x() + ESCBtn->width() + OKBtn->width() + 30;
    if (clientWidth < buttonsNeed)
        clientWidth = buttonsNeed;
    resize(clientWidth, clientHeight);
    if (clientHeight < OKBtn->y() + OKBtn->height() + 10) {
        const int top = clientHeight - 10 - OKBtn->height();
        OKBtn->move(OKBtn->x(), top);
        ESCBtn->move(ESCBtn->x(), top);
    }
    if (PosX > 0 || PosY >= 1)
        move(PosX, PosY);

    // Fully on the screen, the top-left corner first.
    if (const QScreen* s = screen() ? screen() : QGuiApplication::primaryScreen()) {
        const QRect area = s->geometry();
        const QRect frame = frameGeometry();
        int x = frame.x(), y = frame.y();
        if (x + frame.width() > area.right() + 1)
            x = area.right() + 1 - frame.width();
        if (y + frame.height() > area.bottom() + 1)
            y = area.bottom() + 1 - frame.height();
        x = std::max(x, area.left());
        y = std::max(y, area.top());
        if (x != frame.x() || y != frame.y())
            move(x, y);
    }
    update();
    raise();
}

void TFoEingabe::resizeEvent(QResizeEvent* event)
{
    QDialog::resizeEvent(event);
    // OK keeps its distance to the right edge.
    OKBtn->move(width() - fOkRightGap - OKBtn->width(), OKBtn->y());
}

void TFoEingabe::paintEvent(QPaintEvent* event)
{
    QDialog::paintEvent(event);
    FormPaint();
}

void TFoEingabe::FormPaint()
{
    // The form is painted again whenever any of its controls repaints (a blinking caret
    // is enough), so what the paint sets up is set up once for each edit and port:
    // repeated, it would select the typed text anew and drop a scan under way.
    QWidget* edit = StrEdit->isVisibleTo(this) ? static_cast<QWidget*>(StrEdit)
                  : ValEdit->isVisibleTo(this) ? static_cast<QWidget*>(ValEdit)
                                               : nullptr;
    if (edit && edit != fKeyboardEdit) {
        fKeyboardEdit = edit;
        const QRect frame = frameGeometry();
        try {
            if (SecondKeyboard)
                ShowSecondKeyboard(edit, frame.left(), frame.bottom() + 1, QString());
            else
                ShowFirstKeyboard(edit, frame.left(), frame.bottom() + 1, QString());
        } catch (const Exception& e) {
            ReportLater(e.Message());
        }
        if (edit == StrEdit) {
            StrEdit->setText(StrEdit->text());
            StrEdit->update();
            StrEdit->selectAll();
        } else {
            ValEdit->update();
            ValEdit->setFocus();
        }
    }

    if (BarcodePort.isEmpty()) {
        if (BCReader->Connected())
            BCReader->SetConnected(false);
        BCReader->OnRxChar = nullptr;
        return;
    }
    if ((BCReader->Connected() && BCReader->Port() == BarcodePort) || BarcodePort == fFailedPort)
        return;
    BCReader->SetPort(BarcodePort);
    BCReader->OnRxChar = [this](TCustomComPort* sender, int count) { BCReaderRxChar(sender, count); };
    try {
        BCReader->SetConnected(true);
        BarcodeBuffer.clear();
    } catch (const EComPort& e) {
        fFailedPort = BarcodePort;
        ReportLater(e.Message());
        // Only the reader could have answered a window nobody sees.
        if (!IsInteractive())
            QTimer::singleShot(0, this, [this] { done(QDialog::Rejected); });
    }
}

void TFoEingabe::ReportLater(const QString& text)
{
    // Not from within the paint: the message window pumps the queue.
    QTimer::singleShot(0, this, [text] {
        if (!IsInteractive())
            PrintUnattended(text);
        MsgError(text, 0, false);
    });
}

void TFoEingabe::BCReaderRxChar(TCustomComPort* Sender, int Count)
{
    QString received;
    Sender->ReadStr(received, Count);
    BarcodeBuffer += received;
    const qsizetype end = BarcodeBuffer.indexOf(QLatin1String("\r\n"));
    if (end < 0)
        return;
    BarcodeBuffer.remove(end, 2);
    StrEdit->setText(BarcodeBuffer);
    QPointer<TFoEingabe> self(this);
    DelayMs(500);
    // Cancelled or gone meanwhile: the scan confirms nothing.
    if (!self || !isVisible())
        return;
    OKBtn->click();
    BarcodeBuffer.clear();
}

void TFoEingabe::done(int result)
{
    FormClose();
    QDialog::done(result);
}

void TFoEingabe::FormClose()
{
    CloseKeyboard();
    BCReader->SetConnected(false);
    BCReader->OnRxChar = nullptr;
    fKeyboardEdit = nullptr;
    fFailedPort.clear();
    if (CurrentEingabe == this)
        CurrentEingabe = nullptr;
}

bool TFoEingabe::DialogKey(QKeyEvent* event)
{
    if (!IsDialogKey(event->key()))
        return false;
    QPushButton* button = event->key() == Qt::Key_Escape ? ESCBtn : OKBtn;
    if (button->isVisible() && button->isEnabled())
        button->click();
    return true;
}

void TFoEingabe::keyPressEvent(QKeyEvent* event)
{
    if (DialogKey(event))
        event->accept();
    else
        QDialog::keyPressEvent(event);
}

bool TFoEingabe::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == StrEdit && event->type() == QEvent::KeyPress)
        return DialogKey(static_cast<QKeyEvent*>(event));
    return QDialog::eventFilter(watched, event);
}

// ---- Entries ----

std::unique_ptr<TFoEingabe> CreateHinweis(const QString& text)
{
    auto form = std::make_unique<TFoEingabe>();
    form->setWindowTitle(TranslateText(QStringLiteral("Hinweis")));
    form->ESCBtn->hide();
    form->OKBtn->setDefault(true);
    form->OKBtn->setText(TranslateText(QStringLiteral("&Weiter")));
    form->SetQuestion(text);
    form->OKBtn->setFocus();
    return form;
}

void ShowHinweis(const QString& text)
{
    auto form = CreateHinweis(text);
    LogLine(QStringLiteral("DLG"), form->windowTitle() + u' ' + text);
    if (!IsInteractive()) {
        PrintUnattended(form->Label1->HTMLText().join(QString()));
        return;
    }
    form->exec();
    QCoreApplication::processEvents();
}

std::unique_ptr<TFoEingabe> CreateTextQuery(const QString& question, const QString& value,
                                            const QString& barcodePort, bool secondKeyboard)
{
    auto form = std::make_unique<TFoEingabe>();
    form->setWindowTitle(TranslateText(QStringLiteral("Eingabe")));
    form->SetQuestion(question);
    form->StrEdit->setText(value);
    form->StrEdit->show();
    form->StrEdit->setFocus();
    form->BarcodePort = barcodePort;
    form->SecondKeyboard = secondKeyboard;
    return form;
}

std::unique_ptr<TFoEingabe> CreateValueQuery(const QString& question, double value, double minValue,
                                             double maxValue, int decimals, const QString& unitText)
{
    auto form = std::make_unique<TFoEingabe>();
    form->setWindowTitle(TranslateText(QStringLiteral("Eingabe")));
    form->SetQuestion(question);
    form->MinValue = minValue;
    form->MaxValue = maxValue;
    form->Decimals = decimals;
    form->UnitText = unitText;
    form->ValEditChange();
    form->ValEdit->SetValue(form->ValEdit->Limited(value));
    form->ValEdit->show();
    return form;
}

std::unique_ptr<TFoEingabe> CreateChoiceQuery(const QString& question, const QStringList& items, int index)
{
    auto form = std::make_unique<TFoEingabe>();
    form->setWindowTitle(TranslateText(QStringLiteral("Auswahl")));
    form->SetQuestion(question);
    form->Auswahlliste->addItems(items);
    form->Auswahlliste->setCurrentRow(index);
    form->Auswahlliste->show();
    form->Auswahlliste->setFocus();
    return form;
}

namespace {
// Asks the form; without anybody to answer the unattended answer is "cancel".
bool Ask(TFoEingabe& form, bool otherAnswerer = false)
{
    if (!IsInteractive() && !otherAnswerer) {
        PrintUnattended(form.Label1->HTMLText().join(QString()) + QStringLiteral(": keine Eingabe möglich"));
        return false;
    }
    return form.exec() == QDialog::Accepted;
}
}

bool EingabeText(const QString& question, QString& value, const QString& barcodePort, bool secondKeyboard)
{
    auto form = CreateTextQuery(question, value, barcodePort, secondKeyboard);
    if (!Ask(*form, !barcodePort.isEmpty()))
        return false;
    value = form->StrEdit->text();
    return true;
}

bool EingabeZahl(const QString& question, double& value, double minValue, double maxValue, int decimals,
                 const QString& unitText)
{
    auto form = CreateValueQuery(question, value, minValue, maxValue, decimals, unitText);
    if (!Ask(*form))
        return false;
    value = form->ValEdit->Value();
    return true;
}

bool EingabeAuswahl(const QString& question, const QStringList& items, int& index)
{
    auto form = CreateChoiceQuery(question, items, index);
    if (!Ask(*form))
        return false;
    index = form->Auswahlliste->currentRow();
    return true;
}
