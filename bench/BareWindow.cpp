#include "ui_BareWindow.h"

#include <QApplication>

// The form of the program's window with Qt's own text panes, and nothing behind it: what any Qt
// program with this window would cost.
int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QMainWindow window;
    Ui_MainWindow form{};
    form.setupUi(&window);
    window.show();
    return QApplication::exec();
}
