#!/usr/bin/env python3
"""Makes docs/parameters.md from the parameter dictionary, or checks that it is up to date.

usage: generate-parameters-doc.py [--check] [--header] [DICTIONARY] [OUTPUT]

--header makes platform/porb/include/orbparams.h instead, the codes by name. --check writes nothing. Exit status: 0 done, or up to date; 1 OUTPUT is not what would be written;
2 the dictionary breaks a rule of its format (every violation is named with its line), or a file cannot be read or written.
"""
import argparse
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
HEAD = "orbdb 1"
LEVELS = ("header", "record", "entry")
FLAGS = ("result", "setting", "calibration", "provenance")
NAME_BYTES, UNIT_BYTES, DESCRIPTION_BYTES, TEXT_BYTES = 55, 31, 255, 65534

# word: (type code, bytes, letter of the name, nature, meaning); text has the length that its parameter gives it
TYPES = {
    "bool": (2, 1, "B", "integer", "yes or no, one byte"),
    "int16": (3, 2, "L", "integer", "16-bit integer"),
    "flag": (6, 1, "B", "integer", "yes or no, one byte, found by an analysis"),
    "uint16": (7, 2, "L", "integer", "16-bit integer without sign"),
    "int32": (8, 4, "L", "integer", "32-bit integer"),
    "int64": (9, 8, "L", "integer", "64-bit integer"),
    "float": (10, 4, "F", "real", "IEEE 754 single"),
    "text": (14, None, "T", "text", "UTF-8 text"),
    "name": (24, None, "T", "text", "UTF-8 text that names a thing: a file, an engine, a nuclide"),
    "double": (27, 8, "D", "real", "IEEE 754 double"),
    "time": (35, 8, "X", "time", "date and time: a double holding a VMS time (100 ns ticks since 1858-11-17 00:00 UTC)"),
    "real8": (192, 8, "D", "real", "IEEE 754 double that is the result of a computation"),
}

INTRO = """\
# Parameters

Made from `platform/porb/data/orbdb.dat` by `scripts/generate-parameters-doc.py`; change the dictionary, not this page.

Everything in a data file except the channel contents is a *parameter*: a typed value with a code, a name, a unit and a
meaning. The parameter dictionary lists them all, {count} at present. The same table is compiled into the data-file service;
the environment variable `ORBDB` names another one.

## Codes

A code has 32 bits. The upper 16 are the *class*, which is also the number of the block of the file in which the parameter
lives; the lower 16 number the parameter within its class. `0x20060007` is parameter 7 of class `0x2006`. A value is addressed by
code, record and entry.

## Levels

| Level | Where the value lives |
|---|---|
| header | One value in the block. Record and entry numbers of a call are ignored. |
| record | One value in every record. Records 1 to n are the table; record 0 is the block's working record, which is not counted. |
| entry | One value in every entry of a record. Entry 0 is the record's working entry. |

## Types

The number behind a text type is its greatest length in bytes. The letter in a name after `ORB_` tells the type.

| Type | Code | Bytes | Letter | Meaning |
|---|---|---|---|---|
"""

FLAG_WORDS = """
## Marks

A description may be followed by marks: *result*, written by an analysis; *setting*, set by a user and obeyed by an analysis;
*calibration*, part of a calibration; *provenance*, who made the values, when and from what.

"""


class Parameter:
    def __init__(self, fields):
        (self.code, self.name, self.level, self.storage, self.storage_length, self.returned, self.return_length,
         self.flags, self.unit, self.description) = fields

    @property
    def cls(self):
        return self.code[:6]

    def type_text(self):
        text = self.storage + (f"({self.storage_length})" if TYPES[self.storage][1] is None else "")
        return text if self.storage == self.returned else f"{text}, read as {self.returned}"


