"""A whole import, done by a person on a real display, from an empty host to the import that is taken back.

    import_test.py FOLDER_WITH_THE_PROGRAMS reader|keyboard

A new specification for a file, from a template: columns assigned by their names, a date format, a translation table,
saved under a name, tested, what was not stored saved to a file, imported, taken back, copied, opened again. Each step
asserts what the window shows and what stands in the database and in files.

`reader` uses the controls through the accessibility bus, as a screen reader does, and drags the file from another program
onto the host's list. `keyboard` has keys alone, and chooses the file in a dialog. Ends with 77 where this machine lacks
what is needed.
"""

import configparser
import os
import sqlite3
import subprocess
import sys

import private_desktop

SCHEMA = "Kunden für die Messe"
COPY = "Kunden der Messe (Kopie)"
TEMPLATE = "Kunden aus Textdatei"
FIELDS = "Felder und ihre Zuordnung"
RESULT = "Datensätze, wie sie gespeichert würden"
SOURCE = (
    "KdNr;Name;Straße;PLZ;Ort;Gruppe;Kunde seit;Umsatz\r\n"
    '501;"Möbelhaus Überall; Filiale";Königstr. 1;50674;Köln;Laufkunde;29.02.2024;1250,50\r\n'
    "502;Bäckerei Schäfer;Am Wall 7;01067;Dresden;Privat;07.03.2018;viel\r\n"
    '503;"Möbelhaus Überall; Filiale";Königstr. 1;50674;Köln;Laufkunde;29.02.2024;1250,50\r\n'
    "501;Jürgen Groß;Hafenstr. 9;20095;Hamburg;Privat;01.12.2020;7\r\n"
)
ASSIGNED = {"Bez1": "Name", "Strasse": "Straße", "PLZ": "PLZ", "Ort": "Ort", "Kundengruppe": "Gruppe",
            "KundeSeit": "Kunde seit", "Umsatz": "Umsatz", "KundenNummer": "KdNr"}
STORED = [(501, "Möbelhaus Überall; Filiale", "Königstr. 1", "50674", "Köln", "C", "2024-02-29", 1250.5),
          (502, "Bäckerei Schäfer", "Am Wall 7", "01067", "Dresden", "P", "2018-03-07", None)]


def check(condition, what):
    if not condition:
        raise AssertionError(what)


