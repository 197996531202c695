#include <QApplication>
#include <gtest/gtest.h>

namespace {
QtMessageHandler gDefaultHandler = nullptr;

// The offscreen platform cannot stack windows; its notice on every raise is noise here.
void FilterMessages(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (text.contains(QLatin1String("does not support raise()")))
        return;
    gDefaultHandler(type, context, text);
}
}

int main(int argc, char** argv)
{
    // Test discovery runs the binary outside CTest's environment as well.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    gDefaultHandler = qInstallMessageHandler(FilterMessages);
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
