#!/usr/bin/python3
"""Uses the real program for an evening on a virtual desktop, and keeps a picture of every state."""

import argparse
import contextlib
import pathlib
import shutil
import signal
import sys

sys.dont_write_bytecode = True

import harness
from harness import Failed, X

ROOT = pathlib.Path(__file__).resolve().parents[2]

ABOUT = """
Starts the program as a process of its own on a virtual display with a window manager, and uses it
with mouse and keyboard as authors do: the file dialog, files dragged from another program, edits,
the menus "Clear All", uploads that are watched, hidden or fail, edits from outside, and the window
closed in each of these states. In the end it is told to end, and its display goes. What counts is
looked up afterwards in the log, in metadata.xml and in the store of the Practice Workshop; the first
thing that is wrong ends it with exit code 1.

A picture of every state lies in build/<preset>/desktop/<variant> for a look by eye.
"""

GREEN, BLACK, OLIVE, RED, GREY = (0, 0x88, 0), (0, 0, 0), (0x88, 0x88, 0), (0xAA, 0, 0), (0xC0, 0xC0, 0xC0)
CHOOSE, PREVIEW, UPLOADING = "^Choose Metadata$", "^Choose Preview$", "^Uploading mod '"
READY = "Ready to upload mod 'Lantern Familiar'"
SLOW, ENDLESS = '{"bytes_per_pump": 500}', '{"bytes_per_pump": 50}'

# The magnification of a desktop, its font, and whether it has light text on dark.
VARIANTS = ((1, "DejaVu Sans", False), (1, "Noto Sans", True), (1.5, "Noto Sans", False), (2, "DejaVu Sans", True))
DARK = {"Window": "49,54,59", "Button": "49,54,59", "View": "27,30,32", "Tooltip": "49,54,59"}


def expect(holds, what):
    if not holds:
        raise Failed(what)


class Author(harness.Desktop):
    """A desktop on which an author uses the program on a mod."""

    def __init__(self, stack, build, scale, family, dark):
        variant = f"{'dark' if dark else 'light'}-{family.replace(' ', '-')}-{round(10 * scale)}"
        # Qt asks the desktop for its font and its colours. This is the only desktop it knows by files alone.
        super().__init__(stack, build / "desktop" / variant, scale, QT_QPA_PLATFORMTHEME="kde", KDE_SESSION_VERSION="5")
        self.build = build
        settings = f"[General]\nfont={family},10,-1,5,50,0,0,0,0,0\n"
        if dark:
            for section, colour in DARK.items():
                settings += (f"[Colors:{section}]\nBackgroundNormal={colour}\nBackgroundAlternate=59,64,69\n"
                             "ForegroundNormal=239,240,241\nForegroundInactive=161,169,177\n"
                             "ForegroundLink=41,128,185\nForegroundVisited=127,140,141\n")
            settings += "[Colors:Selection]\nBackgroundNormal=61,174,233\nForegroundNormal=252,252,252\n"
        (self.folder / "home/.config/kdeglobals").write_text(settings)
        # What opens addresses on this desktop: it only notes them.
        browser = self.folder / "bin/xdg-open"
        browser.write_text(f'#!/bin/sh\necho "$1" >>"{self.folder}/opened"\n')
        browser.chmod(0o755)

    def begin(self, name, script=None):
        """A fresh mod, a fresh store and the program without a mod."""
        print(f"--- {name}", flush=True)
        self.mod, self.store = self.folder / name / "lantern-familiar", self.folder / name / "store"
        self.file = self.mod / "metadata.xml"
        self.store.mkdir(parents=True)
        shutil.copytree(ROOT / "samples/lantern-familiar", self.mod)
        if script:
            self.tell(script)
        self.start_again()

    def tell(self, script):
        (self.store / "practice.json").write_text(script)

    def start_again(self):
        self.start_program(self.build / "bin/tarnwick-mod-uploader", self.mod, PRACTICE_WORKSHOP_DIR=str(self.store))

    def load(self):
        """Loads the mod by the file dialog."""
        self.click("ChooseMetadata")
        self.choose_file(CHOOSE, self.file, "file-dialog")
        self.read_log("Processing '")

    def submit(self):
        """Begins an upload whose dialog is seen."""
        self.click("SubmitButton")
        return self.wait_until_active(UPLOADING)

    def close(self, state):
        seconds = self.close_program()
        expect(seconds < 2, f"closing took {seconds:.1f} s")
        print(f"closed {state} in {1000 * seconds:.0f} ms", flush=True)

    def has(self, words):
        return words in self.file.read_text()

    def wait_for_file(self, words, there=True):
        self.wait_for(f"{words!r} to {'be in' if there else 'go from'} metadata.xml", lambda: self.has(words) == there)

    def wait_for_colour(self, colour, name, least=20):
        self.wait_for(f"{name} in the log", lambda: self.log_pixels(colour) > least)

    def answered(self):
        """How many submitted uploads the Practice Workshop has answered."""
        return (self.store / "journal.txt").read_text().count("deliver 3404")

    def drag(self, x, y, picture, *files):
        """Drags files from another program to a place in the window; whether they were taken, and the log then."""
        other = self.start([self.build / "bin/drag_source", *files], "drag")
        source = self.wait_for("the other program", lambda: self.find("^Drag Source$"))
        self.wait_until_answering(source)
        start, end = self.root.translate_coords(source, 40, 40), self.place(x, y)
        self.point_at(source, start)
        self.move(X.ButtonPress, 1)
        self.move(X.MotionNotify, x=start.x + 15, y=start.y + 15)
        selection = self.x.intern_atom("XdndSelection")
        self.wait_for("the drag to start", lambda: self.x.get_selection_owner(selection) != X.NONE)
        # A drag is a conversation: the window answers each move, and the other side has to hear of it.
        for step in range(-3, 4):
            self.move(X.MotionNotify, x=end.x + step, y=end.y)
            for window in source, self.window, source:
                self.wait_until_answering(window)
        self.screenshot(f"drag-{picture}")
        self.move(X.ButtonRelease, 1)
        self.wait_for("the drag to end", lambda: self.output("drag").endswith("\n"))
        self.ask_manager(self.window, "_NET_ACTIVE_WINDOW", 2)
        # The window is heard before the other program goes: it fetches the names from there.
        self.read_log()
        self.end(other)
        return self.output("drag").split()[-1]


