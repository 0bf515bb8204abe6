#!/usr/bin/python3 -B
"""Kills the program at random moments, while it saves and while it uploads, and looks whether anything was lost;
then uses it for a long time and looks whether memory, threads or files grow."""

import os
import random
import shutil
import time
import xml.etree.ElementTree as ElementTree

import harness
from harness import expect

# Each description is one number over and over, of changing length, so that a mixture of two would show.
EDITS = [word for number in range(1, 300) for word in ("describe", f"{number} " * (number % 7 * 200 + 1))]
FIGURES = "cd /proc/$PPID; echo used $(sed -nE 's/^(VmRSS|Threads):\\s+([0-9]+).*/\\2/p' status) $(ls fd | wc -l)"
WARM_UP = 60  # rounds until the memory has settled
KEPT = 32 * 1024  # bytes that a round may take from then on: its download and its lines of the log stay


def new_mod(folder, name="Kills"):
    mod = folder / name
    shutil.rmtree(mod, ignore_errors=True)
    mod.mkdir()
    (mod / "metadata.xml").write_text(f"<metadata><name>{name}</name><description>0</description></metadata>")
    (mod / "main.lua").write_text("-- nothing yet\n" * 2000)
    return mod


# Loads the mod, does the tasks and is killed in the midst of them; the fields of metadata.xml then.
def kill(probe, mod, *tasks):
    with probe.start("shell", "echo started", "load", mod / "metadata.xml", *tasks, "stay") as process:
        process.stdout.readline()
        time.sleep(random.uniform(0, 0.4))
        expect(process.poll() is None, "the program ended by itself")
        process.kill()
    text = (mod / "metadata.xml").read_text()
    fields = {child.tag: child.text or "" for child in ElementTree.fromstring(text)}
    expect(fields.get("name") == "Kills", f"metadata.xml has lost a field: {text[:300]}")
    return fields


def saving(probe, mod, rounds):
    probe.new_store()
    saved = left = 0
    for _ in range(rounds):
        description = kill(probe, mod, *EDITS)["description"]
        expect(len(set(description.split())) == 1, f"the description is a mixture: {description[:80]}...")
        saved += description != "0"
        names = set(os.listdir(mod)) - {"metadata.xml", "main.lua"}
        expect(len(names) <= 1, f"files have piled up: {names}")
        left += len(names)
    probe.run("load", mod / "metadata.xml")
    expect(set(os.listdir(mod)) == {"metadata.xml", "main.lua"}, f"a load has left {os.listdir(mod)}")
    expect(saved, "nothing was ever saved")
    print(f"saving: {rounds} kills, {saved} after a save, {left} with a temporary file")


def uploading(probe, folder, rounds):
    created = between = 0
    for number in range(rounds):
        if number % 5 == 0:  # five kills on the same mod, so that updates are met as well
            mod = new_mod(folder)
            probe.new_store('{"bytes_per_pump": 4000}')
        fields = kill(probe, mod, "upload")
        journal = probe.store / "journal.txt"
        calls = journal.read_text().split("deliver 3403") if journal.exists() else [""]
        items = {item.parent.name for item in probe.store.glob("items/*/item.json")}
        expect(len(calls) <= 2 and len(items) == len(list(probe.store.glob("items/*"))),
               f"{len(calls) - 1} creations, whole are {items}")
        expect("StartItemUpdate" not in calls[-1] or fields["id"] in items, f"lost the number of {items}")
        if len(calls) == 2:
            created += 1
            if fields["id"] == "0":  # killed before the save: no program can close this gap
                between += 1
                shutil.rmtree(probe.store)
                probe.new_store('{"bytes_per_pump": 4000}')
    expect(created > between, "no item was ever created")
    print(f"uploading: {rounds} kills, {created} after a creation, {between} of these before the number was saved")


def using(probe, folder, rounds):
    probe.new_store('{"bytes_per_pump": 1000000000, "answer_after_pumps": 1}')
    mods = [new_mod(folder, name) / "metadata.xml" for name in ("Lantern", "Cellar")]
    for mod in mods:
        probe.run("hurry", "load", mod, "upload")
    for item in probe.store.glob("items/*"):
        shutil.copy(harness.ROOT / "resources/icons/tarnwick-mod-uploader-128.png", item / "preview")
    uses = [("load", mod, "preview", 20000, "upload") for mod in mods]
    tasks = [task for number in range(rounds) for task in uses[number % 2]]
    for at in (len(tasks), WARM_UP * 5):
        tasks[at:at] = ["shell", FIGURES]
    lines = probe.run("hurry", *tasks, seconds=rounds + 60)
    expect(sum(line == "image" for line in lines) == rounds, "a preview is missing")
    expect(sum("Successfully uploaded" in line for line in lines) == rounds, "an upload has failed")
    (memory, *others), (memory_now, *others_now) = [map(int, line.split()[1:]) for line in lines if line[:4] == "used"]
    lost = (memory_now - memory) * 1024 // (rounds - WARM_UP)
    print(f"using: {rounds} rounds; {lost} bytes a round; threads and files {others}, then {others_now}")
    # Connections to the preview's server may still be open.
    expect(sum(others_now) <= sum(others) + 10, "threads or files have grown")
    expect(lost <= KEPT or not probe.measurable, "memory has grown")


def play(folder, arguments):
    seed = arguments.seed or random.randrange(1, 10**6)
    print(f"seed {seed}")
    random.seed(seed)
    probe = harness.Probe(folder, arguments.build)
    saving(probe, new_mod(folder), arguments.rounds)
    uploading(probe, folder, arguments.rounds)
    using(probe, folder, WARM_UP + 5 * arguments.rounds)


parser = harness.command_line(__doc__)
parser.add_argument("--rounds", type=int, default=20, help="kills of each kind (20); five times as many uploads")
parser.add_argument("--seed", type=int, help="the same moments again, as far as the machine allows")
harness.main(parser, play, "setpriv")
