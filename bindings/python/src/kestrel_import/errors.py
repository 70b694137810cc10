"""What goes wrong. Every error has a number (0 where it has none) and a German text for people."""

from __future__ import annotations

from typing import TYPE_CHECKING

from . import _native

if TYPE_CHECKING:
    from .jobs import Finding


class KestrelError(Exception):
    """Every error of the package. `text` is German, for people; `number` is 0 where it has none."""

    def __init__(self, text: str, number: int = 0) -> None:
        super().__init__(text)
        self.text = text
        self.number = number


class Failed(KestrelError):
    """An error with a number: of a component, a database, a file."""

    def __str__(self) -> str:
        return f"{self.number}: {self.text}"


class Refused(KestrelError):
    """An import that does not begin, and why: `findings` has each reason with its place and a way out."""

    def __init__(self, text: str, number: int, findings: list[Finding]) -> None:
        super().__init__(text, number)
        self.findings = findings


class Misuse(KestrelError):
    """A call that could not be made: something is closed, of the wrong kind, or no value."""


class Closed(Misuse):
    """Of something that was closed, or whose library was."""


class WrongThread(Misuse):
    """A library and all that is made with it belong to the thread that opened it."""


class Busy(Misuse):
    """Not from within a callback."""


def of_status(status: int, text: str, number: int) -> KestrelError:
    kinds: dict[int, type[KestrelError]] = {
        _native.INVALID_HANDLE: Closed,
        _native.WRONG_THREAD: WrongThread,
        _native.BUSY: Busy,
        _native.FAILED: Failed,
    }
    return kinds.get(status, Misuse)(text, number)
