"""What the parts that run processes share: the programs, a folder of inputs, the tool's commands that write, and what
lies under a name afterwards. The programs come as arguments: ORB WORKLOAD LAYER."""
import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ORB, WORKLOAD, LAYER = (sys.argv[1:4] + [""] * 3)[:3]

# Name, words, and what may change. target.dat, page.html and field.n42 are there before, the others are not.
COMMANDS = [
    ("set", "set target.dat ORB_T_CTITLE new", ["target.dat"]),
    ("copy a block", "copy source.dat target.dat --class 0x2006", ["target.dat"]),
    ("copy everything", "copy source.dat target.dat --all --force", ["target.dat"]),
    ("calibrate", "calibrate target.dat --energy 50:560 110:1200 200:2140", ["target.dat"]),
    ("analyze", "analyze target.dat", ["target.dat"]),
    ("analyze a text", "analyze field.spe -o target.dat --report page.html --force", ["target.dat", "page.html"]),
    ("import", "import field.spe target.dat --force", ["target.dat"]),
    ("import into a new file", "import field.spe fresh.dat", ["fresh.dat"]),
    ("create", "create target.dat --channels 512 --force", ["target.dat"]),
    ("report", "report source.dat -o page.html --force", ["page.html"]),
    ("export", "export source.dat field.n42 --force", ["field.n42"]),
    ("batch", "batch spectra -o out --csv out.csv --jobs 2", ["out/a.spe.dat", "out/b.spe.dat", "out.csv"]),
]
TIME = re.compile(rb"\d{4}-\d\d-\d\d[T ]\d\d:\d\d(:\d\d(\.\d+)?)?Z?")


def orb(words, folder, **options):
    words = words.split() if isinstance(words, str) else words
    return subprocess.run([ORB, *words], cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, **options)


def layer_environment(root, **settings):
    """The environment of a program above the I/O layer, which follows what lies below `root`."""
    return dict(os.environ, LD_PRELOAD=LAYER, ORB_IO_ROOT=str(root), **{f"ORB_IO_{k}": str(v) for k, v in settings.items()})


def scratch(in_memory=True):
    place = "/dev/shm" if in_memory and os.access("/dev/shm", os.W_OK) else None
    return pathlib.Path(tempfile.mkdtemp(prefix="orb-reliability-", dir=place)).resolve()


def make_inputs(folder):
    """The folder in which the commands run."""
    for words in ("simulate target.dat --nuclides Cs-137:2000,Co-60:1000 --detector nai --channels 256 --live-time 60 --seed 1",
                  "export target.dat field.spe", "export target.dat field.n42", "copy target.dat source.dat --all",
                  "analyze source.dat", "create other.dat --channels 64", "report other.dat -o page.html"):
        done = orb(words, folder)
        assert done.returncode == 0, done.stderr
    (folder / "spectra").mkdir()
    (folder / "out").mkdir()
    for name in "ab":
        shutil.copy(folder / "field.spe", folder / "spectra" / f"{name}.spe")
    (folder / "target.dat.json").unlink()


def fresh_folder(template, folder):
    shutil.rmtree(folder, ignore_errors=True)
    shutil.copytree(template, folder)
    return folder


def names(folder):
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*"))


def without_times(data):
    return TIME.sub(b"(time)", data)


def state(path):
    """What lies under a name, for comparisons: None for nothing, equal for files that differ in times of writing only."""
    if not path.exists():
        return None
    if path.suffix != ".dat":
        return hashlib.sha1(without_times(path.read_bytes())).hexdigest()
    check = orb(["check", path.name], path.parent)
    dump = orb(["dump", path.name], path.parent)
    if check.returncode or dump.returncode:
        return "damaged: " + (check.stdout[-200:] + check.stderr + dump.stderr).decode(errors="replace")
    return hashlib.sha1(without_times(dump.stdout)).hexdigest()


class Looker:
    """Opens data files one after the other in one process, and tells the number of the flush and a hash of the content."""

    def __init__(self):
        self.process = subprocess.Popen([WORKLOAD, "look"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                        stderr=subprocess.DEVNULL)

    def look(self, path):
        print(path, file=self.process.stdin, flush=True)
        return self.process.stdout.readline().strip() or "the process died"


class Reference:
    """The content after each flush of the workload, from a run that nobody disturbs."""

    def __init__(self, folder, donor):
        self.process = subprocess.Popen([WORKLOAD, "reference", folder / "reference", donor, "100000000"],
                                        stdout=subprocess.PIPE, text=True, stderr=subprocess.DEVNULL)
        self.lines = []

    def after(self, number):
        while len(self.lines) <= number:
            self.lines.append(self.process.stdout.readline().strip())
        return self.lines[number]

    def fault(self, found, acknowledged):
        """What is wrong with a file of which this flush was acknowledged; empty when nothing is."""
        if found in (self.after(acknowledged), self.after(acknowledged + 1)):
            return ""
        return f"found {found}, acknowledged {acknowledged}"

    def end(self):
        self.process.kill()
        self.process.wait()
