#include "Support.h"

#include "SteamLibrary.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QTest>

#include <csignal>

/// What only shows in a process of its own: a start beside a broken library, a sudden death.
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
        add_columns<QByteArray, QByteArray, QStringList>("library", "script", "words");

        const QByteArray good = good_library();
        QByteArray foreign = good;
        foreign.replace(18, 2, QByteArray("\x08\x00", 2)); // the processor in an ELF header: MIPS
        const auto file = [](const char* name, const QByteArray& bytes, const QStringList& words) {
            add_row(name, bytes, QByteArray(), words);
        };
        file("missing", QByteArray(), {"there is no such file"});
        file("empty", QByteArray(""), {"cannot be loaded"});
        file("text", QByteArray("not a library\n"), {"cannot be loaded"});
#if defined(Q_OS_LINUX)
        file("cut short", good.left(5000), {"its end is missing"});
        file("another processor", foreign, {"cannot be loaded"});
        file("unresolved dependency", read_file(unresolved), {"cannot be loaded", "symbol"});
#endif
        file("most functions missing", read_file(no_functions),
             {"SteamAPI_Init (or", "SteamAPI_Shutdown", "SteamAPI_RunCallbacks", "SteamAPI_RegisterCallResult",
              "SteamAPI_UnregisterCallResult", "SteamAPI_GetHSteamUser", "SteamAPI_GetHSteamPipe",
              "SteamInternal_CreateInterface"});

        const auto start = [](const char* name, const QByteArray& bytes, const QByteArray& script,
                              const QString& word) { add_row(name, bytes, script, QStringList{word}); };
        const QByteArray no_client = R"({"missing_interfaces": ["SteamClient017"]})";
        const QByteArray fails = R"({"start": "fails"})";
        const QString newer = QCoreApplication::applicationDirPath() + "/../bin-new/" + SteamLibraryFileName();
        start("start refused", good, fails, "the Steam API did not start");
        start("start refused, with a reason", read_file(newer), fails,
              "did not start: rehearsed: no Steam client is running");
        start("start refused, by the last of the start functions", read_file(safe_start), fails, "did not start");
        start("no client", good, no_client, "no ISteamClient");
        start("no client, started by the internal function", read_file(internal_start), no_client, "no ISteamClient");
        start("no user", good, R"({"missing_interfaces": ["SteamUser019"]})", "no ISteamUser");
        start("no workshop", good, R"({"missing_interfaces": ["STEAMUGC_INTERFACE_VERSION009"]})", "no ISteamUGC");
    }

    void survives_a_broken_library()
    {
        QFETCH(QByteArray, library);
        QFETCH(QByteArray, script);
        QFETCH(QStringList, words);
        write_file(folder->path() + "/store/practice.json", script.isEmpty() ? "{}" : script);
        QProcess program;
        program.start(probe_beside(library), {"wait", "200", "reason"});
        QVERIFY(program.waitForFinished());
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 0);
        const QString errors = QString::fromUtf8(program.readAllStandardError()).remove('\r');
        QCOMPARE(errors.contains("rehearsed: "), !script.isEmpty());
        const QString shown_path = QDir::toNativeSeparators(library_path());
        const QStringList problems = errors.split('\n').filter(shown_path);
        QVERIFY2(problems.size() == 1 && problems.first().startsWith(shown_path), qPrintable(errors));
        for (const QString& word : words)
            QVERIFY2(problems.first().contains(word), qPrintable(problems.first()));
        QCOMPARE(QString::fromUtf8(program.readAllStandardOutput()).remove('\r').trimmed(),
                 problems.first()
                     + "\n#aa0000 Initializing Steam API... Failed. Please make sure Steam is "
                       "running and then relaunch this app");
    }