def faults_of(parameter):
    """Rules that concern one parameter alone."""
    p = parameter
    if not re.fullmatch(r"0x[0-9A-F]{8}", p.code):
        yield f"'{p.code}' is not 0x and 8 hexadecimal digits in upper case"
    if not re.fullmatch(r"[A-Z][A-Z0-9_]*", p.name) or len(p.name) > NAME_BYTES:
        yield f"the name '{p.name}' is not upper case letters, digits and underscores, {NAME_BYTES} at most"
    if p.level not in LEVELS:
        yield f"'{p.level}' is no level ({', '.join(LEVELS)})"
    for word, length in ((p.storage, p.storage_length), (p.returned, p.return_length)):
        if word not in TYPES:
            yield f"'{word}' is no type"
        elif not re.fullmatch(r"[0-9]+", length):
            yield f"'{length}' is no length"
        elif TYPES[word][1] is None and not 1 <= int(length) <= TEXT_BYTES:
            yield f"the length of type {word} is 1 to {TEXT_BYTES}, not {length}"
        elif TYPES[word][1] not in (None, int(length)):
            yield f"the length of type {word} is {TYPES[word][1]}, not {length}"
    if p.storage in TYPES and p.returned in TYPES:
        if TYPES[p.storage][3] != TYPES[p.returned][3]:
            yield f"a stored {p.storage} does not convert to a {p.returned}"
        elif TYPES[p.storage][3] == "text" and p.storage_length != p.return_length:
            yield "storage and return length of a text differ"
        if not p.name.startswith(f"ORB_{TYPES[p.returned][2]}_"):
            yield f"a name of type {p.returned} begins with ORB_{TYPES[p.returned][2]}_, not as in {p.name}"
    words = [] if p.flags == "-" else [word.strip() for word in p.flags.split(",")]
    for word in words:
        if word not in FLAGS:
            yield f"'{word}' is no flag ({', '.join(FLAGS)}, or - for none)"
    for what, text, limit in (("unit", p.unit, UNIT_BYTES), ("description", p.description, DESCRIPTION_BYTES)):
        if not 1 <= len(text.encode()) <= limit:
            yield f"the {what} has {len(text.encode())} bytes, not 1 to {limit}"


def read_dictionary(path):
    """Returns (class words by code, parameters, faults as (line number, text))."""
    classes, parameters, faults = {}, [], []
    raw = path.read_bytes()
    if b"\r" in raw:
        faults.append((raw[: raw.index(b"\r")].count(b"\n") + 1, "lines must end in a line feed alone"))
    try:
        text = raw.decode("utf-8")
    except UnicodeDecodeError as error:
        return classes, parameters, [(raw[: error.start].count(b"\n") + 1, "not UTF-8")]
    names, last_code, head_seen = {}, "", False
    for number, line in enumerate(text.split("\n"), 1):
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        if not head_seen:
            head_seen = True
            if line != HEAD:
                faults.append((number, f"a dictionary begins with the line '{HEAD}'"))
            if line.startswith(HEAD.split()[0]):
                continue
        if line.startswith("class "):
            match = re.fullmatch(r"class\s+(0x[0-9A-F]{4})\s+(\S.*)", line)
            if not match:
                faults.append((number, "a class line is 'class', 0x and 4 hexadecimal digits in upper case, and words"))
            elif match[1] in classes:
                faults.append((number, f"class {match[1]} has its words already"))
            elif parameters:
                faults.append((number, "class lines stand before the parameters"))
            else:
                classes[match[1]] = match[2]
            continue
        fields = [field.strip() for field in line.split("|")]
        if len(fields) != 10:
            faults.append((number, f"a parameter has 10 fields separated by '|', this line has {len(fields)}"))
            continue
        parameter = Parameter(fields)
        faults += [(number, fault) for fault in faults_of(parameter)]
        if parameter.code <= last_code:
            faults.append((number, f"codes must ascend, each one once: {parameter.code} after {last_code}"))
        last_code = max(last_code, parameter.code)
        if parameter.name in names:
            faults.append((number, f"the name {parameter.name} stands in line {names[parameter.name]} already"))
        names.setdefault(parameter.name, number)
        parameters.append(parameter)
    if not parameters:
        faults.append((text.count("\n") + 1, "the dictionary has no parameter"))
    return classes, parameters, faults


