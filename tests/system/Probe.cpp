#include "Support.h"

#include "Termination.h"
#include "UploadDialog.h"

#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QTest>
#include <QTextStream>
#include <QTimer>

#include <functional>

namespace {

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

/// Waits for the preview and prints what is shown then.
void wait_for_preview(const MainWindow& window, int longest_ms, QTextStream& out)
{
    const auto* label = window.findChild<QLabel*>("ModPreview");
    const bool is_over = QTest::qWaitFor([label] { return !label->movie(); }, longest_ms);
    out << (!is_over ? "loading" : label->pixmap(Qt::ReturnByValue).isNull() ? "empty" : "image") << Qt::endl;
}

/// Lets the heartbeat go on without a pause.
void hurry(MainWindow& window)
{
    auto* const timer = new QTimer(&window);
    if (!QObject::connect(timer, SIGNAL(timeout()), &window, SLOT(update())))
        qFatal("there is no heartbeat to hurry");
    timer->start(0);
}

void perform(QStringList tasks, MainWindow& window, QTextStream& out)
{
    const auto next = [&tasks] {
        if (tasks.isEmpty())
            qFatal("an argument is missing");
        return tasks.takeFirst();
    };
    const auto describe = [&](const QString& text) {
        window.GetModDescriptor().description = text;
        window.GetModDescriptor().SaveMetadata();
    };
    const QHash<QString, std::function<void()>> ways{
        {"load", [&] { window.process_metadata_file(next(), "Processing"); }},
        {"describe", [&] { describe(next()); }},
        {"shell",
         [&] {
             QProcess::execute("sh", {"-c", next()});
         }},
        {"reason", [&] { out << window.findChild<QWidget*>("OutputLog")->toolTip() << Qt::endl; }},
        {"upload", [&] { upload(window); }},
        {"preview", [&] { wait_for_preview(window, next().toInt(), out); }},
        {"wait", [&] { QTest::qWait(next().toInt()); }},
        {"press", [&] { press_later(*window.findChild<QWidget*>(next())); }},
        {"type", [&] { type(window, next()); }},
        {"hide", [&] { QApplication::activeModalWidget()->close(); }},
        {"stay", [&] { stay(window, out); }},
        {"hurry", [&] { hurry(window); }},
    };
    while (!tasks.isEmpty()) {
        const QString task = next();
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
//   shell COMMAND   does what else is to happen; its $PPID is this process
//   reason          prints why Steam did not start, as the tool tip of the log has it
//   upload          uploads the mod and waits for the outcome
//   preview MS      waits at most so long for the preview; prints loading, image or empty, and the event loop's longest
//   turn wait MS         lets so many milliseconds go by press CONTROL   clicks on a button, or with the right button
//   on a pane, during "stay" type TEXT       writes into the description and stays there hide            closes the
//   upload dialog stay            waits until the process is told to end hurry           lets the heartbeat go on
//   without a pause from now on
// In the end it closes the window and prints the log and the names of the controls that can be used.
int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    MainWindow window;
    window.show();

    QTextStream out(stdout);
    perform(QApplication::arguments().mid(1), window, out);

    window.close();
    for (const QString& line : log_of(window))
        out << line << '\n';
    out << enabled_controls(window).join(' ') << '\n';
    return 0;
}
