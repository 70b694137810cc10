"""Connections to databases of every kind that the library knows."""

from __future__ import annotations

import contextlib
import ctypes
from typing import Iterator

from . import _native
from ._values import Value, Values
from .objects import Object
from .records import Recordset


class Connection(Object):
    """A database, of whatever kind. '?' marks a parameter in every statement.

    Closing ends the connection for all who have it.
    """

    def execute(self, sql: str, *parameters: Value) -> int:
        """One statement that returns no rows; the number of rows changed.

        Failed (3000) with the database's reason, (438) where a source can only be read.
        """
        changed = ctypes.c_int64()
        values = Values(parameters)
        self._library.call(
            "connection_execute",
            self.handle,
            _native.text_in(sql),
            values.array,
            len(parameters),
            ctypes.byref(changed),
        )
        return changed.value

    def query(self, sql: str, *parameters: Value) -> Recordset:
        """One query; the record set is at its first row. Failed (3000) with the database's reason."""
        values = Values(parameters)
        handle = self._library.call_for_handle(
            "connection_query", self.handle, _native.text_in(sql), values.array, len(parameters)
        )
        return Recordset(self._library, handle)

    def begin(self) -> None:
        """Begins a transaction. They do not nest: Failed (3000)."""
        self._library.call("connection_begin", self.handle)

    def commit(self) -> None:
        """One that fails has rolled back."""
        self._library.call("connection_commit", self.handle)

    def rollback(self) -> None:
        """Takes back what was done since begin."""
        self._library.call("connection_rollback", self.handle)

    @contextlib.contextmanager
    def transaction(self) -> Iterator[None]:
        """Commits what its block has done; takes it back where the block raises."""
        self.begin()
        try:
            yield
        except BaseException:
            self.rollback()
            raise
        self.commit()

    def tables(self) -> list[tuple[str, str]]:
        """Names and types ("TABLE", "VIEW", ...)."""
        with Recordset(self._library, self._library.call_for_handle("connection_tables", self.handle)) as rows:
            return [(name or "", kind or "") for name, kind in rows]

    def columns(self, table: str) -> list[str]:
        """The columns of a table, in their order. Failed (3000) for one that there is not."""
        text = _native.text_in(table)
        with Recordset(
            self._library, self._library.call_for_handle("connection_columns", self.handle, text)
        ) as rows:
            return [name or "" for (name,) in rows]

    def close(self) -> None:
        """For all who have it; what was begun is rolled back. Closing twice is no error."""
        if not self.closed:
            self._library.call("connection_close", self.handle)
        super().close()
