#include "app/MainWindow.h"

#include <QApplication>
#include <QIcon>

namespace {

QIcon program_icon()
{
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64, 128, 256}) {
        icon.addFile(QStringLiteral(":/resources/icons/tarnwick-mod-uploader-%1.png").arg(size));
    }
    return icon;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
#if defined(Q_OS_WIN)
    // Windows has clean steps between whole factors, and one and a half is to be one and a half.
    // Elsewhere the factor may be worked out from the size of the screen; rounding keeps the noise
    // of that (1.0017, say) from blurring every line.
    QApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
#endif

    QApplication application(argc, argv);
    QApplication::setWindowIcon(program_icon());
    QApplication::setDesktopFileName(QStringLiteral("tarnwick-mod-uploader"));

    MainWindow window;
    window.show();
    return QApplication::exec();
}
