#include "Support.h"

#include "app/MainWindow.h"
#include "workshop/SteamWrapper.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPixmap>
#include <QRegularExpression>
#include <QTest>

#include <functional>
#include <utility>

using ModParser::ModDescriptor;

namespace {

const QString green = "#008800 ";
const QString red = "#aa0000 ";

/// Receives what the wrapper reports, and may start something at once.
struct Caller
{
    static void uploaded(bool success, void* user)
    {
        auto* self = static_cast<Caller*>(user);
        self->outcomes << success;
        if (self->then)
            std::exchange(self->then, nullptr)();
    }

    static void received(const QPixmap& preview, void* user)
    {
        auto* self = static_cast<Caller*>(user);
        self->previews << preview.size();
        if (self->then)
            std::exchange(self->then, nullptr)();
    }

    QList<bool> outcomes;
    QList<QSize> previews;
    std::function<void()> then;
};

QByteArray picture(const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return buffer.data();
}

/// A conversation as it has to be, with places left open.
QString conversation_file(const QString& name)
{
    return QString::fromUtf8(read_file(CONVERSATIONS "/" + name + ".txt").trimmed());
}

QJsonObject json_object(const QString& path)
{
    return QJsonDocument::fromJson(read_file(path)).object();
}

} // namespace

/// The wrapper's conversations with Steam, in full, as the Practice Workshop heard them.
class tst_wrapper : public QObject
{
    Q_OBJECT

private:
    QString mod_folder() const { return folder->path() + "/MyMod"; }
    ModDescriptor& mod() const { return window->GetModDescriptor(); }
    SteamWrapper& steam() const { return *SteamWrapper::GetInstance(); }
    QStringList log() const { return log_of(*window).mid(2); } // after the two lines of the start

    void load_mod(const QString& id)
    {
        write_file(mod_folder() + "/main.lua", QByteArray(1000, 'x'));
        write_file(mod_folder() + "/metadata.xml", metadata("<name>My \"Mod\" %2</name><id>" + id.toUtf8()
                                                            + "</id><description>Two\nlines \xC3\xA9</description>"
                                                              "<tag id='Lua'/><tag id='Sound Effects'/>"));
        QVERIFY(ModParser::ParseMetadata(mod_folder() + "/metadata.xml", mod()));
    }

    void upload(const QString& notes = QString()) { steam().UploadMod(mod(), notes, Caller::uploaded, &caller); }
    void fetch_preview() { steam().RetrieveModPreview(mod(), Caller::received, &caller); }
    bool pump_until_uploaded(int uploads = 1)
    {
        for (int tick = 0; tick < 200 && caller.outcomes.size() < uploads; ++tick)
            steam().Update();
        return caller.outcomes.size() == uploads;
    }

    /// Brings a new mod to the Workshop; returns its id.
    QString publish()
    {
        load_mod("0");
        mod().preview_path = folder->path() + "/preview.dat";
        write_file(mod().preview_path, picture(QSize(30, 20)));
        upload();
        const bool done = pump_until_uploaded();
        if (!done || !caller.outcomes.takeFirst())
            qFatal("the upload failed");
        practice->forget();
        return mod().id;
    }

    QScopedPointer<Practice> practice;
    QScopedPointer<QTemporaryDir> folder;
    QScopedPointer<MainWindow> window; // the wrapper stores a new item's id in its descriptor
    Caller caller;

private slots:
    void init()
    {
        practice.reset(new Practice);
        folder.reset(new QTemporaryDir);
        caller = Caller();
        window.reset(new MainWindow);
    }

    void cleanup()
    {
        window.reset();
        QCOMPARE(practice->live_registrations(), 0);
        if (practice->mistakes() != 0)
            QFAIL(qPrintable(practice->journal().filter("mistake").join('\n')));
    }

    void starts_asks_for_every_interface_and_stops()
    {
        steam().Update();
        window.reset();
        QString begin = "SteamAPI_Init() = true";
        if (QCoreApplication::applicationDirPath().endsWith("-new"))
            begin = "SteamAPI_InitFlat(errors) = 0";
        QCOMPARE(practice->journal().join('\n'), conversation_file("start-and-stop").arg(begin));
    }

