#include "Support.h"

#include "Logger.h"
#include "MainWindow.h"
#include "Termination.h"

#include <QtWidgets>

#include <ctime>
#include <functional>

namespace {

/// Runs `start`, hands each dialog and menu that it opens to `act` and closes what is still open afterwards, so that a
/// failed test cannot leave the program waiting. Returns how many there were.
int with_dialogs(const std::function<void(QWidget&)>& act, const std::function<void()>& start)
{
    int count = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        QWidget* const popup = QApplication::activePopupWidget();
        QWidget* const found = popup != nullptr ? popup : QApplication::activeModalWidget();
        if (!found)
            return;
        ++count;
        act(*found);
        if (found->isVisible())
            found->close();
    });
    timer.start(20);
    start();
    return count;
}

/// What the widget and all that is in it look like, from the back to the front, a line each.
QString describe(const QWidget& widget, const QString& indent = QString()) // NOLINT(misc-no-recursion): a tree
{
    const QRect place = widget.geometry();
    QString line = indent + widget.metaObject()->className() + ' ' + widget.objectName();
    line += widget.isWindow() ? QString(" flags 0x%1").arg(int(widget.windowFlags() & 0xFFF), 0, 16)
                              : QString(" %1,%2").arg(place.x()).arg(place.y());
    line += QString(" %1x%2").arg(place.width()).arg(place.height());
    line += widget.minimumSize() == widget.maximumSize() ? ", fixed" : "";
    for (const QSize& size : widget.isWindow() ? widget.windowIcon().availableSizes() : QList<QSize>())
        line += QString(", icon %1x%2").arg(size.width()).arg(size.height());
    for (const char* name : {"windowTitle", "text", "title", "readOnly", "acceptDrops", "autoFillBackground",
                             "scaledContents", "flat", "default", "alignment", "textFormat", "wordWrapMode",
                             "frameShadow", "styleSheet", "modal", "value", "maximum", "plainText"}) {
        const QVariant property = widget.property(name);
        const auto& meta = *widget.metaObject();
        // As a number: the names of flags are written differently by each Qt.
        const bool is_enum = meta.property(meta.indexOfProperty(name)).isEnumType();
        const QString value = is_enum ? QString::number(property.toInt()) : property.toString();
        if (!value.isEmpty() && value != "false" && value != "0")
            line += QString(", %1: %2").arg(name, QString(value).replace('\n', "\\n"));
    }
    // Colours that do not follow the desktop.
    for (const auto role : {QPalette::Window, QPalette::Base, QPalette::ButtonText}) {
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
            const QString colour = widget.palette().color(group, role).name();
            if (colour != QApplication::palette().color(group, role).name())
                line +=
                    ", " + QVariant::fromValue(group).toString() + QVariant::fromValue(role).toString() + ": " + colour;
        }
    }
    const auto* rows = widget.findChild<QAbstractItemModel*>(QString(), Qt::FindDirectChildrenOnly);
    for (int row = 0; rows != nullptr && row < rows->rowCount(); ++row) {
        const QModelIndex index = rows->index(row, 0);
        line += ", [" + index.data(Qt::CheckStateRole).toString() + "] " + index.data().toString();
    }
    line += '\n';
    const QRegularExpression named("^(?!qt_).");
    for (const QWidget* part : widget.findChildren<QWidget*>(named, Qt::FindDirectChildrenOnly))
        line += describe(*part, indent + "  ");
    return line;
}

