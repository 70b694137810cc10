#!/usr/bin/env python3
"""Runs what the documentation tells people to type.

    docs_commands_test.py SOURCES BUILD [unittest options]

Every fenced block of every page tells by its kind what it is:

    sh          is run as it stands, in a folder of its own that holds only what the page begins with (BEGINS_WITH) and
                the files that it has told of before
    console     commands behind "$ " with what they print, run one after the other in one folder of the page, beside
                the host of the demo. What is printed has to be that; "..." leaves something out, and dates, times and
                widths may differ
    KIND NAME   is such a file
    cpp, c, ini, csv, json, text, python, sql   nothing to type

"sh (reason)" is not run, and says why. One whose reason names PostgreSQL is run where that is installed, with a server
of its own. What is Python or SQL is a file, or has a reason, too.
"""
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCES, BUILD = (os.path.abspath(path) for path in sys.argv[1:3])
FENCE = re.compile(r"^```([^\n]*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
HEAD = re.compile(r"(\w+)(?: ([^\s(]+)| \((.+)\))?$")
KINDS = {"sh", "console", "cpp", "c", "ini", "csv", "json", "text", "python", "sql"}
PAGES = ["README.md", "bindings/python/README.md", "packaging/watch/README.md"] + sorted(
    os.path.relpath(page, SOURCES) for page in glob.glob(f"{SOURCES}/docs/**/*.md", recursive=True))

SYSTEM_PATH = "/usr/local/bin:/usr/bin:/bin"
DEMO_HOST = f"kestrel-import init host >/dev/null 2>&1; cp {SOURCES}/demo/*.IMP {SOURCES}/demo/*.txt host/Import/"
OWN_FILE = r"printf 'Name;Stra\303\237e;PLZ;Ort\nHaas;Am Markt 1;89073;Ulm\nHerrmann;Weg 2;36037;Fulda\n' >kunden.txt"
OWN_TABLE = ("CREATE TABLE Customer (CustomerId INTEGER PRIMARY KEY, Name TEXT NOT NULL, Address TEXT, "
             "PostalCode VARCHAR(10), City TEXT)")
# What a reader has before he comes to a page, and to what the demo shows of it.
BEGINS_WITH = {
    "README.md": f"{OWN_FILE}; sqlite3 shop.db '{OWN_TABLE}'",
    "docs/json/README.md": DEMO_HOST,
}


def read(*path):
    with open(os.path.join(*path), encoding="utf-8") as file:
        return file.read()


def essence(text):
    """What is left of a printed text where widths, dates and times do not count."""
    lines = [line for line in text.split("\n") if "█" not in line]
    text = re.sub(r"[─┌┐└┘├┤┬┴┼]", "", "\n".join(lines))
    text = re.sub(r"\d{4}-\d\d-\d\d|\d\d?\.\d\d?\.\d{4}", "DATE", text)
    text = re.sub(r"\d\d:\d\d:\d\d", "TIME", text)
    return re.sub(r"\s+", "", text)


class Server:
    """A PostgreSQL server of this test's own."""

    def __init__(self):
        self._process = subprocess.Popen([sys.executable, f"{SOURCES}/tests/servers/postgres_server.py"], text=True,
                                         stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        told = self._process.stdout.readline().split()
        self.environment = dict(zip(("PGPORT", "PGPASSWORD"), told[1::2]), PGHOST="127.0.0.1", PGUSER="kestrel",
                                PGDATABASE="postgres") if told else None
        if told:
            # Who is granted something.
            subprocess.run(["psql", "-qc", "CREATE ROLE erika LOGIN", "-c", "CREATE ROLE paul LOGIN"], check=True,
                           env={**os.environ, **self.environment})

    def close(self):
        self._process.stdin.close()
        self._process.stdout.close()
        self._process.wait()


def python_for_sanitizers(folder, library):
    """Where the library was built with sanitizers: a python3 in `folder`, as its own does not begin with theirs."""
    linked = subprocess.run(["ldd", library], check=True, capture_output=True, text=True).stdout
    # Exceptions are found in the second one.
    runtimes = re.findall(r"=> (\S*/lib(?:asan|tsan)\.\S+)", linked) + re.findall(r"=> (\S*/libstdc\+\+\.\S+)", linked)
    if len(runtimes) < 2:
        return
    os.makedirs(folder)
    with open(f"{folder}/python3", "w", encoding="utf-8") as file:
        # Python itself leaves memory to the end of the process.
        file.write(f"#!/bin/sh\nLD_PRELOAD='{' '.join(runtimes)}' ASAN_OPTIONS=detect_leaks=0 "
                   f"exec {shutil.which('python3', path=SYSTEM_PATH)} \"$@\"\n")
    os.chmod(f"{folder}/python3", 0o755)


class Page:
    """The blocks of a page, and where they are run."""

    def __init__(self, test, page):
        self.test = test
        self.page = page
        self.folder = tempfile.mkdtemp()
        test.addCleanup(shutil.rmtree, self.folder)
        # The libraries of the build as they would be found where they are installed.
        os.makedirs(f"{self.folder}/pkgconfig")
        with open(f"{self.folder}/pkgconfig/kestrel-import.pc", "w", encoding="utf-8") as file:
            file.write(f"Name: KESTREL Import\nDescription: as built\nVersion: 0\nLibs: -L{BUILD}/lib -lkestrelimport\n"
                       f"Cflags: -I{SOURCES}/include\n")
        library = glob.glob(f"{BUILD}/lib/libkestrelimport.so.?")[0]
        python_for_sanitizers(f"{self.folder}/bin", library)
        self.environment = {
            "PATH": f"{self.folder}/bin:{BUILD}/bin:{SYSTEM_PATH}", "HOME": self.folder, "LC_ALL": "C.UTF-8",
            "LD_LIBRARY_PATH": f"{BUILD}/lib", "PKG_CONFIG_PATH": f"{self.folder}/pkgconfig",
            "PYTHONPATH": f"{SOURCES}/bindings/python/src", "PYTHONDONTWRITEBYTECODE": "1",
            "KESTREL_LIBRARY": library}
        self.files = {}
        self.console = None

    def run(self, command, folder, more=None):
        return subprocess.run(["bash", "-e", "-c", command], cwd=folder, env={**self.environment, **(more or {})},
                              text=True, timeout=300, check=False, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT)

    def begin(self, setup, more=None):
        work = tempfile.mkdtemp(dir=self.folder)
        for name, content in self.files.items():
            os.makedirs(os.path.dirname(f"{work}/{name}"), exist_ok=True)
            with open(f"{work}/{name}", "w", encoding="utf-8") as file:
                file.write(content)
        told = self.run(setup, work, more)
        self.test.assertEqual(told.returncode, 0, told.stdout)
        return work

    def run_script(self, text, more=None):
        told = self.run(text, self.begin(BEGINS_WITH.get(self.page, ":"), more), more)
        self.test.assertEqual(told.returncode, 0, f"{self.page}\n{text}\n{told.stdout}")

    def run_console(self, text):
        if self.console is None:
            self.console = self.begin(DEMO_HOST)
        for part in re.split(r"^\$ ", text, flags=re.MULTILINE)[1:]:
            command, _, shown = part.partition("\n")
            told = self.run(command, self.console)
            # Status 1: done, errors counted.
            self.test.assertLessEqual(told.returncode, 1, f"{self.page}\n{command}\n{told.stdout}")
            printed = essence(told.stdout)
            position = 0
            for piece in re.split(r"\.\.\.", essence(shown)):
                position = printed.find(piece, position)
                self.test.assertGreaterEqual(position, 0, f"{self.page}: '{command}' prints no\n{piece}\n{told.stdout}")
                position += len(piece)


class Commands(unittest.TestCase):
    def test_those_of_every_page_run(self):
        server = None
        left_out = []
        for name in PAGES:
            page = Page(self, name)
            for head, text in FENCE.findall(read(SOURCES, name)):
                with self.subTest(page=name, block=text[:60]):
                    told = HEAD.match(head)
                    self.assertIsNotNone(told, f"{name}: a block tells no kind:\n{text}")
                    kind, file, reason = told.groups()
                    self.assertIn(kind, KINDS)
                    if file:
                        page.files[file] = text
                    elif kind in ("python", "sql"):
                        self.assertIsNotNone(reason, f"{name}: nothing runs\n{text}")
                    elif kind == "console" and not reason:
                        page.run_console(text)
                    elif kind == "sh" and reason and "PostgreSQL" in reason:
                        if server is None:
                            server = Server()
                            self.addCleanup(server.close)
                        if server.environment is None:
                            left_out.append(f"{name}: {text}")
                        else:
                            page.run_script(text, server.environment)
                    elif kind == "sh" and not reason:
                        page.run_script(text)
        if left_out:
            self.skipTest("PostgreSQL is not installed; not run:\n" + "\n".join(left_out))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
