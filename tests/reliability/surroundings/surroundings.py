"""Things put where data files, their companions, outputs and drafts go, and races for them: nothing but what a command
names may change."""
import fcntl
import functools
import hashlib
import multiprocessing
import os
import pathlib
import random
import shutil
import signal
import socket
import struct
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path += [HERE + "/..", HERE + "/../support"]
from campaign import COMMANDS, ORB, fresh_folder, make_inputs, orb, scratch
from report import by_length, measure

SEED = 5
TIMEOUT_S = 60  # of a command that takes a tenth of a second; more is a hang
LOCKED = b"0xE0610052"
COMPANIONS = ["-journal", "-wal", "-shm", "-lock", "-new"]
WRITERS = COMMANDS + [(words, words, ["target.dat"]) for words in ("peaks target.dat", "fit target.dat --start 20 --end 60")]
READERS = [(words, words, []) for words in (
    "info target.dat", "dump target.dat --json", "get target.dat ORB_T_CTITLE", "check target.dat",
    "diff target.dat source.dat", "plot target.dat", "nuclides source.dat", "export target.dat -",
    "analyze field.spe", "engines", "sequence show source.dat")]
PAGE = 4096  # bytes, of our databases


def snapshot(*roots):
    """What can be told of everything below some folders. Folders change their times with the drafts in them."""
    found = {}
    for root in roots:
        for path in [root, *root.rglob("*")]:
            state = path.lstat()
            row = (state.st_mode, state.st_uid, state.st_gid)
            if path.is_symlink():
                row += (os.readlink(path),)
            elif path.is_file():
                row += (state.st_ino, state.st_size, state.st_mtime_ns, hashlib.sha1(path.read_bytes()).hexdigest())
            found[path] = row
    return found


def difference(before, after):
    return sorted(path for path in before.keys() | after.keys() if before.get(path) != after.get(path))


