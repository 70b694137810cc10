"""Import classes and sources of Python."""

from __future__ import annotations

import datetime
import unittest
from decimal import Decimal
from typing import Any, ClassVar, Iterable, Iterator, Sequence

import kestrel_import
from kestrel_import import Fate, Field, Outcome, Record, RecordRefused, SourceState, StopImport, Stored
from support import LibraryTest


class AddressBook(kestrel_import.ImportClass):
    fields = (
        Field("Name", size=10, obligation=True),
        Field("Ort"),
        Field("Zahl", type="int"),
        Field("Betrag", type="FLOAT"),
        Field("Seit", date=True),
    )
    taken: ClassVar[list[Record]]
    steps: ClassVar[list[str]]

    def before_import(self) -> None:
        self.steps.append(f"before {self.user} {self.application} {self.connection is not None}")

    def import_record(self, record: Record) -> Stored | None:
        if record["Ort"] == "Nirgendwo":
            raise RecordRefused("Den Ort gibt es nicht", 4711, "Ort")
        if record["Ort"] == "Voll":
            raise StopImport("Die Platte ist voll")
        if record["Ort"] == "Fehler":
            raise ZeroDivisionError("durch nichts")
        self.taken.append(record)
        return Stored(len(self.taken), updated=record["Name"] == "Alt")

    def after_import(self) -> None:
        self.steps.append("after")

    def close(self) -> None:
        self.steps.append("close")


class _AddressBookTest(LibraryTest):
    def setUp(self) -> None:
        super().setUp()
        AddressBook.taken, AddressBook.steps = [], []
        self.library.register("test.addressbook", AddressBook)
        self.outcomes: list[Outcome] = []

    def open(self, *lines: str, import_class: str = "test.addressbook") -> kestrel_import.Job:
        specification = self.write(
            "book.IMP",
            "[Common]",
            "Description=Buch",
            f"ImportClass={import_class}",
            "FileName=",
            "Delimiter=;",
            "[FieldAssignments]",
            *(f"{name}=FIELD:{name}" for name in ("Name", "Ort", "Zahl", "Betrag", "Seit")),
            "[FieldFormat]",
            "Seit=tt.mm.jjjj",
        )
        source = self.write("book.txt", "Name;Ort;Zahl;Betrag;Seit", *lines)
        return self.library.open(specification, source=source, user="4711", application=3)

    def run_over(self, *lines: str, **options: Any) -> kestrel_import.RunResult:
        with self.open(*lines) as job:
            return job.run(record=self.outcomes.append, every_record=True, **options)


