#include "app/MainWindow.h"
#include "app/Termination.h"
#include "qt/Differences.h"

#include <QApplication>
#include <QIcon>

namespace {

// Windows has clean steps between whole factors, and one and a half is to be one and a half.
// Elsewhere the factor may be worked out from the size of the screen; rounding keeps the noise of
// that (1.0017, say) from blurring every line.
#if defined(Q_OS_WIN)
constexpr auto rounding = Qt::HighDpiScaleFactorRoundingPolicy::PassThrough;
#else
constexpr auto rounding = Qt::HighDpiScaleFactorRoundingPolicy::Round;
#endif

QIcon program_icon()
{
    QIcon icon;
    // The others are for menus, which take them from where they are installed: unpacking all of
    // them would be felt at the start.
    for (const int size : {16, 32, 64}) {
        icon.addFile(QStringLiteral(":/resources/icons/tarnwick-mod-uploader-%1.png").arg(size));
    }
    return icon;
}

} // namespace

int main(int argc, char** argv)
{
    QtDifferences::FollowScale();
    QApplication::setHighDpiScaleFactorRoundingPolicy(rounding);

    QApplication application(argc, argv);
    QApplication::setWindowIcon(program_icon());
    QApplication::setDesktopFileName(QStringLiteral("tarnwick-mod-uploader"));

    MainWindow window;
    Termination::Watch(window);
    window.show();
    return QApplication::exec();
}
