#include "MainWindow.h"
#include "QtDifferences.h"
#include "Termination.h"

#include <QApplication>

#if defined(Q_OS_WIN)
#include <windows.h>

#include <cstdio>
#endif

namespace {

// Windows has clean steps between whole factors, and one and a half is to be one and a half.
// Elsewhere the factor may be worked out from the size of the screen; rounding keeps the noise of
// that (1.0017, say) from blurring every line.
#if defined(Q_OS_WIN)
constexpr auto rounding = Qt::HighDpiScaleFactorRoundingPolicy::PassThrough;
#else
constexpr auto rounding = Qt::HighDpiScaleFactorRoundingPolicy::Round;
#endif

#if defined(Q_OS_WIN)
/// A program with windows has no standard error unless it is redirected. If it was started from a
/// prompt it writes there, so that the reason of a failed start can be seen.
void attach_prompt()
{
    const bool is_redirected = GetFileType(GetStdHandle(STD_ERROR_HANDLE)) != FILE_TYPE_UNKNOWN;
    if (!is_redirected && AttachConsole(ATTACH_PARENT_PROCESS))
        static_cast<void>(std::freopen("CONOUT$", "w", stderr));
}
#endif

} // namespace

int main(int argc, char** argv)
{
#if defined(Q_OS_WIN)
    attach_prompt();
#endif
#if defined(QT_STATIC)
    // All plugins are inside. Anybody's that lie where Qt was built for must not be loaded.
    QApplication::setLibraryPaths({});
#endif
    QtDifferences::FollowScale();
    QApplication::setHighDpiScaleFactorRoundingPolicy(rounding);

    QApplication application(argc, argv);
    QApplication::setDesktopFileName(QStringLiteral("tarnwick-mod-uploader"));

    MainWindow window;
    Termination::Watch(window);
    window.show();
#if defined(Q_OS_WIN)
    FreeConsole(); // the end of the prompt is not to be the program's
#endif
    return QApplication::exec();
}
