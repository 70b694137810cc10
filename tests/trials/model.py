#!/usr/bin/env python3
"""Trial: whole imports of random specifications and files, compared with a model of the rules (import_model.py)."""

import os
import random
import sys

import import_model as rules
import sandbox as box
import trial

TYPES = ("INT", "FLOAT", "VARCHAR", "varchar", "TEXT", "Int", "Text", "DATE", "")
WORDS = ("a", "Bäcker", "Größe", "x y", " vorn", "hinten ", "  ", "ÄÖÜ", "Müller & Söhne", "0", "-", "*",
         "Straße 12", "Wert=1", "#", "lang" * 5, "A", "b", "DE", "AT")
NUMBERS = ("1", "12", "-3", "+7", "1,5", "1.5", "1.234", "1.234,56", "1,234.56", "1.234.567", "12.34.56", "1e3",
           "1,5E-3", " 42 ", "1 2", "--1", ",5", "5,", ".", "1,2,3", "0x10", "12a", "1.234,567,8", "1234,567.8", "1e",
           "€5", "1,,2")
TRANSLATIONS = ("eins", "7", "1,5", "übersetzt und lang", "31.12.1999", "19991231", "a b")
HEADINGS = ("Nr", "Name", "Straße", "Ort", "PLZ", "Größe cm", "x", "Land", "Datum", "Umsatz", "name", "Bemerkung")


# Windows-1252; its five free bytes stand for themselves.
FREE = (0x81, 0x8D, 0x8F, 0x90, 0x9D)


def decoded(content):
    return "".join(chr(byte) if byte in FREE else bytes([byte]).decode("cp1252") for byte in content)


def encoded(text):
    return b"".join(bytes([ord(char)]) if ord(char) in FREE else char.encode("cp1252") for char in text)


def random_date(rng):
    day, month = rng.randint(0, 32), rng.randint(0, 13)
    year = rng.choice((rng.randint(1900, 2099), 2024, 1950, 2049, 0))
    shape = rng.choice(("%(d)02d.%(m)02d.%(y)04d", "%(d)02d.%(m)02d.%(s)02d", "%(d)02d%(m)02d%(y)04d",
                        "%(d)02d%(m)02d%(s)02d",
                        "%(y)04d.%(m)02d.%(d)02d", "%(s)02d.%(m)02d.%(d)02d", "%(y)04d%(m)02d%(d)02d",
                        "%(s)02d%(m)02d%(d)02d", "%(d)d.%(m)d.%(y)d", "%(d)02d/%(m)02d/%(y)04d"))
    return shape % {"d": day, "m": month, "y": year, "s": year % 100}


def random_number(rng):
    if rng.random() < 0.7:
        return rng.choice(NUMBERS)
    return "".join(rng.choice("0123456789.,-+eE ") for _ in range(rng.randint(1, 8)))


def random_value(rng):
    kind = rng.randrange(10)
    if kind < 3:
        return rng.choice(WORDS)
    if kind < 6:
        return random_number(rng)
    if kind < 8:
        return random_date(rng)
    return "" if kind == 8 else "".join(rng.choice("abcäöüß .,") for _ in range(rng.randint(0, 20)))


def random_fields(rng, names):
    fields = []
    for number in range(rng.randint(1, 8)):
        assignment = rng.choice((
            None, "NOTASSIGNED", "notassigned", "FIELD:" + rng.choice(HEADINGS), "CONST:" + random_value(rng).strip(),
            "CONST:10:30", "CONST:", "KONST:x", *["FIELD:" + rng.choice(names)] * 12))
        field = rules.Field("F%d" % number, rng.choice(TYPES), rng.choice((0, 1, 3, 8, 50, 50, 50)), assignment)
        if rng.random() < 0.03:
            field.size = None
        if rng.random() < 0.3:
            field.translate = rng.random() < 0.8
            for _ in range(rng.randint(0, 4)):
                key = rng.choice(("a", "A", "b", "DE", "AT", "1", "12", "Größe", "x y", "<Empty>"))
                field.table[key] = rng.choice(TRANSLATIONS)
        if rng.random() < 0.3:
            field.format = rng.choice(list(rules.DATE_FORMATS))
        fields.append(field)
    return fields


def random_case(rng):
    delimiter = rng.choice(";;;,\t|*")
    qualifier = rng.choice("\"\"\"'~")
    line_end = rng.choice(("\r\n", "\r\n", "\r", "\n", "\n"))

    def cell(value):
        value = value.replace(delimiter, "").replace(qualifier, "")
        way = rng.randrange(20)
        if way < 4:
            return qualifier + value + qualifier
        if way == 4:
            return qualifier + value + delimiter + "mit" + qualifier
        if way == 5:
            return qualifier + "a" + qualifier * 2 + value + qualifier
        if way == 6 and rng.random() < 0.5:
            return qualifier + value + "\n" + "zwei" + qualifier
        if way == 7 and rng.random() < 0.15:
            return rng.choice((qualifier + value, value + qualifier, value + qualifier + "x"))
        return value

    width = rng.randint(1, 10)
    names = [rng.choice(HEADINGS) if rng.random() < 0.9 else "" for _ in range(width)]
    headings = rng.random() < 0.7
    lines = []
    if headings:
        lines.append(delimiter.join(name if rng.random() < 0.8 else qualifier + name + qualifier for name in names)
                     + (delimiter if rng.random() < 0.2 else ""))
    for _ in range(rng.randint(0, 30)):
        kind = rng.randrange(25)
        count = width if kind > 3 else rng.randint(1, width + 3)
        cells = delimiter.join(cell(random_value(rng)) for _ in range(count))
        lines.append("" if kind == 0 else "   " if kind == 1 else cells)
    if not headings and (not lines or lines[0] == ""):
        lines.insert(0, delimiter.join(cell(random_value(rng)) for _ in range(width)))
    content = line_end.join(lines) + (line_end if rng.random() < 0.7 else "")
    ascii_file = rng.random() < 0.2
    if ascii_file:
        content = decoded(content.encode("cp437", "replace"))
    case = rules.Import([], content or "x", headings, ascii_file, delimiter, qualifier, test=rng.random() < 0.1,
                        cancel=rng.random() < 0.03, refuse=rng.choice((0, 0, 0, 3)),
                        backup=rng.random() < 0.2, delete=rng.random() < 0.3)
    found = rules.column_names(case, rules.lines_of(case.content, delimiter, qualifier))
    case.fields = random_fields(rng, [name for name in found if ":" not in name] or ["Feld01"])
    return case


