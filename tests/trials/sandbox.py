"""One case's world: a sample host, a specification, a source made from a seed, and what may be true of them.

`examine` is the judge of every trial: whatever was done to an import, nothing may be lost, nothing may be half
there, and nothing may be told that is not so.
"""

import dataclasses
import json
import os
import random
import re
import shutil
import signal
import sqlite3
import subprocess
import tempfile
import time

# A program that runs longer hangs, which is a failure of its own.
LONGEST = 60  # seconds
SUCCESS = "Der Import wurde erfolgreich fertig gestellt."
COLUMNS = ("KundenNummer", "Bez1", "Strasse", "PLZ", "Ort", "Umsatz", "Mitarbeiter")
HEADINGS = ("Nr", "Name", "Strasse", "PLZ", "Ort", "Umsatz", "Mitarbeiter")
SPECIFICATION = """[Common]
Description=Probe
Application=2
ImportClass=ksbimport.importkunden
Provider=%(provider)s
FileName=%(source)s
Database=%(database)s
Table=%(table)s
%(more)sColumnHeadings=True
FileFormat=ANSI
Delimiter=;
TextRecognition="
SaveFile=%(backup)d
SavePath=%(backup_folder)s
DeleteFile=%(delete)d
[CfgSettings]
DublettenPruefen=%(duplicates)d
AddresstypeCode=1
DublettenKey1=1
DublettenKey2=0
DublettenKey3=0
KundenUeberschreiben=1
[FieldAssignments]
"""
# The letters keep names apart even where a key only looks at how they sound.
SYLLABLES = ("ba", "do", "fi", "gu", "la", "me", "no", "pi", "ra", "su", "ta", "we", "ki", "zo", "lu", "mo")


# Extension of the source: the provider's name and the table in it.
KINDS = {
    "txt": ("Textdatei", ""),
    "dbf": ("dBase-Datenbank", "quelle"),
    "xls": ("Microsoft Excel", "Tabelle1$"),
    "xlsx": ("Microsoft Excel", "Tabelle1$"),
    "mdb": ("Microsoft Access-Datenbanken", "Adressen"),
}


@dataclasses.dataclass(frozen=True)
class Record:
    """One line of the source, and what becomes of it where nothing disturbs the import."""
    number: int
    name: str
    street: str
    postcode: str
    town: str
    sales: str
    employees: str

    def texts(self):
        return [str(self.number), self.name, self.street, self.postcode, self.town, self.sales, self.employees]

    def row(self):
        """As the host stores it; a value that is no number is left out."""
        return (self.number, self.name, self.street, self.postcode, self.town,
                float(self.sales.replace(",", ".")) if self.sales[0].isdigit() else None, int(self.employees))

    def is_refused(self):
        """The host's table takes no fewer than 0 employees."""
        return int(self.employees) < 0

    def address(self):
        return (self.name, self.street, self.postcode, self.town)


def make_records(rng, count, mixed=False, first=1):
    """`mixed`: some values of a wrong kind, some records that the host refuses, some suspected duplicates."""
    records = []
    for number in range(first, first + count):
        name = "".join(rng.choice(SYLLABLES) for _ in range(5)).capitalize() + " %d" % number
        record = Record(number, name, "Gasse %d" % number, "%05d" % (10000 + number), "Ort %d" % number,
                        "%d,%02d" % (rng.randrange(100000), rng.randrange(100)), str(rng.randrange(1000)))
        kind = rng.randrange(20) if mixed else 19
        if kind == 0:
            record = dataclasses.replace(record, sales="viel")
        elif kind == 1:
            record = dataclasses.replace(record, employees="-5")
        elif kind == 2 and records and not records[-1].is_refused():
            twin = records[-1]
            record = dataclasses.replace(record, name=twin.name, street=twin.street, postcode=twin.postcode,
                                         town=twin.town)
        records.append(record)
    return records


def table_text(records, delimiter, line_end):
    rows = [HEADINGS] + [record.texts() for record in records]
    return "".join(delimiter.join(row) + line_end for row in rows).encode()


@dataclasses.dataclass
class Outcome:
    """What a program told. Status: its exit status; negative: the signal that ended it; None: it never ended."""
    status: int | None
    told: dict
    output: str
    errors: str


