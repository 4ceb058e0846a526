"""Crashing engines under --isolate: every way to crash, in every place of a sequence, under every command."""
import hashlib
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.append(os.path.dirname(os.path.abspath(__file__)) + "/..")
if "--json" in sys.argv:
    os.environ["ORB_RELIABILITY_JSON"] = sys.argv[sys.argv.index("--json") + 1]
from report import by_length, report

ORB, ENGINES = os.path.abspath(sys.argv[1]), pathlib.Path(sys.argv[2]).resolve()
SEGFAULT, ABORT, KILL = "ended by signal 11", "ended by signal 6", "ended by signal 9"
CRASHES = {"Segfault": SEGFAULT, "Abort": ABORT, "Exit": "ended its process with status 0",
           "QuickExit": "ended its process with status 0", "Throws": ABORT, "Killed": KILL, "UsesUpTheStack": SEGFAULT,
           "UsesUpMemory": "ended its process with status 1", "WritesAndCrashes": SEGFAULT,
           "FlushesAndCrashes": SEGFAULT, "ClosesTheFile": ABORT}
COMMAND = "make reliability PARTS=engines"


def orb(*words):
    return subprocess.run([ORB, *words], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True, errors="replace")


def good(*words):
    result = orb(*words)
    assert result.returncode == 0, (words, result)
    return result.stdout


def content(path):
    return hashlib.sha256(pathlib.Path(path).read_bytes()).hexdigest()


def spectrum_of(path):
    good("export", path, "../spectrum.csv", "--force")
    return pathlib.Path("../spectrum.csv").read_text()


def marks(path):
    """What each step left behind."""
    return [orb("get", path, "0x2010006E", "--record", str(step)).stdout.strip() for step in (1, 2, 3)]


class Case:
    """One crashing engine at one place of a sequence of three."""

    def __init__(self, engine, place):
        self.engine, self.place, self.faults = engine, place, []
        self.options = ["--aef", "engines.aef", "--engines", str(ENGINES.parent), "--isolate"]
        shutil.copy("clean.dat", "s.dat")
        names = ["Good"] * 3
        names[place] = engine
        good("sequence", "new", "s.asf", "--force")
        for name in names:
            good("sequence", "add", "s.asf", name)
        self.before = sorted(os.listdir())

    def expect(self, holds, what, *more):
        if not holds:
            self.faults.append(f"{self.engine} in place {self.place + 1}: {what} {more}")

    def told(self, result, words):
        self.expect(self.engine in words and CRASHES[self.engine] in words, "is not named", result)
        self.expect(sorted(os.listdir()) == self.before, "leaves something", os.listdir())

    def run(self):
        result = orb("run", "s.dat", "--sequence", "s.asf", *self.options)
        self.expect(result.returncode == 1, "run does not fail", result)
        self.told(result, result.stderr)
        self.whole(["good" if i < self.place else "" for i in range(3)])

    def skip(self):
        shutil.copy("clean.dat", "s.dat")
        result = orb("run", "s.dat", "--sequence", "s.asf", "--skip-errors", *self.options)
        self.expect((result.returncode == 0) == (self.place < 2), "does not go on", result)
        self.told(result, result.stderr)
        self.whole(["" if i == self.place else "good" for i in range(3)])

    def analyze(self):
        before = content("clean.dat")
        shutil.copy("clean.dat", "s.dat")
        for words in (["s.dat"], ["s.dat", "-o", "out.dat"], ["s.spe"]):
            result = orb("analyze", *words, "--sequence", "s.asf", *self.options)
            self.expect(result.returncode == 1, "analyze does not fail", result)
            self.told(result, result.stderr)
        self.expect(content("s.dat") == before, "analyze touches the file")

    def batch(self):
        result = orb("batch", "s.dat", "s.spe", "-o", "out", "--jobs", "2", "--sequence", "s.asf", *self.options)
        self.expect(result.returncode == 1 and os.listdir("out") == [], "batch keeps something", result)
        os.rmdir("out")
        self.told(result, result.stdout)

    def whole(self, expected):
        self.expect(orb("check", "s.dat").returncode == 0, "damages the file")
        self.expect(marks("s.dat") == expected, "leaves other results", marks("s.dat"))
        self.expect(spectrum_of("s.dat") == SPECTRUM, "touches the spectrum")


