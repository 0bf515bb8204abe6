#include "Support.h"

#include "Logger.h"
#include "MainWindow.h"
#include "Termination.h"

#include <QtWidgets>

#include <algorithm>
#include <functional>

namespace {

/// Runs `start`. In a file dialog that opens it types the answer, in a menu it chooses the entry of that name, and then
/// closes either, so that a failed test cannot leave the program waiting. Returns what was on offer.
QStringList answer(const QString& answer, const std::function<void()>& start)
{
    QStringList offers;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        if (QWidget* const menu = QApplication::activePopupWidget()) {
            for (QAction* const action : menu->actions()) {
                offers << QString("%1 at %2,%3").arg(action->text()).arg(menu->x()).arg(menu->y());
                action->activate(action->text() == answer ? QAction::Trigger : QAction::Hover);
            }
            menu->close();
        } else if (auto* const dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
            offers << (dialog->parentWidget() ? dialog->windowTitle() : "") << dialog->nameFilters();
            dialog->findChild<QLineEdit*>("fileNameEdit")->setText(answer);
            QMetaObject::invokeMethod(dialog, "accept"); // does nothing without a path
            dialog->close();
        }
    });
    timer.start(20);
    start();
    return offers;
}

/// What the widget and all that is in it look like, from the back to the front, a line each.
QString describe(const QWidget& widget, const QString& indent = QString()) // NOLINT(misc-no-recursion): a tree
{
    QString line = indent + widget.metaObject()->className() + ' ' + widget.objectName();
    line += widget.isWindow() ? QString(" flags 0x%1").arg(int(widget.windowFlags() & 0xFFF), 0, 16)
                              : QString(" %1,%2").arg(widget.x()).arg(widget.y());
    line += QString(" %1x%2").arg(widget.width()).arg(widget.height());
    line += widget.minimumSize() == widget.maximumSize() ? ", fixed" : "";
    line += QString(widget.isHidden() ? ", hidden" : "") + (widget.isEnabled() ? "" : ", disabled");
    for (const QSize& size : widget.isWindow() ? widget.windowIcon().availableSizes() : QList<QSize>())
        line += QString(", icon %1x%2").arg(size.width()).arg(size.height());
    for (const char* name : {"windowTitle",    "title",       "text",       "plainText",   "currentText",
                             "toolTip",        "readOnly",    "modal",      "acceptDrops", "autoFillBackground",
                             "scaledContents", "flat",        "default",    "alignment",   "textFormat",
                             "lineWrapMode",   "frameShadow", "styleSheet", "value",       "maximum"}) {
        // As a number: the names of flags are written differently by each Qt.
        const QVariant property = widget.property(name);
        const bool is_flag = property.userType() >= QMetaType::User;
        const QString value = is_flag ? QString::number(property.toInt()) : property.toString();
        if (!value.isEmpty() && value != "false" && value != "0")
            line += QString(", %1: %2").arg(name, QString(value).replace('\n', "\\n"));
    }
    // Colours that do not follow the desktop.
    for (const auto role : {QPalette::Window, QPalette::Base, QPalette::ButtonText}) {
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
            const QColor colour = widget.palette().color(group, role);
            if (colour != QApplication::palette().color(group, role))
                line += ", " + QVariant::fromValue(group).toString() + QVariant::fromValue(role).toString() + ": "
                        + colour.name();
        }
    }
    const auto* rows = widget.findChild<QAbstractItemModel*>(QString(), Qt::FindDirectChildrenOnly);
    for (int row = 0; rows != nullptr && row < rows->rowCount(); ++row)
        line += ", [" + rows->index(row, 0).data(Qt::CheckStateRole).toString() + "] "
                + rows->index(row, 0).data().toString();
    for (auto* part : widget.findChildren<QWidget*>(QRegularExpression("^(?!qt_)."), Qt::FindDirectChildrenOnly))
        line += '\n' + describe(*part, indent + "  ");
    return line;
}

