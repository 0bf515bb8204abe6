#include "Support.h"

#include "TextFields.h"

#include <QDir>
#include <QJsonArray>
#include <QTest>

#include <map>

using ModParser::ModDescriptor;

namespace {

const QByteArray full_file = R"(<?xml version="1.0" encoding="UTF-8"?>
<metadata>
    <name>Tom &amp; Jerry</name>
    <directory>tomandjerry</directory>
    <id>42</id>
    <description>Line one
Line &lt;two&gt;</description>
    <version>1.9</version>
    <visibility>Friends Only</visibility>
    <tag id="Lua"/>
    <tag id="Music"/>
</metadata>
)";

ModDescriptor full_mod(const QString& folder)
{
    ModDescriptor mod;
    mod.name = "Tom & Jerry";
    mod.directory = "tomandjerry";
    mod.id = "42";
    mod.description = "Line one\nLine <two>";
    mod.version = "1.9";
    mod.visibility = "Friends Only";
    mod.tags = QStringList{"Lua", "Music"};
    mod.folder_path = folder;
    return mod;
}

const QString forbidden =
    "Mod folder contains one more more files that are not allowed to be uploaded to Steam Workshop";

/// The stored fields of a mod, in a form that a failed comparison shows whole.
QStringList fields(const ModDescriptor& mod)
{
    QStringList lines;
    for (const ModParser::TextField& field : ModParser::text_fields)
        lines << QString("%1: %2").arg(field.element, mod.*field.member);
    return lines + mod.tags;
}

QByteArray utf16(const QString& text) { return {reinterpret_cast<const char*>(text.utf16()), int(text.size()) * 2}; }

} // namespace

class tst_metadata : public QObject
{
    Q_OBJECT

private:
    /// A fresh folder "MyMod" for each test.
    QString folder() const { return root->path() + "/MyMod"; }
    QString file() const { return folder() + "/metadata.xml"; }

    QScopedPointer<QTemporaryDir> root;

private slots:
    void init()
    {
        root.reset(new QTemporaryDir);
        QDir().mkpath(folder());
    }

    void reads_and_fills_in_data() { add_cases("metadata.json", "readings"); }

    void reads_and_fills_in()
    {
        QFETCH(QJsonObject, test_case);
        write_file(file(), metadata(test_case.value("xml").toString().toUtf8()));
        ModDescriptor expected;
        change(expected, {{"name", "MyMod"}, {"directory", "mymod"}, {"id", "0"}, {"version", "1.0"}});
        expected.visibility = "Public";
        change(expected, test_case.value("reads").toObject());

        ModParser::s_ParseMetadataResult = "of an earlier file";
        ModDescriptor mod = full_mod("/elsewhere"); // nothing of it may survive
        QVERIFY(ModParser::ParseMetadata(file(), mod));
        QCOMPARE(ModParser::GetParseMetadataResult(), QString("Success"));
        QCOMPARE(fields(mod), fields(expected));
        QCOMPARE(mod.folder_path, folder());

        // The normal form that was written back reads as the same mod, but for an empty version, which takes its
        // default then.
        QVERIFY(read_file(file()).contains("\n    <visibility>"));
        ModDescriptor again;
        QVERIFY(ModParser::ParseMetadata(file(), again));
        if (expected.version.isEmpty())
            again.version.clear();
        QCOMPARE(fields(again), fields(expected));
    }

    void refuses_with_the_reason_and_changes_nothing_data()
    {
        add_columns<QString, QByteArray, QString>("name", "bytes", "reason");

        const QString not_named = "Metadata file not named 'metadata.xml'";
        add_row("upper case", "Metadata.xml", full_file, not_named);
        add_row("longer name", "oldmetadata.xml", full_file, not_named);
        add_row("no file", "metadata.xml", QByteArray(), "Failed to open specified metadata file");
        add_row("other root", "metadata.xml", QByteArray("<mod/>"),
                QString("No <metadata> tag found in specified metadata file." + QString(87, ' ')
                        + "Please see the sample metadata.xml file for reference"));
        add_row("not closed", "metadata.xml", QByteArray("<metadata>\n  <name>x</nam>\n</metadata>"),
                "Failed to parse specified metadata file: error at line 2, column 15:\ntag mismatch");
        add_row("column behind a number", "metadata.xml", QByteArray("<metadata>\n&#128512;<name></nam>"),
                "Failed to parse specified metadata file: error at line 2, column 21:\ntag mismatch");
        add_row("forbidden file", "metadata.xml", full_file,
                forbidden + "<br>&nbsp;&nbsp;&nbsp;&nbsp;'.../MyMod/a.dll'"
                    + "<br>Please remove the offending files and try again");
    }

