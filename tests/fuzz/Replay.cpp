#include "Properties.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>

#include <cstdio>
#include <ctime>

#if defined(Q_OS_LINUX)
#include <sys/resource.h>
#endif

namespace {

/// What one input may take of the processor. On Windows std::clock() counts what others take too.
#if defined(Q_OS_WIN)
constexpr int most_milliseconds = 60'000;
#else
constexpr int most_milliseconds = 2000;
#endif

/// In MiB, since the program has started. Known on Linux only.
qint64 peak_of_memory()
{
#if defined(Q_OS_LINUX)
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024; // NOLINT(cppcoreguidelines-pro-type-union-access)
#else
    return 0;
#endif
}

} // namespace

// Tries every file of a folder: replay metadata|preview FOLDER. One whose name begins with "refused"
// has to be refused, any other to be taken. None may cost much.
int main(int argc, char** argv)
{
    QGuiApplication application(argc, argv);
    const QStringList arguments = QGuiApplication::arguments();
    const bool is_metadata = arguments.value(1) == QLatin1String("metadata");
    const QDir folder(arguments.value(2));
    const QStringList names = folder.entryList(QDir::Files, QDir::Name);
    bool good = arguments.size() == 3 && !names.isEmpty();
    const qint64 first_peak = peak_of_memory();
    for (const QString& name : names) {
        std::printf("%s", qPrintable(name)); // first: it is to blame for a crash
        std::fflush(stdout);
        QFile file(folder.filePath(name));
        good = file.open(QIODevice::ReadOnly) && good;
        const std::clock_t before = std::clock();
        const bool taken = (is_metadata ? Properties::Metadata : Properties::Preview)(file.readAll());
        const int milliseconds = int((std::clock() - before) * 1000 / CLOCKS_PER_SEC);
        const int mib = int(peak_of_memory() - first_peak);
        const bool as_wanted = taken != name.startsWith(QLatin1String("refused")) && milliseconds <= most_milliseconds
                               && mib <= MOST_MEMORY;
        std::printf(": %s, %d ms, peak %d MiB%s\n", taken ? "taken" : "refused", milliseconds, mib,
                    as_wanted ? "" : "   WRONG");
        good = good && as_wanted;
    }
    return good ? 0 : 1;
}
