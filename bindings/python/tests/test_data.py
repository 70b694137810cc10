"""Record sets, connections and specifications."""

from __future__ import annotations

import datetime
import sqlite3
import unittest
from decimal import Decimal
from typing import Any, Iterator

import kestrel_import
from support import LibraryTest


class RecordsetTest(LibraryTest):
    def test_rows_of_python_are_read_as_texts(self) -> None:
        rows = self.library.recordset(
            ["Name", "Zahl", "Tag", "Leer"],
            [
                ("Café", 7, datetime.date(2026, 12, 24), None),
                {"Tag": True, "Name": "", "Zahl": Decimal("-12.340")},
                ["zu kurz"],
            ],
        )
        self.assertEqual(rows.columns, ("Name", "Zahl", "Tag", "Leer"))
        self.assertEqual(
            list(rows),
            [
                ("Café", "7", "24.12.2026", None),
                ("", "-12,34", self.library.text_of_value(True), None),
                ("zu kurz", None, None, None),
            ],
        )
        rows.first()
        self.assertEqual(next(rows.dicts())["Zahl"], "7")

    def test_whole_numbers_are_of_any_size(self) -> None:
        numbers = (2**63 - 1, 2**63, -(2**63) - 1, 10**30)
        self.assertEqual([self.library.text_of_value(number) for number in numbers], [str(n) for n in numbers])

    def test_an_iterator_is_read_once(self) -> None:
        rows = self.library.recordset(["A"], (str(number) for number in range(3)))
        self.assertEqual(list(rows), [("0",), ("1",), ("2",)])
        with self.assert_fails(438):
            rows.first()

    def test_what_an_iterator_raises_comes_out(self) -> None:
        def each() -> Iterator[list[str]]:
            yield ["1"]
            raise ConnectionError("der Dienst ist fort")

        with self.assertRaisesRegex(ConnectionError, "fort"):
            list(self.library.recordset(["A"], each()))


class ConnectionTest(LibraryTest):
    def test_statements_take_parameters_of_every_kind(self) -> None:
        host = self.library.connect(self.folder / "host.sqlite")
        host.execute("CREATE TABLE Orte (Nummer INTEGER, Ort TEXT, Seit TEXT, Betrag TEXT, Wahr INTEGER)")
        changed = host.execute(
            "INSERT INTO Orte VALUES (?, ?, ?, ?, ?)",
            7,
            "Köln'; DROP TABLE Orte; --",
            datetime.datetime(2026, 3, 9, 8, 30),
            Decimal("12.50"),
            True,
        )
        self.assertEqual(changed, 1)
        with host.query("SELECT * FROM Orte WHERE Nummer = ?", 7) as rows:
            self.assertEqual(
                list(rows.values()), [(7, "Köln'; DROP TABLE Orte; --", "2026-03-09 08:30:00", "12.50", 1)]
            )
        self.assertEqual(host.tables(), [("Orte", "TABLE")])
        self.assertEqual(host.columns("Orte")[:2], ["Nummer", "Ort"])
        with self.assert_fails(3000, "Orts"):
            host.query("SELECT * FROM Orts")
        with self.assertRaises(kestrel_import.Misuse):
            host.execute("SELECT ?", b"bytes")

    def test_a_transaction_is_kept_or_taken_back(self) -> None:
        with self.library.connect(self.folder / "host.sqlite") as host:
            host.execute("CREATE TABLE T (N INTEGER)")
            with host.transaction():
                host.execute("INSERT INTO T VALUES (1)")
            with self.assertRaises(ValueError), host.transaction():
                host.execute("INSERT INTO T VALUES (2)")
                raise ValueError
            with host.query("SELECT N FROM T") as rows:
                self.assertEqual(list(rows), [("1",)])
        with self.assertRaises(kestrel_import.Closed):
            host.begin()


class AdoptedTest(LibraryTest):
    def setUp(self) -> None:
        super().setUp()
        self.database = sqlite3.connect(":memory:")
        self.addCleanup(self.database.close)
        self.database.execute("CREATE TABLE Orte (Nummer INTEGER, Ort TEXT, Betrag REAL)")

    def test_a_database_of_pythons_own_is_a_connection(self) -> None:
        host = self.library.adopt(self.database)
        self.assertEqual(host.execute("INSERT INTO Orte VALUES (?, ?, ?)", 7, "Köln", 1.5), 1)
        with host.query("SELECT Ort, Betrag, NULL AS Leer FROM Orte WHERE Nummer = ?", 7) as rows:
            self.assertEqual(list(rows.dicts()), [{"Ort": "Köln", "Betrag": "1,5", "Leer": None}])
        self.assertEqual(host.columns("Orte"), ["Nummer", "Ort", "Betrag"])
        with self.assertRaises(ZeroDivisionError), host.transaction():
            host.execute("DELETE FROM Orte")
            raise ZeroDivisionError
        with host.transaction():
            host.execute("INSERT INTO Orte VALUES (8, NULL, NULL)")
        host.close()
        self.assertEqual(self.database.execute("SELECT count(*) FROM Orte").fetchone(), (2,))

    def test_queries_of_a_long_import_leave_nothing_behind(self) -> None:
        class Looking(kestrel_import.ImportClass):
            fields = (kestrel_import.Field("Name"),)

            def import_record(self, record: kestrel_import.Record) -> None:
                assert self.connection is not None
                self.connection.query("SELECT count(*) FROM Orte")

        self.library.register("test.looking", Looking)
        specification = self.write(
            "look.IMP",
            "[Common]",
            "Description=Suche",
            "ImportClass=test.looking",
            "FileName=",
            "Delimiter=;",
            "[FieldAssignments]",
            "Name=FIELD:Name",
        )
        source = self.write("look.txt", "Name", *(f"Nr. {number}" for number in range(300)))
        kept: list[int] = []
        host = self.library.adopt(self.database)
        with self.library.open(specification, source=source, connection=host) as job:
            job.run(
                record=lambda outcome: kept.append(len(self.library._kept) + len(self.library._dying)),
                every_record=True,
            )
        self.assertEqual(len(kept), 300)
        self.assertLess(max(kept) - min(kept), 5)

    def test_what_the_database_raises_comes_out(self) -> None:
        with self.library.adopt(self.database) as host:
            with self.assertRaisesRegex(sqlite3.OperationalError, "Nirgends"):
                host.query("SELECT * FROM Nirgends")
            with self.assertRaises(sqlite3.Error):
                host.columns("Nirgends")


class SpecificationTest(LibraryTest):
    def test_specifications_are_listed_read_changed_and_saved(self) -> None:
        path = self.write("Import/Kunden.IMP", "[Common]", "Description=Kunden", "ImportClass=a.b")
        entry = self.library.specifications()[0]
        self.assertEqual((entry.description, entry.import_class, entry.file), ("Kunden", "a.b", str(path)))
        with self.library.specification(path) as specification:
            self.assertEqual(specification.value("common", "description"), "Kunden")
            self.assertIsNone(specification.value("Common", "Missing"))
            specification.change("Common", "Description", "Kündinnen")
            self.assertIn("Description=Kunden", path.read_text("cp1252"))
            specification.save()
            self.assertIn("Description=Kündinnen", path.read_text("cp1252"))
            self.assertIn(("Common", "ImportClass", "a.b"), specification.entries())
            with self.assert_fails(5):
                specification.change("", "", "x")
            specification.save(self.folder / "copy.IMP")
        with self.library.new_specification() as new:
            with self.assert_fails(5):
                new.save()
            with self.assert_fails(58):
                new.save(path)


if __name__ == "__main__":
    unittest.main()