# --- the acts -----------------------------------------------------------------------------------


def choosing(author):
    author.begin("choosing")
    author.screenshot("start")
    author.click("ChooseMetadata")
    author.wait_until_active(CHOOSE)
    author.screenshot("file-dialog-empty")
    author.press("Escape")
    author.wait_until_gone(CHOOSE)
    expect("Processing" not in author.read_log(), "a cancelled dialog has loaded something")
    author.load()
    expect(READY in author.log, "the mod was not loaded")
    author.screenshot("loaded")
    author.wait_for_colour(GREEN, "green")
    author.wait_for_colour(BLACK, "black")
    author.wait_for_colour(GREY, "a grey background", 50000)
    author.close("with a mod")


def dragging(author):
    author.begin("dragging")
    (author.mod / "notes.txt").write_text("text")
    expect(author.drag(365, 395, "wrong-file", author.mod / "notes.txt") == "refused", "a text file was taken")
    expect("Processing" not in author.log, "a text file was processed")
    expect(author.drag(200, 200, "one-file", author.file) == "taken", "the metadata file was refused")
    author.read_log(READY)

    second = shutil.copytree(author.mod, author.mod.parent / "second") / "metadata.xml"
    second.write_text(second.read_text().replace("Lantern Familiar", "Second Lantern"))
    files = author.mod / "main.lua", second, author.mod / "preview.png"
    expect(author.drag(545, 210, "several-files", *files) == "taken", "several files were refused")
    author.read_log("Ready to upload mod 'Second Lantern'")
    author.screenshot("dropped")
    author.close("after a drop")


