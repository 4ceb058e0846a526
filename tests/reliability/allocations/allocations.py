"""Every allocation of the tool fails, one in each run: ORB - LAYER [--only WORDS] [--points N] [--at N] [--jobs N].

A command that answers 0 must have printed and written what it does with all memory; one that fails must say so, and leave
each file as it was or as it ought to be. Nothing ends by a signal or hangs.
"""
import argparse
import concurrent.futures
import itertools
import os
import random
import re
import shutil
import sqlite3
import subprocess
import sys
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path += [HERE + "/..", HERE + "/../support"]
from campaign import COMMANDS, LAYER, ORB, fresh_folder, make_inputs, orb, scratch, without_times
from report import by_length, report

DURATION = re.compile(rb" +[0-9.]+ m?s  ")  # of a step
OTHERS = """
--help
analyze --help
info target.dat --json
get source.dat ORB_D_LIVETIME
params ORB_D
explain 0xE06100EA
dump source.dat
check source.dat
diff target.dat source.dat
nuclides source.dat --limits
nuclides --name Co-60
engines
eval source.dat energy 100
eval source.dat efficiency 661.7 --model interpolated
region source.dat --energy 661.66
peaks target.dat --range 600:700keV
fit source.dat --start 40 --end 90 --free-fwhm 3
calibrate target.dat --auto Cs-137,Co-60 --json
calibrate target.dat --points points.csv
copy source.dat target.dat --calibrations all
export source.dat -  --format spe
export source.dat fresh.csv
import field.n42 fresh.dat
plot source.dat --log
plot source.dat -o fresh.svg
library lines.csv fresh.nlb
sequence new fresh.asf --title Lines
sequence add steps.asf peak location --options ORB_F_LOCTHRESH=4
sequence show steps.asf
run ge.dat --sequence steps.asf
simulate fresh.dat --nuclides Cs-137:2000,Co-60 --channels 512 --seed 5
analyze ge.dat --limits
analyze ge.dat -o fresh.dat --json
batch spectra -o out --jobs 1
set target.dat ORB_D_LIVETIME -5
no such command
"""


def inputs(folder):
    make_inputs(folder)
    (folder / "points.csv").write_text("kind,x,value,uncertainty\nenergy,50,560,1\nenergy,110,1200,1\nfwhm,600,40,1\n"
                                       "fwhm,1200,60,2\nefficiency,100,0.1,0.01\nefficiency,900,0.02,0.001\n")
    (folder / "lines.csv").write_text(
        "nuclide,half_life,parent,energy_keV,energy_unc_keV,probability_percent,probability_unc,type,key,reference\n"
        "Cs-137,30.05 y,,661.66,0.01,85.1,0.2,gamma,yes,none\nCo-60,5.27 y,,1173.2,0.01,99.8,0.1,gamma,yes,none\n")
    for words in (["simulate", "ge.dat", "--nuclides", "Cs-137:500,Ra-226:200", "--channels", "4096", "--seed", "2"],
                  ["sequence", "new", "steps.asf"], ["sequence", "add", "steps.asf", "peak location"],
                  ["sequence", "add", "steps.asf", "peak area", "--options", "ORB_L_MAXADDED=2"],
                  ["sequence", "add", "steps.asf", "nuclide identification"]):
        done = orb(words, folder)
        assert done.returncode == 0, done.stderr
    (folder / "ge.dat.json").unlink()


def words_of(command):
    words = command.split()
    if "peak" in words:  # the name of an engine is one word
        at = words.index("peak")
        words[at:at + 2] = [" ".join(words[at:at + 2])]
    return words


def content(path):
    """Equal for files that hold the same, whenever they were written."""
    if path.is_dir():
        return "folder"
    data = path.read_bytes()
    if data[:6] != b"SQLite":
        return without_times(data)
    try:
        with sqlite3.connect(f"file:{path}?mode=ro&immutable=1", uri=True) as file:
            rows = [file.execute("SELECT class, record, entry, code, name, value FROM parameter ORDER BY 1, 2, 3, 4").fetchall(),
                    file.execute("SELECT group_no, row_no, format, channels FROM spectrum ORDER BY 1, 2").fetchall(),
                    file.execute("SELECT class, entries FROM block ORDER BY 1").fetchall()]
    except sqlite3.Error as error:
        return f"damaged: {error}"
    return without_times(repr(rows).encode())


def contents(folder):
    return {str(path.relative_to(folder)): content(path) for path in sorted(folder.rglob("*"))}


