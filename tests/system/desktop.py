#!/usr/bin/python3 -B
"""Uses the real program with mouse and keyboard on a virtual display with a window manager, as authors do. Each state
must look as in tests/system/accepted; all images are in build/<preset>/desktop, also those that never look the same."""

import contextlib
import shutil
import time

import harness
from harness import expect

ACCEPTED = harness.ROOT / "tests/system/accepted"
CHOOSE, PREVIEW, UPLOADING = "Choose Metadata", "Choose Preview", "Uploading mod '"
SLOW, ENDLESS = '{"bytes_per_pump": 500}', '{"bytes_per_pump": 50}'
UNANSWERED = '{"bytes_per_pump": 1000000, "silent_calls": ["submit"]}'

# Qt asks the desktop for its font and its text cursor. This is the only desktop that it knows by files alone.
SETTINGS = "[KDE]\nCursorBlinkRate=0\n[General]\nfont=DejaVu Sans,10,-1,5,50,0,0,0,0,0\n"


class Author(harness.Desktop):
    def __init__(self, stack, folder, build, accepts):
        super().__init__(stack, folder, LC_ALL="C.UTF-8", QT_QPA_PLATFORM="xcb", QT_QPA_PLATFORMTHEME="kde",
                         KDE_SESSION_VERSION="5")
        (folder / "home/.config/kdeglobals").write_text(SETTINGS)
        self.build, self.accepts, self.shots, self.opened = build, accepts, build / "desktop", folder / "opened"
        shutil.rmtree(self.shots, ignore_errors=True)
        self.shots.mkdir()
        # Another major version of Qt paints some controls otherwise.
        self.compares = "TARNWICK_QT:STRING=5" in (build / "CMakeCache.txt").read_text()
        # What opens addresses on this desktop: it only notes them.
        browser = folder / "bin/xdg-open"
        browser.write_text(f'#!/bin/sh\necho "$1" >>"{self.opened}"\n')
        browser.chmod(0o755)

    # A fresh mod, a fresh store and the program without a mod.
    def begin(self, name, script=SLOW):
        self.mod, self.store = self.folder / name / "lantern-familiar", self.folder / name / "store"
        self.file = self.mod / "metadata.xml"
        self.store.mkdir(parents=True)
        shutil.copytree(harness.ROOT / "samples/lantern-familiar", self.mod)
        self.start_again(script)

    def tell(self, script):
        (self.store / "practice.json").write_text(script)

    def start_again(self, script):
        self.tell(script)
        self.start_program(self.build / "bin/tarnwick-mod-uploader", self.mod, PRACTICE_WORKSHOP_DIR=str(self.store))

    def keep(self, name):
        self.image().save(self.shots / f"{name}.png")

    # The screen must look as accepted, sooner or later.
    def look(self, name):
        accepted = ACCEPTED / f"{name}.png"
        if self.accepts:
            time.sleep(4)  # nothing tells when it rests
            self.image().quantize(256, method=2, dither=0).save(accepted, optimize=True)
        if self.compares:
            wanted = harness.Image.open(accepted).convert("RGB")
            self.wait_for(f"{self.shots}/failed.png to look like {accepted}", lambda: self.is_like(wanted))
        self.keep(name)

    def choose_file(self, title, path, name):
        self.wait_until_active(title)
        self.press("ctrl+a", text=str(path))
        self.keep(name)
        self.press("Return")
        self.wait_until_gone(title)

    def load(self, name="loaded"):
        self.click("ChooseMetadata")
        self.choose_file(CHOOSE, self.file, "file-dialog")
        self.look(name)

    # Types at the end of what a control holds.
    def write(self, control, text):
        self.click(control)
        self.press("ctrl+End", text=text)

    # Opens the menu or list of a control and chooses by these keys.
    def choose(self, control, name, *keys, button=1):
        self.click(control, button)
        self.wait_until_answering(self.wait_for("the menu", self.find_popup))
        self.look(name)
        self.press(*keys)
        self.wait_for("the menu to close", lambda: not self.find_popup())

    # Begins an upload whose dialog is seen.
    def submit(self):
        self.click("SubmitButton")
        return self.wait_until_active(UPLOADING)

    def submit_and_hide(self):
        self.submit()
        self.press("Escape")
        self.wait_until_gone(UPLOADING)

    def close(self):
        self.end_program(lambda: self.close_window(self.window))

    # All at once, so that the program does not see half of it.
    def edit_outside(self, text):
        other = self.folder / "edited.xml"
        other.write_text(text)
        other.replace(self.file)

    def wait_for_file(self, words, there=True):
        self.wait_for(f"{words!r} in metadata.xml: {there}", lambda: (words in self.file.read_text()) == there)

    # How many submitted uploads the Practice Workshop has answered.
    def answered(self):
        return (self.store / "journal.txt").read_text().count("deliver 3404")


def choosing(author):
    author.begin("choosing")
    author.look("start")
    author.click("ChooseMetadata")
    author.wait_until_active(CHOOSE)
    author.press("Escape")
    author.wait_until_gone(CHOOSE)
    author.load()
    author.close()
    author.environment["QT_FONT_DPI"] = "216"
    author.start_again(SLOW)
    expect(author.window.get_geometry().width == 1460, "the form is not twice as large")
    author.close()
    del author.environment["QT_FONT_DPI"]


