#include "Support.h"

#include "Logger.h"
#include "MainWindow.h"
#include "NativePath.h"
#include "Termination.h"

#include <QAbstractItemView>
#include <QClipboard>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDesktopServices>
#include <QDropEvent>
#include <QFileDialog>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMetaProperty>
#include <QMimeData>
#include <QMovie>
#include <QPlainTextEdit>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QScopeGuard>
#include <QScrollBar>
#include <QTest>
#include <QToolTip>
#include <QWheelEvent>

#include <ctime>
#include <functional>

namespace {

/// Waits for modal dialogs and menus while the program runs them, hands each to `act` and closes
/// what is still open afterwards, so that a failed test cannot leave the program waiting.
class ModalDriver
{
public:
    explicit ModalDriver(std::function<void(QWidget&)> act) : action(std::move(act))
    {
        QObject::connect(&timer, &QTimer::timeout, [this] {
            QWidget* found = QApplication::activePopupWidget();
            if (!found)
                found = QApplication::activeModalWidget();
            if (!found)
                return;
            ++count;
            action(*found);
            if (found->isVisible())
                found->close();
        });
        timer.start(20);
    }

    int count = 0;

private:
    QTimer timer;
    std::function<void(QWidget&)> action;
};

/// The rows of a list or a box; a box before the text of those that can be checked.
QString describe_rows(const QAbstractItemModel& model)
{
    QStringList rows;
    for (int row = 0; row < model.rowCount(); ++row) {
        const QModelIndex index = model.index(row, 0);
        const bool is_checkable =
            index.flags().testFlag(Qt::ItemIsUserCheckable) && index.data(Qt::CheckStateRole).isValid();
        rows << (is_checkable ? "[] " : "") + index.data().toString();
    }
    return rows.join(" / ");
}

/// The widget and all that stands in it, from the back to the front, a line each.
QString describe(const QWidget& widget, const QString& indent = QString()) // NOLINT(misc-no-recursion): a tree
{
    const QRect place = widget.geometry();
    QString line = indent + widget.metaObject()->className() + ' ' + widget.objectName();
    if (widget.isWindow())
        line += QString(" flags 0x%1").arg(int(widget.windowFlags() & 0xFFF), 0, 16);
    else
        line += QString(" %1,%2").arg(place.x()).arg(place.y());
    line += QString(" %1x%2").arg(place.width()).arg(place.height());
    for (const char* name :
         {"windowTitle", "text", "title", "readOnly", "acceptDrops", "autoFillBackground", "scaledContents", "flat",
          "default", "alignment", "frameShadow", "styleSheet", "modal", "value", "maximum"}) {
        const QVariant property = widget.property(name);
        const auto& meta = *widget.metaObject();
        // As a number: the names of flags are written differently by each Qt.
        const bool is_enum = meta.property(meta.indexOfProperty(name)).isEnumType();
        const QString value = is_enum ? QString::number(property.toInt()) : property.toString();
        if (!value.isEmpty() && value != "false" && value != "0")
            line += QString(", %1: %2").arg(name, value);
    }
    if (const auto* rows = widget.findChild<QAbstractItemModel*>(QString(), Qt::FindDirectChildrenOnly))
        line += ", rows: " + describe_rows(*rows);
    line += '\n';
    for (const QObject* child : widget.children()) {
        const auto* part = qobject_cast<const QWidget*>(child);
        if (part != nullptr && !part->objectName().startsWith("qt_") && !part->objectName().isEmpty())
            line += describe(*part, indent + "  ");
    }
    return line;
}

/// The number of pixels that the text of a label has changed.
int count_ink(QLabel& label)
{
    const QImage inked = label.grab().toImage();
    const QString text = label.text();
    label.clear();
    const QImage blank = label.grab().toImage();
    label.setText(text);
    int ink = 0;
    for (int y = 0; y < blank.height(); ++y) {
        for (int x = 0; x < blank.width(); ++x)
            ink += inked.pixel(x, y) != blank.pixel(x, y) ? 1 : 0;
    }
    return ink;
}

} // namespace

/// The window as a user meets it: driven by the names of its controls, judged by what it shows and
/// by what lies on disk.
class tst_window : public WindowTest
{
    Q_OBJECT

private:
    template<typename Control>
    Control& control(const char* name) const
    {
        auto* const found = window->findChild<Control*>(name);
        if (!found)
            qFatal("the window has no %s", name);
        return *found;
    }
    QPushButton& button(const char* name) const { return control<QPushButton>(name); }
    QLabel& label(const char* name) const { return control<QLabel>(name); }
    QPlainTextEdit& editor(const char* name) const { return control<QPlainTextEdit>(name); }

    QString mod_file(const QString& mod = "MyMod") const { return folder->path() + "/" + mod + "/metadata.xml"; }
    QString saved(const QString& mod = "MyMod") const { return QString::fromUtf8(read_file(mod_file(mod))); }
    void click(const char* name) const { QTest::mouseClick(&button(name), Qt::LeftButton); }
    QWidget* upload_dialog() const { return window->findChild<QDialog*>("UploadDialog"); }

    void open_window() override
    {
        WindowTest::open_window();
        window->show();
        QApplication::setActiveWindow(window.get());
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
    }