/// The number of pixels that a text takes in red, on a screen of twice the scale, where styles cut more.
std::ptrdiff_t count_ink(QWidget& widget)
{
    widget.setPalette({Qt::red, Qt::white, Qt::white, Qt::white, Qt::white, Qt::red, Qt::red, Qt::white, Qt::white});
    QImage image(widget.size() * 2, QImage::Format_RGB32);
    image.setDevicePixelRatio(2);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawWindowBackground);
    const auto* const pixels = reinterpret_cast<const QRgb*>(image.constBits());
    const auto is_red = [](QRgb pixel) { return qRed(pixel) > qBlue(pixel); };
    return std::count_if(pixels, pixels + image.width() * image.height(), is_red);
}

} // namespace

/// The window as a user meets it: driven by the names of its controls, judged by what it shows and
/// by what lies on disk.
class tst_window : public WindowTest
{
    Q_OBJECT

    QWidget& control(const char* name) const { return *window->findChild<QWidget*>(name); }
    QLabel& preview() const { return *window->findChild<QLabel*>("ModPreview"); }
    QPlainTextEdit& editor(const char* name) const { return *window->findChild<QPlainTextEdit*>(name); }
    QComboBox& visibility() const { return *window->findChild<QComboBox*>("ModVisibility"); }
    QList<QDialog*> upload_dialogs() const { return window->findChildren<QDialog*>("UploadDialog"); }

    QString mod_file(const QString& mod = "MyMod") const { return folder->path() + "/" + mod + "/metadata.xml"; }
    QString saved(const QString& mod = "MyMod") const { return QString::fromUtf8(read_file(mod_file(mod))); }
    void click(const char* name) const { QTest::mouseClick(&control(name), Qt::LeftButton); }
    void beat() const { QMetaObject::invokeMethod(window.get(), "update"); }
    QImage shown_preview() const { return preview().pixmap(Qt::ReturnByValue).toImage(); }

    void open_window() override
    {
        WindowTest::open_window();
        window->show();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
    }

    void load(const QByteArray& body, const QString& mod = "MyMod") const
    {
        write_file(mod_file(mod), metadata(body));
        window->process_metadata_file(mod_file(mod), "Processing");
    }

    QList<QUrl> opened;

private slots:
    /// The desktop's colours are not those that the program sets.
    void initTestCase() { QApplication::setPalette(QColor(40, 40, 40)); }

    /// Takes the place of the browser.
    void open_page(const QUrl& url) { opened << url; }

    void logs_in_colours_and_breaks_words_only_in_endless_runs()
    {
        Logger::LogMessage("one<br>two %1", Logger::Warning);
        for (const unsigned unknown : {4U, ~0U})
            Logger::LogMessage("never seen", static_cast<Logger::eMessageType>(unknown));
        QCOMPARE(log(), (QStringList{"#888800 one | two %1", black, black}));

        auto& pane = editor("OutputLog");
        Logger::LogMessage(QString("'.../a_file_that_is_forbidden.exe'<br>").repeated(1000), Logger::Error);
        for (const QChar space : {' ', '\t', '\n'})
            pane.appendPlainText(QString(9'999, 'x') + space + QString(10'000, 'x'));
        QCOMPARE(pane.wordWrapMode(), QTextOption::WrapAtWordBoundaryOrAnywhere);
        pane.moveCursor(QTextCursor::End);
        pane.insertPlainText("x");
        for (const char* text : {"two", "lines"}) {
            Logger::LogMessage(text, Logger::Info);
            QCOMPARE(pane.wordWrapMode(), QTextOption::WrapAnywhere); // the run is still there
        }
        pane.setPlainText("words");
        QCOMPARE(pane.wordWrapMode(), QTextOption::WrapAtWordBoundaryOrAnywhere);
        editor("ModDescription").insertPlainText(QString(2'000'000, 'x')); // at once, not after many minutes
        Logger::Shutdown();
        Logger::LogMessage("dropped", Logger::Info);
        QCOMPARE(pane.toPlainText(), QString("words"));
    }

