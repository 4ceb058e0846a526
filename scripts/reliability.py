#!/usr/bin/env python3
"""Runs the reliability campaign and writes docs/reliability.md. A fault found makes it exit 1.

  reliability.py [--part PART]... BUILD-FOLDER...

Runs are what the build folders have in reliability/*.run (cmake/OrbReliability.cmake), as many at a time as there are
cores. What the page says of a part beside the measured figures is tests/reliability/PART/page.toml:

  title = "..."           heading of its section
  order = 10              sections are sorted by it
  text = "..."            what is done, and what must be true afterwards
  [[found]]               what the part found, and what was done
  row = "..."             name of the row, or its beginning
  text = "..."

With --part only these parts run. The page has the latest results of every run, which lie in build/reliability.
"""
import argparse
import concurrent.futures
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import tomllib

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "reliability.md"
RESULTS = ROOT / "build" / "reliability"
INTRODUCTION = """# Reliability

Made by `make reliability`; do not edit. The figures are those of the latest run of each part: {runs} programs, {minutes:.0f}
minutes of them on {cores} cores, {failures}. Random choices have fixed seeds where the clock has no part in them.
`ORB_RELIABILITY=long make reliability` takes a night. The same programs run for some seconds
each with all tests (`ctest --preset test -L reliability`).

A row tells what was tried, how often, how often it went wrong in this run, and, where it ever found something, what that
was and what was done. `make reliability PARTS=NAME` measures a section anew.
"""


class Run:
    """One program of the campaign and what came of it."""

    def __init__(self, file):
        self.part, self.name = file.name.removesuffix(".run").split(".", 1)
        self.words = file.read_text().splitlines()
        self.rows, self.seconds, self.code, self.output = [], 0, 0, ""
        self.results = RESULTS / f"{self.part}.{self.name}.json"
        if self.results.exists():
            self.seconds, self.rows = json.loads(self.results.read_text())

    def execute(self):
        handle, results = tempfile.mkstemp(suffix=".jsonl")
        os.close(handle)
        begin = time.monotonic()
        environment = dict(os.environ, ORB_RELIABILITY_JSON=results)
        with tempfile.TemporaryFile("w+", errors="replace") as output:
            self.code = subprocess.run([word.replace("{json}", results) for word in self.words], stdout=output,
                                       stderr=subprocess.STDOUT, env=environment, cwd=ROOT).returncode
            output.seek(0)
            self.output = output.read()
        self.seconds = time.monotonic() - begin
        self.rows = [json.loads(line) for line in pathlib.Path(results).read_text().splitlines()]
        os.unlink(results)
        self.judge()
        RESULTS.mkdir(parents=True, exist_ok=True)
        self.results.write_text(json.dumps([self.seconds, self.rows]))
        return self

    def judge(self):
        """A run that fails without a row that says so gets one."""
        if self.code not in (0, 77) and not any(row["failures"] for row in self.rows):
            self.rows.append(dict(row=f"the run {self.name}", figure=f"ended with code {self.code}", failures=1,
                                  seconds=self.seconds, command=""))
        elif not self.rows:
            self.rows.append(dict(row=f"the run {self.name}", figure="skipped here" if self.code == 77 else "no figures",
                                  failures=0 if self.code == 77 else 1, seconds=self.seconds, command=""))

    def failures(self):
        return sum(row["failures"] for row in self.rows)


def cell(text):
    return " ".join(str(text).split()).replace("|", "\\|")


def seconds(value):
    return f"{value:.0f} s" if value >= 1 else "under 1 s"


def section(part, runs):
    about_file = ROOT / "tests" / "reliability" / part / "page.toml"
    about = tomllib.loads(about_file.read_text()) if about_file.exists() else {}
    found = about.get("found", [])
    lines = [f"\n## {about.get('title', part)}\n"]
    if "text" in about:
        lines.append(about["text"].strip() + "\n")
    lines += ["| what | figure | failures | time | command |", "|---|---|---|---|---|"]
    told = []
    for row in (row for run in runs for row in run.rows):
        failures = f"**{row['failures']}**" if row["failures"] else "0"
        command = row.get("command") or f"make reliability PARTS={part}"
        lines.append(f"| {cell(row['row'])} | {cell(row['figure'])} | {failures} | {seconds(row['seconds'])} | "
                     f"`{cell(command)}` |")
        told += [item for item in found if row["row"].startswith(item["row"]) and item not in told]
    # What was found by a row that did not come this time is still true.
    told += [item for item in found if item not in told]
    if told:
        lines += ["\nFound, and what was done:\n"] + [f"- {item['row']}: {' '.join(item['text'].split())}" for item in told]
    return about.get("order", 1000), part, "\n".join(lines) + "\n"


def write_page(runs):
    failures = sum(run.failures() for run in runs)
    text = INTRODUCTION.format(runs=len(runs), minutes=sum(run.seconds for run in runs) / 60, cores=os.cpu_count(),
                               failures=f"**{failures} failures**" if failures else "no failure")
    parts = sorted({run.part for run in runs})
    sections = sorted(section(part, [run for run in runs if run.part == part]) for part in parts)
    PAGE.write_text(text + "".join(body for _, _, body in sections))
    print(f"written: {PAGE}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--part", action="append", default=[])
    parser.add_argument("builds", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()
    os.environ.setdefault("ORB_RELIABILITY", "quarter")
    runs = [Run(file) for build in arguments.builds for file in sorted((build / "reliability").glob("*.run"))]
    chosen = [run for run in runs if not arguments.part or run.part in arguments.part]
    if not chosen:
        sys.exit("no runs of the campaign in " + ", ".join(map(str, arguments.builds)))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for done in concurrent.futures.as_completed([pool.submit(run.execute) for run in chosen]):
            run = done.result()
            print(f"{run.part}.{run.name}: {run.seconds:.0f} s, {run.failures()} failures", flush=True)
            for row in run.rows:
                print(f"    {row['row']}: {row['figure']}")
            if run.failures():
                print(run.output[-8000:])
    write_page([run for run in runs if run.rows])
    return 1 if any(run.failures() for run in chosen) else 0


if __name__ == "__main__":
    sys.exit(main())
