"""The package as others get it: its types, and the wheel that is built without a network."""

from __future__ import annotations

import importlib.util
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile

_PACKAGE = pathlib.Path(__file__).resolve().parents[1]


class PackageTest(unittest.TestCase):
    def test_every_type_is_right(self) -> None:
        mypy = shutil.which("mypy")
        if mypy is None:
            self.skipTest("mypy is not installed")
        with tempfile.TemporaryDirectory() as cache:
            checked = subprocess.run(
                [mypy, "--cache-dir", cache], cwd=_PACKAGE, stdout=subprocess.PIPE, encoding="utf-8", check=False
            )
        self.assertEqual(checked.returncode, 0, checked.stdout)

    def test_a_wheel_is_built_and_works(self) -> None:
        if not all(importlib.util.find_spec(name) for name in ("setuptools", "wheel")):
            self.skipTest("setuptools or wheel is not installed")
        with tempfile.TemporaryDirectory() as folder:
            copy = pathlib.Path(folder, "package")
            shutil.copytree(_PACKAGE, copy, ignore=shutil.ignore_patterns("__pycache__"))
            built = subprocess.run(
                [sys.executable, "-c", f"from setuptools import build_meta; build_meta.build_wheel({folder!r})"],
                cwd=copy,
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                encoding="utf-8",
                check=False,
            )
            self.assertEqual(built.returncode, 0, built.stdout)
            (made,) = pathlib.Path(folder).glob("kestrel_import-*-py3-none-any.whl")
            with zipfile.ZipFile(made) as archive:
                self.assertIn("kestrel_import/py.typed", archive.namelist())
                archive.extractall(pathlib.Path(folder, "installed"))
            told = subprocess.run(
                [sys.executable, "-c", "import kestrel_import as k; print(k.__file__); print(k.version())"],
                cwd=pathlib.Path(folder, "installed"),
                stdout=subprocess.PIPE,
                encoding="utf-8",
                check=True,
            )
        place, version = told.stdout.splitlines()
        self.assertIn("installed", place)
        self.assertIn(f"-{version}-", made.name)


if __name__ == "__main__":
    unittest.main()
