"""Databases that Python reaches itself, as connections."""

from __future__ import annotations

import ctypes
from typing import TYPE_CHECKING, Any, Protocol, Sequence

from . import _native
from ._callbacks import carried
from ._values import of_native
from .records import stream

if TYPE_CHECKING:
    from .library import Library


class Cursor(Protocol):
    """As PEP 249 has it."""

    @property
    def description(self) -> Sequence[Sequence[Any]] | None: ...

    @property
    def rowcount(self) -> int: ...

    def execute(self, sql: str, parameters: Any = ..., /) -> Any: ...

    def fetchall(self) -> list[Any]: ...

    def close(self) -> None: ...


class Database(Protocol):
    """A connection as PEP 249 has it, whose statements mark parameters with '?', as those of sqlite3 do."""

    def cursor(self) -> Any:
        """A new one, with execute, fetchall, close, description and rowcount."""

    def commit(self) -> None:
        """Behind each statement that stands alone, and each transaction of the library's."""

    def rollback(self) -> None:
        """Where a transaction of the library's fails."""


def adopt(library: Library, database: Database) -> int:
    """The handle of a connection that does not close the database."""
    # PEP 249 begins one with the first statement; the library wants a statement by itself to be kept at once.
    is_in_transaction = False

    def run(sql: Any, parameters: Any, count: int) -> Cursor:
        cursor: Cursor = database.cursor()
        cursor.execute(_native.text_of(sql), [of_native(library, parameters[i], lent=True) for i in range(count)])
        return cursor

    def execute(_context: Any, _library: Any, sql: Any, parameters: Any, count: int, changed: Any) -> None:
        cursor = run(sql, parameters, count)
        changed[0] = max(cursor.rowcount, 0)
        cursor.close()
        if not is_in_transaction:
            database.commit()

    def deliver(cursor: Cursor, recordset: Any) -> None:
        names = [str(column[0]) for column in cursor.description or ()]
        recordset[0] = stream(library, names, cursor.fetchall())
        cursor.close()

    def query(_context: Any, _library: Any, sql: Any, parameters: Any, count: int, recordset: Any) -> None:
        deliver(run(sql, parameters, count), recordset)

    def columns(_context: Any, _library: Any, table: Any, recordset: Any) -> None:
        cursor: Cursor = database.cursor()
        name = _native.text_of(table).replace('"', '""')
        cursor.execute(f'SELECT * FROM "{name}" WHERE 1 = 0')
        recordset[0] = stream(library, ["Name"], [[column[0]] for column in cursor.description or ()])
        cursor.close()

    def begin(_context: Any, _library: Any) -> None:
        nonlocal is_in_transaction
        is_in_transaction = True

    def commit(_context: Any, _library: Any) -> None:
        nonlocal is_in_transaction
        is_in_transaction = False
        try:
            database.commit()
        except BaseException:
            database.rollback()
            raise

    def rollback(_context: Any, _library: Any) -> None:
        nonlocal is_in_transaction
        is_in_transaction = False
        database.rollback()

    def close(_context: Any) -> None:
        library.drop(functions)

    functions = _native.Database(
        execute=carried(library, _native.ExecuteFunction, execute),
        query=carried(library, _native.QueryFunction, query),
        begin=carried(library, _native.TransactionFunction, begin),
        commit=carried(library, _native.TransactionFunction, commit),
        rollback=carried(library, _native.TransactionFunction, rollback),
        columns=carried(library, _native.ColumnsFunction, columns),
        close=_native.CloseFunction(close),
    )
    library.keep(functions)
    return library.call_for_handle("connection_create", ctypes.byref(functions))
