// Widgets need an application object; without a display the offscreen platform serves.
#include "frame/ZELLIB_INI.h"

#include <QApplication>
#include <QTemporaryDir>
#include <cstdlib>
#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    // Log and settings snapshot go to a folder of this run, never to the file system's root.
    QTemporaryDir logs;
    CommonAppPath = logs.path();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