    void loads_what_is_chosen_or_dropped()
    {
        write_file(mod_file(), metadata("<name>Lamp</name>"));
        const auto choose = [this] { click("ChooseMetadata"); };
        QCOMPARE(answer(QString(), choose), (QStringList{"Choose Metadata", "Metadata (metadata.xml)"}));
        answer(mod_file(), choose);
        const QStringList good{green + "Processing 'MyMod/metadata.xml'... Success",
                               black + "Ready to upload mod 'Lamp'"};
        QCOMPARE(log(), good);

        const QString reason = red + "Metadata file not named 'metadata.xml'";
        const std::pair<QStringList, QStringList> drops[] = {
            {{"%1/metadata.xml.bak", "%1/MyMod/Metadata.xml", "%1/MyMod"}, {}},
            {{"%1/MyMod/oldmetadata.xml"}, {red + "Processing 'MyMod/oldmetadata.xml'... Failed", reason}},
            {{"https://example.org/metadata.xml"}, {red + "Processing ''... Failed", reason}},
            {{"%1/readme.txt", "%1/MyMod/metadata.xml", "%1/Other/metadata.xml"}, good},
        };
        for (auto [urls, lines] : drops) {
            QMimeData data;
            urls.replaceInStrings("%1", QUrl::fromLocalFile(folder->path()).toString());
            data.setUrls(QUrl::fromStringList(urls));
            for (const QWidget* onto : window->findChildren<QWidget*>(QRegularExpression("^[A-Z]"))) {
                const auto former = log().size();
                const QPoint place = onto->mapTo(window.get(), onto->rect().center());
                QDragEnterEvent enter(place, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
                QApplication::sendEvent(window->windowHandle(), &enter);
                QCOMPARE(enter.isAccepted() && enter.dropAction() == Qt::CopyAction, !lines.isEmpty());
                QDropEvent event(place, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
                QApplication::sendEvent(window->windowHandle(), &event);
                QCOMPARE(log().mid(former), lines);
            }
        }
    }

    void shows_the_mod()
    {
        QString shown = QString::fromUtf8(test_file("form.txt")).trimmed();
        QCOMPARE(describe(*window).split('\n'), shown.split('\n'));

        load("<name>&lt;b&gt;%1</name><version>2.5</version><description>Glows</description>"
             "<visibility>Private</visibility><tag id='lua'/><tag id='Music'/><tag id='Custom'/><tag id='Pills'/>");
        shown.remove(", disabled").replace("text: View", "disabled, text: View");
        shown.replace("Name:", "Name: <b>%1, toolTip: <b>%1");
        shown.replace("Version:", "Version: 2.5, toolTip: 2.5");
        shown.replace("currentText: Public", "currentText: Private");
        shown.replace("[0] Pills", "[2] Pills").replace("[0] Music", "[2] Music");
        shown.replace("Enter Mod Description", "Glows, toolTip: Glows");
        shown.replace("upload...", "upload...\\nProcessing 'MyMod/metadata.xml'... Success\\nReady to upload mod '%1'");
        QCOMPARE(describe(*window).split('\n'), shown.split('\n'));

        editor("OutputLog").setToolTip("<b>The reason");
        for (const char* name : {"ModName", "ModVersion", "ModDescription", "OutputLog"}) {
            QHelpEvent hovering(QEvent::ToolTip, QPoint(), QPoint());
            QCoreApplication::sendEvent(&control(name), &hovering);
            // As the text that it is, in lines that break.
            QCOMPARE(QToolTip::text(), "<p>" + control(name).toolTip().toHtmlEscaped() + "</p>");
        }

        // A mod without a description leaves that of the mod before it; the first visit to the editor makes it its own.
        load("<tag id='Lua'/>", "Other");
        QVERIFY(describe(*window).contains("[2] Lua, [0] Items") && describe(*window).contains("Text: Glows, line"));
        editor("ModDescription").setFocus();
        editor("ChangeNotes").setFocus();
        QVERIFY(saved("Other").contains("<description>Glows</description>"));

        for (const QByteArray id : {"0", "12x", "-1", "1", "18446744073709551615"}) {
            load("<id>" + id + "</id>");
            QCOMPARE(control("ViewButton").isEnabled(), id.toULongLong() > 0);
        }
        practice->tell(R"({"start": "fails"})");
        open_window();
        QVERIFY(describe(*window).count(", disabled") == 8 && !window->acceptDrops());
    }

    void reads_outside_changes_of_any_date()
    {
        load("<name>One</name><id>5</id>");
        // A file that cannot be read locks up and leaves the mod, which stays watched.
        write_file(mod_file("Bad"), "<mod/>");
        for (const QString& path : {mod_file("Bad"), QString("metadata.xml"), QString("No/metadata.xml")}) {
            window->process_metadata_file(path, "Processing");
            beat();
            QCOMPARE(log().value(log().size() - 2), red + "Processing '" + path.section('/', -2) + "'... Failed");
            QVERIFY(control("ChooseMetadata").isEnabled() && describe(*window).count(", disabled") == 7);
            QVERIFY(describe(*window).contains("Name: One"));
        }

        const QString action = "Detected metadata change, reprocessing 'MyMod/metadata.xml'... ";
        // The new name, none in a broken file, and the seconds between the dates of the file before it and its own.
        const std::pair<QByteArray, int> edits[] = {
            {"Now", 0}, {"", 0}, {"Again", 0}, {"Backup", -2000}, {"Older", -3000}, {"Ahead", 1000}, {"Ahead", 3600}};
        for (const auto& [name, seconds] : edits) {
            editor("ModDescription").setFocus();
            editor("ModDescription").setPlainText("being written");
            const auto former = log().size();
            const QDateTime date = QFileInfo(mod_file()).lastModified().addSecs(seconds);
            write_file(mod_file(), name.isEmpty() ? "" : metadata("<name>" + name + "</name>"));
            QFile file(mod_file());
            QVERIFY(file.open(QIODevice::ReadWrite) && file.setFileTime(date, QFileDevice::FileModificationTime));
            beat();
            QCOMPARE(log().value(former), name.isEmpty() ? red + action + "Failed" : green + action + "Success");
            QVERIFY(log().last().contains(name));
            // What was typed exists nowhere else: the lock of the editor saves it.
            QCOMPARE(saved().contains("being written"), name.isEmpty());
        }
        QVERIFY(QFile::remove(mod_file()));
        beat();
        QCOMPARE(log().size(), 22); // once for each change, never for what the program itself has written
        QTest::qWait(20);           // until the clock of the disk has gone on
        // A pipe to which nobody writes; where there are none, a folder.
        QVERIFY(QProcess::execute("mkfifo", {mod_file()}) == 0 || QDir().mkdir(mod_file()));
        for (int beats = 0; beats < 2; ++beats)
            beat();
        QCOMPARE(log().size(), 24);
    }

    void saves_a_changed_visibility_and_changed_tags_at_once()
    {
        const std::pair<QByteArray, int> read[] = {
            {"PUBLIC", 0}, {"FRIENDS ONLY", 1}, {"friends-only", 0}, {"private", 2}, {"private stuff", 0}};
        QWheelEvent notch({}, {}, {}, QPoint(0, -120), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        for (const auto& [text, index] : read) {
            load("<visibility>" + text + "</visibility>");
            QApplication::sendEvent(&visibility(), &notch); // changes nothing
            QCOMPARE(visibility().currentIndex(), index);
            // Written anew only when the index has changed.
            QCOMPARE(window->GetModDescriptor().visibility, text == "PUBLIC" ? "PUBLIC" : visibility().currentText());
        }
        for (const auto key : {Qt::Key_Down, Qt::Key_Down, Qt::Key_Home}) {
            QTest::keyClick(&visibility(), key);
            QVERIFY(saved().contains("<visibility>" + visibility().currentText() + "</visibility>"));
        }

        // A click at 70 is beside the box and only selects, but drops what is not offered.
        const std::tuple<QStringList, QString, int, QStringList> clicks[] = {
            {{"Items", "Lua"}, "Cards", 70, {"Items", "Lua"}},          {{"Items", "Lua"}, "Items", 10, {"Lua"}},
            {{"Music", "Lua"}, "Items", 10, {"Lua", "Items", "Music"}}, {{"Custom", "Lua"}, "Cards", 70, {"Lua"}},
            {{"Custom", "Music"}, "Pills", 10, {"Pills", "Music"}}, // as many, but others
        };
        auto& list = *window->findChild<QListWidget*>("ModTags");
        for (const auto& [before, tag, x, after] : clicks) {
            load("<tag id='" + before.join("'/><tag id='").toUtf8() + "'/>");
            QListWidgetItem* const item = list.findItems(tag, Qt::MatchExactly).value(0);
            list.scrollToItem(item);
            QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, QPoint(x, list.visualItemRect(item).center().y()));
            QCOMPARE(window->GetModDescriptor().tags, after);
            QCOMPARE(saved().count("<tag "), after.size());
        }
    }

    void saves_the_description_when_the_focus_leaves()
    {
        load("");
        for (const char* name : {"ChangeNotes", "ModDescription"}) {
            auto& pane = editor(name);
            const bool is_description = pane.objectName() == "ModDescription";
            const QString prompt = pane.toPlainText();
            QString last;
            for (const QString& text : {QString(" "), prompt.toLower(), QString("New\ntext"), QString(), prompt}) {
                QFile::remove(mod_file());
                pane.setFocus();
                QCOMPARE(pane.toPlainText(), last);
                pane.setPlainText(text);
                const QImage focused = pane.viewport()->grab().toImage();
                QVERIFY(!QFile::exists(mod_file()));
                QTest::keyClick(&pane, text.isEmpty() ? Qt::Key_Backtab : Qt::Key_Tab);
                QVERIFY(focused != pane.viewport()->grab().toImage()); // the cursor is where one writes
                QCOMPARE(pane.toPlainText(), text.isEmpty() ? prompt : text);
                const QString former = std::exchange(last, text == prompt ? QString() : text);
                // Nothing changed, nothing written.
                QCOMPARE(saved().contains("<description>" + last + "</description>"), is_description && last != former);
            }
        }
    }

    void clears_panes_from_their_menu()
    {
        load("");
        for (const char* name : {"OutputLog", "ChangeNotes", "ModDescription"}) {
            auto& pane = editor(name);
            pane.setPlainText("text");
            const QPoint place(40, 10), on_screen = pane.mapToGlobal(place);
            QTest::mouseClick(pane.viewport(), Qt::LeftButton, {}, place);
            QCOMPARE(pane.textCursor().position(), 4);
            for (const char* entry : {"", "Clear All"}) {
                const QStringList entries = answer(entry, [&] {
                    QTest::mouseClick(pane.viewport(), Qt::RightButton, {}, place);
                    QContextMenuEvent following(QContextMenuEvent::Mouse, place, on_screen);
                    QApplication::sendEvent(pane.viewport(), &following);
                });
                QVERIFY(!QApplication::activePopupWidget()); // no second menu after it
                QCOMPARE(entries, QStringList{QString("Clear All at %1,%2").arg(on_screen.x()).arg(on_screen.y())});
                QCOMPARE(pane.toPlainText(), QString(*entry ? "" : "text")); // the prompt returns when the focus leaves
            }
        }
    }

    void shows_the_preview_of_a_file_and_of_the_workshop()
    {
        load("");
        const QString path = folder->path() + "/preview.";
        const std::pair<const char*, int> files[] = {{"bad", 0}, {"jpg", 20}, {"bmp", 30}, {"png", 40}};
        for (const auto& [format, width] : files) {
            write_file(path + format, width == 0 ? "text" : picture(QSize(width, 10), Qt::red, format));
            const auto choose = [this] { click("ChangePreview"); };
            QCOMPARE(answer(path + format, choose),
                     (QStringList{"Choose Preview", "Mod Preview Files (*.png *.jpg *.bmp)"}));
            answer(QString(), choose);
            QVERIFY(shown_preview().width() == width && (width == 0 || shown_preview().pixelColor(5, 5).red() > 250));
            QCOMPARE(window->GetModDescriptor().preview_path, path + format); // even of what is no picture
        }
        QVERIFY(!saved().contains("preview") && log().size() == 2);
        click("SubmitButton");
        QTRY_VERIFY(upload_dialogs().isEmpty());

        open_window();
        window->process_metadata_file(mod_file(), "Processing");
        QPointer<QMovie> movie = preview().movie();
        QVERIFY(movie && movie->scaledSize() == QSize(71, 71) && !preview().hasScaledContents());
        QVERIFY(movie->currentFrameNumber() == 1 && movie->speed() == 100);
        QTRY_COMPARE(shown_preview().size(), QSize(40, 10));
        // It hardly wakes the processor.
        QVERIFY(preview().hasScaledContents() && movie->state() == QMovie::Running && movie->speed() == 1);

        practice->forget();
        window->process_metadata_file(mod_file(), "Processing"); // the same item: nothing is fetched, the picture stays
        QVERIFY(!practice->journal().join('\n').contains("Query") && !shown_preview().isNull());
        load("<id>0</id>", "Other");
        QVERIFY(shown_preview().isNull() && !preview().movie());

        practice->tell(R"({"silent_calls": ["query"]})");
        load("<id>5</id>");
        QTRY_VERIFY(preview().movie() && movie->currentFrameNumber() > 3);
        practice->tell(R"({"preview": "404"})");
        load("<id>900000000000001</id>");
        QTRY_VERIFY(!preview().movie());
    }

    void uploads_and_shows_the_version()
    {
        load("<name>Lamp</name><version>1.9</version>");
        const QString former = describe(*window);
        practice->tell(R"({"submit_results": [16], "bytes_per_pump": 20})");
        click("SubmitButton");
        QTRY_VERIFY(upload_dialogs().isEmpty());
        QApplication::setActiveWindow(window.get());
        QCOMPARE(log().last(), red + "Failed to upload mod 'Lamp': Error (16) - Operation timed out");
        QCOMPARE(describe(*window).remove("\\n" + log().last().mid(8)), former);
        // The new item's id was saved, and the raised version with it, until the next save.
        const QString id = window->GetModDescriptor().id;
        QVERIFY(saved().contains("<id>" + id + "</id>") && saved().contains("<version>1.10</version>"));
        QTest::keyClick(&visibility(), Qt::Key_Down);
        QVERIFY(saved().contains("<version>1.9</version>"));
        QVERIFY(practice->journal().join('\n').contains("SubmitItemUpdate(1001, \"\")")); // the prompt is none

        editor("ChangeNotes").setFocus();
        QTest::keyClicks(&editor("ChangeNotes"), "Brighter");
        editor("ModDescription").setFocus();
        QTest::keyClicks(&editor("ModDescription"), "Glows");
        write_file(folder->path() + "/MyMod/data.bin", QByteArray(1000, 'x'));
        control("SubmitButton").setFocusPolicy(Qt::NoFocus); // as on desktops where a click takes none
        click("SubmitButton");
        QVERIFY(saved().contains("<version>1.9</version>"));
        const QStringList dialog{
            "UploadDialog UploadDialog flags 0x3 312x67, icon 16x16, icon 32x32, icon 64x64, "
            "windowTitle: Uploading mod 'Lamp', modal: true",
            "  QProgressBar UploadProgress 10,20 301x23, text: 24%, alignment: 1, value: 24, maximum: 100"};
        QCOMPARE(describe(*upload_dialogs().last()).split('\n'), dialog);
        QList<int> seen;
        connect(window->findChild<QProgressBar*>(), &QProgressBar::valueChanged, [&](int value) { seen << value; });
        QTest::keyClick(upload_dialogs().last(), Qt::Key_Escape);
        QTRY_VERIFY(upload_dialogs().isEmpty());
        QCOMPARE(seen, (QList<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
        QVERIFY(describe(*window).contains("Version: 1.10") && saved().contains("<version>1.10</version>"));
        QVERIFY(read_file(practice->item(id, "history.json")).contains("Brighter"));
        const QRegularExpression uploaded("friends.*Glows", QRegularExpression::DotMatchesEverythingOption);
        QVERIFY(QString(read_file(practice->item(id, "item.json"))).contains(uploaded));
        QCOMPARE(editor("ChangeNotes").toPlainText(), QString("Brighter"));

        QDesktopServices::setUrlHandler("https", this, "open_page");
        click("ViewButton");
        QCOMPARE(opened, QList<QUrl>{QUrl("https://steamcommunity.com/sharedfiles/filedetails/?id=" + id)});

        write_file(folder->path() + "/MyMod/bin/tool.exe", "x");
        click("SubmitButton");
        QVERIFY(upload_dialogs().isEmpty() && window->GetModDescriptor().version == "1.10");
        QVERIFY(log().last().startsWith(red + "Failed to upload mod 'Lamp' to Steam Workshop | Mod folder contains"));
    }

    void closes_in_the_middle_of_everything()
    {
        const QString marker = folder->path() + "/MyMod/disable.it";
        write_file(marker, "");
        load("<id>5</id>");
        practice->tell(R"({"silent_calls": ["submit"]})");
        click("SubmitButton");
        QDialog* const hidden = upload_dialogs().last();
        QTest::keyClick(hidden, Qt::Key_Escape);
        click("SubmitButton");
        QTRY_COMPARE(log().size(), 3); // only the newer one is answered: there is no such item
        QCOMPARE(upload_dialogs(), QList<QDialog*>{hidden});

        // With an unsaved description that has the focus, an upload and a preview on their way.
        load("<id>4</id><description>Old</description>");
        click("SubmitButton");
        QVERIFY(!QFile::exists(marker));
        QTest::keyClick(upload_dialogs().last(), Qt::Key_Escape);
        QApplication::setActiveWindow(window.get());
        editor("ModDescription").setFocus();
        editor("ModDescription").setPlainText("Unsaved");
        // All that Windows lets happen at the end of a session.
        Termination::Watch(*window);
        QMetaObject::invokeMethod(qApp, "aboutToQuit");
        QVERIFY(saved().contains("<description>Unsaved</description>") && QFile::exists(marker));

        editor("ModDescription").setFocus();
        editor("ModDescription").setPlainText("Unsaved again");
        window.reset();
        QVERIFY(saved().contains("<description>Unsaved again</description>"));
    }

    /// The last, as it leaves its font to the program.
    void shows_every_fixed_text_whole()
    {
        for (const char* family : {"DejaVu Sans", "Noto Sans"}) {
            for (const int points : {8, 9, 10, 11, 14, 18}) {
                QApplication::setFont(QFont(family, points));
                open_window();
                visibility().setCurrentIndex(1);
                for (const char* name : {"label", "ModName", "ModVersion", "TagsLabel", "ModVisibility", "groupBox",
                                         "ChooseMetadata", "SubmitButton", "ViewButton", "ChangePreview"}) {
                    QWidget& part = control(name);
                    const auto ink = count_ink(part);
                    part.resize(part.size() + QSize(60, 20));
                    part.setProperty("title", part.property("title").toString() + "   "); // room for that of the box
                    // Nothing was cut off, and it can be read.
                    QVERIFY2(ink > 0 && ink == count_ink(part) && QFontInfo(part.font()).pixelSize() >= 7, name);
                    QVERIFY(part.y() != 20 || part.font() == control("ViewButton").font()); // the buttons in a row
                }
            }
        }
    }
};

QTEST_MAIN(tst_window)

#include "tst_window.moc"