# --- The real program ---

def specification(case, source, backup_folder):
    delimiter = "TAB" if case.delimiter == "\t" else case.delimiter
    lines = ["[Common]", "Description=Modell", "Application=2", "ImportClass=trial.recorder", "Provider=Textdatei",
             "FileName=" + source, "ColumnHeadings=" + str(case.headings),
             "FileFormat=" + ("ASCII" if case.ascii else "ANSI"), "Delimiter=" + delimiter,
             "TextRecognition=" + case.qualifier, "SaveFile=%d" % case.backup, "SavePath=" + backup_folder,
             "DeleteFile=%d" % case.delete, "[CfgSettings]", "DublettenPruefen=0"]
    sections = (("FieldAssignments", [(field.name, field.assignment) for field in case.fields
                                      if field.assignment is not None]),
                ("FieldTranslation", [(field.name, "1") for field in case.fields if field.translate]),
                ("FieldFormat", [(field.name, field.format) for field in case.fields if field.format]),
                *(("Translation_" + field.name, list(field.table.items())) for field in case.fields))
    for name, entries in sections:
        lines.append("[%s]" % name)
        lines += ["%s=%s" % entry for entry in entries]
    return "\r\n".join(lines) + "\r\n"


def write(path, text):
    with open(path, "wb") as file:
        file.write(encoded(text))


def unescaped(part):
    return box.re.sub(r"\\(.)", lambda match: {"t": "\t", "r": "\r", "n": "\n"}.get(match[1], match[1]), part)


def real(sandbox, case):
    write(sandbox.source, case.content)
    write(sandbox.specification, specification(case, sandbox.source, sandbox.path("work/backup")))
    with open(sandbox.path("home/fields"), "w", encoding="utf-8") as file:
        for field in case.fields:
            file.write("%s\t%s\t%s\t0\n" % (field.name, field.type, "" if field.size is None else field.size))
    write(sandbox.path("home/trial.component"), "[Components]\n" + "".join(
        "%s=%s\n" % (name, os.path.join(sandbox.programs.build, "lib", "trial_recorder.so"))
        for name in ("trial.recorder", "KSHProto.Protokoll")))
    record = sandbox.path("home/record")
    outcome = sandbox.run(sandbox.import_command(*(["--test"] if case.test else [])), {
        "KESTREL_COMPONENTS": sandbox.path("home"), "KESTREL_TRIAL_FIELDS": sandbox.path("home/fields"),
        "KESTREL_TRIAL_RECORD": record, "KESTREL_TRIAL_CANCEL": str(int(case.cancel)),
        "KESTREL_TRIAL_REFUSE": str(case.refuse or "")})
    events = []
    if os.path.exists(record):
        with open(record, encoding="utf-8", newline="\n") as file:
            events = [tuple(unescaped(part) for part in line[:-1].split("\t")) for line in file]
    return events, outcome


def make_cases(_, options):
    for number in range(5000 if options.long else 200):
        yield "import-%d" % number, number


def same(wanted, found):
    if wanted[0] == "LOG" and isinstance(wanted[1], int):
        # The platform's own words, by their number.
        return found[0] == "LOG" and found[1].startswith("Fehler: %d " % wanted[1])
    return wanted == found


def run_case(programs, options, name, _):
    case = random_case(random.Random("%d/%s" % (options.seed, name)))
    wanted, figures = rules.run(case)
    with box.Sandbox(programs, programs.template(), name, records=0) as sandbox:
        found, outcome = real(sandbox, case)
        there = {"source": os.path.exists(sandbox.source), "backup": False}
        if os.path.exists(sandbox.path("work/backup/quelle.txt")):
            with open(sandbox.path("work/backup/quelle.txt"), "rb") as file:
                there["backup"] = file.read() == encoded(case.content)
    problems = ["%s there: %s" % (key, there[key]) for key in there if there[key] != figures[key]]
    for key in ("records", "total", "errors"):
        if outcome.told.get(key) != figures[key]:
            problems.append("%s: %s instead of %s" % (key, outcome.told.get(key), figures[key]))
    if outcome.status != figures["status"]:
        problems.append("status %s instead of %d: %s" % (outcome.status, figures["status"], outcome.errors.strip()))
    if len(wanted) != len(found):
        problems.append("%d events instead of %d" % (len(found), len(wanted)))
    for number, (one, other) in enumerate(zip(wanted, found)):
        if not same(one, other):
            problems.append("event %d is %r instead of %r" % (number, other, one))
            break
    return problems, {"read": figures["records"], "compared events": len(wanted)}


if __name__ == "__main__":
    sys.exit(trial.main("model", make_cases, run_case))
