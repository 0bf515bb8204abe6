"""What the system checks share: the command line, the program without a display, the virtual desktop."""

import argparse
import contextlib
import importlib.util
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

with contextlib.suppress(ImportError):  # only the desktop needs them
    from PIL import Image, ImageChops
    from Xlib import X, XK, display, error
    from Xlib.ext import xtest
    from Xlib.protocol import event

ROOT = pathlib.Path(__file__).resolve().parents[2]
PATIENCE = 60  # seconds


def expect(holds, what):
    if not holds:
        raise AssertionError(what)


def command_line(about):
    parser = argparse.ArgumentParser(description=about, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/dev", help="the build folder (build/dev)")
    return parser


# Plays `play(folder, arguments)` in a fresh folder. Exit code 77 if a tool or module is missing.
def main(parser, play, *tools):
    arguments = parser.parse_args()
    arguments.build = arguments.build.resolve()
    missing = [tool for tool in tools if not shutil.which(tool) and not importlib.util.find_spec(tool)]
    if missing:
        print("SKIPPED: missing here:", *missing)
        sys.exit(77)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that what was started ends too
    with tempfile.TemporaryDirectory(prefix="system-") as folder:
        play(pathlib.Path(folder), arguments)


# The program without its main(), as a process of its own (Probe.cpp lists its words), with a Practice Workshop.
class Probe:
    # Permissions count for it even if we are root.
    powerless = ["setpriv", "--bounding-set=-all", "--inh-caps=-all"] if os.geteuid() == 0 else []

    def __init__(self, folder, build):
        # Copies: only beside itself does the program look for the Steam library.
        self.program = shutil.copy2(build / "probe/probe", folder)
        shutil.copy2(build / "bin/libsteam_api.so", folder)
        self.store = folder / ".local/share/tarnwick-practice-workshop"
        self.environment = dict(os.environ, QT_QPA_PLATFORM="offscreen", LC_ALL="C.UTF-8",
                                PRACTICE_WORKSHOP_DIR="", XDG_DATA_HOME="relative", HOME=str(folder),
                                XDG_RUNTIME_DIR=str(folder))
        # A build with sanitizers has a memory of its own.
        self.measurable = "TARNWICK_SANITIZE:BOOL=ON" not in (build / "CMakeCache.txt").read_text()

    def new_store(self, script="{}"):
        shutil.rmtree(self.store, ignore_errors=True)
        self.store.mkdir(parents=True)
        (self.store / "practice.json").write_text(script)

    # Ends with the block that it is used in.
    @contextlib.contextmanager
    def start(self, *tasks, under=(), **settings):
        with subprocess.Popen([*self.powerless, *under, self.program, *map(str, tasks)], env=self.environment,
                              stdout=subprocess.PIPE, text=True, errors="replace", **settings) as process:
            try:
                yield process
            finally:
                process.kill()

    # Runs it to its end. The lines of its log.
    def run(self, *tasks, seconds=PATIENCE, **settings):
        with self.start(*tasks, **settings) as process:
            output = process.communicate(timeout=seconds)[0]
        expect(process.returncode == 0, f"{str(tasks)[:300]} ended with {process.returncode}")
        return output.splitlines()[:-1]


PROGRAM = "Tarnwick Mod Uploader"
# The middles of the window's controls.
PLACES = {"ChooseMetadata": (65, 50), "SubmitButton": (190, 50), "ViewButton": (315, 50), "ChangeNotes": (550, 50),
          "ChangePreview": (290, 250), "ModVisibility": (315, 287), "ModDescription": (545, 210),
          "OutputLog": (365, 395), "FirstTag": (28, 199)}
# Windows are put in place before they appear; one that moves later would run away from the mouse. Without
# bindings the window manager grabs no mouse button, so clicks reach the program in the order they were made.
WINDOW_MANAGER = """<openbox_config xmlns="http://openbox.org/3.4/rc"><keyboard/><mouse/>
<focus><focusNew>yes</focusNew><focusLast>yes</focusLast></focus><applications>
<application title="Tarnwick Mod Uploader"><position force="yes"><x>230</x><y>150</y></position></application>
</applications></openbox_config>"""


# An X server with a window manager and at most one running program, with the hands and eyes of a user. What it
# starts ends with `stack`. An action first waits for what it needs: the window is active, nothing covers the
# place, the program answers. Nothing relies on a pause.
class Desktop:
    def __init__(self, stack, folder, **settings):
        self.stack, self.folder = stack, folder
        self.program, self.window, self.pings = None, None, 0
        for name in "home/.config", "runtime", "bin":
            (folder / name).mkdir(0o700, parents=True)
        # Nothing of the user's own desktop. Its libraries leak, and are unloaded before anyone asks for their names.
        self.environment = dict(settings, HOME=str(folder / "home"), PATH=f"{folder / 'bin'}:{os.environ['PATH']}",
                                XDG_RUNTIME_DIR=str(folder / "runtime"), ASAN_OPTIONS="detect_leaks=0")
        number = folder / "display"
        with open(number, "wb") as answer:
            self.server = self.start(
                ["Xvfb", "-displayfd", str(answer.fileno()), "-screen", "0", "1024x700x24", "-dpi", "96", "-noreset",
                 "-nolisten", "tcp", "-nolisten", "unix"], "server", pass_fds=[answer.fileno()])
        self.wait_for("the virtual display", lambda: number.read_text().endswith("\n"))
        self.environment["DISPLAY"] = ":" + number.read_text().strip()
        self.x = display.Display(self.environment["DISPLAY"])
        self.x.set_error_handler(lambda *_: None)  # about windows that have gone in the meantime
        self.root = self.x.screen().root
        # Both kinds, because Qt sends its answers to those who listen for the first.
        self.root.change_attributes(event_mask=X.StructureNotifyMask | X.SubstructureNotifyMask)
        (folder / "openbox.xml").write_text(WINDOW_MANAGER)
        self.start(["openbox", "--config-file", folder / "openbox.xml"], "openbox")
        self.wait_for("the window manager", lambda: self.property(self.root, "_NET_SUPPORTING_WM_CHECK"))

    # Starts a program, whose output goes into a file of that name.
    def start(self, command, name, **settings):
        with open(self.folder / f"{name}.txt", "wb") as output:
            process = subprocess.Popen(command, env=self.environment, stdout=output, stderr=output, **settings)
        self.stack.callback(process.wait)
        self.stack.callback(process.kill)
        return process

    def start_program(self, program, cwd, **settings):
        self.environment.update(settings)
        self.program = self.start([program], "program", cwd=cwd)
        self.window = self.wait_until_active(PROGRAM)

    # Ends the program by `act`, with that exit code.
    def end_program(self, act, code=0):
        program, self.program = self.program, None  # it may end now
        act()
        expect(program.wait(PATIENCE) == code, f"exit code {program.returncode}")

    # Repeats the condition until it holds, and returns its value.
    def wait_for(self, what, condition):
        until = time.monotonic() + PATIENCE
        while True:
            # Before the condition: the last words of a program that has ended still count.
            late, over = time.monotonic() > until, self.program and self.program.poll() is not None
            with contextlib.suppress(error.XError):  # a window that has just gone
                value = condition()
                if value:
                    return value
            expect(not late and not over, f"{'the program ended' if over else 'time is up'}, waiting for {what}")
            time.sleep(0.02)

    # The value of a property: bytes, a list of numbers, or None if there is none.
    def property(self, window, name):
        found = window.get_full_property(self.x.intern_atom(name), X.AnyPropertyType)
        return found and (found.value if isinstance(found.value, bytes) else list(found.value))

    # The shown window whose title begins so, if there is one.
    def find(self, title):
        for number in self.property(self.root, "_NET_CLIENT_LIST") or ():
            window = self.x.create_resource_object("window", number)
            with contextlib.suppress(error.XError):
                name = self.property(window, "_NET_WM_NAME")
                if name and name.decode().startswith(title) and window.get_attributes().map_state == X.IsViewable:
                    return window

    # The open menu or list of the program, if there is one: shown without the window manager, and no tool tip.
    def find_popup(self):
        tool_tip = self.x.intern_atom("_NET_WM_WINDOW_TYPE_TOOLTIP")
        for window in self.root.query_tree().children:
            with contextlib.suppress(error.XError):
                attributes = window.get_attributes()
                if (attributes.map_state == X.IsViewable and attributes.override_redirect
                        and self.property(window, "_NET_WM_PID") == [self.program.pid]
                        and tool_tip not in self.property(window, "_NET_WM_WINDOW_TYPE")):
                    return window

    def is_active(self, window):
        return (self.property(self.root, "_NET_ACTIVE_WINDOW") == [window.id]
                and self.x.get_input_focus().focus == window)

    # The window with that title, once it takes what is typed.
    def wait_until_active(self, title):
        window = self.wait_for(f"a window {title}", lambda: self.find(title))
        self.wait_for(f"{title} to be active", lambda: self.is_active(window))
        self.wait_until_answering(window)
        return window

    def wait_until_gone(self, title):
        self.wait_for(f"{title} to close", lambda: not self.find(title))
        self.wait_for("the main window to be active", lambda: self.is_active(self.window))

    # Waits until the program has read from the X server what happened up to now. Twice, because it answers while
    # it reads and handles what it has read afterwards.
    def wait_until_answering(self, window):
        for _ in range(2):
            self.pings += 1
            window.send_event(self.message(window, "WM_PROTOCOLS", self.x.intern_atom("_NET_WM_PING"), self.pings,
                                           window.id, 0, 0))
            self.wait_for("the program to answer", self.has_answered)

    def has_answered(self):
        events = [self.x.next_event() for _ in range(self.x.pending_events())]
        return any(one.type == X.ClientMessage and one.data[1][1] == self.pings for one in events)

    def message(self, window, what, *data):
        return event.ClientMessage(window=window, client_type=self.x.intern_atom(what), data=(32, data))

    def close_window(self, window):
        self.root.send_event(self.message(window, "_NET_CLOSE_WINDOW", X.CurrentTime, 2, 0, 0, 0),
                             event_mask=X.SubstructureNotifyMask | X.SubstructureRedirectMask)
        self.x.flush()

    # One movement of mouse or keyboard.
    def move(self, kind, *detail, **place):
        xtest.fake_input(self.x, kind, *detail, **place)
        self.x.sync()

    # Moves the mouse to a place on the screen where that window must be, with nothing over it.
    def point_at(self, window, at):
        def is_there():
            pointer = found = self.root.query_pointer()
            while found.child and found.child != window:
                found = found.child.query_pointer()
            return found.child == window and (pointer.root_x, pointer.root_y) == (at.x, at.y)
        self.move(X.MotionNotify, x=at.x, y=at.y)
        self.wait_for("the mouse to be over the window", is_there)

    # Clicks on a control of the main window.
    def click(self, control, button=1):
        self.wait_until_active(PROGRAM)
        self.point_at(self.window, self.root.translate_coords(self.window, *PLACES[control]))
        self.move(X.ButtonPress, button)
        self.move(X.ButtonRelease, button)
        self.wait_until_answering(self.window)

    # Types a text, or presses keys that are named, with "ctrl+" before a name if needed.
    def press(self, *keys, text=""):
        for key in [*keys, *text]:
            *held, name = key.split("+") if key in keys else [key]
            symbol = XK.string_to_keysym(name) if key in keys else ord(name)
            code, is_shifted = min(self.x.keysym_to_keycodes(symbol), key=lambda pair: pair[1])
            held = [XK.XK_Control_L] * len(held) + [XK.XK_Shift_L] * is_shifted
            codes = [*map(self.x.keysym_to_keycode, held), code]
            for kind, order in (X.KeyPress, codes), (X.KeyRelease, codes[::-1]):
                for each in order:
                    self.move(kind, each)

    def image(self):
        size = self.root.get_geometry()
        image = self.root.get_image(0, 0, size.width, size.height, X.ZPixmap, 0xFFFFFFFF)
        return Image.frombytes("RGB", (size.width, size.height), image.data, "raw", "BGRX")

    def is_like(self, wanted):
        different = ImageChops.difference(self.image(), wanted).point(lambda value: value > 33 and 255)
        # Of the image, which has at most 256 colours, some pixels; a text cursor has more.
        return different.convert("L").point(bool).histogram()[1] < 14
