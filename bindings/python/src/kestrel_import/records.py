"""Record sets: read by iterating, made of what Python can iterate over."""

from __future__ import annotations

import ctypes
from typing import TYPE_CHECKING, Any, Iterable, Iterator, Mapping, Sequence, Union

from . import _native
from ._callbacks import carried
from ._values import Value, of_native
from .objects import Object

if TYPE_CHECKING:
    from .library import Library

# The values of a record: in the order of the columns, or by their names.
Row = Union[Sequence[Value], Mapping[str, Value]]


class Recordset(Object):
    """Iterating goes from the current row to the end; each row is a tuple of texts, None where there is no value."""

    _columns: tuple[str, ...] | None = None

    @property
    def columns(self) -> tuple[str, ...]:
        """Their names, as the source has them; two may share one."""
        if self._columns is None:
            count = ctypes.c_size_t()
            self._library.call("recordset_column_count", self.handle, ctypes.byref(count))
            self._columns = tuple(
                self._library.call_for_text("recordset_column_name", self.handle, column)
                for column in range(count.value)
            )
        return self._columns

    def __iter__(self) -> Iterator[tuple[str | None, ...]]:
        count = len(self.columns)
        texts = (_native.Text * max(count, 1))()
        while not self.at_end:
            self._library.call("recordset_row", self.handle, texts, count)
            yield tuple(_native.text_or_none(text) for text in texts[:count])
            self._library.call("recordset_next", self.handle)

    def dicts(self) -> Iterator[dict[str, str | None]]:
        """The same rows by the names of their columns."""
        for row in self:
            yield dict(zip(self.columns, row))

    def values(self) -> Iterator[tuple[Value, ...]]:
        """The same rows with numbers and booleans as such."""
        count = len(self.columns)
        while not self.at_end:
            yield tuple(self.value(column) for column in range(count))
            self._library.call("recordset_next", self.handle)

    def value(self, column: int) -> Value:
        """Of the current row, by its column from 0. Failed (9) for a column that there is not, (3021) at the end."""
        native = _native.Value()
        self._library.call("recordset_get", self.handle, column, ctypes.byref(native))
        return of_native(self._library, native)

    @property
    def at_end(self) -> bool:
        """Whether there is no current row."""
        at_end = ctypes.c_int32()
        self._library.call("recordset_at_end", self.handle, ctypes.byref(at_end))
        return at_end.value != 0

    @property
    def count(self) -> int | None:
        """How many rows there are; None where the source cannot tell without reading everything."""
        count = ctypes.c_int64()
        self._library.call("recordset_count", self.handle, ctypes.byref(count))
        return None if count.value < 0 else count.value

    def first(self) -> None:
        """Back to the first row. Failed (438) where the rows can be had only once."""
        self._library.call("recordset_first", self.handle)


class _Stream:
    """Rows of Python for the library, one at a time."""

    def __init__(self, library: Library, columns: Sequence[str], rows: Iterable[Row]) -> None:
        self._library = library
        self._columns = columns
        self._rows = rows
        self._iterator = iter(rows)
        self._kept: list[Any] = []
        self.functions = _native.Stream(
            next=carried(library, _native.NextFunction, self._next),
            close=_native.CloseFunction(self._close),
        )
        # An iterator is its own: it cannot begin anew.
        if self._iterator is not rows:
            self.functions.rewind = carried(library, _native.RewindFunction, self._rewind)

    def _next(self, _context: Any, _library: Any, row: Any, count: int, at_end: Any) -> None:
        try:
            values = next(self._iterator)
        except StopIteration:
            at_end[0] = 1
            return
        self._kept.clear()
        if isinstance(values, Mapping):
            values = [values.get(column) for column in self._columns]
        for column, value in zip(range(count), values):
            if value is None:
                continue
            text = value if isinstance(value, str) else self._library.text_of_value(value)
            content = text.encode()
            self._kept.append(content)
            row[column].data = content
            row[column].length = len(content)

    def _rewind(self, _context: Any, _library: Any) -> None:
        self._iterator = iter(self._rows)

    def _close(self, _context: Any) -> None:
        close = getattr(self._iterator, "close", None)
        if callable(close) and self._iterator is not self._rows:
            close()
        self._library.drop(self)


def stream(library: Library, columns: Sequence[str], rows: Iterable[Row]) -> int:
    """The handle of a record set of these rows."""
    made = _Stream(library, columns, rows)
    names = (_native.TextIn * max(len(columns), 1))(*(_native.text_in(column) for column in columns))
    library.keep(made)
    return library.call_for_handle("recordset_stream", names, len(columns), ctypes.byref(made.functions))


def empty_recordset(library: Library, columns: Sequence[tuple[str, int]]) -> int:
    """The handle of one in memory, without rows: names of columns and the characters that fit them, 0 any."""
    native = (_native.Column * len(columns))()
    for column, (name, length) in zip(native, columns):
        column.__init__(name=_native.text_in(name), kind=_native.STRING, length=length)
    return library.call_for_handle("recordset_create", native, len(columns))

