"""Imports: opened, checked, looked at and run."""

from __future__ import annotations

import ctypes
import struct
from enum import Enum
from typing import TYPE_CHECKING, Any, Callable, NamedTuple, Sequence

from . import _native
from ._callbacks import carried
from .objects import Object
from .records import Recordset

if TYPE_CHECKING:
    from .connections import Connection


class Fate(Enum):
    """What became of a record."""

    STORED = 0  # handed to the import class, and no loss told
    UPDATED = 1  # stored, and it replaced what an address held
    HELD_BACK = 2  # suspected to be a duplicate
    REJECTED = 3  # refused, lost, or not handed over as it could not be made
    CHECKED = 4  # a test run: only read and checked


class SourceState(Enum):
    """How reading the source ended."""

    CLOSED = 0  # it was not opened
    NOT_OPENED = 1  # it could not be opened
    OPEN = 2  # somewhere before its end
    AT_END = 3  # all its records were seen
    BROKEN_OFF = 4  # it ended before its last record


class Finding(NamedTuple):
    """Something wrong or suspicious in specification, source or destination."""

    severity: str  # "error", "warning" or "note"
    section: str  # of the specification
    key: str  # empty for the whole section
    field: str  # of the destination; empty where no single one is meant
    text: str  # German sentences
    way_out: str  # German: what to do about it; may be empty
    occurrences: int  # in the source's data: how many values or records it is about; else 0
    replacement: str  # of an assigned column that has gone: the one that could take its place; may be empty


def finding_of(row: Sequence[str | None]) -> Finding:
    """As the library tells it."""
    severity, section, key, field, text, way_out, count, replacement = (value or "" for value in row)
    return Finding(severity, section, key, field, text, way_out, int(count or 0), replacement)


class RecordProblem(NamedTuple):
    """An error of a record."""

    number: int  # of the component, or the import class's own
    text: str  # German
    field: str  # of the destination; empty where it is not one field's
    source_column: str  # empty for a constant
    raw_value: str  # as the source delivered it
    function: str  # the member of the import class that told it; empty: the run's own


class Match(NamedTuple):
    """The address that a record held back is held to repeat, as far as the host told."""

    key: int  # 1 to 3: the first key in use that both have
    address_type: int  # its list, as one bit
    address: str  # its number
    name: str  # as the import class tells it
    place: str  # likewise
    reason: str  # German, as the duplicate keys tell it
    record: int  # of this run that stored it; 0: none
    score: float  # in per cent


class Outcome(NamedTuple):
    """What became of one record."""

    record: int  # of the source, from 1
    fate: Fate  # a revision may tell another one later
    errors: tuple[RecordProblem, ...]  # an error need not reject the record
    cut_fields: tuple[str, ...]  # shorter than their value
    address: str  # the number of the address stored; empty where the import class does not tell
    match: Match | None  # of a record held back


class Revision(NamedTuple):
    """An error that belongs to records told before, or to none; another fate of records told before."""

    first: int  # source records, both included; 0: none is named
    last: int  # 0 where `first` is
    fate: Fate  # theirs from now on
    revised: int  # how many outcomes it changes
    error: RecordProblem | None  # what was told of them, if anything was


class RunResult(NamedTuple):
    """What a run has come to: records, unless told otherwise.

    read = stored_new + updated + held_back + rejected + checked
    """

    read: int  # worked through
    stored_new: int  # new addresses
    updated: int  # stored, and they replaced what an address held
    held_back: int  # suspected to be duplicates
    rejected: int  # refused, lost, or not handed over as they could not be made
    checked: int  # of a test run: those that would be stored
    errors: int  # errors told, of which a record may have several
    cut_values: int  # values that were longer than their field
    total: int | None  # what the source said it has; None where it could not tell
    skipped: int  # before the first record asked for
    unlogged: int  # errors that the log did not take
    rejects: int  # how many records were kept as not stored
    next_record: int  # to go on with, where the source's end was not reached; 0: none
    stopped: bool  # somebody asked for it
    cancelled: bool  # the import class did
    source_state: SourceState  # how reading the source ended
    message: str  # of the closing box
    source_error: str  # why reading ended early; else empty
    stop_reason: str  # why no further record was read; else empty
    source_kept: str  # why the source was not removed although that was asked for; else empty
    rejects_error: str  # what could not be kept or written, and why; else empty
    run_number: int  # in the ledger that the import class keeps, as Library.undo wants it; 0 where it keeps none


class Preview(NamedTuple):
    """The first records of a source."""

    columns: list[str]  # their names
    rows: list[tuple[str, ...]]  # a text a column
    unreadable: list[Finding]  # values that could not be read; they are empty