def editing(author):
    author.begin("editing")
    author.load()
    author.choose("ModVisibility", "visibility-open", "Home", "Return")
    author.wait_for_file("<visibility>Public</visibility>")
    author.choose("ModVisibility", "visibility-public", "Down", "Return")
    author.wait_for_file("<visibility>Friends Only</visibility>")
    for there in False, True:
        author.click("FirstTag")
        author.wait_for_file('<tag id="Lua"', there)
        author.click("ModDescription")  # elsewhere, so that two clicks are no double click
    author.write("ModDescription", " It hums.")
    author.look("description-typed")
    author.write("ChangeNotes", "Hums now.")
    author.wait_for_file("other familiars. It hums.")
    author.look("notes-typed")
    author.click("ChangePreview")
    author.choose_file(PREVIEW, author.mod / "preview.png", "preview-dialog")
    author.look("preview-chosen")
    for control, name in ("ChangeNotes", "notes"), ("ModDescription", "description"), ("OutputLog", "log"):
        author.choose(control, f"menu-{name}", "Down", "Return", button=3)
    author.click("ChangeNotes")
    author.wait_for_file("It hums.", there=False)
    author.look("cleared")
    author.write("ModDescription", "Written last.")  # which has the focus when the window closes
    author.close()
    author.wait_for_file("Written last.")


def outside_edits(author):
    author.begin("outside")
    author.load()
    author.edit_outside(author.file.read_text().replace("Lantern Familiar", "Renamed Outside"))
    author.look("changed-outside")
    author.edit_outside("<metadata><name>\n")
    author.look("broken-outside")
    author.close()
    expect(author.file.read_text() == "<metadata><name>\n", "the broken file was changed")


def uploading(author):
    author.begin("uploading", '{"bytes_per_pump": 500, "legal_agreement": true}')
    author.load()
    author.write("ChangeNotes", "First light.")
    author.submit()
    author.wait_until_gone(UPLOADING)
    author.wait_for_file("<version>1.1</version>")
    author.look("uploaded")
    item = next((author.store / "items").iterdir())
    expect("First light." in (item / "history.json").read_text(), "the change notes are not in the store")
    author.click("ViewButton")
    author.wait_for("the item's folder", lambda: author.opened.exists() and author.opened.read_text() == f"{item}\n")

    author.tell(SLOW)
    author.submit_and_hide()
    author.wait_for_file("<version>1.1</version>")
    expect(author.answered() == 1, "the upload ended before it could be looked at")
    author.wait_for_file("<version>1.2</version>")
    author.tell(ENDLESS)
    author.submit_and_hide()
    author.close()
    expect(author.answered() == 2, "the upload was not in its middle")
    author.wait_for_file(f"<id>{item.name}</id>")


def closing_dialogs(author):
    author.begin("closing-dialogs", UNANSWERED)
    author.load()
    dialog = author.submit()
    # The dialog keeps the window from closing; its own button only hides it.
    author.close_window(author.window)
    author.look("closing-behind-dialog")
    author.close_window(dialog)
    author.wait_until_gone(UPLOADING)
    author.click("ChooseMetadata")
    dialog = author.wait_until_active(CHOOSE)
    author.close_window(author.window)
    author.close_window(dialog)
    author.wait_until_gone(CHOOSE)
    author.wait_until_answering(author.window)
    author.close()


def failures(author):
    author.begin("failures", '{"create_results": [25], "submit_results": []}')
    (author.mod / "tool.exe").touch()
    author.load("forbidden-file")
    (author.mod / "tool.exe").unlink()
    author.load("forbidden-file-gone")
    author.click("SubmitButton")
    author.look("upload-failed")
    author.wait_for_file("<version>1.0</version>")
    author.close()
    author.begin("no-steam", '{"start": "fails"}')
    author.look("no-steam")
    author.close()


def preview(author):
    author.begin("preview", '{"bytes_per_pump": 1000000}')
    author.load()
    author.click("ChangePreview")
    author.choose_file(PREVIEW, author.mod / "preview.png", "preview-dialog")
    author.click("SubmitButton")
    author.wait_for_file("<version>1.1</version>")
    author.wait_until_gone(UPLOADING)
    author.close()
    author.start_again('{"preview": "slow", "preview_delay_ms": 500}')
    author.load("preview-arrived")
    author.close()


# Takes the display with it, and ends the program in a hidden upload and a description that is being written.
def losing_the_display(author):
    author.begin("losing", UNANSWERED)
    marker = author.mod / "disable.it"
    marker.touch()
    author.load()
    author.submit_and_hide()
    author.write("ModDescription", " It hums.")
    author.look("writing-while-uploading")
    expect(not marker.exists(), "the upload has not begun")
    author.end_program(author.server.terminate, 1)
    expect(marker.exists(), "disable.it is gone")
    author.wait_for_file("other familiars. It hums.")


def play(folder, arguments):
    with contextlib.ExitStack() as stack:
        author = Author(stack, folder, arguments.build, arguments.accept)
        try:
            for scenario in (choosing, editing, outside_edits, uploading, closing_dialogs, failures, preview,
                             losing_the_display):
                print(scenario.__name__, flush=True)
                scenario(author)
        except AssertionError:
            print((folder / "program.txt").read_text(errors="replace"))
            author.keep("failed")  # unless the display is gone
            raise


parser = harness.command_line(__doc__)
parser.add_argument("--accept", action="store_true", help="accept the images of this run; look at each of them")
harness.main(parser, play, "Xvfb", "openbox", "Xlib", "PIL")
