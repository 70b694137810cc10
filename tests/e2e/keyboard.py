"""Uses windows by the keyboard alone: Tab, access keys, arrows, Enter. What is shown is still read by the bus."""

from screen_reader import MOST_TABS, Window, access_key, eventually, has_focus, key, read, type_text, walk


class KeyboardWindow(Window):
    """As `Window`, without a single action of the bus."""

    def press(self, name, role="push button"):
        control = self.find_enabled(role, name)
        self.wait_for_keyboard()
        keys = access_key(control)
        if keys is None:
            self.focus(role, name)
            keys = "space"
        key(keys)
        return control

    def confirm(self, name):
        # What was typed may have opened a list of proposals, which has the keyboard then and passes the key on.
        self.find_enabled("push button", name)
        key("Return")

    def select_tab(self, name):
        tab = self.find("page tab", name)
        self.wait_for_keyboard()
        keys = access_key(tab) or "ctrl+Tab"
        for _ in range(MOST_TABS):
            if has_focus(tab):
                return
            key(keys)
        raise AssertionError(f"{keys} does not come by the tab '{name}'")

    def focus(self, role, name):
        control = self.find(role, name)
        self.wait_for_keyboard()
        for _ in range(MOST_TABS):
            if has_focus(control):
                return control
            before = self._focused()
            key("Tab")
            eventually(lambda: self._focused() != before, f"the focus behind {before}")
        raise AssertionError(f"Tab does not come by '{name}'")

    def type_into(self, name, text, role="text"):
        control = self.focus(role, name)
        key("ctrl+a")
        type_text(text)
        eventually(lambda: read(control) == text, f"'{text}' in '{name}'")
        return control

    def _focused(self):
        """What tells the control with the focus from the others."""
        for accessible in walk(self.accessible):
            if has_focus(accessible) and accessible.getRoleName() != "page tab":
                return accessible.getRoleName(), accessible.name, accessible.getIndexInParent(), accessible.path
        return None
