#include "Properties.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>

#include <cstdio>

#if defined(Q_OS_LINUX)
#include <sys/resource.h>
#endif

namespace {

struct Cost
{
    qint64 milliseconds = 0; // of processor time
    qint64 peak_kib = 0;     // of memory, since the program has started
};

Cost cost_so_far()
{
#if defined(Q_OS_LINUX)
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return {(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * qint64{1000}
                + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000,
            usage.ru_maxrss};
#else
    return {};
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
    const Cost start = cost_so_far();
    for (const QString& name : names) {
        std::printf("%s", qPrintable(name)); // first: it is to blame for a crash
        std::fflush(stdout);
        QFile file(folder.filePath(name));
        const bool opened = file.open(QIODevice::ReadOnly);
        const Cost before = cost_so_far();
        const bool taken = (is_metadata ? Properties::Metadata : Properties::Preview)(file.readAll());
        const qint64 milliseconds = cost_so_far().milliseconds - before.milliseconds;
        const qint64 mib = (cost_so_far().peak_kib - start.peak_kib) / 1024;
        const bool as_wanted =
            opened && taken != name.startsWith(QLatin1String("refused")) && milliseconds <= 2000 && mib <= MOST_MEMORY;
        std::printf(": %s, %d ms, peak %d MiB%s\n", taken ? "taken" : "refused", int(milliseconds), int(mib),
                    as_wanted ? "" : "   WRONG");
        good = good && as_wanted;
    }
    return good ? 0 : 1;
}
