"""What the Python programs of the reliability campaign share; the same as report.h."""
import json
import os
import time


def by_length(seconds, quarter, night):
    """The value for a run of a few seconds, of a quarter of an hour (all parts together), or of a night."""
    length = os.environ.get("ORB_RELIABILITY", "")
    return seconds if not length else night if length == "long" else quarter


def measure(part, rows):
    """Runs (row, function) one after the other and reports each; a function returns its faults and a figure.
    @return the number of faults"""
    failures = 0
    for row, run in rows:
        begin = time.monotonic()
        faults, figure = run()
        print(row, figure, *faults[:40], sep="\n  ", flush=True)
        report(row, figure, len(faults), time.monotonic() - begin, f"make reliability PARTS={part}")
        failures += len(faults)
    return failures


def report(row, figure, failures, seconds, command):
    """Appends a row to the file of results, if there is one. `command` repeats the run."""
    path = os.environ.get("ORB_RELIABILITY_JSON")
    if path:
        with open(path, "a") as file:
            print(json.dumps(dict(row=row, figure=figure, failures=failures, seconds=round(seconds, 1),
                                  command=command)), file=file)
