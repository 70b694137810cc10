"""An import into tables of another application: by the command line they become lists of the host's window, by the wizard
they are filled from a dropped file, and by the ledger they are as before.

    own_tables_test.py FOLDER_WITH_THE_PROGRAMS

A screen reader's hands on a real display; the database is one that this program has not made. Ends with 77 where this
machine lacks what is needed.
"""

import os
import sqlite3
import subprocess
import sys

import private_desktop
from import_test import Story, check

TABLES = (
    "CREATE TABLE Rep (RepId INTEGER PRIMARY KEY, LastName TEXT NOT NULL)",
    "INSERT INTO Rep VALUES (3, 'Schmitz')",
    'CREATE TABLE "Customer List" (CustomerId INTEGER PRIMARY KEY, FirstName VARCHAR(40), LastName VARCHAR(20) NOT NULL, '
    "Address VARCHAR(70), City VARCHAR(40), PostalCode VARCHAR(10), Email VARCHAR(60), Revenue NUMERIC(10,2), "
    "Rep INTEGER REFERENCES Rep, Photo BLOB, Created TIMESTAMP NOT NULL DEFAULT CURRENT_TIMESTAMP)",
    'INSERT INTO "Customer List" (CustomerId, FirstName, LastName, Address, City, PostalCode) '
    "VALUES (7, 'Erika', 'Mustermann', 'Lindenstraße 7', 'Köln', '50674')",
    "CREATE TABLE Supplier (SupplierId INTEGER PRIMARY KEY, CompanyName TEXT NOT NULL, City TEXT)",
)
SOURCE = (
    "Vorname;Nachname;Straße;PLZ;Ort;E-Mail;Umsatz\r\n"
    "Erika;Mustermann;Lindenstr. 7;50674;Köln;e@m.example;1\r\n"
    "Hans;Meier;Am Weg 1;01067;Dresden;h@m.example;1250,50\r\n"
    "Ina;Weiß;Wall 3;20095;Hamburg;;\r\n"
)
IMPORTED = [("Hans", "Meier", "Am Weg 1", "01067", "Dresden", "h@m.example", 1250.5),
            ("Ina", "Weiß", "Wall 3", "20095", "Hamburg", "", None)]
SCHEMA = "Messe"


class OwnTables(Story):
    def __init__(self, hands, app, desktop, folder, database):
        super().__init__(hands, app, desktop, folder)
        self.database = database

    def host(self):
        return self.window("push button", "kunden importieren...")

    def rows(self, sql):
        connection = sqlite3.connect(f"file:{self.database}?mode=ro", uri=True)
        try:
            return connection.execute(sql).fetchall()
        finally:
            connection.close()

    def expect_listed(self, numbers):
        host = self.host()
        self.reader.eventually(lambda: [line[0] for line in host.lines("kunden")] == numbers,
                               lambda: f"{numbers} in the list {host.lines('kunden')}")

    def look_at_lists(self):
        """Number first, then the columns as the table has them, without those that take no text."""
        host = self.host()
        self.expect_listed(["7"])
        check(host.lines("kunden")[0][:4] == ["7", "Erika", "Mustermann", "Lindenstraße 7"], f"{host.lines('kunden')}")
        check(host.has("page tab", "lieferanten"), "no second list")
        check(not host.has("page tab", "Kunden"), "a list of the sample host")

    def save(self):
        self.step(3).wait_for_keyboard()
        self.reader.key("ctrl+shift+s")
        box = self.window("label", "Bitte geben Sie ein Schemaname ein:")
        box.type_into("Bitte geben Sie ein Schemaname ein", SCHEMA)
        box.confirm("OK")
        self.step(3).says("Die Einstellungen sind gespeichert.")
        check(self.specification(SCHEMA)["Common"]["ImportClass"] == "ksbimport.kunden", "another destination is saved")

    def import_dropped_file(self, source):
        from pointer import drag

        drag(self.desktop, os.path.join(sys.argv[1], "drag_source"), source, self.host().find("table", "kunden"))
        step1 = self.step(1)
        step1.choose("Neu aus Vorlage")
        check([line[0] for line in step1.lines("Importspezifikationen", "list")] == ["kunden aus Textdatei"],
              f"offered are {step1.lines('Importspezifikationen', 'list')}")
        step1.select_line("list", "Importspezifikationen", "kunden aus Textdatei")
        step1.press("Weiter")
        self.step(2).press("Weiter")
        step3 = self.step(3)
        step3.press("Nach Namen zuordnen")
        step3.says("7 Felder nach Namen zugeordnet. \"Rückgängig\" nimmt das zurück.")
        self.save()
        self.step(3).press("Fertigstellen")
        confirmation = self.window("radio button", "Datenquelle testen")
        confirmation.choose("Daten importieren")
        confirmation.press("OK")
        page = self.result("Import abgeschlossen")
        for figure in ("neu gespeichert: 2", "wegen Dublettenverdacht zurückgehalten: 1", "gelesen: 3"):
            page.says(figure)

    def expect_imported(self):
        stored = self.rows('SELECT FirstName, LastName, Address, PostalCode, City, Email, Revenue FROM "Customer List" '
                           "WHERE CustomerId > 7 ORDER BY CustomerId")
        check(stored == IMPORTED, f"stored: {stored}")
        self.expect_listed(["7", "8", "9"])

    def look_at_pages(self):
        page = self.result("Import abgeschlossen")
        page.press("Protokoll öffnen")
        host = self.host_window()
        host.wait_for_keyboard()
        host.select_tab("Dublettenprotokoll")
        check("Erika Mustermann" in str(host.lines("Dublettenprotokoll")), f"{host.lines('Dublettenprotokoll')}")
        host.select_tab("Importläufe")
        run = host.lines("Importläufe")[0]
        check("Customer List" in run and "fertig" in run, f"the run {run}")
        host.select_tab("kunden")
        self.reader.key("alt+Tab")
        page.wait_for_keyboard()

    def take_back(self):
        self.result("Import abgeschlossen").press("Rückgängig machen...")
        self.answer("Soll der Importlauf", "Ja")
        page = self.result("Import zurückgenommen")
        self.reader.eventually(lambda: "2 Adressen gelöscht, 0 Adressen wiederhergestellt." in self.remarks(page),
                               "the remark about the undo")
        self.expect_listed(["7"])
        page.press("Schließen")
        self.expect_host_alone()

    def look_at_other_list(self):
        """It offers its own template, and no specification of the first one."""
        host = self.host()
        host.select_tab("lieferanten")
        self.window("push button", "lieferanten importieren...").press("lieferanten importieren...")
        step1 = self.step(1)
        # Without a specification it begins with those.
        check([line[0] for line in step1.lines("Importspezifikationen", "list")] == ["lieferanten aus Textdatei"],
              f"offered are {step1.lines('Importspezifikationen', 'list')}")
        step1.press("Abbrechen")
        self.expect_host_alone()


