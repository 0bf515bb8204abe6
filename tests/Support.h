#pragma once

#include "MainWindow.h"

#include <QLibrary>
#include <QScopedPointer>
#include <QTemporaryDir>
#include <QTest>

/// Writes `bytes` to `path`, folders included.
void write_file(const QString& path, const QByteArray& bytes);

/// The bytes of the file at `path`; a null array when it cannot be read.
QByteArray read_file(const QString& path);

/// The file `name` in the folder of the tests.
QByteArray test_file(const QString& name);

/// A metadata file with `body` as the content of its root.
QByteArray metadata(const QByteArray& body);

/// An image of one colour.
QByteArray picture(const QSize& size, Qt::GlobalColor colour = Qt::darkCyan, const char* format = "PNG");

/// The Practice Workshop beside the test executable, with a store of its own that dies with it.
class Practice
{
public:
    /// Puts the library back to the state of a fresh process.
    Practice();

    /// Sets what happens next. A part that the library rejects ends the process, because the test would prove nothing.
    void tell(const QByteArray& json);
    /// The same, and whether the library takes all of it.
    bool takes(const QByteArray& json) { return call<int>("PracticeWorkshop_Control", json.constData()) == 1; }

    /// Everything the library was asked for since the start or `forget`, one line a call.
    QStringList journal();
    void forget() { call<void>("PracticeWorkshop_ClearJournal"); }

    int mistakes() { return call<int>("PracticeWorkshop_Mistakes"); }
    int live_registrations() { return call<int>("PracticeWorkshop_LiveRegistrations"); }

    QString store() const { return store_folder.path(); }
    QString item(const QString& id, const QString& file) const { return store() + "/items/" + id + "/" + file; }

private:
    template<typename Result, typename... Arguments>
    Result call(const char* name, Arguments... arguments)
    {
        const auto function = reinterpret_cast<Result (*)(Arguments...)>(library.resolve(name));
        if (!function)
            qFatal("the Practice Workshop has no %s", name);
        return function(arguments...);
    }

    QTemporaryDir store_folder;
    QLibrary library;
};

const QString black = "#000000 ";
const QString green = "#008800 ";
const QString red = "#aa0000 ";

/// The lines of the window's log, each as its colour, a blank and its text; line breaks inside a
/// line as " | ".
QStringList log_of(const QWidget& window);

/// The columns and the rows of a table of cases, each on a line.
template<typename... Types, typename... Names>
void add_columns(Names... names)
{
    (QTest::addColumn<Types>(names), ...);
}

template<typename... Values>
void add_row(const QByteArray& name, const Values&... values)
{
    QTestData& row = QTest::newRow(name.constData());
    (row << ... << values);
}

/// A test that has a window of its own, with a Practice Workshop and a folder for its mods.
class WindowTest : public QObject
{
    Q_OBJECT

protected:
    /// Opens a new window in place of the one that is open.
    virtual void open_window();

    /// The log without the two lines of the start.
    QStringList log() const { return log_of(*window).mid(2); }

    QScopedPointer<Practice> practice;
    QScopedPointer<QTemporaryDir> folder;
    QScopedPointer<MainWindow> window;

protected slots:
    void init();
    /// Ends the test: no registration may be left, no rule of Steam may have been broken.
    void cleanup();
};
