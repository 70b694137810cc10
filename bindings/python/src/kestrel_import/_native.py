"""The C interface as it stands in kestrel/kestrel.h: its structs, its functions, and where the library is.

Texts go in as TextIn, which keeps the bytes it points to, and come out as Text, which must be copied at once.
"""

from __future__ import annotations

import ctypes
import os
from ctypes import CFUNCTYPE, POINTER, c_char_p, c_double, c_int32, c_int64, c_size_t, c_uint32, c_uint64, c_void_p
from typing import TYPE_CHECKING, Any

ABI_VERSION = 3

OK, FAILED, REFUSED, INVALID_HANDLE, WRONG_THREAD, WRONG_SIZE, INVALID_ARGUMENT, BUSY, INCOMPATIBLE = range(9)
(UNSET, NULL, MISSING, BOOLEAN, INTEGER, DOUBLE, DECIMAL, DATE, STRING, BYTES, OBJECT) = range(11)
METHOD, GET, LET, SET = 1, 2, 4, 8
CHECK_VALUES = 2
TELL, ASK_YES_NO, ASK_TEXT, ASK_FILE, ASK_FOLDER = range(5)

Handle = c_uint64


class Struct(ctypes.Structure):
    """One that begins with its size, which is set when it is made."""

    if TYPE_CHECKING:

        def __getattr__(self, name: str) -> Any: ...

        def __setattr__(self, name: str, value: Any) -> None: ...

    def __init__(self, **members: Any) -> None:
        super().__init__(size=ctypes.sizeof(self), **members)


class TextIn(ctypes.Structure):
    _fields_ = [("data", c_char_p), ("length", c_size_t)]


class Text(ctypes.Structure):
    _fields_ = [("data", c_void_p), ("length", c_size_t)]

    if TYPE_CHECKING:
        data: Any
        length: Any


def text_in(text: str) -> TextIn:
    content = text.encode()
    return TextIn(content, len(content))


def text_or_none(text: Text) -> str | None:
    if text.data is None:
        return None
    return ctypes.string_at(text.data, text.length).decode()


def text_of(text: Text) -> str:
    return text_or_none(text) or ""


class LibraryOptions(Struct):
    _fields_ = [("size", c_size_t), ("abi_version", c_uint32), ("without_plugins", c_int32)]


class Error(Struct):
    _fields_ = [("size", c_size_t), ("status", c_int32), ("number", c_int32), ("description", Text)]


class Date(ctypes.Structure):
    _fields_ = [
        ("year", ctypes.c_int16),
        ("month", ctypes.c_uint8),
        ("day", ctypes.c_uint8),
        ("hour", ctypes.c_uint8),
        ("minute", ctypes.c_uint8),
        ("second", ctypes.c_uint8),
        ("reserved", ctypes.c_uint8),
    ]

    if TYPE_CHECKING:

        def __getattr__(self, name: str) -> Any: ...


class ValueUnion(ctypes.Union):
    _fields_ = [
        ("boolean", c_int32),
        ("integer", c_int64),
        ("real", c_double),
        ("text", Text),
        ("date", Date),
        ("object", Handle),
    ]


class Value(Struct):
    _fields_ = [("size", c_size_t), ("kind", c_int32), ("reserved", c_int32), ("content", ValueUnion)]


class Call(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("library", c_void_p),
        ("use", c_int32),
        ("reserved", c_int32),
        ("argument_count", c_size_t),
        ("arguments", POINTER(Value)),
    ]


MemberFunction = CFUNCTYPE(c_int32, c_void_p, POINTER(Call))
CreateFunction = CFUNCTYPE(c_int32, c_void_p, c_void_p, POINTER(c_void_p))
DestroyFunction = CFUNCTYPE(None, c_void_p)


class Member(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("name", TextIn),
        ("uses", c_int32),
        ("reserved", c_int32),
        ("function", MemberFunction),
    ]


