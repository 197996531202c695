// The layer's timers deliver their ticks through the main thread's event loop;
// tests that wait for a tick pump it with QCoreApplication::processEvents.
#include <QCoreApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
