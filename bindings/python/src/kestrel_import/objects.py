"""Objects of the library, used by the names of their members."""

from __future__ import annotations

import ctypes
from types import TracebackType
from typing import TYPE_CHECKING, TypeVar

from . import _native
from ._values import Value, Values, of_native
from .errors import Closed

if TYPE_CHECKING:
    from .library import Library

_Self = TypeVar("_Self", bound="Object")


class Ref:
    """An argument by reference: `value` is what the member has left there."""

    def __init__(self, value: Value = None) -> None:
        self.value = value


class Object:
    """An object of the library, used by the names of its members.

    It holds a handle until it is closed, leaves its `with` block, or is forgotten.
    """

    def __init__(self, library: Library, handle: int) -> None:
        self._library = library
        self._handle: int | None = handle

    @property
    def library(self) -> Library:
        """What it was made with."""
        return self._library

    @property
    def handle(self) -> int:
        """The handle of the C interface. Raises Closed."""
        if self._handle is None:
            raise Closed(f"{type(self).__name__} ist geschlossen.")
        return self._handle

    @property
    def closed(self) -> bool:
        """Whether it was closed, or its library was."""
        return self._handle is None or self._library.closed

    def close(self) -> None:
        """Gives the handle back. Closing twice is no error."""
        handle, self._handle = self._handle, None
        if handle is not None and not self._library.closed:
            self._library.call("release", handle)

    def __enter__(self: _Self) -> _Self:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def __del__(self) -> None:
        # In whatever thread this happens: the library's own gives the handle back later.
        if getattr(self, "_handle", None) is not None:
            self._library.forget(self._handle)  # type: ignore[arg-type]

    # --- Members ---

    def invoke(self, member: str, *arguments: Value | Ref) -> Value:
        """Calls a method, or reads a property. Failed (438) where the object has no such member."""
        return self._use(member, _native.METHOD, arguments)

    def get(self, member: str) -> Value:
        """Reads a property."""
        return self._use(member, _native.GET, ())

    def let(self, member: str, value: Value) -> None:
        """Assigns a value to a property; an object is assigned as one."""
        self._use(member, _native.SET if isinstance(value, Object) else _native.LET, (value,))

    def has(self, member: str) -> bool:
        """Whether the object has a member of that name, whatever its case."""
        found = ctypes.c_int32()
        self._library.call("object_has", self.handle, _native.text_in(member), ctypes.byref(found))
        return found.value != 0

    def _use(self, member: str, use: int, arguments: tuple[Value | Ref, ...]) -> Value:
        values = Values([each.value if isinstance(each, Ref) else each for each in arguments])
        result = _native.Value()
        self._library.call(
            "object_call",
            self.handle,
            _native.text_in(member),
            use,
            values.array,
            len(arguments),
            ctypes.byref(result),
        )
        returned = of_native(self._library, result)
        for native, argument in zip(values.array, arguments):
            if isinstance(argument, Ref) and native.kind != _native.OBJECT:
                argument.value = of_native(self._library, native)
        return returned
