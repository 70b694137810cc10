"""The library: what everything else is made with."""

from __future__ import annotations

import contextlib
import ctypes
import os
import signal
import threading
from collections import deque
from types import TracebackType
from typing import Any, Callable, Iterable, Iterator, Mapping, NamedTuple, Sequence, Union

from . import _native, errors
from ._callbacks import carried, number_of, text_of
from ._values import Value, Values, fill, of_native
from .components import Call, ImportClass, register_component, register_import_class
from .connections import Connection
from .databases import Database, adopt
from .jobs import Finding, Job
from .ledger import UndoResult, runs, undo
from .objects import Object
from .records import Recordset, Row, stream
from .specifications import Specification, SpecificationEntry

Path = Union[str, "os.PathLike[str]"]


class Question(NamedTuple):
    """What somebody is told or asked: "tell", "yes or no", "text", "file" or "folder"."""

    kind: str
    text: str
    title: str
    filter: str
    start: str


_QUESTION_KINDS = ("tell", "yes or no", "text", "file", "folder")

# Answers a question: True for yes, a text, file or folder; None for no or cancelled.
Ask = Callable[[Question], Union[bool, str, None]]
# Opens a source anew for each reading: with the specification's Database and Table; columns, and rows.
OpenSource = Callable[[str, str], "tuple[Sequence[str], Iterable[Row]]"]


