#include "Support.h"

#include "CallResult.h"
#include "ISteamClient.h"
#include "ISteamUGC.h"
#include "SteamWrapper.h"
#include "TextFields.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTextCodec>

#include <algorithm>
#include <functional>
#include <tuple>
#include <utility>

namespace {

/// Receives what the wrapper reports, and may start something at once.
struct Caller
{
    static void uploaded(bool success, void* user) { take(user, success ? "done" : "failed"); }
    static void received(const QPixmap& image, void* user) { take(user, "width " + QByteArray::number(image.width())); }
    static void take(void* user, const QByteArray& answer)
    {
        auto* const caller = static_cast<Caller*>(user);
        caller->answers << answer;
        if (caller->then)
            std::exchange(caller->then, nullptr)();
    }

    QList<QByteArray> answers;
    std::function<void()> then;
};

/// Waits for the answers of calls, and makes the mistakes that a program can make there.
struct Waiter
{
    template<typename Result>
    void take(Result*, bool failed)
    {
        answers << failed;
    }
    void unregister(CreateItemResult_t*, bool) { SteamApi::UnregisterCallResult(&created, 1); }

    CCallResult<Waiter, CreateItemResult_t> created, second;
    CCallResult<Waiter, SubmitItemUpdateResult_t> other;
    QList<bool> answers;
};

/// Sends `reply` to the first who asks and a picture to the next; nothing at all while `reply` is null.
struct Server : QTcpServer
{
    Server()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, this, &Server::answer);
        });
        listen(QHostAddress::LocalHost);
    }
    void answer()
    {
        requests << socket->readAll();
        if (!reply.isNull()) {
            socket->write(std::exchange(reply, "HTTP/1.1 200 OK\r\n\r\n" + picture(QSize(30, 20))));
            socket->disconnectFromHost();
        }
    }
    QByteArray address() const { return "http://127.0.0.1:" + QByteArray::number(serverPort()) + "/"; }

    QByteArray reply;
    QList<QByteArray> requests;
    QTcpSocket* socket = nullptr; // the newest
};

/// A text as it stands, or parts as [text, times, text, times, ...].
QString text_of(const QJsonValue& value)
{
    QString text = value.toString();
    const QJsonArray parts = value.toArray();
    for (int i = 0; i + 1 < parts.size(); i += 2)
        text += parts.at(i).toString().repeated(parts.at(i + 1).toInt());
    return text;
}

} // namespace

/// What the wrapper says to Steam, as the Practice Workshop heard it, and what this keeps and answers.
class tst_wrapper : public WindowTest
{
    Q_OBJECT

private:
    QString mod_folder() const { return folder->path() + "/MyMod"; }
    ModParser::ModDescriptor& mod() const { return window->GetModDescriptor(); }
    SteamWrapper& steam() const { return *SteamWrapper::GetInstance(); }

    void load_mod(const QString& id)
    {
        caller = Caller(); // one that was never answered holds what has gone with its test
        write_file(mod_folder() + "/main.lua", QByteArray(1000, 'x'));
        write_file(mod_folder() + "/metadata.xml", metadata("<name>My \"Mod\" %2</name><id>" + id.toUtf8()
                                                            + "</id><description>Two\nlines \xC3\xA9</description>"
                                                              "<tag id='Lua'/><tag id='Sound Effects'/>"));
        QVERIFY(ModParser::ParseMetadata(mod_folder() + "/metadata.xml", mod()));
    }

    bool fetch_preview() { return steam().RetrieveModPreview(mod(), Caller::received, &caller); }
    void upload(const QString& notes = QString()) { steam().UploadMod(mod(), notes, Caller::uploaded, &caller); }
    void pump(int times)
    {
        while (times-- > 0)
            steam().Update();
    }
    /// How the upload ends; empty if it is never answered.
    QByteArray outcome_of_upload(const QString& notes = QString())
    {
        caller.answers.clear();
        upload(notes);
        for (int tick = 0; tick < 200 && caller.answers.isEmpty(); ++tick)
            steam().Update();
        return caller.answers.value(0);
    }

