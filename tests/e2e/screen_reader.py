"""Finds and uses controls as a screen reader does: by role and spoken name, through the accessibility bus.

Import only after DBUS_SESSION_BUS_ADDRESS names the bus to use.
"""

import subprocess
import time

import pyatspi
from gi.repository import GLib

PATIENCE = 60  # seconds; a loaded machine under sanitizers takes many
PAUSE = 0.05
MOST_TABS = 40


class NotFound(Exception):
    """What was looked for did not come up in time."""


def eventually(condition, what, patience=None):
    """The first result of `condition` that is true. Objects vanish while they are looked at; that is no error.

    `what` says what was waited for, a text or, where that takes a look, a function that is asked in the end.
    """
    patience = patience or PATIENCE
    end = time.monotonic() + patience
    while True:
        try:
            result = condition()
            if result:
                return result
        except (GLib.Error, LookupError, AttributeError, NotImplementedError):
            pass
        if time.monotonic() > end:
            raise NotFound(what() if callable(what) else what)
        time.sleep(PAUSE)


def application(name):
    def find():
        desktop = pyatspi.Registry.getDesktop(0)
        # Without a message loop of our own nothing would tell the cache what has changed.
        desktop.set_cache_mask(pyatspi.Atspi.Cache.NONE)
        for running in desktop:
            if running is not None and running.name == name:
                return running
        return None
    return eventually(find, "application " + name)


def is_running(name):
    desktop = pyatspi.Registry.getDesktop(0)
    desktop.set_cache_mask(pyatspi.Atspi.Cache.NONE)
    return any(running is not None and running.name == name for running in desktop)


def is_showing(accessible):
    return accessible.getState().contains(pyatspi.STATE_SHOWING)


def is_named(accessible, name):
    """A control is called by its own name or by the label it belongs to."""
    if accessible.name == name:
        return True
    for relation in accessible.getRelationSet():
        if relation.getRelationType() == pyatspi.RELATION_LABELLED_BY:
            labels = [relation.getTarget(index) for index in range(relation.getNTargets())]
            if any(label.name.rstrip(":") == name for label in labels):
                return True
    return False


def walk(accessible):
    """The object and everything in it that is shown; of lists and tables only themselves."""
    yield accessible
    if accessible.getRoleName() in ("table", "list"):
        return
    for child in accessible:
        if child is not None and is_showing(child):
            yield from walk(child)


