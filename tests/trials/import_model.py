"""What a whole import of a text file hands over, counts and logs: its rules once more, plainly.

Nothing here is fast, and nothing is taken from the program: a difference is a fault of one of the two.
"""

import calendar
import dataclasses
import re

MISMATCH = ("Eine Typen Unverträglichkeit wurde im Modul ImportStart festgestellt. Ein alphanumerischer Wert kann "
            "nicht in ein numerisches Feld geschrieben werden. (")
UNSET = "<unset>"
# Format of a date: length, day, month, year; None: the whole value.
DATE_FORMATS = {
    "tt.mm.jjjj": (10, None), "tt.mm.jj": (8, ((0, 2), (3, 5), (6, 8))), "ttmmjjjj": (8, ((0, 2), (2, 4), (4, 8))),
    "ttmmjj": (6, ((0, 2), (2, 4), (4, 6))), "jjjj.mm.tt": (10, ((8, 10), (5, 7), (0, 4))),
    "jj.mm.tt": (8, ((6, 8), (3, 5), (0, 2))), "jjjjmmtt": (8, ((6, 8), (4, 6), (0, 4))),
    "jjmmtt": (6, ((4, 6), (2, 4), (0, 2))),
}
REPAIRS = (("\u201e", "ä"), ("\u201d", "ö"), ("\x81", "ü"), ("\u017d", "Ä"), ("\u2122", "Ö"), ("\u0161", "Ü"),
           ("\u00e1", "ß"))
# Beyond this many characters no end of an enclosed value is looked for.
LONGEST_ENCLOSED = 65536


@dataclasses.dataclass
class Field:
    """A field of the destination, and its assignment."""
    name: str
    type: str
    size: int | None
    assignment: str | None  # as it stands in the specification; none: no entry
    translate: bool = False
    table: dict = dataclasses.field(default_factory=dict)
    format: str = ""


@dataclasses.dataclass
class Import:
    fields: list
    content: str  # of the file, as decoded from Windows-1252
    headings: bool
    ascii: bool
    delimiter: str
    qualifier: str
    test: bool = False
    cancel: bool = False
    refuse: int = 0  # every so many-th record is refused; 0: none
    backup: bool = False
    delete: bool = False


# --- The file ---

def lines_of(text, delimiter, qualifier):
    """CR and CR LF end a line; in a file without any CR it is LF, outside of enclosed values."""
    if "\r" in text:
        lines = re.split("\r\n?", text)
    else:
        lines = []
        start = position = 0
        at_value = True
        while position < len(text):
            if at_value and text[position] == qualifier:
                end = end_of_enclosed(text, position, delimiter, qualifier)
                if end is not None:
                    position = end
                    at_value = False
                    continue
            at_value = text[position] in (delimiter, "\n")
            if text[position] == "\n":
                lines.append(text[start:position])
                start = position + 1
            position += 1
        lines.append(text[start:])
    return lines[:-1] if lines[-1] == "" else lines


def end_of_enclosed(text, begin, delimiter, qualifier):
    """Behind the closing qualifier; None where the value is not enclosed."""
    position = begin + 1
    while True:
        position = text.find(qualifier, position, begin + LONGEST_ENCLOSED)
        if position < 0:
            return None
        follows = text[position + 1:position + 2]
        if follows == qualifier:
            position += 2
        elif follows in ("", delimiter, "\n"):
            return position + 1
        else:
            return None


def repaired(line, ascii_file):
    if ascii_file:
        for wrong, right in REPAIRS:
            line = line.replace(wrong, right)
    return line


def column_names(case, lines):
    line = repaired(lines[0] if lines else "", case.ascii)
    if not line.endswith(case.delimiter):
        line += case.delimiter
    if not case.headings:
        return ["Feld%02d" % number for number in range(1, len(line.split(case.delimiter)))]
    pieces = line.replace(case.qualifier, "").split(case.delimiter)[:-1]
    return [piece.strip(" ") or "Feld%02d" % number for number, piece in enumerate(pieces, 1)]


def values_of(case, line):
    if not line.endswith(case.delimiter):
        line += case.delimiter
    values = []
    start = 0
    inside = False
    for position, character in enumerate(line):
        if character == case.qualifier:
            inside = not inside
        elif character == case.delimiter and not inside:
            values.append(line[start:position].replace(case.qualifier, ""))
            start = position + 1
    return values[:200]


# --- The values ---

def is_number(text):
    match = re.fullmatch(r" *([+-]?)([0-9.,]+)([eE][+-]?[0-9]+)? *", text)
    if match is None or not re.search("[0-9]", match[2]):
        return False
    whole, fraction = without_groups(match[2])
    if whole is None:
        return False
    number = float("%s%s.%s%s" % (match[1], whole or "0", fraction or "0", match[3] or ""))
    return abs(number) != float("inf")


