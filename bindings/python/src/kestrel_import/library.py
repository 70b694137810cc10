"""The library: what everything else is made with."""

from __future__ import annotations

import ctypes
import os
from types import TracebackType
from typing import Any, Callable, Iterable, Mapping, NamedTuple, Sequence, Union

from . import _native
from ._callbacks import carried
from ._calls import Calls
from ._values import Value
from .components import Call, ImportClass, register_component, register_import_class
from .connections import Connection
from .databases import Database, adopt
from .jobs import Job
from .ledger import UndoResult, runs, undo
from .objects import Object
from .records import Recordset, Row, stream
from .specifications import Specification, SpecificationEntry

# Of a file or folder; what os.fspath takes as text.
Path = Union[str, "os.PathLike[str]"]


class Question(NamedTuple):
    """What a person would be told or asked. Texts are German."""

    kind: str  # "tell", "yes or no", "text", "file" or "folder"
    text: str  # may have several lines; empty where a file or folder is asked for
    title: str  # of the box; never empty
    filter: str  # of a file: a pattern like "*.MDB"; else empty
    start: str  # of a file or folder: the path to begin at; may be empty


_QUESTION_KINDS = ("tell", "yes or no", "text", "file", "folder")

# Answers a question: True for yes, a text, file or folder; None for no or cancelled.
Ask = Callable[[Question], Union[bool, str, None]]
# Opens a source anew for each reading: with the specification's Database and Table; columns, and rows.
OpenSource = Callable[[str, str], "tuple[Sequence[str], Iterable[Row]]"]


class Library(Calls):
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
        super().__init__(plugins)
        if home is not None:
            self._set_option("home", os.fspath(home))
        if user is not None:
            self._set_option("user", user)
        if ask is not None:
            self._set_ask(ask)

    @property
    def closed(self) -> bool:
        """Whether `close` was called. Everything that was made with a closed library is closed, too."""
        return self.is_closed()

    def close(self) -> None:
        """Ends what is open; an import that has not run is cancelled. Closing twice is no error.

        Busy from within a callback. A forked process only forgets it: what is open is its parent's.
        """
        self.end()

    def __enter__(self) -> Library:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    # --- What to work with ---

    def connect(self, connection_string: Path) -> Connection:
        """Opens "host.sqlite", "postgresql://...", "Provider=SQLite;Data Source=...", and what else the library knows.

        Failed (3706) where nothing serves the string, (3000) with the database's reason where opening fails.
        """
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
        stops nothing; `working_folder` is for the working copy, else beside the specification. What is left out is
        what the library has (`user`) or the import's own file tells (`application`). Refused where it is not found,
        Failed where its files cannot be read or written.
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
        """A file, to be read and changed. Failed (53) where it is missing, (70, 57 or 75) where it cannot be read."""
        return Specification(self, self.call_for_handle("specification_open", _native.text_in(os.fspath(path))))

    def new_specification(self) -> Specification:
        """An empty one without a file."""
        return Specification(self, self.call_for_handle("specification_create"))

    def specifications(self, folder: Path | None = None, *, templates: bool = False) -> list[SpecificationEntry]:
        """Those of a folder, by file name; without one those of the component's own.

        Files that cannot be read are left out. Failed (76) for a folder that there is not.
        """
        text = _native.text_in(_path(folder))
        with Recordset(self, self.call_for_handle("specification_list", text, int(templates))) as rows:
            return [SpecificationEntry(*(value or "" for value in row)) for row in rows]

    # --- What imports did ---

    def runs(self, connection: Connection, *, ledger: str = "") -> list[dict[str, str | None]]:
        """The runs that the host's ledger knows, the first one first, by the ledger's own columns.

        `ledger` is the identifier of the host's component; without one that of the sample host. Failed (429) where
        it is missing, (3000) where the database has no ledger.
        """
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
        """Takes a run back; what somebody changed since stays, unless `take_changes`.

        `run` is its number in the ledger (`RunResult.run_number`). With `dry_run` nothing stays changed. `progress`
        is called behind each part, with records of the run that are done and all of them; what it raises stops the
        undo and comes out, and another undo goes on there. Failed (5) for a run that cannot be taken back.
        """
        return undo(self, connection, run, dry_run, take_changes, ledger, progress)

    # --- Components and sources of Python ---

    def register(self, identifier: str, import_class: type[ImportClass]) -> None:
        """Import classes of that identifier are made of the Python class from now on: a new one for each import.

        Identifiers are compared without case; a later registration replaces an earlier one.
        """
        register_import_class(self, identifier, import_class)

    def register_component(
        self,
        identifier: str,
        create: Callable[[], Any],
        members: Mapping[str, Callable[[Any, Call], Value]],
    ) -> None:
        """A component of any kind (log, settings, duplicate keys): functions by the names of its members.

        `create` makes an object; each function is called with it and the call, and returns the member's result.
        """
        register_component(self, identifier, create, members)

    def register_source(self, name: str, open_source: OpenSource) -> None:
        """Specifications that name it as Provider read what `open_source` delivers.

        It is called anew for each reading of columns or records. Failed (5) for a name that there is already.
        """

        def open_native(_context: Any, _library: Any, database: Any, table: Any, handle: Any) -> None:
            columns, rows = open_source(_native.text_of(database), _native.text_of(table))
            handle[0] = stream(self, columns, rows)

        function = carried(self, _native.OpenSourceFunction, open_native)
        source = _native.Source(name=_native.text_in(name), open=function)
        self.keep(function)
        self.call("source_register", ctypes.byref(source))

    # --- Stopping ---

    def stop(self) -> bool:
        """From any thread: asks the import or undo under way to stop, before its next record or part.

        False where nothing is under way.
        """
        return self.ask_to_stop()

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
