"""A whole import, done on a real display through the accessibility bus alone.

    import_test.py FOLDER_WITH_THE_PROGRAMS

From a template to a saved schema and a test run, which stores nothing; then the same schema once more, for good.
Ends with 77 where this machine lacks what is needed.
"""

import os
import signal
import sqlite3
import subprocess
import sys

import private_desktop

SKIPPED = 77
# Before ctest would kill this program, which could not end then what it has started.
LONGEST = 240  # seconds
SCHEMA = "Kunden für die Messe"
SOURCE = (
    "Nr;Firma;Ort;PLZ;Seit;Umsatz\r\n"
    '501;"Möbelhaus Überall; Filiale";Köln;50674;29.02.2024;1250,50\r\n'
    "502;Bäckerei Schäfer;Dresden;01067;07.03.2018;viel\r\n"
    '503;"Möbelhaus Überall; Filiale";Köln;50674;29.02.2024;1250,50\r\n'
)
ASSIGNMENTS = [("KundenNummer", "Nr"), ("Bez1", "Firma"), ("PLZ", "PLZ"), ("Ort", "Ort"), ("KundeSeit", "Seit"),
               ("Umsatz", "Umsatz")]


def check(condition, what):
    if not condition:
        raise AssertionError(what)


class Story:
    def __init__(self, reader, app, folder):
        self.reader = reader
        self.app = app
        self.folder = folder

    # --- Windows ---

    def window(self, role, name):
        """The shown window that has that control."""
        return self.reader.Window.shown(self.app, lambda window: window.has(role, name), f"window with '{name}'")

    def host(self):
        return self.window("push button", "Kunden importieren...")

    def step(self, number):
        return self.window("label", f"Schritt {number}")

    # --- What the database holds ---

    def rows(self, sql):
        database = sqlite3.connect(f"file:{self.folder}/kestrel.db?mode=ro", uri=True)
        try:
            return database.execute(sql).fetchall()
        finally:
            database.close()

    # --- The story ---

    def describe_source_from_template(self, source):
        self.host().press("Kunden importieren...")
        step1 = self.step(1)
        step1.choose("Neu aus Vorlage")
        step1.select_line("list", "Importspezifikationen", "Kunden aus Textdatei")
        step1.press("Weiter")
        step2 = self.step(2)
        step2.type_into("Dateiname", source)
        step2.choose("Semikolon")
        step2.press("Weiter")

    def assign_fields(self):
        step3 = self.step(3)
        for field, column in ASSIGNMENTS:
            step3.select_line("table", "Felder und ihre Zuordnung", field)
            step3.choose("Import-Feld:")
            step3.type_into("Import-Feld", column)
            if field == "KundeSeit":
                step3.focus("radio button", "Import-Feld:")
                step3.choose_entry("Format", "tt.mm.jjjj")
        # Leaving a line stores it.
        step3.select_line("table", "Felder und ihre Zuordnung", "Rabatt")
        shown = {line[0]: line for line in self.reader.table_lines(
            step3.find("table", "Felder und ihre Zuordnung"))}
        for field, column in ASSIGNMENTS:
            check(column in " ".join(shown[field]), f"{field} is shown as {shown[field]}")

    def save_schema(self):
        self.step(3).press("Speichern")
        box = self.window("label", "Bitte geben Sie ein Schemaname ein:")
        box.type_into("Bitte geben Sie ein Schemaname ein", SCHEMA)
        box.press("OK")
        self.reader.eventually(lambda: os.path.exists(f"{self.folder}/Import/{SCHEMA}.IMP"), "the saved schema")

    def finish(self, choice):
        """From step 3 to the end of the run."""
        self.step(3).press("Fertigstellen")

        def next_window(window):
            return window.has("radio button", "Datenquelle testen") or window.has("push button", "Nein")
        window = self.reader.Window.shown(self.app, next_window, "question or confirmation")
        if window.has("push button", "Nein"):
            window.press("Nein")
        confirmation = self.window("radio button", "Datenquelle testen")
        confirmation.choose(choice)
        confirmation.press("OK")
        # One record of the source is bad.
        result = self.window("push button", "Abgelehnte Datensätze speichern...")
        told = result.texts()
        check(any("Daten sind Fehler aufgetreten." in text for text in told), f"the result is {told}")
        check("gelesen: 3" in told and "Fehler: 1" in told, f"the result is {told}")
        result.press("Schließen")
        # The wizard has ended: the host alone is left.
        self.reader.eventually(
            lambda: [window.name for window in self.app if window and self.reader.is_showing(window)]
            == ["KESTREL Adressen"], "the end of the wizard")

    def import_with_saved_schema(self):
        self.host().press("Kunden importieren...")
        step1 = self.step(1)
        step1.choose("Vorhandene Importe")
        step1.select_line("list", "Importspezifikationen", SCHEMA)
        step1.press("Weiter")
        self.step(2).press("Weiter")
        self.step(3)
        self.finish("Daten importieren")

    def check_window(self):
        host = self.host()
        # The list is read beside the window, and may still be.
        self.reader.eventually(lambda: [line[0] for line in self.reader.table_lines(host.find("table", "Kunden"))]
                               == ["501", "502"], "the two customers in the list")
        for tab, text in (("Importprotokoll", "viel"), ("Dublettenprotokoll", "'3', 'Kunden', '501'")):
            host.press(tab, "page tab")
            log = host.find("table", tab)
            read_out = str(self.reader.table_lines(log))
            check(text in read_out, f"{tab} shows {read_out}")


