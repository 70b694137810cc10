"""KESTREL Import for Python: address records from files and databases into the database of your application.

    import kestrel_import

    with kestrel_import.Library() as library:
        with library.connect("host.sqlite") as host, library.open("Kunden", connection=host) as job:
            result = job.run()
            print(result.message, result.stored_new)
"""

from . import _native
from ._values import Value
from ._version import __version__
from .components import Call, Field, ImportClass, Record, RecordRefused, StopImport, Stored
from .connections import Connection
from .databases import Database
from .errors import Busy, Closed, Failed, KestrelError, Misuse, Refused, WrongThread
from .jobs import (
    Fate,
    Finding,
    Job,
    Match,
    Outcome,
    Preview,
    RecordProblem,
    Revision,
    RunResult,
    SourceState,
)
from .ledger import UndoResult
from .library import Library, Question
from .objects import Object, Ref
from .records import Recordset
from .specifications import Specification, SpecificationEntry


def version() -> str:
    """Of the library that is loaded."""
    text: bytes = _native.functions().version()
    return text.decode()


__all__ = [
    "Busy",
    "Call",
    "Closed",
    "Connection",
    "Database",
    "Failed",
    "Fate",
    "Field",
    "Finding",
    "ImportClass",
    "Job",
    "KestrelError",
    "Library",
    "Match",
    "Misuse",
    "Object",
    "Outcome",
    "Preview",
    "Question",
    "Record",
    "RecordProblem",
    "RecordRefused",
    "Recordset",
    "Ref",
    "Refused",
    "Revision",
    "RunResult",
    "SourceState",
    "Specification",
    "SpecificationEntry",
    "StopImport",
    "Stored",
    "UndoResult",
    "Value",
    "WrongThread",
    "__version__",
    "version",
]