class Sandbox:
    """Folders host (the sample host), work (source and backup) and tmp (for temporary files). Removed at the end."""

    def __init__(self, programs, template, seed, *, records=60, mixed=False, delete=False, backup=False,
                 kind="txt", folder=None):
        self.programs = programs
        self.seed = seed
        self.keep = False  # what it holds is still needed
        self.folder = tempfile.mkdtemp(prefix="kestrel-trial-", dir=folder)
        self.kind = kind
        self.mixed = mixed
        self.delete = delete
        self.backup = backup
        if template is not None:
            shutil.copytree(template, self.host)
            self.records = make_records(random.Random(seed), records, mixed)
            self.may_be_stored = list(self.records)
        for name in ("tmp", "work", "home", "work/backup"):
            os.mkdir(self.path(name))
        if template is not None:
            self.write_source(self.source, self.records)
            with open(self.source, "rb") as file:
                self.source_bytes = file.read()
            self.write_specification()
        self.spec_files = self.listing("host/Import")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.keep:
            return
        shutil.rmtree(self.folder, ignore_errors=True)

    def path(self, name):
        return os.path.join(self.folder, name)

    @property
    def host(self):
        return self.path("host")

    @property
    def database(self):
        return self.path("host/kestrel.db")

    @property
    def source(self):
        return self.path("work/quelle." + self.kind)

    @property
    def specification(self):
        return self.path("host/Import/Probe.IMP")

    def write_source(self, path, records):
        if self.kind == "txt":
            with open(path, "wb") as file:
                file.write(table_text(records, ";", "\r\n"))
        else:
            subprocess.run([self.programs.program("trial_write_source"), self.kind, path],
                           input=table_text(records, "\t", "\n"), check=True)

    def source_settings(self):
        """The provider's name, database and table."""
        return KINDS[self.kind][0], self.source, KINDS[self.kind][1]

    def write_specification(self):
        provider, database, table = self.source_settings()
        text = SPECIFICATION % {"source": self.source, "provider": provider, "database": database, "table": table,
                                "more": self.more_settings(), "backup": self.backup, "delete": self.delete,
                                "backup_folder": self.path("work/backup"), "duplicates": self.mixed}
        text += "".join("%s=FIELD:%s\n" % pair for pair in zip(COLUMNS, HEADINGS))
        self.spec_bytes = text.replace("\n", "\r\n").encode("cp1252")
        with open(self.specification, "wb") as file:
            file.write(self.spec_bytes)

    def more_settings(self):
        """Further lines of section Common."""
        return ""

    def draw(self, what):
        """A number from 0 to 1, the same for the same seed."""
        return random.Random("%s/%s" % (self.seed, what)).random()

    def listing(self, folder):
        try:
            return sorted(os.listdir(self.path(folder)))
        except FileNotFoundError:
            return []

    def environment(self, more):
        environment = {"PATH": os.environ["PATH"], "LANG": "C.UTF-8", "TMPDIR": self.path("tmp"),
                       "HOME": self.path("home"), "KESTREL_HOME": self.host,
                       # A frozen server is given up sooner than in real use.
                       "KESTREL_ANSWER_WAIT": "3", "KESTREL_LOCK_WAIT": "3"}
        environment.update(more or {})
        return environment

    def start(self, command, environment=None, held=False):
        """The program, started; `finish` waits for its end. `held`: its input stays open."""
        output = tempfile.TemporaryFile()  # outside of the sandbox, where no full disk reaches it
        errors = tempfile.TemporaryFile()
        process = subprocess.Popen([self.programs.program(command[0])] + command[1:], stdout=output, stderr=errors,
                                   stdin=subprocess.PIPE if held else subprocess.DEVNULL, cwd=self.path("work"),
                                   env=self.environment(environment), start_new_session=True)
        process.kept = (output, errors)
        return process

    def wait_until_stopped(self, process):
        """Whether the injected stop has come; False where the program ended or told its result before."""
        def stopped():
            pid, status = os.waitpid(process.pid, os.WUNTRACED | os.WNOHANG)
            if pid != 0 and not os.WIFSTOPPED(status):
                process.returncode = os.waitstatus_to_exitcode(status)
            return pid != 0 and os.WIFSTOPPED(status)
        return self._wait(process, stopped) and not self.has_told(process)

    def wait_until_told(self, process):
        """Whether the program has written its result; False where it ended without."""
        return self._wait(process, lambda: process.poll() is not None) and self.has_told(process)

    @staticmethod
    def has_told(process):
        return b"\n" in os.pread(process.kept[0].fileno(), 1 << 16, 0)

    def _wait(self, process, condition):
        end = time.monotonic() + LONGEST
        while not condition() and process.returncode is None and not self.has_told(process):
            if time.monotonic() > end:
                return False
            time.sleep(0.005)
        return True

    def finish(self, process):
        try:
            status = process.wait(LONGEST)
        except subprocess.TimeoutExpired:
            status = None
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
        texts = []
        for file in process.kept:
            file.seek(0)
            texts.append(file.read().decode("utf-8", "replace"))
            file.close()
        told = {}
        for line in texts[0].splitlines():
            if line.startswith("{"):
                try:
                    told = json.loads(line)
                except ValueError:
                    pass
        return Outcome(status, told, *texts)

    def run(self, command, environment=None):
        return self.finish(self.start(command, environment))

    def import_command(self, *more):
        return ["kestrel-import", "run", self.specification, "--folder", self.host, "--host", self.host_connection(),
                "--format", "json", *more]

    def host_connection(self):
        return self.database

    def import_source(self, environment=None):
        return self.run(self.import_command(), environment)

    # --- What stands ---

    def query(self, sql):
        connection = sqlite3.connect("file:%s?mode=rw" % self.database, uri=True)
        try:
            return connection.execute(sql).fetchall()
        finally:
            connection.close()

    def stored(self):
        """The stored numbers."""
        return {row[0] for row in self.query("SELECT KundenNummer FROM Kunden")}

    def examine_database(self):
        """What is wrong with the host's data, whatever has happened."""
        try:
            return self._examine_tables()
        except sqlite3.Error as error:
            return ["the host database cannot be read: %s" % error]

    def examine_storage(self):
        """What is wrong with the database itself."""
        integrity = self.query("PRAGMA integrity_check")
        problems = [] if integrity == [("ok",)] else ["the host database is damaged: %s" % integrity[:3]]
        indexes = self.query("SELECT COUNT(*) FROM sqlite_master WHERE type = 'index' AND tbl_name = 'Adressindex' "
                             "AND sql IS NOT NULL")[0][0]
        return problems if indexes == 3 else problems + ["%d of the 3 key indexes stand in the file" % indexes]

    def _examine_tables(self):
        problems = self.examine_storage()
        expected = {record.number: record.row() for record in self.may_be_stored}
        for row in self.query("SELECT %s FROM Kunden" % ", ".join(COLUMNS)):
            if expected.get(row[0]) != row:
                problems.append("a stored address is not that of the source: %r" % (row,))
        return problems + self.examine_references()

    def examine_references(self):
        """What is wrong with rows that belong to others."""
        problems = []
        for what, sql in (
                ("stored without its row of the address index",
                 "SELECT KundenNummer FROM Kunden WHERE CAST(KundenNummer AS TEXT) NOT IN "
                 "(SELECT Referenz FROM Adressindex WHERE Adressart = 1)"),
                ("indexed, but not stored",
                 "SELECT Referenz FROM Adressindex WHERE Referenz NOT IN "
                 "(SELECT CAST(KundenNummer AS TEXT) FROM Kunden)"),
                ("indexed more than once", "SELECT Referenz FROM Adressindex GROUP BY Adressart, Referenz "
                                           "HAVING COUNT(*) > 1"),
                ("rows of a log that does not exist", "SELECT ZeilenNr FROM Protokollzeilen WHERE ProtokollNr NOT IN "
                                                      "(SELECT ProtokollNr FROM Protokoll)")):
            rows = self.query(sql)
            if rows:
                problems.append("%s: %d, first %s" % (what, len(rows), rows[0][0]))
        return problems

    def log_lines(self):
        return [row[0] for row in self.query(
            "SELECT Spalte0 FROM Protokollzeilen JOIN Protokoll USING (ProtokollNr) WHERE Liste = 'LST_Import'")]

    def covered(self, stored):
        """The records that are stored, or may be held back because of one that is."""
        addresses = {record.address() for record in self.records if record.number in stored}
        return {record.number for record in self.records
                if record.number in stored or (self.mixed and record.address() in addresses)}

    def examine_leftovers(self, *more):
        problems = []
        for folder, allowed in (("tmp", []), ("host", ["Import", "kestrel.db"]), ("host/Import", self.spec_files),
                                *more):
            surplus = [name for name in self.listing(folder) if name not in allowed]
            if surplus:
                problems.append("left over in %s: %s" % (folder, ", ".join(surplus)))
        return problems


