"""Functions in Python that the library calls."""

from __future__ import annotations

import functools
from typing import TYPE_CHECKING, Any, Callable

from . import _native
from .errors import KestrelError

if TYPE_CHECKING:
    from .library import Library


def carried(library: Library, native_type: Any, function: Callable[..., None]) -> Any:
    """A function for the library. What it raises ends what is under way, and comes out of the call there.

    The library's caller keeps what this returns as long as it may be called.
    """

    @functools.wraps(function)
    def run(*arguments: Any) -> int:
        try:
            function(*arguments)
            return _native.OK
        except BaseException as error:  # noqa: B902 - nothing may pass through C, KeyboardInterrupt included
            library.carry(error)
            return library.raise_in_callback(error)

    return native_type(run)


def text_of(error: BaseException) -> str:
    if isinstance(error, KestrelError):
        return error.text
    return f"{type(error).__name__}: {error}" if str(error) else type(error).__name__


def number_of(error: BaseException) -> int:
    return error.number if isinstance(error, KestrelError) and error.number else AUTOMATION


# The number of an error of a component that has none of its own.
AUTOMATION = 440
