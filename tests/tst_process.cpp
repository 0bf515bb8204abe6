#include "Support.h"

#include "SteamLibrary.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QTest>

#include <csignal>

/// What only shows in a process of its own: a start beside a broken library, a signal.
class tst_process : public QObject
{
    Q_OBJECT

private:
    /// The probe in a folder with the given Steam library beside it, none if it is null.
    QString probe_beside(const QByteArray& library) const
    {
        QString program = folder->path() + "/" + QFileInfo(PROBE).fileName();
        if (!QFile::copy(PROBE, program))
            qFatal("cannot copy the probe");
        if (!library.isNull())
            write_file(library_path(), library);
        return program;
    }

    QString library_path() const { return folder->path() + "/" + SteamLibraryFileName(); }

    static QByteArray good_library()
    {
        return read_file(QCoreApplication::applicationDirPath() + "/" + SteamLibraryFileName());
    }

    QScopedPointer<QTemporaryDir> folder;

private slots:
    void init()
    {
        folder.reset(new QTemporaryDir);
        qputenv("PRACTICE_WORKSHOP_DIR", QFile::encodeName(folder->path() + "/store"));
    }

    void survives_a_broken_library_data()
    {
        add_columns<QByteArray, QByteArray, QString>("library", "script", "problem");
        const QByteArray good = good_library();
        const QByteArray no_script, fails = R"({"start": "fails"})";
        add_row("missing", QByteArray(), no_script, QString("there is no such file"));
        for (const char* bytes : {"", "not a library\n"})
            add_row(*bytes ? "text" : "empty", QByteArray(bytes), no_script, QString("cannot be loaded"));
#if defined(Q_OS_LINUX)
        for (const int size : {6, 63, 64, static_cast<int>(good.size()) - 1})
            add_row("cut to " + QByteArray::number(size), good.left(size), no_script, QString("its end is missing"));
        add_row("unresolved dependency", read_file(unresolved), no_script, QString("cannot be loaded: "));
#endif
        add_row("most functions missing", read_file(no_functions), no_script,
                QString("it lacks SteamAPI_Init (or a later form of it), SteamAPI_Shutdown, SteamAPI_RunCallbacks, "
                        "SteamAPI_RegisterCallResult, SteamAPI_UnregisterCallResult, SteamAPI_GetHSteamUser, "
                        "SteamAPI_GetHSteamPipe, SteamInternal_CreateInterface"));
        const QString folders = QCoreApplication::applicationDirPath() + "/..",
                      reason = "the Steam API did not start: ";
        const QByteArray newer = read_file(folders + "/bin-new/" + SteamLibraryFileName());
        add_row("start refused", good, fails, reason + "no reason was given");
        add_row("start refused, by the last of the start functions", read_file(safe_start), fails,
                reason + "no reason");
        add_row("start refused, with a reason", newer, fails,
                reason + "rehearsed: no Steam client is running (\"start\"");
        const QString lacks = "the Steam client has no %1 of the version that is needed";
        const QByteArray client = R"({"missing_interfaces": "SteamClient017"})";
        add_row("no client", good, client, lacks.arg("ISteamClient"));
        add_row("no client, internal start", read_file(internal_start), client, lacks.arg("ISteamClient"));
        const QByteArray missing = R"({"missing_interfaces": ["STEAMUGC_INTERFACE_VERSION009", "%1"]})";
        add_row("no user", good, QByteArray(missing).replace("%1", "SteamUser019"), lacks.arg("ISteamUser"));
        add_row("no workshop", good, missing, lacks.arg("ISteamUGC"));
    }