def crashes():
    faults, n = [], 0
    for engine in CRASHES:
        for place in by_length([1], range(3), range(3)):
            case = Case(engine, place)
            for command in (case.run, case.skip, case.analyze, case.batch):
                command()
                n += 1
            faults += case.faults
    return n, faults


def steps_of(words):
    return [(step["step"], step["engine"], step["result"]) for step in json.loads(orb(*words).stdout)["steps"]]


def own_library():
    """A file whose nuclide library lies beside it, under a name that no installed one has."""
    shutil.copy("clean.dat", "own.dat")
    pathlib.Path("lines.csv").write_text("nuclide,half_life,parent,energy_keV,energy_unc_keV,probability_percent,"
                                         "probability_unc,type,key,reference\n"
                                         "Cs-137,30.05 y,,661.657,0.003,85.1,0.2,gamma,yes,\n")
    good("library", "lines.csv", "own.nlb", "--force")
    for code in ("0x2010004A", "0x20100072"):
        good("set", "own.dat", code, "own.nlb")


def healthy():
    """The standard sequence, and one whose second step fails by itself, with and without a process for each step."""
    faults, n = [], 0

    def same(what, *sides):
        nonlocal n
        n += 1
        if sides[0] != sides[1]:
            faults.append(f"{what}: {sides}")

    both = [[], ["--isolate"]]
    same("analyze", *(good("analyze", "clean.dat", "--limits", *more) for more in both))
    same("analyze of a text", *(orb("analyze", "s.spe", "--json", *more).stdout for more in both))
    own_library()
    same("analyze with a library beside the file", *(good("analyze", "own.dat", *more) for more in both))
    good("sequence", "new", "f.asf", "--force")
    for name in ("Good", "Fails", "Good"):
        good("sequence", "add", "f.asf", name)
    own = ["--sequence", "f.asf", "--aef", "engines.aef", "--engines", str(ENGINES.parent)]
    for words in ([], own, own + ["--skip-errors"]):
        found = []
        for more in both:
            shutil.copy("clean.dat", "s.dat")
            steps = steps_of(["run", "s.dat", "--json", *words, *more])
            found.append((steps, marks("s.dat"), good("nuclides", "s.dat", "--json")))
        same("run " + " ".join(words), *found)
    tables = []
    for more in both:
        good("batch", "clean.dat", "s.spe", "-o", "out", "--csv", "out.csv", *more)
        tables.append(pathlib.Path("out.csv").read_text())
        shutil.rmtree("out")
    same("batch", *tables)
    return n, faults


def main():
    global SPECTRUM
    with tempfile.TemporaryDirectory() as folder:
        os.mkdir(folder + "/here")
        os.chdir(folder + "/here")
        lines = [f"c$0$d${name}$0${ENGINES.name}!{name}\n" for name in ["Good", "Fails", *CRASHES]]
        pathlib.Path("engines.aef").write_text("".join(lines))
        good("simulate", "clean.dat", "--nuclides", "Cs-137:500,Co-60:300", "--seed", "7", "--channels", "4096")
        good("export", "clean.dat", "s.spe")
        SPECTRUM = spectrum_of("clean.dat")
        all_faults = []
        for row, part in (("crashes in a step, by command", crashes), ("engines that are well, with and without", healthy)):
            begin = time.monotonic()
            n, faults = part()
            figure = f"{n} runs" + (f" of {len(CRASHES)} engines" if part is crashes else " compared")
            report(row, figure, len(faults), time.monotonic() - begin, COMMAND)
            print(f"{row}: {figure}, {len(faults)} faults")
            all_faults += faults
        os.chdir("/")
    print("\n".join(all_faults[:20]))
    return 1 if all_faults else 0


sys.exit(main())
