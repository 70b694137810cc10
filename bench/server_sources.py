#!/usr/bin/env python3
"""Measures reading and writing servers: server_sources.py FOLDER_OF_PROGRAMS [ROWS]

Starts the stand-in for SQL Server and a PostgreSQL server whose commits reach the disk, fills both and runs
server_sources_bench from the folder (build/release/bin).
"""

import os
import sqlite3
import subprocess
import sys
import tempfile

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


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    program = os.path.join(sys.argv[1], "server_sources_bench")
    rows = int(sys.argv[2]) if len(sys.argv) > 2 else 200000

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
        stop(server)

    server, (_, port, _, password) = start([sys.executable, os.path.join(SERVERS, "postgres_server.py"), "--durable"])
    url = "postgresql://kestrel:%s@127.0.0.1:%s/postgres" % (password, port)
    query = ("SELECT i AS nr, 'Müller & Söhne ' || i || ' GmbH' AS bez1, 'Hauptstraße ' || i %% 200 AS strasse,"
             " lpad((i %% 99999)::text, 5, '0') AS plz, 'Köln' AS ort, i / 7.0::float8 AS umsatz,"
             " timestamp '2024-03-01 14:05:09' + i %% 28 * interval '1 day' AS seit"
             " FROM generate_series(1, %d) AS i" % rows)
    print("PostgreSQL:", flush=True)
    subprocess.run([program, "read-libpq", url, url, query], check=True)
    subprocess.run([program, "insert", url, "40000"], check=True)
    stop(server)


if __name__ == "__main__":
    main()
