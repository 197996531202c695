#include "frame/MessageDlg.h"

#include <QApplication>
#include <QMessageBox>
#include <cstdio>

bool IsInteractive()
{
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        return false;
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

TModalResult MessageDlg(const QString& text, std::initializer_list<TModalResult> buttons,
                        TModalResult unattended)
{
    std::fprintf(stderr, "%s\n", qPrintable(QString(text).replace(QLatin1String("<BR>"), QLatin1String("\n"))));
    std::fflush(stderr);
    if (!IsInteractive())
        return unattended;

    QMessageBox box;
    box.setWindowTitle(QApplication::applicationName());
    box.setText(text);
    box.setIcon(QMessageBox::Warning);
    QMessageBox::StandardButtons std;
    for (TModalResult b : buttons)
        std |= b == TModalResult::mrAbort ? QMessageBox::Abort
            : b == TModalResult::mrIgnore ? QMessageBox::Ignore
                                          : QMessageBox::Ok;
    box.setStandardButtons(std);
    switch (box.exec()) {
    case QMessageBox::Abort: return TModalResult::mrAbort;
    case QMessageBox::Ignore: return TModalResult::mrIgnore;
    default: return TModalResult::mrOk;
    }
}

void ShowMessage(const QString& text)
{
    MessageDlg(text, {TModalResult::mrOk}, TModalResult::mrOk);
}
