"""The server of the host's database goes, and comes back, on each page and while an import runs.

    vanishing_server_test.py FOLDER_WITH_THE_PROGRAMS

The window says so in one German message, keeps what was entered, and goes on once the server is back. Ends with 77 where
this machine lacks what is needed.
"""

import sys

import private_desktop
from stopped_server import Server

RECORDS = 400000  # more than are stored before the server is told to stop
RUN = "KESTREL Import"
LONGEST_RUN = 120  # seconds
LOST = "Die Verbindung zum Datenbankserver ist verloren und wird wiederhergestellt ..."
UNREACHABLE = "Die Datenbank der Anwendung ist nicht zu erreichen. Ihre Angaben bleiben erhalten;"


def write_long_source(session):
    with open(session.source, "w", encoding="cp1252", newline="") as file:
        file.write("Nr;Name;Ort\r\n")
        file.writelines(f"{number};Name {number};Köln\r\n" for number in range(1, RECORDS + 1))


def give_up_waiting(session):
    """One message, and no other behind it."""
    from vanishing import check

    session.dialog("Bitte warten").press("Abbrechen")
    session.box(UNREACHABLE)
    check(not session.boxes(), f"more is told: {session.boxes()}")


def lose_host(session, server):
    import screen_reader
    from vanishing import ASSIGNED, check

    session.write_specification()
    write_long_source(session)
    session.host().press("Kunden importieren...")
    step1 = session.step(1)
    step1.select_line("list", "Importspezifikationen", "Probe")
    # Nothing is asked of the server between steps 1 and 2.
    server.stop()
    step1.press("Weiter")
    step2 = session.step(2)
    step2.press("Weiter")
    give_up_waiting(session)
    check(screen_reader.read(step2.find("text", "Dateiname")) == session.source, "the name of the file is lost")
    server.start()
    session.until_taken(lambda: step2.press("Weiter"), UNREACHABLE, lambda: session.is_shown("label", "Schritt 3"))
    check(session.assigned() == ASSIGNED, f"assigned are {session.assigned()}")

    step3 = session.step(3)
    server.stop()
    confirm(session, step3)
    give_up_waiting(session)
    check(session.assigned() == ASSIGNED, f"assigned are {session.assigned()}")
    server.start()
    session.until_taken(lambda: confirm(session, step3), UNREACHABLE,
                        lambda: session.has_dialog(RUN))
    lose_while_running(session, server)


def confirm(session, step3):
    """From step 3 to the run."""
    step3.press("Fertigstellen")
    confirmation = session.window("radio button", "Daten importieren")
    confirmation.choose("Daten importieren")
    confirmation.press("OK")


def lose_while_running(session, server):
    import screen_reader
    from vanishing import check

    server.stop()
    session.dialog(RUN).says(LOST)
    server.start()
    screen_reader.eventually(lambda: not session.has_dialog(RUN), "the end of the import", LONGEST_RUN)
    session.window("label", "Ergebnis").says(f"neu gespeichert: {RECORDS:,}".replace(",", "."))
    stored = server.sql("SELECT count(*), count(DISTINCT KundenNummer) FROM Kunden")
    check(stored == f"{RECORDS}|{RECORDS}", f"stored are {stored}")
    session.window("label", "Ergebnis").press("Schließen")


def run(desktop):
    from vanishing import begin  # connects to the bus that the environment names

    server = Server()
    try:
        begin(desktop, sys.argv[1], lambda session: lose_host(session, server), server.connection())
    finally:
        server.close()
    print("The window told that the server had gone, and went on.")


if __name__ == "__main__":
    sys.exit(private_desktop.run_test(run))