class Story:
    def __init__(self, hands, app, desktop, folder):
        import screen_reader

        self.reader = screen_reader
        self.hands = hands  # the class of windows that are used
        self.app = app
        self.desktop = desktop
        self.folder = folder

    # --- Windows ---

    def window(self, role, name):
        """The shown window that has that control."""
        return self.hands.shown(self.app, lambda window: window.has(role, name), f"window with '{name}'")

    def host(self):
        return self.window("push button", "Kunden importieren...")

    def host_window(self):
        """Whichever of its pages is shown."""
        return self.window("page tab", "Importläufe")

    def step(self, number):
        page = self.window("label", f"Schritt {number}")
        keys = page.access_keys()
        check(len(keys) == len(set(keys)), f"on step {number} one key presses two controls: {keys}")
        return page

    def result(self, title):
        """The result page, once it says `title`."""
        page = self.window("label", "Ergebnis")
        page.says(title)
        return page

    def answer(self, question, button):
        """Presses a button of the message box whose text begins so."""
        box = self.hands.shown(self.app, lambda window: any(text.startswith(question) for text in window.texts())
                               and window.has("push button", button), f"question '{question}'")
        box.press(button)

    def expect_host_alone(self):
        self.reader.eventually(
            lambda: [window.name for window in self.app if window and self.reader.is_showing(window)]
            == ["KESTREL Adressen"], "the end of the wizard")

    def expect_customers(self, numbers):
        """In the database and in the host's list, which is read beside the window."""
        stored = [str(row[0]) for row in self.rows("SELECT KundenNummer FROM Kunden ORDER BY KundenNummer")]
        check(stored == numbers, f"the database holds {stored}")
        host = self.host()
        self.reader.eventually(lambda: [line[0] for line in host.lines("Kunden")] == numbers,
                               f"{numbers} in the list {host.lines('Kunden')}")

    # --- What the files hold ---

    def rows(self, sql):
        database = sqlite3.connect(f"file:{self.folder}/kestrel.db?mode=ro", uri=True)
        try:
            return database.execute(sql).fetchall()
        finally:
            database.close()

    def specification(self, name):
        path = f"{self.folder}/Import/{name}.IMP"
        self.reader.eventually(lambda: os.path.exists(path), f"the saved {path}")
        parser = configparser.ConfigParser(interpolation=None, delimiters=("=",))
        parser.optionxform = str
        parser.read(path, encoding="cp1252")
        return parser

    # --- The steps ---

    def choose_template(self, source):
        step1 = self.step(1)
        step1.says(f"Datenquelle: {os.path.basename(source)}. Wählen Sie nun, womit sie importiert wird.")
        step1.choose("Neu aus Vorlage")
        step1.select_line("list", "Importspezifikationen", TEMPLATE)
        step1.press("Weiter")

    def look_at_source(self, source):
        step2 = self.step(2)
        step2.says("Erkannt: Semikolon, Anführungszeichen, Überschriften, ANSI (Windows-1252)")
        check(self.reader.read(step2.find("text", "Dateiname")) == source, "another file")
        first = ["501", "Möbelhaus Überall; Filiale", "Königstr. 1", "50674", "Köln", "Laufkunde", "29.02.2024", "1250,50"]
        self.reader.eventually(lambda: step2.lines("Vorschau der ersten Datensätze")[0] == first, "the first record")
        step2.press("Weiter")

    def assign_by_name(self):
        step3 = self.step(3)
        step3.press("Nach Namen zuordnen")
        step3.says(f"{len(ASSIGNED)} Felder nach Namen zugeordnet. \"Rückgängig\" nimmt das zurück.")
        shown = {line[0].rstrip(" *"): line[1].strip("«»") for line in step3.lines(FIELDS) if line[1]}
        check(shown == ASSIGNED, f"assigned are {shown}")

    def take_date_format(self):
        step3 = self.step(3)
        step3.select_line("table", FIELDS, "KundeSeit")
        step3.press("Vorschlag: tt.mm.jjjj")
        self.reader.eventually(lambda: step3.has("combo box", "tt.mm.jjjj"), "the format")

    def translate_groups(self):
        step3 = self.step(3)
        step3.select_line("table", FIELDS, "Kundengruppe")
        step3.press("Übersetzungstabelle verwenden", "check box")
        step3.press("Übersetzungstabelle bearbeiten")
        editor = self.window("table", "Übersetzungen")
        check(editor.lines("Übersetzungen") == [["Laufkunde", ""], ["Privat", ""]], "other values")
        editor.focus("table", "Übersetzungen")
        # The first letters of "Laufkundschaft" and "Privatkunden" choose them; Down opens the next line's list.
        for value, keys in (("Laufkundschaft", ("l", "Return")), ("Privatkunden", ("Down", "p", "Return"))):
            self.reader.key(*keys)
            self.reader.eventually(lambda code=value: code in [line[1] for line in editor.lines("Übersetzungen")],
                                   f"the translation {value}")
        editor.press("OK")
        # What would be stored is shown.
        self.reader.eventually(lambda: [line[:2] for line in step3.lines("Beispielwerte des Feldes")][:2]
                               == [["Laufkunde", "C"], ["Privat", "P"]], "the sample values")

    def look_at_result_tab(self):
        step3 = self.step(3)
        step3.select_tab("Ergebnis")
        self.reader.eventually(lambda: any("Bäckerei Schäfer" in line and "P" in line
                                           for line in step3.lines(RESULT)), "the records as they would be stored")
        step3.select_tab("Felder")

    def save_as(self, name):
        step3 = self.step(3)
        step3.wait_for_keyboard()
        self.reader.key("ctrl+shift+s")
        box = self.window("label", "Bitte geben Sie ein Schemaname ein:")
        box.type_into("Bitte geben Sie ein Schemaname ein", name)
        box.confirm("OK")
        step3.says("Die Einstellungen sind gespeichert.")
        saved = self.specification(name)
        for field, column in ASSIGNED.items():
            check(saved["FieldAssignments"][field] == f"FIELD:{column}", f"{field} is saved as another")
        check(saved["FieldFormat"]["KundeSeit"] == "tt.mm.jjjj", "another format is saved")
        check(dict(saved["Translation_Kundengruppe"]) == {"Laufkunde": "C", "Privat": "P"}, "another translation")

    def finish(self, source, choice):
        """From step 3 to the end of the run; nothing is left to be saved."""
        self.step(3).press("Fertigstellen")
        confirmation = self.window("radio button", "Datenquelle testen")
        confirmation.says("4 Datensätze")
        check(any(os.path.basename(source) in text for text in confirmation.texts()), "no source is named")
        confirmation.choose(choice)
        confirmation.press("OK")

    def import_now(self):
        page = self.result("Test mit Fehlern beendet")
        for figure in ("geprüft: 3", "abgewiesen: 1", "gelesen: 4", "Fehler: 2"):
            page.says(figure)
        page.press("Jetzt importieren")
        page = self.result("Import mit Fehlern beendet")
        for figure in ("neu gespeichert: 2", "wegen Dublettenverdacht zurückgehalten: 1", "abgewiesen: 1", "gelesen: 4"):
            page.says(figure)

    def save_rejects(self):
        page = self.result("Import mit Fehlern beendet")
        page.press("Abgelehnte Datensätze speichern...")
        dialog = self.window("text", "Dateiname")
        path = os.path.join(self.folder, "abgelehnt.txt")
        dialog.type_into("Dateiname", path)
        dialog.confirm("Speichern")
        self.reader.eventually(lambda: any("enthält 2 Datensätze mit den Gründen" in text for text in self.remarks(page)),
                               "the remark")
        with open(path, encoding="cp1252") as file:
            lines = file.read().splitlines()
        check(len(lines) == 3 and lines[1].startswith("503;") and lines[2].startswith("501;Jürgen Groß"), f"{lines}")

    def remarks(self, page):
        return self.reader.read(page.find("text", "Hinweise zum Import")).splitlines()

    def undo(self):
        self.result("Import mit Fehlern beendet").press("Rückgängig machen...")
        self.answer("Soll der Importlauf", "Ja")
        page = self.result("Import zurückgenommen")
        self.reader.eventually(lambda: "2 Adressen gelöscht, 0 Adressen wiederhergestellt." in self.remarks(page),
                               "the remark about the undo")

    def reopen(self, source):
        """The specification stands on top, with its last run, and is as it was saved."""
        self.host().press("Kunden importieren...")
        step1 = self.step(1)
        recent = step1.lines("Importspezifikationen", "list")[0][0]
        check(recent.startswith(SCHEMA) and "4 gelesen" in recent, f"on top stands {recent}")
        step1.select_line("list", "Importspezifikationen", recent)
        step1.press("Weiter")
        step2 = self.step(2)
        check(self.reader.read(step2.find("text", "Dateiname")) == source, "another file")
        step2.press("Weiter")
        shown = {line[0].rstrip(" *"): line[1].strip("«»") for line in self.step(3).lines(FIELDS) if line[1]}
        check(shown == ASSIGNED, f"assigned are {shown}")

    def look_at_logs(self):
        """The result page opens the log; the host can be used while it stays."""
        page = self.result("Import mit Fehlern beendet")
        page.press("Protokoll öffnen")
        host = self.host_window()
        host.wait_for_keyboard()
        for tab, text in (("Importprotokoll", "viel"), ("Dublettenprotokoll", "'3', 'Kunden', '501'")):
            host.select_tab(tab)
            read_out = str(host.lines(tab))
            check(text in read_out, f"{tab} shows {read_out}")
        host.select_tab("Kunden")
        self.reader.key("alt+Tab")
        page.wait_for_keyboard()


