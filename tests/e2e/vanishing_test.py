"""What a page of the wizard stands on goes while a person is at work: file, folder and database server.

    vanishing_test.py FOLDER_WITH_THE_PROGRAMS

On each page something is taken away; the window says so in German, keeps what was entered, and goes on once the thing is
back. In the end the import is done, and taken back. Ends with 77 where this machine lacks what is needed.
"""

import os
import sys

import private_desktop
from stopped_server import Server

LOST = ("Die Verbindung zum Datenbankserver ist verloren und wird wiederhergestellt ...\n"
        "\"Abbrechen\" trennt die Verbindung zum Server; der nächste Schritt baut sie wieder auf.")


def lose_files(session):
    import screen_reader
    from vanishing import FIELDS, check

    session.write_specification()
    session.write_source()
    session.host().press("Kunden importieren...")
    step1 = session.step(1)
    step1.select_line("list", "Importspezifikationen", "Probe")
    os.remove(session.specification)
    step1.press("Weiter")
    session.box(f"Fehler: Datei nicht gefunden: {session.specification}")
    session.write_specification()
    session.step(1).press("Weiter")

    step2 = session.step(2)
    os.remove(session.source)
    missing = f"Die Datei ''{session.source}'' existiert nicht."
    step2.press("Datenquelle testen")
    step2.says(missing)
    step2.press("Weiter")
    session.box(missing)
    check(screen_reader.read(step2.find("text", "Dateiname")) == session.source, "the name of the file is lost")
    session.write_source()
    step2.press("Weiter")

    step3 = session.step(3)
    step3.select_line("table", FIELDS, "Bez2")
    step3.choose("Import-Feld:")
    step3.type_into("Import-Feld", "Ort")
    kept = ["«Nr»", "«Name»", "«Ort»", "«Ort»"]

    def save():
        step3.press("Speichern")
        screen_reader.eventually(lambda: any("Arbeitskopie" in text for text in step3.texts()), "why it is not saved")

    session.without_folder(save)
    step3.press("Speichern")
    step3.says("Die Einstellungen sind gespeichert.")
    check(session.assigned() == kept, f"assigned are {session.assigned()}")

    step3.press("Fertigstellen")
    confirmation = session.window("radio button", "Datenquelle testen")
    confirmation.says("2 Datensätze")
    os.remove(session.source)
    confirmation.press("OK")
    session.box("Fehler: Datei nicht gefunden")
    result = session.window("label", "Ergebnis")
    result.says("Test mit Fehlern beendet")
    result.says("gelesen: 0")
    session.write_source()


def lose_server(session, server):
    import screen_reader
    from vanishing import check

    result = session.window("label", "Ergebnis")
    result.press("Jetzt importieren")
    result = session.window("label", "neu gespeichert: 2")
    check(server.sql("SELECT Bez2 FROM Kunden ORDER BY KundenNummer") == "Köln\nHamburg", "other records are stored")
    # On the result page: the person gives up waiting, and takes the import back when the server runs again.
    server.stop()
    result.press("Rückgängig machen...")
    # While it waits the program answers the bus slowly; other windows are not looked through.
    wait = screen_reader.Window.shown(session.app, lambda window: window.accessible.name == "Bitte warten",
                                       "the wait")
    wait.find("label", LOST)
    wait.press("Abbrechen")
    session.box("Soll der Importlauf", "Ja")
    session.box("Fehler: ")
    server.start()
    undo(session, result)
    check(server.sql("SELECT count(*) FROM Kunden") == "0", "the import was not taken back")
    session.window("label", "Ergebnis").press("Schließen")


def undo(session, result):
    import screen_reader
    from vanishing import check

    def ask():
        result.press("Rückgängig machen...")
        session.box("Soll der Importlauf", "Ja")

    session.until_taken(ask, "Fehler: ", lambda: result.has("text", "Hinweise zum Import"))
    told = screen_reader.read(result.find("text", "Hinweise zum Import"))
    check(told == "2 Adressen gelöscht, 0 Adressen wiederhergestellt.", f"told is {told}")


def run(desktop):
    from vanishing import begin  # connects to the bus that the environment names

    server = Server()
    try:
        def tell(session):
            lose_files(session)
            lose_server(session, server)

        begin(desktop, sys.argv[1], tell, server.connection())
    finally:
        server.close()
    print("The window told what had gone, and went on.")


if __name__ == "__main__":
    sys.exit(private_desktop.run_test(run))
