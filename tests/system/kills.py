#!/usr/bin/python3 -B
"""Kills the program at random moments while it saves, and looks whether anything was lost; ends it by signals; then
uses it for a long time and looks whether memory, threads or files grow."""

import os
import random
import re
import shutil
import time
import xml.etree.ElementTree as ElementTree
from signal import SIGHUP, SIGINT, SIGTERM

import harness
from harness import expect

# Each description is one number over and over, of changing length, so that a mixture of two would show.
EDITS = [word for number in range(1, 300) for word in ("describe", f"{number} " * (number % 7 * 200 + 1))]
HIDDEN_UPLOAD = "press", "SubmitButton", "hide", "type", "Unsaved"
# The signal that ends the program; what it does before; what is open above its window by then.
ENDS = [
    *((number, HIDDEN_UPLOAD, "nothing") for number in (SIGTERM, SIGINT, SIGHUP)),
    (SIGTERM, ["type", "Unsaved", "press", "SubmitButton"], "UploadDialog"),
    (SIGTERM, [*HIDDEN_UPLOAD, "press", "ChooseMetadata"], "QFileDialog"),
    (SIGTERM, [*HIDDEN_UPLOAD, "press", "ModDescription"], "QMenu"),
]
FIGURES = "cd /proc/$PPID; echo used $(sed -nE 's/^(VmRSS|Threads):\\s+([0-9]+).*/\\2/p' status) $(ls fd | wc -l)"
WARM_UP = 60  # rounds until the memory has settled
KEPT = 32 * 1024  # bytes that a round may take from then on: its download and its lines of the log stay


def new_mod(folder, name="Kills", fields="<description>0</description>"):
    mod = folder / name
    shutil.rmtree(mod, ignore_errors=True)
    mod.mkdir()
    (mod / "metadata.xml").write_text(f"<metadata><name>{name}</name>{fields}</metadata>")
    (mod / "main.lua").write_text("-- nothing yet\n" * 2000)
    return mod / "metadata.xml"


def saving(probe, folder, rounds):
    probe.new_store()
    file = new_mod(folder)
    saved = 0
    for _ in range(rounds):
        with probe.start("shell", "echo started", "load", file, *EDITS, "stay") as process:
            process.stdout.readline()
            time.sleep(random.uniform(0, 0.4))
            expect(process.poll() is None, "the program ended by itself")
        mod = ElementTree.parse(file)
        numbers = mod.findtext("description").split()
        expect(mod.findtext("name") == "Kills" and len(set(numbers)) == 1, f"name or description are lost: {numbers}")
        saved += numbers[0] != "0"
        names = os.listdir(file.parent)
        expect(len(names) <= 3, f"files have piled up: {names}")
    probe.run("load", file)
    expect(len(os.listdir(file.parent)) == 2, f"a load has left {os.listdir(file.parent)}")
    expect(saved, "nothing was ever saved")
    print(f"saving: {rounds} kills, {saved} after a save")


def ending(probe, folder):
    probe.new_store('{"silent_calls": ["submit"]}')
    for number, tasks, above in ENDS:
        file = new_mod(folder, fields="<id>5</id>")
        marker = file.with_name("disable.it")
        marker.touch()
        with probe.start("load", file, *tasks, "stay", under=["env", "--default-signal"]) as process:
            state = process.stdout.readline(), marker.exists()
            process.send_signal(number)
            process.wait(harness.PATIENCE)
        expect(state == (f"staying behind {above}\n", False), f"not what was meant: {state}")
        expect((process.returncode, marker.exists(), "Unsaved" in file.read_text()) == (0, True, True),
               f"{number} behind {above} ends it with {process.returncode} and {file.read_text()}")
    with probe.start("stay", under=["env", "--ignore-signal=HUP"]) as process:  # as nohup has it
        process.stdout.readline()
        with open(f"/proc/{process.pid}/status") as status:
            ignored = int(re.search("SigIgn:(.*)", status.read())[1], 16)
    expect(ignored >> SIGHUP - 1 & 1, "SIGHUP is no longer ignored")


def using(probe, folder, rounds):
    probe.new_store('{"bytes_per_pump": 1000000000, "answer_after_pumps": 1}')
    files = [new_mod(folder, name) for name in ("Lantern", "Cellar")]
    for file in files:
        probe.run("hurry", "load", file, "upload")
    for item in probe.store.glob("items/*"):
        shutil.copy(harness.ROOT / "resources/icons/tarnwick-mod-uploader-128.png", item / "preview")
    tasks = [("load", files[number % 2], "preview", "upload") for number in range(rounds)]
    for at in rounds, WARM_UP:
        tasks.insert(at, ("shell", FIGURES))
    lines = probe.run("hurry", *sum(tasks, ()), seconds=rounds + 60)
    expect(sum("Successfully uploaded" in line for line in lines) == rounds, "an upload has failed")
    (memory, *others), (memory_now, *others_now) = [map(int, line.split()[1:]) for line in lines if line[:4] == "used"]
    lost = (memory_now - memory) * 1024 // (rounds - WARM_UP)
    print(f"using: {rounds} rounds; {lost} bytes a round; threads and files {others}, then {others_now}")
    # Connections to the preview's server may still be open.
    expect(sum(others_now) <= sum(others) + 10, "threads or files have grown")
    expect(lost <= KEPT or not probe.measurable, "memory has grown")


def play(folder, arguments):
    probe = harness.Probe(folder, arguments.build)
    saving(probe, folder, arguments.rounds)
    ending(probe, folder)
    using(probe, folder, WARM_UP + 5 * arguments.rounds)


parser = harness.command_line(__doc__)
parser.add_argument("--rounds", type=int, default=20, help="kills (20); five times as many uploads")
harness.main(parser, play, "setpriv")