class Command:
    """A command of the tool, what it does with all memory, and what is wrong with a run that had less."""

    def __init__(self, words, template, folder):
        self.words, self.template = words, template
        self.before = contents(template)
        counts = folder.parent / "allocations"
        self.good = self.run(folder, ORB_COUNT_ALLOCATIONS=counts)
        self.after = contents(folder)
        self.allocations = int(counts.read_text())
        again = self.run(folder)
        assert self.answer(again) == self.answer(self.good), f"{words}: {again} is not {self.good}"
        assert contents(folder) == self.after, f"{words}: two runs give two results"

    def run(self, folder, **settings):
        fresh_folder(self.template, folder)
        environment = dict(os.environ, LD_PRELOAD=LAYER, **{name: str(value) for name, value in settings.items()})
        return orb(self.words, folder, env=environment, timeout=120)

    @staticmethod
    def answer(done):
        return done.returncode, DURATION.sub(b"(duration)", without_times(done.stdout)), without_times(done.stderr)

    def fault(self, folder, number, onwards):
        """What is wrong when this allocation fails; empty when nothing is."""
        settings = dict(ORB_FAIL_ALLOCATION=number, **({"ORB_FAIL_ONWARDS": 1} if onwards else {}))
        try:
            done = self.run(folder, **settings)
        except subprocess.TimeoutExpired:
            return "does not end"
        if done.returncode < 0:
            return f"signal {-done.returncode}: " + done.stderr.decode(errors="replace")[-200:]
        found = contents(folder)
        if done.returncode == self.good.returncode:
            for what, seen, expected in (("output", self.answer(done), self.answer(self.good)), ("files", found, self.after)):
                if seen != expected and not (done.returncode != 0 and done.stderr and found in (self.before, self.after)):
                    return f"answers {done.returncode} with other {what}: " + difference(seen, expected)
            return ""
        if not done.stderr:
            return f"ends with {done.returncode} and not a word"
        wrong = [name for name in found if found[name] not in (self.before.get(name), self.after.get(name))]
        # The table of a batch tells of the failure; a lock that could not be taken away is that of a writer that is gone.
        wrong = [name for name in wrong if name != "out.csv" and not (onwards and name.endswith("-lock"))]
        if self.words[0] == "run":  # the results of the steps before the failed one stay
            wrong = [name for name in wrong if found[name][:7] == "damaged"]
        wrong += [name for name in self.before if name not in found and name in self.after]
        return f"fails and leaves {wrong}: " + done.stderr.decode(errors="replace")[-200:] if wrong else ""


def difference(seen, expected):
    a, b = repr(seen), repr(expected)
    at = next((i for i, (x, y) in enumerate(zip(a, b)) if x != y), min(len(a), len(b)))
    return f"...{a[max(0, at - 60):at + 120]}... in place of ...{b[max(0, at - 60):at + 120]}..."


def points(allocations, wanted, chance):
    """So many of 1 to n, spread evenly; all of them when there are no more."""
    if wanted >= allocations:
        return range(1, allocations + 1)
    stride = allocations / wanted
    return [1 + min(allocations - 1, int((i + chance.random()) * stride)) for i in range(wanted)]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("programs", nargs=3)
    parser.add_argument("--only", default="")
    parser.add_argument("--points", type=int, default=by_length(8, 60, 10**9), help="of each command")
    parser.add_argument("--at", type=int, help="this allocation alone")
    parser.add_argument("--onwards", action="store_true", help="and all after it")
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--seed", type=int, default=7)
    arguments = parser.parse_args()
    begin, root, chance = time.monotonic(), scratch(), random.Random(arguments.seed)
    (root / "template").mkdir()
    inputs(root / "template")
    commands = [words for _, words, _ in COMMANDS] + [line for line in OTHERS.splitlines() if line]
    runs, faults, numbers, folders = 0, [], itertools.count(), threading.local()

    def one(command, number, onwards):
        if not hasattr(folders, "mine"):
            folders.mine = root / f"run{next(numbers)}"
        return command.fault(folders.mine, number, onwards)

    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        for words in commands:
            if arguments.only not in words:
                continue
            command = Command(words_of(words), root / "template", root / "good")
            chosen = [arguments.at] if arguments.at else points(command.allocations, arguments.points, chance)
            tasks = {(number, onwards): pool.submit(one, command, number, onwards)
                     for i, number in enumerate(chosen) for onwards in {arguments.onwards, i % 4 == 3}}
            for (number, onwards), task in tasks.items():
                runs += 1
                if task.result():
                    faults.append(f"orb {words}, allocation {number}{' and on' if onwards else ''}: {task.result()}")
                    print(faults[-1], flush=True)
            print(f"orb {words}: {len(tasks)} of {command.allocations} allocations", flush=True)
    shutil.rmtree(root)
    report("the tool, an allocation of a command fails, once or from then on", f"{runs} runs of {len(commands)} commands",
           len(faults), time.monotonic() - begin, "make reliability PARTS=allocations")
    print(f"{runs} runs, {len(faults)} faults, {time.monotonic() - begin:.0f} s")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
