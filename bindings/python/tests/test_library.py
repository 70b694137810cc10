from __future__ import annotations

import contextlib
import gc
import os
import threading
import unittest
from typing import Any

import kestrel_import
from support import LibraryTest


class LibraryLifeTest(LibraryTest):
    def test_a_closed_library_raises(self) -> None:
        host = self.library.connect(self.folder / "host.sqlite")
        self.library.close()
        self.library.close()
        self.assertTrue(host.closed)
        with self.assertRaises(kestrel_import.Closed):
            self.library.specifications()
        with self.assertRaises(kestrel_import.Closed):
            host.execute("SELECT 1")
        host.close()

    def test_a_handle_used_after_close_raises(self) -> None:
        rows = self.library.recordset(["A"], [["1"]])
        with rows:
            self.assertEqual(rows.columns, ("A",))
        self.assertTrue(rows.closed)
        rows.close()
        with self.assertRaisesRegex(kestrel_import.Closed, "Recordset"):
            rows.first()
        with self.assertRaises(kestrel_import.Closed):
            list(rows)

    def test_what_is_forgotten_is_given_back_also_by_another_thread(self) -> None:
        closed: list[bool] = []

        class Rows:
            def __iter__(self) -> Any:
                return self.each()

            def each(self) -> Any:
                try:
                    yield ["1"]
                    yield ["2"]
                finally:
                    closed.append(True)

        kept = [self.library.recordset(["A"], Rows())]
        thread = threading.Thread(target=kept.clear)
        thread.start()
        thread.join()
        gc.collect()
        self.assertEqual(closed, [])
        self.library.specifications(self.folder)
        gc.collect()
        self.assertEqual(closed, [True])

    def test_another_thread_is_refused(self) -> None:
        raised: list[BaseException] = []

        def use() -> None:
            try:
                self.library.specifications(self.folder)
            except kestrel_import.KestrelError as error:
                raised.append(error)

        thread = threading.Thread(target=use)
        thread.start()
        thread.join()
        self.assertIsInstance(raised[0], kestrel_import.WrongThread)
        self.library.specifications(self.folder)

    @unittest.skipUnless(hasattr(os, "fork"), "there is no fork")
    def test_a_forked_process_leaves_its_parents_library_alone(self) -> None:
        self.sample_host().close()
        job = self.library.open("Kunden")
        child = os.fork()
        if child == 0:
            failed = 1
            with contextlib.suppress(BaseException):
                with contextlib.suppress(kestrel_import.WrongThread):
                    job.columns()
                    os._exit(2)
                self.library.close()
                failed = 0 if self.library.closed else 3
            os._exit(failed)
        self.assertEqual(os.waitpid(child, 0)[1], 0)
        self.assertEqual(job.columns()[0], "Nr", "its working copy is still there")

    def test_closing_in_a_callback_is_refused(self) -> None:
        rows = self.library.recordset(["A"], self._closing())
        self.assertTrue(rows.at_end)

    def _closing(self) -> Any:
        with self.assertRaises(kestrel_import.Busy):
            self.library.close()
        return
        yield

    def test_errors_have_number_and_german_text(self) -> None:
        with self.assert_fails(429, "no.such.thing"):
            self.library.create("no.such.thing")
        with self.assert_fails(53):
            self.library.specification(self.folder / "missing.IMP")
        self.assertEqual(str(kestrel_import.Failed("Fehlt", 53)), "53: Fehlt")


class ObjectTest(LibraryTest):
    def test_members_are_used_by_name(self) -> None:
        def swap(instance: list[Any], call: kestrel_import.Call) -> kestrel_import.Value:
            first, second = call.arguments
            call.write(0, second)
            call.write(1, first)
            return None

        def last(instance: list[Any], call: kestrel_import.Call) -> kestrel_import.Value:
            if call.use == "method":
                return instance[-1] if instance else None
            instance.append(call.arguments[0])
            return None

        self.library.register_component("test.values", list, {"Swap": swap, "Last": last})
        with self.library.create("Test.Values") as made:
            first, second = kestrel_import.Ref(1), kestrel_import.Ref("zwei")
            made.invoke("swap", first, second)
            self.assertEqual((first.value, second.value), ("zwei", 1))
            self.assertIsNone(made.get("Last"))
            values: list[kestrel_import.Value] = [True, -(2**63), 1.5, "Köln 🙂\0", None]
            for value in values:
                made.let("Last", value)
                self.assertEqual(made.get("Last"), value)
                self.assertIs(type(made.get("Last")), type(value))
            made.let("Last", made)
            self.assertIsInstance(made.get("Last"), kestrel_import.Object)
            made.let("Last", self.library.recordset(["A"], [["1"]]))
            rows = made.get("Last")
            assert isinstance(rows, kestrel_import.Recordset)
            self.assertEqual(list(rows), [("1",)])
            self.assertTrue(made.has("LAST") and not made.has("First"))
            with self.assert_fails(438, "First"):
                made.invoke("First")
            wrongs: list[Any] = [object(), "x\udcff"]
            for wrong in wrongs:
                with self.assertRaises((TypeError, UnicodeEncodeError)):
                    made.let("Last", wrong)

    def test_what_a_member_raises_comes_out_of_the_call(self) -> None:
        def fail(instance: None, call: kestrel_import.Call) -> kestrel_import.Value:
            raise LookupError("mitten drin")

        def catch(instance: None, call: kestrel_import.Call) -> kestrel_import.Value:
            with self.library.create("test.failing") as inner:
                try:
                    return inner.invoke("Fail")
                except LookupError:
                    return "gefangen"

        self.library.register_component("test.failing", lambda: None, {"Fail": fail, "Catch": catch})
        with self.library.create("test.failing") as made:
            with self.assertRaisesRegex(LookupError, "mitten drin"):
                made.invoke("Fail")
            self.assertEqual(made.invoke("Catch"), "gefangen")

    def test_what_making_an_instance_raises_comes_out(self) -> None:
        class Broken:
            def __init__(self) -> None:
                raise ZeroDivisionError

        self.library.register_component("test.broken", Broken, {"A": lambda instance, call: None})
        with self.assertRaises(ZeroDivisionError):
            self.library.create("test.broken")


if __name__ == "__main__":
    unittest.main()