class Job(Object):
    """An import specification that is open. Closing ends it; an import that has not run is cancelled."""

    _result: RunResult | None = None
    _tell: Any = None

    def open(
        self,
        specification: str,
        *,
        connection: Connection | None = None,
        source: str = "",
        folder: str = "",
        working_folder: str = "",
        user: str = "",
        application: int | None = None,
        tell: Callable[[str], None] | None = None,
    ) -> None:
        """Ends what was open and opens another; see Library.open."""
        order = _native.Order(
            specification=_native.text_in(specification),
            folder=_native.text_in(folder),
            source_file=_native.text_in(source),
            working_folder=_native.text_in(working_folder),
            host_connection=0 if connection is None else connection.handle,
            user=_native.text_in(user),
            has_application=0 if application is None else 1,
            application=application or 0,
        )
        told = None
        if tell is not None:
            said = tell

            def tell_native(_context: Any, text: Any) -> None:
                try:
                    said(_native.text_of(text))
                except BaseException as error:  # noqa: B902 - nothing may pass through C
                    self._library.carry(error)

            told = order.tell = _native.TellOrderFunction(tell_native)
        self._library.call("job_open", self.handle, ctypes.byref(order))
        self._tell = told

    def check(self, *, all_records: bool = False, values: bool = False) -> list[Finding]:
        """Everything wrong or suspicious, in the order specification, source, destination, data.

        `all_records` looks at every record of a file, which takes as long as reading it; `values` at every value, too, as
        a run would take it, and asks the import class about every record. Nothing is stored.
        """
        depth = _native.CHECK_VALUES if values else int(all_records)
        with self._library.stopped_by_interrupt():
            handle = self._library.call_for_handle("job_check", self.handle, depth)
            return self._findings(handle)

    def columns(self) -> list[str]:
        """Of the source. Refused where it cannot be opened."""
        with Recordset(self._library, self._library.call_for_handle("job_columns", self.handle)) as rows:
            return [name or "" for (name,) in rows]

    def preview(self, most: int = 20) -> Preview:
        """The first records of the source, at most so many, as texts. Refused where it cannot be opened."""
        unreadable = _native.Handle()
        recordset = _native.Handle()
        self._library.call(
            "job_preview", self.handle, most, ctypes.byref(recordset), ctypes.byref(unreadable)
        )
        findings = self._findings(unreadable.value)
        with Recordset(self._library, recordset.value) as rows:
            return Preview(list(rows.columns), [tuple(text or "" for text in row) for row in rows], findings)

    def run(
        self,
        *,
        test: bool = False,
        despite_findings: bool = False,
        first: int = 1,
        most_errors: int = 0,
        most_same_errors: int = 0,
        keep_rejects: bool = False,
        rejects_file: str = "",
        progress: Callable[[float, str], None] | None = None,
        record: Callable[[Outcome], None] | None = None,
        every_record: bool = False,
        revision: Callable[[Revision], None] | None = None,
        tell: Callable[[str], None] | None = None,
    ) -> RunResult:
        """Runs the import; returns when it is over, and `open` begins another. Refused where it does not begin.

        `test` only reads and checks. `despite_findings` refuses only what makes the run impossible. `first` is the
        source record to begin with, from 1. The run stops once it has counted `most_errors`, or once the import class
        has refused its first `most_same_errors` records with one and the same error; 0 is any number. What is not
        stored is kept for `save_rejects` (`keep_rejects`), or written to `rejects_file` by the run itself.

        `progress` is called with per cent and text some times a second; `record` with each record that was not
        simply stored or checked, or, by `every_record`, with each; `revision` with what is found out later of records
        told before; `tell` with what stands in no log. Where one of
        them raises, or an import class or a source in Python, the run stops, and that is raised; `result` has then
        what was done till then.
        """
        self._result = None
        settings = _native.RunSettings(
            test=int(test),
            despite_findings=int(despite_findings),
            most_errors=most_errors,
            most_same_errors=most_same_errors,
            keep_rejects=int(keep_rejects),
            rejects_file=_native.text_in(rejects_file),
            **{"from": first},
        )
        view = self._view(progress, record, every_record, revision, tell)
        native = _native.RunResult()
        with self._library.stopped_by_interrupt():
            try:
                self._library.call(
                    "job_run", self.handle, ctypes.byref(settings), ctypes.byref(view), ctypes.byref(native)
                )
            finally:
                # Not filled where it has not begun.
                if native.message.data is not None:
                    self._result = _result_of(native)
        assert self._result is not None
        return self._result

    @property
    def result(self) -> RunResult | None:
        """Of the last run, also where it has raised; None where none has begun."""
        return self._result

    def stop(self) -> bool:
        """From any thread: asks the run under way to stop before its next record. False where none is."""
        return self._library.stop()

    def cancel(self) -> None:
        """Ends what is open without a run; during one it asks that to stop."""
        self._library.call("job_cancel", self.handle)

    def save_rejects(self, path: str) -> None:
        """Writes what the last run did not store to a file that can be imported in the source's place.

        Of a text file the source's own lines, else CSV, with two more columns, "Grund" and "Datensatz". Failed (5)
        where the run kept nothing, (70) for the source or the specification itself.
        """
        self._library.call("job_save_rejects", self.handle, _native.text_in(path))

    def _findings(self, handle: int) -> list[Finding]:
        with Recordset(self._library, handle) as rows:
            return [finding_of(row) for row in rows]

    def _view(
        self,
        progress: Callable[[float, str], None] | None,
        record: Callable[[Outcome], None] | None,
        every_record: bool,
        revision: Callable[[Revision], None] | None,
        tell: Callable[[str], None] | None,
    ) -> _native.RunView:
        def show(_context: Any, percent: float, text: Any) -> None:
            if progress is not None:
                progress(percent, _native.text_of(text))

        # Progress is told in any case, as Python notices Ctrl-C in its own functions only.
        view = _native.RunView(
            progress=carried(self._library, _native.ProgressFunction, show), every_record=int(every_record)
        )
        if record is not None:
            told_of = record

            def tell_record(_context: Any, address: int) -> None:
                told_of(_outcome_at(address))

            view.record = carried(self._library, _native.RecordFunction, tell_record)
        if revision is not None:
            revised = revision

            def tell_revision(_context: Any, native: Any) -> None:
                revised(_revision_of(native.contents))

            view.revision = carried(self._library, _native.RevisionFunction, tell_revision)
        if tell is not None:
            said = tell

            def tell_text(_context: Any, text: Any) -> None:
                said(_native.text_of(text))

            view.tell = carried(self._library, _native.TellFunction, tell_text)
        return view


