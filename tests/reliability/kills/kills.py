"""Processes are killed at random moments: a writer that uses the file object, and the tool in the middle of its commands."""
import os
import random
import shutil
import signal
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path += [HERE + "/..", HERE + "/../support"]
from campaign import COMMANDS, ORB, WORKLOAD, Looker, Reference, fresh_folder, make_inputs, names, orb, scratch, state
from report import by_length, measure

SEED = 20
random.seed(SEED)


def killed(words, folder, wait_s):
    """Runs a program for so long. @return what it had written, and whether the kill came in time"""
    process = subprocess.Popen(words, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    time.sleep(wait_s)
    process.kill()
    told = process.stdout.read().decode().split()
    return told, process.wait() == -signal.SIGKILL


def kill_writers(folder, rounds):
    """After each kill the file holds the last acknowledged flush or the one in flight, as an undisturbed run has it."""
    donor, path, looker = folder / "donor", folder / "file", Looker()
    subprocess.run([WORKLOAD, "donor", donor], check=True)
    reference = Reference(scratch(), donor)
    faults, acknowledged, in_flight, journals = [], 0, 0, 0
    for _ in range(rounds):
        told, in_time = killed([WORKLOAD, "write", path, donor, "100000000"], folder, random.uniform(0, 0.06))
        acknowledged = int(told[-1]) if told else acknowledged
        journals += (folder / "file-journal").exists()
        found = looker.look(path)
        if found == "none" and acknowledged == 0:
            continue
        fault = reference.fault(found, acknowledged) if acknowledged or found[:1] != "0" else ""
        if fault or not in_time:
            faults.append(fault or "the writer ended by itself")
            break
        in_flight += int(found.split()[0]) > acknowledged
        acknowledged = int(found.split()[0])
    reference.end()
    return faults, (f"{rounds} kills, {acknowledged} flushes acknowledged, {in_flight} in flight that were there, "
                    f"{journals} rolled back or completed")


def kill_creators(folder, rounds):
    """What was told is there and whole; what was in flight is whole or not there; nothing else stays."""
    faults, last, looker = [], 0, Looker()
    files = folder / "files"
    files.mkdir()
    for _ in range(rounds):
        told, _ = killed([WORKLOAD, "create", files, "100000000"], folder, random.uniform(0, 0.06))
        first, last = last + 1, int(told[-1]) if told else last
        for number in range(first, last + 2):
            found = looker.look(files / str(number))
            if not found.startswith("0 ") and not (number == last + 1 and found == "none"):
                faults.append(f"file {number} of {last} told: {found}")
        last += (files / str(last + 1)).exists()
    subprocess.run([WORKLOAD, "create", files, "1"], check=True, stdout=subprocess.DEVNULL)
    return faults, f"{rounds} kills, {last} files"


def kill_command(template, folder, words, targets, rounds):
    """The targets are the old files or the new ones; the next run works, and leaves nothing of the killed one."""
    faults, in_time_count = [], 0
    fresh_folder(template, folder)
    old = [state(folder / target) for target in targets]
    begin = time.monotonic()
    orb(words, folder)
    length = time.monotonic() - begin
    new, expected_names = [state(folder / target) for target in targets], names(folder)
    for _ in range(rounds):
        fresh_folder(template, folder)
        _, in_time = killed([ORB, *words.split()], folder, random.uniform(0, 1.1 * length))
        in_time_count += in_time
        for target, before, after in zip(targets, old, new):
            found = state(folder / target)
            if found not in (before, after):
                faults.append(f"{words}: {target} is {found}")
        again = orb(words, folder)
        refused = b"not overwritten without --force" in again.stderr
        is_published = refused or b" kept" in again.stdout
        if again.returncode != 0 and not refused:
            faults.append(f"{words}: the next run: {again.stderr.decode()}")
        left = set(names(folder)) ^ set(expected_names)
        if is_published:  # nobody wrote again, so a dead writer's lock, an empty file, waits for the next one
            left = {name for name in left if not name.endswith("-lock")}
        if left:
            faults.append(f"{words}: left in the folder: {left}")
    return faults, in_time_count


def kill_tool(folder, rounds):
    template, in_time, faults = folder / "template", 0, []
    template.mkdir()
    make_inputs(template)
    for _, words, targets in COMMANDS:
        more, hits = kill_command(template, folder / "run", words, targets, rounds)
        faults, in_time = faults + more, in_time + hits
    return faults, f"{rounds * len(COMMANDS)} runs, {in_time} killed before their end"


def main():
    folder = scratch(in_memory=False)
    failures = measure("kills", (
        ("writer through the file object, every kind of change", lambda: kill_writers(folder, by_length(60, 1500, 100000))),
        ("creator of files", lambda: kill_creators(folder, by_length(20, 300, 10000))),
        ("the tool, " + ", ".join(name for name, _, _ in COMMANDS), lambda: kill_tool(folder, by_length(2, 60, 2000)))))
    shutil.rmtree(folder)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
