#!/usr/bin/python3 -B
"""Lets the disk fail under the program and looks at metadata.xml, at what is left beside it, and at the log. Disks are
mounted in a namespace of their own; where that is forbidden, the cases that need one are named and left out."""

import contextlib
import os
import random
import shutil
import subprocess
import sys
import threading
import time

import harness
from harness import expect

OLD = b"<metadata><name>Disks</name></metadata>"
LONG = "no room for this " * 1900

START = ["#008800 Initializing Steam API... Success", "#000000 Please choose a mod to upload..."]
LOADED = ["#008800 Processing 'mod/metadata.xml'... Success", "#000000 Ready to upload mod 'Disks'"]
NOT_OPENED = ["#aa0000 Processing 'mod/metadata.xml'... Failed", "#aa0000 Failed to open specified metadata file"]
UPLOADED = [*LOADED, "#008800 Successfully uploaded mod 'Disks' to Steam Workshop "
                     "(may take a short time to appear publically)"]

ODD = {"a folder": "mkdir", "a pipe": "mkfifo", "a link to a pipe": "mkfifo ../pipe; ln -s ../pipe",
       "a link to itself": "ln -s metadata.xml", "a dangling link": "ln -s nothing",
       "a link to a device": "ln -s /dev/zero",
       "a socket": "python3 -c 'import socket, sys; socket.socket(socket.AF_UNIX).bind(sys.argv[1])'"}
DISK = 'mount -t tmpfs -o size=256k,nr_inodes=16 none . && cd "$PWD" && cp "$OLD" metadata.xml && '
FILL = "touch disable.it; dd if=/dev/zero of=ballast bs=4096 2>/dev/null || :; "
NO_FILES = "while touch $((n += 1)) 2>/dev/null; do :; done; "
READ_ONLY = "touch disable.it; mount -o remount,bind,ro ."

# What metadata.xml holds afterwards: as it was, to its date; the content after a load or a change; no file; whatever.
KEPT, NO_FILE, ANY = "kept", False, None
LOADED_ONCE = ('<?xml version="1.0" encoding="UTF-8"?>\n<metadata>\n    <name>Disks</name>\n'
               '    <directory>mod</directory>\n    <id>0</id>\n    <description></description>\n'
               '    <version>1.0</version>\n    <visibility>Public</visibility>\n</metadata>\n').encode()
CHANGED = LOADED_ONCE.replace(b"><", b">x<")
NUMBERED = LOADED_ONCE.replace(b">0<", b">900000000000001<").replace(b">1.0<", b">1.1<")
# What is done to the mod's folder; what the program does after loading it; its log; metadata.xml.
CASES = [
    ("read-only file", "chmod 444 metadata.xml", ["describe", "x"], LOADED, KEPT),
    ("read-only folder", "chmod 555 .", ["describe", "x"], LOADED, CHANGED),
    ("unreadable file", "chmod 0 metadata.xml", ["describe", "x"], NOT_OPENED, KEPT),
    ("unreadable folder", "chmod 0 .", ["describe", "x"], NOT_OPENED, KEPT),
    ("marker that cannot be removed", "touch disable.it; chmod 555 .", ["upload"], UPLOADED, ANY),
    ("full disk", DISK + FILL, ["describe", "x", "describe", LONG], LOADED, CHANGED),
    ("upload from a full disk", DISK + FILL, ["upload"], UPLOADED, NUMBERED),
    ("disk without new files", DISK + NO_FILES, ["describe", "x"], LOADED, CHANGED),
    ("... and full", DISK + FILL + NO_FILES, ["describe", "x", "describe", LONG], LOADED, CHANGED),
    ("read-only disk", DISK + READ_ONLY, ["describe", "x", "upload"], UPLOADED, KEPT),
    *((name, f"rm metadata.xml; {make} metadata.xml", [], NOT_OPENED, KEPT) for name, make in ODD.items()),
    *((f"turns into {name}", "touch main.lua", ["shell", f"cd ../mod; rm metadata.xml; {make} metadata.xml",
                                                "describe", "x", "upload"],
       UPLOADED, ANY if name in ("a link to itself", "a dangling link") else NO_FILE) for name, make in ODD.items()),
]


