"""Calls of the file system fail, once and from then on, and disks are full: a process ends as if nothing had happened or
tells of a failure; what it was to change is the old file or the new one."""
import collections
import errno
import os
import random
import shutil
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path += [HERE + "/..", HERE + "/../support"]
from campaign import (COMMANDS, ORB, WORKLOAD, Looker, Reference, fresh_folder, layer_environment, make_inputs, names, orb,
                      scratch, state)
from report import by_length, report

COMMAND = "make reliability PARTS=iofaults"
EIO, ENOSPC, EINTR = errno.EIO, errno.ENOSPC, errno.EINTR
ACTIONS = {"open": [EIO, EINTR, errno.EMFILE], "read": [EIO, "short", EINTR], "write": [EIO, ENOSPC, "short", EINTR],
           "sync": [EIO, ENOSPC], "truncate": [EIO, ENOSPC], "rename": [EIO, ENOSPC], "link": [EIO], "unlink": [EIO],
           "stat": [EIO, errno.EACCES], "lock": [errno.ENOLCK, EINTR], "close": [EIO], "any": ["kill"]}


def plan(trace, limit):
    """Every call that a good run makes, with every way to fail; a sample of them if there are too many."""
    counts = collections.Counter(trace.read_text().split())
    counts["any"] = sum(counts.values())
    faults = [f"{kind}:{number}{onwards}:{action}" for kind, n in counts.items() for action in ACTIONS[kind]
              for onwards in (("",) if action in (EINTR, "kill") else ("", "+")) for number in range(1, n + 1)]
    return random.sample(faults, min(limit, len(faults)))


def run_with(fault, words, folder, place):
    trace = place / "trace"
    trace.unlink(missing_ok=True)
    done = subprocess.run(["timeout", "-s", "ABRT", "20", *words], cwd=folder, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          env=layer_environment(folder, TRACE=trace, FAULT=fault))
    done.hit = "hit" in trace.read_text().split()
    return done


def ended_badly(done, fault):
    if done.returncode == 0 or (done.returncode in (-9, 137) and fault.endswith("kill")):
        return ""
    if done.returncode == 124:
        return "did not end"
    if done.returncode != 1:
        return f"ended with {done.returncode}: {done.stderr[-300:]}"
    return "" if done.stderr else "told nothing"


class Command:
    """A command of the tool, with what a good run makes of its targets."""

    def __init__(self, template, place, words, targets):
        self.template, self.place, self.words, self.targets = template, place, words, targets
        self.folder = fresh_folder(template, place / "run")
        self.old = [(self.content(target), state(self.folder / target)) for target in targets]
        done = run_with("", [ORB, *words.split()], self.folder, place)
        assert done.returncode == 0, done.stderr
        self.new = [state(self.folder / target) for target in targets]
        self.names = names(self.folder)

    def content(self, target):
        path = self.folder / target
        return path.read_bytes() if path.exists() else None

    def fault_with(self, fault):
        """@return what is wrong, and whether a call failed"""
        fresh_folder(self.template, self.folder)
        done = run_with(fault, [ORB, *self.words.split()], self.folder, self.place)
        wrong = ended_badly(done, fault) or self.judge(done.returncode == 0)
        may_leave = fault.startswith("unlink") or fault.endswith("kill") or done.returncode != 0 and "+" in fault
        left = set(names(self.folder)) - set(self.names)
        if fault.startswith("stat"):  # an empty lock file that cannot be looked at may be another's
            left = {name for name in left if not name.endswith("-lock")}
        if not wrong and not may_leave and left:
            wrong = f"left in the folder: {left}"
        if not wrong and done.returncode != 0:
            again = orb(self.words, self.folder)
            if again.returncode != 0 and b"not overwritten without --force" not in again.stderr:
                wrong = f"the next run: {again.stderr.decode()}"
        return wrong and f"orb {self.words}, {fault}: {wrong}", done.hit

    def judge(self, told_success):
        for target, (old_bytes, old), new in zip(self.targets, self.old, self.new):
            # The summary of a batch tells of what failed.
            if not told_success and (target == "out.csv" or self.content(target) == old_bytes):
                continue
            found = state(self.folder / target)
            if found != new and (told_success or found != old):
                return f"{target} is {found}" + (" after success was told" if told_success else "")
        return ""