class Window:
    """A window of the application: what it holds is asked for anew at every look."""

    def __init__(self, accessible):
        self.accessible = accessible

    @classmethod
    def shown(cls, app, matches, what):
        """The first shown window that `matches` likes."""
        def find():
            for window in app:
                if window is not None and is_showing(window) and matches(cls(window)):
                    return cls(window)
            return None
        return eventually(find, what)

    def has(self, role, name):
        return self._look(role, name) is not None

    def find(self, role, name):
        return eventually(lambda: self._look(role, name), f"{role} '{name}' in '{self.accessible.name}'")

    def find_enabled(self, role, name):
        control = self.find(role, name)
        eventually(lambda: control.getState().contains(pyatspi.STATE_ENABLED), f"'{name}' enabled")
        return control

    def _look(self, role, name):
        for accessible in walk(self.accessible):
            if accessible.getRoleName() == role and is_named(accessible, name):
                return accessible
        return None

    def lines(self, name, role="table"):
        """The lines of the table or list of that name."""
        return table_lines(self.find(role, name))

    def wait_for_keyboard(self):
        eventually(lambda: self.accessible.getState().contains(pyatspi.STATE_ACTIVE),
                   f"the keyboard in '{self.accessible.name}'")

    def says(self, text):
        """Waits until something in the window reads just so."""
        eventually(lambda: text in self.texts(), lambda: f"'{text}' among {self.texts()}")

    def access_keys(self):
        """The keys that press a control of the window, each as often as there is a control."""
        # A row of tabs names the key of the one that is shown.
        return [keys for control in walk(self.accessible)
                if control.getRoleName() != "page tab list" and control.getState().contains(pyatspi.STATE_ENABLED) and (keys := access_key(control))]

    def texts(self):
        """Everything that is read out in the window."""
        return [accessible.name for accessible in walk(self.accessible) if accessible.name]

    def press(self, name, role="push button"):
        control = self.find_enabled(role, name)
        action = control.queryAction()
        for index in range(action.nActions):
            if action.getName(index).lower() in ("press", "toggle"):
                action.doAction(index)
                return control
        raise NotFound(f"nothing to press '{name}' with")

    def confirm(self, name):
        """Presses the button that Enter presses, too."""
        self.press(name)

    def select_tab(self, name):
        tab = self.press(name, "page tab")
        # Of a tab, having the focus means to be the one that is shown.
        eventually(lambda: has_focus(tab), f"the tab '{name}'")

    def choose(self, name):
        """Selects a radio button."""
        control = self.find("radio button", name)
        if not control.getState().contains(pyatspi.STATE_CHECKED):
            self.press(name, "radio button")
        eventually(lambda: control.getState().contains(pyatspi.STATE_CHECKED), f"'{name}' selected")

    def focus(self, role, name):
        control = self.find(role, name)
        if role in ("table", "list", "combo box"):
            # Qt lets no one else put the focus on a list; the Tab key comes by in the end.
            for _ in range(MOST_TABS):
                if has_focus(control):
                    return control
                key("Tab")
        control.queryComponent().grabFocus()
        eventually(lambda: has_focus(control), f"focus on '{name}'")
        return control

    def type_into(self, name, text, role="text"):
        control = self.focus(role, name)
        control.queryEditableText().setTextContents(text)
        eventually(lambda: read(control) == text, f"'{text}' in '{name}'")
        return control

    def select_line(self, role, name, line):
        """Goes down with the arrow key to the line of a list or table that begins with `line`."""
        control = self.focus(role, name)
        if role == "list":
            key("Home")
        elif selected_line(control) is not None:
            key("ctrl+Home")
            eventually(lambda: control.queryTable().getSelectedRows()[0] == 0, f"the first line of '{name}'")
        current = eventually(lambda: selected_line(control), f"a selected line of '{name}'")
        while current != line:
            key("Down")
            before = current
            eventually(lambda: selected_line(control) not in (None, before), f"line '{line}' of '{name}'", 3)
            current = selected_line(control)

    def choose_entry(self, name, entry):
        """Goes down with the arrow key to the entry of a drop-down list."""
        control = self.focus("combo box", name)
        for _ in control.getChildAtIndex(0):
            key("Down")
            # A drop-down list tells its entry as its name.
            if control.name == entry:
                return
        raise NotFound(f"entry '{entry}' of '{name}'")


def access_key(control):
    """The keys that press the control from wherever the focus is, as xdotool calls them; none where it has none."""
    try:
        action = control.queryAction()
    except NotImplementedError:
        return None
    bindings = [action.getKeyBinding(index).lower() for index in range(action.nActions)]
    return next((keys for keys in bindings if keys.startswith("alt+")), None)


def has_focus(control):
    return control.getState().contains(pyatspi.STATE_FOCUSED)


def selected_line(control):
    """What the selected line of a list or table begins with; none where no line is selected."""
    grid = control.queryTable()
    rows = grid.getSelectedRows()
    return grid.getAccessibleAt(rows[0], 0).name if rows else None


def read(accessible):
    text = accessible.queryText()
    return text.getText(0, text.characterCount)


def key(*names):
    """Presses keys, as "Down" or "alt+w", one after another, in the window that has the keyboard."""
    subprocess.run(["xdotool", "key", "--delay", "20", *names], check=True)
    time.sleep(PAUSE)


def type_text(text):
    subprocess.run(["xdotool", "type", "--delay", "5", text], check=True)


def table_lines(table):
    """The lines of a table, each as the list of its cells' texts."""
    grid = table.queryTable()
    return [[grid.getAccessibleAt(row, column).name for column in range(grid.nColumns)]
            for row in range(grid.nRows)]