def cell(text):
    """Text for a table cell, with what Markdown would read as markup escaped."""
    return re.sub(r"([\\*_`\[\]])", r"\\\1", text).replace("<", "&lt;").replace(">", "&gt;")


def render(classes, parameters):
    lines = [INTRO.format(count=len(parameters))]
    for word, (code, size, letter, _, meaning) in TYPES.items():
        lines.append(f"| {word} | {code} | {size or 'n'} | {letter} | {meaning} |\n")
    lines.append(FLAG_WORDS + "## Classes\n\n| Class | Words | Parameters |\n|---|---|---|\n")
    used = sorted(set(classes) | {p.cls for p in parameters})
    members = {cls: [p for p in parameters if p.cls == cls] for cls in used}
    for cls in used:
        lines.append(f"| {cls} | {cell(classes.get(cls, '-'))} | {len(members[cls])} |\n")
    for cls in used:
        if not members[cls]:
            continue
        lines.append(f"\n## {cls} {cell(classes.get(cls, ''))}".rstrip() + "\n\n")
        lines.append("| Code | Name | Level | Type | Unit | Description |\n|---|---|---|---|---|---|\n")
        for p in members[cls]:
            marks = "" if p.flags == "-" else f" *{p.flags.replace(',', ', ')}*"
            lines.append(f"| {p.code} | `{p.name}` | {p.level} | {p.type_text()} | {cell(p.unit)} |"
                         f" {cell(p.description)}{marks} |\n")
    return "".join(lines)


def render_header(_, parameters):
    lines = ["/* Codes of the parameters by name, made from data/orbdb.dat by scripts/generate-parameters-doc.py --header;\n"
             "   docs/parameters.md tells what they mean. */\n#pragma once\n\n"]
    lines += [f"#define {p.name} {p.code}u\n" for p in parameters]
    return "".join(lines)


def first_difference(wanted, found):
    """Number of the first line that differs, with both versions; None when the texts are equal."""
    if wanted == found:
        return None
    a, b = wanted.split("\n"), found.split("\n")
    for number in range(max(len(a), len(b))):
        left = a[number] if number < len(a) else None
        right = b[number] if number < len(b) else None
        if left != right:
            return number + 1, left, right


def main():
    parser = argparse.ArgumentParser(description="Makes docs/parameters.md from the parameter dictionary.")
    parser.add_argument("--check", action="store_true", help="write nothing; exit 1 when OUTPUT is not up to date")
    parser.add_argument("--header", action="store_true", help="make the header with the codes, not the page")
    parser.add_argument("dictionary", metavar="DICTIONARY", nargs="?", type=pathlib.Path,
                        default=ROOT / "platform/porb/data/orbdb.dat")
    parser.add_argument("output", metavar="OUTPUT", nargs="?", type=pathlib.Path)
    options = parser.parse_args()
    if options.output is None:
        options.output = ROOT / ("platform/porb/include/orbparams.h" if options.header else "docs/parameters.md")
    try:
        classes, parameters, faults = read_dictionary(options.dictionary)
        if faults:
            for number, fault in sorted(faults):
                print(f"{options.dictionary}:{number}: {fault}", file=sys.stderr)
            return 2
        wanted = (render_header if options.header else render)(classes, parameters)
        if not options.check:
            options.output.write_bytes(wanted.encode())
            return 0
        try:
            found = options.output.read_bytes().decode("utf-8", errors="replace")
        except FileNotFoundError:
            print(f"{options.output}: missing", file=sys.stderr)
            return 1
    except OSError as error:
        print(f"{error.filename}: {error.strerror}", file=sys.stderr)
        return 2
    difference = first_difference(wanted, found)
    if difference is None:
        return 0
    show = lambda line: "end of file" if line is None else f"'{line}'"
    print(f"{options.output}:{difference[0]}: is {show(difference[2])}, should be {show(difference[1])}", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main())
