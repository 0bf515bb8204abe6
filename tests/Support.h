#pragma once

#include <QByteArray>
#include <QLibrary>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

/// Writes `bytes` to `path`, folders included.
void write_file(const QString& path, const QByteArray& bytes);

/// The bytes of the file at `path`; a null array when it cannot be read.
QByteArray read_file(const QString& path);

/// A metadata file with `body` as the content of its root.
QByteArray metadata(const QByteArray& body);

/// The Practice Workshop beside the test executable, with a store of its own that dies with it.
class Practice
{
public:
    /// Puts the library back to the state of a fresh process.
    Practice();

    /// Sets what happens next; false when the library has rejected it.
    bool tell(const QByteArray& json);

    /// Everything the library was asked for since the start or `forget`, one line a call.
    QStringList journal();
    /// The same from the first line after the interfaces were fetched.
    QString conversation();
    void forget();

    int mistakes();
    int live_registrations();

    QString store() const { return store_folder.path(); }
    QString item(const QString& id, const QString& file) const { return store() + "/items/" + id + "/" + file; }

private:
    template<typename Function>
    Function resolve(const char* name);

    QTemporaryDir store_folder;
    QLibrary library;
};

class QWidget;

/// The lines of the window's log, each as its colour, a blank and its text; line breaks inside a
/// line as " | ".
QStringList log_of(const QWidget& window);

/// The names of the controls that can be used, in the order in which the program switches them.
QStringList enabled_controls(const QWidget& window);

/// The columns and the rows of a table of cases, each on a line.
template<typename... Types, typename... Names>
void add_columns(Names... names)
{
    (QTest::addColumn<Types>(names), ...);
}

template<typename... Values>
void add_row(const char* name, const Values&... values)
{
    QTestData& row = QTest::newRow(name);
    (row << ... << values);
}