def new_mod(folder):
    mod = folder / "mod"
    harness.remove(mod)
    mod.mkdir()
    shutil.copy(folder / "old", mod / "metadata.xml")
    return mod / "metadata.xml"


def play_case(probe, folder, name, prepare, tasks, log, outcome):
    file = new_mod(folder)
    probe.new_store()
    try:
        subprocess.run(prepare, shell=True, cwd=file.parent, check=True, env=dict(os.environ, OLD=folder / "old"))
        names, before = os.listdir(file.parent), os.lstat(file)
        lines = probe.run("load", file, *tasks, cwd=folder / "nowhere")
        subprocess.run(["chmod", "-f", "u+rwx", file.parent])
        expect(lines == START + log, f"{name}: the log is\n  " + "\n  ".join(lines))
        expect(set(os.listdir(file.parent)) == set(names), f"{name}: the folder holds {os.listdir(file.parent)}")
        if outcome == KEPT:
            now = os.lstat(file)
            expect((now.st_ino, now.st_size, now.st_mtime_ns) == (before.st_ino, before.st_size, before.st_mtime_ns),
                   f"{name}: metadata.xml was {before}, is {now}")
        else:
            content = file.is_file() and file.read_bytes()
            expect(outcome in (ANY, content), f"{name}: metadata.xml is {content}")
    finally:
        subprocess.run(["umount", "-q", file.parent])


def flicker(file, master, over):
    while not over.is_set():
        for step in (lambda: os.link(master, file)), (lambda: os.unlink(file)):
            with contextlib.suppress(OSError):  # the program was faster
                step()
            time.sleep(random.uniform(0, 0.001))


def play_flickering(probe, folder, rounds):
    file, over = new_mod(folder), threading.Event()
    other = threading.Thread(target=flicker, args=(file, folder / "old", over))
    other.start()
    try:
        lines = probe.run(*["load", file] * rounds, "wait", 500, "describe", "x", cwd=folder / "nowhere")
    finally:
        over.set()
        other.join()
    again = [line.replace("Processing", "Detected metadata change, reprocessing") for line in LOADED + NOT_OPENED]
    unexpected = set(lines) - set(START + LOADED + NOT_OPENED + again)
    expect(not unexpected, f"flickering: the log has {unexpected}")
    expect(os.listdir(file.parent) in ([], ["metadata.xml"]), f"flickering: left {os.listdir(file.parent)}")
    expect((folder / "old").read_bytes() == OLD, "flickering: a linked file was changed")
    expect(not file.exists() or file.read_bytes() in (OLD, LOADED_ONCE, CHANGED), "flickering: metadata.xml is torn")
    expect(LOADED[0] in lines and NOT_OPENED[0] in lines, "flickering: the file was always there or never")


def play(folder, arguments):
    probe = harness.Probe(folder, arguments.build)
    (folder / "nowhere").mkdir()  # the working directory, where nothing is to appear
    (folder / "old").write_bytes(OLD)
    for name, prepare, *case in CASES:
        if "mount" in prepare and not CAN_MOUNT:
            print(f"LEFT OUT, because mounting is forbidden here: {name}")
        else:
            play_case(probe, folder, name, prepare, *case)
    play_flickering(probe, folder, arguments.rounds)
    expect(not os.listdir(folder / "nowhere"), f"the working directory has got {os.listdir(folder / 'nowhere')}")


parser = harness.command_line(__doc__)
parser.add_argument("--rounds", type=int, default=100, help="loads of the flickering file (100)")
# Starts this script again in a namespace of its own, if the system allows it.
CAN_MOUNT = "DISKS_CAN_MOUNT" in os.environ
if not CAN_MOUNT:
    unshare = ["unshare", *([] if os.geteuid() == 0 else ["--map-root-user"]), "--mount"]
    if subprocess.run([*unshare, "mount", "-t", "tmpfs", "none", "/mnt"], stderr=subprocess.DEVNULL).returncode == 0:
        os.environ["DISKS_CAN_MOUNT"] = "yes"
        os.execvp("unshare", [*unshare, sys.executable, *sys.argv])
harness.main(parser, play, "setpriv", "mount", "unshare")
