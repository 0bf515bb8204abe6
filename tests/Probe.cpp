#include "Support.h"

#include "app/MainWindow.h"
#include "widgets/Logger.h"
#include "widgets/PreviewPicture.h"
#include "widgets/UploadDialog.h"

#include <QApplication>
#include <QDir>
#include <QPushButton>
#include <QTest>
#include <QTextStream>

namespace {

/// Saves one description after the other, for ever. Each is one number over and over, of changing
/// length, so that a mixture of two could be told.
[[noreturn]] void edit_for_ever(MainWindow& window)
{
    for (int number = 1;; ++number) {
        const QString word = QString::number(number) + ' ';
        window.GetModDescriptor().description = word.repeated(number % 7 * 200).trimmed();
        window.GetModDescriptor().SaveMetadata();
        QApplication::processEvents();
    }
}

void upload(MainWindow& window)
{
    window.findChild<QPushButton*>("SubmitButton")->click();
    while (window.findChild<UploadDialog*>())
        QTest::qWait(10);
}

void decode(const QString& path)
{
    const QPixmap picture = PreviewPicture::FromData(read_file(path));
    const QString size = QString("%1x%2").arg(picture.width()).arg(picture.height());
    Logger::LogMessage("picture " + (picture.isNull() ? "undecodable" : size), Logger::Success);
}

} // namespace

// The program without its main(), for tests that need it as a process of its own. Its arguments are
// done one after the other, with the heartbeat going on:
//   load FILE      loads the metadata file
//   describe TEXT  saves a description
//   decode FILE    decodes a picture as if it had been downloaded and logs its size
//   upload         uploads the mod and waits for the outcome
//   remove PATH    removes a file or a folder with all that is in it
//   wait MS        lets so many milliseconds go by
//   edit, stay     edits or waits until the process is ended
// In the end it closes the window and prints the log and the names of the controls that can be used.
int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    MainWindow window;
    window.show();

    QStringList tasks = QApplication::arguments().mid(1);
    while (!tasks.isEmpty()) {
        const QString task = tasks.takeFirst();
        if (task == "upload")
            upload(window);
        else if (task == "edit")
            edit_for_ever(window);
        else if (task == "stay")
            return QApplication::exec();
        else if (tasks.isEmpty())
            qFatal("%s: unknown, or its argument is missing", qPrintable(task));
        else if (task == "load")
            window.process_metadata_file(tasks.takeFirst(), "Processing");
        else if (task == "describe") {
            window.GetModDescriptor().description = tasks.takeFirst();
            window.GetModDescriptor().SaveMetadata();
        } else if (task == "decode")
            decode(tasks.takeFirst());
        else if (task == "remove") {
            const QString path = tasks.takeFirst();
            if (!QFile::remove(path) && !QDir(path).removeRecursively())
                qFatal("cannot remove %s", qPrintable(path));
        } else if (task == "wait")
            QTest::qWait(tasks.takeFirst().toInt());
        else
            qFatal("%s: unknown", qPrintable(task));
    }

    window.close();
    QTextStream out(stdout);
    for (const QString& line : log_of(window))
        out << line << '\n';
    out << enabled_controls(window).join(' ') << '\n';
    return 0;
}
