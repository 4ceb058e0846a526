#!/usr/bin/env python3
"""Makes docs/status-codes.md from the status tables of the data-file service, the analysis routines and the engines.

generate-status-codes-doc.py [--check]    --check writes nothing and fails when the document is not current
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SERVICE = ROOT / "platform/porb/include/aiostatus.h"
ROUTINES = ROOT / "platform/anautils/include/anastatus.h"
ENGINES = ROOT / "platform/porb/include/engstatus.h"
DOCUMENT = ROOT / "docs/status-codes.md"

INTRO = """# Statuses

Made from `platform/porb/include/aiostatus.h`, `platform/anautils/include/anastatus.h` and
`platform/porb/include/engstatus.h` by `scripts/generate-status-codes-doc.py`; do not edit.

A status is 32 bits, 0 for success: facility in bits 16..23 (0x61 the data-file service, 0x62 the analysis routines,
0x63 the engines), severity in bits 0..2 (2 is error).

## The data-file service

Every operation of the service returns a status. The file object turns it into a result code (last column);
`AioStatusText` gives the text for either.

| status | name | meaning | result code |
|---|---|---|---|
"""

ROUTINES_INTRO = """
## The analysis routines

A routine that meets a status of the service hands it on unchanged. `AnaStatusText` gives the text for both kinds.

| status | name | meaning |
|---|---|---|
"""

ENGINES_INTRO = """
## The engines

An engine that meets a status of the service or of a routine hands it on unchanged. `execute` and `executeSequence`
answer the result code of what an engine returned, also of a routine's status: its number stays.

| status | name | meaning | result code |
|---|---|---|---|
"""

SEVERITY = {0: 0xA0000000, 1: 0x20000000, 2: 0xE0000000, 3: 0x60000000}


def result_code(status):
    if status == 0:
        return 0
    if status & 0x00FF0000 == 0x00610000:
        return 0xE0610000 | status & 0xFFFF
    return SEVERITY.get(status & 7, 0) | 0x0BE80000 | status & 0xFFFF


def read_table(header):
    """(name, status, text) of every line of a status table; ends the program when a status stands twice."""
    lines = re.findall(r'X\((\w+),\s*(0x[0-9A-Fa-f]{8}),[\s\\]*"([^"]+)"\)', header.read_text())
    table = [(name, int(value, 16), text) for name, value, text in lines]
    values = [value for _, value, _ in table]
    if not table or len(set(values)) != len(values):
        sys.exit(f"{header}: no status, or one stands twice")
    return table


def rows(table, with_code):
    code = "| 0x{:08X} |\n" if with_code else "|\n"
    return "".join(f"| 0x{value:08X} | `{name}` | {text} " + code.format(result_code(value)) for name, value, text in table)


def main():
    service, routines, engines = (read_table(header) for header in (SERVICE, ROUTINES, ENGINES))
    failures = [result_code(value) for _, value, _ in service + routines + engines if value != 0]
    if len(set(failures)) != len(failures):
        sys.exit("two statuses have one result code")
    text = INTRO + rows(service, True) + ROUTINES_INTRO + rows(routines, False) + ENGINES_INTRO + rows(engines, True)
    if "--check" not in sys.argv[1:]:
        DOCUMENT.write_text(text)
    elif not DOCUMENT.exists() or DOCUMENT.read_text() != text:
        sys.exit(f"{DOCUMENT} is not current: run {pathlib.Path(__file__).name}")


if __name__ == "__main__":
    main()
