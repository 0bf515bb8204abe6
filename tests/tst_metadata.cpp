#include "Support.h"

#include "LoggerTextEdit.h"
#include "PreviewImage.h"
#include "TextFields.h"

#include <QDir>
#include <QProcess>

#include <map>
#include <random>

#if defined(Q_OS_LINUX)
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

using ModParser::ModDescriptor;

namespace {

/// What is known of a mod, in a form that a failed comparison shows whole.
QStringList fields(const ModDescriptor& mod)
{
    QStringList lines{mod.folder_path, mod.preview_path};
    for (const ModParser::TextField& field : ModParser::text_fields)
        lines << QString("%1: %2").arg(field.element, mod.*field.member);
    return lines + mod.tags;
}

/// A version after an upload or after a failed one.
QString changed_version(const QString& version, int delta)
{
    QStringList parts = version.split('.');
    const qint64 changed = qMax<qint64>(0, qint64{parts.takeLast().toInt()} + delta); // no number counts as 0
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
        tags_began |= form.startsWith("<tag");
        if (form.contains("%1")) {
            const QString tag = add_text(0, first_markup);
            mod.tags << (tags_began && !tags_ended ? QStringList(tag) : QStringList());
        }
        tags_ended |= tags_began && !form.contains('/') && !form.trimmed().isEmpty();
        xml += form.section("%1", 1);
    }

    std::mt19937 random;
    int encoding;
    std::map<QString, QString> texts;
    bool tags_began = false;
    bool tags_ended = false;
};

} // namespace

class tst_metadata : public QObject
{
    Q_OBJECT

private:
    /// A fresh folder "MyMod" for each test.
    QString folder() const { return root->path() + "/MyMod"; }
    QString file() const { return folder() + "/metadata.xml"; }

    QScopedPointer<QTemporaryDir> root;
    ModDescriptor other;

private slots:
    void init()
    {
        // Where flushing to disk takes no time, if there is such a place.
        root.reset(new QTemporaryDir((QFileInfo("/dev/shm").isWritable() ? "/dev/shm" : QDir::tempPath())
                                     + "/tst_metadata-XXXXXX"));
        other = MadeUpFile(7).mod;
        other.folder_path = other.preview_path = "/elsewhere";
    }

    void reads_completes_and_stores_what_authors_write()
    {
        // Under Wine each takes a hundred times as long.
        const unsigned seeds = QSysInfo::kernelType() == "winnt" ? 50 : 1000;
        for (unsigned seed = 0; seed < seeds; ++seed) {
            MadeUpFile made_up(seed);
            made_up.mod.folder_path = folder();
            write_file(file(), made_up.bytes());
            ModDescriptor mod = other; // nothing of it may survive
            ModParser::ParseMetadata(file(), mod);
            const QStringList expected = fields(made_up.mod) << "Success" << made_up.stored;
            const QStringList actual = fields(mod) << ModParser::GetParseMetadataResult() << read_file(file());
            if (actual != expected)
                qInfo("seed %u: %s", seed, qUtf8Printable(made_up.xml));
            QCOMPARE(actual, expected);
            for (const int delta : {+1, -1, -1}) {
                const QString changed = changed_version(mod.version, delta);
                delta > 0 ? mod.IncrementVersion() : mod.DecrementVersion();
                QCOMPARE(mod.version, changed);
            }
        }
    }

    void refuses_with_a_reason_what_is_beyond_the_limits()
    {
        const auto read = [this](const QString& name, const QByteArray& bytes, const QString& result) {
            const QString path = folder() + "/" + name;
            if (!bytes.isEmpty())
                write_file(path, bytes);
            ModDescriptor mod = other;
            const bool taken = ModParser::ParseMetadata(path, mod);
            QVERIFY2(ModParser::GetParseMetadataResult().endsWith(result),
                     bytes.left(99) + ": " + qUtf8Printable(ModParser::s_ParseMetadataResult));
            const QVector<bool> changes{taken, read_file(path) != bytes, fields(mod) != fields(other)};
            QCOMPARE(changes, QVector<bool>(3, result == "Success"));
        };
        const auto limit = [&](const QString& reason, int most, const QByteArray& start, const QByteArray& part,
                               const QByteArray& end) {
            read("metadata.xml", start + part.repeated(most) + end, "Success");
            read("metadata.xml", start + part.repeated(most + 1) + end, reason);
        };
        read("metadata.xml", "", "Failed to open specified metadata file");
        read("Metadata.xml", metadata(""), "Metadata file not named 'metadata.xml'");
        read("metadata.xml", "<mod/>",
             "No <metadata> tag found in specified metadata file." + QString(87, ' ')
                 + "Please see the sample metadata.xml file for reference");
        const QString not_parsed = "Failed to parse specified metadata file: error at line ";
        // The column of the file as it is, behind a number that is read as two.
        read("metadata.xml", "<metadata>\n&#128512;<name></nam>", not_parsed + "2, column 21:\ntag mismatch");
        const QString large = not_parsed + "1, column 1:\nthe file is too large";
        limit(large, 7 * 32 * 1024 - 11, "<metadata/>", " ", "");
        limit(large, 7 * 32 * 1024 - 58, "<?xml version='1.0' encoding='GB18030'?><metadata/><!--", "\x81\x30\x84\x36",
              "-->");
        const QString many = ":\nthere are too many elements, attributes or declarations";
        limit(not_parsed + "1, column 2409" + many, 599, "<metadata>", "<a/>", "</metadata>");
        limit(many, 299, "<metadata c=''>", "<a xmlns='u'/>", "</metadata>");
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
#if defined(Q_OS_LINUX)
        const QString pipe = folder() + "/pipe"; // opening it would block
        QVERIFY(mkfifo(qPrintable(pipe), 0666) == 0 && PreviewImage::FromFile(pipe).isNull());
        LoggerTextEdit(nullptr).appendHtml("<img src=\"" + pipe + "\">");
#endif
        ModDescriptor().SaveMetadata(); // no folder is not the root of the disk
        QVERIFY(!QFile::exists("/metadata.xml"));
    }

