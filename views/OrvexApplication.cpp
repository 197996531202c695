#include "views/OrvexApplication.h"

#include "dbaccess/DB.h"
#include "frame/MessageDlg.h"
#include "frame/ZELBase.h"

TOrvexApplication::TOrvexApplication(int& argc, char** argv) : QApplication(argc, argv)
{
    // The datasets ask for the wait cursor while they read from the server.
    ScreenCursorPush = [](TCursor) { QGuiApplication::setOverrideCursor(Qt::WaitCursor); };
    ScreenCursorPop = [] { QGuiApplication::restoreOverrideCursor(); };
}

TOrvexApplication::~TOrvexApplication()
{
    ScreenCursorPush = nullptr;
    ScreenCursorPop = nullptr;
}

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