    /// Brings a new mod to the Workshop; returns its id.
    QString publish()
    {
        load_mod("0");
        mod().preview_path = folder->path() + "/preview.dat";
        write_file(mod().preview_path, picture(QSize(30, 20)));
        outcome_of_upload();
        caller.answers.clear();
        practice->forget();
        return mod().id;
    }

    /// Why the last call failed, without the time.
    QString reason() const
    {
        const QString line = QString(read_file(practice->store() + "/workshop_log.txt")).section('\n', -2, -2);
        return line.section(' ', 1).remove(folder->path());
    }

    Caller caller;

private slots:
    /// What goes to Steam is UTF-8 whatever the locale.
    void initTestCase() { QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1")); }

    void speaks_as_agreed_from_start_to_end()
    {
        steam().Update();
        load_mod("0");
        upload("First \"notes\"");
        mod().name = "changed later"; // the upload works on its own copy, what is loaded is saved with the id
        pump(10);
        const QString id = mod().id, saved = read_file(mod_folder() + "/metadata.xml");
        QVERIFY(saved.contains("<name>changed later</name>"));
        QString kept;
        for (const char* file : {"item.json", "history.json"})
            kept += QJsonDocument::fromJson(read_file(practice->item(id, file))).toJson(QJsonDocument::Compact) + "\n";
        const QString bytes = QString::number(1000 + saved.toUtf8().size());
        fetch_preview();
        pump(10);
        kept += practice->journal().join('\n') + '\n';
        upload();
        mod().id = "0";
        upload();
        mod().id = "7";
        fetch_preview();
        practice->forget();
        window.reset();
        kept += practice->journal().join('\n') + '\n';
        kept.replace(QRegularExpression("20\\d\\d-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ"), "(time)");
        // The client takes each for the version of its own slot, for its own user and pipe.
        kept.replace(QRegularExpression(R"((ISteamClient::\w+\(.* = ok\n){20})"), "20 interfaces\n");
        const QString quoted_file = QString(saved).replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
        const QString start =
            QCoreApplication::applicationDirPath().endsWith("-new") ? "InitFlat() = 0" : "Init() = true";
        const QString expected = test_file("conversation.txt");
        QCOMPARE(kept.split('\n'), expected.arg(id, mod_folder(), quoted_file, "%2", bytes, start).split('\n'));
    }

    void keeps_its_store_from_version_to_version_and_session_to_session()
    {
        const QString id = publish(), staging = practice->store() + "/staging/";
        mod().preview_path = folder->path() + "/other.png";
        write_file(mod().preview_path, picture(QSize(5, 5)));
        write_file(mod_folder() + "/sub/added.lua", "new");
        QDir(mod_folder()).mkdir("empty");
        QFile::remove(mod_folder() + "/main.lua");
        write_file(staging + id + "/new/content/left", "by a killed program");
#if defined(Q_OS_UNIX)
        QFile::link("..", mod_folder() + "/link");
#endif
        QCOMPARE(outcome_of_upload("Second"), "done");
        QCOMPARE(QDir(practice->item(id, "content")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries),
                 (QStringList{"empty", "metadata.xml", "sub"}));
        QCOMPARE(read_file(practice->item(id, "content/sub/added.lua")), QByteArray("new"));

        // What a death between the two renames of a swap leaves, and a death before.
        QDir().mkpath(staging + id + "/new");
        QVERIFY(QDir().rename(practice->item(id, ""), staging + id + "/old"));
        QDir().mkpath(staging + "900000000000002/new/content");
        QDir().mkpath(practice->item("900000000000007", ""));
        // In the next run the note is gone, and the line ends in a blank.
        open_window();
        practice->tell(R"({"create_results": 2})"); // a creation that fails is none
        load_mod("0");
        QCOMPARE(outcome_of_upload(), "failed");
        load_mod(id);
        QCOMPARE(outcome_of_upload(), "done");
        QCOMPARE(log().mid(1), QStringList{green + "Successfully uploaded mod 'My \"Mod\" %2' to Steam Workshop "});
        QCOMPARE(read_file(practice->item(id, "preview")), picture(QSize(5, 5))); // none was sent
        QVERIFY(read_file(practice->item(id, "history.json")).contains("\"version\": 3"));
        QCOMPARE(publish(), QString("900000000000008")); // no number is given out twice
        QVERIFY(QDir(staging).isEmpty());
        for (const int excess : {0, 1}) { // a journal that is too large begins afresh
            write_file(practice->store() + "/journal.txt", QByteArray((4 << 20) + excess, 'x'));
            SteamApi::Context().UGC->StartItemUpdate(480, 5);
            QCOMPARE(read_file(practice->store() + "/journal.txt").count('x'), excess ? 0 : 4 << 20);
        }
    }

    /// A scenario names what is loaded ("load": the id of the item,
    /// or "published" for a mod that has been uploaded once), what is changed in memory ("mod"), on disk ("files": in
    /// the mod's folder MyMod, or the preview.dat that is sent) and in the store by others ("item": words), what the
    /// Practice Workshop is told ("script"); the change "notes", how it "ends" (if nothing is said it is never
    /// answered), the lines of the "log", what the conversation "says", the "reason" in the log of the store, the "id"
    /// on disk, and the "progress" and the registrations ("armed") afterwards. The marker disable.it must be away
    /// meanwhile and there again afterwards.
    void plays_the_scenarios_data()
    {
        QTest::addColumn<QJsonObject>("test_case");
        for (const QJsonValue value : QJsonDocument::fromJson(test_file("scenarios.json")).array())
            add_row(value["name"].toString().toUtf8(), value.toObject());
    }

    void plays_the_scenarios()
    {
        QFETCH(const QJsonObject, test_case);
        const QString load = test_case["load"].toString();
        load == "published" ? void(publish()) : load_mod(load);
        const QJsonObject changes = test_case["mod"].toObject();
        for (const auto& [element, member] : ModParser::text_fields)
            mod().*member = changes.contains(element) ? text_of(changes[element]) : mod().*member;
        mod().folder_path = changes["folder_path"].toString(mod().folder_path);
        mod().preview_path = changes["preview_path"].toString(mod().preview_path);
        for (const QJsonValue tag : changes["tags"].toArray())
            mod().tags << text_of(tag);
        const QJsonObject files = test_case["files"].toObject();
        for (const QString& name : files.keys())
            write_file(folder->path() + "/" + name, text_of(files[name]).toLatin1());
        if (files.contains("preview.dat"))
            mod().preview_path = folder->path() + "/preview.dat";
        if (test_case.contains("item")) {
            const QString file = practice->item(mod().id, "item.json");
            const QStringList words = test_case["item"].toVariant().toStringList();
            write_file(file, QString(read_file(file)).replace(words[0], words[1]).toUtf8());
        }
        practice->tell(QJsonDocument(test_case["script"].toObject()).toJson());
        const QStringList log_before = log();
        const QString marker = mod_folder() + "/disable.it";
        const bool has_marker = QFile::exists(marker), ends = test_case.contains("ends");
        QStringList log_when_called, expected_log = test_case["log"].toVariant().toStringList();
        caller.then = [&] { log_when_called = log(); };
        QCOMPARE(outcome_of_upload(text_of(test_case["notes"])), test_case["ends"].toString().toLatin1());
        QCOMPARE(QFile::exists(marker), ends && has_marker);
        if (ends) {
            QCOMPARE(log_when_called, log()); // it has it before the caller
            QFile::remove(marker);            // by the user, so for good
        }
        if (test_case.contains("log"))
            QCOMPARE(log().mid(log_before.size()), expected_log);
        for (const QString& words : test_case["says"].toVariant().toStringList())
            QVERIFY2(practice->journal().join('\n').contains(words), qPrintable(practice->journal().join('\n')));
        if (test_case.contains("reason"))
            QCOMPARE(reason(), "item " + mod().id + ", " + test_case["reason"].toString());
        QCOMPARE(steam().GetUploadModProgress(), test_case["progress"].toInt(-1));
        QCOMPARE(practice->live_registrations(), test_case["armed"].toInt(0));
        if (test_case.contains("id"))
            QVERIFY(read_file(mod_folder() + "/metadata.xml").contains(test_case["id"].toString().toUtf8() + "</id>"));
        QVERIFY(!QFile::exists(practice->item(mod().id, "content/disable.it")));
        window.reset(); // also puts back what an upload without an answer has taken away
        QCOMPARE(QFile::exists(marker), has_marker && !ends);
    }

    void takes_a_script_from_people()
    {
        practice->tell(test_file("../docs/practice.json")); // the documented one, comments and all
        const QString script = practice->store() + "/practice.json";
        load_mod("0");
        // A file counts once, what is right in it counts, and nothing of a former file is left.
        const std::pair<QByteArray, QByteArray> scripts[] = {
            {"{ // what people write\n\"owner\": 5, \"legal_agreement\": 1,\n\n\"no_such_key\": 1, \"start\": \"no\","
             "\n\"bytes_per_pump\": 1.5, \"create_results\": [8, 8]}",
             "failed"},
            {"{\n\"start\": \"fails\"\n oops" + QByteArray(46, ' '), "done"}, // as long as the next
            {R"({"submit_results": [25, 1, 25], "io_failures": ["submit", "submit"]})", "failed failed failed done"}};
        for (const auto& [text, outcomes] : scripts) {
            QTest::qWait(20); // until the clock of the disk has gone on
            write_file(script, text);
            for (const QByteArray& outcome : outcomes.split(' '))
                QCOMPARE(outcome_of_upload(), outcome);
        }
        practice->tell(R"({"submit_results": 2})");
        QFile::remove(script); // and so all that was scripted
        QCOMPARE(outcome_of_upload(), "done");
        QStringList complaints = practice->journal().filter("practice.json, line ");
        complaints.replaceInStrings(QRegularExpression("syntax error.*"), "syntax error");
        QCOMPARE(
            complaints.replaceInStrings("practice.json, line ", "").join("; "),
            QString(R"(2: "owner" wants a text; 2: "legal_agreement" wants true or false; )"
                    R"(4: "no_such_key" is an unknown key; 4: "start" wants one of: ["ok","fails"]; )"
                    R"(5: "bytes_per_pump" wants a whole number from 1 to 1073741824; 3, column 2: syntax error)"));

        const std::tuple<const char*, int, int> limits[] = {
            {"bytes_per_pump", 1, 1 << 30}, {"answer_after_pumps", 1, 1'000'000}, {"preview_delay_ms", 0, 600'000}};
        for (const auto& [key, least, most] : limits) {
            for (const int n : {least, most, least - 1, most + 1})
                QCOMPARE(practice->takes(QString("{\"%1\": %2}").arg(key).arg(n).toLatin1()), n >= least && n <= most);
        }
    }

    void reports_progress_in_tenths()
    {
        publish();
        write_file(mod_folder() + "/main.lua", QByteArray(100'000, 'x'));
        for (int number = 0; number < 100; ++number) // as many files as go with one step
            write_file(mod_folder() + "/a/" + QString::number(number), "");
        const qint64 total = 100'000 + QFileInfo(mod_folder() + "/metadata.xml").size();
        practice->tell("{\"bytes_per_pump\": " + QByteArray::number((total + 19) / 20) + "}");
        upload();
        QByteArray tenths, phases;
        for (int tick = 0; tick < 100 && caller.answers.isEmpty(); ++tick) {
            std::uint64_t done = 0, all = 0;
            phases += QByteArray::number(SteamApi::Context().UGC->GetItemUpdateProgress(1002, &done, &all));
            QCOMPARE(all, std::uint64_t(phases.endsWith('3') ? total : 0));
            tenths += QByteArray::number(steam().GetUploadModProgress()) + ' ';
            steam().Update();
        }
        // Twentieths, cut to whole tenths; 0 of 0 before and after the content.
        QCOMPARE(tenths, "0 0 0 0 0 1 1 2 2 3 3 4 4 5 5 6 6 7 7 8 8 9 9 10 0 0 ");
        QCOMPARE(practice->journal().filter("GetItemUpdateProgress").size(), 1); // not one for each beat
        QCOMPARE(phases, "112" + QByteArray(21, '3') + "45");
        QCOMPARE(steam().GetUploadModProgress(), -1);
    }

    void does_one_upload_of_an_item_at_a_time()
    {
        const QString item = "item " + publish() + ", result ", main = mod_folder() + "/main.lua";
        practice->tell(R"({"bytes_per_pump": 10000})");
        write_file(main, QByteArray(100'000, 'y'));
        Caller earlier;
        steam().UploadMod(mod(), QString(), Caller::uploaded, &earlier);
        pump(5);
        QCOMPARE(outcome_of_upload(), "failed"); // only the newest is answered
        QCOMPARE(reason(), item + "33: another update of the item is running");
        write_file(main, QByteArray(100'001, 'y'));
        pump(20);
        QVERIFY(earlier.answers.isEmpty());
        QCOMPARE(reason(), item + "2: the content file \"main.lua\" grew while it was uploaded");
        QCOMPARE(read_file(practice->item(mod().id, "content/main.lua")), QByteArray(1000, 'x'));
    }

    void begins_calls_inside_answers_and_beside_others()
    {
        publish();
        caller.then = [this] {
            upload("from inside");
            fetch_preview();
            caller.then = [this] { caller.then = [this] { fetch_preview(); }; };
        };
        upload();
        QTRY_COMPARE((steam().Update(), caller.answers.size()), 4);
        std::sort(caller.answers.begin(), caller.answers.end()); // the picture may be there before the upload is done
        QCOMPARE(caller.answers, (QList<QByteArray>{"done", "done", "width 30", "width 30"}));
        QVERIFY(practice->journal().filter("Unregister").isEmpty());

        const QString marker = mod_folder() + "/disable.it";
        write_file(marker, "");
        upload();
        mod().folder_path = folder->path();
        fetch_preview(); // from now on the upload speaks of the other folder
        pump(10);
        QVERIFY(QFile::exists(folder->path() + "/disable.it") && !QFile::exists(marker));
        window.reset();
        QVERIFY(QFile::exists(marker));
    }

    void downloads_what_a_server_sends_data()
    {
        add_columns<QByteArray, QByteArray, QByteArray, QByteArray>("reply", "answer", "reason", "script");
        const auto add = [](const QByteArray& name, const QByteArray& reply, const QByteArray& answer,
                            const QByteArray& reason = "", const QByteArray& script = R"({"preview_url": "%1"})") {
            add_row(name, reply, answer, reason, script);
        };
        const auto ok = [](const QByteArray& body, int claimed = 0) {
            return "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size() + claimed) + "\r\n\r\n"
                   + body;
        };
        const QByteArray none = "width 0", seen = "width 30", png = picture(QSize(30, 20)), text(600, 'x');
        for (const QByteArray format : {"PNG", "JPEG", "BMP", "PPM"})
            add(format, ok(picture(QSize(30, 20), Qt::red, format)), format == "PPM" ? none : seen);
        const auto gif = QByteArray::fromHex("1e0014008000 00000000ffffff 2c0000000001000100 000202440100 3b");
        for (const QByteArray kind : {"GIF87a", "GIF89a"})
            add(kind, ok(kind + gif), seen);
        add("largest", ok(png.leftJustified(8 << 20, 'x')), seen);
        add("too large", ok(png.leftJustified((8 << 20) + 1, 'x')), none, "Operation canceled");
        add("no page", "HTTP/1.1 404 " + text + "\r\n\r\n", none, "Error transferring %1 - server replied: " + text);
        add("closed early", ok(png, 1), none, "Connection closed");
        add("redirected", "HTTP/1.1 302 There\r\nLocation: /there\r\nSet-Cookie: a=b\r\n\r\n", seen);
        add("redirected to another host", "HTTP/1.1 302 There\r\nLocation: http://localhost:PORT/\r\n\r\n", seen);
        add("longest address", ok(png), seen, "", R"({"preview_url": "%1LONG"})");
        add("address too long", ok(png), "", "", R"({"preview_url": "%1xLONG"})");
        // By the Practice Workshop's own server, or not at all.
        for (const char* script :
             {R"({"preview": "none"})", R"({"refuse_calls": "query"})", R"({"answer_after_pumps": 9999})",
              R"({"query_results": 2})", R"({"io_failures": "query"})", R"({"preview": "never"})",
              R"({"preview": "slow", "preview_delay_ms": 600000})"})
            add(script, "", "", "", script);
        add("our own, slow", "", seen, "", R"({"preview": "slow", "preview_delay_ms": 1})");
        add("our own, gone", "", none, "Error transferring %1 - server replied: Not Found", R"({"preview": "404"})");
    }

    void downloads_what_a_server_sends()
    {
        QFETCH(QByteArray, reply);
        QFETCH(QByteArray, answer);
        QFETCH(QByteArray, reason);
        QFETCH(QByteArray, script);
        publish();
        Server server;
        server.reply = reply.replace("PORT", QByteArray::number(server.serverPort()));
        script.replace("%1", server.address()).replace("LONG", QByteArray(4095 - server.address().size(), 'x'));
        practice->tell(script);
        mod().name = "Other %2";
        const auto lines_before = log().size();
        fetch_preview();
        pump(10);
        if (answer.isEmpty())
            QTest::qWait(50); // in which one that should not come would
        QTRY_COMPARE_WITH_TIMEOUT(caller.answers.value(0), answer, 30'000);
        reason = reason.replace("%1", server.address()).left(500);
        QStringList lines{red + "Failed to download preview image for mod 'Other %2': " + reason};
        const QRegularExpression address("http://[^ ]*"); // which is not known of our own server
        QCOMPARE(log().mid(lines_before).replaceInStrings(address, ""),
                 reason.isEmpty() ? QStringList() : lines.replaceInStrings(address, ""));
        for (const QByteArray& request : qAsConst(server.requests))
            QVERIFY2(request.contains("\r\nAccept-Encoding: identity\r\n") && !request.contains("Cookie"), request);
    }

    void ends_a_download_for_a_newer_one_or_the_end()
    {
        load_mod("0");
        QVERIFY(!fetch_preview());
        publish();
        Server server;
        practice->tell("{\"preview_url\": \"" + server.address() + "\"}");
        QVERIFY(fetch_preview());
        QTRY_COMPARE((steam().Update(), server.requests.size()), 1);
        const QPointer<QTcpSocket> first = server.socket;
        const auto* const reply = steam().findChild<QNetworkReply*>();
        QCOMPARE(reply->request().transferTimeout(), 30'000);
        QSignalSpy arrived(reply, &QNetworkReply::readyRead);
        first->write("HTTP/1.1 200 OK\r\n\r\nhalf"); // of which the next knows nothing
        QVERIFY(arrived.wait());
        server.reply = "HTTP/1.1 200 OK\r\n\r\n" + picture(QSize(30, 20));
        fetch_preview();
        QTRY_COMPARE((steam().Update(), caller.answers), QList<QByteArray>{"width 30"});
        server.reply = QByteArray();
        fetch_preview();
        QTRY_COMPARE((steam().Update(), server.requests.size()), 3);
        QTRY_COMPARE(first->state(), QAbstractSocket::UnconnectedState);
        window.reset();
        QTRY_COMPARE(server.socket->state(), QAbstractSocket::UnconnectedState);
        QCOMPARE(caller.answers.size(), 1);
    }

    void names_the_application_unless_steam_has()
    {
        const QByteArray of_foreign_game = "14757395258967641292", of_steam = "4294967295";
        for (const QByteArray given : {"", "0", "abc", "-1", "4294967296", "480", "1", of_steam.constData()}) {
            qputenv("SteamAppId", given);
            qputenv("SteamGameId", of_foreign_game);
            open_window();
            const bool is_kept = given.toUInt() > 0;
            QCOMPARE(qgetenv("SteamAppId"), is_kept ? given : "480");
            QCOMPARE(qgetenv("SteamGameId"), is_kept ? of_foreign_game : "480");
        }
        load_mod("0");
        outcome_of_upload();
        QCOMPARE(reason(), "new item, result 8: the item is for app 480, the program runs as app " + of_steam);
        qputenv("SteamAppId", "480");
    }

    void leaves_steam_alone_after_a_failed_start()
    {
        const QByteArray lacks = R"({"start": "ok", "missing_interfaces": )";
        for (const QByteArray& script :
             {QByteArray(R"({"start": "fails"})"), lacks + R"("SteamUser019"})",
              lacks + R"(["SteamFriends015", "SteamUtils008", "STEAMUNIFIEDMESSAGES_INTERFACE_VERSION001"]})"}) {
            window.reset();
            practice->tell(script);
            practice->forget();
            open_window();
            QCOMPARE(practice->journal().contains("SteamAPI_Shutdown()"), script.contains("SteamUser"));
            practice->forget();
            steam().Update();
            load_mod("5");
            upload();
            fetch_preview();
            QCOMPARE(practice->journal().isEmpty(), !script.contains("Utils"));
            QCOMPARE(steam().GetUploadModProgress(), 0); // as of a call that was not accepted
        }
    }

    void notices_what_steam_would_not_forgive()
    {
        const SteamContext former = SteamApi::Context();
        ISteamUGC* const ugc = former.UGC;
        const auto create = [ugc] { return ugc->CreateItem(480, k_EWorkshopFileTypeCommunity); };
        const UGCUpdateHandle_t update = ugc->StartItemUpdate(480, 5);
        std::uint64_t item = 5;
        char url[9];
        {
            Waiter waiter;
            waiter.created.Set(create(), &waiter, &Waiter::unregister);
            SteamApi::RegisterCallResult(&waiter.created, 1); // the same again does no harm
            pump(2);
            SteamApi::UnregisterCallResult(&waiter.created, 1);
            waiter.created.Set(create(), &waiter, &Waiter::take);
            waiter.second.Set(2, &waiter, &Waiter::take);
            waiter.other.Set(create(), &waiter, &Waiter::take);
            create(); // nobody waits for the answer
            pump(2);
            QCOMPARE(waiter.answers, (QList<bool>{false, true}));
            waiter.second.Set(5, &waiter, &Waiter::take);
        }
        QVERIFY(read_file(practice->item("900000000000001", "item.json")).contains("\"visibility\": \"private\""));
        QVERIFY(!ugc->SetItemTitle(7, ""));
        QVERIFY(ugc->SubmitItemUpdate(update, nullptr) != 0 && ugc->SubmitItemUpdate(update, "") == 0);
        pump(1);
        QCOMPARE(ugc->GetItemUpdateProgress(update, &item, &item), 0);
        QVERIFY(!ugc->SendQueryUGCRequest(7) && !ugc->GetQueryUGCPreviewURL(7, 0, url, sizeof url));
        ugc->GetQueryUGCResult();
        ISteamClient* const client = former.Client;
        QVERIFY(!client->GetISteamUser(1, 2, "SteamUser018")); // no mistake
        QVERIFY(!client->GetISteamUser(2, 2, "SteamUser019") && !client->GetISteamUser(1, 1, "SteamUser019"));
        const UGCUpdateHandle_t unsent = ugc->StartItemUpdate(480, 5);
        const UGCQueryHandle_t query = ugc->CreateQueryUGCDetailsRequest(&item, 1);
        steam().Shutdown();
        SteamApi::RunCallbacks();
        QVERIFY(!create() && steam().Initialize() && !create() && !ugc->SetItemTitle(unsent, ""));
        ISteamUGC* const now = SteamApi::Context().UGC;
        QVERIFY(!now->SetItemTitle(unsent, "") && !now->SendQueryUGCRequest(query));
        const QStringList expected = QString(test_file("mistakes.txt")).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(practice->journal().filter("mistake: ").replaceInStrings("mistake: ", ""), expected);
        window.reset();
        practice.reset(new Practice); // forgets them
    }

    void explains_every_result_code()
    {
        const QStringList texts = QString(test_file("result-texts.txt")).split('\n');
        for (int code = 0; code < 108; ++code)
            QCOMPARE(SteamWrapper::convert_eresult_to_string(EResult(code)), texts.value(code));
    }
};

QTEST_MAIN(tst_wrapper)

#include "tst_wrapper.moc"
