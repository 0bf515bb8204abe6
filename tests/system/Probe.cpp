#include "../Support.h"

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

void wait_until(const std::function<bool()>& holds)
{
    while (!holds())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void upload(MainWindow& window)
{
    window.findChild<QPushButton*>("SubmitButton")->click();
    wait_until([&window] { return !window.findChild<UploadDialog*>(); });
}

/// Clicks when the event loop runs: what the click opens may run one of its own.
void press_later(QWidget& control)
{
    QTimer::singleShot(0, &control, [&control] {
        auto* const pane = qobject_cast<QPlainTextEdit*>(&control);
        QTest::mouseClick(pane ? pane->viewport() : &control, pane ? Qt::RightButton : Qt::LeftButton);
    });
}

void hide_dialog()
{
    wait_until(QApplication::activeModalWidget);
    QApplication::activeModalWidget()->close();
}

/// Writes into the description and stays there.
void type(MainWindow& window, const QString& text)
{
    auto* const description = window.findChild<QPlainTextEdit*>("ModDescription");
    window.activateWindow();
    description->setFocus();
    wait_until([description] { return description->hasFocus(); });
    description->insertPlainText(text);
}

void stay(MainWindow& window, QTextStream& out)
{
    QTimer::singleShot(0, &window, [&out] {
        const QWidget* const popup = QApplication::activePopupWidget();
        const QWidget* const above = popup ? popup : QApplication::activeModalWidget();
        out << "staying behind " << (above ? above->metaObject()->className() : "nothing") << Qt::endl;
    });
    Termination::Watch(window);
    QApplication::exec();
}

void perform(QStringList tasks, MainWindow& window, QTextStream& out)
{
    const auto next = [&tasks] { return tasks.takeFirst(); };
    const auto* const preview = window.findChild<QLabel*>("ModPreview");
    const auto has_preview = [preview] { return !preview->pixmap(Qt::ReturnByValue).isNull(); };
    QTimer timer;
    QObject::connect(&timer, SIGNAL(timeout()), &window, SLOT(update()));
    const auto describe = [&](const QString& text) {
        window.GetModDescriptor().description = text;
        window.GetModDescriptor().SaveMetadata();
    };
    const QStringList shell{"-c"};
    const QHash<QString, std::function<void()>> ways{
        {"load", [&] { window.process_metadata_file(next(), "Processing"); }},
        {"describe", [&] { describe(next()); }},
        {"shell", [&] { QProcess::execute("sh", shell + QStringList(next())); }},
        {"upload", [&] { upload(window); }},
        {"preview", [&] { wait_until(has_preview); }},
        {"wait", [&] { QTest::qWait(next().toInt()); }},
        {"press", [&] { press_later(*window.findChild<QWidget*>(next())); }},
        {"type", [&] { type(window, next()); }},
        {"hide", hide_dialog},
        {"stay", [&] { stay(window, out); }},
        {"hurry", [&] { timer.start(0); }},
    };
    while (!tasks.isEmpty())
        ways.value(next())(); // an unknown task ends the process
}

} // namespace

// The program without its main(), for tests that need it as a process of its own. Its arguments are done one after
// the other, with the heartbeat going on:
// - load FILE: loads the metadata file.
// - describe TEXT: saves a description.
// - shell COMMAND: does what else is to happen; its $PPID is this process.
// - upload: uploads the mod and waits for the outcome.
// - preview: waits for the preview.
// - wait MS: lets so many milliseconds go by.
// - press CONTROL: clicks on a button, or with the right button on a pane, as soon as the event loop runs.
// - hide: waits for a dialog and closes it.
// - type TEXT: writes into the description and stays there.
// - stay: waits until the process is told to end; first prints what is open above the window.
// - hurry: lets the heartbeat go on without a pause from now on.
// In the end it closes the window and prints the log, then "usable", or why Steam did not start.
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
    const bool is_locked = !window.findChild<QWidget*>("ChooseMetadata")->isEnabled();
    out << (is_locked ? window.findChild<QWidget*>("OutputLog")->toolTip() : "usable") << '\n';
    return 0;
}
