#include "Support.h"

#include "app/MainWindow.h"

#include <QApplication>
#include <QTextStream>
#include <QTimer>

// The program without its main(), for tests that need it as a process of its own:
//   probe start        shows the window for a moment, then closes it as a user would
//   probe upload FILE  loads the metadata file and uploads the mod, then runs until it is ended
// Prints the log, then a line with the names of the controls that can be used.
int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    MainWindow window;
    window.show();
    const QStringList arguments = QApplication::arguments();
    if (arguments.value(1) == "upload") {
        window.process_metadata_file(arguments.value(2), "Processing");
        QTimer::singleShot(0, &window, SLOT(on_SubmitButton_clicked()));
    } else {
        QTimer::singleShot(200, &window, &QWidget::close);
    }
    const int result = QApplication::exec();

    QTextStream out(stdout);
    for (const QString& line : log_of(window))
        out << line << '\n';
    out << enabled_controls(window).join(' ') << '\n';
    return result;
}