class Component(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("identifier", TextIn),
        ("members", POINTER(Member)),
        ("member_count", c_size_t),
        ("context", c_void_p),
        ("create", CreateFunction),
        ("destroy", DestroyFunction),
    ]


class Column(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("name", TextIn),
        ("kind", c_int32),
        ("reserved", c_int32),
        ("length", c_size_t),
    ]


NextFunction = CFUNCTYPE(c_int32, c_void_p, c_void_p, POINTER(TextIn), c_size_t, POINTER(c_int32))
RewindFunction = CFUNCTYPE(c_int32, c_void_p, c_void_p)
CloseFunction = CFUNCTYPE(None, c_void_p)


class Stream(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("context", c_void_p),
        ("record_count", c_int64),
        ("next", NextFunction),
        ("rewind", RewindFunction),
        ("close", CloseFunction),
    ]


OpenSourceFunction = CFUNCTYPE(c_int32, c_void_p, c_void_p, Text, Text, POINTER(Handle))


class Source(Struct):
    _fields_ = [("size", c_size_t), ("name", TextIn), ("context", c_void_p), ("open", OpenSourceFunction)]


ExecuteFunction = CFUNCTYPE(c_int32, c_void_p, c_void_p, Text, POINTER(Value), c_size_t, POINTER(c_int64))
QueryFunction = CFUNCTYPE(c_int32, c_void_p, c_void_p, Text, POINTER(Value), c_size_t, POINTER(Handle))
TransactionFunction = CFUNCTYPE(c_int32, c_void_p, c_void_p)
TablesFunction = CFUNCTYPE(c_int32, c_void_p, c_void_p, POINTER(Handle))
ColumnsFunction = CFUNCTYPE(c_int32, c_void_p, c_void_p, Text, POINTER(Handle))


class Database(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("context", c_void_p),
        ("execute", ExecuteFunction),
        ("query", QueryFunction),
        ("begin", TransactionFunction),
        ("commit", TransactionFunction),
        ("rollback", TransactionFunction),
        ("tables", TablesFunction),
        ("columns", ColumnsFunction),
        ("close", CloseFunction),
    ]


class Question(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("kind", c_int32),
        ("icon", c_int32),
        ("text", Text),
        ("title", Text),
        ("filter", Text),
        ("start", Text),
    ]


AskFunction = CFUNCTYPE(c_int32, c_void_p, c_void_p, POINTER(Question), POINTER(c_int32))


class UserInterface(Struct):
    _fields_ = [("size", c_size_t), ("context", c_void_p), ("ask", AskFunction)]


TellOrderFunction = CFUNCTYPE(None, c_void_p, Text)


class Order(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("specification", TextIn),
        ("folder", TextIn),
        ("source_file", TextIn),
        ("working_folder", TextIn),
        ("host_connection", Handle),
        ("user", TextIn),
        ("has_application", c_int32),
        ("application", c_int32),
        ("context", c_void_p),
        ("tell", TellOrderFunction),
    ]


class RunSettings(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("test", c_int32),
        ("despite_findings", c_int32),
        ("from", c_int32),
        ("most_errors", c_int32),
        ("most_same_errors", c_int32),
        ("keep_rejects", c_int32),
        ("rejects_file", TextIn),
    ]


class RecordError(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("number", c_int64),
        ("text", Text),
        ("field", Text),
        ("source_column", Text),
        ("raw_value", Text),
        ("function", Text),
    ]


class Outcome(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("record", c_int64),
        ("fate", c_int32),
        ("duplicate_key", c_int32),
        ("error_count", c_size_t),
        ("errors", POINTER(RecordError)),
        ("cut_field_count", c_size_t),
        ("cut_fields", POINTER(Text)),
        ("address", Text),
        ("duplicate_type", c_int64),
        ("duplicate_address", Text),
        ("duplicate_name", Text),
        ("duplicate_place", Text),
        ("duplicate_reason", Text),
        ("duplicate_record", c_int64),
        ("duplicate_score", c_double),
    ]


