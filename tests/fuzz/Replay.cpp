#include "Properties.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>

#include <cstdio>

// Tries every file of a folder: replay metadata|preview FOLDER. Names each before it is tried, so
// that the last one is to blame for a crash.
int main(int argc, char** argv)
{
    QGuiApplication application(argc, argv);
    const QStringList arguments = QGuiApplication::arguments();
    const bool is_metadata = arguments.value(1) == QLatin1String("metadata");
    const QDir folder(arguments.value(2));
    const QStringList names = folder.entryList(QDir::Files, QDir::Name);
    if (arguments.size() != 3 || names.isEmpty()) {
        std::fputs("usage: replay metadata|preview FOLDER\n", stderr);
        return 2;
    }
    for (const QString& name : names) {
        std::printf("%s\n", qPrintable(name));
        std::fflush(stdout);
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            qFatal("cannot be read");
        (is_metadata ? Properties::Metadata : Properties::Preview)(file.readAll());
    }
    return 0;
}
