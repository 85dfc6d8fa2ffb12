#pragma once
// The one QApplication of a widget test program, on the offscreen platform, made on first use.
// Every test file of a program calls this same function, so a program never makes two.
#include <QApplication>

namespace velmora::test {

inline QApplication& offscreenApplication() {
    static int argc = 1;
    static char name[] = "velmora-tests";
    static char* argv[] = {name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QApplication* app = new QApplication(argc, argv);
    return *app;
}

}  // namespace velmora::test
