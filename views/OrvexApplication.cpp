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

namespace {
int gReportedExceptions = 0;

QString MessageOf(const std::exception& e)
{
    const auto* own = dynamic_cast<const Exception*>(&e);
    return own ? own->Message() : QString::fromLocal8Bit(e.what());
}
}

void ShowException(const std::exception& e)
{
    ++gReportedExceptions;
    ShowMessage(MessageOf(e));
}

void ShowException(const std::exception& e, const QString& context)
{
    ++gReportedExceptions;
    ShowMessage(context + QStringLiteral("<BR>") + MessageOf(e));
}

int ReportedExceptions()
{
    return gReportedExceptions;
}

int StartAbsichern(const std::function<void()>& start)
{
    constexpr int kExitStartFehler = 2;
    const QString context = QStringLiteral("Fehler beim Programmstart, das Programm wird beendet:");
    try {
        start();
        return 0;
    } catch (const std::exception& e) {
        ShowException(e, context);
    } catch (...) {
        ShowException(Exception(QStringLiteral("Unbekannter Fehler")), context);
    }
    return kExitStartFehler;
}
