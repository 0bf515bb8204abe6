#include "Support.h"

#include "ISteamClient.h"
#include "ISteamUGC.h"
#include "MainWindow.h"
#include "SteamApi.h"
#include "SteamWrapper.h"

#include <QCryptographicHash>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPixmap>
#include <QTest>

#include <functional>
#include <utility>

using ModParser::ModDescriptor;

namespace {

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

/// A conversation as it has to be, with places left open.
QString conversation_file(const QString& name)
{
    return QString::fromUtf8(test_file("conversations/" + name + ".txt").trimmed());
}

QJsonObject json_object(const QString& path) { return QJsonDocument::fromJson(read_file(path)).object(); }

} // namespace

/// The wrapper's conversations with Steam, in full, as the Practice Workshop heard them.
class tst_wrapper : public WindowTest
{
    Q_OBJECT

private:
    QString mod_folder() const { return folder->path() + "/MyMod"; }
    ModDescriptor& mod() const { return window->GetModDescriptor(); }
    SteamWrapper& steam() const { return *SteamWrapper::GetInstance(); }

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

    /// Brings about what stands before the upload of a scenario.
    void prepare(const QJsonObject& test_case)
    {
        const QString load = test_case.value("load").toString();
        load == "published" ? void(publish()) : load_mod(load);
        change(mod(), test_case.value("mod").toObject());
        if (test_case.contains("picture")) {
            mod().preview_path = folder->path() + "/other";
            const int size = test_case.value("picture").toInt();
            const QByteArray start = size < 0 ? test_case.value("start").toString().toLatin1() : picture(QSize(30, 20));
            write_file(mod().preview_path, start.leftJustified(qAbs(size), 'x', true));
        }
        practice->tell(QJsonDocument(test_case.value("script").toObject()).toJson());
        if (test_case.value("marker").toBool())
            write_file(mod_folder() + "/disable.it", "content goes");
    }

    Caller caller;

private slots:
    void init()
    {
        WindowTest::init();
        caller = Caller();
    }

    void starts_asks_for_every_interface_and_stops()
    {
        steam().Update();
        window.reset();
        QString begin = "SteamAPI_Init() = true";
        if (QCoreApplication::applicationDirPath().endsWith("-new"))
            begin = "SteamAPI_InitFlat() = 0";
        QCOMPARE(practice->journal().join('\n'), conversation_file("start-and-stop").arg(begin));
    }

    void starts_anew_after_a_stop()
    {
        SteamWrapper* const first = SteamWrapper::GetInstance();
        QCOMPARE(SteamWrapper::GetInstance(), first);
        publish();
        ISteamUGC* const former = SteamApi::Context().UGC;
        steam().Shutdown();
        SteamWrapper::DestroyInstance();
        SteamWrapper::DestroyInstance();
        steam().Update(); // a fresh object pumps nothing before its start
        QVERIFY(!practice->journal().join('\n').contains("Shutdown()\nSteamAPI_RunCallbacks()"));

        QVERIFY(steam().Initialize());
        upload(); // through an interface that was asked for anew: a stale one counts as a mistake
        QVERIFY(pump_until_uploaded());
        QVERIFY(caller.outcomes.first());

        QVERIFY(!SteamApi::Context().Client->GetISteamUser(1, 2, "SteamUser018")); // no mistake
        QVERIFY(!SteamApi::Context().Client->GetISteamUser(2, 1, "SteamUser019")); // two that Steam would not forgive
        former->CreateItem(480, k_EWorkshopFileTypeCommunity);
        QCOMPARE(practice->mistakes(), 2);
        window.reset();
        practice.reset(new Practice); // forgets it
    }

    void reports_a_failed_start_and_leaves_steam_alone()
    {
        for (const char* script :
             {R"({"missing_interfaces": ["SteamClient017"]})", R"({"missing_interfaces": ["SteamUser019"]})",
              R"({"missing_interfaces": ["STEAMUGC_INTERFACE_VERSION009"]})",
              R"({"start": "fails"})"}) { // last, because it stays
            window.reset();
            practice->tell(script);
            open_window();
            QCOMPARE(log_of(*window).size(), 1);
            practice->forget();
            steam().Update();
            load_mod("5");
            upload();
            fetch_preview();
            QCOMPARE(practice->journal(), QStringList());
            QVERIFY(!window->acceptDrops());
            QCOMPARE(steam().GetUploadModProgress(), 0); // as of a call that was not accepted
        }
    }