def tell(story, source, begin):
    story.expect_customers([])
    begin(story, source)
    story.choose_template(source)
    story.look_at_source(source)
    story.assign_by_name()
    story.take_date_format()
    story.translate_groups()
    story.look_at_result_tab()
    story.save_as(SCHEMA)
    story.finish(source, "Datenquelle testen")
    story.result("Test mit Fehlern beendet")
    story.expect_customers([])
    story.import_now()
    story.expect_customers(["501", "502"])
    stored = story.rows("SELECT KundenNummer, Bez1, Strasse, PLZ, Ort, Kundengruppe, KundeSeit, Umsatz FROM Kunden "
                        "ORDER BY KundenNummer")
    check(stored == STORED, f"stored: {stored}")
    story.look_at_logs()
    story.save_rejects()
    story.undo()
    story.expect_customers([])
    story.window("label", "Ergebnis").press("Schließen")
    story.expect_host_alone()
    story.reopen(source)
    story.save_as(COPY)
    story.step(3).press("Abbrechen")
    story.expect_host_alone()
    check(os.path.exists(source), "the source has gone")


def drop_file(story, source):
    """Drags the file from another program onto the list of customers."""
    from pointer import drag

    host = story.host()
    drag(story.desktop, os.path.join(sys.argv[1], "drag_source"), source, host.find("table", "Kunden"))


def choose_file(story, source):
    """By the menu of the host."""
    story.host().wait_for_keyboard()
    story.reader.key("alt+d", "p")
    dialog = story.window("text", "Dateiname")
    dialog.type_into("Dateiname", source)
    dialog.confirm("Öffnen")


def run(desktop):
    import keyboard
    import screen_reader  # both connect to the bus that the environment names

    hands, begin = {"reader": (screen_reader.Window, drop_file),
                    "keyboard": (keyboard.KeyboardWindow, choose_file)}[sys.argv[2]]
    programs = sys.argv[1]
    folder = os.path.join(desktop.folder, "host")
    subprocess.run([os.path.join(programs, "kestrel-import"), "init", folder], check=True, stdout=subprocess.DEVNULL)
    source = os.path.join(desktop.folder, "Müller & Söhne.txt")
    with open(source, "w", encoding="cp1252", newline="") as file:
        file.write(SOURCE)
    host = desktop.start([os.path.join(programs, "kestrel-host"), folder], "host.log")
    story = None
    try:
        story = Story(hands, screen_reader.application("kestrel-host"), desktop, folder)
        tell(story, source, begin)
    except Exception as error:
        print(f"{type(error).__name__}: {error}")
        print(f"kestrel-host: {'runs' if host.poll() is None else host.returncode}\n{desktop.log('host.log')}")
        for window in story.app if story else ():
            if window is not None and screen_reader.is_showing(window):
                print("Shown:", screen_reader.Window(window).texts())
        if len(sys.argv) > 3:
            subprocess.run(["import", "-window", "root", sys.argv[3]], check=False)
        raise
    print("The import was done, stored, shown and taken back.")


if __name__ == "__main__":
    sys.exit(private_desktop.run_test(run))
