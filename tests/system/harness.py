"""A virtual desktop with the hands and eyes of a user, for checks that use the real program.

An action first waits for what it needs: the window is active, nothing covers the place, the program answers.
Nothing relies on a pause. A condition that does not come true within PATIENCE seconds fails the check, with a
picture of the screen.
"""

import contextlib
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import time

from PIL import Image
from Xlib import X, XK, display, error
from Xlib.ext import xtest
from Xlib.protocol import event, request

PATIENCE = 60
PROGRAM = "^Tarnwick Mod Uploader$"

# The middles of the window's controls, in pixels of a window that is not magnified.
PLACES = {"ChooseMetadata": (65, 50), "SubmitButton": (190, 50), "ViewButton": (315, 50), "ChangeNotes": (550, 50),
          "ChangePreview": (290, 250), "ModVisibility": (315, 287), "ModDescription": (545, 210),
          "OutputLog": (365, 395), "FirstTag": (28, 199)}

# Windows are put in place before they appear; one that moves later would run away from the mouse. Without
# bindings the window manager grabs no mouse button, so clicks reach the program in the order they were made.
WINDOW_MANAGER = """<openbox_config xmlns="http://openbox.org/3.4/rc">
<keyboard/><mouse/><focus><focusNew>yes</focusNew><focusLast>yes</focusLast></focus>
<applications>
<application title="Drag Source"><position force="yes"><x>0</x><y>0</y></position></application>
<application title="Tarnwick Mod Uploader"><position force="yes"><x>{}</x><y>{}</y></position></application>
</applications></openbox_config>"""

# Settings of the user's own desktop, which change how the window looks or which file dialog comes up.
FOREIGN = ("DBUS_", "DESKTOP_", "DISPLAY", "GNOME_", "KDE_", "QT_", "WAYLAND_", "XDG_")


class Failed(Exception):
    """What was expected and did not happen."""


