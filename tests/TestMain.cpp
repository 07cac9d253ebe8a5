// SPDX-License-Identifier: GPL-3.0-or-later

#include <QApplication>

#include <gtest/gtest.h>

// Widgets and text rendering need an application; the tests that need none are not hurt by it.
int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Tests leave nothing in the user's own folder; what they share here saves planning transforms again.
    qputenv("XDG_CACHE_HOME", ZU_TEST_CACHE_FOLDER);
    QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
