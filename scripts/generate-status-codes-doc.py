#!/usr/bin/env python3
"""Makes docs/status-codes.md from the status table of the data-file service.

generate-status-codes-doc.py [--check]    --check writes nothing and fails when the document is not current
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
HEADER = ROOT / "platform/porb/include/aiostatus.h"
DOCUMENT = ROOT / "docs/status-codes.md"

INTRO = """# Statuses of the data-file service

Made from `platform/porb/include/aiostatus.h` by `scripts/generate-status-codes-doc.py`; do not edit.

Every operation of the service returns a 32-bit status, 0 for success. The file object turns a status into a result
code (last column); `AioStatusText` gives the text for either.

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


def main():
    table = re.findall(r'X\((\w+), (0x[0-9A-Fa-f]{8}), "([^"]+)"\)', HEADER.read_text())
    values = [int(value, 16) for _, value, _ in table]
    codes = [result_code(value) for value in values]
    if len(set(values)) != len(values) or len(set(codes)) != len(codes):
        sys.exit(f"{HEADER}: a status stands twice")
    rows = [
        f"| 0x{value:08X} | `{name}` | {text} | 0x{result_code(value):08X} |\n"
        for (name, _, text), value in zip(table, values)
    ]
    text = INTRO + "".join(rows)
    if "--check" not in sys.argv[1:]:
        DOCUMENT.write_text(text)
    elif not DOCUMENT.exists() or DOCUMENT.read_text() != text:
        sys.exit(f"{DOCUMENT} is not current: run {pathlib.Path(__file__).name}")


if __name__ == "__main__":
    main()