def editing(author):
    author.begin("editing")
    author.load()
    # The box: opened by mouse, used by keyboard.
    author.choose("ModVisibility", "Home", "Return", picture="visibility-open")
    author.wait_for_file("<visibility>Public</visibility>")
    author.choose("ModVisibility", "Down", "Return")
    author.wait_for_file("<visibility>Friends Only</visibility>")

    author.click("FirstTag")
    author.wait_for_file('<tag id="Lua"', there=False)
    author.read_log()  # elsewhere, so that two clicks are no double click
    author.click("FirstTag")
    author.wait_for_file('<tag id="Lua"')

    author.click("ModDescription")
    author.write(" It hums.")
    author.screenshot("description-typed")
    author.click("ChangeNotes")
    author.wait_for_file("other familiars. It hums.")
    author.write("Hums now.")
    author.screenshot("notes-typed")

    author.click("ChangePreview")
    author.choose_file(PREVIEW, author.mod / "preview.png", "preview-dialog")
    author.screenshot("preview-chosen")

    author.choose("ChangeNotes", button=3, picture="menu-notes")
    author.write("New.")
    notes = author.copied()
    expect(notes == "New.", f"the notes were not cleared: {notes}")
    author.choose("ModDescription", button=3, picture="menu-description")
    author.wait_for_colour(BLACK, "black")
    author.choose("OutputLog", button=3, picture="menu-log")
    author.wait_for("the log to be empty", lambda: not any(map(author.log_pixels, (GREEN, BLACK))))
    author.screenshot("cleared")
    author.click("ChangeNotes")
    author.wait_for_file("It hums.", there=False)
    author.screenshot("prompts")
    # A change that still has the focus when the window closes.
    author.click("ModDescription")
    author.write("Written last.")
    author.close("with a description that has the focus")
    expect(author.has("Written last."), "the last description was lost")


def outside_edit(author):
    author.begin("outside")
    author.load()
    author.file.write_text(author.file.read_text().replace("Lantern Familiar", "Renamed Outside"))
    author.read_log("Ready to upload mod 'Renamed Outside'")
    expect("Detected metadata change, reprocessing '" in author.log, "the change has no line")
    author.screenshot("changed-outside")
    author.file.write_text("<metadata><name>\n")
    author.read_log("Failed")
    author.screenshot("broken-outside")
    author.close("with a broken file")
    expect(author.file.read_text() == "<metadata><name>\n", "the broken file was changed")


def uploading(author):
    author.begin("uploading", '{"bytes_per_pump": 500, "legal_agreement": true}')
    author.load()
    author.click("ChangeNotes")
    author.write("First light.")
    author.submit()
    author.screenshot("uploading")
    author.wait_until_gone(UPLOADING)
    author.read_log("Successfully uploaded mod 'Lantern Familiar'")
    author.screenshot("uploaded")
    author.wait_for_colour(OLIVE, "olive, for the agreement,")
    item = next((author.store / "items").iterdir())
    expect("First light." in (item / "history.json").read_text(), "the change notes are not in the store")
    expect(author.has("<version>1.1</version>"), "the version was not raised")

    author.click("ViewButton")
    opened = author.folder / "opened"
    author.wait_for("the item in place of its page", lambda: opened.exists() and opened.read_text() == f"{item}\n")

    # Hidden by Escape; the upload goes on without it.
    author.tell(SLOW)
    author.submit()
    author.press("Escape")
    author.wait_until_gone(UPLOADING)
    unchanged = author.has("<version>1.1</version>")
    expect(author.answered() == 1, "the upload ended before it could be looked at")
    expect(unchanged, "the version was raised too soon")
    author.screenshot("uploading-hidden")
    author.wait_for_file("<version>1.2</version>")

    # The window closed with an upload behind it.
    author.tell(ENDLESS)
    author.submit()
    author.press("Escape")
    author.wait_until_gone(UPLOADING)
    author.close("in the middle of a hidden upload")
    expect(author.answered() == 2, "the upload was not in its middle")
    expect(author.has(f"<id>{item.name}</id>"), "the id of the item was lost")


def closing_dialogs(author):
    author.begin("closing-dialogs", ENDLESS)
    author.load()
    dialog = author.submit()
    # The dialog keeps the window from closing; its own button only hides it.
    author.close_window(author.window)
    author.screenshot("closing-behind-dialog")
    author.close_window(dialog)
    author.wait_until_gone(UPLOADING)
    author.wait_until_answering(author.window)
    author.close("in the middle of an upload")
    expect(author.answered() == 0, "the upload was not in its middle")

    author.begin("closing-file-dialog")
    author.click("ChooseMetadata")
    dialog = author.wait_until_active(CHOOSE)
    author.close_window(author.window)
    author.close_window(dialog)
    author.wait_until_gone(CHOOSE)
    author.wait_until_answering(author.window)
    author.close("without a mod")


