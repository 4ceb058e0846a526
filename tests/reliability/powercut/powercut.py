"""Takes the power from recorded processes: what the I/O layer wrote down is replayed on a model of a disk, which keeps of
what was not synced any part, and the data files of all such disks are opened."""
import hashlib
import itertools
import os
import pathlib
import random
import shutil
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path += [HERE + "/..", HERE + "/../support"]
from campaign import (COMMANDS, ORB, WORKLOAD, Looker, Reference, fresh_folder, layer_environment, make_inputs, names,
                      scratch)
from report import by_length, report

SECTOR = 512
ALL_BELOW = 5  # so many pending changes are tried in all combinations


def apply(change, data):
    """A change is (offset, bytes), or (size, None) for a truncation."""
    offset, part = change
    if part is None:
        return data[:offset].ljust(offset, b"\0")
    return data[:offset].ljust(offset, b"\0") + part + data[offset + len(part):]


class Disk:
    """Files by inode, names by path; of both what is sure to be there, and what may be."""

    def __init__(self, root, obey_syncs=True):
        self.root, self.obey_syncs = str(root), obey_syncs
        self.names, self.sure, self.pending, self.pending_names = {}, {}, {}, []
        self.folders = {os.stat(path).st_ino: path for path, _, _ in os.walk(root)}
        for path in pathlib.Path(root).rglob("*"):
            if path.is_file():
                inode = path.stat().st_ino
                self.names[str(path)], self.sure[inode], self.pending[inode] = inode, path.read_bytes(), []
        self.current = dict(self.names)  # names as the process sees them

    def replay(self, line):
        """One line of the log. @return whether it changed something"""
        kind, *words = line.split(" ")
        if kind == "write":
            self.pending.setdefault(int(words[0]), []).append((int(words[1]), bytes.fromhex(words[2])))
        elif kind == "truncate":
            self.pending.setdefault(int(words[0]), []).append((int(words[1]), None))
        elif kind in ("create", "unnamed"):
            inode = int(words[-1])
            self.retire(inode)
            self.sure[inode], self.pending[inode] = b"", []
            if kind == "create":
                self.rename(None, words[0], inode)
        elif kind == "name":
            self.rename(None, words[0], int(words[1]))
        elif kind in ("rename", "link"):
            self.rename(words[0] if kind == "rename" else None, words[1], self.current[words[0]])
        elif kind == "unlink":
            self.rename(words[0], None, None)
        elif kind == "sync" and self.obey_syncs:
            self.sync(int(words[0]))
        return kind != "told"

    def retire(self, inode):
        """A number that is used again: the old file may still be on the disk under a name, so it keeps its content."""
        old = ("old", inode, random.random())
        if inode not in self.sure:
            return
        self.sure[old], self.pending[old] = self.sure[inode], self.pending[inode]
        self.names = {name: old if number == inode else number for name, number in self.names.items()}
        self.pending_names = [(a, b, old if number == inode else number) for a, b, number in self.pending_names]

    def rename(self, old, new, inode):
        self.pending_names.append((old, new, inode))
        self.change_name(self.current, (old, new, inode))

    @staticmethod
    def change_name(table, change):
        old, new, inode = change
        if old is not None:
            table.pop(old, None)
        if new is not None:
            table[new] = inode

    def sync(self, inode):
        if inode not in self.folders:
            for change in self.pending[inode]:
                self.sure[inode] = apply(change, self.sure[inode])
            self.pending[inode] = []
            return
        inside = [change for change in self.pending_names if os.path.dirname(change[1] or change[0]) == self.folders[inode]]
        for change in inside:
            self.change_name(self.names, change)
        # A file that came from another folder came whole: that its former name was made is not left open any more.
        self.pending_names = [change for at, change in enumerate(self.pending_names) if change not in inside and not any(
            later in inside and change[1] is not None and later[0] == change[1] for later in self.pending_names[at + 1:])]

    def units(self):
        """What may be on the disk or not: changes of names, sectors, truncations."""
        for change in self.pending_names:
            yield None, change
        for inode, changes in self.pending.items():
            for offset, part in changes:
                if part is None:
                    yield inode, (offset, None)
                else:
                    for at in range(0, len(part), SECTOR):
                        yield inode, (offset + at, part[at:at + SECTOR])

    def image(self, units):
        table, content = dict(self.names), {}
        for inode, change in units:
            if inode is None:
                self.change_name(table, change)
            else:
                content[inode] = apply(change, content.get(inode, self.sure.get(inode, b"")))
        return {name: content.get(inode, self.sure.get(inode, b"")) for name, inode in table.items()}

    def images(self, samples):
        """Disks as a power cut now may leave them."""
        units = list(self.units())
        if len(units) < ALL_BELOW:
            chosen = [[unit for unit, kept in zip(units, mask) if kept]
                      for mask in itertools.product((False, True), repeat=len(units))]
        else:
            chosen = [[], units, [unit for unit in units if unit[0] is None], [unit for unit in units if unit[0] is not None]]
            for _ in range(samples):
                share = random.choice((0.1, 0.5, 0.9))
                chosen.append([unit for unit in units if random.random() < share])
        return [self.image(choice) for choice in chosen]


def record(words, folder, log):
    """Runs a program above the layer; a fault if it fails or if the model does not end with what is on the disk."""
    log.unlink(missing_ok=True)
    before = Disk(folder)
    done = subprocess.run(words, cwd=folder, env=layer_environment(folder, LOG=log), stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE)
    assert done.returncode == 0, done.stderr
    lines = log.read_text().splitlines()
    model = Disk.__new__(Disk)
    model.__dict__.update(copied(before))
    for line in lines:
        model.replay(line)
    expected = {str(path): path.read_bytes() for path in folder.rglob("*") if path.is_file()}
    assert model.image(model.units()) == expected, f"{words}: something was changed unseen"
    return before, lines