class Revision(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("first", c_int64),
        ("last", c_int64),
        ("fate", c_int32),
        ("revised", c_int32),
        ("error", POINTER(RecordError)),
    ]


ProgressFunction = CFUNCTYPE(c_int32, c_void_p, c_double, Text)
# The outcome as an address, as records are many: see jobs.
RecordFunction = CFUNCTYPE(c_int32, c_void_p, c_void_p)
RevisionFunction = CFUNCTYPE(c_int32, c_void_p, POINTER(Revision))
TellFunction = CFUNCTYPE(c_int32, c_void_p, Text)


class RunView(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("context", c_void_p),
        ("progress", ProgressFunction),
        ("record", RecordFunction),
        ("revision", RevisionFunction),
        ("tell", TellFunction),
        ("every_record", c_int32),
        ("reserved", c_int32),
    ]


class RunResult(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("read", c_int64),
        ("stored_new", c_int64),
        ("updated", c_int64),
        ("held_back", c_int64),
        ("rejected", c_int64),
        ("checked", c_int64),
        ("errors", c_int64),
        ("cut_values", c_int64),
        ("total", c_int64),
        ("skipped", c_int64),
        ("unlogged", c_int64),
        ("rejects", c_int64),
        ("next_record", c_int64),
        ("stopped", c_int32),
        ("cancelled", c_int32),
        ("source_state", c_int32),
        ("reserved", c_int32),
        ("message", Text),
        ("source_error", Text),
        ("stop_reason", Text),
        ("source_kept", Text),
        ("rejects_error", Text),
        ("run_number", c_int64),
    ]


UndoProgressFunction = CFUNCTYPE(c_int32, c_void_p, c_int64, c_int64)


class UndoSettings(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("run", c_int64),
        ("dry_run", c_int32),
        ("take_changes", c_int32),
        ("ledger", TextIn),
        ("context", c_void_p),
        ("progress", UndoProgressFunction),
    ]


class UndoResult(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("total", c_int64),
        ("done", c_int64),
        ("removed", c_int64),
        ("restored", c_int64),
        ("complete", c_int32),
        ("reserved", c_int32),
    ]


_handle_out = POINTER(Handle)
_texts = POINTER(Text)
_values = POINTER(Value)

