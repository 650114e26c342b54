#include <QCoreApplication>

#include <gtest/gtest.h>

// Core tests run with an event loop, as the application does, but without a display.
int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
