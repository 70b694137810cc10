"""Prints the records of .dbf files as another reader (the module dbf) sees them, by the rule of value_text.h.

Arguments: the code page to read with, then the files. For each file: "FILE name", or "REFUSED name reason"; for
each record that is not deleted "ROW" and its values, separated by tabs. Backslash, tab and line ends in texts
are written \\\\, \\t, \\n, \\r.
"""
import datetime
import os
import shutil
import sys
import tempfile

import dbf


def escaped(text):
    for plain, written in (("\\", "\\\\"), ("\t", "\\t"), ("\n", "\\n"), ("\r", "\\r")):
        text = text.replace(plain, written)
    return text


def value_text(value, kind):
    if value is None:
        return ""
    if isinstance(value, bool):
        return "Wahr" if value else "Falsch"
    if isinstance(value, int):
        return str(value)
    if isinstance(value, float):
        return str(int(value)) if value == int(value) else repr(value).replace(".", ",")
    if isinstance(value, datetime.datetime):
        text = value.strftime("%d.%m.%Y")
        return text + value.strftime(" %H:%M:%S") if value.time() != datetime.time() else text
    if isinstance(value, datetime.date):
        return value.strftime("%d.%m.%Y")
    return escaped(str(value).rstrip(" ") if kind == "C" else str(value))


def copied_in_lower_case(path, folder):
    """The reader finds a memo file only where its name is written like the table's."""
    stem = os.path.splitext(path)[0]
    for name in os.listdir(os.path.dirname(path)):
        if os.path.splitext(name)[0] == os.path.basename(stem):
            shutil.copy(os.path.join(os.path.dirname(path), name), os.path.join(folder, name.lower()))
    return os.path.join(folder, os.path.basename(path).lower())


def main(codepage, paths):
    sys.stdout.reconfigure(encoding="utf-8")
    for path in paths:
        name = os.path.basename(path)
        with tempfile.TemporaryDirectory() as folder:
            try:
                table = dbf.Table(copied_in_lower_case(path, folder), codepage=codepage)
                table.open(mode=dbf.READ_ONLY)
                kinds = [chr(table.field_info(field)[0]) for field in table.field_names]
                lines = []
                for record in table:
                    if dbf.is_deleted(record):
                        continue
                    values = [record[i] for i in range(len(kinds))]
                    lines.append("\t".join(["ROW"] + [value_text(v, k) for v, k in zip(values, kinds)]))
            except Exception as error:  # whatever it cannot read is told, not compared
                print("REFUSED", name, escaped(repr(error)))
                continue
            print("FILE", name)
            print("\n".join(lines))


main(sys.argv[1], sys.argv[2:])
