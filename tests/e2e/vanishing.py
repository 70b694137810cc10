"""A person's session at the sample host's window, in which things vanish.

Import only after DBUS_SESSION_BUS_ADDRESS names the bus to use.
"""

import os
import subprocess
import sys

import screen_reader

SPECIFICATION = """[Common]
Description=Probe
Application=2
ImportClass=ksbimport.importkunden
Provider=Textdatei
FileName={source}
ColumnHeadings=True
FileFormat=ANSI
Delimiter=;
TextRecognition="
SaveFile=0
SavePath=
DeleteFile=0
[FieldAssignments]
KundenNummer=FIELD:Nr
Bez1=FIELD:Name
Ort=FIELD:Ort
"""
SOURCE = "Nr;Name;Ort\r\n501;Bäckerei Schäfer;Köln\r\n502;Jürgen Groß;Hamburg\r\n"
FIELDS = "Felder und ihre Zuordnung"
ASSIGNED = ["«Nr»", "«Name»", "«Ort»"]
MOST_ATTEMPTS = 60


def check(condition, what):
    if not condition:
        raise AssertionError(what)


def _is_dialog(accessible, title):
    return accessible.getRoleName() == "dialog" and accessible.name == title


class Session:
    def __init__(self, app, folder, source):
        self.app = app
        self.folder = os.path.join(folder, "Import")
        self.specification = os.path.join(self.folder, "Probe.IMP")
        self.source = source

    def window(self, role, name):
        return screen_reader.Window.shown(self.app, lambda window: window.has(role, name), f"window with '{name}'")

    def host(self):
        return self.window("push button", "Kunden importieren...")

    def step(self, number):
        return self.window("label", f"Schritt {number}")

    def box(self, begin, button="OK"):
        """Reads the message box that begins so, and presses its button."""
        box = screen_reader.Window.shown(
            self.app, lambda window: window.accessible.getRoleName() == "alert" and
            any(text.startswith(begin) for text in window.texts()), f"box '{begin}'")
        box.press(button)
        screen_reader.eventually(lambda: not screen_reader.is_showing(box.accessible), "the end of the box")

    def dialog(self, title):
        """By role and title alone: a program at work answers slowly, and other windows are not looked through."""
        return screen_reader.Window.shown(self.app, lambda window: _is_dialog(window.accessible, title), f"'{title}'")

    def boxes(self):
        """What the message boxes that are shown say."""
        return [screen_reader.Window(window).texts() for window in self.app
                if window and screen_reader.is_showing(window) and window.getRoleName() == "alert"]

    def until_taken(self, act, refusal, is_done):
        """Acts until it is done: for some seconds behind a vain attempt the program does not ask a server again."""
        for _ in range(MOST_ATTEMPTS):
            act()
            screen_reader.eventually(lambda: is_done() or self.boxes(), "an answer")
            if not self.boxes():
                return
            self.box(refusal)
        raise AssertionError(f"refused {MOST_ATTEMPTS} times: {refusal}")

    def has_dialog(self, title):
        return any(window and _is_dialog(window, title) and screen_reader.is_showing(window) for window in self.app)

    def is_shown(self, role, name):
        return any(screen_reader.Window(window).has(role, name) for window in self.app
                   if window and screen_reader.is_showing(window))

    def write_specification(self):
        with open(self.specification, "w", encoding="cp1252") as file:
            file.write(SPECIFICATION.format(source=self.source))

    def write_source(self):
        with open(self.source, "w", encoding="cp1252", newline="") as file:
            file.write(SOURCE)

    def without_folder(self, act):
        """While `act` runs, the folder of the specifications has another name."""
        os.rename(self.folder, self.folder + "-weg")
        try:
            act()
        finally:
            os.rename(self.folder + "-weg", self.folder)

    def assigned(self):
        return [line[1] for line in self.step(3).lines(FIELDS) if line[1]]


def tell_what_is_shown(app, host, log):
    """Of a session that failed."""
    print(f"kestrel-host: {'runs' if host.poll() is None else host.returncode}\n{log}")
    for window in app:
        if window is not None and screen_reader.is_showing(window):
            print("Shown:", screen_reader.Window(window).texts())
    if len(sys.argv) > 2:
        subprocess.run(["import", "-window", "root", sys.argv[2]], check=False)


def begin(desktop, programs, tell, database=None, environment=None):
    """Calls `tell(session)` at a host that is new, in the folder "host" of the desktop."""
    folder = os.path.join(desktop.folder, "host")
    more = ["--host", database] if database else []
    subprocess.run([os.path.join(programs, "kestrel-import"), "init", folder, *more], check=True,
                   stdout=subprocess.DEVNULL)
    desktop.environment.update(environment or {})
    host = desktop.start([os.path.join(programs, "kestrel-host"), folder, *more], "host.log")
    session = Session(screen_reader.application("kestrel-host"), folder, os.path.join(desktop.folder, "Müller.txt"))
    try:
        tell(session)
    except Exception as error:
        print(f"{type(error).__name__}: {error}")
        tell_what_is_shown(session.app, host, desktop.log("host.log"))
        raise