    void refuses_with_the_reason_and_changes_nothing()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, reason);
        const QString path = folder() + "/" + name;
        if (!bytes.isEmpty())
            write_file(path, bytes);
        if (reason.contains("a.dll"))
            write_file(folder() + "/a.dll", "x");

        const ModDescriptor before = full_mod("/elsewhere");
        ModDescriptor mod = before;
        mod.preview_path = "/p.png";
        QVERIFY(!ModParser::ParseMetadata(path, mod));
        QCOMPARE(ModParser::GetParseMetadataResult(), reason);
        QCOMPARE(fields(mod), fields(before));
        QCOMPARE(mod.folder_path + mod.preview_path, QString("/elsewhere/p.png"));
        QCOMPARE(read_file(path), bytes);
    }

    void survives_xml_that_is_made_to_hurt_data()
    {
        add_columns<QByteArray, QString>("xml", "reason");
        const QString too_many = "there are too many elements, attributes or declarations";
        const QString too_much = "there is too much text";
        QByteArray doubling = "<!DOCTYPE m [<!ENTITY e0 ''>";
        for (int i = 1; i < 20; ++i)
            doubling += QString("<!ENTITY e%1 '&e%2;&e%2;'>").arg(i).arg(i - 1).toLatin1();

        add_row("large file", QByteArray("<metadata/>").leftJustified(7 * 32 * 1024 + 1),
                "1, column 1:\nthe file is too large");
        add_row("deep nesting", QByteArray("<a>").repeated(601), "column 1803:\n" + too_many);
        add_row("many attributes", "<metadata " + QByteArray("a='' xmlns:b='' ").repeated(300) + "/>", too_many);
        add_row("deep declaration", "<!DOCTYPE m [<!ELEMENT m " + QByteArray(99'000, '('), too_many);
        add_row("numbered parentheses", "<!DOCTYPE m [<!ENTITY % a '" + QByteArray("&#40;").repeated(600) + "'>",
                too_many);
        add_row("long attribute", "<metadata " + QByteArray(16'384, 'a') + "='" + QByteArray(16'385, 'x') + "'/>",
                too_much);
        add_row("long text", metadata("<description>" + QByteArray(32'769, 'x') + "</description>"), too_much);
        add_row("entities in the declarations",
                "<!DOCTYPE m [<!ENTITY % a '" + QByteArray(1000, ' ') + "'>" + QByteArray("%a;").repeated(33)
                    + "]><metadata/>",
                too_much);
        add_row("entities of nothing", doubling + "]><metadata>&e19;</metadata>", too_much);
        add_row("entities in entities",
                QByteArray("<!DOCTYPE m [<!ENTITY a '&b;'><!ENTITY b '&a;'>]><metadata>&a;</metadata>"),
                "recursive entities");
        add_row("long name", metadata("<name>" + QByteArray(8001, 'x') + "</name>"), "the name is too long");
    }

    void survives_xml_that_is_made_to_hurt()
    {
        QFETCH(QByteArray, xml);
        QFETCH(QString, reason);
        write_file(file(), xml);
        ModDescriptor mod;
        QVERIFY(!ModParser::ParseMetadata(file(), mod));
        const QString result = ModParser::GetParseMetadataResult();
        QVERIFY2(result.startsWith("Failed to parse specified metadata file: error at line "), qPrintable(result));
        QVERIFY2(result.contains(reason), qPrintable(result));
        QCOMPARE(read_file(file()), xml);
    }

    void reads_line_ends_and_encodings_of_other_systems()
    {
        const QString text = QString::fromUtf8("<?xml version=\"1.0\" encoding=\"%1\"?>\r\n<metadata>\r\n"
                                               "<description>\xC3\xA9ins\r\nzwei</description>\r\n</metadata>\r\n");
        const QString wide = QChar(0xFEFF) + text.arg("UTF-16");
        QString swapped = wide; // as machines of the other byte order write it
        for (QChar& c : swapped)
            c = QChar(static_cast<char16_t>(c.unicode() << 8 | c.unicode() >> 8));
        const std::map<const char*, QByteArray> files{{"UTF-8", text.arg("UTF-8").toUtf8()},
                                                      {"ISO-8859-1", text.arg("ISO-8859-1").toLatin1()},
                                                      {"UTF-16", utf16(wide)},
                                                      {"UTF-16 swapped", utf16(swapped)}};
        for (const auto& [encoding, bytes] : files) {
            write_file(file(), bytes);
            ModDescriptor mod;
            QVERIFY2(ModParser::ParseMetadata(file(), mod), encoding);
            if (qstrncmp(encoding, "UTF-16", 6) == 0)
                mod.description.remove('\r'); // kept there
            QCOMPARE(mod.description, QString::fromUtf8("\xC3\xA9ins\nzwei"));
        }
    }

    void takes_xml_that_is_only_unusual()
    {
        // As many parts and characters as allowed: the entity counts where it is declared, used and read, and its
        // number is longer for the parser.
        QByteArray xml = "<!DOCTYPE m [<!ENTITY me '&#128512;" + QByteArray(500, 'x')
                         + "'>]><metadata><name>&me;</name>" + "<description>" + QByteArray("=\"&amp;").repeated(10'001)
                         + QByteArray(259, ' ') + "</description>" + QByteArray("<a>").repeated(196)
                         + QByteArray("</a>").repeated(196) + QByteArray("<tag id = 'Lua'/>").repeated(200)
                         + "</metadata>";
        write_file(file(), xml.leftJustified(7 * 32 * 1024 - 7));
        ModDescriptor mod;
        QVERIFY2(ModParser::ParseMetadata(file(), mod), qPrintable(ModParser::s_ParseMetadataResult));
        QCOMPARE(mod.name, QString::fromUtf8("\xF0\x9F\x98\x80") + QString(500, 'x'));
        QCOMPARE(mod.description.size(), 3 * 10'001 + 259);
        QCOMPARE(mod.tags.size(), 200);
    }

    void stores_only_what_xml_can_carry()
    {
        ModDescriptor mod = full_mod(folder());
        for (const ModParser::TextField& field : ModParser::text_fields)
            mod.*field.member += QChar(0xFFFE);
        mod.name = QString("a%1b%2c%3d").arg(QChar(0x01), QChar(0xFFFE), QChar(0xD800));
        mod.version = "3";
        mod.IncrementVersion(); // U+0004
        mod.tags = QStringList{QString("t") + QChar(1) + QChar(0xD800)};
        mod.description += "\r";
        mod.SaveMetadata();
        QVERIFY(read_file(file()).contains("<version></version>"));
        QVERIFY(read_file(file()).contains("two&gt;\r</description>"));

        ModDescriptor again;
        QVERIFY2(ModParser::ParseMetadata(file(), again), qPrintable(ModParser::s_ParseMetadataResult));
        QCOMPARE(again.name, QString("abcd"));
        QCOMPARE(again.version, QString("1.0"));
        QCOMPARE(again.tags, QStringList{"t"});
        QCOMPARE(again.visibility, QString("Friends Only")); // what follows the version is there too
    }

    void keeps_every_readable_character()
    {
        ModDescriptor mod = full_mod(folder());
        mod.name = QString::fromUtf8("\"<&>' %1 %2 \xF0\x9F\x8F\xAE \xC3\xA9 \xEF\xBF\xBD");
        mod.description = "  first\n\n\tlast  ";
        mod.tags = QStringList{"a\"<b>&", "two\nlines\tand tab"};
        mod.SaveMetadata();

        ModDescriptor again;
        QVERIFY(ModParser::ParseMetadata(file(), again));
        QCOMPARE(fields(again), fields(mod));
    }

    void writes_the_normal_form_and_leaves_nothing_else()
    {
        write_file(file(), full_file + QByteArray(100'000, 'x'));
        ModDescriptor mod = full_mod(folder());
        mod.SaveMetadata();
        QCOMPARE(read_file(file()), full_file);
        write_file(folder() + "/.metadata.xml.saving-1", "of a program that was killed");
        QVERIFY(ModParser::ParseMetadata(file(), mod)); // takes it away
        QCOMPARE(QDir(folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{"metadata.xml"});
    }

    void leaves_a_file_alone_that_would_not_change_or_not_be_read_again()
    {
        const auto long_ago = QDateTime::fromSecsSinceEpoch(1'000'000'000);
        for (const QByteArray& xml : {full_file, metadata(QByteArray("<tag id=''/>").repeated(299))}) {
            write_file(file(), xml);
            QFile opened(file());
            QVERIFY(opened.open(QIODevice::ReadWrite)
                    && opened.setFileTime(long_ago, QFileDevice::FileModificationTime));
            ModDescriptor mod;
            QVERIFY(ModParser::ParseMetadata(file(), mod));
            QCOMPARE(QFileInfo(file()).lastModified(), long_ago);
            QCOMPARE(read_file(file()), xml);
        }
    }

    void saves_through_a_link_and_keeps_permissions()
    {
#if defined(Q_OS_WIN)
        QSKIP("links need privileges on Windows");
#endif
        const QString real = root->path() + "/elsewhere.xml";
        write_file(real, metadata(""));
        const auto shared = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther | QFile::WriteOther;
        QVERIFY(QFile::setPermissions(real, shared));
        QVERIFY(QFile::link(real, file()));
        full_mod(folder()).SaveMetadata();
        QVERIFY(QFileInfo(file()).isSymLink());
        QCOMPARE(read_file(real), full_file);
        QCOMPARE(QFile::permissions(real) & ~(QFile::ReadUser | QFile::WriteUser), shared);
    }

    void saves_nothing_without_a_folder()
    {
        const QString missing = root->path() + "/not/there";
        full_mod(missing).SaveMetadata();
        QVERIFY(!QFile::exists(missing));

        const QByteArray before = read_file("/metadata.xml");
        full_mod(QString()).SaveMetadata();
        QCOMPARE(read_file("/metadata.xml"), before);
    }

    void changes_the_last_number_of_a_version_data() { add_cases("metadata.json", "versions"); }

    void changes_the_last_number_of_a_version()
    {
        QFETCH(QJsonObject, test_case);
        ModDescriptor mod;
        mod.version = test_case.value("version").toString();
        ModDescriptor other = mod;
        mod.IncrementVersion();
        other.DecrementVersion();
        QCOMPARE(mod.version, test_case.value("raised").toString());
        QCOMPARE(other.version, test_case.value("lowered").toString());
    }

    void finds_forbidden_files_data() { add_cases("metadata.json", "forbidden"); }

    void finds_forbidden_files()
    {
        QFETCH(QJsonObject, test_case);
        for (const QJsonValue name : test_case.value("files").toArray()) {
#if defined(Q_OS_WIN)
            if (name.toString().contains('<'))
                QSKIP("no file on Windows can have this name");
#endif
            write_file(folder() + "/" + name.toString(), "x");
        }

        ModDescriptor mod;
        mod.folder_path = folder();
        QVERIFY(!ModParser::ValidateModDirectory(mod));

        QStringList lines = ModParser::GetParseMetadataResult().split("<br>");
        QCOMPARE(lines.takeFirst(), forbidden);
        QCOMPARE(lines.takeLast(), QString("Please remove the offending files and try again"));
        QStringList expected;
        for (const QJsonValue path : test_case.value("offending").toArray())
            expected << "&nbsp;&nbsp;&nbsp;&nbsp;'.../MyMod/" + path.toString() + "'";
        lines.sort();
        expected.sort();
        QCOMPARE(lines, expected);
    }

    void passes_folders_without_forbidden_files()
    {
        ModParser::s_ParseMetadataResult = "as before";
        for (const char* name :
             {"TOOL.EXE", "libx.so.1", "libx.dylib", "readme.app", ".x.dll", "exe", "data.exe/inside.txt",
              "Data.APP/inside.txt", ".hidden/inside.exe", "x.dll2", "x.dll "})
            write_file(folder() + "/" + name, "x");
        QVERIFY(ModParser::validate_mod_directory(folder()));
        QVERIFY(ModParser::validate_mod_directory(folder() + "/not there"));
        QCOMPARE(ModParser::GetParseMetadataResult(), QString("as before"));
    }

    void does_not_follow_links_to_folders()
    {
#if defined(Q_OS_WIN)
        QSKIP("links need privileges on Windows");
#endif
        write_file(root->path() + "/outside/tool.exe", "x");
        QVERIFY(QFile::link(root->path() + "/outside", folder() + "/linked"));
        QVERIFY(QFile::link(folder(), folder() + "/loop"));
        QVERIFY(ModParser::validate_mod_directory(folder()));

        // A link to a file counts as the file.
        QVERIFY(QFile::link(root->path() + "/outside/tool.exe", folder() + "/link.exe"));
        QVERIFY(!ModParser::validate_mod_directory(folder()));
        QVERIFY(ModParser::GetParseMetadataResult().contains("'.../MyMod/link.exe'"));
        QVERIFY(!ModParser::validate_mod_directory(root->path() + "/outside"));
        QVERIFY(ModParser::GetParseMetadataResult().contains("'.../outside/tool.exe'"));
        const QString former = QDir::currentPath();
        QVERIFY(QDir::setCurrent(root->path() + "/outside"));
        QVERIFY(ModParser::validate_mod_directory(QString())); // no folder is not this one
        QDir::setCurrent(former);
    }
};

QTEST_GUILESS_MAIN(tst_metadata)

#include "tst_metadata.moc"
