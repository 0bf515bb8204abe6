#!/usr/bin/python3 -B
"""Gives the program mod folders that are very deep, with few file handles, or have very many files.

The forbidden files must be found, all but those without a usable path; memory and time must stay in bounds.
"""

import os
import subprocess
import time

import harness
from harness import expect

LEVEL = "d" * 6
DEPTHS = 1, 150, 300, 500, 700  # the last one is beyond the longest path
BYTES_EACH, RATIO = 64, 10  # of memory for each file; to the time of find, in a build that is not optimised
FIGURES = "date +%s%N; grep VmHWM /proc/$PPID/status"


def new_mod(folder):
    harness.remove(folder / "mod")
    (folder / "mod").mkdir()
    (folder / "mod/metadata.xml").write_text("<metadata><name>Folders</name></metadata>")
    return folder / "mod"


def deep(probe, folder):
    mod = new_mod(folder)
    at = os.open(mod, os.O_RDONLY)
    for level in range(1, max(DEPTHS) + 1):
        os.mkdir(LEVEL, dir_fd=at)
        above, at = at, os.open(LEVEL, os.O_RDONLY, dir_fd=at)
        os.close(above)
        # A folder whose last entry was read needs no handle any more, so each has others.
        for name in ["a", "b", "c", *(["x.exe"] if level in DEPTHS else [])]:
            os.close(os.open(name, os.O_CREAT | os.O_WRONLY, dir_fd=at))
    os.close(at)
    found = probe.run("load", mod / "metadata.xml", under=["prlimit", "--nofile=280"])[-1].split(" | ")[1:-1]
    wanted = [f"____'.../mod/{f'{LEVEL}/' * level}x.exe'" for level in DEPTHS[:-1]]
    expect(sorted(found) == sorted(wanted), f"deep: found at {[file.count(LEVEL) for file in found]} levels")


def many(probe, folder, files):
    mod = new_mod(folder)
    for number in range(files):
        if number % 1000 == 0:
            place = mod / f"{number // 10000}" / f"{number}"
            place.mkdir(parents=True)
        os.close(os.open(f"{place}/{number}.lua", os.O_CREAT | os.O_WRONLY))
    (place / "last.exe").touch()
    ratios = []
    for _ in range(3):
        began = time.monotonic()
        subprocess.run(["find", mod], stdout=subprocess.DEVNULL, check=True)
        find = time.monotonic() - began
        before, kb_before, after, kb_after, *log = probe.run(
            "shell", FIGURES, "load", mod / "metadata.xml", "shell", FIGURES)
        expect("/last.exe'" in log[-1], f"many: the log has {log}")
        ratios.append((int(after) - int(before)) / 1e9 / find)
        memory = (int(kb_after.split()[1]) - int(kb_before.split()[1])) * 1024
        expect(memory < 4 * 2**20 + BYTES_EACH * files or not probe.measurable, f"many: {memory} bytes of memory")
    print(f"many: {files} files, {min(ratios):.1f} times as long as find, {memory // 2**20} MiB of memory")
    expect(min(ratios) < RATIO or not probe.measurable, "many: too slow")


def play(folder, arguments):
    probe = harness.Probe(folder, arguments.build)
    deep(probe, folder)
    many(probe, folder, arguments.files)


parser = harness.command_line(__doc__)
parser.add_argument("--files", type=int, default=20_000, help="files of the large folder (20,000)")
harness.main(parser, play, "setpriv", "prlimit", "find")
