"""Runs the tests of a build that counts branches, and tells the share of branches taken by folder. Fails below the goals.

  coverage.py BUILD-FOLDER [--no-tests]
"""
import collections
import json
import os
import pathlib
import shutil
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.append(str(HERE.parent))
from report import report

ROOT = HERE.parent.parent.parent
FOLDERS = {"platform/porb/src": 90, "orbfileaccess/src": 90, "platform/utillibrary/src": None, "engines/src": None}
TESTS = ["utillibrary", "porb", "engines", "orbfileaccess", "reliability"]  # those of the analysis routines take an hour


def main():
    build = pathlib.Path(sys.argv[1])
    if not shutil.which("gcovr") or not (build / "build.ninja").exists():
        print("skipped: no gcovr, or no build with --preset coverage")
        return 77
    begin = time.monotonic()
    if "--no-tests" not in sys.argv:
        for counts in build.rglob("*.gcda"):
            counts.unlink()
        for folder in TESTS:
            tests = subprocess.run(["ctest", "--test-dir", build / "tests" / folder, "-j2"], stdout=subprocess.PIPE, text=True)
            if tests.returncode:
                print(tests.stdout[-3000:])
                return 1
    summary = build / "branches.json"
    # Branches that only an exception takes (gcov marks them) and code that the compiler knows to be unreachable are left
    # out: every call of a function that may throw would count as one never taken.
    subprocess.run(["gcovr", "--root", ROOT, "--object-directory", build, "--exclude-throw-branches",
                    "--exclude-unreachable-branches", "--gcov-ignore-parse-errors", "--json", summary,
                    *(word for folder in FOLDERS for word in ("--filter", f"{ROOT / folder}/")), build],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    failures, took = 0, time.monotonic() - begin
    files = json.loads(summary.read_text())["files"]
    for folder, goal in FOLDERS.items():
        missing, total = collections.Counter(), 0
        for file in files:
            if not file["file"].startswith(folder + "/"):
                continue
            for line in file["lines"]:
                total += len(line["branches"])
                missing[file["file"]] += sum(branch["count"] == 0 for branch in line["branches"])
        taken = total - sum(missing.values())
        percent = 100 * taken / max(total, 1)
        missed = goal is not None and percent < goal
        failures += missed
        figure = f"{percent:.1f} % of {total} branches" + (f" (goal {goal} %)" if goal else "")
        print(f"{folder}: {figure}; most missing in", *(f"{pathlib.Path(name).name} {n}" for name, n in missing.most_common(8)))
        report(folder, figure, int(missed), took / len(FOLDERS), "make reliability PARTS=coverage")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