    void starts_anew_after_a_stop()
    {
        SteamWrapper* const first = SteamWrapper::GetInstance();
        QCOMPARE(SteamWrapper::GetInstance(), first);
        publish();
        steam().Shutdown();
        SteamWrapper::DestroyInstance();
        SteamWrapper::DestroyInstance();
        steam().Update(); // a fresh object pumps nothing before its start
        QVERIFY(!practice->journal().join('\n').contains("Shutdown()\nSteamAPI_RunCallbacks()"));

        QVERIFY(steam().Initialize());
        upload(); // through an interface that was asked for anew: a stale one counts as a mistake
        QVERIFY(pump_until_uploaded());
        QVERIFY(caller.outcomes.first());
    }

    void reports_a_failed_start_and_leaves_steam_alone_data()
    {
        add_columns<QByteArray>("script");
        add_row("refused", QByteArray(R"({"start": "fails"})"));
        for (const char* version : {"SteamClient017", "SteamUser019", "STEAMUGC_INTERFACE_VERSION009"})
            add_row(version, QByteArray("{\"missing_interfaces\": [\"") + version + "\"]}");
    }

    void reports_a_failed_start_and_leaves_steam_alone()
    {
        QFETCH(QByteArray, script);
        window.reset();
        QVERIFY(practice->tell(script));
        window.reset(new MainWindow);
        QCOMPARE(log_of(*window), QStringList{red
                                              + "Initializing Steam API... Failed. Please make sure Steam is "
                                                "running and then relaunch this app"});
        practice->forget();
        steam().Update();
        load_mod("5");
        upload();
        fetch_preview();
        QCOMPARE(practice->journal(), QStringList());
        QVERIFY(!window->acceptDrops());
        QCOMPARE(steam().GetUploadModProgress(), 0); // as of a call that was not accepted
    }

