"""What the scripts share that put the program through a trial: the program as a process of its own,
driven by its arguments, with a Practice Workshop and a folder that goes when the trial is over."""

import argparse
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent


class Failed(Exception):
    """A bound that was broken, in words."""


def parser(doc, about):
    """A command line with --help and --build."""
    result = argparse.ArgumentParser(prog=f"scripts/{pathlib.Path(sys.argv[0]).name}", description=doc, epilog=about,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    result.add_argument("--build", type=pathlib.Path, default=ROOT / "build/dev",
                        help="the build folder (build/dev); it must hold the tests")
    return result


def run(play, doc, about, options=()):
    """Plays `play(trial, arguments)` in a fresh folder and returns the exit code: 1 if it failed.

    `options` are (name, settings) for argparse.
    """
    command_line = parser(doc, about)
    for name, settings in options:
        command_line.add_argument(name, **settings)
    arguments = command_line.parse_args()
    needed = [arguments.build / "probe/probe", arguments.build / "bin/libsteam_api.so"]
    if (arguments.build / "probe/probe.exe").exists():
        needed = [arguments.build / "probe/probe.exe", arguments.build / "bin/steam_api64.dll"]
    for file in needed:
        if not file.exists():
            command_line.error(f"{file} is missing; scripts/build makes it")
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that the folder goes then too
    folder = pathlib.Path(tempfile.mkdtemp())
    try:
        play(Trial(folder, *needed), arguments)
    except Failed as failure:
        print(f"{pathlib.Path(sys.argv[0]).name}: FAILED: {failure}", file=sys.stderr)
        return 1
    finally:
        remove(folder)
    return 0


def sanitized(build):
    """Whether the build folder holds a build with sanitizers, which has a memory of its own."""
    return "TARNWICK_SANITIZE:BOOL=ON" in (build / "CMakeCache.txt").read_text()


def remove(folder):
    """Removes a folder with all that is in it, however deep, and whatever its permissions."""
    if subprocess.run(["rm", "-rf", folder], stderr=subprocess.DEVNULL).returncode != 0:
        subprocess.run(["chmod", "-R", "u+rwx", folder])
        subprocess.run(["rm", "-rf", folder])


def as_anybody():
    """What a command is to be run under, so that permissions count for it even if we are root."""
    return ["setpriv", "--bounding-set=-all", "--inh-caps=-all"] if os.geteuid() == 0 else []


class Trial:
    """The probe (tests/system/Probe.cpp tells what it does) beside a Steam library, in a fresh folder."""

    def __init__(self, folder, probe, library):
        self.folder = folder
        # Copies: only beside itself does the program look for the Steam library.
        self.command = [shutil.copy2(probe, folder)]
        if probe.suffix == ".exe":
            self.command.insert(0, ROOT / "packaging/windows/run")
        shutil.copy2(library, folder)
        self.store = folder / "store"
        self.environment = dict(os.environ, QT_QPA_PLATFORM="offscreen", LC_ALL="C.UTF-8",
                                PRACTICE_WORKSHOP_DIR=str(self.store),
                                XDG_RUNTIME_DIR=str(folder))  # or Qt makes one that stays
        self.new_store()

    def new_store(self, script="{}"):
        """An empty store; `script` is its practice.json."""
        shutil.rmtree(self.store, ignore_errors=True)
        self.store.mkdir()
        (self.store / "practice.json").write_text(script)

    def start(self, *tasks, under=(), **settings):
        """Starts the probe, by the command `under` if there is one; the caller ends it."""
        settings = {"stderr": subprocess.PIPE, **settings}
        return subprocess.Popen([*under, *self.command, *map(str, tasks)], env=self.environment,
                                stdout=subprocess.PIPE, text=True, errors="replace", **settings)

    def log(self, *tasks, seconds=60, **settings):
        """Runs the probe to its end and returns the lines of its log.

        A crash, a hang and any other end than a good one is a failure of the trial.
        """
        with self.start(*tasks, **settings) as process:
            try:
                out, errors = process.communicate(timeout=seconds)
            except subprocess.TimeoutExpired as hang:
                raise Failed(f"{tasks} took more than {seconds} seconds") from hang
            finally:
                process.kill()
        if process.returncode != 0:
            raise Failed(f"{tasks} ended with {process.returncode}\n{errors}")
        return out.splitlines()[:-1]

    def measure(self, *tasks, seconds=60):
        """Runs the probe to its end. Its log, its exit code (-1 after so many seconds), the processor
        time that it took in seconds and its peak of memory in MiB."""
        start = time.monotonic()
        with open(self.folder / "out.txt", "w+", encoding="utf-8") as out:
            process = subprocess.Popen([*self.command, *map(str, tasks)], env=self.environment,
                                       stdout=out, stderr=subprocess.STDOUT)
            ended = late = False
            while not ended:  # not Popen.wait(): it keeps the use of memory to itself
                time.sleep(0.005)
                if not late and time.monotonic() - start > seconds:
                    late = True
                    process.kill()
                ended, status, use = os.wait4(process.pid, os.WNOHANG)
            process.returncode = -1 if late else os.waitstatus_to_exitcode(status)
            out.seek(0)
            return out.read(), process.returncode, use.ru_utime + use.ru_stime, use.ru_maxrss / 1024