    void does_without_interfaces_that_it_never_uses()
    {
        window.reset();
        practice->tell(R"({"missing_interfaces": ["STEAMUNIFIEDMESSAGES_INTERFACE_VERSION001",
                                                          "SteamFriends015"]})");
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
        QCOMPARE(item.value("tags").toVariant().toStringList(), mod().tags);
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
        mod().visibility = "Private";
        upload("Second");
        QVERIFY(pump_until_uploaded());
        QVERIFY(!practice->conversation().contains("CreateItem"));
        QVERIFY(practice->conversation().contains("SetItemPreview(1002, \"" + mod().preview_path));
        QCOMPARE(read_file(practice->item(id, "preview")), picture(QSize(5, 5)));
        QCOMPARE(json_object(practice->item(id, "item.json")).value("visibility").toString(), QString("private"));
        QCOMPARE(QDir(practice->item(id, "content")).entryList(QDir::Files),
                 (QStringList{"added.lua", "metadata.xml"}));
        const QJsonArray history = QJsonDocument::fromJson(read_file(practice->item(id, "history.json"))).array();
        QCOMPARE(history.size(), 2);
        QCOMPARE(history.at(1).toObject().value("change_note").toString(), QString("Second"));
        // An item was created in this run, so the note stays on every later success.
        QVERIFY(log().last().endsWith("(may take a short time to appear publically)"));

        // In the next run it is gone, and the line ends in a blank.
        open_window();
        load_mod(id);
        upload();
        QVERIFY(pump_until_uploaded(2));
        QCOMPARE(log(), QStringList{green + "Successfully uploaded mod 'My \"Mod\" %2' to Steam Workshop "});
        QCOMPARE(read_file(practice->item(id, "preview")), picture(QSize(5, 5))); // none was sent
    }

    void plays_the_scenarios_data() { add_cases("scenarios.json"); }

    void plays_the_scenarios()
    {
        QFETCH(QJsonObject, test_case);
        const QStringList entries{"name", "load", "mod",  "picture", "start", "script",   "marker", "notes",
                                  "ends", "log",  "says", "reason",  "id",    "progress", "armed"};
        for (const QString& entry : test_case.keys())
            QVERIFY2(entries.contains(entry), qPrintable(entry)); // a misspelt one would be passed over
        prepare(test_case);
        const QStringList log_before = log();
        const QString marker = mod_folder() + "/disable.it";
        const bool has_marker = QFile::exists(marker);
        decltype(log().size()) lines_when_called = 0;
        caller.then = [&] { lines_when_called = log().size(); };
        upload(text_of(test_case.value("notes")));
        QVERIFY(!QFile::exists(marker));
        QCOMPARE(pump_until_uploaded(), test_case.contains("ends"));
        if (test_case.contains("ends")) {
            QCOMPARE(caller.outcomes.first(), test_case.value("ends").toBool());
            QCOMPARE(lines_when_called, log().size()); // the log has it before the caller
            QCOMPARE(QFile::exists(marker), has_marker);
            QVERIFY(read_file(marker).isEmpty());
            QFile::remove(marker); // by the user, so for good
        }
        if (test_case.contains("log"))
            QCOMPARE(log().mid(log_before.size()), test_case.value("log").toVariant().toStringList());
        for (const QString& words : test_case.value("says").toVariant().toStringList())
            QVERIFY2(practice->conversation().contains(words), qPrintable(practice->conversation()));
        const QString reasons = read_file(practice->store() + "/workshop_log.txt").trimmed();
        QVERIFY2(reasons.section('\n', -1).contains(test_case.value("reason").toString()), qPrintable(reasons));
        QCOMPARE(steam().GetUploadModProgress(), test_case.value("progress").toInt(-1));
        QCOMPARE(practice->live_registrations(), test_case.value("armed").toInt(0));
        if (test_case.contains("id")) {
            QCOMPARE(mod().id, test_case.value("id").toString());
            QVERIFY(read_file(mod_folder() + "/metadata.xml").contains("<id>" + mod().id.toUtf8() + "</id>"));
        }

        QVERIFY(!QFile::exists(practice->item(mod().id, "content/disable.it")));
        window.reset(); // also puts back what an upload without an answer has taken away
        QCOMPARE(QFile::exists(marker), has_marker && !test_case.contains("ends"));
        QVERIFY(read_file(marker).isEmpty());
    }

    void takes_a_script_from_people_and_names_its_mistakes()
    {
        practice->tell(read_file(SCRIPT_SAMPLE)); // the documented one, comments and all
        practice->tell(R"({"bytes_per_pump": 1000000, "answer_after_pumps": 1})");
        write_file(practice->store() + "/practice.json",
                   "{ // what people write\n \"owner\": 5,\n\n \"no_such_key\": 1,\n"
                   " \"create_results\": [8, 8]\n}");
        load_mod("0");
        upload();
        QVERIFY(pump_until_uploaded());
        QCOMPARE(caller.outcomes, QList<bool>{false}); // what is right in it counts
        const QString journal = practice->journal().join('\n');
        QVERIFY2(journal.contains("practice.json, line 2: \"owner\""), qPrintable(journal));
        QVERIFY2(journal.contains("practice.json, line 4: \"no_such_key\" is an unknown"), qPrintable(journal));

        // Nothing of a former file is left, and a file counts once.
        write_file(practice->store() + "/practice.json", "{\n \"start\": \"fails\"\n oops");
        upload();
        QVERIFY(pump_until_uploaded(2));
        QVERIFY(caller.outcomes.last());
        QCOMPARE(practice->journal().join('\n').count("practice.json, line 3"), 1);

        write_file(practice->store() + "/practice.json", R"({"submit_results": [25, 25]})");
        upload();
        QVERIFY(pump_until_uploaded(3));
        QFile::remove(practice->store() + "/practice.json");
        upload();
        QVERIFY(pump_until_uploaded(4));
        QVERIFY(caller.outcomes.last());
    }

    void reports_progress_in_tenths()
    {
        publish();
        write_file(mod_folder() + "/main.lua", QByteArray(100'000, 'x'));
        const qint64 total = 100'000 + QFileInfo(mod_folder() + "/metadata.xml").size();
        practice->tell("{\"bytes_per_pump\": " + QByteArray::number((total + 19) / 20) + "}");

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
        practice->tell(R"({"silent_calls": ["create", "submit", "query"]})");
        upload();
        mod().id = "0";
        upload();
        mod().id = "7";
        fetch_preview();
        QCOMPARE(practice->live_registrations(), 3);
        practice->forget();
        window.reset();
        QCOMPARE(practice->journal().join('\n'), conversation_file("stop-while-waiting"));
    }

    void closes_during_a_download()
    {
        publish();
        practice->tell(R"({"preview": "never"})");
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
        QVERIFY((steam().Update(), steam().Update(), practice->conversation().contains("PreviewURL")));
        QTRY_COMPARE((steam().Update(), caller.previews), QList<QSize>{QSize(30, 20)});
        QCOMPARE(practice->conversation(), conversation_file("preview").arg(id));
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
        practice->tell("{\"preview\": \"" + kind + "\"}");
        if (kind == "ok")
            write_file(practice->item(mod().id, "preview"), picture(QSize(9, 9)).leftJustified(12'000'000, 'x'));
        mod().name = "Other";
        const auto lines_before = log().size();
        fetch_preview();
        QTRY_COMPARE_WITH_TIMEOUT((steam().Update(), caller.previews.size()), answers, 30'000);
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
        practice->tell(R"({"preview": "slow", "preview_delay_ms": 300})");
        Caller earlier;
        steam().RetrieveModPreview(mod(), Caller::received, &earlier);
        QTRY_VERIFY((steam().Update(), practice->conversation().contains("PreviewURL")));
        QTest::qWait(50);
        practice->tell(R"({"preview": "never"})");
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

    void names_the_application_unless_steam_has_data()
    {
        add_columns<QByteArray, QByteArray>("given", "kept");
        add_row("not set", QByteArray(), QByteArray());
        for (const char* const text : {"", "0", "abc", "-1", "4294967296"})
            add_row(*text ? text : "empty", QByteArray(text), QByteArray());
        for (const char* const id : {"480", "77", "4294967295"})
            add_row(id, QByteArray(id), QByteArray(id));
    }

    void names_the_application_unless_steam_has()
    {
        QFETCH(QByteArray, given);
        QFETCH(QByteArray, kept);
        const QByteArray of_foreign_game = "14757395258967641292";
        window.reset();
        given.isNull() ? qunsetenv("SteamAppId") : qputenv("SteamAppId", given);
        qputenv("SteamGameId", of_foreign_game);
        open_window();
        const QByteArray app = qgetenv("SteamAppId");
        const QByteArray game = qgetenv("SteamGameId");
        qputenv("SteamAppId", "480");
        QCOMPARE(app, kept.isEmpty() ? "480" : kept);
        QCOMPARE(game, kept.isEmpty() ? "480" : of_foreign_game);
    }

    void explains_every_result_code()
    {
        const auto text = [](int code) { return SteamWrapper::convert_eresult_to_string(static_cast<EResult>(code)); };
        // The digest of all texts as they were agreed on, one a line.
        QCryptographicHash all(QCryptographicHash::Sha1);
        for (int code = -2; code < 110; ++code)
            all.addData(text(code).toUtf8() + '\n');
        QCOMPARE(all.result().toHex(), QByteArray("bbfaac237ec9ebc302ff3e6868ff81b9e4388771"));
    }
};

QTEST_MAIN(tst_wrapper)

#include "tst_wrapper.moc"
