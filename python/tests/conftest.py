"""Files to test with, and the second way to their values: the C library's own walk, by ctypes."""

from __future__ import annotations

import ctypes
import os
import pathlib
import struct
import subprocess
from collections.abc import Callable

import pytest

ROOT = pathlib.Path(__file__).parents[2]
BUILT = pathlib.Path(os.environ.get("TORVA_BUILT", ROOT / "build/release"))
WIDTHS = {1: 1, 2: 1, 3: 4, 4: 2, 5: 4, 6: 8, 8: 4, 9: 3}
TEXT = 7
OK, MORE_DATA = 0, -5
MOST = 100000  # fields of a walk: of a damaged file there can be billions


def tvsym(*arguments: object, check: bool = True) -> bytes:
    command = [BUILT / "bin/tvsym", *map(str, arguments)]
    return subprocess.run(command, check=check, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout


@pytest.fixture(scope="session")
def sample(tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    """The sample, with its dictionary beside it."""
    path = tmp_path_factory.mktemp("sample") / "instruments.sym"
    tvsym("build", ROOT / "samples/instruments.json", path)
    path.with_name("instruments.sym.fields.json").write_bytes((ROOT / "samples/fields.json").read_bytes())
    return path


def field(id: int, tag: int, value: bytes | int | None) -> bytes:
    if tag == TEXT:
        assert isinstance(value, bytes)
        return struct.pack("<HB", id, tag) + value + b"\0"
    if tag not in WIDTHS:
        return struct.pack("<HB", id, tag)
    assert isinstance(value, int)
    return struct.pack("<HB", id, tag) + value.to_bytes(WIDTHS[tag], "little")


Field = tuple[int, int, "bytes | int | None"]


def symbol_file(defaults: list[Field], symbols: list[tuple[bytes, list[Field]]]) -> bytes:
    first = b"".join(field(*it) for it in defaults)
    first = struct.pack("<HI", 1, len(first)) + first
    second = struct.pack("<H", 2)
    for symbol, fields in symbols:
        record = symbol + b"\0" + b"".join(field(*it) for it in fields)
        second += struct.pack("<I", len(record)) + record
    head = struct.pack("<HHIIHII", 2, 1, 22, len(first), 2, 22 + len(first), len(second))
    return head + first + second


class _Item(ctypes.Structure):
    _pack_ = 1
    _fields_ = [("id", ctypes.c_uint16), ("tag", ctypes.c_uint8), ("value", ctypes.c_void_p)]


Walk = list[tuple[bytes, list[Field]]]


@pytest.fixture(scope="session")
def walk() -> Callable[[pathlib.Path], tuple[Walk, int] | None]:
    """Whole symbols as the exports deliver them, and the result that ends the walk; None where no file opens."""
    library = ctypes.CDLL(str(BUILT / "lib/libTorvaAPI.so"))
    ctypes.CDLL("libstdc++.so.6", ctypes.RTLD_GLOBAL)
    free = ctypes.CDLL(None)["_ZdaPv"]  # operator delete[], a sanitizer's where there is one
    free.argtypes = [ctypes.c_void_p]
    most = 70000

    def value_of(item: _Item) -> bytes | int | None:
        if item.tag == TEXT:
            return ctypes.string_at(item.value)
        if item.tag not in WIDTHS:
            return None
        return int.from_bytes(ctypes.string_at(item.value, WIDTHS[item.tag]), "little")

    def walk_file(path: pathlib.Path) -> tuple[Walk, int] | None:
        handle = library.tv_OpenSymFile(os.fsencode(path), 64 << 20, None, 0, 0)
        if handle <= 0:
            return None
        text = ctypes.create_string_buffer(most + 1)
        items = (_Item * 512)()
        symbols: Walk = []
        result, delivered = OK, 0
        while delivered < MOST:
            count = ctypes.c_int32(-1)
            result = library.tv_GetNextSymData(handle, text, most, ctypes.byref(count), items, 512)
            if count.value < 0:
                break
            fields: list[Field] = []
            while result in (OK, MORE_DATA):
                for it in items[: count.value]:
                    fields.append((it.id, it.tag, value_of(it)))
                    free(it.value)
                if result == OK:
                    break
                result = library.tv_GetAgainSymData(handle, ctypes.byref(count), items, 512)
            if result != OK:
                break
            symbols.append((text.value, fields))
            delivered += len(fields)
        library.tv_CloseSymFile(handle)
        return symbols, result

    return walk_file
