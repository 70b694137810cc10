"""What the tests have in common: a scratch folder, a library, a sample host."""

from __future__ import annotations

import contextlib
import pathlib
import tempfile
import unittest
from typing import Iterator

import kestrel_import


class LibraryTest(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.library = kestrel_import.Library(home=self.folder)
        self.addCleanup(self.library.close)

    def write(self, name: str, *lines: str) -> pathlib.Path:
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_text("".join(line + "\r\n" for line in lines), encoding="cp1252", newline="")
        return path

    def sample_host(self) -> kestrel_import.Connection:
        with self.library.create("kestrelhost.Setup") as setup:
            return self.library.connect(str(setup.invoke("CreateSampleHost", str(self.folder))))

    @contextlib.contextmanager
    def assert_fails(self, number: int, words: str = "") -> Iterator[None]:
        """The block raises Failed with this number and these words."""
        with self.assertRaises(kestrel_import.Failed) as raised:
            yield
        self.assertEqual(raised.exception.number, number)
        self.assertIn(words, raised.exception.text)
