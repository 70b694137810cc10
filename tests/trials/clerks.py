#!/usr/bin/env python3
"""Trial: several clerks import into one database at the same time, each in a program of his own.

The sources share many addresses, and none has a number. Together the clerks must have read every record once, as
stored, held back or (told, and to be imported again) refused; numbers and logs are all there; and what they stored
holds no address that one clerk, who imports it all again, would hold back.
"""

import collections
import contextlib
import json
import os
import random
import subprocess
import sys

import lost_server
import sandbox as box
import trial

CLERKS = 8
SPECIFICATION = """[Common]
Description=Probe
Application=2
ImportClass=ksbimport.importkunden
Provider=Textdatei
FileName=%s
ColumnHeadings=True
FileFormat=ANSI
Delimiter=;
[CfgSettings]
DublettenPruefen=%d
AddresstypeCode=1
DublettenKey1=1
DublettenKey2=1
DublettenKey3=1
[FieldAssignments]
Bez1=FIELD:Name
Strasse=FIELD:Strasse
PLZ=FIELD:PLZ
Ort=FIELD:Ort
"""
FIRST = ("Anna", "Bernd", "Clara", "Dieter", "Eva", "Frank", "Greta", "Heinz", "Ida", "Jens", "Karin", "Lars")
LONGEST = 3600  # seconds; a program that runs longer hangs


def addresses(rng, count):
    """Made of syllables, so that most of them differ for every key."""
    for _ in range(count):
        name = "".join(rng.choice(box.SYLLABLES) for _ in range(4)).capitalize()
        street = "".join(rng.choice(box.SYLLABLES) for _ in range(3)).capitalize()
        town = "".join(rng.choice(box.SYLLABLES) for _ in range(3)).capitalize()
        yield (rng.choice(FIRST) + " " + name, "%s %d" % (street + "weg", rng.randrange(1, 200)),
               "%05d" % rng.randrange(1067, 99999), town)