class Library:
    """Belongs to the thread that makes it, as all that is made with it does; only `stop` may come from any.

    `home` is the component's own folder, `user` the personnel number for import classes and logs. Without
    `plugins` only components registered here are found. `ask` is told and asked what a person would be.

    What a function of yours raises while the library calls it ends what is under way, in order, and comes out of
    the call that was under way; Ctrl-C stops an import or undo behind its record or part and comes out then.
    """

    def __init__(
        self,
        *,
        home: Path | None = None,
        user: str | None = None,
        plugins: bool = True,
        ask: Ask | None = None,
    ) -> None:
        self._pointer: int | None = None
        self._functions = _native.functions()
        self._thread = threading.get_ident()
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
        if home is not None:
            self._set_option("home", os.fspath(home))
        if user is not None:
            self._set_option("user", user)
        if ask is not None:
            self._set_ask(ask)

    @property
    def closed(self) -> bool:
        return self._pointer is None

    def close(self) -> None:
        """Ends what is open; an import that has not run is cancelled. Closing twice is no error."""
        if self._pointer is None:
            return
        self.call("library_close")
        self._pointer = None
        self._kept.clear()

    def __enter__(self) -> Library:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    # --- What to work with ---

    def connect(self, connection_string: Path) -> Connection:
        """ "host.sqlite", "postgresql://...", "Provider=SQLite;Data Source=...", and what else the library knows."""
        text = _native.text_in(os.fspath(connection_string))
        return Connection(self, self.call_for_handle("connection_open", text))

    def adopt(self, database: Database) -> Connection:
        """A connection of Python's own, which stays open: sqlite3's, or another that marks parameters with '?'.

        For import classes, permitted values and duplicate checks. It has no transaction open, as a statement that
        stands alone is committed. What it raises comes out of the call.
        """
        return Connection(self, adopt(self, database))

    def open(
        self,
        specification: Path,
        *,
        connection: Connection | None = None,
        source: Path | None = None,
        folder: Path | None = None,
        working_folder: Path | None = None,
        user: str = "",
        application: int | None = None,
        tell: Callable[[str], None] | None = None,
    ) -> Job:
        """Opens an import specification: a path, or the name or description of one in `folder`.

        `source` takes the place of the source that it names. `tell` is told what a person should know and what
        stops nothing. Refused where it is not found.
        """
        job = Job(self, self.call_for_handle("job_create"))
        try:
            job.open(
                os.fspath(specification),
                connection=connection,
                source=_path(source),
                folder=_path(folder),
                working_folder=_path(working_folder),
                user=user,
                application=application,
                tell=tell,
            )
        except BaseException:
            job.close()
            raise
        return job

    def create(self, identifier: str) -> Object:
        """An object of a component. Failed (429) where nothing serves it."""
        return self.object_of(self.call_for_handle("object_create", _native.text_in(identifier)))

    def recordset(self, columns: Sequence[str], rows: Iterable[Row]) -> Recordset:
        """Rows of Python as a record set; it begins anew where `rows` can be iterated over again."""
        return Recordset(self, stream(self, columns, rows))

    # --- Specifications ---

    def specification(self, path: Path) -> Specification:
        return Specification(self, self.call_for_handle("specification_open", _native.text_in(os.fspath(path))))

    def new_specification(self) -> Specification:
        """An empty one without a file."""
        return Specification(self, self.call_for_handle("specification_create"))

    def specifications(self, folder: Path | None = None, *, templates: bool = False) -> list[SpecificationEntry]:
        """Those of a folder, by file name; without one those of the component's own."""
        text = _native.text_in(_path(folder))
        with Recordset(self, self.call_for_handle("specification_list", text, int(templates))) as rows:
            return [SpecificationEntry(*(value or "" for value in row)) for row in rows]

    # --- What imports did ---

    def runs(self, connection: Connection, *, ledger: str = "") -> list[dict[str, str | None]]:
        """The runs that the host's ledger knows, the first one first, by the ledger's own columns."""
        return runs(self, connection, ledger)

    def undo(
        self,
        connection: Connection,
        run: int,
        *,
        dry_run: bool = False,
        take_changes: bool = False,
        ledger: str = "",
        progress: Callable[[int, int], None] | None = None,
    ) -> UndoResult:
        """Takes a run back; what somebody changed since stays, unless `take_changes`."""
        return undo(self, connection, run, dry_run, take_changes, ledger, progress)

    # --- Components and sources of Python ---

    def register(self, identifier: str, import_class: type[ImportClass]) -> None:
        """Import classes of that identifier are made of the Python class from now on."""
        register_import_class(self, identifier, import_class)

    def register_component(
        self,
        identifier: str,
        create: Callable[[], Any],
        members: Mapping[str, Callable[[Any, Call], Value]],
    ) -> None:
        """A component of any kind: functions by the names of its members, called with the object and the call."""
        register_component(self, identifier, create, members)

    def register_source(self, name: str, open_source: OpenSource) -> None:
        """Specifications that name it as Provider read what `open_source` delivers."""

        def open_native(_context: Any, _library: Any, database: Any, table: Any, handle: Any) -> None:
            columns, rows = open_source(_native.text_of(database), _native.text_of(table))
            handle[0] = stream(self, columns, rows)

        function = carried(self, _native.OpenSourceFunction, open_native)
        source = _native.Source(name=_native.text_in(name), open=function)
        self.keep(function)
        self.call("source_register", ctypes.byref(source))

    # --- Stopping ---

    def stop(self) -> bool:
        """From any thread: asks the import or undo under way to stop. False where nothing is under way."""
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
            if interrupts > 1 or not self.stop():
                signal.default_int_handler(number, frame)

        before = signal.signal(signal.SIGINT, note)
        try:
            yield
        finally:
            signal.signal(signal.SIGINT, before)
        if interrupts:
            raise KeyboardInterrupt

    # --- For the other modules: the calls ---

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
        handle = _native.Handle()
        self.call(name, *arguments, ctypes.byref(handle))
        return handle.value

    def call_for_text(self, name: str, *arguments: Any) -> str:
        text = _native.Text()
        self.call(name, *arguments, ctypes.byref(text))
        return _native.text_of(text)

    def object_of(self, handle: int) -> Object:
        columns = ctypes.c_size_t()
        is_set = self._functions.recordset_column_count(self._pointer, handle, ctypes.byref(columns)) == _native.OK
        return Recordset(self, handle) if is_set else Object(self, handle)

    def text_of_value(self, value: Value) -> str:
        """As sources write it: "12,5", "24.12.2026"."""
        return str(self.convert(value, _native.STRING))

    def convert(self, value: Value, kind: int) -> Value:
        """The same value as another kind, by the rules of the component."""
        converted = _native.Value()
        self.call("value_convert", Values([value]).array, kind, ctypes.byref(converted))
        return of_native(self, converted)

    def return_value(self, value: Value) -> None:
        """Of the member that is being called."""
        native = _native.Value()
        kept = fill(native, value)
        self.call("call_return", ctypes.byref(native))
        del kept

    def carry(self, error: BaseException) -> None:
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
        with Recordset(self, self.call_for_handle("refusal")) as rows:
            return [Finding.of_row(row) for row in rows]

    def _set_option(self, name: str, value: str) -> None:
        self.call("option_set", _native.text_in(name), _native.text_in(value))

    def _set_ask(self, ask: Ask) -> None:
        def ask_native(_context: Any, _library: Any, question: Any, answer: Any) -> None:
            told = question.contents
            given = ask(
                Question(
                    _QUESTION_KINDS[told.kind],
                    _native.text_of(told.text),
                    _native.text_of(told.title),
                    _native.text_of(told.filter),
                    _native.text_of(told.start),
                )
            )
            if told.kind == _native.ASK_YES_NO:
                answer[0] = 1 if given else 0
            elif isinstance(given, str):
                self.call("answer", _native.text_in(given))

        function = carried(self, _native.AskFunction, ask_native)
        self.keep(function)
        self.call("user_interface_set", ctypes.byref(_native.UserInterface(ask=function)))


def _path(path: Path | None) -> str:
    return "" if path is None else os.fspath(path)