def examine_outcome(sandbox, outcome, *, signalled=False):
    """What is wrong with one import that may have been disturbed, and the counts of its records."""
    problems = sandbox.examine_database()
    total = len(sandbox.records)
    counts = {"read": 0, "stored": 0, "held back": 0, "rejected": 0}
    if outcome.status is None:
        return problems + ["the program did not end within %d s" % LONGEST], counts
    stored = set()
    if not any("host database" in problem for problem in problems):
        stored = sandbox.stored()
    told = outcome.told
    read, held = told.get("records", 0), told.get("duplicates", 0)
    counts.update({"read": read, "stored": len(stored), "held back": held,
                   "rejected": told.get("rejected", max(0, read - held - len(stored)))})

    killed = outcome.status == -signal.SIGKILL
    if outcome.status < 0 and not killed:
        problems.append("the program died of signal %d" % -outcome.status)
    elif outcome.status > 5 or (outcome.status in (2, 3)) or (outcome.status == 5 and not signalled):
        problems.append("unexpected exit status %d" % outcome.status)
    source_there = os.path.exists(sandbox.source)
    if source_there:
        with open(sandbox.source, "rb") as file:
            if file.read() != sandbox.source_bytes:
                problems.append("the source has changed")
    elif not sandbox.delete:
        problems.append("the source is gone though nobody asked for it")
    elif len(sandbox.covered(stored)) != total:
        problems.append("the source is gone, %d of %d records are stored" % (len(stored), total))
    elif outcome.status not in (0, -signal.SIGKILL):
        problems.append("the source is gone after status %d" % outcome.status)
    if killed:
        return problems, counts

    if not told and outcome.status in (0, 1, 5):
        problems.append("status %d without a result" % outcome.status)
    if told:
        problems += examine_told(outcome, stored, (total,))
        if outcome.status == 0 and sandbox.delete and source_there:
            problems.append("success, but the source was not removed")
    elif outcome.status == 4:
        if stored:
            problems.append("status 4 without a result, yet %d records are stored" % len(stored))
        if not outcome.errors.strip():
            problems.append("status 4 without a reason")
    backup = sandbox.path("work/backup/quelle.txt")
    if os.path.exists(backup):
        with open(backup, "rb") as file:
            if file.read() != sandbox.source_bytes:
                problems.append("the backup copy is not the source")
    elif sandbox.backup and outcome.status == 0:
        problems.append("success without the backup copy")
    return problems, counts


