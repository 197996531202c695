// Chart tests paint into images; a widget-capable application without a display is enough.
#include <QApplication>
#include <gtest/gtest.h>
#include <cstdlib>

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
