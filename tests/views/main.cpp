#include <gtest/gtest.h>

#include "frame/ZELLIB_INI.h"

#include <QApplication>
#include <QTemporaryDir>

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    // Log and settings snapshot go to a folder of this run, never to the file system's root.
    QTemporaryDir logs;
    CommonAppPath = logs.path();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
