"""What the Python programs of the reliability campaign share; the same as report.h."""
import json
import os


def by_length(seconds, quarter, night):
    """The value for a run of a few seconds, of a quarter of an hour (all parts together), or of a night."""
    length = os.environ.get("ORB_RELIABILITY", "")
    return seconds if not length else night if length == "long" else quarter


def report(row, figure, failures, seconds, command):
    """Appends a row to the file of results, if there is one. `command` repeats the run."""
    path = os.environ.get("ORB_RELIABILITY_JSON")
    if path:
        with open(path, "a") as file:
            print(json.dumps(dict(row=row, figure=figure, failures=failures, seconds=round(seconds, 1),
                                  command=command)), file=file)
