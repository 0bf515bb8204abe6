#include "Support.h"

#include "SteamLibrary.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QPlainTextEdit>
#include <QTextBlock>
#include <QtPlugin>

#if defined(QT_STATIC)
Q_IMPORT_PLUGIN(QOffscreenIntegrationPlugin)
#endif

void write_file(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
}

QByteArray read_file(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray test_file(const QString& name) { return read_file(QString(TEST_FOLDER "/") + name); }

QByteArray metadata(const QByteArray& body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<metadata>" + body + "</metadata>\n";
}

QByteArray picture(const QSize& size, Qt::GlobalColor colour, const char* format)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return buffer.data();
}

Practice::Practice() : library(QCoreApplication::applicationDirPath() + '/' + SteamLibraryFileName())
{
    qputenv("PRACTICE_WORKSHOP_DIR", QFile::encodeName(store()));
    call<void>("PracticeWorkshop_Reset");
}

void Practice::tell(const QByteArray& json)
{
    if (!takes(json))
        qFatal("the Practice Workshop rejects a part of %s", json.constData());
}

QStringList Practice::journal()
{
    return QString::fromUtf8(call<const char*>("PracticeWorkshop_Journal")).split('\n', Qt::SkipEmptyParts);
}

QStringList log_of(const QWidget& window)
{
    const auto* pane = window.findChild<QPlainTextEdit*>("OutputLog");
    QStringList lines;
    for (QTextBlock block = pane->document()->begin(); block.isValid(); block = block.next()) {
        const QTextCharFormat format =
            block.begin().atEnd() ? block.charFormat() : block.begin().fragment().charFormat();
        QString text = block.text();
        text.replace(QChar::LineSeparator, " | ");
        text.replace(QChar::Nbsp, '_');
        const bool has_colour = text.isEmpty() || format.hasProperty(QTextFormat::ForegroundBrush);
        lines << (has_colour ? format.foreground().color().name() : "no colour") + ' ' + text;
    }
    return lines;
}

void WindowTest::open_window()
{
    window.reset(); // before the new one: there is one wrapper for both
    window.reset(new MainWindow);
}

void WindowTest::init()
{
    practice.reset(new Practice);
    folder.reset(new QTemporaryDir);
    open_window();
}

void WindowTest::cleanup()
{
    window.reset();
    QCOMPARE(practice->live_registrations(), 0);
    if (practice->mistakes() != 0)
        QFAIL(qPrintable(practice->journal().filter("mistake").join('\n')));
}
