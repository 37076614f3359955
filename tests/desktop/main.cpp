// One application for all tests of the window, without a display.
#include <gtest/gtest.h>

#include <QApplication>

int main(int count, char** words) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qunsetenv("BROWSER");
    qunsetenv("DISPLAY");
    qputenv("LC_ALL", "C.UTF-8");
    // What a stalled server holds up ends soon.
    qputenv("PLATFORM_RECEIVE_TIMEOUT_MS", "3000");
    QApplication application(count, words);
    ::testing::InitGoogleTest(&count, words);
    return RUN_ALL_TESTS();
}