    void does_without_interfaces_that_it_never_uses()
    {
        window.reset();
        QVERIFY(practice->tell(R"({"missing_interfaces": ["STEAMUNIFIEDMESSAGES_INTERFACE_VERSION001",
                                                          "SteamFriends015"]})"));
        window.reset(new MainWindow);
        publish();
    }

    void creates_an_item_and_fills_it()
    {
        steam().Update();
        load_mod("0");
        practice->forget();
        upload("First \"notes\"");
        mod().name = "changed later"; // the upload works on its own copy
        QVERIFY(pump_until_uploaded());
        QCOMPARE(caller.outcomes, QList<bool>{true});

        const QString id = mod().id;
        QVERIFY2(id.toULongLong() > 0, qPrintable(id));
        const QString saved = QString::fromUtf8(read_file(mod_folder() + "/metadata.xml"));
        QVERIFY(saved.contains("<id>" + id + "</id>"));
        QVERIFY(saved.contains("<name>changed later</name>")); // what is loaded is saved with the id

        const QString quoted_file = QString(saved).replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
        QCOMPARE(practice->conversation(), conversation_file("first-upload").arg(id, mod_folder(), quoted_file, "%2"));
        QCOMPARE(log(), QStringList{green
                                    + "Successfully uploaded mod 'My \"Mod\" %2' to Steam Workshop "
                                      "(may take a short time to appear publically)"});

        const QJsonObject item = json_object(practice->item(id, "item.json"));
        QCOMPARE(item.value("title").toString(), QString("My \"Mod\" %2"));
        QCOMPARE(item.value("metadata").toString(), saved);
        QCOMPARE(read_file(practice->item(id, "content/main.lua")), QByteArray(1000, 'x'));
        QCOMPARE(read_file(practice->item(id, "content/metadata.xml")), saved.toUtf8());
    }

    void updates_an_existing_item()
    {
        const QString id = publish();
        mod().preview_path = folder->path() + "/other.png";
        write_file(mod().preview_path, picture(QSize(5, 5)));
        write_file(mod_folder() + "/added.lua", "new");
        QFile::remove(mod_folder() + "/main.lua");
        upload("Second");
        QVERIFY(pump_until_uploaded());
        QVERIFY(!practice->conversation().contains("CreateItem"));
        QVERIFY(practice->conversation().contains("SetItemPreview(1002, \"" + mod().preview_path));
        QCOMPARE(read_file(practice->item(id, "preview")), picture(QSize(5, 5)));
        QCOMPARE(QDir(practice->item(id, "content")).entryList(QDir::Files),
                 (QStringList{"added.lua", "metadata.xml"}));
        const QJsonArray history = QJsonDocument::fromJson(read_file(practice->item(id, "history.json"))).array();
        QCOMPARE(history.size(), 2);
        QCOMPARE(history.at(1).toObject().value("change_note").toString(), QString("Second"));
        // An item was created in this run, so the note stays on every later success.
        QVERIFY(log().last().endsWith("(may take a short time to appear publically)"));

        // In the next run it is gone, and the line ends in a blank.
        window.reset();
        window.reset(new MainWindow);
        load_mod(id);
        upload();
        QVERIFY(pump_until_uploaded(2));
        QCOMPARE(log(), QStringList{green + "Successfully uploaded mod 'My \"Mod\" %2' to Steam Workshop "});
    }

    void plays_the_scenarios_data()
    {
        add_columns<QJsonObject>("scenario");
        // Comments are the Practice Workshop's, not JSON's.
        const QByteArray text = read_file(SCENARIOS);
        QByteArray json;
        for (const QByteArray& line : text.split('\n'))
            json += line.startsWith("//") ? QByteArray() : line;
        for (const QJsonValue& scenario : QJsonDocument::fromJson(json).array())
            add_row(qPrintable(scenario.toObject().value("name").toString()), scenario.toObject());
    }

    void plays_the_scenarios()
    {
        QFETCH(QJsonObject, scenario);
        const auto text = [](const QJsonValue& value) {
            return value.isArray() ? value.toArray().at(0).toString().repeated(value.toArray().at(1).toInt())
                                   : value.toString();
        };
        const QString load = scenario.value("load").toString();
        load == "published" ? void(publish()) : load_mod(load);
        const QStringList log_before = log();

        const QJsonObject changes = scenario.value("mod").toObject();
        const QPair<const char*, QString*> fields[] = {{"name", &mod().name},
                                                       {"id", &mod().id},
                                                       {"description", &mod().description},
                                                       {"visibility", &mod().visibility},
                                                       {"folder_path", &mod().folder_path},
                                                       {"preview_path", &mod().preview_path}};
        for (const auto& [name, field] : fields) {
            if (changes.contains(name))
                *field = text(changes.value(name));
        }
        if (changes.contains("tags"))
            mod().tags = changes.value("tags").toVariant().toStringList();
        if (scenario.contains("picture")) {
            mod().preview_path = folder->path() + "/other";
            const int size = scenario.value("picture").toInt();
            const QByteArray start = size < 0 ? QByteArray() : picture(QSize(30, 20));
            write_file(mod().preview_path, start.leftJustified(qAbs(size), 'x', true));
        }
        QVERIFY(practice->tell(QJsonDocument(scenario.value("script").toObject()).toJson()));

        int lines_when_called = 0;
        caller.then = [&] { lines_when_called = log().size(); };
        upload(text(scenario.value("notes")));
        QCOMPARE(pump_until_uploaded(), scenario.contains("ends"));
        if (scenario.contains("ends")) {
            QCOMPARE(caller.outcomes.first(), scenario.value("ends").toBool());
            QCOMPARE(lines_when_called, log().size()); // the log has it before the caller
        }
        if (scenario.contains("log"))
            QCOMPARE(log().mid(log_before.size()), scenario.value("log").toVariant().toStringList());
        for (const QString& words : scenario.value("says").toVariant().toStringList())
            QVERIFY2(practice->conversation().contains(words), qPrintable(practice->conversation()));
        const QString reasons = read_file(practice->store() + "/workshop_log.txt").trimmed();
        QVERIFY2(reasons.section('\n', -1).contains(scenario.value("reason").toString()), qPrintable(reasons));
        QCOMPARE(steam().GetUploadModProgress(), scenario.value("progress").toInt(-1));
        QCOMPARE(practice->live_registrations(), scenario.value("armed").toInt(0));
        if (scenario.contains("id")) {
            QCOMPARE(mod().id, scenario.value("id").toString());
            QVERIFY(read_file(mod_folder() + "/metadata.xml").contains("<id>" + mod().id.toUtf8() + "</id>"));
        }
    }

    void takes_a_script_from_people_and_names_its_mistakes()
    {
        QVERIFY(practice->tell(read_file(SCRIPT_SAMPLE))); // the documented one, comments and all
        practice->tell(R"({"bytes_per_pump": 1000000, "answer_after_pumps": 1})");
        write_file(practice->store() + "/practice.json",
                   "{ // what people write\n \"owner\": 5,\n\n \"no_such_key\": 1,\n"
                   " \"create_results\": [8]\n}");
        load_mod("0");
        upload();
        QVERIFY(pump_until_uploaded());
        QCOMPARE(caller.outcomes, QList<bool>{false}); // what is right in it counts
        const QString journal = practice->journal().join('\n');
        QVERIFY2(journal.contains("practice.json, line 2: \"owner\""), qPrintable(journal));
        QVERIFY2(journal.contains("practice.json, line 4: unknown key"), qPrintable(journal));

        write_file(practice->store() + "/practice.json", "{\n \"start\": \"fails\"\n oops");
        upload(); // once for each change: the file is not applied again
        QVERIFY(pump_until_uploaded(2));
        QVERIFY(caller.outcomes.last());
        QVERIFY(practice->journal().join('\n').contains("practice.json, line 3"));
    }

    void reports_progress_in_tenths()
    {
        publish();
        write_file(mod_folder() + "/main.lua", QByteArray(100'000, 'x'));
        const qint64 total = 100'000 + QFileInfo(mod_folder() + "/metadata.xml").size();
        QVERIFY(practice->tell("{\"bytes_per_pump\": " + QByteArray::number((total + 19) / 20) + "}"));

        QCOMPARE(steam().GetUploadModProgress(), -1);
        upload();
        QList<int> seen;
        for (int tick = 0; tick < 100 && caller.outcomes.isEmpty(); ++tick) {
            const int progress = steam().GetUploadModProgress();
            if (seen.isEmpty() || seen.last() != progress)
                seen << progress;
            steam().Update();
        }
        // Twentieths, cut to whole tenths; 0 of 0 before and after the content.
        QCOMPARE(seen, (QList<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0}));
        QCOMPARE(steam().GetUploadModProgress(), -1);
    }

    void hides_the_disable_marker_during_an_upload_data()
    {
        add_columns<bool, QByteArray, bool>("had_marker", "script", "closed_early");
        add_row("success", true, QByteArray("{}"), false);
        add_row("failure", true, QByteArray(R"({"submit_results": [2]})"), false);
        add_row("closed before the answer", true, QByteArray("{}"), true);
        add_row("there was none", false, QByteArray("{}"), false);
        add_row("there was none, closed", false, QByteArray("{}"), true);
    }

    void hides_the_disable_marker_during_an_upload()
    {
        QFETCH(bool, had_marker);
        QFETCH(QByteArray, script);
        QFETCH(bool, closed_early);
        const QString marker = mod_folder() + "/disable.it";
        const QString id = publish();
        if (had_marker)
            write_file(marker, "content goes");
        QVERIFY(practice->tell(script));
        upload();
        QVERIFY(!QFile::exists(marker));
        if (closed_early)
            window.reset();
        else
            QVERIFY(pump_until_uploaded());
        QCOMPARE(QFile::exists(marker), had_marker);
        QCOMPARE(read_file(marker).size(), 0);
        QVERIFY(!QFile::exists(practice->item(id, "content/disable.it")));
    }

    void answers_only_the_newest_upload()
    {
        publish();
        Caller earlier;
        steam().UploadMod(mod(), QString(), Caller::uploaded, &earlier);
        steam().Update();
        mod().name = "Second";
        steam().UploadMod(mod(), QString(), Caller::uploaded, &caller);
        QVERIFY(practice->conversation().contains("SteamAPI_UnregisterCallResult(3404, "));
        QVERIFY(pump_until_uploaded());
        for (int tick = 0; tick < 50; ++tick)
            steam().Update();
        QCOMPARE(caller.outcomes.size(), 1);
        QVERIFY(earlier.outcomes.isEmpty());
    }

    void starts_the_next_call_from_inside_an_answer()
    {
        publish();
        caller.then = [this] {
            upload("from inside");
            fetch_preview();
        };
        upload();
        QVERIFY(pump_until_uploaded(2));
        QTRY_COMPARE((steam().Update(), caller.previews.size()), 1);
        QVERIFY(!practice->conversation().contains("Unregister"));

        // A preview that is asked for when the last one arrives is answered too.
        caller.then = [this] { fetch_preview(); };
        fetch_preview();
        QTRY_COMPARE((steam().Update(), caller.previews.size()), 3);
    }

    void dies_armed_without_a_trace()
    {
        publish();
        QVERIFY(practice->tell(R"({"silent_calls": ["create", "submit", "query"]})"));
        upload();
        mod().id = "0";
        upload();
        mod().id = "7";
        fetch_preview();
        QCOMPARE(practice->live_registrations(), 3);
        practice->forget();
        window.reset();
        const QString calls = practice->journal().join('\n');
        const QRegularExpression wanted("^SteamAPI_Shutdown\\(\\)\n"
                                        "SteamAPI_UnregisterCallResult\\(3404, \\d+\\)\n"
                                        "SteamAPI_UnregisterCallResult\\(3403, \\d+\\)\n"
                                        "SteamAPI_UnregisterCallResult\\(3401, \\d+\\)$");
        QVERIFY2(wanted.match(calls).hasMatch(), qPrintable(calls));
    }

    void closes_during_a_download()
    {
        publish();
        QVERIFY(practice->tell(R"({"preview": "never"})"));
        fetch_preview();
        QTRY_VERIFY((steam().Update(), practice->conversation().contains("PreviewURL")));
        QTest::qWait(50);
        window.reset();
        QTest::qWait(50);
        QVERIFY(caller.previews.isEmpty());
    }

    void fetches_the_preview()
    {
        load_mod("0");
        QVERIFY(!steam().RetrieveModPreview(mod(), Caller::received, &caller));
        mod().id = "no number";
        QVERIFY(!steam().RetrieveModPreview(mod(), Caller::received, &caller));

        const QString id = publish();
        fetch_preview();
        QTRY_COMPARE((steam().Update(), caller.previews), QList<QSize>{QSize(30, 20)});
        const QRegularExpression wanted(QString("^ISteamUGC::CreateQueryUGCDetailsRequest\\(\\[%1\\]\\) = 2001\n"
                                                "ISteamUGC::SendQueryUGCRequest\\(2001\\) = (\\d+)\n"
                                                "SteamAPI_RegisterCallResult\\(3401, \\1\\)\n"
                                                "SteamAPI_RunCallbacks\\(\\)\n"
                                                "deliver 3401 for call \\1: result 1\n"
                                                "ISteamUGC::GetQueryUGCPreviewURL\\(2001, 0, 4096\\) = true\n"
                                                "SteamAPI_RunCallbacks\\(\\)$")
                                            .arg(id));
        QVERIFY2(wanted.match(practice->conversation()).hasMatch(), qPrintable(practice->conversation()));
    }

    void reports_a_failed_preview_data()
    {
        add_columns<QByteArray, int, int>("kind", "log_lines", "answers");
        add_row("no such page", QByteArray("404"), 1, 1);
        add_row("server trouble", QByteArray("500"), 1, 1);
        add_row("closed early", QByteArray("closes_early"), 1, 1);
        add_row("not a picture", QByteArray("not_a_picture"), 0, 1);
        add_row("no preview", QByteArray("none"), 0, 0);
        add_row("far too large", QByteArray("ok"), 1, 1);
    }

    void reports_a_failed_preview()
    {
        QFETCH(QByteArray, kind);
        QFETCH(int, log_lines);
        QFETCH(int, answers);
        publish();
        QVERIFY(practice->tell("{\"preview\": \"" + kind + "\"}"));
        if (kind == "ok")
            write_file(practice->item(mod().id, "preview"), picture(QSize(9, 9)).leftJustified(12'000'000, 'x'));
        mod().name = "Other";
        const int lines_before = log().size();
        fetch_preview();
        QTRY_COMPARE((steam().Update(), caller.previews.size()), answers);
        QTRY_COMPARE((steam().Update(), practice->live_registrations()), 0);
        QTest::qWait(50);
        QCOMPARE(caller.previews.size(), answers);
        for (const QSize& size : qAsConst(caller.previews))
            QCOMPARE(size, QSize(0, 0));
        QCOMPARE(log().size(), lines_before + log_lines);
        if (log_lines == 1) {
            QVERIFY2(log().last().startsWith(red + "Failed to download preview image for mod 'Other': "),
                     qPrintable(log().last()));
        }
    }

    void answers_only_the_newest_preview()
    {
        publish();
        // The first is still on its way when the second is asked for, which never comes.
        QVERIFY(practice->tell(R"({"preview": "slow", "preview_delay_ms": 300})"));
        Caller earlier;
        steam().RetrieveModPreview(mod(), Caller::received, &earlier);
        QTRY_VERIFY((steam().Update(), practice->conversation().contains("PreviewURL")));
        QTest::qWait(50);
        QVERIFY(practice->tell(R"({"preview": "never"})"));
        fetch_preview();
        QTRY_COMPARE((steam().Update(), practice->conversation().count("PreviewURL")), 2);
        QTest::qWait(500);
        QVERIFY(caller.previews.isEmpty() && earlier.previews.isEmpty());
    }

    void puts_the_marker_back_where_it_was()
    {
        publish();
        const QString marker = mod_folder() + "/disable.it";
        write_file(marker, "");
        upload();
        const ModDescriptor uploaded = mod();
        mod().folder_path = folder->path();
        fetch_preview(); // from now on the upload speaks of the other folder
        QVERIFY(pump_until_uploaded());
        QVERIFY(QFile::exists(folder->path() + "/disable.it"));
        QVERIFY(!QFile::exists(marker));
        window.reset();
        QVERIFY(QFile::exists(marker));
    }

    void names_the_application_unless_steam_has()
    {
        window.reset();
        qunsetenv("SteamAppId");
        qputenv("SteamGameId", "77");
        window.reset(new MainWindow);
        QCOMPARE(qgetenv("SteamAppId"), QByteArray("480"));
        QCOMPARE(qgetenv("SteamGameId"), QByteArray("77"));
        window.reset();
        qunsetenv("SteamGameId");
        qputenv("SteamAppId", "481");
        window.reset(new MainWindow);
        QCOMPARE(qgetenv("SteamAppId"), QByteArray("481"));
        QCOMPARE(qgetenv("SteamGameId"), QByteArray("480"));
        qputenv("SteamAppId", "480");
    }

    void explains_every_result_code()
    {
        const auto text = [](int code) { return SteamWrapper::convert_eresult_to_string(static_cast<EResult>(code)); };
        QCOMPARE(text(9), QString("Error (9) - File not found"));

        // The digest of all texts as they were agreed on, one a line.
        QCryptographicHash all(QCryptographicHash::Sha1);
        for (int code = -2; code < 110; ++code)
            all.addData(text(code).toUtf8() + '\n');
        QCOMPARE(all.result().toHex(), QByteArray("bbfaac237ec9ebc302ff3e6868ff81b9e4388771"));
    }
};

QTEST_MAIN(tst_wrapper)

#include "tst_wrapper.moc"