    /// Presses the button and types a path into the file dialog that opens, or closes it if there is none to type.
    /// Returns what the dialog is called and what it offers.
    QString choose_file(const char* button_name, const QString& path) const
    {
        QString shown;
        ModalDriver driver([&](QWidget& dialog) {
            shown += dialog.windowTitle() + ": " + dynamic_cast<QFileDialog&>(dialog).nameFilters().join('|');
            if (path.isEmpty())
                return;
            dialog.findChild<QLineEdit*>("fileNameEdit")->setText(path);
            QMetaObject::invokeMethod(&dialog, "accept");
        });
        click(button_name);
        return shown;
    }

    void load(const QByteArray& body, const QString& mod = "MyMod")
    {
        write_file(mod_file(mod), metadata(body));
        window->process_metadata_file(mod_file(mod), "Processing");
    }

    /// Puts a text into an editor, then goes elsewhere.
    void write_into(const char* name, const QString& text) const
    {
        editor(name).setFocus();
        editor(name).setPlainText(text);
        button("ChooseMetadata").setFocus();
    }

    static void turn_wheel(QWidget& target)
    {
        const QPoint place = target.rect().center();
        QWheelEvent notch(place, target.mapToGlobal(place), QPoint(), QPoint(0, -120), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(&target, &notch);
    }

    QStringList checked_tags() const
    {
        const auto& list = control<QListWidget>("ModTags");
        QStringList tags;
        for (int row = 0; row < list.count(); ++row) {
            if (list.item(row)->checkState() == Qt::Checked)
                tags << list.item(row)->text();
        }
        return tags;
    }

    void toggle_tag(const QString& tag) const
    {
        auto& list = control<QListWidget>("ModTags");
        QListWidgetItem* const item = list.findItems(tag, Qt::MatchExactly).value(0);
        list.scrollToItem(item);
        const QRect row = list.visualItemRect(item);
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, QPoint(row.left() + 10, row.center().y()));
    }

    /// Drags the files at `urls` onto the window and drops them if it takes them; the action it
    /// took.
    Qt::DropAction drop(const QStringList& urls) const
    {
        QMimeData data;
        QList<QUrl> list;
        for (const QString& url : urls)
            list << QUrl(url);
        if (!list.isEmpty())
            data.setUrls(list);
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        enter.ignore();
        QApplication::sendEvent(window.get(), &enter);
        if (!enter.isAccepted())
            return Qt::IgnoreAction;
        QDropEvent event(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window.get(), &event);
        return enter.dropAction();
    }

    /// Writes the loaded file as another program would, with a time later than the program's own
    /// write.
    void edit_outside(const QByteArray& bytes) const
    {
        QTest::qWait(20);
        write_file(mod_file(), bytes);
    }

    static void set_date(const QString& path, const QDateTime& date)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite) && file.setFileTime(date, QFileDevice::FileModificationTime));
    }

    QList<QUrl> opened;

protected slots:
    /// Takes the place of the browser.
    void open_page(const QUrl& url) { opened << url; }