def fail_tool(place, limit):
    template = place / "template"
    template.mkdir()
    make_inputs(template)
    for _, words, targets in COMMANDS:
        command = Command(template, place, words, targets)
        for fault in plan(place / "trace", limit):
            yield command.fault_with(fault)


def fail_writer(place, limit):
    """A file that has two flushes gets three more; or it is made."""
    donor, base, path, looker = place / "donor", place / "base", place / "run" / "file", Looker()
    subprocess.run([WORKLOAD, "donor", donor], check=True)
    subprocess.run([WORKLOAD, "write", base, donor, "2"], check=True, stdout=subprocess.DEVNULL)
    reference = Reference(place, donor)
    words = [WORKLOAD, "write", path, donor, "3"]

    def start(is_new):
        shutil.rmtree(path.parent, ignore_errors=True)
        path.parent.mkdir()
        if not is_new:
            shutil.copy(base, path)

    for is_new in (False, True):
        start(is_new)
        assert run_with("", words, path.parent, place).returncode == 0
        for fault in plan(place / "trace", limit):
            start(is_new)
            done = run_with(fault, words, path.parent, place)
            told = int((done.stdout.split() or [0 if is_new else 2])[-1])
            found = looker.look(path)
            wrong = ended_badly(done, fault)
            if not wrong and done.returncode == 0 and found != reference.after(3 if is_new else 5):
                wrong = f"success was told, found {found}"
            if not wrong and not (told == 0 and (found == "none" or found.startswith("0 "))):
                wrong = reference.fault(found, told)
            yield wrong and f"flushes of {'a new' if is_new else 'an old'} file, {fault}: {wrong}", done.hit
    reference.end()


def fill_disk(place, limit):
    """On a file system with so many pages to spare, from none to enough."""
    template, disk = scratch() / "template", place / "disk"
    template.mkdir()
    make_inputs(template)
    disk.mkdir()
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4m", "tmpfs", disk], check=True)
    for _, words, targets in COMMANDS:
        command = Command(template, disk, words, targets)
        for pages in range(0, 400, by_length(40, 4, 1)):
            fresh_folder(template, command.folder)
            (disk / "trace").unlink(missing_ok=True)
            filler = disk / "filler"
            free = os.statvfs(disk).f_bavail
            filler.write_bytes(bytes(4096 * (free - pages)))
            done = orb(words, command.folder)
            filler.unlink()
            wrong = ended_badly(done, "") or command.judge(done.returncode == 0)
            if not wrong and not set(names(command.folder)) <= set(command.names):
                wrong = f"left in the folder: {set(names(command.folder)) - set(command.names)}"
            yield wrong and f"orb {words}, {pages} pages free: {wrong}", done.returncode != 0
            if done.returncode == 0:
                break


def measure(row, cases, figure):
    begin, faults, n, hits = time.monotonic(), [], 0, 0
    for wrong, hit in cases:
        n, hits = n + 1, hits + hit
        if wrong:
            faults.append(wrong)
            print("  " + wrong, flush=True)
    print(f"{row}: {figure.format(n=n, hits=hits)}", flush=True)
    report(row, figure.format(n=n, hits=hits), len(faults) + (hits == 0), time.monotonic() - begin, COMMAND)
    return len(faults) + (hits == 0)


def main():
    random.seed(5)
    place = scratch()
    if "full-disk" in sys.argv:  # in a mount namespace of its own
        return measure("full disk, the tool", fill_disk(place, 0), "{n} runs with so much room or less, {hits} without enough")
    writer, tool = scratch(), scratch()
    failures = measure("file calls of a writer through the file object", fail_writer(writer, by_length(60, 500, 1000000)),
                       "{n} runs, a call failed in {hits}")
    if ORB == "-":
        return 1 if failures else 0
    failures += measure("file calls of the tool", fail_tool(tool, by_length(8, 100, 1000000)),
                        "{n} runs, a call failed in {hits}")
    can = subprocess.run(["unshare", "-rm", "mount", "-t", "tmpfs", "tmpfs", place], capture_output=True).returncode == 0
    if can:
        failures += subprocess.run(["unshare", "-rm", sys.executable, __file__, *sys.argv[1:], "full-disk"]).returncode
    else:
        report("full disk, the tool", "skipped: no right to mount a file system here", 0, 0, COMMAND)
        print("full disk: skipped, no right to mount a file system here")
    for folder in (place, writer, tool):
        shutil.rmtree(folder)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
