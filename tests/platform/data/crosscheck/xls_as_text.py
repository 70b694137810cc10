"""Prints the cells of .xls files as another reader (xlrd) sees them, by the rule of value_text.h.

For each file: "FILE name", or "REFUSED name reason"; for each sheet "SHEET name"; for each row of the smallest
rectangle that holds all values "ROW" and its cells, separated by tabs. An empty cell and an error are \\N;
backslash, tab and line ends in texts are written \\\\, \\t, \\n, \\r.
"""
import os
import sys

import xlrd


def escaped(text):
    for plain, written in (("\\", "\\\\"), ("\t", "\\t"), ("\n", "\\n"), ("\r", "\\r")):
        text = text.replace(plain, written)
    return text


def number_text(value):
    if value == int(value) and abs(value) < 1e15:
        return str(int(value))
    return repr(value).replace(".", ",")


def date_text(value, datemode, format_code):
    seconds = round(value * 86400)
    if value < 1 or "[h" in format_code.lower():  # a length of time, for which the reader has no meaning
        return "%02d:%02d:%02d" % (seconds // 3600, seconds // 60 % 60, seconds % 60)
    year, month, day, hour, minute, second = xlrd.xldate_as_tuple(value, datemode)
    text = "%02d.%02d.%04d" % (day, month, year)
    if hour or minute or second:
        text += " %02d:%02d:%02d" % (hour, minute, second)
    return text


def cell_text(cell, book):
    if cell.ctype == xlrd.XL_CELL_TEXT:
        return escaped(cell.value)
    if cell.ctype == xlrd.XL_CELL_NUMBER:
        return number_text(cell.value)
    if cell.ctype == xlrd.XL_CELL_DATE:
        code = book.format_map[book.xf_list[cell.xf_index].format_key].format_str
        return date_text(cell.value, book.datemode, code)
    if cell.ctype == xlrd.XL_CELL_BOOLEAN:
        return "Wahr" if cell.value else "Falsch"
    return "\\N"


def main(paths):
    sys.stdout.reconfigure(encoding="utf-8")
    for path in paths:
        name = os.path.basename(path)
        try:
            with open(os.devnull, "w") as nowhere:
                book = xlrd.open_workbook(path, formatting_info=True, logfile=nowhere)
        except xlrd.XLRDError as error:
            print("REFUSED", name, error)
            continue
        print("FILE", name)
        for sheet in book.sheets():
            print("SHEET", sheet.name)
            used = [
                (row, column)
                for row in range(sheet.nrows)
                for column in range(sheet.row_len(row))
                if sheet.cell_type(row, column) not in (xlrd.XL_CELL_EMPTY, xlrd.XL_CELL_BLANK)
            ]
            if not used:
                continue
            rows = range(min(r for r, _ in used), max(r for r, _ in used) + 1)
            columns = range(min(c for _, c in used), max(c for _, c in used) + 1)
            for row in rows:
                cells = [
                    cell_text(sheet.cell(row, column), book) if column < sheet.row_len(row) else "\\N"
                    for column in columns
                ]
                print("\t".join(["ROW"] + cells))


main(sys.argv[1:])