private slots:
    void has_the_form_it_is_known_by()
    {
        QCOMPARE(describe(*window).split('\n'), QString::fromUtf8(test_file("form.txt")).split('\n'));
        window->resize(900, 900);
        QCOMPARE(window->size(), QSize(730, 470));
        for (const auto group : {QPalette::Active, QPalette::Inactive}) {
            QCOMPARE(editor("OutputLog").palette().color(group, QPalette::Base), QColor(Qt::lightGray));
            QCOMPARE(label("ModPreview").palette().color(group, QPalette::Window), QColor(Qt::white));
            QCOMPARE(button("ChangePreview").palette().color(group, QPalette::ButtonText), QColor(Qt::black));
        }
    }

    void starts_with_nothing_but_choosing()
    {
        QCOMPARE(log_of(*window), (QStringList{green + "Initializing Steam API... Success",
                                               black + "Please choose a mod to upload..."}));
        QCOMPARE(enabled_controls(*window), QStringList{"ChooseMetadata"});

        QCOMPARE(checked_tags(), QStringList());
        QCOMPARE(control<QComboBox>("ModVisibility").currentIndex(), 0);
    }

    void shows_every_fixed_text_whole_data()
    {
        add_columns<QString, int>("family", "points");
        for (const char* family : {"DejaVu Sans", "Noto Sans"}) {
            for (const int points : {8, 9, 10, 11, 14})
                QTest::addRow("%s %d", family, points) << family << points;
        }
    }

    void shows_every_fixed_text_whole()
    {
        QFETCH(QString, family);
        QFETCH(int, points);
        const QFont former = QApplication::font();
        QApplication::setFont(QFont(family, points));
        open_window();
        const auto restore = qScopeGuard([&] { QApplication::setFont(former); });

        // As much ink as in a label with room to spare: nothing is cut off.
        for (const char* name : {"label", "ModName", "ModVersion", "TagsLabel"}) {
            const int ink = count_ink(label(name));
            label(name).resize(label(name).size() + QSize(40, 20));
            QVERIFY2(ink > 0 && ink == count_ink(label(name)), name);
        }

        // Each entry of the box is drawn as in a box with room to spare.
        auto& box = control<QComboBox>("ModVisibility");
        box.setEnabled(true);
        box.setCurrentIndex(1);
        const QImage tight = box.grab().toImage();
        box.resize(box.width() + 60, box.height());
        const QImage roomy = box.grab().toImage();
        const int arrow = qRound(20 * box.devicePixelRatioF());
        const QRect text = tight.rect().adjusted(arrow / 10, arrow / 5, -arrow, -arrow / 5);
        QCOMPARE(tight.copy(text), roomy.copy(text));
    }

    void logs_in_colours_and_takes_markup()
    {
        Logger::LogMessage("one<br>two %1", Logger::Warning);
        Logger::LogMessage("never seen", static_cast<Logger::eMessageType>(7));
        Logger::LogMessage("never seen", static_cast<Logger::eMessageType>(~0U));
        QCOMPARE(log(), (QStringList{"#888800 one | two %1", black, black}));

        Logger::Shutdown();
        Logger::LogMessage("dropped", Logger::Info);
        QCOMPARE(log().size(), 3);
        QTest::keyClicks(&editor("OutputLog"), "typed");
        QCOMPARE(log().size(), 3);
    }

    void breaks_words_only_in_endless_runs()
    {
        const std::clock_t start = std::clock(); // of the processor, whatever else is at work
        load("");
        auto& log_pane = editor("OutputLog");
        Logger::LogMessage(QString("'.../a_file_that_is_forbidden.exe'<br>").repeated(1000), Logger::Error);
        Logger::LogMessage(QString(10'000, 'x'), Logger::Info);
        QCOMPARE(log_pane.wordWrapMode(), QTextOption::WrapAtWordBoundaryOrAnywhere);
        Logger::LogMessage(QString(10'001, 'x'), Logger::Info);
        QCOMPARE(log_pane.wordWrapMode(), QTextOption::WrapAnywhere);

        auto& description = editor("ModDescription");
        const QString run(500'000, 'x');
        QApplication::clipboard()->setText(run);
        description.setFocus();
        description.paste();
        QCOMPARE(description.toPlainText(), run);
        description.setPlainText("words");
        QCOMPARE(description.wordWrapMode(), QTextOption::WrapAtWordBoundaryOrAnywhere);
        QVERIFY((std::clock() - start) / CLOCKS_PER_SEC < 5); // not a minute
    }

    void chooses_a_mod_in_the_file_dialog()
    {
        write_file(mod_file(), metadata("<name>Lamp</name>"));
        QCOMPARE(choose_file("ChooseMetadata", QString()), QString("Choose Metadata: Metadata (metadata.xml)"));
        QCOMPARE(log(), QStringList());
        choose_file("ChooseMetadata", mod_file());
        QCOMPARE(log(), (QStringList{green + "Processing 'MyMod/metadata.xml'... Success",
                                     black + "Ready to upload mod 'Lamp'"}));
    }

    void takes_drops_of_metadata_files_data()
    {
        add_columns<QStringList, bool, QString>("urls", "taken", "first_line");
        const QString success = green + "Processing 'MyMod/metadata.xml'... Success";
        add_row("one file", QStringList{"%1/MyMod/metadata.xml"}, true, success);
        add_row("among others, the first one counts",
                QStringList{"%1/readme.txt", "%1/MyMod/metadata.xml", "%1/Other/metadata.xml"}, true, success);
        add_row("other files, a folder", QStringList{"%1/metadata.xml.bak", "%1/MyMod/Metadata.xml", "%1/MyMod"}, false,
                "");
        add_row("nothing", QStringList(), false, "");
        add_row("only the end of the name is looked at here", QStringList{"%1/MyMod/oldmetadata.xml"}, true,
                red + "Processing 'MyMod/oldmetadata.xml'... Failed");
        add_row("not a local file", QStringList{"https://example.org/metadata.xml"}, true,
                red + "Processing ''... Failed");
    }

    void takes_drops_of_metadata_files()
    {
        QFETCH(QStringList, urls);
        QFETCH(bool, taken);
        QFETCH(QString, first_line);
        write_file(mod_file(), metadata(""));
        urls.replaceInStrings("%1", QUrl::fromLocalFile(folder->path()).toString());
        QCOMPARE(drop(urls), taken ? Qt::CopyAction : Qt::IgnoreAction);
        QCOMPARE(log().value(0), first_line);

        // What was refused at the drag does nothing if it is dropped all the same.
        QMimeData other;
        other.setUrls({QUrl("file:///readme.txt")});
        QDropEvent event(QPoint(5, 5), Qt::CopyAction, &other, Qt::LeftButton, Qt::NoModifier);
        const auto lines = log().size();
        QApplication::sendEvent(window.get(), &event);
        QCOMPARE(log().size(), lines);
    }

    void enables_what_a_mod_allows()
    {
        const QStringList but_viewing{"ChooseMetadata", "SubmitButton",   "ChangeNotes", "ModVisibility",
                                      "ChangePreview",  "ModDescription", "ModTags"};
        for (const char* id : {"0", "12x", "-1"}) {
            load(QByteArray("<id>") + id + "</id>");
            QCOMPARE(enabled_controls(*window), but_viewing);
        }
        for (const char* id : {"123", "18446744073709551615"}) {
            load(QByteArray("<id>") + id + "</id>");
            QCOMPARE(enabled_controls(*window), but_viewing + QStringList{"ViewButton"});
        }
    }

    void locks_up_after_a_failed_read_and_keeps_the_mod()
    {
        load("<name>Good</name><id>5</id>");
        write_file(mod_file("Bad"), "<mod/>");
        window->process_metadata_file(mod_file("Bad"), "Processing");
        QCOMPARE(enabled_controls(*window), QStringList{"ChooseMetadata"});
        QCOMPARE(label("ModName").text(), QString("Name: Good"));
        QCOMPARE(log().value(2), red + "Processing 'Bad/metadata.xml'... Failed");
        // The reason is markup to the log: the tag in it does not show and the wide gap closes.
        QCOMPARE(
            log().value(3),
            red + "No tag found in specified metadata file. Please see the sample metadata.xml file for reference");

        // The watch stays on the mod that is still loaded.
        edit_outside(metadata("<name>Better</name>"));
        QTRY_COMPARE(label("ModName").text(), QString("Name: Better"));

        window->process_metadata_file("metadata.xml", "Processing");
        QCOMPARE(log().value(6), red + "Processing 'metadata.xml'... Failed");
        window->process_metadata_file("Bad/metadata.xml", "Processing");
        QCOMPARE(log().value(8), red + "Processing 'Bad/metadata.xml'... Failed");
    }

    void shows_the_mod()
    {
        load("<name>&lt;b&gt;Lamp %1</name><version>2.5</version><description>Glows</description>"
             "<tag id='lua'/><tag id='Music'/><tag id='Custom'/><tag id='Pills'/>");
        QCOMPARE(label("ModName").text(), QString("Name: <b>Lamp %1"));
        QCOMPARE(label("ModName").textFormat(), Qt::PlainText);
        QCOMPARE(label("ModName").toolTip(), QString("<b>Lamp %1"));
        editor("OutputLog").setToolTip("<b>Reason");
        const auto tip = [](QWidget& widget) {
            QHelpEvent hovering(QEvent::ToolTip, QPoint(), QPoint());
            QCoreApplication::sendEvent(&widget, &hovering);
            return QToolTip::text();
        };
        QVERIFY(tip(label("ModName")).contains("&lt;b&gt;Lamp")); // as the text that it is
        QVERIFY(tip(*editor("OutputLog").viewport()).contains("&lt;b&gt;Reason"));
        QToolTip::hideText();
        QCOMPARE(label("ModVersion").text(), QString("Version: 2.5"));
        QCOMPARE(label("ModVersion").toolTip(), QString("2.5"));
        QCOMPARE(editor("ModDescription").toPlainText(), QString("Glows"));
        QCOMPARE(editor("ModDescription").toolTip(), QString("Glows"));
        QCOMPARE(checked_tags(), (QStringList{"Pills", "Music"}));
        load("<tag id='Lua'/>", "Other");
        QCOMPARE(checked_tags(), QStringList{"Lua"});
        QCOMPARE(editor("ModDescription").toolTip(), QString());
    }

    void keeps_the_description_in_view_when_a_mod_has_none()
    {
        load("<description>From the first</description>");
        load("", "Second");
        QCOMPARE(editor("ModDescription").toPlainText(), QString("From the first"));
        // The first visit to the editor makes it the second mod's.
        editor("ModDescription").setFocus();
        editor("ChangeNotes").setFocus();
        QVERIFY(saved("Second").contains("<description>From the first</description>"));
    }

    void selects_the_visibility_data()
    {
        add_columns<QString, int, QString>("text", "index", "stored");
        add_row("public stays as written", "PUBLIC", 0, "PUBLIC");
        add_row("friends only", "FRIENDS ONLY", 1, "Friends Only");
        add_row("private", "private", 2, "Private");
        add_row("more than a name", "private stuff", 0, "private stuff");
        add_row("hyphenated", "friends-only", 0, "friends-only");
    }

    void selects_the_visibility()
    {
        QFETCH(QString, text);
        QFETCH(int, index);
        QFETCH(QString, stored);
        load("<visibility>" + text.toUtf8() + "</visibility>");
        QCOMPARE(control<QComboBox>("ModVisibility").currentIndex(), index);
        QVERIFY(saved().contains("<visibility>" + stored + "</visibility>"));
    }

    void reads_outside_edits_again()
    {
        load("<name>One</name>");
        window->GetModDescriptor().preview_path = "/chosen.png";
        QTest::qWait(150);
        QCOMPARE(log().size(), 2); // its own write is not an outside edit

        edit_outside(metadata("<name>Two</name>"));
        QTRY_COMPARE(log().size(), 4);
        const QString reread = "Detected metadata change, reprocessing 'MyMod/metadata.xml'... ";
        QCOMPARE(log().at(2), green + reread + "Success");
        QCOMPARE(label("ModName").text(), QString("Name: Two"));
        QCOMPARE(window->GetModDescriptor().preview_path, QString());

        editor("ModDescription").setFocus();
        editor("ModDescription").setPlainText("being written");
        edit_outside("<broken");
        QTRY_COMPARE(log().size(), 6);
        QVERIFY(saved().contains("being written")); // what was typed exists nowhere else
        QCOMPARE(log().at(4), red + reread + "Failed");
        QCOMPARE(enabled_controls(*window), QStringList{"ChooseMetadata"});
        QTest::qWait(150);
        QCOMPARE(log().size(), 6); // once for each change

        QVERIFY(QFile::remove(mod_file()));
        QTest::qWait(100);
        QCOMPARE(log().size(), 6);
    }

    void reads_outside_changes_of_any_date_data()
    {
        // Seconds between the program's own write and the dates of the two files that replace it.
        add_columns<QByteArray, int, int>("first", "first_date", "second_date");
        const QByteArray good = metadata("<name>One</name>");
        add_row("in the same moment as the program's own write", good, 0, 0);
        add_row("cut short, then whole in the same moment", QByteArray(), 0, 0);
        add_row("from a backup", good, -1000, -2000);
        add_row("by a clock ahead of ours", good, 1000, 1000);
    }

    void reads_outside_changes_of_any_date()
    {
        QFETCH(QByteArray, first);
        QFETCH(int, first_date);
        QFETCH(int, second_date);
        load("");
        const QDateTime own = QFileInfo(mod_file()).lastModified();
        const auto replace = [this](const QByteArray& bytes, const QDateTime& date) {
            const QString fresh = mod_file() + ".new";
            write_file(fresh, bytes);
            set_date(fresh, date);
            // Replaces what is there on every system, unlike that of Qt and of C.
            std::filesystem::rename(ToNativePath(fresh), ToNativePath(mod_file()));
        };
        replace(first, own.addSecs(first_date));
        QTRY_COMPARE(log().size(), 4);
        replace(metadata("<name>Two</name>"), own.addSecs(second_date));
        QTRY_COMPARE(log().size(), 6);
        QCOMPARE(label("ModName").text(), QString("Name: Two"));
        set_date(mod_file(), QDateTime::currentDateTime().addSecs(3600));
        QTRY_COMPARE(log().size(), 8);
        QTest::qWait(150);
        QCOMPARE(log().size(), 8); // once for each change
    }

    void saves_a_changed_visibility_at_once()
    {
        load("");
        auto& box = control<QComboBox>("ModVisibility");
        box.setFocus();
        QTest::keyClick(&box, Qt::Key_Down);
        QVERIFY(saved().contains("<visibility>Friends Only</visibility>"));
        QTest::keyClick(&box, Qt::Key_Down);
        QVERIFY(saved().contains("<visibility>Private</visibility>"));
        QTest::keyClick(&box, Qt::Key_Home);
        QVERIFY(saved().contains("<visibility>Public</visibility>"));
        turn_wheel(box);
        button("ChooseMetadata").setFocus();
        turn_wheel(box);
        QCOMPARE(box.currentText(), QString("Public")); // the wheel changes nothing
        box.showPopup();
        box.view()->setFixedHeight(box.view()->sizeHintForRow(0)); // no room for all
        turn_wheel(*box.view()->viewport());
        QTRY_VERIFY(box.view()->verticalScrollBar()->value() > 0); // but the open list scrolls
        box.hidePopup();
        QTest::qWait(100);
        QCOMPARE(log().size(), 2);
    }

    void saves_changed_tags_at_once()
    {
        const auto stored_tags = [this] {
            QStringList tags;
            for (const QString& line : saved().split('\n')) {
                if (line.contains("<tag "))
                    tags << line.section('"', 1, 1);
            }
            return tags;
        };

        load("<tag id='Items'/><tag id='Lua'/>");
        const QString before = saved();
        auto& list = control<QListWidget>("ModTags");
        // A click beside the check box only selects the row.
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {},
                          list.visualItemRect(list.item(3)).center() + QPoint(60, 0));
        QCOMPARE(saved(), before); // the order alone is no change

        toggle_tag("Items");
        QCOMPARE(stored_tags(), QStringList{"Lua"});
        toggle_tag("Music");
        QCOMPARE(stored_tags(), (QStringList{"Lua", "Music"}));
        toggle_tag("Items");
        QCOMPARE(stored_tags(), (QStringList{"Lua", "Items", "Music"}));

        load("<tag id='Custom'/><tag id='Lua'/>", "Other");
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {},
                          list.visualItemRect(list.item(3)).center() + QPoint(60, 0));
        QCOMPARE(window->GetModDescriptor().tags, QStringList{"Lua"}); // what is not offered is dropped

        load("<tag id='Custom'/><tag id='Music'/>", "Third"); // as many, but others
        toggle_tag("Pills");
        QCOMPARE(window->GetModDescriptor().tags, (QStringList{"Pills", "Music"}));
        load("<tag id='lua'/>", "Fourth");
        toggle_tag("Lua");
        QCOMPARE(window->GetModDescriptor().tags, QStringList{"Lua"});
    }

    void saves_the_description_when_the_focus_leaves()
    {
        load("<description>Old</description>");
        auto& description = editor("ModDescription");
        description.setFocus();
        description.setPlainText("New\ntext");
        QVERIFY(saved().contains("<description>Old"));
        editor("ChangeNotes").setFocus();
        QVERIFY(saved().contains("<description>New\ntext</description>"));
        write_into("ModDescription", "new\ntext ");
        QVERIFY(saved().contains("<description>new\ntext </description>"));

        QVERIFY(QFile::remove(mod_file()));
        description.setFocus();
        editor("ChangeNotes").setFocus();
        QVERIFY(!QFile::exists(mod_file())); // nothing changed, nothing written

        write_into("ModDescription", "");
        QVERIFY(saved().contains("<description></description>"));
        QCOMPARE(description.toPlainText(), QString("Enter Mod Description"));
    }

    void prompts_in_empty_editors()
    {
        load("");
        QCOMPARE(editor("ChangeNotes").toPlainText(), QString("Enter Change Notes"));
        QCOMPARE(editor("ModDescription").toPlainText(), QString("Enter Mod Description"));
        editor("ChangeNotes").setFocus();
        QCOMPARE(editor("ChangeNotes").toPlainText(), QString());
        editor("ModDescription").setFocus();
        QCOMPARE(editor("ChangeNotes").toPlainText(), QString("Enter Change Notes"));
        QCOMPARE(editor("ChangeNotes").blockCount(), 1);
        write_into("ChangeNotes", " ");
        QCOMPARE(editor("ChangeNotes").toPlainText(), QString(" "));
        write_into("ChangeNotes", "enter change notes"); // not the prompt
        editor("ChangeNotes").setFocus();
        QCOMPARE(editor("ChangeNotes").toPlainText(), QString("enter change notes"));
    }

    void leaves_the_editors_by_tab()
    {
        load("<description>Glows</description>");
        for (const char* name : {"ModDescription", "ChangeNotes"}) {
            const QString text = editor(name).toPlainText();
            for (const auto key : {Qt::Key_Tab, Qt::Key_Backtab}) {
                editor(name).setFocus();
                QTest::keyClick(&editor(name), key);
                QVERIFY(!editor(name).hasFocus());
                QCOMPARE(editor(name).toPlainText(), text);
            }
        }
    }

    void clears_panes_from_their_menu_data()
    {
        add_columns<QByteArray>("pane_name");
        for (const char* name : {"OutputLog", "ChangeNotes", "ModDescription"})
            add_row(name, QByteArray(name));
    }

    void clears_panes_from_their_menu()
    {
        QFETCH(QByteArray, pane_name);
        load("<description>Glows</description>");
        auto& pane = editor(pane_name);
        pane.setFocus();
        pane.setPlainText("text");
        const QPoint place(40, 10);

        QStringList entries;
        QPoint shown_at;
        {
            ModalDriver dismissing([&](QWidget& menu) {
                shown_at = menu.pos();
                for (const QAction* action : dynamic_cast<QMenu&>(menu).actions())
                    entries << action->text();
            });
            QTest::mouseClick(pane.viewport(), Qt::LeftButton, {}, place);
            QTest::qWait(60);
            QCOMPARE(dismissing.count, 0);
            QTest::mouseClick(pane.viewport(), Qt::RightButton, {}, place);
            QContextMenuEvent following(QContextMenuEvent::Mouse, place, pane.mapToGlobal(place));
            QApplication::sendEvent(pane.viewport(), &following);
            QTest::qWait(60);
            QCOMPARE(dismissing.count, 1); // no second menu after it
        }
        QCOMPARE(entries, QStringList{"Clear All"});
        QCOMPARE(shown_at, pane.mapToGlobal(place));
        QCOMPARE(pane.toPlainText(), QString("text"));

        ModalDriver choosing([](QWidget& menu) { dynamic_cast<QMenu&>(menu).actions().first()->trigger(); });
        QTest::mouseClick(pane.viewport(), Qt::RightButton, {}, place);
        QCOMPARE(choosing.count, 1);
        QCOMPARE(pane.toPlainText(), QString()); // the prompt only returns when the focus leaves
        QVERIFY(pane.findChildren<QMenu*>().isEmpty());
    }

    void changes_the_preview()
    {
        load("");
        const QString path = folder->path() + "/preview.png";
        write_file(path, picture(QSize(20, 10), Qt::red));
        QCOMPARE(choose_file("ChangePreview", path), QString("Choose Preview: Mod Preview Files (*.png *.jpg *.bmp)"));
        QCOMPARE(label("ModPreview").pixmap(Qt::ReturnByValue).size(), QSize(20, 10));
        QCOMPARE(window->GetModDescriptor().preview_path, path);
        QVERIFY(!saved().contains("preview"));
        QCOMPARE(log().size(), 2);

        choose_file("ChangePreview", QString());
        QCOMPARE(window->GetModDescriptor().preview_path, path);

        // A BMP from top to bottom; a PNG whose colours and transparency are in tables of their own.
        QVERIFY(QImage::fromData(picture(QSize(20, 10))).save(path, "BMP"));
        write_file(path, read_file(path).replace(22, 4, "\xF6\xFF\xFF\xFF")); // the height, -10
        choose_file("ChangePreview", path);
        QCOMPARE(label("ModPreview").pixmap(Qt::ReturnByValue).size(), QSize(20, 10));
        QImage indexed(20, 10, QImage::Format_Indexed8);
        indexed.setColorTable({qRgba(255, 0, 0, 51)});
        indexed.fill(0);
        QVERIFY(indexed.save(path, "PNG"));
        choose_file("ChangePreview", path);
        QCOMPARE(label("ModPreview").pixmap(Qt::ReturnByValue).toImage().pixelColor(5, 5), QColor(255, 0, 0, 51));

        // Not a picture, or one that is too large: nothing to show, but it is what will be sent.
        for (const QByteArray& bad : {QByteArray("not a picture"), picture(QSize(4096, 2049))}) {
            write_file(folder->path() + "/bad.png", bad);
            choose_file("ChangePreview", folder->path() + "/bad.png");
            QVERIFY(label("ModPreview").pixmap(Qt::ReturnByValue).isNull());
        }
        QCOMPARE(window->GetModDescriptor().preview_path, folder->path() + "/bad.png");
    }

    void shows_the_workshop_preview()
    {
        load("<name>Lamp</name>");
        window->GetModDescriptor().preview_path = folder->path() + "/preview.png";
        write_file(folder->path() + "/preview.png", picture(QSize(64, 64), Qt::blue));
        click("SubmitButton");
        QTRY_VERIFY(!upload_dialog());
        const QByteArray body = "<id>" + window->GetModDescriptor().id.toUtf8() + "</id>";

        open_window();
        load(body);
        QVERIFY(!label("ModPreview").hasScaledContents());
        QVERIFY(label("ModPreview").movie());
        QCOMPARE(label("ModPreview").movie()->scaledSize(), QSize(71, 71));
        QCOMPARE(label("ModPreview").movie()->state(), QMovie::Running);
        QVERIFY(label("ModPreview").movie()->frameCount() > 1);
        QTRY_VERIFY(!label("ModPreview").pixmap(Qt::ReturnByValue).isNull());
        QCOMPARE(label("ModPreview").pixmap(Qt::ReturnByValue).size(), QSize(64, 64));
        QVERIFY(label("ModPreview").hasScaledContents());
        QCOMPARE(window->GetModDescriptor().preview_path, QString());

        practice->forget();
        load(body); // the same item again: nothing is fetched and the picture stays
        QVERIFY(!practice->journal().join('\n').contains("Query"));
        QVERIFY(!label("ModPreview").pixmap(Qt::ReturnByValue).isNull());
        load("<id>0</id>", "Other");
        QVERIFY(label("ModPreview").pixmap(Qt::ReturnByValue).isNull());
        QVERIFY(!label("ModPreview").movie());

        practice->tell(R"({"preview": "404"})");
        load(body);
        QTRY_VERIFY(!label("ModPreview").movie());
        QVERIFY(label("ModPreview").pixmap(Qt::ReturnByValue).isNull());
    }

    void uploads_and_shows_the_new_version()
    {
        load("<name>Lamp</name><version>1.9</version>");
        editor("ChangeNotes").setFocus();
        QTest::keyClicks(&editor("ChangeNotes"), "Brighter");
        click("SubmitButton");

        QVERIFY(upload_dialog());
        QVERIFY(upload_dialog()->isVisible());
        QCOMPARE(
            describe(*upload_dialog()),
            QString("UploadDialog UploadDialog flags 0x3 312x67, windowTitle: Uploading mod 'Lamp', modal: true\n"
                    "  QProgressBar UploadProgress 10,20 301x23, text: 24%, alignment: 1, value: 24, maximum: 100\n"));
        QVERIFY(saved().contains("<version>1.9</version>")); // not before Steam has answered

        QTRY_VERIFY(!upload_dialog());
        const QString id = window->GetModDescriptor().id;
        QCOMPARE(label("ModVersion").text(), QString("Version: 1.10"));
        QVERIFY(saved().contains("<version>1.10</version>"));
        QVERIFY(saved().contains("<id>" + id + "</id>"));
        QVERIFY(read_file(practice->item(id, "content/metadata.xml")).contains("<version>1.10<"));
        QVERIFY(read_file(practice->item(id, "history.json")).contains("Brighter"));
        QVERIFY(enabled_controls(*window).contains("ViewButton"));
        QCOMPARE(editor("ChangeNotes").toPlainText(), QString("Brighter"));
        QTest::qWait(100);
        QCOMPARE(log().mid(2), QStringList{green
                                           + "Successfully uploaded mod 'Lamp' to Steam Workshop "
                                             "(may take a short time to appear publically)"});
    }

    void updates_an_item_and_keeps_its_page_after_a_failure()
    {
        load("<name>Lamp</name>");
        click("SubmitButton");
        QTRY_VERIFY(!upload_dialog());
        QApplication::setActiveWindow(window.get());
        editor("ModDescription").setFocus();
        editor("ModDescription").setPlainText("Not yet stored");
        button("SubmitButton").setFocusPolicy(Qt::NoFocus); // as on desktops where a click takes none
        click("SubmitButton");
        QTRY_VERIFY(!upload_dialog());
        QVERIFY(saved().contains("<version>1.2</version>"));
        const QString item = practice->item(window->GetModDescriptor().id, "item.json");
        QVERIFY(read_file(item).contains("\"description\": \"Not yet stored\""));

        practice->tell(R"({"submit_results": [2]})");
        click("SubmitButton");
        QTRY_VERIFY(!upload_dialog());
        QCOMPARE(label("ModVersion").text(), QString("Version: 1.2"));
        QVERIFY(enabled_controls(*window).contains("ViewButton"));
    }

    void lowers_the_version_after_a_failed_upload()
    {
        load("<name>Lamp</name>");
        practice->tell(R"({"submit_results": [16]})");
        click("SubmitButton");
        QTRY_VERIFY(!upload_dialog());
        QCOMPARE(log().last(), red + "Failed to upload mod 'Lamp': Error (16) - Operation timed out");
        QCOMPARE(label("ModVersion").text(), QString("Version: 1.0"));
        QVERIFY(!enabled_controls(*window).contains("ViewButton"));
        // The new item's id was saved, and the raised version with it, until the next save.
        QVERIFY(saved().contains("<id>" + window->GetModDescriptor().id + "</id>"));
        QVERIFY(saved().contains("<version>1.1</version>"));
        toggle_tag("Lua");
        QVERIFY(saved().contains("<version>1.0</version>"));
        QVERIFY(practice->conversation().contains("SubmitItemUpdate(1001, \"\")")); // the prompt is none
    }

    void goes_on_uploading_behind_a_hidden_dialog()
    {
        load("<name>Lamp</name>");
        write_file(folder->path() + "/MyMod/data.bin", QByteArray(1000, 'x'));
        practice->tell(R"({"bytes_per_pump": 20})");
        click("SubmitButton");
        QPointer<QWidget> dialog = upload_dialog();
        const auto* bar = dialog->findChild<QProgressBar*>("UploadProgress");
        QList<int> seen;
        connect(bar, &QProgressBar::valueChanged, [&seen](int value) { seen << value; });
        QTest::keyClick(dialog, Qt::Key_Escape);
        QVERIFY(dialog && !dialog->isVisible());
        QTRY_VERIFY(dialog.isNull());
        QVERIFY(seen.contains(5)); // a tenth of the half that is done
        QVERIFY(log().last().startsWith(green + "Successfully uploaded"));
    }

    void uploads_again_behind_a_hidden_dialog()
    {
        load("<id>5</id>");
        practice->tell(R"({"silent_calls": ["submit"]})");
        click("SubmitButton");
        QPointer<QWidget> first = upload_dialog();
        QTest::keyClick(first, Qt::Key_Escape);
        QTest::qWait(100);
        QCOMPARE(first->findChild<QProgressBar*>("UploadProgress")->value(), 24); // no report yet
        click("SubmitButton");
        QTRY_COMPARE(log().size(), 3); // only the newer one is answered: there is no such item
        QTest::qWait(100);
        QVERIFY(first);
        QCOMPARE(window->findChildren<QDialog*>("UploadDialog").size(), 1);
    }

    void refuses_to_upload_forbidden_files()
    {
        load("<name>Lamp</name>");
        practice->forget();
        write_file(folder->path() + "/MyMod/bin/tool.exe", "x");
        click("SubmitButton");
        QCOMPARE(log().last(), red
                                   + "Failed to upload mod 'Lamp' to Steam Workshop | Mod folder contains one more "
                                     "more files that are not allowed to be uploaded to Steam Workshop | "
                                     "____'.../MyMod/bin/tool.exe' | Please remove the offending files and try again");
        QVERIFY(!upload_dialog());
        QCOMPARE(window->GetModDescriptor().version, QString("1.0"));
        QVERIFY(!practice->journal().join('\n').contains("UGC::"));
    }

    void opens_the_workshop_page()
    {
        QDesktopServices::setUrlHandler("https", this, "open_page");
        load("<id>123456789012</id>");
        click("ViewButton");
        QDesktopServices::unsetUrlHandler("https");
        QCOMPARE(opened, QList<QUrl>{QUrl("https://steamcommunity.com/sharedfiles/filedetails/?id=123456789012")});
    }

    void closes_in_the_middle_of_everything()
    {
        // With an unsaved description that has the focus, an upload and a preview on their way.
        const QString marker = folder->path() + "/MyMod/disable.it";
        write_file(marker, "");
        load("<id>4</id><description>Old</description>");
        click("SubmitButton");
        QVERIFY(!QFile::exists(marker));
        QTest::keyClick(upload_dialog(), Qt::Key_Escape);
        editor("ModDescription").setFocus();
        editor("ModDescription").setPlainText("Unsaved");
        // All that Windows lets happen at the end of a session.
        Termination::Watch(*window);
        QMetaObject::invokeMethod(qApp, "aboutToQuit");
        QVERIFY(saved().contains("<description>Unsaved</description>"));
        QVERIFY(QFile::exists(marker));

        editor("ModDescription").setFocus();
        editor("ModDescription").setPlainText("Unsaved again");
        window.reset();
        QVERIFY(saved().contains("<description>Unsaved again</description>"));
    }
};

QTEST_MAIN(tst_window)

#include "tst_window.moc"