class World:
    """A host database and the clerks' files."""

    def __init__(self, programs, server, folder):
        self.programs = programs
        self.server = server
        self.folder = folder
        os.makedirs(folder)
        self.hosts = 0

    def new_host(self):
        """The connection string of an empty host, and its folder."""
        self.hosts += 1
        home = os.path.join(self.folder, "host%d" % self.hosts)
        command = [self.programs.program("kestrel-import"), "init", home]
        name = None
        if self.server:
            name = self.server.new_database()
            command += ["--host", "postgresql://kestrel:%s@127.0.0.1:%s/%s" %
                        (self.server.password, self.server.port, name)]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
        host = command[-1] if self.server else os.path.join(home, "kestrel.db")
        return home, host, name

    def write(self, name, rows, checks):
        source = os.path.join(self.folder, name + ".txt")
        with open(source, "w", encoding="ascii") as file:
            file.write("Name;Strasse;PLZ;Ort\n")
            file.writelines(";".join(row) + "\n" for row in rows)
        specification = os.path.join(self.folder, name + ".IMP")
        with open(specification, "w", encoding="ascii") as file:
            file.write(SPECIFICATION % (source, checks))
        return specification

    def start(self, specification, home, host):
        return subprocess.Popen(
            [self.programs.program("kestrel-import"), "run", specification, "--folder", home, "--host", host,
             "--format", "json"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def query(self, host, name, sql):
        if self.server:
            text = self.server.sql(name, "SELECT COALESCE(json_agg(found), '[]') FROM (%s) AS found;" % sql)
            return [tuple(row.values()) for row in json.loads(text)]
        with contextlib.closing(box.sqlite3.connect(host)) as database:
            return database.execute(sql).fetchall()


def finish(process):
    output, errors = process.communicate(timeout=LONGEST)
    told = json.loads(output.splitlines()[-1]) if output.strip() else {}
    return process.returncode, told, errors


def make_cases(programs, options):
    yield "sqlite", (None, True)
    yield "sqlite-unchecked", (None, False)
    try:
        server = programs.keep(lost_server.Server())
    except trial.Skip as reason:
        print("clerks: without PostgreSQL: %s" % reason)
        return
    yield "postgresql", (server, True)
    yield "postgresql-unchecked", (server, False)


def run_case(programs, options, name, case):
    server, checks = case
    count = 20000 if options.long else 500
    rng = random.Random("%d/%s" % (options.seed, name))
    known = list(addresses(rng, CLERKS * count // 2))
    files = [[rng.choice(known) for _ in range(count)] for _ in range(CLERKS)]
    world = World(programs, server, os.path.join(programs.scratch, name))
    home, host, database = world.new_host()
    begin = box.time.monotonic()
    specifications = [world.write("clerk%d" % i, rows, checks) for i, rows in enumerate(files)]
    outcomes = [finish(process) for process in [world.start(each, home, host) for each in specifications]]
    seconds = box.time.monotonic() - begin
    problems, totals = examine(world, host, database, outcomes, count, checks)
    if not problems and checks:
        problems += import_again(world, host, database)
    if options.long:
        print("  %s: %d clerks x %d records in %.0f s, %s" %
              (name, CLERKS, count, seconds, ", ".join("%d %s" % (totals[key], key) for key in totals)))
    return problems, totals


def examine(world, host, database, outcomes, count, checks):
    def one(sql):
        return world.query(host, database, sql)[0][0]

    problems = []
    totals = collections.Counter()
    for number, (status, told, errors) in enumerate(outcomes):
        if status not in (0, 1) or told.get("records") != count:
            problems.append("clerk %d: status %s, %s %s" % (number, status, told.get("message"), errors.strip()))
        totals.update({"stored": told.get("stored", 0), "held back": told.get("duplicates", 0),
                       "refused": told.get("errors", 0)})
    if sum(totals.values()) != CLERKS * count:
        problems.append("%s of %d records" % (dict(totals), CLERKS * count))
    if totals["refused"] > CLERKS * count // 1000:
        problems.append("%d records refused" % totals["refused"])
    if not checks and totals["stored"] != CLERKS * count:
        problems.append("not all stored")
    found = {
        "addresses": (one("SELECT count(*) AS n FROM Kunden"), totals["stored"]),
        "index rows": (one("SELECT count(*) AS n FROM Adressindex"), totals["stored"]),
        "records in the duplicate logs": (one("SELECT count(DISTINCT Spalte0) AS n FROM Protokollzeilen"
                                              " WHERE Spalte1 IS NOT NULL"), totals["held back"]),
        "runs": (one("SELECT count(*) AS n FROM Importlauf WHERE Zustand = 'fertig'"), CLERKS),
        "stored of the runs": (one("SELECT sum(Anzahl) AS n FROM Importlaufzeilen WHERE Ereignis = 'neu'"),
                               totals["stored"]),
        "rows without a log": (one("SELECT count(*) AS n FROM Protokollzeilen WHERE ProtokollNr NOT IN"
                                   " (SELECT ProtokollNr FROM Protokoll)"), 0),
    }
    problems += ["%s: %s instead of %s" % (what, is_, wanted) for what, (is_, wanted) in found.items() if is_ != wanted]
    return problems, totals


def import_again(world, host, database):
    """By one clerk, in the order in which it was stored."""
    stored = world.query(host, database, "SELECT Bez1 AS a, Strasse AS b, PLZ AS c, Ort AS d FROM Kunden"
                                         " ORDER BY KundenNummer")
    home, other, _ = world.new_host()
    status, told, errors = finish(world.start(world.write("again", stored, True), home, other))
    if status != 0 or told.get("duplicates") != 0:
        return ["one clerk finds %s duplicates in what is stored (%s)" % (told.get("duplicates"), errors.strip())]
    return []


if __name__ == "__main__":
    sys.exit(trial.main("clerks", make_cases, run_case))