/// The number of pixels in which a text is drawn on a screen of twice the scale, where styles cut more.
int count_ink(QWidget& widget, const char* property)
{
    QImage inked(widget.size() * 2, QImage::Format_RGB32);
    inked.fill(Qt::white);
    inked.setDevicePixelRatio(2);
    QImage blank = inked;
    widget.render(&inked);
    const QVariant text = widget.property(property);
    widget.setProperty(property, text.userType() == QMetaType::Int ? QVariant(-1) : QVariant(""));
    widget.render(&blank);
    widget.setProperty(property, text);
    int ink = 0;
    for (int pixel = 0, width = blank.width(); pixel < width * blank.height(); ++pixel)
        ink += inked.pixel(pixel % width, pixel / width) != blank.pixel(pixel % width, pixel / width) ? 1 : 0;
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
        return *window->findChild<Control*>(name);
    }
    QPushButton& button(const char* name) const { return control<QPushButton>(name); }
    QLabel& label(const char* name) const { return control<QLabel>(name); }
    QPlainTextEdit& editor(const char* name) const { return control<QPlainTextEdit>(name); }

    QString mod_file(const QString& mod = "MyMod") const { return folder->path() + "/" + mod + "/metadata.xml"; }
    QString saved(const QString& mod = "MyMod") const { return QString::fromUtf8(read_file(mod_file(mod))); }
    void click(const char* name) const { QTest::mouseClick(&button(name), Qt::LeftButton); }
    QWidget* upload_dialog() const { return window->findChild<QDialog*>("UploadDialog"); }
    QImage shown_preview() const { return label("ModPreview").pixmap(Qt::ReturnByValue).toImage(); }

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
        const auto choose = [&](QWidget& dialog) {
            shown += dialog.windowTitle() + ": " + dynamic_cast<QFileDialog&>(dialog).nameFilters().join('|');
            dialog.findChild<QLineEdit*>("fileNameEdit")->setText(path);
            if (!path.isEmpty())
                QMetaObject::invokeMethod(&dialog, "accept");
        };
        with_dialogs(choose, [&] { click(button_name); });
        return shown;
    }

    void load(const QByteArray& body, const QString& mod = "MyMod") const
    {
        write_file(mod_file(mod), metadata(body));
        window->process_metadata_file(mod_file(mod), "Processing");
    }

    /// Clicks on the box of a tag or beside it.
    void click_tag(const QString& tag, int x = 10) const
    {
        auto& list = control<QListWidget>("ModTags");
        QListWidgetItem* const item = list.findItems(tag, Qt::MatchExactly).value(0);
        list.scrollToItem(item);
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, QPoint(x, list.visualItemRect(item).center().y()));
    }

    /// Drags what is at `urls` onto the window and drops it there; whether the drag was accepted.
    bool drop(const QStringList& urls) const
    {
        QMimeData data;
        data.setUrls(QUrl::fromStringList(urls));
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        enter.ignore();
        QApplication::sendEvent(window.get(), &enter);
        QDropEvent event(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window.get(), &event);
        return enter.isAccepted() && enter.dropAction() == Qt::CopyAction;
    }

    /// Writes the loaded file as another program does, with a date of its own.
    void edit_outside(const QByteArray& bytes, const QDateTime& date) const
    {
        write_file(mod_file(), bytes);
        QFile file(mod_file());
        QVERIFY(file.open(QIODevice::ReadWrite) && file.setFileTime(date, QFileDevice::FileModificationTime));
    }

    QList<QUrl> opened;

protected slots:
    /// Takes the place of the browser.
    void open_page(const QUrl& url) { opened << url; }

