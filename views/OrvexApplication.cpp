#include "views/OrvexApplication.h"

#include "frame/MessageDlg.h"
#include "frame/ZELBase.h"

bool TOrvexApplication::notify(QObject* receiver, QEvent* event)
{
    try {
        return QApplication::notify(receiver, event);
    } catch (const std::exception& e) {
        ShowException(e);
    } catch (...) {
        ShowException(Exception(QStringLiteral("Unbekannter Fehler")));
    }
    return false;
}

void ShowException(const std::exception& e)
{
    const auto* own = dynamic_cast<const Exception*>(&e);
    ShowMessage(own ? own->Message() : QString::fromLocal8Bit(e.what()));
}
