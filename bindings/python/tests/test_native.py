"""The package declares the C interface as the header has it."""

from __future__ import annotations

import ctypes
import os
import pathlib
import re
import unittest

import kestrel_import
from kestrel_import import _native

_ROOT = pathlib.Path(__file__).resolve().parents[3]
_SCALARS = {
    "size_t": ctypes.c_size_t,
    "int32_t": ctypes.c_int32,
    "uint32_t": ctypes.c_uint32,
    "int64_t": ctypes.c_int64,
    "double": ctypes.c_double,
    "kestrel_handle": ctypes.c_uint64,
}


def _declarations() -> str:
    text = (_ROOT / "include/kestrel/kestrel.h").read_text(encoding="utf-8")
    return re.sub(r"//[^\n]*", "", text)


def _structs() -> dict[str, list[tuple[str, str]]]:
    """By their names without "kestrel_": type and name of each member; of functions "function"."""
    structs: dict[str, list[tuple[str, str]]] = {}
    for content, name in re.findall(r"typedef struct \w+ \{(.*?)\} kestrel_(\w+);", _declarations(), re.DOTALL):
        content = re.sub(r"union \w+ \{.*?\} as;", "union as;", content, flags=re.DOTALL)
        members: list[tuple[str, str]] = []
        for member in (each.strip() for each in content.split(";")):
            if not member:
                continue
            function = re.match(r"\w+ \(\*(\w+)\)", member)
            if function:
                members.append(("function", function[1]))
            else:
                parts = re.match(r"(?:const )?(\w+)\s*(\*?)\s*(\w+)$", member)
                assert parts is not None, member
                members.append((parts[1] + parts[2], parts[3]))
        structs[name] = members
    return structs


class NativeTest(unittest.TestCase):
    def test_every_function_is_declared_with_its_parameters(self) -> None:
        functions = {
            name: parameters.count(",") + 1
            for name, parameters in re.findall(
                r"KESTREL_EXPORT int32_t kestrel_(\w+)\(([^;]*)\);", _declarations(), re.DOTALL
            )
        }
        self.assertGreater(len(functions), 50)
        del functions["library_open"], functions["plugin_open"]  # have no library yet
        declared = {name: len(parameters) + 1 for name, parameters in _native.PROTOTYPES.items()}
        self.assertEqual(declared, functions)

    def test_every_struct_has_the_members_of_the_header(self) -> None:
        structs = _structs()
        checked = 0
        for kind in vars(_native).values():
            if not (isinstance(kind, type) and issubclass(kind, _native.Struct)) or kind is _native.Struct:
                continue
            name = re.sub(r"(?<!^)(?=[A-Z])", "_", kind.__name__).lower()
            fields = [(field[0], field[1]) for field in kind._fields_]
            expected = structs[name]
            self.assertEqual(
                [field for field, _ in fields],
                [{"as": "content"}.get(member, member) for _, member in expected],
                name,
            )
            for (field, of_python), (of_c, _) in zip(fields, expected):
                if of_c in _SCALARS:
                    self.assertIs(of_python, _SCALARS[of_c], f"{name}.{field}")
                else:
                    wide = 16 if of_c in ("kestrel_text",) else 8
                    if of_c != "union":
                        self.assertEqual(ctypes.sizeof(of_python), wide, f"{name}.{field}")
            checked += 1
        self.assertGreater(checked, 15)

    def test_the_version_is_that_of_the_library(self) -> None:
        self.assertEqual(kestrel_import.version(), kestrel_import.__version__)

    def test_a_library_that_is_not_there_is_told_with_a_way_out(self) -> None:
        before = os.environ.get("KESTREL_LIBRARY")
        os.environ["KESTREL_LIBRARY"] = "/nowhere/libkestrelimport.so"
        loaded, _native._functions = _native._functions, None
        try:
            with self.assertRaisesRegex(ImportError, "KESTREL_LIBRARY"):
                _native.functions()
        finally:
            _native._functions = loaded
            del os.environ["KESTREL_LIBRARY"]
            if before is not None:
                os.environ["KESTREL_LIBRARY"] = before


if __name__ == "__main__":
    unittest.main()
