#!/usr/bin/env python3
"""Measures reading servers and whole imports into PostgreSQL.

Starts the stand-in for SQL Server and a PostgreSQL server whose commits reach the disk, fills both and runs
server_sources_bench and kestrel-import from a build folder. Imports are measured in turns with committed inserts of one
round trip each, as the speed of a disk that others use changes from minute to minute; each round is a line.
"""

import argparse
import json
import os
import sqlite3
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from result_line import report
from run_bench import COLUMNS as ASSIGNMENTS
from run_bench import CONSTANTS, DATES, DUPLICATE_CHECK, SPECIFICATION

HERE = os.path.dirname(os.path.abspath(__file__))
SERVERS = os.path.join(HERE, "..", "tests", "servers")
COLUMNS = "Nr int, Bez1 nvarchar(50), Strasse nvarchar(50), PLZ nvarchar(10), Ort nvarchar(40), Umsatz float, Seit datetime"
PASSWORD = "geheim"


def start(command):
    """The server and the words of its first line."""
    process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    words = process.stdout.readline().split()
    if not words:
        sys.exit("not started: " + " ".join(command))
    return process, words


def stop(process):
    process.stdin.close()
    process.wait()


def fill_sqlite(path, rows):
    with sqlite3.connect(path) as data:
        data.execute("CREATE TABLE Kunden (%s)" % COLUMNS)
        values = ((i, "Müller & Söhne %d GmbH" % i, "Hauptstraße %d" % (i % 200), "%05d" % (i % 99999), "Köln",
                   i / 7, "2024-03-%02d 14:05:09" % (i % 28 + 1)) for i in range(rows))
        data.executemany("INSERT INTO Kunden VALUES (?, ?, ?, ?, ?, ?, ?)", values)


# What an import does beside storing the records, and whether its host keeps an address index (the setting
# Doubletindex of the sample host).
IMPORTS = (("without address index", False, False), ("with address index", True, False),
           ("with duplicate check", True, True))


def run_import(bin_folder, folder, url, file, keeps_index, duplicates):
    """Records a second of a whole import into an empty host, the program's start included."""
    host = Path(folder) / "host"
    program = os.path.join(bin_folder, "kestrel-import")
    subprocess.run([program, "init", host, "--force", "--host", url], check=True, stdout=subprocess.DEVNULL)
    if not keeps_index:
        subprocess.run([os.path.join(bin_folder, "server_sources_bench"), "execute", url,
                        "UPDATE Einstellungen SET Wert = '0' WHERE Name = 'Doubletindex'"], check=True)
    assignments = ["%s=FIELD:%s" % pair for pair in ASSIGNMENTS.items()]
    assignments += ["%s=CONST:%s" % pair for pair in CONSTANTS.items()]
    text = SPECIFICATION.format(name="Messung", file=file, assignments="\n".join(assignments),
                                formats="\n".join("%s=%s" % pair for pair in DATES.items()),
                                more=DUPLICATE_CHECK if duplicates else "")
    (host / "Import" / "Messung.IMP").write_bytes(text.replace("\n", "\r\n").encode("cp1252"))
    begin = time.monotonic()
    # Bad values of the file are counted errors: status 1.
    run = subprocess.run([program, "run", "Messung", "--folder", host, "--host", url, "--format", "json",
                          "--progress", "none"], capture_output=True, text=True, check=False)
    seconds = time.monotonic() - begin
    if run.returncode not in (0, 1):
        sys.exit(run.stderr)
    return json.loads(run.stdout.splitlines()[-1])["records"] / seconds


