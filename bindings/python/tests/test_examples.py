from __future__ import annotations

import pathlib
import subprocess
import sys
import tempfile
import unittest

_EXAMPLES = pathlib.Path(__file__).resolve().parents[1] / "examples"


def _run(*arguments: str) -> tuple[int, list[str]]:
    done = subprocess.run(
        [sys.executable, "-B", *arguments], stdout=subprocess.PIPE, encoding="utf-8", env=None, check=False
    )
    return done.returncode, done.stdout.splitlines()


class ExamplesTest(unittest.TestCase):
    def test_customers_reach_a_table_of_the_programs_own(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            source = pathlib.Path(folder, "customers.csv")
            source.write_text(
                "Name;E-Mail;Ort;Kunde seit\nJürgen Groß;j@gross.example;Köln;01.02.2003\nHaas;haas;Ulm;\n"
                "Doppelt;j@gross.example;Ulm;\nHeinrich;h@h.example;;\n",
                encoding="utf-8",
            )
            status, lines = _run(str(_EXAMPLES / "django_table.py"), str(source))
        self.assertEqual(status, 1)
        self.assertEqual(lines[0], "Datensatz 2, email: Die E-Mail-Adresse hat kein @")
        self.assertIn("UNIQUE", lines[1])
        self.assertEqual(
            lines[2:],
            ["4 gelesen = 2 neu + 2 abgewiesen", "Jürgen Groß; Köln; 2003-02-01", "Heinrich; ; None"],
        )

    def test_without_a_file_the_example_says_what_it_wants(self) -> None:
        self.assertEqual(_run(str(_EXAMPLES / "django_table.py")), (2, []))

    def test_customers_go_from_one_service_to_another(self) -> None:
        status, lines = _run(str(_EXAMPLES / "rest_service.py"))
        self.assertEqual(status, 0)
        self.assertEqual(
            lines, ["5 gelesen = 4 neu + 1 abgewiesen", "Kunde 1, Kunde 2, Kunde 3, Kunde 5"]
        )


if __name__ == "__main__":
    unittest.main()
