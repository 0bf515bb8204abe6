#include "Support.h"

#include "Logger.h"
#include "MainWindow.h"
#include "PreviewImage.h"
#include "SteamLibrary.h"
#include "SteamWrapper.h"
#include "Termination.h"
#include "UploadDialog.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLibrary>
#include <QNetworkReply>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <functional>
#include <utility>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace {

constexpr int patience_ms = 20'000;

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
    while (window.findChild<UploadDialog*>() != nullptr)
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

/// Clicks when the event loop runs: what the click opens may run one of its own.
void press_later(QWidget& control)
{
    QTimer::singleShot(0, &control, [&control] {
        auto* const pane = qobject_cast<QPlainTextEdit*>(&control);
        QTest::mouseClick(pane ? pane->viewport() : &control, pane ? Qt::RightButton : Qt::LeftButton);
    });
}

/// Writes into the description and stays there.
void type(MainWindow& window, const QString& text)
{
    auto* const description = window.findChild<QPlainTextEdit*>("ModDescription");
    window.activateWindow();
    description->setFocus();
    if (!QTest::qWaitFor([description] { return description->hasFocus(); }))
        qFatal("the description has no focus");
    description->insertPlainText(text);
}

/// Runs until the process is told to end. Prints what is open above the window by then.
void stay(MainWindow& window, QTextStream& out)
{
    QTimer::singleShot(200, &window, [&out] {
        const QWidget* above = QApplication::activePopupWidget();
        if (!above)
            above = QApplication::activeModalWidget();
        out << "staying behind " << (above ? above->metaObject()->className() : "nothing") << Qt::endl;
    });
    Termination::Watch(window);
    QApplication::exec();
}

/// "loading", "picture" or "empty".
QString shown_preview(const MainWindow& window)
{
    const auto* label = window.findChild<QLabel*>("ModPreview");
    if (label->movie())
        return "loading";
    return label->pixmap(Qt::ReturnByValue).isNull() ? "empty" : "picture";
}

