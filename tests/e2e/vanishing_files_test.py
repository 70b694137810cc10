"""What the pages write to and read from cannot be written any more, or is another thing than it was.

    vanishing_files_test.py FOLDER_WITH_THE_PROGRAMS

The folder of the specifications gets read-only, the folder of the backup goes, the source becomes empty or another file.
The window says so in German, keeps what was entered, and goes on once things are as they were. Runs as an ordinary user,
as nothing is read-only for the administrator. Ends with 77 where this machine lacks what is needed.
"""

import os
import pwd
import sqlite3
import sys

import private_desktop

READ_ONLY = 0o555
WRITABLE = 0o755


def become_ordinary():
    if os.geteuid() != 0:
        return
    nobody = pwd.getpwnam("nobody")
    os.setgroups([])
    os.setgid(nobody.pw_gid)
    os.setuid(nobody.pw_uid)
    os.environ["HOME"] = "/nonexistent"


def open_step1(session):
    session.host().press("Kunden importieren...")
    step1 = session.step(1)
    # What was imported stands with its last run behind its name.
    name = next(line[0] for line in step1.lines("Importspezifikationen", "list") if line[0].startswith("Probe"))
    step1.select_line("list", "Importspezifikationen", name)
    return step1


def lose_folder(session):
    from vanishing import check

    session.write_specification()
    session.write_source()
    step1 = open_step1(session)
    os.chmod(session.folder, READ_ONLY)
    step1.press("Weiter")
    session.box("Fehler: ")
    check(not session.boxes(), f"more is told: {session.boxes()}")
    os.chmod(session.folder, WRITABLE)
    session.step(1).press("Weiter")

    step2 = session.step(2)
    os.chmod(session.folder, READ_ONLY)
    step2.press("Speichern")
    session.box("Fehler: ")
    os.chmod(session.folder, WRITABLE)
    step2.press("Speichern")
    step2.says("Die Einstellungen sind gespeichert.")


def lose_backup(session):
    """Its folder is not there when step 2 is left; then it goes before the import, which keeps the source."""
    import screen_reader
    from vanishing import check

    backup = session.source + "-Sicherung"
    step2 = session.step(2)
    step2.press("Datei vor dem Importieren sichern", "check box")
    step2.type_into("Sicherungspfad", backup)
    step2.press("Datei nach erfolgreichem Import löschen", "check box")
    step2.press("Weiter")
    session.box(f"Der Pfad ''{backup}'' existiert nicht.")
    check(not session.boxes(), f"more is told: {session.boxes()}")
    os.mkdir(backup)
    step2.press("Weiter")
    step3 = session.step(3)
    step3.press("Speichern")
    step3.says("Die Einstellungen sind gespeichert.")
    os.chmod(backup, READ_ONLY)
    finish(session)
    result = session.window("label", "neu gespeichert: 2")
    told = screen_reader.read(result.find("text", "Hinweise zum Import"))
    check("wurde nicht gelöscht" in told, f"told is {told}")
    log = logged(session)
    check(any(backup in line for line in log), f"the log holds {log}")
    check(os.path.exists(session.source), "the source was removed without a copy")
    result.press("Schließen")


def logged(session):
    database = sqlite3.connect(os.path.join(os.path.dirname(session.folder), "kestrel.db"))
    try:
        return [str(row) for row in database.execute("SELECT * FROM Protokollzeilen")]
    finally:
        database.close()


def finish(session):
    session.step(3).press("Fertigstellen")
    confirmation = session.window("radio button", "Daten importieren")
    confirmation.choose("Daten importieren")
    confirmation.press("OK")


def replace_source(session):
    """By an empty file on step 2, and on step 3 by one with other columns, of which nothing is stored."""
    from vanishing import ASSIGNED, check

    session.write_specification()
    open_step1(session).press("Weiter")
    step2 = session.step(2)
    with open(session.source, "w", encoding="cp1252"):
        pass
    step2.press("Weiter")
    session.box(f"Die Datei ''{session.source}'' ist leer.")
    check(not session.boxes(), f"more is told: {session.boxes()}")
    check(session.assigned() == ASSIGNED, f"assigned are {session.assigned()}")
    session.step(3).press("Zurück")
    step2 = session.step(2)
    session.write_source()
    step2.press("Weiter")
    check(session.assigned() == ASSIGNED, f"assigned are {session.assigned()}")

    with open(session.source, "w", encoding="cp1252") as file:
        file.write("A;B\n1;2\n")
    finish(session)
    result = session.window("label", "abgewiesen: 1")
    result.says("neu gespeichert: 0")
    check(any("Bez1" in line for line in logged(session)), f"the log holds {logged(session)}")
    result.press("Schließen")


def run(desktop):
    from vanishing import begin  # connects to the bus that the environment names

    def tell(session):
        lose_folder(session)
        lose_backup(session)
        replace_source(session)

    begin(desktop, sys.argv[1], tell)
    print("The window told what could not be written or was another, and went on.")


if __name__ == "__main__":
    become_ordinary()
    if not os.access(os.path.join(sys.argv[1], "kestrel-host"), os.X_OK):
        print("Skipped: an ordinary user cannot start the programs from here.")
        sys.exit(private_desktop.SKIPPED)
    sys.exit(private_desktop.run_test(run))
