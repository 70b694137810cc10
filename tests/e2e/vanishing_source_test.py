"""The server of the data source goes, and comes back, on steps 2 and 3 and while an import reads from it.

    vanishing_source_test.py FOLDER_WITH_THE_PROGRAMS

PostgreSQL through ODBC stands for any server. The window says so once, keeps what was entered, connects anew when the
server is back, and counts what it has stored. Ends with 77 where this machine lacks what is needed.
"""

import os
import sqlite3
import subprocess
import sys

import private_desktop
from stopped_server import Server

DRIVER = "PostgreSQL Unicode"
ROWS = 300000
SPECIFICATION = """[Common]
Description=Probe
Application=2
ImportClass=ksbimport.importkunden
Provider=Microsoft SQL-Server
Server=127.0.0.1,{port}
User=kestrel
Password={password}
Database=postgres
Table=adressen
[FieldAssignments]
KundenNummer=FIELD:nr
Bez1=FIELD:name
"""
ASSIGNED = ["«nr»", "«name»"]
SILENT = "Der Server antwortet nicht, oder eine der Angaben oben stimmt nicht."
NO_COLUMNS = "Die Spalten der Datenquelle sind nicht zu lesen."
RUN = "KESTREL Import"
LONGEST_RUN = 120  # seconds


def has_driver():
    known = subprocess.run(["odbcinst", "-q", "-d"], check=False, stdout=subprocess.PIPE, text=True)
    return f"[{DRIVER}]" in known.stdout


def refuse_to_go_on(session, step2):
    from vanishing import check

    step2.press("Weiter")
    session.box(NO_COLUMNS, "Nein")
    check(not session.boxes(), f"more is told: {session.boxes()}")


def lose_source(session, server):
    import screen_reader
    from vanishing import check

    session.host().press("Kunden importieren...")
    step1 = session.step(1)
    step1.select_line("list", "Importspezifikationen", "Probe")
    server.stop()
    step1.press("Weiter")
    step2 = session.step(2)

    def tells_why():
        return any(text.startswith(SILENT) for text in step2.texts())

    screen_reader.eventually(tells_why, "why there is no table")
    step2.press("Datenquelle testen")
    screen_reader.eventually(tells_why, "why there is no preview")
    check(not session.boxes() and not session.has_dialog("Datenquelle testen"), "an empty preview is opened")
    refuse_to_go_on(session, step2)
    server.start()
    step2.press("Weiter")
    check(session.assigned() == ASSIGNED, f"assigned are {session.assigned()}")

    server.stop()
    session.step(3).press("Zurück")
    step2 = session.step(2)
    refuse_to_go_on(session, step2)
    server.start()
    step2.press("Weiter")
    check(session.assigned() == ASSIGNED, f"assigned are {session.assigned()}")
    lose_while_reading(session, server)


def lose_while_reading(session, server):
    import screen_reader
    from vanishing import check

    session.step(3).press("Fertigstellen")
    confirmation = session.window("radio button", "Daten importieren")
    confirmation.choose("Daten importieren")
    confirmation.press("OK")
    session.dialog(RUN)
    server.stop()
    session.box("Fehler: ")
    screen_reader.eventually(lambda: session.boxes() or not session.has_dialog(RUN), "the end of the import", LONGEST_RUN)
    check(not session.boxes(), f"more is told: {session.boxes()}")
    result = session.window("label", "Ergebnis")
    database = sqlite3.connect(os.path.join(os.path.dirname(session.folder), "kestrel.db"))
    stored = database.execute("SELECT count(*) FROM Kunden").fetchone()[0]
    database.close()
    check(0 < stored < ROWS, f"{stored} are stored")
    result.says(f"neu gespeichert: {stored:,}".replace(",", "."))
    result.press("Schließen")


def run(desktop):
    from vanishing import begin  # connects to the bus that the environment names

    drivers = os.path.join(desktop.folder, "drivers.ini")
    with open(drivers, "w", encoding="ascii") as file:
        file.write(f"[SQLOLEDB.1]\nDriver={DRIVER}\n")
    server = Server()
    try:
        server.sql("CREATE TABLE adressen AS SELECT i AS nr, 'Name ' || i AS name, repeat('x', 200) AS rest "
                   f"FROM generate_series(1, {ROWS}) AS i")

        def tell(session):
            with open(session.specification, "w", encoding="cp1252") as file:
                file.write(SPECIFICATION.format(port=server.port, password=server.password))
            lose_source(session, server)

        begin(desktop, sys.argv[1], tell, environment={"KESTREL_DRIVERS": drivers})
    finally:
        server.close()
    print("The window told that the source had gone, and went on.")


if __name__ == "__main__":
    if not has_driver():
        print(f"Skipped: the ODBC driver {DRIVER} is not installed.")
        sys.exit(private_desktop.SKIPPED)
    sys.exit(private_desktop.run_test(run))
