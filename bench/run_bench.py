#!/usr/bin/env python3
"""Measures whole imports against naive_import and prints the ratios.

usage: bench/run_bench.py [--build DIR] [--records N] [--rounds N] [--only MEASURE]

Needs a release build (cmake --preset release). Everything is made in a scratch folder: the address file, one
fresh sample host for every import. Times are CPU seconds, program and system, of the child process alone.
"""
import argparse
import json
import os
import shutil
import sqlite3
import subprocess
import sys
import tempfile
from pathlib import Path

import result_line

SPECIFICATION = """[Common]
Description={name}
Application=2
ImportClass=ksbimport.importkunden
Provider=Textdatei
FileName={file}
ColumnHeadings=True
FileFormat=ANSI
Delimiter=;
TextRecognition="
[FieldAssignments]
{assignments}
[FieldFormat]
{formats}
{more}
"""

# Destination field -> column of the generated file; the fields of naive_import.
COLUMNS = {
    "KundenNummer": "Kundennummer", "Bez1": "Bez1", "Bez2": "Bez2", "Bez3": "Bez3", "Strasse": "Strasse",
    "Land": "Land", "PLZ": "PLZ", "Ort": "Ort", "Telefon": "Telefon", "EMail": "EMail",
    "Kundengruppe": "Gruppe", "KundeSeit": "Datum", "Umsatz": "Umsatz", "Rabatt": "Rabatt",
    "Mitarbeiter": "Anzahl", "Bemerkung": "Bemerkung", "Suchbegriff": "Bez1",
}
CONSTANTS = {"Sprache": "DE", "Waehrung": "EUR", "Zahlungsziel": "30"}
DATES = {"KundeSeit": "tt.mm.jjjj"}

DUPLICATE_CHECK = """[CfgSettings]
DublettenPruefen=1
AddresstypeCode=1
DublettenKey1=1
DublettenKey2=1
DublettenKey3=1
[FieldTranslation]
Land=1
[Translation_Land]
D=DE
A=AT
"""


def fail(message):
    sys.exit(f"run_bench: {message}")


def cpu_seconds(usage):
    return usage.ru_utime + usage.ru_stime


def cpu_so_far(pid):
    """CPU seconds of a running process; its clock ticks are 10 ms."""
    fields = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class Outcome:
    """What one program run cost and printed."""

    def __init__(self, command, accepted=(0,)):
        # Into a file, as a pipe that nobody reads would stop the program.
        with tempfile.TemporaryFile("w+") as output:
            process = subprocess.Popen(command, stdout=output, stderr=subprocess.PIPE, text=True)
            # CPU seconds at each line of progress: every tenth of the records.
            self.marks, lines = [], []
            for line in process.stderr:
                lines.append(line)
                if line.rstrip().endswith("%)"):
                    self.marks.append(cpu_so_far(process.pid))
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            output.seek(0)
            self.output = output.read()
        if process.returncode not in accepted:
            fail(f"{' '.join(command)} ended with {process.returncode}\n{''.join(lines)}{self.output}")
        self.seconds = cpu_seconds(usage)
        self.peak_memory = usage.ru_maxrss * 1024