def examine_told(outcome, stored, totals):
    """What is wrong with a result. `totals`: how many records the source may have had."""
    problems = []
    told = outcome.told
    read, held, errors = told["records"], told["duplicates"], told["errors"]
    succeeded = outcome.status == 0
    if succeeded != told["message"].startswith(SUCCESS):
        problems.append("status %d with the message '%s'" % (outcome.status, told["message"]))
    if succeeded and (errors != 0 or read not in totals):
        problems.append("status 0 with %d errors, %d of %s records" % (errors, read, totals))
    if succeeded and len(stored) + held not in totals:
        problems.append("status 0, but only %d stored and %d held back of %s" % (len(stored), held, totals))
    if outcome.status == 1 and errors == 0:
        problems.append("status 1 without an error")
    if "rejected" in told:
        if told["stored"] != len(stored):
            problems.append("%d told as stored, %d are" % (told["stored"], len(stored)))
        if told["stored"] + held + told["rejected"] != read:
            problems.append("%d stored + %d held back + %d rejected are not the %d read" %
                            (told["stored"], held, told["rejected"], read))
    lost = read - held - len(stored)
    if lost < 0:
        problems.append("%d more are stored than were read" % -lost)
    elif lost > errors and "rejected" not in told:
        problems.append("%d records are neither stored nor held back, and %d errors counted" % (lost, errors))
    elif lost > 0 and errors == 0:
        problems.append("%d records lost without an error" % lost)
    return problems


def examine_next_import(sandbox):
    """What is wrong after an undisturbed import of the same source, which must bring the rest."""
    if not os.path.exists(sandbox.source):
        return sandbox.examine_database()
    outcome = sandbox.import_source()
    problems = ["next import: " + problem for problem in sandbox.examine_database()]
    refused = {record.number for record in sandbox.records if record.is_refused()}
    faulty = any(record.is_refused() or record.row()[5] is None for record in sandbox.records)
    if outcome.status != (1 if faulty else 0):
        problems.append("next import: status %s, %s" % (outcome.status, outcome.errors.strip()[-300:]))
    missing = {record.number for record in sandbox.records} - sandbox.covered(sandbox.stored()) - refused
    if missing:
        problems.append("next import: %d records are still missing" % len(missing))
    leftovers = sandbox.examine_leftovers(("work/backup", ["quelle." + sandbox.kind]))
    return problems + ["next import: " + problem for problem in leftovers]