class ImportClassTest(_AddressBookTest):
    def test_records_reach_it_by_name_with_numbers_and_days(self) -> None:
        result = self.run_over("Café;Köln;7;1234,50;24.12.2020", "Haas;;;;", "Viel zu lang;Ulm;-3;2;01.02.2003")
        self.assertEqual((result.read, result.stored_new, result.errors, result.cut_values), (3, 3, 0, 1))
        self.assertEqual(
            AddressBook.taken,
            [
                {
                    "Name": "Café",
                    "Ort": "Köln",
                    "Zahl": 7,
                    "Betrag": Decimal("1234.50"),
                    "Seit": datetime.date(2020, 12, 24),
                },
                {"Name": "Haas", "Ort": "", "Zahl": None, "Betrag": None, "Seit": None},
                {
                    "Name": "Viel zu la",
                    "Ort": "Ulm",
                    "Zahl": -3,
                    "Betrag": Decimal(2),
                    "Seit": datetime.date(2003, 2, 1),
                },
            ],
        )
        self.assertEqual(AddressBook.steps, ["before 4711 3 False", "after", "close"])

    def test_the_host_connection_reaches_it_and_stays_open(self) -> None:
        class Places(AddressBook):
            def import_record(self, record: Record) -> None:
                assert self.connection is not None
                self.connection.execute("INSERT INTO Orte VALUES (?)", record["Ort"])

            def close(self) -> None:
                assert self.connection is not None
                self.connection.close()

        self.library.register("test.addressbook", Places)
        host = self.library.connect(self.folder / "host.sqlite")
        host.execute("CREATE TABLE Orte (Ort TEXT)")
        with self.open("Haas;Ulm;;;") as job:
            job.open(str(self.folder / "book.IMP"), source=str(self.folder / "book.txt"), connection=host)
            job.run()
        with host.query("SELECT Ort FROM Orte") as rows:
            self.assertEqual(list(rows), [("Ulm",)])

    def test_a_record_is_refused_with_number_text_and_field(self) -> None:
        result = self.run_over("Haas;Nirgendwo;;;", "Alt;Ulm;;;")
        self.assertEqual((result.rejected, result.updated, result.errors), (1, 1, 1))
        problem = self.outcomes[0].errors[0]
        self.assertEqual((problem.number, problem.text, problem.field), (4711, "Den Ort gibt es nicht", "Ort"))
        self.assertEqual((self.outcomes[1].fate, self.outcomes[1].address), (Fate.UPDATED, "1"))

    def test_what_is_no_day_is_refused(self) -> None:
        self.assertEqual(self.run_over("A;Ulm;;;gestern").rejected, 1)
        problem = self.outcomes[0].errors[-1]
        self.assertEqual((problem.number, problem.field), (13, "Seit"))
        self.assertIn("gestern", problem.text)

    def test_it_stops_the_import_with_a_reason(self) -> None:
        result = self.run_over("A;Ulm;;;", "B;Voll;;;", "C;Ulm;;;")
        self.assertEqual((result.read, result.stored_new, result.stop_reason), (2, 1, "Die Platte ist voll"))

    def test_what_it_raises_else_stops_the_run_and_comes_out(self) -> None:
        with self.open("A;Ulm;;;", "B;Fehler;;;", "C;Ulm;;;") as job:
            with self.assertRaisesRegex(ZeroDivisionError, "durch nichts"):
                job.run()
            assert job.result is not None
            self.assertEqual((job.result.read, job.result.stored_new, job.result.rejected), (2, 1, 1))
        self.assertEqual(AddressBook.steps[-1], "close")

    def test_what_it_returns_is_stored_or_none(self) -> None:
        class Careless(AddressBook):
            def import_record(self, record: Record) -> Any:
                return 5

        self.library.register("test.careless", Careless)
        with self.open("A;Ulm;;;", import_class="test.careless") as job:
            with self.assertRaisesRegex(TypeError, "Stored oder None"):
                job.run()

    def test_it_may_cancel_before_the_first_record(self) -> None:
        class Unwilling(AddressBook):
            def before_import(self) -> bool:  # type: ignore[override]
                return False

        self.library.register("test.addressbook", Unwilling)
        result = self.run_over("A;Ulm;;;")
        self.assertTrue(result.cancelled)
        self.assertEqual(result.read, 0)

    def test_a_test_run_asks_only_a_class_that_checks(self) -> None:
        self.assertEqual(self.run_over("A;Nirgendwo;;;", test=True).errors, 0)

        class Checking(AddressBook):
            def check_record(self, record: Record) -> None:
                self.steps.append("check")
                if record["Ort"] == "Nirgendwo":
                    raise RecordRefused("Den Ort gibt es nicht")

        self.library.register("test.addressbook", Checking)
        result = self.run_over("A;Nirgendwo;;;", "B;Ulm;;;", test=True)
        self.assertEqual((result.rejected, result.checked, AddressBook.taken), (1, 1, []))
        self.assertEqual(AddressBook.steps.count("check"), 2)

    def test_records_may_be_lost_later(self) -> None:
        class Grouping(AddressBook):
            def after_import(self) -> None:
                self.lose(RecordRefused("Die Gruppe ging verloren", 77), 2, 3)

        self.library.register("test.addressbook", Grouping)
        revisions: list[kestrel_import.Revision] = []
        result = self.run_over("A;Ulm;;;", "B;Ulm;;;", "C;Ulm;;;", revision=revisions.append)
        self.assertEqual((result.stored_new, result.rejected), (1, 2))
        self.assertEqual((revisions[0].first, revisions[0].last, revisions[0].fate), (2, 3, Fate.REJECTED))
        assert revisions[0].error is not None
        self.assertEqual(revisions[0].error.number, 77)


class SourceTest(_AddressBookTest):
    def source_job(self, rows: Iterable[Sequence[Any]]) -> kestrel_import.Job:
        self.opened: list[tuple[str, str]] = []

        def open_source(database: str, table: str) -> tuple[Sequence[str], Iterable[Sequence[Any]]]:
            self.opened.append((database, table))
            return ["Name", "Ort"], rows

        self.library.register_source("Dienst", open_source)
        specification = self.write(
            "service.IMP",
            "[Common]",
            "Description=Dienst",
            "ImportClass=test.addressbook",
            "Provider=Dienst",
            "Database=eins",
            "Table=zwei",
            "[FieldAssignments]",
            "Name=FIELD:Name",
            "Ort=FIELD:Ort",
        )
        return self.library.open(specification)

    def test_rows_of_python_are_shown_and_imported(self) -> None:
        with self.source_job([("Haas", "Ulm"), ("Heinrich", None)]) as job:
            self.assertEqual(job.columns(), ["Name", "Ort"])
            self.assertEqual(job.preview().rows, [("Haas", "Ulm"), ("Heinrich", "")])
            result = job.run()
        self.assertEqual((result.stored_new, result.source_state), (2, SourceState.AT_END))
        self.assertEqual(self.opened[-1], ("eins", "zwei"))

    def test_a_source_that_raises_is_broken_off_and_comes_out(self) -> None:
        class Breaking:
            def __iter__(self) -> Iterator[Sequence[str]]:
                yield "Haas", "Ulm"
                yield "Heinrich", "Ulm"
                raise ConnectionError("der Dienst ist fort")

        with self.source_job(Breaking()) as job:
            with self.assertRaisesRegex(ConnectionError, "fort"):
                job.run()
            assert job.result is not None
            self.assertIs(job.result.source_state, SourceState.BROKEN_OFF)
            self.assertEqual(job.result.stored_new, 2)
            self.assertIn("der Dienst ist fort", job.result.source_error)

    def test_a_kind_of_source_is_registered_once(self) -> None:
        with self.assert_fails(5):
            self.library.register_source("Textdatei", lambda database, table: ([], []))


if __name__ == "__main__":
    unittest.main()