class Bench:
    def __init__(self, build, scratch, records, rounds):
        self.bin, self.scratch, self.records, self.rounds = build / "bin", scratch, records, rounds
        for program in ("kestrel-import", "naive_import", "generate_addresses", "read_once"):
            if not (self.bin / program).exists():
                fail(f"{self.bin / program} is missing; build with: cmake --preset release && "
                     "cmake --build --preset release")
        self.file = scratch / "adressen.txt"
        with open(self.file, "wb") as file:
            subprocess.run([self.bin / "generate_addresses", str(records)], stdout=file, check=True)
        self.serial = 0

    def first_records(self, count):
        """A file of the first records only."""
        path = self.scratch / f"adressen-{count}.txt"
        with open(self.file, "rb") as source, open(path, "wb") as target:
            for _ in range(count + 1):
                target.write(source.readline())
        return path

    def new_host(self, address_index=True, ledger=True):
        """A host that keeps an address index or, as naive_import --store does, none; and a ledger of its imports."""
        self.serial += 1
        host = self.scratch / f"host{self.serial}"
        subprocess.run([self.bin / "kestrel-import", "init", host], check=True, stdout=subprocess.DEVNULL)
        database = sqlite3.connect(host / "kestrel.db")
        if not address_index:
            changed = database.execute("UPDATE Einstellungen SET Wert = '0' WHERE Gruppe = 'Adressindex' "
                                       "AND Name = 'Doubletindex'").rowcount
            if changed != 1:
                fail("the host has no setting Doubletindex")
        if not ledger:
            database.execute("INSERT INTO Einstellungen (Gruppe, Name, Wert) VALUES ('Importlauf', 'Fuehren', '0')")
        database.commit()
        database.close()
        return host

    def write_specification(self, host, file, name, more):
        assignments = [f"{field}=FIELD:{column}" for field, column in COLUMNS.items()]
        assignments += [f"{field}=CONST:{value}" for field, value in CONSTANTS.items()]
        text = SPECIFICATION.format(name=name, file=file, assignments="\n".join(assignments), more=more,
                                    formats="\n".join(f"{field}={text}" for field, text in DATES.items()))
        (host / "Import" / f"{name}.IMP").write_bytes(text.replace("\n", "\r\n").encode("cp1252"))

    def kestrel(self, host, file, name, *options, more=""):
        self.write_specification(host, file, name, more)
        # Bad numbers of the file are counted errors: status 1.
        outcome = Outcome([str(self.bin / "kestrel-import"), "run", name, "--folder", str(host), "--format",
                           "json", "--progress", "plain", *options], accepted=(0, 1))
        outcome.result = json.loads(outcome.output.splitlines()[-1])
        return outcome

    def naive(self, file, option=None):
        self.serial += 1
        database = self.scratch / f"naive{self.serial}.sqlite"
        command = [str(self.bin / "naive_import"), str(file)]
        outcome = Outcome(command + ([option, str(database)] if option else []))
        database.unlink(missing_ok=True)
        return outcome

    def best(self, measure):
        """The cheapest of some rounds, which is the one least disturbed."""
        return min((measure() for _ in range(self.rounds)), key=lambda outcome: outcome.seconds)

    def discard(self, host):
        shutil.rmtree(host)

    # --- What is measured -------------------------------------------------------------------------

    def fresh(self, *options, more="", ledger=True):
        host = self.new_host(address_index=bool(more), ledger=ledger)
        outcome = self.kestrel(host, self.file, "Messung", *options, more=more)
        self.discard(host)
        if outcome.result["records"] != self.records:
            fail(f"imported {outcome.result['records']} of {self.records} records: {outcome.output}")
        return outcome

    def test_run(self):
        naive = self.best(lambda: self.naive(self.file))
        ours = self.best(lambda: self.fresh("--test"))
        report("run --test / naive_import", ours.seconds, naive.seconds, 0.35)
        lines = self.records + 1
        limit = self.file.stat().st_size + 8 * lines + (64 << 20)
        report("run --test: peak memory / (file + 8 bytes a line + 64 MiB)", ours.peak_memory, limit, 1.0,
               scale=1 << 20, unit="MiB")

    def full_run(self):
        naive = self.best(lambda: self.naive(self.file, "--store"))
        ours = self.best(lambda: self.fresh())
        report("run / naive_import --store", ours.seconds, naive.seconds, 1.0)

    def ledger(self):
        for name, more in (("run", ""), ("run with duplicate check", DUPLICATE_CHECK)):
            times = {True: [], False: []}
            for number in range(self.rounds):
                for kept in (True, False) if number % 2 else (False, True):
                    times[kept].append(self.fresh(more=more, ledger=kept).seconds)
            report(f"{name} / the same without the ledger", min(times[True]), min(times[False]), 1.08)

    def duplicates(self):
        naive = self.best(lambda: self.naive(self.file, "--duplicates"))
        ours = self.best(lambda: self.fresh(more=DUPLICATE_CHECK))
        report("run with duplicate check / naive_import --duplicates", ours.seconds, naive.seconds, 0.6)
        marks = ours.marks
        if len(marks) >= 10:
            # The first tenth also opens the file; the second is the first that only imports.
            report("growth: last tenth / second tenth of that run", marks[9] - marks[8], marks[1] - marks[0], 1.3)

    def check(self):
        def look(command):
            host = self.new_host()
            self.write_specification(host, self.file, "Messung", DUPLICATE_CHECK)
            outcome = Outcome([str(self.bin / "kestrel-import"), *command, "--folder", str(host)], accepted=(0, 1))
            self.discard(host)
            return outcome

        test = self.best(lambda: look(["run", "Messung", "--test"]))
        ours = self.best(lambda: look(["check", "Messung", "--data"]))
        report("check --data / run --test, both with duplicate check", ours.seconds, test.seconds, 2.0)
        report("check --data: peak memory / 100 MiB", ours.peak_memory, 100 << 20, 1.0, scale=1 << 20, unit="MiB")

    def growth(self):
        """The same with ten times as many records: time in proportion, and no more memory than the lines' places."""
        larger = 10 * self.records
        large_file = self.scratch / "gross.txt"
        with open(large_file, "wb") as file:
            subprocess.run([self.bin / "generate_addresses", str(larger)], stdout=file, check=True)

        def read(file):
            outcome = self.best(lambda: Outcome([str(self.bin / "read_once"), str(file)]))
            _, outcome.open, outcome.look, _ = map(float, outcome.output.split())
            return outcome

        def run(file):
            def once():
                host = self.new_host()
                outcome = self.kestrel(host, file, "Messung", "--test")
                self.discard(host)
                return outcome
            return self.best(once)

        def report_memory(what, large, small):
            report(f"{larger} records: peak memory of {what} / (1.2 x that of {self.records} + 8 bytes a line)",
                   large.peak_memory, 1.2 * small.peak_memory + 8 * (larger + 1), 1.0, scale=1 << 20, unit="MiB")

        small, large = read(self.file), read(large_file)
        report(f"{larger} records: open / 10 x {self.records}", large.open, 10 * small.open, 1.15)
        report(f"{larger} records: look at every value / 10 x {self.records}", large.look, 10 * small.look, 1.15)
        report_memory("reading", large, small)
        small, large = run(self.file), run(large_file)
        report(f"{larger} records: run --test / 10 x {self.records}", large.seconds, 10 * small.seconds, 1.15)
        report_memory("run --test", large, small)
        large_file.unlink()

    def again(self):
        count = min(100_000, self.records)
        part = self.first_records(count)
        firsts, seconds = [], []
        for _ in range(self.rounds):
            host = self.new_host()
            firsts.append(self.kestrel(host, part, "Erster", more=DUPLICATE_CHECK))
            seconds.append(self.kestrel(host, part, "Zweiter", more=DUPLICATE_CHECK))
            self.discard(host)
        first, second = (min(outcomes, key=lambda outcome: outcome.seconds) for outcomes in (firsts, seconds))
        report(f"the first {count} records again / their first import", second.seconds, first.seconds, 2.5)
        print(f"    held back: {first.result['duplicates']} the first time, {second.result['duplicates']} again")
        if count == self.records:
            return
        host = self.new_host()
        self.kestrel(host, self.file, "Alle", more=DUPLICATE_CHECK)
        again = self.kestrel(host, part, "Zweiter", more=DUPLICATE_CHECK)
        self.discard(host)
        report(f"the same into a host that holds all {self.records}", again.seconds, first.seconds, 2.5)
        print(f"    held back: {again.result['duplicates']}")