#if defined(Q_OS_UNIX)
    void ends_in_order_when_told_to_data()
    {
        add_columns<int, QStringList, QString>("number", "tasks", "above");
        const QStringList typing{"press", "SubmitButton", "wait", "200", "hide", "type", "Unsaved"};
        add_row("SIGTERM", SIGTERM, typing, "nothing");
        add_row("SIGINT", SIGINT, typing, "nothing");
        add_row("SIGHUP", SIGHUP, typing, "nothing");
        add_row("upload dialog", SIGTERM, QStringList{"type", "Unsaved", "press", "SubmitButton"}, "UploadDialog");
        add_row("file dialog", SIGTERM, typing + QStringList{"press", "ChooseMetadata"}, "QFileDialog");
        add_row("menu", SIGTERM, typing + QStringList{"press", "ModDescription"}, "QMenu");
    }

    void ends_in_order_when_told_to()
    {
        QFETCH(int, number);
        QFETCH(QStringList, tasks);
        QFETCH(QString, above);
        const QString mod = folder->path() + "/mod";
        write_file(mod + "/metadata.xml", metadata("<id>0</id>"));
        write_file(mod + "/data.bin", QByteArray(100'000, 'x'));
        write_file(mod + "/disable.it", "");
        write_file(folder->path() + "/store/practice.json", R"({"bytes_per_pump": 10})");
        QProcess program;
        program.start(probe_beside(good_library()),
                      QStringList{"load", mod + "/metadata.xml"} + tasks + QStringList{"stay"});
        QByteArray output;
        QTRY_VERIFY_WITH_TIMEOUT((output += program.readAllStandardOutput()).contains('\n'), 10'000);
        QCOMPARE(output.trimmed(), "staying behind " + above.toUtf8());
        QTRY_VERIFY(!QFile::exists(mod + "/disable.it")); // the upload is on its way

        ::kill(static_cast<pid_t>(program.processId()), number);
        QVERIFY(program.waitForFinished(10'000));
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 0);
        QVERIFY(QFile::exists(mod + "/disable.it"));
        QVERIFY(read_file(mod + "/metadata.xml").contains("Unsaved"));
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

    void leaves_everything_whole_when_it_is_killed()
    {
        const QString mod = folder->path() + "/mod";
        write_file(mod + "/metadata.xml", metadata("<id>0</id>"));
        write_file(mod + "/data.bin", QByteArray(100'000, 'x'));
        write_file(folder->path() + "/store/practice.json", "{}");
        const QString program = probe_beside(good_library());
        const auto upload = [&] {
            auto process = QSharedPointer<QProcess>::create();
            process->start(program, {"load", mod + "/metadata.xml", "upload", "stay"});
            return process;
        };
        const auto in_journal = [this](const QByteArray& words) {
            return read_file(folder->path() + "/store/journal.txt").count(words);
        };

        auto process = upload();
        QTRY_COMPARE_WITH_TIMEOUT(in_journal("deliver 3404"), 1, 10'000);
        process->kill();
        QVERIFY(process->waitForFinished());
        const QDir items(folder->path() + "/store/items");
        QCOMPARE(items.entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(), 1);
        const QString item = items.path() + "/" + items.entryList({"9*"}).value(0);
        const QByteArray before = read_file(item + "/content/data.bin");
        QCOMPARE(before.size(), 100'000);

        // The second upload, of other content, dies half-way.
        write_file(mod + "/data.bin", QByteArray(200'000, 'y'));
        write_file(folder->path() + "/store/practice.json", R"({"bytes_per_pump": 1000})");
        process = upload();
        QTRY_VERIFY_WITH_TIMEOUT(in_journal("GetItemUpdateProgress") > 2, 10'000);
        QTest::qWait(300);
        process->kill();
        QVERIFY(process->waitForFinished());
        QCOMPARE(in_journal("deliver 3404"), 1);
        QCOMPARE(read_file(item + "/content/data.bin"), before);
        QCOMPARE(read_file(item + "/history.json").count("\"version\""), 1);
        QVERIFY(read_file(mod + "/metadata.xml").contains("<id>" + items.entryList({"9*"}).value(0).toUtf8()));

        // The next run takes the remains away, here those of a death between the two renames of a swap.
        QVERIFY(QDir().rename(item, folder->path() + "/store/staging/" + QFileInfo(item).fileName() + "/old"));
        write_file(folder->path() + "/store/practice.json", "{}");
        process = upload();
        QTRY_COMPARE_WITH_TIMEOUT(in_journal("deliver 3404"), 2, 10'000);
        process->kill();
        QVERIFY(process->waitForFinished());
        QCOMPARE(read_file(item + "/content/data.bin").size(), 200'000);
        QCOMPARE(items.entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(), 1);
        QVERIFY(QDir(folder->path() + "/store/staging").isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_process)

#include "tst_process.moc"
