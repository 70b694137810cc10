"""The calls of the C interface, as all modules make them; no part of the package's interface.

A call is made in the library's thread. What a callback raises in it is kept, and comes out of the call once the library
has ended it in order. Handles that were forgotten, and callbacks that were dropped, go with the next call.
"""

from __future__ import annotations

import contextlib
import ctypes
import os
import signal
import threading
from collections import deque
from typing import TYPE_CHECKING, Any, Iterator, cast

from . import _native, errors
from ._callbacks import number_of, text_of
from ._values import Value, Values, fill, of_native

if TYPE_CHECKING:
    from .jobs import Finding
    from .library import Library
    from .objects import Object


class Calls:
    """A library as the C interface knows it."""

    def __init__(self, plugins: bool) -> None:
        self._pointer: int | None = None
        self._functions = _native.functions()
        self._thread = threading.get_ident()
        self._process = os.getpid()
        self._carried: BaseException | None = None
        self._kept: dict[int, Any] = {}
        # Functions that are under way still when they are dropped, and call nothing any more.
        self._dying: list[Any] = []
        self._forgotten: deque[int] = deque()
        options = _native.LibraryOptions(abi_version=_native.ABI_VERSION, without_plugins=0 if plugins else 1)
        pointer = ctypes.c_void_p()
        status = self._functions.library_open(ctypes.byref(options), ctypes.byref(pointer))
        if status != _native.OK:
            raise errors.of_status(status, self._functions.status_text(status).decode(), 0)
        self._pointer = pointer.value

    def is_closed(self) -> bool:
        return self._pointer is None

    def end(self) -> None:
        """Closing twice is no error."""
        if self._pointer is None:
            return
        if os.getpid() == self._process:
            self.call("library_close")
        self._pointer = None
        self._kept.clear()

    def ask_to_stop(self) -> bool:
        """From any thread. False where nothing is under way."""
        asked = ctypes.c_int32()
        if self._pointer is not None:
            self._functions.run_stop(self._pointer, ctypes.byref(asked))
        return asked.value != 0

    @contextlib.contextmanager
    def stopped_by_interrupt(self) -> Iterator[None]:
        """Ctrl-C stops what is under way in order and is raised then; pressed again, it is raised at once."""
        is_ours = (
            threading.current_thread() is threading.main_thread()
            and signal.getsignal(signal.SIGINT) is signal.default_int_handler
        )
        if not is_ours:
            yield
            return
        interrupts = 0

        def note(number: int, frame: Any) -> None:
            nonlocal interrupts
            interrupts += 1
            if interrupts > 1 or not self.ask_to_stop():
                signal.default_int_handler(number, frame)

        before = signal.signal(signal.SIGINT, note)
        try:
            yield
        finally:
            signal.signal(signal.SIGINT, before)
        if interrupts:
            raise KeyboardInterrupt

    def call(self, name: str, *arguments: Any) -> None:
        """Calls a function of the C interface; raises what it fails with, or what a callback has raised in it."""
        if self._pointer is None:
            raise errors.Closed("Die Bibliothek ist geschlossen.")
        if threading.get_ident() != self._thread:
            raise errors.WrongThread(self._functions.status_text(_native.WRONG_THREAD).decode())
        if self._dying or self._forgotten:
            self._clean_up()
        before, self._carried = self._carried, None
        try:
            status = getattr(self._functions, name)(self._pointer, *arguments)
        finally:
            raised, self._carried = self._carried, before
        if raised is not None:
            raise raised
        if status != _native.OK:
            raise self._error(status)

    def call_for_handle(self, name: str, *arguments: Any) -> int:
        """The same of a function whose last argument gets a handle."""
        handle = _native.Handle()
        self.call(name, *arguments, ctypes.byref(handle))
        return handle.value

    def call_for_text(self, name: str, *arguments: Any) -> str:
        """The same of a function whose last argument gets a text."""
        text = _native.Text()
        self.call(name, *arguments, ctypes.byref(text))
        return _native.text_of(text)

    def object_of(self, handle: int) -> Object:
        """The object of a handle, which becomes its own."""
        from .objects import Object
        from .records import Recordset

        columns = ctypes.c_size_t()
        is_set = self._functions.recordset_column_count(self._pointer, handle, ctypes.byref(columns)) == _native.OK
        library = cast("Library", self)
        return Recordset(library, handle) if is_set else Object(library, handle)

    def text_of_value(self, value: Value) -> str:
        """As sources write it: "12,5", "24.12.2026"."""
        return str(self.convert(value, _native.STRING))

    def convert(self, value: Value, kind: int) -> Value:
        """The same value as another kind, by the rules of the component."""
        converted = _native.Value()
        self.call("value_convert", Values([value]).array, kind, ctypes.byref(converted))
        return of_native(cast("Library", self), converted)

    def return_value(self, value: Value) -> None:
        """Of the member that is being called."""
        native = _native.Value()
        kept = fill(native, value)
        self.call("call_return", ctypes.byref(native))
        del kept

    def carry(self, error: BaseException) -> None:
        """Keeps what a callback has raised until the call under way has ended; the first one counts."""
        if self._carried is None:
            self._carried = error

    def raise_in_callback(self, error: BaseException) -> int:
        """Tells the library why a callback failed; the status that the callback returns."""
        text = text_of(error).encode(errors="replace")
        status = getattr(self._functions, "raise")(
            self._pointer, number_of(error), _native.TextIn(text, len(text))
        )
        return int(status)

    def keep(self, function: Any) -> None:
        """Of a callback, until it is dropped or the library closes."""
        self._kept[id(function)] = function

    def drop(self, function: Any) -> None:
        """The last that a callback may do."""
        self._kept.pop(id(function), None)
        self._dying.append(function)

    def forget(self, handle: int) -> None:
        """Gives a handle back later; from any thread."""
        self._forgotten.append(handle)

    def _clean_up(self) -> None:
        self._dying.clear()
        while self._forgotten:
            self._functions.release(self._pointer, self._forgotten.popleft())

    def _error(self, status: int) -> errors.KestrelError:
        native = _native.Error()
        self._functions.last_error(self._pointer, ctypes.byref(native))
        if native.status != status:
            return errors.of_status(status, self._functions.status_text(status).decode(), 0)
        text = _native.text_of(native.description)
        if status == _native.REFUSED:
            return errors.Refused(text, native.number, self._refusal())
        return errors.of_status(status, text, native.number)

    def _refusal(self) -> list[Finding]:
        from .jobs import finding_of
        from .records import Recordset

        with Recordset(cast("Library", self), self.call_for_handle("refusal")) as rows:
            return [finding_of(row) for row in rows]