def measure_runs(bin_folder, program, server_url, folder, records, rounds):
    file = os.path.join(folder, "adressen.txt")
    with open(file, "wb") as target:
        subprocess.run([os.path.join(bin_folder, "generate_addresses"), str(records)], stdout=target, check=True)
    serial = 0
    for name, keeps_index, duplicates in IMPORTS:
        ratios = []
        for _ in range(rounds):
            before = subprocess.run([program, "insert", server_url, "20000"], check=True, capture_output=True, text=True)
            committed = float(before.stdout.split("one by one ")[1].split(",")[0])
            serial += 1
            database = "messung%d" % serial
            subprocess.run([program, "execute", server_url, "CREATE DATABASE " + database], check=True)
            url = server_url.rsplit("/", 1)[0] + "/" + database
            rate = run_import(bin_folder, folder, url, file, keeps_index, duplicates)
            ratios.append(rate / committed)
            print("run %s: %.0f records a second, committed inserts of one round trip each %.0f = %.1f x"
                  % (name, rate, committed, ratios[-1]), flush=True)
        middle = sorted(ratios)[rounds // 2]
        print("    middle of %d rounds: %.1f x" % (rounds, middle), flush=True)
        report("import into PostgreSQL " + name + " / committed inserts", "%.0f records/s" % rate,
               "%.0f records/s" % committed, ratio=middle, limit=8, at_least=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default=os.path.join(HERE, "..", "build", "release"))
    parser.add_argument("--rows", type=int, default=200000, help="that are read")
    parser.add_argument("--records", type=int, default=60000, help="that are imported")
    parser.add_argument("--rounds", type=int, default=3, help="of imports")
    parser.add_argument("--only", choices=["read", "run"])
    options = parser.parse_args()
    bin_folder = os.path.join(options.build, "bin")
    program = os.path.join(bin_folder, "server_sources_bench")
    if options.only != "run":
        measure_sql_server(program, options.rows)

    server, (_, port, _, password) = start([sys.executable, os.path.join(SERVERS, "postgres_server.py"), "--durable"])
    url = "postgresql://kestrel:%s@127.0.0.1:%s/postgres" % (password, port)
    if options.only != "run":
        measure_postgres_reading(program, url, options.rows)
    if options.only != "read":
        with tempfile.TemporaryDirectory() as folder:
            measure_runs(bin_folder, program, url, folder, options.records, options.rounds)
    stop(server)


def measure_sql_server(program, rows):
    with tempfile.TemporaryDirectory() as folder:
        data = os.path.join(folder, "kunden.sqlite")
        fill_sqlite(data, rows)
        server, (_, port) = start([sys.executable, os.path.join(SERVERS, "sql_server_stand_in.py"), "--data", data,
                                   "--user", "sa", "--password", PASSWORD, "--database", "Adressen"])
        source = ("Provider=SQLOLEDB.1;Initial Catalog=Adressen;Data Source=127.0.0.1,%s;Password=%s;User ID=sa"
                  % (port, PASSWORD))
        bare = ("Driver={FreeTDS};Server=127.0.0.1;Port=%s;TDS_Version=7.4;ClientCharset=UTF-8;Database=Adressen;"
                "UID=sa;PWD=%s" % (port, PASSWORD))
        print("SQL Server (stand-in):", flush=True)
        subprocess.run([program, "read-odbc", source, bare, "SELECT * From Kunden"], check=True)
        subprocess.run([program, "memory", source, "SELECT * From Kunden"], check=True)
        stop(server)


def measure_postgres_reading(program, url, rows):
    query = ("SELECT i AS nr, 'Müller & Söhne ' || i || ' GmbH' AS bez1, 'Hauptstraße ' || i %% 200 AS strasse,"
             " lpad((i %% 99999)::text, 5, '0') AS plz, 'Köln' AS ort, i / 7.0::float8 AS umsatz,"
             " timestamp '2024-03-01 14:05:09' + i %% 28 * interval '1 day' AS seit"
             " FROM generate_series(1, %d) AS i" % rows)
    print("PostgreSQL:", flush=True)
    subprocess.run([program, "read-libpq", url, url, query], check=True)
    print("  libpq: ", end="", flush=True)
    subprocess.run([program, "memory", url, query], check=True)
    server, password = url.split("@")[1].split("/")[0], url.split(":")[2].split("@")[0]
    odbc = ("Driver={PostgreSQL Unicode};Server=127.0.0.1;Port=%s;Database=postgres;Uid=kestrel;Pwd=%s;"
            % (server.split(":")[1], password))
    for label, more in (("ODBC", ""), ("ODBC, UseDeclareFetch=0", "UseDeclareFetch=0;")):
        print("  %s: " % label, end="", flush=True)
        subprocess.run([program, "memory", odbc + more, query], check=True)


if __name__ == "__main__":
    main()
