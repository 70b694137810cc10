"""What imports did, by the ledger that a host keeps, and taking it back."""

from __future__ import annotations

import ctypes
from typing import TYPE_CHECKING, Any, Callable, NamedTuple

from . import _native
from ._callbacks import carried
from .connections import Connection
from .records import Recordset

if TYPE_CHECKING:
    from .library import Library


class UndoResult(NamedTuple):
    """What was taken back."""

    total: int  # records of the run with which there was anything to do
    done: int  # those of them that were worked through
    removed: int  # addresses that the run had added
    restored: int  # addresses that have again what the run had replaced
    complete: bool  # False where it was stopped; another undo goes on there
    left_alone: list[dict[str, str | None]]  # what was changed since and stays


def runs(library: Library, connection: Connection, ledger: str) -> list[dict[str, str | None]]:
    handle = library.call_for_handle("runs", connection.handle, _native.text_in(ledger))
    with Recordset(library, handle) as rows:
        return list(rows.dicts())


def undo(
    library: Library,
    connection: Connection,
    run: int,
    dry_run: bool,
    take_changes: bool,
    ledger: str,
    progress: Callable[[int, int], None] | None,
) -> UndoResult:
    def tell(_context: Any, done: int, total: int) -> None:
        if progress is not None:
            progress(done, total)

    settings = _native.UndoSettings(
        run=run,
        dry_run=int(dry_run),
        take_changes=int(take_changes),
        ledger=_native.text_in(ledger),
        # Told in any case, as Python notices Ctrl-C in its own functions only.
        progress=carried(library, _native.UndoProgressFunction, tell),
    )
    result = _native.UndoResult()
    with library.stopped_by_interrupt():
        handle = library.call_for_handle("undo", connection.handle, ctypes.byref(settings), ctypes.byref(result))
        with Recordset(library, handle) as rows:
            left_alone = list(rows.dicts())
    return UndoResult(
        result.total, result.done, result.removed, result.restored, result.complete != 0, left_alone
    )