    void finds_forbidden_files_of_all_names_and_kinds()
    {
        const QStringList harmless{"TOOL.EXE",
                                   "libx.so.1",
                                   "readme.app",
                                   ".x.dll",
                                   "exe",
                                   "data.exe/in.txt",
                                   "x.dll2",
                                   "Data.APP/in.txt",
                                   ".hidden.app/in.exe",
                                   "x.dll ",
                                   "../outside/tool.exe"};
        QStringList found{"plugin.dll", "sub/deep/er/lib.so",      "a.tar.dll",
                          "sub/x..exe", "Foo.app/Contents/foo.so", QString("d/").repeated(130) + "x.so"};
        for (const QString& name : harmless + found)
            write_file(folder() + "/" + name, "x");
        found << "Foo.app";
#if defined(Q_OS_LINUX)
        QDir::setCurrent(folder());
        for (const QString link :
             {"loop .", "self.so self.so", "gone.dll nothing", "zero.exe /dev/zero", "out ../outside",
              "out.exe ../outside", "out.app ../outside", "link.exe ../outside/tool.exe"})
            QFile::link(link.section(' ', 1), link.section(' ', 0, 0));
        QVERIFY(symlink("plugin.dll", "x\xFF.dll") == 0);
        QVERIFY(mkfifo("p.so", 0666) == 0 && mknod("s.dll", S_IFSOCK | 0666, 0) == 0);
        write_file("%1 <b>'&\n.exe", "x");
        for (int level = 1; level <= 700; ++level) {
            // A folder whose last entry was read needs no handle any more, so each has others.
            for (const QString name : {"a", "b", "c", level % 100 == 0 ? "x.exe" : "d"})
                write_file("levels/" + name, "x");
            QDir::setCurrent("levels");
            if (level % 100 == 0 && level <= 500) // the others have a path that is too long
                found << QString("levels/").repeated(level) + "x.exe";
        }
        QDir::setCurrent("/");
        const rlimit few_handles{256, 256};
        QVERIFY(setrlimit(RLIMIT_NOFILE, &few_handles) == 0);
        found << QStringList{"out.app", "link.exe", QString("x%1.dll").arg(QChar(0xFFFD)), "%1 <b>'&\n.exe"};
#endif
        write_file(file(), metadata(""));
        QVERIFY(!ModParser::ParseMetadata(file(), other) && other.folder_path == "/elsewhere");
        QCOMPARE(read_file(file()), metadata(""));
        QVERIFY(ModParser::validate_mod_directory(folder() + "/sub/deep/er/not there"));
        // Where the names are that Qt does not know, and the paths that are too long.
        QProcess::execute("rm", {"-rf", folder()});
        for (QString& path : found)
            path = "&nbsp;&nbsp;&nbsp;&nbsp;'.../MyMod/" + path + "'";
        found << "Mod folder contains one more more files that are not allowed to be uploaded to Steam Workshop"
              << "Please remove the offending files and try again";
        QStringList lines = ModParser::GetParseMetadataResult().split("<br>");
        QVERIFY(lines.first().startsWith("Mod") && lines.last().startsWith("Please"));
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
        const QImage translucent = PreviewImage::FromData(test_file("fuzz/corpus/preview/alpha.png")).toImage();
        QCOMPARE(translucent.pixelColor(1, 1).alpha(), 128);
    }
};

QTEST_MAIN(tst_metadata)

#include "tst_metadata.moc"
