// SPDX-License-Identifier: MIT
// empty_window: a Qt program that shows a window with nothing in it. The baseline of shell_bench.
#include <QApplication>
#include <QWidget>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QWidget window;
    window.resize(600, 300);
    window.show();
    return QApplication::exec();
}