    void survives_a_broken_library()
    {
        QFETCH(QByteArray, library);
        QFETCH(QByteArray, script);
        QFETCH(QString, problem);
        write_file(folder->path() + "/store/practice.json", script.isEmpty() ? "{}" : script);
        QProcess program;
        program.start(probe_beside(library), {"wait", "200", "reason"});
        QVERIFY(program.waitForFinished() && program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0);
#if defined(Q_OS_LINUX)
        QCOMPARE(QFileInfo(folder->path() + "/store/browser/xdg-open").isExecutable(), !script.isEmpty());
#endif
        const QString errors = QString::fromUtf8(program.readAllStandardError()).remove('\r');
        QCOMPARE(errors.contains("rehearsed: "), !script.isEmpty());
        const QString shown_path = QDir::toNativeSeparators(library_path());
        const QStringList problems = errors.split('\n').filter(shown_path);
        QVERIFY2(problems.size() == 1 && problems.first().startsWith(shown_path + ": "), qPrintable(errors));
        QVERIFY2(problems.first().contains(problem), qPrintable(problems.first()));
        QCOMPARE(QString::fromUtf8(program.readAllStandardOutput()).remove('\r').trimmed(),
                 problems.first()
                     + "\n#aa0000 Initializing Steam API... Failed. Please make sure Steam is running and then "
                       "relaunch this app");
    }

#if defined(Q_OS_UNIX)
    void ends_in_order_when_told_to_data()
    {
        add_columns<int, QStringList, QByteArray>("number", "tasks", "above");
        const QStringList typing{"press", "SubmitButton", "wait", "200", "hide", "type", "Unsaved"};
        for (const int number : {SIGTERM, SIGINT, SIGHUP})
            add_row("signal " + QByteArray::number(number), number, typing, QByteArray("nothing"));
        const auto add = [](const char* above, const QStringList& tasks) {
            add_row(above, SIGTERM, tasks, QByteArray(above));
        };
        add("UploadDialog", {"type", "Unsaved", "press", "SubmitButton"});
        add("QFileDialog", typing + QStringList{"press", "ChooseMetadata"});
        add("QMenu", typing + QStringList{"press", "ModDescription"});
    }

    void ends_in_order_when_told_to()
    {
        QFETCH(int, number);
        QFETCH(QStringList, tasks);
        QFETCH(QByteArray, above);
        const QString mod = folder->path() + "/mod/";
        write_file(mod + "metadata.xml", metadata("<id>0</id>"));
        write_file(mod + "data.bin", QByteArray(100'000, 'x'));
        write_file(mod + "disable.it", "");
        write_file(folder->path() + "/store/practice.json", R"({"bytes_per_pump": 10})");
        QProcess program;
        program.start(probe_beside(good_library()),
                      QStringList{"load", mod + "metadata.xml"} + tasks + QStringList{"stay"});
        QByteArray output;
        QTRY_COMPARE_WITH_TIMEOUT(output += program.readAllStandardOutput(), "staying behind " + above + '\n', 10'000);
        QTRY_VERIFY(!QFile::exists(mod + "disable.it")); // the upload is on its way

        ::kill(static_cast<pid_t>(program.processId()), number);
        QVERIFY(program.waitForFinished(10'000) && program.exitStatus() == QProcess::NormalExit
                && program.exitCode() == 0);
        QVERIFY(QFile::exists(mod + "disable.it") && read_file(mod + "metadata.xml").contains("Unsaved"));
    }

    void goes_on_when_the_signal_is_ignored() // as nohup has it
    {
        QProcess program;
        program.start("sh", {"-c", "trap '' HUP; exec \"$0\" stay", probe_beside(good_library())});
        QByteArray output;
        QTRY_VERIFY_WITH_TIMEOUT((output += program.readAllStandardOutput()).contains("staying"), 10'000);
        ::kill(static_cast<pid_t>(program.processId()), SIGHUP);
        QVERIFY(!program.waitForFinished(500));
        ::kill(static_cast<pid_t>(program.processId()), SIGTERM);
        QVERIFY(program.waitForFinished(10'000));
    }
#endif
};

QTEST_GUILESS_MAIN(tst_process)

#include "tst_process.moc"
