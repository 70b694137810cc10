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
    """'?' marks a parameter in every statement. Closing ends the connection for all who have it."""

    def execute(self, sql: str, *parameters: Value) -> int:
        """One statement that returns no rows; the number of rows changed."""
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
        values = Values(parameters)
        handle = self._library.call_for_handle(
            "connection_query", self.handle, _native.text_in(sql), values.array, len(parameters)
        )
        return Recordset(self._library, handle)

    def begin(self) -> None:
        self._library.call("connection_begin", self.handle)

    def commit(self) -> None:
        self._library.call("connection_commit", self.handle)

    def rollback(self) -> None:
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
        text = _native.text_in(table)
        with Recordset(
            self._library, self._library.call_for_handle("connection_columns", self.handle, text)
        ) as rows:
            return [name or "" for (name,) in rows]

    def close(self) -> None:
        if not self.closed:
            self._library.call("connection_close", self.handle)
        super().close()