def copied(disk):
    state = dict(disk.__dict__)
    for key in ("names", "sure", "current", "folders"):
        state[key] = dict(state[key])
    state["pending"] = {inode: list(changes) for inode, changes in disk.pending.items()}
    state["pending_names"] = list(disk.pending_names)
    return state


class Cuts:
    """All power cuts of one recorded run. `judge(folder, told)` says what is wrong with a disk."""

    def __init__(self, before, lines, judge, samples, obey_syncs=True):
        self.disk = Disk.__new__(Disk)
        self.disk.__dict__.update(copied(before), obey_syncs=obey_syncs)
        self.lines, self.judge, self.samples = lines, judge, samples
        self.seen, self.faults = set(), []
        self.place = scratch()

    def run(self):
        told = ""
        self.try_all(told)
        for number, line in enumerate(self.lines):
            if line.startswith("told "):
                told = bytes.fromhex(line[5:]).decode()
            if self.disk.replay(line):
                self.try_all(told, number)
            if len(self.faults) >= 50:
                break
        shutil.rmtree(self.place)
        return self

    def try_all(self, told, number=-1):
        for image in self.disk.images(self.samples):
            key = hashlib.sha1(repr((told, sorted((name, hashlib.sha1(data).digest()) for name, data in image.items())))
                               .encode()).digest()
            if key in self.seen:
                continue
            self.seen.add(key)
            fault = self.judge(self.put(image), told)
            if fault:
                self.faults.append(f"behind line {number} ({' '.join(self.lines[number].split(' ')[:3])[:90]}): {fault}")

    def put(self, image):
        for path in self.place.rglob("*"):
            if path.is_file():
                path.unlink()
        for name, data in image.items():
            path = self.place / os.path.relpath(name, self.disk.root)
            path.parent.mkdir(exist_ok=True)
            path.write_bytes(data)
        return self.place


def cut_writer(folder, flushes, samples, **syncs):
    """A new file that is flushed some times, each time with many changes."""
    donor, looker = folder / "donor", Looker()
    subprocess.run([WORKLOAD, "donor", donor], check=True)
    reference = Reference(scratch(), donor)
    root = folder / "disk"
    root.mkdir()
    before, lines = record([WORKLOAD, "write", root / "file", donor, str(flushes)], root, folder / "log")

    def judge(place, told):
        found = looker.look(place / "file")
        # Before the first flush the file is not there or as whole as a new one, whatever it holds.
        if not told and (found == "none" or found.startswith("0 ")):
            return ""
        return reference.fault(found, int(told or 0))

    cuts = Cuts(before, lines, judge, samples, **syncs).run()
    reference.end()
    return cuts


def cut_command(template, folder, words, targets, samples, **syncs):
    """A command of the tool: each target is the old file or the new one, and the new one when the command has ended."""
    looker = Looker()

    def content(path):
        if path.suffix == ".dat":
            return looker.look(path)
        return hashlib.sha1(path.read_bytes()).hexdigest() if path.exists() else "none"

    root = fresh_folder(template, folder / "disk")
    old = [content(root / target) for target in targets]
    fresh_folder(template, root)
    before, lines = record([ORB, *words.split()], root, folder / "log")
    lines = [line for line in lines if not line.startswith("told ")] + ["told " + b"done".hex(), "truncate 0 0"]
    new = [content(root / target) for target in targets]

    def judge(place, told):
        for target, first, last in zip(targets, old, new):
            found = content(place / target)
            if found != last and (told or found != first):
                return f"{words}: {target} is {found}"
        return ""

    return Cuts(before, lines, judge, samples, **syncs).run()


def main():
    random.seed(512)
    command, failures = "make reliability PARTS=powercut", 0
    runs = [("a new file and its flushes", lambda place, samples: [cut_writer(place, by_length(4, 30, 400), samples)],
             by_length(2, 30, 60)),
            ("the tool, " + ", ".join(name for name, _, _ in COMMANDS), cut_commands, by_length(1, 30, 60))]
    for row, run, samples in runs:
        begin, place = time.monotonic(), scratch()
        cuts = run(place, samples)
        faults = [fault for cut in cuts for fault in cut.faults]
        images, calls = sum(len(cut.seen) for cut in cuts), sum(len(cut.lines) for cut in cuts)
        print(f"{row}: {images} disks", *faults[:20], sep="\n  ", flush=True)
        report(row, f"{images} different disks at {calls} recorded changes", len(faults), time.monotonic() - begin, command)
        failures += len(faults)
        shutil.rmtree(place)
    begin, place = time.monotonic(), scratch()
    blind = [cut_writer(place, 3, 4, obey_syncs=False), *cut_commands(place, 4, COMMANDS[:2], obey_syncs=False)]
    sees = all(cut.faults for cut in blind)
    figure = ", ".join(f"{len(cut.faults)} losses in {len(cut.seen)} disks" for cut in blind)
    print(f"syncs ignored: {figure}", *blind[0].faults[:3], sep="\n  ")
    report("proof that it sees: a writer and two commands of the tool with syncs ignored", figure, 0 if sees else 1,
           time.monotonic() - begin, command)
    shutil.rmtree(place)
    return 1 if failures or not sees else 0


def cut_commands(place, samples, commands=COMMANDS, **syncs):
    template = place / "template"
    template.mkdir()
    make_inputs(template)
    return [cut_command(template, place, words, targets, samples, **syncs) for _, words, targets in commands]


if __name__ == "__main__":
    sys.exit(main())
