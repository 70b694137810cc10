"""Import specifications: read, changed and saved."""

from __future__ import annotations

import os
from typing import NamedTuple, Union

from . import _native
from .objects import Object
from .records import Recordset


class SpecificationEntry(NamedTuple):
    """What a list of specifications tells of one."""

    description: str  # its name in lists
    application: str  # the host's number of its application, as it stands in the file
    provider: str  # the kind of its source, as the file has it
    import_class: str  # the identifier of its destination
    file: str  # its path


class Specification(Object):
    """A specification as a file of keys. Nothing is written before it is saved.

    Names of sections and keys are compared without case.
    """

    def value(self, section: str, key: str) -> str | None:
        """Of a key, changes included; None where there is no such key."""
        text = _native.Text()
        self._library.call(
            "specification_get", self.handle, _native.text_in(section), _native.text_in(key), text
        )
        return _native.text_or_none(text)

    def change(self, section: str, key: str, value: str) -> None:
        """Line breaks in the value become blanks. Failed (5) for names that no reader would find."""
        self._library.call(
            "specification_set",
            self.handle,
            _native.text_in(section),
            _native.text_in(key),
            _native.text_in(value),
        )

    def entries(self) -> list[tuple[str, str, str]]:
        """Section, key and value of all entries, changes included, in the order of the file."""
        with Recordset(self._library, self._library.call_for_handle("specification_entries", self.handle)) as rows:
            return [(section or "", key or "", value or "") for section, key, value in rows]

    def save(self, path: Union[str, "os.PathLike[str]", None] = None) -> None:
        """Writes all changes or none; to another path as a copy, which is the file from then on.

        Failed (58) where the copy is there already.
        """
        text = "" if path is None else os.fspath(path)
        self._library.call("specification_save", self.handle, _native.text_in(text))