# Looked up per record, where the enumeration's own call is slow.
_FATES = tuple(Fate)


def _problem_of(native: Any) -> RecordProblem:
    text = _native.text_of
    return RecordProblem(
        native.number,
        text(native.text),
        text(native.field),
        text(native.source_column),
        text(native.raw_value),
        text(native.function),
    )


# The head of a kestrel_outcome, up to its address; one look at the bytes is much less than one a member.
_HEAD = struct.Struct("@NqiiNPNPPN")
assert _HEAD.size == _native.Outcome.duplicate_type.offset


_TEXT = struct.Struct("@PN")


def _outcome_at(address: int) -> Outcome:
    _size, record, number, _key, error_count, errors_at, cut_count, cuts_at, address_at, address_length = (
        _HEAD.unpack(ctypes.string_at(address, _HEAD.size))
    )
    fate = _FATES[number]
    errors: tuple[RecordProblem, ...] = ()
    cut_fields: tuple[str, ...] = ()
    if error_count:
        native_errors = (_native.RecordError * error_count).from_address(errors_at)
        errors = tuple(_problem_of(error) for error in native_errors)
    if cut_count:
        fields = _TEXT.iter_unpack(ctypes.string_at(cuts_at, _TEXT.size * cut_count))
        cut_fields = tuple(ctypes.string_at(text_at, length).decode() for text_at, length in fields)
    stored_as = ctypes.string_at(address_at, address_length).decode() if address_length else ""
    match = _match_of(_native.Outcome.from_address(address)) if fate is Fate.HELD_BACK else None
    return Outcome(record, fate, errors, cut_fields, stored_as, match)


def _match_of(native: Any) -> Match:
    text = _native.text_of
    return Match(
        native.duplicate_key,
        native.duplicate_type,
        text(native.duplicate_address),
        text(native.duplicate_name),
        text(native.duplicate_place),
        text(native.duplicate_reason),
        native.duplicate_record,
        native.duplicate_score,
    )


def _revision_of(native: Any) -> Revision:
    error = _problem_of(native.error.contents) if native.error else None
    return Revision(native.first, native.last, _FATES[native.fate], native.revised, error)


def _result_of(native: _native.RunResult) -> RunResult:
    def convert(name: str) -> Any:
        value = getattr(native, name)
        if isinstance(value, _native.Text):
            return _native.text_of(value)
        if name in ("stopped", "cancelled"):
            return value != 0
        if name == "source_state":
            return SourceState(value)
        return None if name == "total" and value < 0 else value

    return RunResult(*(convert(name) for name in RunResult._fields))
