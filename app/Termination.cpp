#include "Termination.h"

#include "MainWindow.h"

#include <QApplication>
#include <QPointer>

#include <cstdlib>

#if !defined(Q_OS_WIN)
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <unistd.h>
#endif

namespace {

QPointer<MainWindow> s_window;

void finish_window()
{
    if (s_window)
        s_window->Finish();
}

#if !defined(Q_OS_WIN) // which closes windows instead

int s_pipe[2];

void end_program()
{
    // A native dialog has a loop of its own, which only ends with the dialog.
    QWidget* dialog = QApplication::activeModalWidget();
    while (dialog != nullptr && dialog->close())
        dialog = QApplication::activeModalWidget();
    QCoreApplication::exit();
}

/// All that is allowed here is to wake the event loop.
void take_signal(int /*number*/)
{
    const int kept = errno;
    [[maybe_unused]] const auto written = ::write(s_pipe[1], "", 1);
    errno = kept;
}

void watch_signals()
{
    if (::pipe(s_pipe) != 0)
        return;
    auto* const notifier = new QSocketNotifier(s_pipe[0], QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier] {
        notifier->setEnabled(false);
        end_program();
    });

    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction action = {};
        ::sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN)
            continue; // as nohup has it
        action.sa_handler = take_signal;
        action.sa_flags = SA_RESTART;
        ::sigaction(number, &action, nullptr);
    }
}

#endif

} // namespace

void Termination::Watch(MainWindow& window)
{
    s_window = &window;
#if !defined(Q_OS_WIN)
    watch_signals();
#endif
    // At the end of a session Windows ends the process right after this signal.
    QObject::connect(qApp, &QCoreApplication::aboutToQuit, &window, &MainWindow::Finish);
    // A display that goes without notice makes Qt call exit().
    std::atexit(finish_window);
}