void wait_for_preview(const MainWindow& window, int longest_ms)
{
    QElapsedTimer since;
    since.start();
    while (shown_preview(window) == "loading" && !since.hasExpired(longest_ms))
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

/// Lets the heartbeat go on without a pause.
void hurry(MainWindow& window)
{
    auto* const timer = new QTimer(&window);
    if (!QObject::connect(timer, SIGNAL(timeout()), &window, SLOT(update())))
        qFatal("there is no heartbeat to hurry");
    timer->start(0);
}

/// Drops what the program and the Practice Workshop keep on purpose until their end.
void drop_what_is_kept(MainWindow& window)
{
    window.findChild<QPlainTextEdit*>("OutputLog")->clear();
    qDeleteAll(SteamWrapper::GetInstance()->findChildren<QNetworkReply*>());
    QLibrary practice(QCoreApplication::applicationDirPath() + '/' + SteamLibraryFileName());
    practice.resolve("PracticeWorkshop_ClearJournal")();
}

/// Measures how long the event loop is kept from going round.
class Pulse : public QObject
{
public:
    Pulse()
    {
        startTimer(5, Qt::PreciseTimer);
        since_beat.start();
    }

    qint64 take_longest_gap() { return std::exchange(longest, 0); }

private:
    void timerEvent(QTimerEvent* /*event*/) override { longest = std::max(longest, since_beat.restart()); }

    QElapsedTimer since_beat;
    qint64 longest = 0;
};

QJsonObject figures(const MainWindow& window, Pulse& pulse)
{
    QList<QObject*> objects{SteamWrapper::GetInstance()};
    for (QWidget* widget : QApplication::topLevelWidgets())
        objects << widget << widget->findChildren<QObject*>();
    objects << SteamWrapper::GetInstance()->findChildren<QObject*>();
    qint64 timers = 0;
    for (QObject* object : objects)
        timers += QAbstractEventDispatcher::instance()->registeredTimers(object).size();

    const QString status = read_file("/proc/self/status"); // empty where there is none
    const auto kilobytes = [&status](const QString& name) {
        return QRegularExpression(name + R"(:\s*(\d+))").match(status).captured(1).toInt();
    };
    qint64 heap = 0;
#if defined(__GLIBC__)
    const auto memory = mallinfo2();
    heap = static_cast<qint64>(memory.uordblks) + static_cast<qint64>(memory.hblkhd);
#endif
    return {{"preview", shown_preview(window)},
            {"gap_ms", pulse.take_longest_gap()},
            {"peak_kb", kilobytes("VmHWM")},
            {"resident_kb", kilobytes("VmRSS")},
            {"heap", heap},
            {"threads", kilobytes("Threads")},
            {"files", QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size()},
            {"objects", objects.size()},
            {"timers", timers},
            {"replies", SteamWrapper::GetInstance()->findChildren<QNetworkReply*>().size()}};
}

void decode(const QString& path)
{
    const QPixmap picture = PreviewImage::FromData(read_file(path));
    const QString size = QString("%1x%2").arg(picture.width()).arg(picture.height());
    Logger::LogMessage("picture " + (picture.isNull() ? "undecodable" : size), Logger::Success);
}

/// Where /proc is, the most memory that the process has ever had.
QString peak_memory()
{
    const QString status = QString::fromUtf8(read_file("/proc/self/status"));
    return status.split('\n').filter("VmHWM").join(QString());
}

QString check(const QString& folder)
{
    QElapsedTimer timer;
    timer.start();
    const bool passes = ModParser::validate_mod_directory(folder);
    return QString("%1 in %2 ms").arg(passes ? "passes" : "is refused").arg(timer.elapsed());
}

void remove_all(const QString& path)
{
    if (!QFile::remove(path) && !QDir(path).removeRecursively())
        qFatal("cannot remove %s", qPrintable(path));
}

void perform(QStringList tasks, MainWindow& window, Pulse& pulse, QTextStream& out)
{
    const auto argument = [&tasks] {
        if (tasks.isEmpty())
            qFatal("an argument is missing");
        return tasks.takeFirst();
    };
    const auto load = [&window](const QString& file) { window.process_metadata_file(file, "Processing"); };
    const QHash<QString, std::function<void()>> ways{
        {"load", [&] { load(argument()); }},
        {"describe",
         [&] {
             window.GetModDescriptor().description = argument();
             window.GetModDescriptor().SaveMetadata();
         }},
        {"choose", [&] { window.GetModDescriptor().preview_path = argument(); }},
        {"shell",
         [&] {
             if (QProcess::execute("sh", {"-c", argument()}) != 0)
                 qFatal("the shell command has failed");
         }},
        {"check", [&] { out << check(argument()) << Qt::endl; }},
        {"reason", [&] { out << window.findChild<QWidget*>("OutputLog")->toolTip() << Qt::endl; }},
        {"memory", [&] { out << peak_memory() << Qt::endl; }},
        {"decode", [&] { decode(argument()); }},
        {"upload", [&] { upload(window); }},
        {"preview", [&] { wait_for_preview(window, argument().toInt()); }},
        {"remove", [&] { remove_all(argument()); }},
        {"wait", [&] { QTest::qWait(argument().toInt()); }},
        {"edit", [&] { edit_for_ever(window); }},
        {"press", [&] { press_later(*window.findChild<QWidget*>(argument())); }},
        {"type", [&] { type(window, argument()); }},
        {"hide", [&] { QApplication::activeModalWidget()->close(); }},
        {"stay", [&] { stay(window, out); }},
        {"hurry", [&] { hurry(window); }},
        {"rounds",
         [&] {
             const int count = argument().toInt();
             const QStringList mods{argument(), argument()};
             for (int round = 0; round < count; ++round) {
                 load(mods[round % 2]);
                 wait_for_preview(window, patience_ms);
                 upload(window);
             }
         }},
        {"drop", [&] { drop_what_is_kept(window); }},
        {"figures", [&] { out << QJsonDocument(figures(window, pulse)).toJson(QJsonDocument::Compact) << Qt::endl; }},
        {"repeat",
         [&] {
             const int count = argument().toInt();
             for (int time = 0; time < count; ++time)
                 perform(tasks, window, pulse, out);
             tasks.clear();
         }},
    };
    while (!tasks.isEmpty()) {
        const QString task = tasks.takeFirst();
        if (!ways.contains(task))
            qFatal("%s: unknown", qPrintable(task));
        ways[task]();
    }
}

} // namespace

// The program without its main(), for tests that need it as a process of its own. Its arguments are
// done one after the other, with the heartbeat going on:
//   load FILE       loads the metadata file
//   describe TEXT   saves a description
//   choose FILE     chooses a preview
//   shell COMMAND   does what else is to happen to the files
//   check FOLDER    checks a folder, and prints the verdict and its time
//   reason          prints why Steam did not start, as the tool tip of the log has it
//   memory          prints the most memory that the process has had
//   decode FILE     decodes a picture as if it had been downloaded and logs its size
//   upload          uploads the mod and waits for the outcome
//   preview MS      waits until the preview is there or given up, so many milliseconds at most
//   remove PATH     removes a file or a folder with all that is in it
//   wait MS         lets so many milliseconds go by
//   press CONTROL   clicks on a button, or with the right button on a pane, during "stay"
//   type TEXT       writes into the description and stays there
//   hide            closes the upload dialog
//   edit            edits until the process is killed
//   stay            waits until the process is told to end
//   hurry           lets the heartbeat go on without a pause from now on
//   rounds N A B    N times: loads one of the two in turn, waits for the preview, uploads
//   drop            drops what is kept on purpose until the end: log, downloads, journal
//   figures         prints how the process does, as a line of JSON
//   repeat N        does all that follows N times
// In the end it closes the window and prints the log and the names of the controls that can be used.
int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    MainWindow window;
    window.show();

    Pulse pulse;
    QTextStream out(stdout);
    perform(QApplication::arguments().mid(1), window, pulse, out);

    window.close();
    for (const QString& line : log_of(window))
        out << line << '\n';
    out << enabled_controls(window).join(' ') << '\n';
    return 0;
}