private slots:
    void has_the_form_it_is_known_by()
    {
        const QPalette former = QApplication::palette();
        const auto restore = qScopeGuard([&] { QApplication::setPalette(former); });
        QApplication::setPalette(QColor(40, 40, 40));
        open_window();
        QCOMPARE(describe(*window).split('\n'), QString::fromUtf8(test_file("form.txt")).split('\n'));
        QCOMPARE(enabled_controls(*window), QStringList{"ChooseMetadata"});
    }

    void shows_every_fixed_text_whole()
    {
        const QFont former = QApplication::font();
        const auto restore = qScopeGuard([&] { QApplication::setFont(former); });
        for (const char* family : {"DejaVu Sans", "Noto Sans"}) {
            for (const int points : {8, 9, 10, 11, 14, 18}) {
                QApplication::setFont(QFont(family, points));
                open_window();
                control<QComboBox>("ModVisibility").setCurrentIndex(1);
                // As much ink as with room to spare: nothing is cut off.
                for (const char* name : {"label", "ModName", "ModVersion", "TagsLabel", "ModVisibility",
                                         "ChooseMetadata", "SubmitButton", "ViewButton", "ChangePreview"}) {
                    auto& part = control<QWidget>(name);
                    const char* property = part.property("currentIndex").isValid() ? "currentIndex" : "text";
                    const int ink = count_ink(part, property);
                    part.resize(part.size() + QSize(60, qobject_cast<QLabel*>(&part) ? 20 : 0));
                    QVERIFY2(ink > 0 && ink == count_ink(part, property), name);
                    QVERIFY2(QFontInfo(part.font()).pixelSize() >= 7, name); // and can be read
                }
                auto& group = control<QGroupBox>("groupBox");
                const int ink = count_ink(group, "title");
                group.setTitle(group.title() + "   ");
                QVERIFY(ink > 0 && ink == count_ink(group, "title"));
            }
        }
    }

    void logs_in_colours_and_takes_markup()
    {
        Logger::LogMessage("one<br>two %1", Logger::Warning);
        Logger::LogMessage("never seen", static_cast<Logger::eMessageType>(4));
        Logger::LogMessage("never seen", static_cast<Logger::eMessageType>(~0U));
        QTest::keyClicks(&editor("OutputLog"), "typed");
        Logger::Shutdown();
        Logger::LogMessage("dropped", Logger::Info);
        QCOMPARE(log(), (QStringList{"#888800 one | two %1", black, black}));
    }

    void breaks_words_only_in_endless_runs()
    {
        const std::clock_t start = std::clock(); // of the processor, whatever else is at work
        load("");
        auto& pane = editor("OutputLog");
        Logger::LogMessage(QString("'.../a_file_that_is_forbidden.exe'<br>").repeated(1000), Logger::Error);
        for (const QChar space : {' ', '\t', '\n'})
            pane.appendPlainText(QString(9'999, 'x') + space + QString(10'000, 'x'));
        QCOMPARE(pane.wordWrapMode(), QTextOption::WrapAtWordBoundaryOrAnywhere);
        Logger::LogMessage(QString(10'001, 'x'), Logger::Info);
        QCOMPARE(pane.wordWrapMode(), QTextOption::WrapAnywhere);
        for (const char* text : {"two", "lines"})
            Logger::LogMessage(text, Logger::Info);
        QCOMPARE(pane.wordWrapMode(), QTextOption::WrapAnywhere); // the run is still there
        pane.setPlainText("words");
        QCOMPARE(pane.wordWrapMode(), QTextOption::WrapAtWordBoundaryOrAnywhere);

        const QString run(500'000, 'x');
        QApplication::clipboard()->setText(run);
        editor("ModDescription").setFocus();
        editor("ModDescription").paste();
        QCOMPARE(editor("ModDescription").toPlainText(), run);
        QVERIFY((std::clock() - start) / CLOCKS_PER_SEC < 5); // not a minute
    }

    void loads_what_is_chosen_or_dropped()
    {
        write_file(mod_file(), metadata("<name>Lamp</name>"));
        QCOMPARE(choose_file("ChooseMetadata", QString()), QString("Choose Metadata: Metadata (metadata.xml)"));
        choose_file("ChooseMetadata", mod_file());
        const QStringList success{green + "Processing 'MyMod/metadata.xml'... Success",
                                  black + "Ready to upload mod 'Lamp'"};
        QCOMPARE(log(), success);

        const QString reason = red + "Metadata file not named 'metadata.xml'";
        const std::pair<QStringList, QStringList> drops[] = {
            {{"%1/readme.txt", "%1/MyMod/metadata.xml", "%1/Other/metadata.xml"}, success},
            {{"%1/metadata.xml.bak", "%1/MyMod/Metadata.xml", "%1/MyMod"}, {}},
            {{}, {}},
            {{"%1/MyMod/oldmetadata.xml"}, {red + "Processing 'MyMod/oldmetadata.xml'... Failed", reason}},
            {{"https://example.org/metadata.xml"}, {red + "Processing ''... Failed", reason}},
        };
        for (auto [urls, lines] : drops) {
            const auto former = log().size();
            QCOMPARE(drop(urls.replaceInStrings("%1", QUrl::fromLocalFile(folder->path()).toString())),
                     !lines.isEmpty());
            QCOMPARE(log().mid(former), lines);
        }
    }

    void enables_what_the_mod_allows()
    {
        window->enable_all_ui(true);
        const QStringList all = enabled_controls(*window);
        QCOMPARE(all.size(), 8);
        for (const char* id : {"0", "12x", "-1", "1", "18446744073709551615"}) {
            load(QByteArray("<name>Good</name><id>") + id + "</id>");
            QCOMPARE(enabled_controls(*window), all.mid(0, *id == '1' && !strchr(id, 'x') ? 8 : 7));
        }

        // A file that cannot be read locks up and leaves the mod, which stays watched.
        write_file(mod_file("Bad"), "<mod/>");
        for (const QString& path : {mod_file("Bad"), QString("metadata.xml"), QString("No/metadata.xml")}) {
            const auto lines = log().size();
            window->process_metadata_file(path, "Processing");
            QCOMPARE(log().value(lines), red + "Processing '" + path.section('/', -2) + "'... Failed");
            QCOMPARE(enabled_controls(*window), QStringList{"ChooseMetadata"});
            QCOMPARE(label("ModName").text(), QString("Name: Good"));
        }
        QTest::qWait(100);
        QCOMPARE(enabled_controls(*window), QStringList{"ChooseMetadata"});
        edit_outside(metadata("<name>Better</name>"), QDateTime::currentDateTime());
        QTRY_COMPARE(label("ModName").text(), QString("Name: Better"));
        window->enable_all_ui(false);
        QCOMPARE(enabled_controls(*window), QStringList());
    }

    void shows_the_mod()
    {
        load("<name>&lt;b&gt;Lamp %1</name><version>2.5</version><description>Glows</description>"
             "<tag id='lua'/><tag id='Music'/><tag id='Custom'/><tag id='Pills'/>");
        const QString shown = describe(*window);
        for (const char* part :
             {"text: Name: <b>Lamp %1, ", "text: Version: 2.5, ", "plainText: Glows\n", "[2] Pills", "[2] Music"})
            QVERIFY2(shown.contains(part), part);
        QCOMPARE(shown.count("[2]"), 2);

        editor("OutputLog").setToolTip("Reason");
        const std::pair<QWidget*, QString> tips[] = {{&label("ModName"), "<b>Lamp %1"},
                                                     {&label("ModVersion"), "2.5"},
                                                     {editor("ModDescription").viewport(), "Glows"},
                                                     {editor("OutputLog").viewport(), "Reason"}};
        for (const auto& [widget, tip] : tips) {
            QHelpEvent hovering(QEvent::ToolTip, QPoint(), QPoint());
            QCoreApplication::sendEvent(widget, &hovering);
            QCOMPARE(QToolTip::text(), Qt::convertFromPlainText(tip)); // as the text that it is
        }
        QToolTip::hideText();

        // A mod without a description leaves that of the mod before it; the first visit to the editor makes it its own.
        load("<tag id='Lua'/>", "Other");
        QVERIFY(describe(*window).contains("[2] Lua, [0] Items"));
        QCOMPARE(editor("ModDescription").toolTip(), QString());
        editor("ModDescription").setFocus();
        editor("ChangeNotes").setFocus();
        QVERIFY(saved("Other").contains("<description>Glows</description>"));
    }

    void reads_outside_changes_of_any_date()
    {
        load("<name>One</name>");
        const QString action = "Detected metadata change, reprocessing 'MyMod/metadata.xml'... ";
        // Seconds between the program's own write and the date of the file that replaces it.
        const std::pair<QByteArray, int> changes[] = {
            {metadata("<name>Same moment</name>"), 0}, {"", 0},
            {metadata("<name>Whole again</name>"), 0}, {metadata("<name>Backup</name>"), -2000},
            {metadata("<name>Older</name>"), -3000},   {metadata("<name>Clock ahead</name>"), 1000},
        };
        for (const auto& [bytes, seconds] : changes) {
            editor("ModDescription").setFocus();
            editor("ModDescription").setPlainText("being written");
            const auto former = log().size();
            edit_outside(bytes, QFileInfo(mod_file()).lastModified().addSecs(seconds));
            QTRY_COMPARE(log().size(), former + 2);
            QCOMPARE(log().at(former), bytes.isEmpty() ? red + action + "Failed" : green + action + "Success");
            QVERIFY(bytes.isEmpty() || bytes.contains(label("ModName").text().mid(6).toUtf8()));
            // What was typed exists nowhere else: the lock of the editor saves it.
            QCOMPARE(saved().contains("being written"), bytes.isEmpty());
        }
        edit_outside(read_file(mod_file()), QDateTime::currentDateTime().addSecs(3600));
        QTRY_COMPARE(log().size(), 16);
        QVERIFY(QFile::remove(mod_file()));
        QTest::qWait(150);
        QCOMPARE(log().size(), 16); // once for each change, never for what the program itself has written
        // A pipe to which nobody writes; where there are none, a folder.
        QVERIFY(QProcess::execute("mkfifo", {mod_file()}) == 0 || QDir().mkdir(mod_file()));
        QTRY_COMPARE(log().size(), 18);
        QTest::qWait(100);
        QCOMPARE(log().size(), 18);
    }

    void saves_a_changed_visibility_at_once()
    {
        const std::pair<QByteArray, int> read[] = {
            {"PUBLIC", 0}, {"FRIENDS ONLY", 1}, {"friends-only", 0}, {"private", 2}, {"private stuff", 0}};
        auto& box = control<QComboBox>("ModVisibility");
        for (const auto& [text, index] : read) {
            load("<visibility>" + text + "</visibility>");
            QCOMPARE(box.currentIndex(), index);
            // Written anew only when the index has changed.
            QCOMPARE(window->GetModDescriptor().visibility, text == "PUBLIC" ? "PUBLIC" : box.currentText());
        }
        box.setFocus();
        for (const auto key : {Qt::Key_Down, Qt::Key_Down, Qt::Key_Home}) {
            QTest::keyClick(&box, key);
            QVERIFY(saved().contains("<visibility>" + box.currentText() + "</visibility>"));
        }
        QWheelEvent notch({}, {}, {}, QPoint(0, -120), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&box, &notch);
        QCOMPARE(box.currentText(), QString("Public")); // the wheel changes nothing
    }

    void saves_changed_tags_at_once()
    {
        // A click at 70 is beside the box and only selects, but drops what is not offered.
        const std::tuple<QStringList, QString, int, QStringList> clicks[] = {
            {{"Items", "Lua"}, "Cards", 70, {"Items", "Lua"}},
            {{"Items", "Lua"}, "Items", 10, {"Lua"}},
            {{"Lua"}, "Music", 10, {"Lua", "Music"}},
            {{"Music", "Lua"}, "Items", 10, {"Lua", "Items", "Music"}},
            {{"Custom", "Lua"}, "Cards", 70, {"Lua"}},
            {{"Custom", "Music"}, "Pills", 10, {"Pills", "Music"}}, // as many, but others
            {{"lua"}, "Lua", 10, {"Lua"}},
        };
        for (const auto& [before, tag, x, after] : clicks) {
            load("<tag id='" + before.join("'/><tag id='").toUtf8() + "'/>");
            click_tag(tag, x);
            QCOMPARE(window->GetModDescriptor().tags, after);
            QCOMPARE(saved().count("<tag "), after.size());
        }
    }

    void saves_the_description_when_the_focus_leaves()
    {
        load("<description>Old</description>");
        for (const char* name : {"ChangeNotes", "ModDescription"}) {
            auto& pane = editor(name);
            const bool is_description = &pane == &editor("ModDescription");
            const QString prompt = is_description ? "Enter Mod Description" : "Enter Change Notes";
            for (const QString& text : {QString(" "), prompt.toLower(), QString("New\ntext"), QString()}) {
                const QString former = saved();
                pane.setFocus();
                pane.setPlainText(text);
                QCOMPARE(saved(), former);
                const QImage focused = pane.viewport()->grab().toImage();
                QTest::keyClick(&pane, text.isEmpty() ? Qt::Key_Backtab : Qt::Key_Tab);
                QVERIFY(!pane.hasFocus());
                QVERIFY(focused != pane.viewport()->grab().toImage()); // the cursor is where one writes
                QCOMPARE(pane.toPlainText(), text.isEmpty() ? prompt : text);
                QCOMPARE(saved().contains("<description>" + text + "</description>"), is_description);
            }
            QVERIFY(QFile::remove(mod_file()));
            pane.setFocus();
            QCOMPARE(pane.toPlainText(), QString());
            button("ChooseMetadata").setFocus();
            QCOMPARE(pane.toPlainText(), prompt);
            QCOMPARE(pane.blockCount(), 1);
            QVERIFY(!QFile::exists(mod_file())); // nothing changed, nothing written
        }
    }

    void clears_panes_from_their_menu()
    {
        load("");
        for (const char* name : {"OutputLog", "ChangeNotes", "ModDescription"}) {
            auto& pane = editor(name);
            pane.setPlainText("text");
            const QPoint place(40, 10);
            const auto press = [&](Qt::MouseButton with) { QTest::mouseClick(pane.viewport(), with, {}, place); };

            press(Qt::LeftButton);
            QCOMPARE(pane.textCursor().position(), 4);
            const auto look = [&](QWidget& menu) {
                QCOMPARE(menu.pos(), pane.mapToGlobal(place));
                QCOMPARE(menu.actions().size(), 1);
                QCOMPARE(menu.actions().first()->text(), QString("Clear All"));
            };
            QCOMPARE(with_dialogs(look, [&] { press(Qt::RightButton); }), 1);
            QCOMPARE(pane.toPlainText(), QString("text"));
            QContextMenuEvent following(QContextMenuEvent::Mouse, place, pane.mapToGlobal(place));
            QApplication::sendEvent(pane.viewport(), &following);
            QVERIFY(!QApplication::activePopupWidget()); // no second menu after it

            const auto choose = [](QWidget& menu) { menu.actions().first()->trigger(); };
            QCOMPARE(with_dialogs(choose, [&] { press(Qt::RightButton); }), 1);
            QCOMPARE(pane.toPlainText(), QString()); // the prompt only returns when the focus leaves
            QApplication::setActiveWindow(window.get());
        }
    }

    void changes_the_preview()
    {
        load("");
        const QString path = folder->path() + "/preview.";
        for (const char* format : {"png", "jpg", "bmp"}) {
            QVERIFY(QImage::fromData(picture(QSize(20, 10), Qt::red)).save(path + format));
            QCOMPARE(choose_file("ChangePreview", path + format),
                     QString("Choose Preview: Mod Preview Files (*.png *.jpg *.bmp)"));
            QCOMPARE(shown_preview().size(), QSize(20, 10));
            QVERIFY(shown_preview().pixelColor(5, 5).red() > 250);
            choose_file("ChangePreview", QString());
            QCOMPARE(window->GetModDescriptor().preview_path, path + format);
        }
        QVERIFY(!saved().contains("preview"));
        QCOMPARE(log().size(), 2);

        // Not a picture: nothing to show, but it is what will be sent.
        write_file(path + "bad", "not a picture");
        choose_file("ChangePreview", path + "bad");
        QVERIFY(shown_preview().isNull());
        QCOMPARE(window->GetModDescriptor().preview_path, path + "bad");
    }

    void shows_the_workshop_preview()
    {
        load("");
        window->GetModDescriptor().preview_path = folder->path() + "/preview.png";
        write_file(folder->path() + "/preview.png", picture(QSize(64, 64), Qt::blue));
        click("SubmitButton");
        QTRY_VERIFY(!upload_dialog());
        const QByteArray body = "<id>" + window->GetModDescriptor().id.toUtf8() + "</id>";

        open_window();
        load(body);
        QPointer<QMovie> movie = label("ModPreview").movie();
        QVERIFY(movie && !label("ModPreview").hasScaledContents());
        QCOMPARE(movie->scaledSize(), QSize(71, 71));
        QCOMPARE(movie->currentFrameNumber(), 1);
        QCOMPARE(movie->speed(), 100);
        QTRY_COMPARE(shown_preview().size(), QSize(64, 64));
        QVERIFY(label("ModPreview").hasScaledContents());
        QCOMPARE(movie->speed(), 1); // hidden, it hardly wakes the processor
        QCOMPARE(movie->state(), QMovie::Running);

        practice->forget();
        load(body); // the same item again: nothing is fetched and the picture stays
        QVERIFY(!practice->journal().join('\n').contains("Query"));
        QVERIFY(!shown_preview().isNull());
        load("<id>0</id>", "Other");
        QVERIFY(shown_preview().isNull() && !label("ModPreview").movie());

        practice->tell(R"({"silent_calls": ["query"]})");
        load("<id>5</id>");
        QTRY_VERIFY(label("ModPreview").movie() && movie->currentFrameNumber() > 3);
    }

    void uploads_and_shows_the_version()
    {
        load("<name>Lamp</name><version>1.9</version>");
        practice->tell(R"({"submit_results": [16]})");
        click("SubmitButton");
        QTRY_VERIFY(!upload_dialog());
        QApplication::setActiveWindow(window.get());
        QCOMPARE(log().last(), red + "Failed to upload mod 'Lamp': Error (16) - Operation timed out");
        QCOMPARE(label("ModVersion").text(), QString("Version: 1.9"));
        QVERIFY(!enabled_controls(*window).contains("ViewButton"));
        // The new item's id was saved, and the raised version with it, until the next save.
        const QString id = window->GetModDescriptor().id;
        QVERIFY(saved().contains("<id>" + id + "</id>") && saved().contains("<version>1.10</version>"));
        click_tag("Lua");
        QVERIFY(saved().contains("<version>1.9</version>"));
        QVERIFY(practice->conversation().contains("SubmitItemUpdate(1001, \"\")")); // the prompt is none

        editor("ChangeNotes").setFocus();
        QTest::keyClicks(&editor("ChangeNotes"), "Brighter");
        editor("ModDescription").setFocus();
        QTest::keyClicks(&editor("ModDescription"), "Glows");
        button("SubmitButton").setFocusPolicy(Qt::NoFocus); // as on desktops where a click takes none
        click("SubmitButton");
        QVERIFY(upload_dialog()->isVisible());
        QCOMPARE(
            describe(*upload_dialog()),
            QString("UploadDialog UploadDialog flags 0x3 312x67, icon 16x16, icon 32x32, icon 64x64, "
                    "windowTitle: Uploading mod 'Lamp', modal: true\n"
                    "  QProgressBar UploadProgress 10,20 301x23, text: 24%, alignment: 1, value: 24, maximum: 100\n"));
        QTRY_VERIFY(!upload_dialog());
        QCOMPARE(label("ModVersion").text(), QString("Version: 1.10"));
        QVERIFY(saved().contains("<version>1.10</version>"));
        QVERIFY(read_file(practice->item(id, "history.json")).contains("Brighter"));
        QVERIFY(read_file(practice->item(id, "item.json")).contains("\"description\": \"Glows\""));
        QCOMPARE(editor("ChangeNotes").toPlainText(), QString("Brighter"));

        QDesktopServices::setUrlHandler("https", this, "open_page");
        click("ViewButton");
        QDesktopServices::unsetUrlHandler("https");
        QCOMPARE(opened, QList<QUrl>{QUrl("https://steamcommunity.com/sharedfiles/filedetails/?id=" + id)});

        write_file(folder->path() + "/MyMod/bin/tool.exe", "x");
        click("SubmitButton");
        QVERIFY(!upload_dialog());
        QVERIFY(log().last().startsWith(red + "Failed to upload mod 'Lamp' to Steam Workshop | Mod folder contains"));
        QCOMPARE(window->GetModDescriptor().version, QString("1.10"));
    }

    void goes_on_uploading_behind_a_hidden_dialog()
    {
        load("<id>5</id>");
        practice->tell(R"({"silent_calls": ["submit"]})");
        click("SubmitButton");
        QPointer<QWidget> first = upload_dialog();
        QTest::keyClick(first, Qt::Key_Escape);
        click("SubmitButton");
        QTRY_COMPARE(log().size(), 3); // only the newer one is answered: there is no such item
        QTest::qWait(100);
        QCOMPARE(window->findChildren<QDialog*>("UploadDialog"), QList<QDialog*>{qobject_cast<QDialog*>(first)});

        load("<id>0</id>");
        write_file(folder->path() + "/MyMod/data.bin", QByteArray(1000, 'x'));
        practice->tell(R"({"bytes_per_pump": 20})");
        click("SubmitButton");
        QPointer<QWidget> second = window->findChildren<QDialog*>("UploadDialog").last();
        QList<int> seen;
        connect(second->findChild<QProgressBar*>("UploadProgress"), &QProgressBar::valueChanged,
                [&seen](int value) { seen << value; });
        QTest::keyClick(second, Qt::Key_Escape);
        QVERIFY(second && !second->isVisible());
        QTRY_VERIFY(second.isNull());
        QCOMPARE(seen, (QList<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
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
        Logger::LogMessage("nobody reads this", Logger::Info);
    }
};

QTEST_MAIN(tst_window)

#include "tst_window.moc"