def tell(story, source):
    story.describe_source_from_template(source)
    story.assign_fields()
    story.save_schema()
    story.finish("Datenquelle testen")
    check(story.rows("SELECT * FROM Kunden") == [], "a test run has stored records")
    story.import_with_saved_schema()
    stored = story.rows("SELECT KundenNummer, Bez1, PLZ, Ort, KundeSeit, Umsatz FROM Kunden ORDER BY KundenNummer")
    check(stored == [(501, "Möbelhaus Überall; Filiale", "50674", "Köln", "2024-02-29", 1250.5),
                     (502, "Bäckerei Schäfer", "01067", "Dresden", "2018-03-07", None)], f"stored: {stored}")
    story.check_window()


def stop(number, _):
    raise TimeoutError(f"stopped by signal {number}")


def main():
    for number in (signal.SIGALRM, signal.SIGTERM, signal.SIGINT):
        signal.signal(number, stop)
    signal.alarm(LONGEST)
    lacking = private_desktop.missing()
    if lacking:
        print(f"Skipped: {lacking} is not installed.")
        return SKIPPED
    programs = sys.argv[1]
    with private_desktop.PrivateDesktop() as desktop:
        os.environ.update(desktop.environment)
        import screen_reader  # connects to the bus that the environment names

        folder = os.path.join(desktop.folder, "host")
        subprocess.run([os.path.join(programs, "kestrel-import"), "init", folder], check=True,
                       stdout=subprocess.DEVNULL)
        source = os.path.join(desktop.folder, "Müller & Söhne.txt")
        with open(source, "w", encoding="cp1252", newline="") as file:
            file.write(SOURCE)
        host = desktop.start([os.path.join(programs, "kestrel-host"), folder], "host.log")
        story = None
        try:
            story = Story(screen_reader, screen_reader.application("kestrel-host"), folder)
            tell(story, source)
        except Exception as error:
            print(f"{type(error).__name__}: {error}")
            print(f"kestrel-host: {'runs' if host.poll() is None else host.returncode}\n{desktop.log('host.log')}")
            for window in story.app if story else ():
                if window is not None and screen_reader.is_showing(window):
                    print("Shown:", screen_reader.Window(window).texts())
            raise
    print("The import was done, stored and shown.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