def journal(path, victim, pages):
    """The journal of a transaction on that file that was not finished, which names another file, or a size."""
    first = path.read_bytes()[:PAGE] if path.is_file() else bytes(PAGE)
    count = len(first.ljust(PAGE, b"\0"))
    nonce = 7
    head = b"\xd9\xd5\x05\xf9\x20\xa1\x63\xd7" + struct.pack(">5I", 1, nonce, pages, 512, PAGE)
    page = first.ljust(count, b"\0")
    checksum = (nonce + sum(page[i] for i in range(PAGE - 200, 0, -200))) & 0xFFFFFFFF
    text = head.ljust(512, b"\0") + struct.pack(">I", 1) + page + struct.pack(">I", checksum)
    if victim:
        name = str(victim).encode()
        text += struct.pack(">I", 2**30 // PAGE + 1) + name + struct.pack(">2I", len(name), sum(name)) + head[:8]
    return text


def plant_socket(place):
    here = os.getcwd()
    os.chdir(place.parent)  # the address of a socket is short
    with socket.socket(socket.AF_UNIX) as end:
        end.bind(place.name)
    os.chdir(here)


def plant_folder(place):
    place.mkdir()
    (place / "mine").write_text("in a folder")


# What is put at a place. `file` is the data file that the place belongs to, `victim` a file of the user's elsewhere.
TRAPS = {
    "a text": lambda place, file, victim: place.write_text("something of mine\n"),
    "a link to a file elsewhere": lambda place, file, victim: place.symlink_to(victim),
    "a second name of a file elsewhere": lambda place, file, victim: os.link(victim, place),
    "a link to nowhere": lambda place, file, victim: place.symlink_to(victim.parent / "nothing"),
    "a link to itself": lambda place, file, victim: place.symlink_to(place.name),
    "a pipe": lambda place, file, victim: os.mkfifo(place),
    "a socket": lambda place, file, victim: plant_socket(place),
    "an empty folder": lambda place, file, victim: place.mkdir(),
    "a folder": lambda place, file, victim: plant_folder(place),
    "an unreadable file": lambda place, file, victim: (place.write_text("secret"), place.chmod(0)),
    "a journal that names a file elsewhere": lambda place, file, victim: place.write_bytes(journal(file, victim, 9)),
    "a journal of 2^31 pages": lambda place, file, victim: place.write_bytes(journal(file, None, 2**31 - 1)),
    "a held lock": lambda place, file, victim: place.touch(),
}


def places(targets):
    """Where a trap can do harm: in place of what a command writes, beside it and beside what it reads, in drafts."""
    files = sorted({*targets, "target.dat", "source.dat"})
    beside = [(name + ending, name) for name in files for ending in COMPANIONS]
    return beside + [(name, name) for name in targets] + [(".orb-abcdef.part", files[0]), (".orb-00000000.part", files[0])]


def is_expected(trap, place, targets):
    """A link or a second name in place of an output is one that the user may have made: it is followed, or replaced. An
    empty folder with the name of a draft's is what a process leaves that was killed at once, an empty journal what a
    writer leaves that was."""
    if (trap, place) == ("an empty folder", ".orb-abcdef.part") or (trap == "a held lock" and place.endswith("-journal")):
        return True
    return place in targets and trap in ("a link to a file elsewhere", "a link to nowhere", "a text", "an unreadable file",
                                         "a held lock")


def ran(words, folder):
    """@return exit code, what was wrong with the way it ended, and its words on standard error"""
    try:
        done = orb(words, folder, timeout=TIMEOUT_S)
    except subprocess.TimeoutExpired:
        return 1, "hangs", b""
    return done.returncode, f"signal {-done.returncode}" if done.returncode < 0 else "", done.stderr


def try_trap(template, root, command, trap, place, file):
    """@return what was wrong; nothing when all is well"""
    _, words, targets = command
    folder, elsewhere = fresh_folder(template, root / "run"), root / "elsewhere"
    shutil.rmtree(elsewhere, ignore_errors=True)
    elsewhere.mkdir()
    victim = elsewhere / "precious"
    victim.write_text("of great worth\n")
    planted = folder / place
    if planted.exists():
        planted.unlink()
    TRAPS[trap](planted, folder / file, victim)
    held = open(planted) if trap == "a held lock" else None
    if held:
        fcntl.flock(held, fcntl.LOCK_EX)
    before = snapshot(folder, elsewhere)
    code, fault, _ = ran(words, folder)
    allowed = {folder / target for target in targets} if code == 0 or len(targets) > 1 else set()
    changed = [path for path in difference(before, snapshot(folder, elsewhere)) if path not in allowed]
    if held:
        held.close()
    for target in targets if code == 0 else []:
        path = folder / target
        if path.suffix == ".dat" and orb(["check", target], folder).returncode:
            fault += f" {target} is damaged"
    if changed:
        fault += " changed: " + ", ".join(str(path.relative_to(root)) for path in changed)
    return f"{words}: {trap} at {place}: {fault}" if fault else ""


def plant(template, root):
    """Traps at places, one at a time, all of them in a long run."""
    cases = [(command, trap, place, file) for command in WRITERS + READERS for place, file in places(command[2])
             for trap in TRAPS if not is_expected(trap, place, command[2])]
    random.shuffle(cases)
    cases = cases[:by_length(60, 2500, len(cases))]
    faults = [fault for fault in (try_trap(template, root, *case) for case in cases) if fault]
    return faults, f"{len(cases)} runs, {len(TRAPS)} kinds of trap"


def swap_forever(folder, victim, data):
    """Keeps changing what lies at and beside target.dat. No pipe comes to lie there: between the look at a file and the
    engine's own open one would be waited for."""
    target, side = folder / "target.dat", folder / "side"
    chance = random.Random(SEED)
    makers = [lambda: side.write_bytes(data), lambda: side.symlink_to(victim),
              lambda: side.write_text("a text"), lambda: side.mkdir(), lambda: side.write_bytes(data[:5000]),
              lambda: side.write_bytes(journal(target, victim, 9))]
    while True:
        place = chance.choice([target] * 4 + [folder / ("target.dat" + ending) for ending in COMPANIONS])
        try:
            chance.choice(makers)()
            if place.is_dir() and not place.is_symlink():
                place.rmdir()
            if side.is_dir() and not side.is_symlink() and place.exists():
                place.unlink()
            os.rename(side, place)
            if place != target and chance.random() < 0.7:
                place.unlink()
        except OSError:
            subprocess.run(["rm", "-rf", side])


def race(template, root):
    """Commands while the names change under them: no hang, no crash, and nothing else changes."""
    folder, elsewhere = fresh_folder(template, root / "run"), root / "elsewhere"
    shutil.rmtree(elsewhere, ignore_errors=True)
    elsewhere.mkdir()
    victim = elsewhere / "precious"
    victim.write_text("of great worth\n")
    commands = [command for command in WRITERS + READERS if "out" not in command[1].split()]
    swapper = multiprocessing.Process(target=swap_forever, daemon=True,
                                      args=(folder, victim, (folder / "target.dat").read_bytes()))
    swapper.start()
    faults, runs, end = [], 0, time.monotonic() + by_length(4, 100, 1800)
    while time.monotonic() < end:
        _, words, targets = random.choice(commands)
        mine = {name: snapshot(folder / name) for name in ("source.dat", "field.spe", "field.n42", "page.html", "other.dat")
                if name not in targets}
        _, fault, _ = ran(words, folder)
        runs += 1
        for name, before in mine.items():
            if snapshot(folder / name) != before:
                fault += f" changed: {name}"
        if victim.read_bytes() != b"of great worth\n" or len(list(elsewhere.iterdir())) != 1:
            fault += " changed: a file elsewhere"
            victim.write_text("of great worth\n")
        if fault:
            faults.append(f"{words}: {fault}")
        (folder / "fresh.dat").unlink(missing_ok=True)
    swapper.kill()
    swapper.join()
    return faults, f"{runs} runs"


ACCESS_LIST = struct.pack("<I", 2) + b"".join(struct.pack("<HHI", *entry) for entry in (
    (1, 6, 0xFFFFFFFF), (2, 4, 4711), (4, 4, 0xFFFFFFFF), (16, 4, 0xFFFFFFFF), (32, 0, 0xFFFFFFFF)))


def rights_of(path):
    state = path.stat()
    acl = os.getxattr(path, "system.posix_acl_access") if "system.posix_acl_access" in os.listxattr(path) else b""
    return state.st_mode, state.st_uid, state.st_gid, acl


def give_rights(path, kind):
    if kind == "access list":
        os.setxattr(path, "system.posix_acl_access", ACCESS_LIST)
    if kind == "another user's" and os.geteuid() == 0:
        os.chown(path, 4711, 4712)
    path.chmod(0o640 if kind == "access list" else 0o600)


def exposed(folder, but):
    """Data that others could read: files for everybody that no folder shuts off."""
    found = []
    for place, folders, files in os.walk(folder):
        modes = {}
        for name in folders + files:
            try:
                modes[name] = os.lstat(os.path.join(place, name))
            except FileNotFoundError:
                pass  # gone again
        folders[:] = [name for name in folders if name in modes and modes[name].st_mode & 0o11]
        found += [name for name in files if name in modes and modes[name].st_mode & 0o44 and modes[name].st_size
                  and name not in but]
    return found


def rights(template, root):
    """A file that is replaced keeps owner, group, mode and access list, and nobody else reads its draft meanwhile."""
    faults, runs = [], 0
    commands = [command for command in COMMANDS if command[0] not in ("batch", "import into a new file")]
    for _, words, targets in commands:
        kinds = ["private", "another user's", "access list"]
        for kind in random.sample(kinds, by_length(1, 3, 3)):
            folder = fresh_folder(template, root / "run")
            inputs = {path.name for path in folder.rglob("*")} - set(targets)
            for target in targets:
                try:
                    give_rights(folder / target, kind)
                except OSError:  # a file system without access lists
                    pass
            before = [rights_of(folder / target) for target in targets]
            process = subprocess.Popen([ORB, *words.split()], cwd=folder, stdin=subprocess.DEVNULL,
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, umask=0)
            seen = set()
            while process.poll() is None:
                shared = targets + [name + ending for name in targets for ending in COMPANIONS]
                seen.update(exposed(folder, inputs | set(shared if kind == "access list" else [])))
            runs += 1
            if process.returncode:
                faults.append(f"{words} ({kind}): fails")
            if [rights_of(folder / target) for target in targets] != before:
                faults.append(f"{words} ({kind}): other rights")
            if seen:
                faults.append(f"{words} ({kind}): others could read {', '.join(sorted(seen))}")
    folder = fresh_folder(template, root / "run")
    for mask in (0o022, 0o077, 0o002):
        subprocess.run([ORB, "create", f"new{mask:o}.dat", "--channels", "64"], cwd=folder, umask=mask, check=True)
        subprocess.run([ORB, "export", "source.dat", f"new{mask:o}.spe"], cwd=folder, umask=mask, check=True,
                       stderr=subprocess.DEVNULL)
        for name in (f"new{mask:o}.dat", f"new{mask:o}.spe"):
            if (folder / name).stat().st_mode & 0o777 != 0o666 & ~mask:
                faults.append(f"umask {mask:o}: {name} has the mode {(folder / name).stat().st_mode:o}")
    return faults, f"{runs} runs, 3 kinds of rights, 3 umasks"


def stopped_with_draft(words, folder):
    """A process of the tool that stands still with a draft open; nothing when it was too quick."""
    process = subprocess.Popen([ORB, *words.split()], cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    while process.poll() is None:
        if any(folder.glob(".orb-*.part/draft")):
            process.send_signal(signal.SIGSTOP)
            os.waitpid(process.pid, os.WUNTRACED)
            if any(folder.glob(".orb-*.part/draft")):
                return process
            process.send_signal(signal.SIGCONT)
    return None


def neighbours(template, root):
    """While a file is about to be replaced nobody writes to it; drafts of the dead go, those of the living stay."""
    faults, stopped = [], 0
    words = "analyze field.spe -o target.dat --force"
    for is_killed in [False, True] * by_length(1, 20, 200):
        folder = fresh_folder(template, root / "run")
        process = stopped_with_draft(words, folder)
        if process is None:
            continue
        stopped += 1
        for other in ("set target.dat ORB_T_CTITLE other", "create target.dat --channels 16 --force"):
            code, _, told = ran(other, folder)
            if code == 0 or LOCKED not in told:
                faults.append(f"{other} beside {words}: {told.decode() or 'done'}")
        ran("create another.dat --channels 16 --force", folder)
        if not any(folder.glob(".orb-*.part/draft")):
            faults.append("the draft of a living process was removed")
        if is_killed:
            process.kill()
        process.send_signal(signal.SIGCONT)
        code = process.wait()
        if not is_killed and code != 0:
            faults.append(f"{words}: {code}")
        strange = folder / ".orb-qwerty.part"
        plant_folder(strange)
        ran("create another.dat --channels 16 --force", folder)
        if [path.name for path in folder.glob(".orb-*")] != [strange.name] or not (strange / "mine").exists():
            faults.append("left: " + " ".join(path.name for path in folder.glob(".orb-*")))
        if orb(["check", "target.dat"], folder).returncode:
            faults.append("target.dat is damaged")
    if not stopped:
        faults.append("no process was caught with a draft")
    return faults, f"{stopped} runs stopped with a draft, every second one killed"


def main():
    random.seed(SEED)
    root = scratch(in_memory=False)
    template = root / "template"
    template.mkdir()
    make_inputs(template)
    rows = (("planted files, links, pipes, sockets, folders, locks, journals", plant),
            ("names that change while commands run", race), ("rights of what is replaced", rights),
            ("the lock while a file is replaced, and drafts of dead and living", neighbours))
    failures = measure("surroundings", [(row, functools.partial(run, template, root)) for row, run in rows])
    shutil.rmtree(root, ignore_errors=True)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
