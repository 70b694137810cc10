"""Imports customers into a table as a Django model has it, over the program's own connection.

    django_table.py customers.csv    (a file with the columns Name, E-Mail, Ort and Kunde seit, behind semicolons)

The import class is an ordinary Python class. All records are one transaction, so that nothing stays where the import
is stopped.
"""

from __future__ import annotations

import pathlib
import sqlite3
import sys
import tempfile

import kestrel_import
from kestrel_import import Field, Record, RecordRefused, Stored

SPECIFICATION = """[Common]
Description=Kunden aus dem Shop
ImportClass=shop.customer
FileName=
Delimiter=;
[FieldAssignments]
name=FIELD:Name
email=FIELD:E-Mail
city=FIELD:Ort
since=FIELD:Kunde seit
[FieldFormat]
since=tt.mm.jjjj
"""

# What `manage.py migrate` makes of the model.
TABLE = """CREATE TABLE shop_customer (
    id integer PRIMARY KEY AUTOINCREMENT,
    name varchar(80) NOT NULL,
    email varchar(254) NOT NULL UNIQUE,
    city varchar(60) NOT NULL,
    since date NULL)"""


def import_class_for(database: sqlite3.Connection) -> type[kestrel_import.ImportClass]:
    class Customer(kestrel_import.ImportClass):
        fields = (
            Field("name", size=80, obligation=True),
            Field("email", size=254, obligation=True),
            Field("city", size=60),
            Field("since", date=True),
        )

        def import_record(self, record: Record) -> Stored:
            if "@" not in str(record["email"]):
                raise RecordRefused("Die E-Mail-Adresse hat kein @", field="email")
            since = record["since"]
            try:
                row = database.execute(
                    "INSERT INTO shop_customer (name, email, city, since) VALUES (?, ?, ?, ?)",
                    (record["name"], record["email"], record["city"] or "", since and str(since)),
                )
            except sqlite3.IntegrityError as error:
                raise RecordRefused(f"Die Datenbank nimmt den Kunden nicht: {error}", field="email") from error
            return Stored(row.lastrowid or 0)

        def after_import(self) -> None:
            database.commit()

        def close(self) -> None:
            # What is not committed by now was stopped.
            database.rollback()

    return Customer


def import_customers(database: sqlite3.Connection, source: pathlib.Path) -> kestrel_import.RunResult:
    with tempfile.TemporaryDirectory() as folder, kestrel_import.Library(home=folder, plugins=False) as library:
        specification = pathlib.Path(folder, "shop.IMP")
        specification.write_text(SPECIFICATION, encoding="cp1252")
        library.register("shop.customer", import_class_for(database))
        with library.open(specification, source=source) as job:
            return job.run(record=tell)


def tell(outcome: kestrel_import.Outcome) -> None:
    for error in outcome.errors:
        print(f"Datensatz {outcome.record}, {error.field or 'ganz'}: {error.text}")


def main() -> int:
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    database = sqlite3.connect(":memory:")
    database.execute(TABLE)
    result = import_customers(database, pathlib.Path(sys.argv[1]))
    print(f"{result.read} gelesen = {result.stored_new} neu + {result.rejected} abgewiesen")
    for row in database.execute("SELECT name, city, since FROM shop_customer ORDER BY id"):
        print(*row, sep="; ")
    return 0 if result.errors == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