def failures(author):
    author.begin("failures", '{"create_results": [25], "submit_results": []}')
    (author.mod / "tool.exe").touch()
    author.load()
    expect("lantern-familiar/tool.exe" in author.log.split("not allowed to be uploaded")[-1],
           "the forbidden file was not named")
    author.screenshot("forbidden-file")
    (author.mod / "tool.exe").unlink()
    author.load()
    author.click("SubmitButton")
    author.read_log("Failed to upload mod 'Lantern Familiar'")
    author.screenshot("upload-failed")
    author.wait_for_colour(RED, "red")
    expect(author.has("<version>1.0</version>"), "a failed upload has raised the version")
    author.close("after a failed upload")

    author.begin("no-steam", '{"start": "fails"}')
    author.read_log("Initializing Steam API... Failed")
    author.screenshot("start-failed")
    author.close("without Steam")


def preview(author):
    author.begin("preview", '{"bytes_per_pump": 1000000}')
    author.load()
    author.click("ChangePreview")
    author.choose_file(PREVIEW, author.mod / "preview.png", "preview-dialog")
    author.click("SubmitButton")
    author.read_log("Successfully uploaded mod 'Lantern Familiar'")
    author.close_program()

    author.tell('{"preview": "slow", "preview_delay_ms": 2500}')
    author.start_again()
    author.load()
    author.screenshot("preview-arriving")
    # The picture of the sample has many colours, the turning circle few.
    author.wait_for("the preview", lambda: len(author.colours(221, 122, 360, 222)) > 2000)
    author.screenshot("preview-arrived")
    author.close_program()

    author.tell('{"preview": "never"}')
    author.start_again()
    author.load()
    author.close("while a preview is on its way")


def ended_by(author, name, code, end):
    """The program ends with a hidden upload and a description that is being written."""
    author.begin(name, ENDLESS)
    marker = author.mod / "disable.it"
    marker.touch()
    author.load()
    author.submit()
    author.press("Escape")
    author.wait_until_gone(UPLOADING)
    author.click("ModDescription")
    author.write(" It hums.")
    author.screenshot(f"ended-by-{name}")
    expect(not marker.exists(), "the upload has not begun")
    author.end_program(end, code)
    expect(author.answered() == 0, "the upload was not in its middle")
    expect(marker.exists(), "disable.it is gone")
    expect(author.has("other familiars. It hums."), "the description is lost")


def ending_by_signal(author):
    ended_by(author, "signal", 0, lambda program: program.terminate())


def losing_the_display(author):
    ended_by(author, "display-gone", 1, lambda _: author.server.terminate())


# The last one takes the display with it.
ACTS = {act.__name__: act for act in (choosing, dragging, editing, outside_edit, uploading, closing_dialogs,
                                      failures, preview, ending_by_signal, losing_the_display)}


def use(acts, *variant):
    with contextlib.ExitStack() as stack:
        author = Author(stack, *variant)
        try:
            for act in acts:
                ACTS[act](author)
        except Failed as failure:
            with contextlib.suppress(Exception):
                author.screenshot("failed")
            print(f"desktop: FAILED: {failure}\n--- the log of the window when it was read last\n{author.log}\n"
                  f"--- what the program printed\n{author.output('program')}", file=sys.stderr)
            sys.exit(1)
        print(f"desktop: PASSED, the pictures are in {author.shots}", flush=True)


def main():
    parser = argparse.ArgumentParser(prog="scripts/desktop", description=__doc__, epilog=ABOUT,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("acts", nargs="*", metavar="ACT", help=f"only these of {', '.join(ACTS)}")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/dev",
                        help="the build to use (build/dev); it must hold the tests")
    parser.add_argument("--all", action="store_true", help="light and dark, with two fonts, in three magnifications")
    arguments = parser.parse_args()
    build = arguments.build.resolve()
    for program in "tarnwick-mod-uploader", "drag_source":
        if not (build / "bin" / program).exists():
            parser.error(f"{build} holds no {program}; scripts/build makes it")
    if set(arguments.acts) - set(ACTS):
        parser.error(f"the acts are {', '.join(ACTS)}")
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that what was started ends too
    for variant in VARIANTS if arguments.all else VARIANTS[:1]:
        use(arguments.acts or ACTS, build, *variant)


if __name__ == "__main__":
    main()
