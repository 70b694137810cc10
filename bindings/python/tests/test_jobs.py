"""Imports into the sample host: findings, runs, stops, undo."""

from __future__ import annotations

import os
import signal
import threading
import unittest

import kestrel_import
from kestrel_import import Fate, Outcome, SourceState
from support import LibraryTest

_HEAD = "Nr;Name;Zusatz;Strasse;Land;PLZ;Ort;Telefon;E-Mail;Gruppe;Kunde seit;Umsatz;Mitarbeiter;Bemerkung"


class JobTest(LibraryTest):
    def setUp(self) -> None:
        super().setUp()
        self.host = self.sample_host()

    def customers(self, *lines: str) -> kestrel_import.Job:
        """The sample's own, or those of these lines."""
        source = self.write("kunden.txt", _HEAD, *lines) if lines else None
        return self.library.open("Kunden", connection=self.host, source=source)

    def stored(self) -> int:
        with self.host.query("SELECT count(*) FROM Kunden") as rows:
            return int(next(iter(rows))[0] or 0)

    def test_a_source_is_checked_and_shown(self) -> None:
        with self.customers() as job:
            self.assertEqual([finding.severity for finding in job.check(all_records=True)], ["note"])
            self.assertEqual(job.columns()[:2], ["Nr", "Name"])
            preview = job.preview(2)
            self.assertEqual((len(preview.rows), preview.rows[1][1]), (2, "Jürgen Großmann"))
            self.assertEqual(preview.unreadable, [])

    def test_every_value_is_checked_before_a_run(self) -> None:
        with self.customers("1;A;;;;12345;Ort;;;;;;;", "zwei;B;;;;12345;Ort;;;;;;;") as job:
            self.assertEqual([finding.severity for finding in job.check(all_records=True)].count("error"), 0)
            errors = [finding for finding in job.check(values=True) if finding.severity == "error"]
            self.assertEqual([finding.key for finding in errors], ["KundenNummer"])
            self.assertIn("zwei", errors[0].text)
        self.assertEqual(self.stored(), 0)

    def test_an_import_is_told_record_by_record_listed_and_taken_back(self) -> None:
        outcomes: list[Outcome] = []
        steps: list[float] = []
        with self.customers() as job:
            result = job.run(
                record=outcomes.append, every_record=True, progress=lambda percent, text: steps.append(percent)
            )
        self.assertEqual((result.read, result.stored_new, result.errors, result.total), (6, 6, 0, 6))
        self.assertIs(result.source_state, SourceState.AT_END)
        self.assertEqual(result.message, "Der Import wurde erfolgreich fertig gestellt.")
        self.assertEqual([outcome.record for outcome in outcomes], [1, 2, 3, 4, 5, 6])
        self.assertEqual((outcomes[0].fate, outcomes[0].cut_fields), (Fate.STORED, ("Suchbegriff",)))
        self.assertEqual(steps[-1], 100)
        self.assertEqual(self.stored(), 6)
        runs = self.library.runs(self.host)
        self.assertEqual([(run["LaufNr"], run["Neu"]) for run in runs], [("1", "6")])
        self.host.execute("UPDATE Kunden SET Ort = 'Bonn' WHERE KundenNummer = 1001")
        undone = self.library.undo(self.host, 1, dry_run=True)
        self.assertEqual((undone.removed, len(undone.left_alone), undone.complete), (5, 1, True))
        self.assertEqual(self.stored(), 6)
        self.assertEqual(result.run_number, 1)
        self.assertEqual(self.library.undo(self.host, result.run_number, take_changes=True).removed, 6)
        self.assertEqual(self.stored(), 0)
        with self.assert_fails(5):
            self.library.undo(self.host, 99)

    def test_a_test_run_stores_nothing(self) -> None:
        with self.customers() as job:
            result = job.run(test=True)
        self.assertEqual((result.checked, result.stored_new, self.stored()), (6, 0, 0))

    def test_errors_are_told_with_field_column_and_value_and_rejects_are_kept(self) -> None:
        outcomes: list[Outcome] = []
        with self.customers(
            "1;Haas;;;D;1;Ulm;;;B;01.04.2019;1;1;", "1;Heinrich;;;D;1;Ulm;;;B;01.04.2019;viel;1;"
        ) as job:
            result = job.run(keep_rejects=True, record=outcomes.append)
            self.assertEqual((result.stored_new, result.rejected, result.rejects), (1, 1, 1))
            problem = outcomes[0].errors[0]
            self.assertEqual((problem.field, problem.source_column, problem.raw_value), ("Umsatz", "Umsatz", "viel"))
            self.assertEqual((outcomes[0].record, outcomes[0].fate), (2, Fate.REJECTED))
            job.save_rejects(str(self.folder / "rest.txt"))
            self.assertIn("Heinrich", (self.folder / "rest.txt").read_text("cp1252"))
            with self.assert_fails(70):
                job.save_rejects(str(self.folder / "kunden.txt"))

    def test_an_import_that_does_not_begin_tells_its_findings(self) -> None:
        with self.assertRaises(kestrel_import.Refused):
            self.library.open("Nirgends")
        with self.library.specification(self.folder / "Import/Kunden.IMP") as specification:
            specification.change("FieldAssignments", "Ort", "FIELD:Wohnort")
            specification.save()
        with self.customers() as job, self.assertRaises(kestrel_import.Refused) as refused:
            job.run()
        self.assertEqual([finding.key for finding in refused.exception.findings if finding.severity == "error"], ["Ort"])
        self.assertIsNone(job.result)

    def test_what_a_callback_raises_stops_the_run_and_comes_out(self) -> None:
        def fail(outcome: Outcome) -> None:
            if outcome.record == 3:
                raise ValueError("genug")

        with self.customers() as job:
            with self.assertRaisesRegex(ValueError, "genug"):
                job.run(record=fail, every_record=True)
            assert job.result is not None
            self.assertEqual((job.result.read, job.result.stopped, job.result.next_record), (3, True, 4))
        self.assertEqual(self.stored(), 3)

    def test_another_thread_stops_the_run(self) -> None:
        stopped: list[bool] = []

        def stop(outcome: Outcome) -> None:
            if outcome.record == 2:
                thread = threading.Thread(target=lambda: stopped.append(job.stop()))
                thread.start()
                thread.join()

        with self.customers() as job:
            self.assertFalse(job.stop())
            result = job.run(record=stop, every_record=True)
        self.assertEqual((stopped, result.read, result.stopped), ([True], 2, True))

    def test_an_interrupt_stops_the_run_in_order_and_comes_out(self) -> None:
        before = signal.getsignal(signal.SIGINT)
        signal.signal(signal.SIGINT, signal.default_int_handler)
        self.addCleanup(signal.signal, signal.SIGINT, before)

        def interrupt(outcome: Outcome) -> None:
            if outcome.record == 4:
                os.kill(os.getpid(), signal.SIGINT)

        with self.customers() as job:
            with self.assertRaises(KeyboardInterrupt):
                job.run(record=interrupt, every_record=True)
            assert job.result is not None
            self.assertTrue(job.result.stopped)
            self.assertEqual(job.result.read, self.stored())
            self.assertLess(job.result.read, 6)
        self.assertIs(signal.getsignal(signal.SIGINT), signal.default_int_handler)
        self.assertEqual(self.library.runs(self.host)[0]["Neu"], str(self.stored()))

    def test_an_undo_is_stopped_by_what_its_progress_raises(self) -> None:
        def fail(done: int, total: int) -> None:
            raise ValueError("genug")

        with self.customers() as job:
            job.run()
        with self.assertRaisesRegex(ValueError, "genug"):
            self.library.undo(self.host, 1, progress=fail)
        self.assertTrue(self.library.undo(self.host, 1).complete)
        self.assertEqual(self.stored(), 0)

    def test_boxes_are_told_and_questions_answered(self) -> None:
        asked: list[kestrel_import.Question] = []

        def answer(question: kestrel_import.Question) -> None:
            asked.append(question)

        with kestrel_import.Library(home=self.folder, ask=answer) as library:
            with library.open("Kunden", connection=library.connect(self.folder / "kestrel.db")) as job:
                job.run()
        self.assertEqual(asked[-1].kind, "tell")
        self.assertIn("erfolgreich", asked[-1].text)

    def test_a_job_that_is_closed_leaves_no_working_copy(self) -> None:
        before = sorted((self.folder / "Import").iterdir())
        with self.customers():
            self.assertNotEqual(sorted((self.folder / "Import").iterdir()), before)
        self.assertEqual(sorted((self.folder / "Import").iterdir()), before)


if __name__ == "__main__":
    unittest.main()