class Desktop:
    """An X server with a window manager and at most one running program. What it starts ends with `stack`."""

    def __init__(self, stack, shots, scale=1.0, **settings):
        self.stack, self.shots, self.scale = stack, shots, scale
        self.program = self.window = None
        self.steps = self.pings = 0
        self.log = ""
        shutil.rmtree(shots, ignore_errors=True)
        shots.mkdir(parents=True)
        self.folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="desktop-")))
        for name in "home/.config", "runtime", "bin":
            (self.folder / name).mkdir(mode=0o700, parents=True)
        self.environment = {name: value for name, value in os.environ.items() if not name.startswith(FOREIGN)}
        self.environment.update(HOME=str(self.folder / "home"), XDG_RUNTIME_DIR=str(self.folder / "runtime"),
                                PATH=f"{self.folder / 'bin'}:{os.environ['PATH']}", LC_ALL="C.UTF-8",
                                QT_QPA_PLATFORM="xcb", QT_SCALE_FACTOR=str(scale), **settings)
        self.open_display(f"{round(1024 * scale)}x{round(700 * scale)}x24")

    def open_display(self, screen):
        number = self.folder / "display"
        with open(number, "wb") as answer:
            self.server = self.start(
                ["Xvfb", "-displayfd", answer.fileno(), "-screen", "0", screen, "-dpi", "96", "-noreset",
                 "-nolisten", "tcp", "-nolisten", "unix"], "server", pass_fds=[answer.fileno()])
        self.wait_for("the virtual display", lambda: number.read_text().endswith("\n"))
        self.environment["DISPLAY"] = ":" + number.read_text().strip()
        self.x = display.Display(self.environment["DISPLAY"])
        self.x.set_error_handler(lambda *_: None)  # about windows that have gone in the meantime
        self.root = self.x.screen().root
        # Both kinds, because Qt sends its answers to those who listen for the first.
        self.root.change_attributes(event_mask=X.StructureNotifyMask | X.SubstructureNotifyMask)
        self.own_window = self.root.create_window(0, 0, 1, 1, 0, X.CopyFromParent)
        settings = self.folder / "openbox.xml"
        settings.write_text(WINDOW_MANAGER.format(*(round(at * self.scale) for at in (230, 150))))
        self.start(["openbox", "--config-file", settings], "openbox")
        self.wait_for("the window manager", lambda: self.property(self.root, "_NET_SUPPORTING_WM_CHECK"))

    # --- programs -------------------------------------------------------------------------------

    def start(self, command, name, **settings):
        """Starts a program, whose output goes into a file of that name."""
        with open(self.folder / f"{name}.txt", "wb") as output:
            process = subprocess.Popen(list(map(str, command)), env=self.environment, stdin=subprocess.DEVNULL,
                                       stdout=output, stderr=subprocess.STDOUT, **settings)
        self.stack.callback(self.end, process)
        return process

    @staticmethod
    def end(process):
        process.terminate()
        try:
            process.wait(5)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()

    def output(self, name):
        return (self.folder / f"{name}.txt").read_text(errors="replace")

    def start_program(self, program, cwd, **settings):
        self.environment.update(settings)
        self.log = ""
        self.program = self.start([program], "program", cwd=cwd)
        self.window = self.wait_until_active(PROGRAM)

    def close_program(self):
        """Closes the window as its close button does; returns how many seconds the program took to end."""
        return self.end_program(lambda _: self.close_window(self.window))

    def end_program(self, act, code=0):
        """Ends the program by `act`, with that exit code; returns how many seconds it took."""
        began = time.monotonic()
        program, self.program = self.program, None  # it may end now
        act(program)
        self.wait_for("the program to end", lambda: program.poll() is not None)
        if program.returncode != code:
            raise Failed(f"the program ended with exit code {program.returncode}")
        return time.monotonic() - began

    def wait_for(self, what, condition):
        """Repeats the condition until it holds, and returns its value."""
        until = time.monotonic() + PATIENCE
        while True:
            # Before the condition: the last words of a program that has ended still count.
            late, over = time.monotonic() > until, self.program and self.program.poll() is not None
            with contextlib.suppress(error.XError):  # a window that has just gone
                value = condition()
                if value:
                    return value
            if late or over:
                raise Failed(f"{'the program ended' if over else f'{PATIENCE} seconds passed'} waiting for {what}")
            time.sleep(0.02)

    # --- windows --------------------------------------------------------------------------------

    def property(self, window, name):
        """The value of a property: bytes, a list of numbers, or None if there is none."""
        found = window.get_full_property(self.x.intern_atom(name), X.AnyPropertyType)
        return found and (found.value if isinstance(found.value, bytes) else list(found.value))

    def find(self, title):
        """The shown window whose title matches, if there is one."""
        for number in self.property(self.root, "_NET_CLIENT_LIST") or ():
            window = self.x.create_resource_object("window", number)
            with contextlib.suppress(error.XError):
                name = self.property(window, "_NET_WM_NAME")
                if name and re.search(title, name.decode()) and window.get_attributes().map_state == X.IsViewable:
                    return window
        return None

    def find_popup(self):
        """The open menu or list of the program, if there is one: shown without the window manager, and no tool tip."""
        tool_tip = self.x.intern_atom("_NET_WM_WINDOW_TYPE_TOOLTIP")
        for window in self.root.query_tree().children:
            with contextlib.suppress(error.XError):
                attributes = window.get_attributes()
                if (attributes.map_state == X.IsViewable and attributes.override_redirect
                        and self.property(window, "_NET_WM_PID") == [self.program.pid]
                        and tool_tip not in self.property(window, "_NET_WM_WINDOW_TYPE")):
                    return window
        return None

    def is_active(self, window):
        return (self.property(self.root, "_NET_ACTIVE_WINDOW") == [window.id]
                and self.x.get_input_focus().focus == window)

    def wait_until_active(self, title):
        """The window with that title, once it takes what is typed."""
        window = self.wait_for(f"a window {title}", lambda: self.find(title))
        self.wait_for(f"{title} to be active", lambda: self.is_active(window))
        self.wait_until_answering(window)
        return window

    def wait_until_gone(self, title):
        self.wait_for(f"{title} to close", lambda: not self.find(title))
        self.wait_for("the main window to be active", lambda: self.is_active(self.window))

    def wait_until_answering(self, window):
        """Waits until the program has read from the X server what happened up to now.

        Twice, because it answers while it reads and handles what it has read afterwards.
        """
        for _ in range(2):
            self.pings += 1
            data = (32, [self.x.intern_atom("_NET_WM_PING"), self.pings, window.id, 0, 0])
            kind = self.x.intern_atom("WM_PROTOCOLS")
            window.send_event(event.ClientMessage(window=window, client_type=kind, data=data))
            self.wait_for("the program to answer", self.ping_came_back)

    def ping_came_back(self):
        while self.x.pending_events():
            one = self.x.next_event()
            if (one.type == X.ClientMessage and one.client_type == self.x.intern_atom("WM_PROTOCOLS")
                    and one.data[1][1] == self.pings):
                return True
        return False

    def ask_manager(self, window, what, *data):
        message = event.ClientMessage(window=window, client_type=self.x.intern_atom(what),
                                      data=(32, [*data, *[0] * (5 - len(data))]))
        self.root.send_event(message, event_mask=X.SubstructureNotifyMask | X.SubstructureRedirectMask)
        self.x.flush()

    def close_window(self, window):
        self.ask_manager(window, "_NET_CLOSE_WINDOW", X.CurrentTime, 2)

    # --- hands ----------------------------------------------------------------------------------

    def move(self, kind, *detail, **place):
        """One movement of mouse or keyboard."""
        xtest.fake_input(self.x, kind, *detail, **place)
        self.x.sync()

    def place(self, x, y):
        """A place in the main window, given in pixels that are not magnified, on the screen."""
        return self.root.translate_coords(self.window, round(x * self.scale), round(y * self.scale))

    def point_at(self, window, at):
        """Moves the mouse to a place on the screen where that window must be, with nothing over it."""
        self.move(X.MotionNotify, x=at.x, y=at.y)
        self.wait_for("the mouse to be over the window", lambda: self.is_under_mouse(window, at))

    def click_at(self, window, at, button=1):
        self.point_at(window, at)
        self.move(X.ButtonPress, button)
        self.move(X.ButtonRelease, button)

    def is_under_mouse(self, window, at):
        pointer = self.root.query_pointer()
        found = pointer.child
        while found and found != window:
            found = found.query_pointer().child
        return found == window and (pointer.root_x, pointer.root_y) == (at.x, at.y)

    def click(self, control, dx=0, dy=0, button=1):
        """Clicks on a control of the main window, beside its middle if wanted."""
        self.wait_until_active(PROGRAM)
        x, y = PLACES[control]
        self.click_at(self.window, self.place(x + dx, y + dy), button)

    def choose(self, control, *keys, button=1, picture=None):
        """Opens the menu or list of a control and chooses by these keys, or by a click into its middle."""
        self.click(control, button=button)
        popup = self.wait_for("the menu", self.find_popup)
        self.wait_until_answering(popup)
        if picture:
            self.screenshot(picture)
        if keys:
            self.press(*keys)
        else:
            size = popup.get_geometry()
            self.click_at(popup, self.root.translate_coords(popup, size.width // 2, size.height // 2))
        self.wait_for("the menu to close", lambda: not self.find_popup())

    def press(self, *keys):
        """Presses keys, each by its name, with "ctrl+" before it if needed."""
        for key in keys:
            *held, name = key.split("+")
            self.strike(XK.string_to_keysym(name), [XK.XK_Control_L] if held else [])

    def strike(self, symbol, held=()):
        code, is_shifted = min(self.x.keysym_to_keycodes(symbol), key=lambda pair: pair[1])
        held = [*held, XK.XK_Shift_L] if is_shifted else held
        codes = [*map(self.x.keysym_to_keycode, held), code]
        for each in codes:
            self.move(X.KeyPress, each)
        for each in reversed(codes):
            self.move(X.KeyRelease, each)

    def write(self, text, shown=""):
        """Types a text at the end of what the control with the focus holds, and sees it there (or what is shown of it)."""
        self.press("ctrl+End")
        for character in text:
            self.strike(ord(character))
        self.wait_for(f"{text!r} to be typed", lambda: self.copied().endswith(shown or text))
        self.press("ctrl+End")

    def copied(self):
        """What the control with the focus holds, as the keyboard copies it; nothing if that takes over a second."""
        clipboard, until = self.x.intern_atom("CLIPBOARD"), time.monotonic() + 1
        request.SetSelectionOwner(display=self.x.display, window=X.NONE, selection=clipboard, time=X.CurrentTime)
        self.own_window.delete_property(self.x.intern_atom("COPIED"))
        self.press("ctrl+a", "ctrl+c")
        while self.x.get_selection_owner(clipboard) == X.NONE:
            if time.monotonic() > until:
                return ""
            time.sleep(0.01)
        self.own_window.convert_selection(clipboard, self.x.intern_atom("UTF8_STRING"), self.x.intern_atom("COPIED"),
                                          X.CurrentTime)
        return self.wait_for("the copied text", lambda: self.property(self.own_window, "COPIED")).decode()

    def choose_file(self, title, path, picture):
        """Names a file in the file dialog with that title."""
        self.wait_until_active(title)
        self.write(str(path), path.name)  # the dialog may take away the folder that it is in
        self.screenshot(picture)
        self.press("Return")
        self.wait_until_gone(title)

    # --- eyes -----------------------------------------------------------------------------------

    def picture(self, window=None):
        drawable = window or self.root
        size = drawable.get_geometry()
        image = drawable.get_image(0, 0, size.width, size.height, X.ZPixmap, 0xFFFFFFFF)
        return Image.frombytes("RGB", (size.width, size.height), image.data, "raw", "BGRX")

    def screenshot(self, name):
        """Keeps a picture of the screen, as soon as it rests; what never rests is taken after a second."""
        until, image, last = time.monotonic() + 1, self.picture(), None
        while image != last and time.monotonic() < until:
            time.sleep(0.05)
            image, last = self.picture(), image
        self.steps += 1
        image.save(self.shots / f"{self.steps:02}-{name}.png")

    def colours(self, left, top, right, bottom):
        """The colours in a part of the window, each with the number of its pixels if nothing were magnified."""
        part = self.picture(self.window).crop([round(edge * self.scale) for edge in (left, top, right, bottom)])
        return {colour: count / self.scale**2 for count, colour in part.getcolors(1 << 24)}

    def log_pixels(self, colour):
        return self.colours(0, 320, 730, 470).get(colour, 0)

    def read_log(self, words=""):
        """The log as a user would take it from the window, copied out of the pane; waits for words in it."""
        self.wait_for(f"{words!r} in the log", lambda: words in self.copy_log() and self.log)
        return self.log

    def copy_log(self):
        self.click("OutputLog")
        self.log = self.copied()
        # Elsewhere, so that no two clicks make a double click; the selection must not hide colours.
        self.click("OutputLog", 235, 60)
        return self.log
