#!/usr/bin/python3 -B
"""Lets the disk fail under the program and looks at metadata.xml, at what is left beside it, and at the log. Disks are
mounted in a namespace of their own; where that is forbidden, the cases that need one are named and left out."""

import os
import shutil
import subprocess
import sys

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
MARK = "touch disable.it ballast; "
FILL = "dd if=/dev/zero of=ballast bs=4096 2>/dev/null || :; "
NO_FILES = "while touch $((n += 1)) 2>/dev/null; do :; done; "
READ_ONLY = "mount -o remount,bind,ro ."

# What metadata.xml holds afterwards: as it was, to its date; the content after a load or a change; it is no file.
KEPT, NO_FILE = "kept", False
LOADED_ONCE = ('<?xml version="1.0" encoding="UTF-8"?>\n<metadata>\n    <name>Disks</name>\n'
               '    <directory>mod</directory>\n    <id>0</id>\n    <description></description>\n'
               '    <version>1.0</version>\n    <visibility>Public</visibility>\n</metadata>\n').encode()
CHANGED = LOADED_ONCE.replace(b"><", b">x<")
NUMBERED = LOADED_ONCE.replace(b">0<", b">900000000000001<").replace(b">1.0<", b">1.1<")
# What is done to the mod's folder; what the program does after loading it; its log; metadata.xml.
CASES = [
    ("read-only file", "chmod 444 metadata.xml", ["describe", "x"], LOADED, KEPT),
    ("read-only folder", "chmod 555 .", ["describe", "x"], LOADED, CHANGED),
    ("both read-only", "chmod 444 metadata.xml; chmod 555 .", ["describe", "x"], LOADED, KEPT),
    ("unreadable file", "chmod 0 metadata.xml", ["describe", "x"], NOT_OPENED, KEPT),
    ("deepest folders", "mkdir -p $(yes d | head -501 | tr '\\n' /)", ["upload"], UPLOADED, NUMBERED),
    ("folders too deep", "mkdir -p $(yes d | head -502 | tr '\\n' /)", ["upload"],
     [*LOADED, "#aa0000 Failed to upload mod 'Disks': Error (8) - Incorrect parameter"], NUMBERED),
    ("unreadable for a while", "", ["shell", "cd ../mod; touch -d 2001-01-01 metadata.xml; chmod u-r metadata.xml",
                                    "wait", 200, "shell", "chmod u+r ../mod/metadata.xml", "wait", 200],
     LOADED + [line.replace("Processing", "Detected metadata change, reprocessing") for line in NOT_OPENED + LOADED],
     LOADED_ONCE),
    ("unreadable folder", "chmod 0 .", ["describe", "x"], NOT_OPENED, KEPT),
    ("file of all behind a link", "chmod 666 metadata.xml; mkdir to; mv metadata.xml to; ln -s to/* .",
     ["describe", "x"], LOADED, CHANGED),
    ("temporary file left by this number", "", ["shell", "touch ../mod/.metadata.xml.saving-$PPID", "describe", "x"],
     LOADED, CHANGED),
    ("file that cannot be replaced", "chmod 606 metadata.xml; mount --bind metadata.xml metadata.xml",
     ["describe", LONG, "describe", "x"], LOADED, CHANGED),
    ("marker that cannot be removed", "touch disable.it; chmod 555 .", ["upload"], UPLOADED, NUMBERED),
    ("full disk", DISK + MARK + FILL, ["describe", "x", "describe", LONG], LOADED, CHANGED),
    ("... for a shorter text", DISK + MARK, ["describe", LONG, "shell", "cd ../mod; " + FILL, "describe", "x"],
     LOADED, CHANGED),
    ("upload from a full disk", DISK + MARK + FILL, ["upload"], UPLOADED, NUMBERED),
    ("disk without new files", DISK + NO_FILES, ["describe", LONG, "describe", "x"], LOADED, CHANGED),
    ("... and full", DISK + MARK + FILL + NO_FILES, ["describe", "x", "describe", LONG], LOADED, CHANGED),
    ("read-only disk", DISK + MARK + READ_ONLY, ["describe", "x", "upload"], UPLOADED, KEPT),
    *((name, f"rm metadata.xml; {make} metadata.xml", [], NOT_OPENED, KEPT) for name, make in ODD.items()),
    *((f"turns into {name}", "touch main.lua", ["shell", f"cd ../mod; rm metadata.xml; {make} metadata.xml",
                                                "describe", "x", "upload"],
       UPLOADED, NUMBERED.replace(b"><", b">x<") if name in ("a link to itself", "a dangling link") else NO_FILE)
      for name, make in ODD.items()),
]


# The names in the folder, whether metadata.xml is a link, and the permissions of the file.
def look_at(file):
    return sorted(file.parent.rglob("*")), file.is_symlink(), file.is_file() and oct(file.stat().st_mode)


def stamp(file):
    return [getattr(os.lstat(file), name) for name in ("st_ino", "st_size", "st_mtime_ns")]


def play_case(probe, folder, name, prepare, tasks, log, outcome):
    file = folder / "mod/metadata.xml"
    shutil.rmtree(file.parent, ignore_errors=True)
    file.parent.mkdir()
    shutil.copy(folder / "old", file)
    probe.new_store()
    try:
        subprocess.run(prepare, shell=True, cwd=file.parent, check=True, env=dict(os.environ, OLD=folder / "old"))
        before, stamp_before = look_at(file), stamp(file)
        lines = probe.run("load", file, *tasks, cwd=folder / "nowhere")
        subprocess.run(["chmod", "-f", "u+rwx", file.parent])
        expect(lines == START + log, f"{name}: the log is\n  " + "\n  ".join(lines))
        now = look_at(file)
        expect(now == before or outcome is NO_FILE and now[0] == before[0], f"{name}: it was {before}, is {now}")
        if outcome is KEPT:
            expect(stamp(file) == stamp_before, f"{name}: metadata.xml was {stamp_before}, is {stamp(file)}")
        else:
            content = file.is_file() and file.read_bytes()
            expect(content == outcome, f"{name}: metadata.xml is {content}")
    finally:
        subprocess.run(["umount", "-q", file, file.parent], stderr=subprocess.DEVNULL)


def play(folder, arguments):
    probe = harness.Probe(folder, arguments.build)
    (folder / "nowhere").mkdir()  # the working directory, where nothing is to appear
    (folder / "old").write_bytes(OLD)
    for name, prepare, *case in CASES:
        if "mount" in prepare and not CAN_MOUNT:
            print(f"LEFT OUT, because mounting is forbidden here: {name}")
        else:
            play_case(probe, folder, name, prepare, *case)
    expect(not os.listdir(folder / "nowhere"), f"the working directory has got {os.listdir(folder / 'nowhere')}")


# Starts this script again in a namespace of its own, if the system allows it.
CAN_MOUNT = "DISKS_CAN_MOUNT" in os.environ
if not CAN_MOUNT:
    unshare = ["unshare", *([] if os.geteuid() == 0 else ["--map-root-user"]), "--mount"]
    if subprocess.run([*unshare, "mount", "-t", "tmpfs", "none", "/mnt"], stderr=subprocess.DEVNULL).returncode == 0:
        os.environ["DISKS_CAN_MOUNT"] = "yes"
        os.execvp("unshare", [*unshare, sys.executable, *sys.argv])
harness.main(harness.command_line(__doc__), play, "setpriv", "mount", "unshare")
