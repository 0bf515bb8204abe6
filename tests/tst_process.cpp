#include "Support.h"

#include "SteamLibrary.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QTest>

/// A start beside a broken library, which needs a process of its own.
class tst_process : public QObject
{
    Q_OBJECT

private slots:
    void survives_a_broken_library_data()
    {
        add_columns<QByteArray, QByteArray, QString>("library", "script", "problem");
        const QString bin = QCoreApplication::applicationDirPath(), name = "/" + SteamLibraryFileName();
        const QString tests = bin + "/../tests/"; // builds of the Practice Workshop for this test alone
        const QByteArray good = read_file(bin + name), no_script, fails = R"({"start": "fails"})";
        add_row("missing", QByteArray(), no_script, QString("there is no such file"));
        add_row("text", QByteArray("not a library\n"), no_script, QString("cannot be loaded: Cannot load library "));
#if defined(Q_OS_LINUX)
        for (const int size : {6, 63, 64, static_cast<int>(good.size()) - 1})
            add_row("cut to " + QByteArray::number(size), good.left(size), no_script,
                    QString("cannot be loaded: its end is missing"));
        add_row("unresolved dependency", read_file(tests + "unresolved.library"), no_script,
                QString("cannot be loaded: "));
#endif
        add_row("most functions missing", read_file(tests + "no_functions.library"), no_script,
                QString("not a usable Steam library, it lacks SteamAPI_Init (or a later form of it), "
                        "SteamAPI_Shutdown, SteamAPI_RunCallbacks, SteamAPI_RegisterCallResult, "
                        "SteamAPI_UnregisterCallResult, SteamAPI_GetHSteamUser, SteamAPI_GetHSteamPipe, "
                        "SteamInternal_CreateInterface"));
        const QString reason = "the Steam API did not start: ";
        add_row("start refused", good, fails, reason + "no reason was given");
        add_row("refused by the last start function", read_file(tests + "safe" + name), fails, reason + "no reason");
        add_row("refused by the internal start", read_file(tests + "internal" + name), fails, reason + "rehearsed: ");
        add_row("refused with a reason", read_file(bin + "/../bin-new" + name), fails,
                reason + "rehearsed: no Steam client is running (\"start\"");
        const QString lacks = "the Steam client has no %1 of the version that is needed";
        const QByteArray client = R"({"missing_interfaces": "SteamClient017"})";
        add_row("no client", good, client, lacks.arg("ISteamClient"));
        add_row("no client, internal start", read_file(tests + "internal" + name), client, lacks.arg("ISteamClient"));
        const QByteArray missing = R"({"missing_interfaces": ["STEAMUGC_INTERFACE_VERSION009", "%1"]})";
        add_row("no user", good, QByteArray(missing).replace("%1", "SteamUser019"), lacks.arg("ISteamUser"));
        add_row("no workshop", good, missing, lacks.arg("ISteamUGC"));
    }

    void survives_a_broken_library()
    {
        QFETCH(QByteArray, library);
        QFETCH(QByteArray, script);
        QFETCH(QString, problem);
        const QTemporaryDir folder;
        const QString path = folder.filePath(SteamLibraryFileName()), store = folder.filePath("store");
        const QString executable = folder.filePath(QFileInfo(PROBE).fileName());
        if (!library.isNull())
            write_file(path, library);
        write_file(store + "/practice.json", script.isEmpty() ? "{}" : script);
        qputenv("PRACTICE_WORKSHOP_DIR", QFile::encodeName(QDir::toNativeSeparators(store)));
        QProcess program;
        QVERIFY(QFile::copy(PROBE, executable));
        program.start(executable, {"wait", "200"});
        QVERIFY(program.waitForFinished() && program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0);
        const QString errors = QString::fromUtf8(program.readAllStandardError()).remove('\r');
        const QString greeting = "nothing goes to Steam. Items are kept in " + QDir::toNativeSeparators(store) + "\n";
        QCOMPARE(errors.contains(greeting) && errors.contains("rehearsed: "), !script.isEmpty());
        const QString shown_path = QDir::toNativeSeparators(path);
        const QStringList problems = errors.split('\n').filter(shown_path);
        QVERIFY2(!errors.contains("mistake: ") && problems.size() == 1, qPrintable(errors));
        QVERIFY2(problems.first().startsWith(shown_path + ": " + problem), qPrintable(errors));
        QCOMPARE(
            QString::fromUtf8(program.readAllStandardOutput()).remove('\r'),
            "#aa0000 Initializing Steam API... Failed. Please make sure Steam is running and then relaunch this app\n"
                + problems.first() + '\n');
    }
};

QTEST_GUILESS_MAIN(tst_process)

#include "tst_process.moc"
