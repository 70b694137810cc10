"""Values between Python and the library."""

from __future__ import annotations

import ctypes
import datetime
from decimal import Decimal
from typing import TYPE_CHECKING, Any, Union

from . import _native

if TYPE_CHECKING:
    from .objects import Object
    from .library import Library

# What goes in and comes out; None is null. Decimals, days and bytes come back as the texts that sources make of them;
# a Record has numbers and days as such.
Value = Union[None, bool, int, float, Decimal, datetime.date, str, bytes, "Object"]


def fill(native: _native.Value, value: Value) -> Any:
    """Writes the value; returns what has to live as long as the native one."""
    from .objects import Object

    content = native.content
    if value is None:
        native.kind = _native.NULL
    elif isinstance(value, str):
        native.kind = _native.STRING
        return _point_to(content.text, value.encode())
    elif isinstance(value, bool):
        native.kind = _native.BOOLEAN
        content.boolean = value
    elif isinstance(value, int):
        if not -(2**63) <= value < 2**63:
            native.kind = _native.DECIMAL
            return _point_to(content.text, str(value).encode())
        native.kind = _native.INTEGER
        content.integer = value
    elif isinstance(value, float):
        native.kind = _native.DOUBLE
        content.real = value
    elif isinstance(value, Decimal):
        if not value.is_finite():
            raise ValueError(f"{value} ist keine Dezimalzahl")
        native.kind = _native.DECIMAL
        return _point_to(content.text, format(value, "f").encode())
    elif isinstance(value, datetime.date):
        native.kind = _native.DATE
        moment = value if isinstance(value, datetime.datetime) else datetime.datetime(*value.timetuple()[:3])
        content.date = _native.Date(
            moment.year, moment.month, moment.day, moment.hour, moment.minute, moment.second
        )
    elif isinstance(value, bytes):
        native.kind = _native.BYTES
        return _point_to(content.text, value)
    elif isinstance(value, Object):
        native.kind = _native.OBJECT
        content.object = value.handle
        return value
    else:
        raise TypeError(f"{type(value).__name__} ist kein Wert für KESTREL Import")
    return None


def _point_to(text: _native.Text, content: bytes) -> Any:
    buffer = ctypes.c_char_p(content)
    text.data = ctypes.cast(buffer, ctypes.c_void_p)
    text.length = len(content)
    return buffer


class Values:
    """An array for a call, with what its values point to."""

    def __init__(self, values: tuple[Value, ...] | list[Value]) -> None:
        self.array = (_native.Value * max(len(values), 1))()
        self._kept = []
        for native, value in zip(self.array, values):
            native.size = ctypes.sizeof(_native.Value)
            self._kept.append(fill(native, value))


def of_native(library: Library, native: _native.Value, *, lent: bool = False) -> Value:
    """A copy. An object becomes the caller's, or, where it is lent, gets a handle of its own."""
    kind = native.kind
    content = native.content
    if kind == _native.STRING:
        return _native.text_of(content.text)
    if kind == _native.INTEGER:
        return int(content.integer)
    if kind == _native.DOUBLE:
        return float(content.real)
    if kind == _native.BOOLEAN:
        return bool(content.boolean)
    if kind == _native.OBJECT:
        handle = content.object
        if handle == 0:
            return None
        if lent:
            handle = library.call_for_handle("retain", handle)
        return library.object_of(handle)
    if kind == _native.DECIMAL:
        return Decimal(_native.text_of(content.text))
    if kind == _native.BYTES:
        return ctypes.string_at(content.text.data, content.text.length) if content.text.length else b""
    if kind == _native.DATE:
        date = content.date
        return datetime.datetime(date.year, date.month, date.day, date.hour, date.minute, date.second)
    return None
