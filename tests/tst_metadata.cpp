#include "Support.h"

#include "LoggerTextEdit.h"
#include "PreviewImage.h"
#include "TextFields.h"

#include <QDir>
#include <QListWidget>
#include <QRegularExpression>

#include <filesystem>
#include <map>
#include <memory>
#include <random>

#if defined(Q_OS_LINUX)
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;
using ModParser::ModDescriptor;

namespace {

/// What is stored of a mod, in a form that a failed comparison shows whole.
QStringList fields(const ModDescriptor& mod)
{
    QStringList lines;
    for (const ModParser::TextField& field : ModParser::text_fields)
        lines << QString("%1: %2").arg(field.element, mod.*field.member);
    return lines + mod.tags;
}

/// A version after an upload or after a failed one.
QString changed_version(const QString& version, int delta)
{
    QStringList parts = version.split('.');
    const qint64 number = parts.takeLast().toLongLong();
    const qint64 changed = qMax<qint64>(0, (number > 2'147'483'647 ? 0 : number) + delta);
    return parts.isEmpty() ? QString(QChar(uint(changed % 256))) : (parts << QString::number(changed)).join('.');
}

/// Parts of texts, each as an author writes it, and behind a bar as it is read if that is not the same. First halves of
/// characters, in the end markup.
const QStringList pieces =
    QString::fromUtf16(
        u"-&#xDBFE;-&#xDC01;-|-\xDBFE-\xDC01-~aB~ ~\n~1.~.05~.2147483647~.2147483648~%1'>~\u00c9~"
        u"\u0661\uFFFD~\U0001D11E~&lt;&amp;&gt;|<&>~&quot;&apos;|\"'~&#65;&#x42;|AB~&#10;|\n~"
        u"&#65535;&#65533;|\xFFFF\xFFFD~&#65536;|\U00010000~&#x0010FffF;|\U0010FFFF~"
        u"&amp;#128512;|&#128512;~&#1;&#31;&#xFFFE;|\x01\x1F\xFFFE~<b id='x'>&#x41;</b>|A~"
        u"<!-- <![CDATA[ &#128512; -->|~<?p &#128512; ?>|~<![CDATA[<&#128512; ]]>|<&#128512; ~&unknown;|")
        .split('~');
const int first_markup = int(pieces.size()) - 5;

/// `text` as it is stored. Halves of characters are those above.
QString storable(QString text)
{
    for (const char16_t c : {u'\x01', u'\x1F', u'\xFFFE', u'\xFFFF', u'\xDBFE', u'\xDC01'})
        text.remove(QChar(c));
    return text.toHtmlEscaped();
}

/// A metadata file, the mod that is read from it, and what is stored in its place. They are made up side by side from
/// the same random numbers: nothing here takes XML apart.
struct MadeUpFile
{
    explicit MadeUpFile(unsigned seed) : random(seed), encoding(below(4))
    {
        xml = "<?xml version='1.0' encoding='" + QStringList{"UTF-8", "UTF-8", "ISO-8859-1", "UTF-16"}[encoding] + "'?>"
              + any({"", "\n", "<!-- <metadata> -->", "<!DOCTYPE metadata>"}) + "<metadata"
              + any({">", " >", " id='1'>", " xmlns='urn:x'>"});
        for (int i = below(24); i > 0; --i)
            below(2) == 0 ? add_field() : add_other();
        xml += QString("</metadata>") + any({"", "\n", "<!-- -->"});
        if (encoding < 3 && below(2) == 0)
            xml.replace("\n", "\r\n");
        finish();
    }

    QByteArray bytes() const
    {
        const QString wide = QChar(0xFEFF) + xml;
        if (encoding == 3)
            return {reinterpret_cast<const char*>(wide.utf16()), int(wide.size()) * 2};
        return encoding == 2 ? xml.toLatin1() : (encoding == 1 ? "\xEF\xBB\xBF" : "") + xml.toUtf8();
    }

    QString xml;
    ModDescriptor mod;
    QString stored = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<metadata>\n";

    int below(int end) { return int(random() % unsigned(end)); }
    QString any(std::initializer_list<const char*> list) { return list.begin()[below(int(list.size()))]; }

    /// Adds a text of some of the pieces and returns what is read. Between markup, white space alone is no text.
    QString add_text(int first_piece, int end_piece)
    {
        QString read;
        QString chunk;
        const auto end_chunk = [&, is_attribute = end_piece == first_markup] {
            read += is_attribute || !chunk.trimmed().isEmpty() ? chunk : QString();
            chunk.clear();
        };
        for (int i = below(8); i > 0; --i) {
            const int piece = first_piece + below(end_piece - first_piece);
            QString written = pieces[piece].section('|', 0, 0);
            QString meant = pieces[piece].section('|', -1);
            if (encoding == 2 && written == meant)
                written = meant = QString::fromLatin1(meant.toLatin1());
            if (piece >= first_markup)
                end_chunk();
            xml += written;
            (piece >= first_markup ? read : chunk) += meant;
        }
        end_chunk();
        return read;
    }

    void add_field()
    {
        const auto& [element, member] = ModParser::text_fields[below(6)];
        const QString name = any({"", "m:"}) + element;
        xml += "<" + name + any({" xmlns:m='u'", " xmlns:m='u' a='b'"}) + ">";
        // Of half a character Qt makes something else in lower case. The first element of its name counts.
        texts.insert({element, add_text(member == &ModDescriptor::directory ? 1 : 0, int(pieces.size()))});
        xml += "</" + name + any({">", " >"});
    }

    void add_other()
    {
        const QString form = any({"<tag id=\"%1\"/>", "<tag a='' id = \"%1\">x</tag>", "<other id=\"%1\"/>", "<tag/>",
                                  "<tag ID='A'/>", "<a><tag id='no'/><name>no</name></a>", "<Name>no</Name>", "\n  ",
                                  "<!-- -->", "x", "<?p?>", "<![CDATA[ ]]>"});
        xml += form.section("%1", 0, 0);
        if (tags_began == 0 && form.startsWith("<tag"))
            tags_began = 1;
        if (form.contains("%1")) {
            const QString tag = add_text(0, first_markup);
            if (tags_began == 1)
                mod.tags << tag;
        } else if (tags_began == 1 && !form.contains('/') && !form.trimmed().isEmpty()) {
            tags_began = 2; // and ended
        }
        xml += form.section("%1", 1);
    }

    void finish()
    {
        const QString defaults[] = {"MyMod", "MyMod", "0", "", "1.0", "Public"};
        for (int i = 0; i < 6; ++i) {
            const auto& [element, member] = ModParser::text_fields[i];
            const QString text = texts[element].isEmpty() ? defaults[i] : texts[element];
            for (const QChar c : member == &ModDescriptor::directory ? text.toLower() : text) {
                if (member != &ModDescriptor::version || QString("0123456789.").contains(c))
                    mod.*member += c;
            }
            stored += QString("    <%1>%2</%1>\n").arg(element, storable(mod.*member));
        }
        for (const QString& tag : mod.tags)
            stored += "    <tag id=\"" + storable(tag).replace('\n', "&#10;") + "\"/>\n";
        stored += "</metadata>\n";
    }

    std::mt19937 random;
    int encoding;
    std::map<QString, QString> texts;
    int tags_began = 0;
};

} // namespace

class tst_metadata : public QObject
{
    Q_OBJECT

private:
    /// A fresh folder "MyMod" for each test.
    QString folder() const { return root->path() + "/MyMod"; }
    QString file() const { return folder() + "/metadata.xml"; }

    std::unique_ptr<QTemporaryDir> root;
    ModDescriptor other;

private slots:
    void init()
    {
        root = std::make_unique<QTemporaryDir>();
        other = MadeUpFile(7).mod;
        QDir().mkpath(folder());
        other.folder_path = "/elsewhere";
        other.preview_path = "/p.png";
    }

    void reads_completes_and_stores_what_authors_write()
    {
        auto memory = std::make_unique<QTemporaryDir>("/dev/shm/tst_metadata-XXXXXX");
        if (memory->isValid() && QDir().mkpath(memory->path() + "/MyMod")) // where flushing to disk takes no time
            root.swap(memory);
#if defined(Q_OS_WIN)
        const unsigned seeds = 50; // under Wine each takes a hundred times as long
#else
        const unsigned seeds = 1000;
#endif
        for (unsigned seed = 0; seed < seeds; ++seed) {
            const MadeUpFile made_up(seed);
            write_file(file(), made_up.bytes());
            ModDescriptor mod = other; // nothing of it may survive
            const bool taken = ModParser::ParseMetadata(file(), mod);
            if (!taken || fields(mod) != fields(made_up.mod) || read_file(file()) != made_up.stored.toUtf8())
                qInfo("seed %u: %s", seed, qUtf8Printable(made_up.xml));
            QCOMPARE(ModParser::GetParseMetadataResult(), QString("Success"));
            QCOMPARE(fields(mod), fields(made_up.mod));
            QCOMPARE(QString::fromUtf8(read_file(file())), made_up.stored);
            QCOMPARE(mod.folder_path + mod.preview_path, folder());
            for (const int delta : {+1, -1, -1}) {
                const QString expected = changed_version(mod.version, delta);
                delta > 0 ? mod.IncrementVersion() : mod.DecrementVersion();
                QCOMPARE(mod.version, expected);
            }
        }
    }

    void refuses_with_a_reason_what_is_beyond_the_limits_data()
    {
        add_columns<QString, QByteArray, QString>("name", "bytes", "result");
        add_row("upper case", "Metadata.xml", metadata(""), "Metadata file not named 'metadata.xml'");
        add_row("no file", "metadata.xml", QByteArray(), "Failed to open specified metadata file");
        add_row("other root", "metadata.xml", QByteArray("<mod/>"),
                "No <metadata> tag found in specified metadata file." + QString(87, ' ')
                    + "Please see the sample metadata.xml file for reference");
        const QString not_parsed = "Failed to parse specified metadata file: error at line ";
        add_row("column behind a number", "metadata.xml", QByteArray("<metadata>\n&#128512;<name></nam>"),
                not_parsed + "2, column 21:\ntag mismatch");

        const auto limit = [](const QString& reason, int most, const QByteArray& start, const QByteArray& part,
                              const char* end) {
            const QByteArray name = start + part.left(20) + " x " + QByteArray::number(most);
            add_row(name, "metadata.xml", start + part.repeated(most) + end, "Success");
            add_row(name + " + 1", "metadata.xml", start + part.repeated(most + 1) + end, reason);
        };
        const QString large = not_parsed + "1, column 1:\nthe file is too large";
        limit(large, 7 * 32 * 1024 - 11, "<metadata/>", " ", "");
        limit(large, 7 * 32 * 1024 - 58, "<?xml version='1.0' encoding='GB18030'?><metadata/><!--", "\x81\x30\x84\x36",
              "-->");
        const QString many = ":\nthere are too many elements, attributes or declarations";
        limit(not_parsed + "1, column 2409" + many, 599, "<metadata>", "<a/>", "</metadata>");
        limit(many, 299, "<metadata c=''>", "<a b=''/>", "</metadata>");
        limit(many, 600, "<!DOCTYPE m [<!-- ", "(", " -->]><metadata/>");
        limit(many, 598, "<!DOCTYPE m [<!ENTITY a '", "&#40;", "'>]><metadata/>");
        const QString much = ":\nthere is too much text";
        limit(much, 32'768, "<metadata>", "x", "</metadata>");
        limit(much, 32'766, "<metadata aa='", "x", "'/>");
        limit(much, 32'768, "<!DOCTYPE m [<!ENTITY a '", "x", "'>]><metadata/>");
        const QByteArray entity =
            "<!DOCTYPE m [<!ENTITY % b '" + QByteArray(1000, ' ') + "'><!ENTITY a '" + QByteArray(1000, 'x') + "'>";
        limit(much, 15, entity + "]><metadata>", "&a;", "</metadata>");
        limit(much, 30, entity, "%b;", "]><metadata/>");
        limit("\nthe name is too long", 8000, "<metadata><name>", "x", "</name></metadata>");
    }

    void refuses_with_a_reason_what_is_beyond_the_limits()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, result);
        const QString path = folder() + "/" + name;
        if (!bytes.isEmpty())
            write_file(path, bytes);
        ModDescriptor mod = other;
        const bool taken = ModParser::ParseMetadata(path, mod);
        QVERIFY2(ModParser::GetParseMetadataResult().endsWith(result), qPrintable(ModParser::s_ParseMetadataResult));
        QCOMPARE(taken, result == "Success");
        QCOMPARE(read_file(path) == bytes, !taken);
        QCOMPARE(fields(mod) == fields(other) && mod.folder_path + mod.preview_path == "/elsewhere/p.png", !taken);
    }

    void leaves_files_alone()
    {
        for (const char* name : {".metadata.xml.saving", ".metadata.xml.saving-1", "metadata.xml.saving-1"})
            write_file(folder() + "/" + name, "those of killed programs begin with a dot");
        const auto long_ago = QDateTime::fromSecsSinceEpoch(1'000'000'000);
        // What would not change, and what could not be read again.
        for (const QByteArray& xml : {other.ToXml(), metadata(QByteArray("<tag id=''/>").repeated(299))}) {
            write_file(file(), xml);
            QFile opened(file());
            QVERIFY(opened.open(QIODevice::ReadWrite) && opened.setFileTime(long_ago, QFile::FileModificationTime));
            QVERIFY(ModParser::ParseMetadata(file(), other));
            QCOMPARE(QFileInfo(file()).lastModified(), long_ago);
        }
        QCOMPARE(QDir(folder()).entryList(QDir::Files | QDir::Hidden, QDir::Name),
                 QStringList({".metadata.xml.saving", "metadata.xml", "metadata.xml.saving-1"}));
        QFile::remove(file());
#if defined(Q_OS_LINUX)
        QVERIFY(mkfifo(qPrintable(file()), 0666) == 0); // opening it would block
        QVERIFY(!ModParser::ParseMetadata(file(), other) && PreviewImage::FromFile(file()).isNull());
        LoggerTextEdit(nullptr).appendHtml("<img src=\"" + file() + "\">");
        other.SaveMetadata();
        QVERIFY(QFileInfo::exists(file()) && !QFileInfo(file()).isFile());
#endif
        for (const QString& missing : {root->path() + "/not there", QString()}) {
            other.folder_path = missing;
            other.SaveMetadata();
            QVERIFY(!QFile::exists(missing + "/metadata.xml"));
        }
    }

    void saves_what_can_be_saved_and_else_keeps_the_old_file()
    {
#if defined(Q_OS_LINUX)
        std::signal(SIGXFSZ, SIG_IGN);
        const QTemporaryDir place("/tmp/tst_metadata-XXXXXX"); // where nobody can go, too
        const std::string top = place.path().toStdString();
        const std::string mod = top + "/mod";
        const std::string behind = mod + "/behind.xml";
        other.folder_path = place.path();
        fs::permissions(top, fs::perms::all);
        fs::create_symlink(behind, top + "/metadata.xml");
        const bool is_root = geteuid() == 0;
        rlimit limit = {};
        getrlimit(RLIMIT_FSIZE, &limit);
        for (int variant = 0; variant < 24; ++variant) {
            const unsigned in_folder[] = {0777, 0555, 01777}; // the last lets nobody replace the file
            const bool on_file = variant % 2 == 1;
            const bool has_room = variant / 2 % 2 == 1;
            const bool shorter = variant / 4 % 2 == 1;
            if (shorter && !has_room)
                continue;
            const QByteArray old(shorter ? 9000 : 50, 'x');
            write_file(QString::fromStdString(behind), old);
            const fs::perms permissions{on_file ? 0666U : 0444U};
            fs::permissions(behind, permissions);
            fs::permissions(mod, fs::perms(in_folder[variant / 8]));
            const rlimit lower{has_room ? limit.rlim_cur : 100, limit.rlim_max};
            QVERIFY(setrlimit(RLIMIT_FSIZE, &lower) == 0 && (!is_root || setresuid(65534, 65534, 0) == 0));
            other.SaveMetadata();
            QVERIFY(setrlimit(RLIMIT_FSIZE, &limit) == 0 && (!is_root || setresuid(0, 0, 0) == 0));
            QCOMPARE(read_file(other.folder_path + "/metadata.xml"), on_file && has_room ? other.ToXml() : old);
            QCOMPARE(fs::status(behind).permissions(), permissions);
            fs::permissions(mod, fs::perms::all);
            QVERIFY(fs::is_symlink(top + "/metadata.xml") && fs::remove(behind) && fs::is_empty(mod));
        }
#else
        QSKIP("needs permissions and limits as on Linux");
#endif
    }

    void finds_forbidden_files_of_all_names_and_kinds()
    {
        for (const char* name : {"TOOL.EXE", "libx.so.1", "readme.app", ".x.dll", "exe", "data.exe/in.txt",
                                 "Data.APP/in.txt", ".hidden/in.exe", "x.dll2", "x.dll "})
            write_file(folder() + "/" + name, "x");
        QStringList found{"plugin.dll", "sub/deep/er/lib.so",      "a.tar.dll",
                          "sub/x..exe", "Foo.app/Contents/foo.so", QString("d/").repeated(130) + "x.so"};
        for (const QString& name : found)
            write_file(folder() + "/" + name, "x");
        found << "Foo.app";
        write_file(root->path() + "/outside/tool.exe", "x");
#if defined(Q_OS_LINUX)
        for (const char* link :
             {"loop .", "self.so self.so", "gone.dll nothing", "zero.exe /dev/zero", "out ../outside",
              "out.exe ../outside", "out.app ../outside", "link.exe ../outside/tool.exe"})
            QFile::link(QString(link).section(' ', 1), folder() + "/" + QString(link).section(' ', 0, 0));
        const std::string mod = folder().toStdString() + "/";
        fs::create_symlink("plugin.dll", mod + "x\xFF.dll");
        QVERIFY(mkfifo((mod + "p.so").c_str(), 0666) == 0 && mknod((mod + "s.dll").c_str(), S_IFSOCK | 0666, 0) == 0);
        write_file(folder() + "/%1 <b>'&\n.exe", "x");
        found << QStringList{"out.app", "link.exe", QString("x%1.dll").arg(QChar(0xFFFD)), "%1 <b>'&\n.exe"};
#endif
        write_file(file(), metadata(""));
        QVERIFY(!ModParser::ParseMetadata(file(), other) && read_file(file()) == metadata(""));
        QVERIFY(ModParser::validate_mod_directory(folder() + "/sub/deep/er/not there"));
        QStringList lines = ModParser::GetParseMetadataResult().split("<br>");
        QCOMPARE(lines.takeFirst(),
                 QString("Mod folder contains one more more files that are not allowed to be uploaded "
                         "to Steam Workshop"));
        QCOMPARE(lines.takeLast(), QString("Please remove the offending files and try again"));
        lines.replaceInStrings(QRegularExpression(R"(^&nbsp;&nbsp;&nbsp;&nbsp;'\.\.\./MyMod/([^$]*)'$)"), R"(\1)");
        std::error_code left;                         // by std::filesystem of Windows, which does not know long paths
        fs::remove_all(folder().toStdString(), left); // Qt does not know all of the names
        lines.sort();
        found.sort();
        QCOMPARE(lines, found);
    }

    void decodes_previews_up_to_the_limits()
    {
        const auto decodes = [this](const char* format, const QSize& size, int bytes) {
            write_file(file(), picture(size, Qt::red, format).leftJustified(bytes));
            return !PreviewImage::FromFile(file()).isNull();
        };
        QVERIFY(decodes("PNG", {4096, 2048}, 0) && !decodes("PNG", {4097, 2048}, 0));
        QVERIFY(decodes("JPG", {8, 8}, 8 << 20) && !decodes("JPG", {8, 8}, (8 << 20) + 1));
        QVERIFY(decodes("BMP", {8, 8}, (32 << 20) + 65'536) && !decodes("BMP", {8, 8}, (32 << 20) + 65'537));
        QVERIFY(!decodes("PPM", {8, 8}, 0));
    }

    void documents_the_tags_that_the_window_offers()
    {
        const Practice practice;
        const MainWindow window;
        QStringList tags;
        for (const QListWidgetItem* item : window.findChild<QListWidget*>("ModTags")->findItems("", Qt::MatchContains))
            tags << item->text();
        const QString schema = "<xs:enumeration value=\"" + tags.join("\"/> <xs:enumeration value=\"") + "\"/>";
        QVERIFY(test_file("../docs/metadata.xsd").simplified().contains("> " + schema.toUtf8() + " </xs:restriction>"));
        const QString page = "`" + tags.mid(0, tags.size() - 1).join("`, `") + "` and `" + tags.last() + "`.";
        QVERIFY(test_file("../docs/metadata.md").simplified().contains("offers " + page.toUtf8()));
    }
};

QTEST_MAIN(tst_metadata)

#include "tst_metadata.moc"