# What follows the library in each function that returns a status.
PROTOTYPES: dict[str, list[Any]] = {
    "answer": [TextIn],
    "call_raise": [c_int32, TextIn],
    "call_return": [_values],
    "call_write": [c_size_t, _values],
    "component_register": [POINTER(Component)],
    "connection_adopt_postgresql": [c_void_p, _handle_out],
    "connection_adopt_sqlite": [c_void_p, c_void_p, _handle_out],
    "connection_begin": [Handle],
    "connection_close": [Handle],
    "connection_columns": [Handle, TextIn, _handle_out],
    "connection_commit": [Handle],
    "connection_create": [POINTER(Database), _handle_out],
    "connection_execute": [Handle, TextIn, _values, c_size_t, POINTER(c_int64)],
    "connection_open": [TextIn, _handle_out],
    "connection_query": [Handle, TextIn, _values, c_size_t, _handle_out],
    "connection_rollback": [Handle],
    "connection_tables": [Handle, _handle_out],
    "job_cancel": [Handle],
    "job_check": [Handle, c_int32, _handle_out],
    "job_columns": [Handle, _handle_out],
    "job_create": [_handle_out],
    "job_open": [Handle, POINTER(Order)],
    "job_preview": [Handle, c_int64, _handle_out, _handle_out],
    "job_run": [Handle, POINTER(RunSettings), POINTER(RunView), POINTER(RunResult)],
    "job_save_rejects": [Handle, TextIn],
    "job_stop": [Handle],
    "last_error": [POINTER(Error)],
    "library_close": [],
    "object_call": [Handle, TextIn, c_int32, _values, c_size_t, _values],
    "object_create": [TextIn, _handle_out],
    "object_has": [Handle, TextIn, POINTER(c_int32)],
    "option_get": [TextIn, _texts],
    "option_set": [TextIn, TextIn],
    "raise": [c_int32, TextIn],
    "recordset_add": [Handle],
    "recordset_at_end": [Handle, POINTER(c_int32)],
    "recordset_clear": [Handle],
    "recordset_column_count": [Handle, POINTER(c_size_t)],
    "recordset_column_name": [Handle, c_size_t, _texts],
    "recordset_count": [Handle, POINTER(c_int64)],
    "recordset_create": [POINTER(Column), c_size_t, _handle_out],
    "recordset_find": [Handle, TextIn, POINTER(c_size_t)],
    "recordset_first": [Handle],
    "recordset_get": [Handle, c_size_t, _values],
    "recordset_next": [Handle],
    "recordset_row": [Handle, _texts, c_size_t],
    "recordset_set": [Handle, c_size_t, _values],
    "recordset_stream": [POINTER(TextIn), c_size_t, POINTER(Stream), _handle_out],
    "refusal": [_handle_out],
    "release": [Handle],
    "retain": [Handle, _handle_out],
    "run_stop": [POINTER(c_int32)],
    "runs": [Handle, TextIn, _handle_out],
    "source_register": [POINTER(Source)],
    "specification_create": [_handle_out],
    "specification_entries": [Handle, _handle_out],
    "specification_get": [Handle, TextIn, TextIn, _texts],
    "specification_list": [TextIn, c_int32, _handle_out],
    "specification_open": [TextIn, _handle_out],
    "specification_save": [Handle, TextIn],
    "specification_set": [Handle, TextIn, TextIn, TextIn],
    "undo": [Handle, POINTER(UndoSettings), POINTER(UndoResult), _handle_out],
    "user_interface_set": [POINTER(UserInterface)],
    "value_convert": [_values, c_int32, _values],
}

LIBRARY_NAME = "libkestrelimport.so.2"


class Functions:
    """The functions of the loaded library, by their names without "kestrel_"."""

    def __init__(self, loaded: ctypes.CDLL) -> None:
        self.abi_version = loaded.kestrel_abi_version
        self.abi_version.argtypes, self.abi_version.restype = [], c_uint32
        if self.abi_version() < ABI_VERSION:
            raise ImportError(
                f"{loaded._name} hat die Schnittstelle {self.abi_version()}; dieses Paket braucht {ABI_VERSION}. "
                "Installieren Sie eine neuere Bibliothek."
            )
        self.version = loaded.kestrel_version
        self.version.argtypes, self.version.restype = [], c_char_p
        self.status_text = loaded.kestrel_status_text
        self.status_text.argtypes, self.status_text.restype = [c_int32], c_char_p
        self.library_open = loaded.kestrel_library_open
        self.library_open.argtypes = [POINTER(LibraryOptions), POINTER(c_void_p)]
        for name, parameters in PROTOTYPES.items():
            function = getattr(loaded, "kestrel_" + name)
            function.argtypes, function.restype = [c_void_p, *parameters], c_int32
            setattr(self, name, function)

    if TYPE_CHECKING:

        def __getattr__(self, name: str) -> Any: ...


_functions: Functions | None = None


def functions() -> Functions:
    """Loads the library at the first use: KESTREL_LIBRARY, a path, or where the system's loader finds it."""
    global _functions
    if _functions is None:
        place = os.environ.get("KESTREL_LIBRARY") or LIBRARY_NAME
        try:
            loaded = ctypes.CDLL(place)
        except OSError as error:
            raise ImportError(
                f"Die Bibliothek von KESTREL Import kann nicht geladen werden ({error}). Installieren Sie sie, "
                "oder nennen Sie ihre Datei in KESTREL_LIBRARY."
            ) from error
        _functions = Functions(loaded)
    return _functions
