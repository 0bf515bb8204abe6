#include "Properties.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>

#include <cstdio>
#include <ctime>

/// In MiB, since the program has started. Known on Linux only.
static int peak_of_memory()
{
    QFile status("/proc/self/status");
    const QString text = status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
    return text.section("VmHWM:", 1).section("kB", 0, 0).trimmed().toInt() / 1024;
}

// Tries every file of a folder: replay metadata|preview FOLDER. One whose name begins with "refused"
// has to be refused, any other to be taken. None may cost much.
int main(int argc, char** argv)
{
    QGuiApplication application(argc, argv);
    const auto property = application.arguments().value(1) == "metadata" ? Properties::Metadata : Properties::Preview;
    const QDir folder(application.arguments().value(2));
    const QStringList names = folder.entryList(QDir::Files, QDir::Name);
    bool good = !names.isEmpty();
    const int first_peak = peak_of_memory();
    for (const QString& name : names) {
        std::fprintf(stderr, "%s", qPrintable(name)); // at once: it is to blame for a crash
        QFile file(folder.filePath(name));
        good = file.open(QIODevice::ReadOnly) && good;
        const std::clock_t before = std::clock();
        const bool taken = property(file.readAll());
        const int milliseconds = int((std::clock() - before) * 1000 / CLOCKS_PER_SEC);
        const int mib = peak_of_memory() - first_peak;
        const bool is_right = taken != name.startsWith("refused") && milliseconds <= MOST_TIME && mib <= MOST_MEMORY;
        std::fprintf(stderr, ": %s, %d ms, peak %d MiB%s\n", taken ? "taken" : "refused", milliseconds, mib,
                     is_right ? "" : "   WRONG");
        good = good && is_right;
    }
    return good ? 0 : 1;
}