# What version 1 of the tables had not.
VERSION_1 = ("DROP TABLE kestrel_Importlisten", "ALTER TABLE kestrel_Importspalten DROP COLUMN Rundung",
             "UPDATE kestrel_Importfassung SET Fassung = 1")


def version_of(database):
    connection = sqlite3.connect(f"file:{database}?mode=ro", uri=True)
    try:
        return connection.execute("SELECT max(Fassung) FROM kestrel_Importfassung").fetchone()[0]
    finally:
        connection.close()


def expect_upgrade_to_be_asked_for(desktop, command, database):
    """Tables of an earlier version are changed where a person says yes, and the program ends where not."""
    import screen_reader

    def ask(answer):
        screen_reader.eventually(lambda: not screen_reader.is_running("kestrel-host"), "the end of the host before")
        host = desktop.start(command, "host.log")
        app = screen_reader.application("kestrel-host")
        box = screen_reader.Window.shown(app, lambda window: window.has("push button", answer), "the question")
        check(any("frühere Version des Programms" in text for text in box.texts()), f"asked is {box.texts()}")
        check(version_of(database) == 1, "changed without a yes")
        box.press(answer)
        return host, app

    host, _ = ask("Nein")
    check(host.wait(screen_reader.PATIENCE) == 4, f"the program ended with {host.returncode}")
    check(version_of(database) == 1, "changed in spite of a no")
    host, app = ask("Ja")
    box = screen_reader.Window.shown(app, lambda window: window.has("push button", "OK"), "what was done")
    check(any("-vor-Fassung-2.db" in text for text in box.texts()), f"told is {box.texts()}")
    box.press("OK")
    screen_reader.Window.shown(app, lambda window: window.has("page tab", "lieferanten"), "the window")
    check(version_of(database) == 2, "not changed in spite of a yes")


def run(desktop):
    import screen_reader  # connects to the bus that the environment names

    programs = sys.argv[1]
    folder = os.path.join(desktop.folder, "import")
    os.makedirs(os.path.join(folder, "Import"))
    database = os.path.join(desktop.folder, "shop.db")
    connection = sqlite3.connect(database)
    with connection:
        for statement in TABLES:
            connection.execute(statement)
    before = list(connection.iterdump())
    connection.close()
    for name, table in (("kunden", "Customer List"), ("lieferanten", "Supplier")):
        subprocess.run([os.path.join(programs, "kestrel-import"), "target", "add", name, "--table", table, "--host", database,
                        "--folder", folder], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    # They come from whoever adds a destination; another clerk's folder lacks them.
    os.remove(os.path.join(folder, "Import", "lieferanten.IMT"))
    source = os.path.join(desktop.folder, "Müller & Söhne.txt")
    with open(source, "w", encoding="cp1252", newline="") as file:
        file.write(SOURCE)
    command = [os.path.join(programs, "kestrel-host"), folder, "--host", database]
    host = desktop.start(command, "host.log")
    story = None
    try:
        story = OwnTables(screen_reader.Window, screen_reader.application("kestrel-host"), desktop, folder, database)
        story.look_at_lists()
        story.import_dropped_file(source)
        story.expect_imported()
        story.look_at_pages()
        story.take_back()
        story.look_at_other_list()
    except Exception as error:
        print(f"{type(error).__name__}: {error}")
        print(f"kestrel-host: {'runs' if host.poll() is None else host.returncode}\n{desktop.log('host.log')}")
        for window in story.app if story else ():
            if window is not None and screen_reader.is_showing(window):
                print("Shown:", screen_reader.Window(window).texts())
        raise
    connection = sqlite3.connect(database)
    after = [line for line in connection.iterdump() if "kestrel_" not in line]
    connection.close()
    check(after == before, "the application's own tables are not as they were")
    host.terminate()
    host.wait(screen_reader.PATIENCE)
    connection = sqlite3.connect(database)
    with connection:
        for statement in VERSION_1:
            connection.execute(statement)
    connection.close()
    expect_upgrade_to_be_asked_for(desktop, command, database)
    print("The tables were imported into from the window, shown and taken back.")


if __name__ == "__main__":
    sys.exit(private_desktop.run_test(run))