def without_groups(digits):
    """Digits before and behind the decimal separator; None where the separators make no number."""
    separators = re.findall("[.,]", digits)
    if len(separators) < 2:
        parts = re.split("[.,]", digits)
        return parts[0], "".join(parts[1:])
    last = separators[-1]
    if len(set(separators)) == 1:
        grouping, whole, fraction = last, digits, ""
    else:
        if separators.count(last) != 1:
            return None, None
        grouping = "," if last == "." else "."
        whole, fraction = digits.split(last)
    groups = whole.split(grouping)
    if not 1 <= len(groups[0]) <= 3 or any(len(group) != 3 for group in groups[1:]):
        return None, None
    return "".join(groups), fraction


def date_of(text, date_format):
    """"JJJJMMTT000000", or None."""
    length, pieces = DATE_FORMATS[date_format]
    if len(text) != length:
        return None
    if pieces is not None:
        day, month, year = (text[begin:end] for begin, end in pieces)
        if len(year) == 2:
            if not re.fullmatch("[0-9]{2}", year):
                return None
            year = ("20" if int(year) < 50 else "19") + year
        text = "%s.%s.%s" % (day, month, year)
    match = re.fullmatch(r" *([0-9]{1,2})\.([0-9]{1,2})\.([0-9]{4}|[0-9]{2}) *", text)
    if match is None:
        return None
    day, month, year = (int(part) for part in match.groups())
    if len(match[3]) == 2:
        year += 2000 if year < 50 else 1900
    if year < 1 or not 1 <= month <= 12 or not 1 <= day <= calendar.monthrange(year, month)[1]:
        return None
    return "%04d%02d%02d000000" % (year, month, day)


def written(field, value, translated):
    """What goes into the field; None: nothing."""
    kind = field.type.upper()
    if translated:
        return value[:field.size] if field.type == "varchar" else value
    if kind in ("INT", "FLOAT"):
        return value if value != "" else None
    if kind == "VARCHAR":
        return value[:field.size].strip(" ")
    return value.strip(" ") if kind == "TEXT" else value


def assigned(field, names):
    """Kind of the assignment (1 none, 2 column, 3 constant) and column or constant."""
    text = field.assignment or ""
    piece = text.split(":")[1] if ":" in text else ""
    if text.startswith("FIELD:"):
        return (2, piece) if piece in names else (1, "")
    if text.startswith("CONST:"):
        return 3, piece
    return 1, ""


def lacks_columns(case, names):
    """Whether a field takes a column that the source does not have: what it meant may stand there by another name."""
    return any((field.assignment or "").startswith("FIELD:") and assigned(field, names)[0] == 1 for field in case.fields)


def assembled(case, names, values):
    """The record's values and the texts of its errors."""
    record = []
    errors = []
    for field in case.fields:
        kind, name = assigned(field, names)
        name = name.replace('"', "")
        record.append(UNSET)
        if kind == 1 or (kind == 2 and name == ""):
            continue
        if field.size is None:
            # An error, and no limit.
            errors.append((94, None))
        translated = date = False
        if kind == 3:
            value = name
        else:
            column = names.index(name)
            value = values[column] if column < len(values) else ""
            if field.translate and field.table and value in field.table:
                value, translated = field.table[value], True
            date = field.format in DATE_FORMATS
        fits = value == "" or field.type.upper() not in ("INT", "FLOAT") or is_number(value)
        if not fits:
            errors.append((10005, MISMATCH + field.name + " / " + value))
        # A date is written even where its text does not fit the field.
        result = date_of(value, field.format) if date else None
        if result is None and fits:
            result = written(field, value, translated)
        if result is not None:
            record[-1] = result
    return record, errors


# --- The run ---

def run(case):
    """The events as the recorder writes them down, and what is told and left afterwards."""
    lines = lines_of(case.content, case.delimiter, case.qualifier)
    names = column_names(case, lines)
    data = [line for line in (repaired(line, case.ascii) for line in lines[1 if case.headings else 0:]) if line != ""]
    figures = {"records": 0, "total": 0 if case.cancel else len(data), "errors": 0, "status": 0,
               "source": True, "backup": case.backup and not case.test and not case.cancel}
    events = [("BEFORE",)]
    if case.cancel:
        figures["status"] = 3
        return events, figures
    handed_over = 0
    for line in data:
        record, errors = assembled(case, names, values_of(case, line))
        for number, text in errors:
            figures["errors"] += 1
            events.append(("LOG", "Fehler: %d %s (%s/ImportStart)" % (number, text, "ImportRecord")) if text is not None
                          else ("LOG", number))
        if not case.test:
            events.append(("RECORD", *record))
            handed_over += 1
            if case.refuse and handed_over % case.refuse == 0:
                figures["errors"] += 1
                events.append(("LOG", "Fehler: 7 abgelehnt (ImportRecord/ImportStart)"))
        figures["records"] += 1
    events.append(("AFTER",))
    figures["status"] = 1 if figures["errors"] else 0
    figures["source"] = not case.delete or case.test or figures["errors"] > 0 or lacks_columns(case, names)
    return events, figures