def report(what, ours, measure, limit, scale=1.0, unit="s"):
    ratio = ours / measure if measure else float("inf")
    verdict = "" if not limit else f"  (at most {limit}) {'ok' if ratio <= limit else 'TOO MUCH'}"
    print(f"{what}\n    {ours / scale:.2f} {unit} / {measure / scale:.2f} {unit} = {ratio:.2f}{verdict}", flush=True)
    result_line.report(what, f"{ours / scale:.2f} {unit}", f"{measure / scale:.2f} {unit}", ratio=ratio, limit=limit)


def main():
    top = Path(__file__).resolve().parent.parent
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=Path, default=top / "build" / "release")
    parser.add_argument("--records", type=int, default=1_000_000)
    parser.add_argument("--rounds", type=int, default=1, help="of each measure; the cheapest counts")
    parser.add_argument("--only", choices=["test", "full", "ledger", "duplicates", "check", "again", "growth"],
                        help="measure just this")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="kestrel-bench-") as scratch:
        bench = Bench(options.build.resolve(), Path(scratch), options.records, options.rounds)
        measures = {"test": bench.test_run, "full": bench.full_run, "ledger": bench.ledger,
                    "duplicates": bench.duplicates, "check": bench.check, "again": bench.again, "growth": bench.growth}
        for name, measure in measures.items():
            if options.only in (None, name):
                measure()


if __name__ == "__main__":
    main()
