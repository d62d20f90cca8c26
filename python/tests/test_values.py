"""Values: against tvsym dump, and against the C library's walk on sound, random and damaged files."""

from __future__ import annotations

import datetime
import json
import pathlib
import random
from collections.abc import Callable

import polars
import pyarrow
import pytest
from conftest import MOST, OK, TEXT, WIDTHS, Walk, symbol_file, tvsym
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import torvaapi
from torvaapi._table import _Views

END_OF_DATA = -6


def load(path: pathlib.Path, **options: bool) -> torvaapi.Table:
    """The symbols as far as they come; every way to Arrow is validated in full."""
    with torvaapi.open(path) as file:
        try:
            table = file.symbols(batch_size=7, **options)
        except torvaapi.DamagedError as error:
            assert (error.code, error.section) == (error.table.damage.code, 2)
            table = error.table
    arrow = table.to_arrow()
    arrow.validate(full=True)
    assert arrow.num_rows == len(table) and arrow.column_names == table.column_names
    views = pyarrow.RecordBatchReader.from_stream(_Views(table._native)).read_all()
    views.validate(full=True)
    assert views.to_pylist() == arrow.to_pylist()
    assert pyarrow.schema(table) == pyarrow.schema(table.schema) == arrow.schema
    return table


def assert_same(table: torvaapi.Table, walked: Walk) -> None:
    """Cells hold the first value of their field, where that can be of their column's type."""
    assert len(table) == len(walked)
    columns = {column.field: (column, table.column(column.name)) for column in table.schema[1:]}
    symbols = table.column("symbol")
    for row, (symbol, fields) in enumerate(walked):
        assert symbols[row] in (symbol, symbol.decode(errors="replace"))
        firsts = {id: (tag, value) for id, tag, value in reversed(fields)}
        assert firsts.keys() <= columns.keys()
        for id, (column, cells) in columns.items():
            tag, value = firsts.get(id, (0, None))
            texts = column.type in ("text", "binary")
            if column.type == "text" and isinstance(value, bytes):
                value = value.decode()
            if value is None or (tag == TEXT) != texts:
                assert cells[row] is None
            else:
                assert cells[row] == value, (row, column)


def test_sample_is_what_dump_prints(sample: pathlib.Path) -> None:
    document = json.loads(tvsym("dump", "--format", "json", sample))
    names = {int(id): it["name"] for id, it in json.loads(sample.with_name(sample.name + ".fields.json").read_bytes()).items()}
    with torvaapi.open(sample) as file:
        rows = list(file.symbols(defaults=False))
        tables = file.tables()
    dumped = document["sections"][1]["symbols"]
    assert [row.symbol for row in rows] == [it["symbol"] for it in dumped]
    for row, it in zip(rows, dumped, strict=True):
        own = {names[field["id"]]: field["value"] for field in it["fields"] if field["value"] is not None}
        day = own.get("first_tick")
        if day is not None:
            own["first_tick"] = datetime.datetime.strptime(str(day), "%Y%m%d").date()
        assert {name: cell for name, cell in row._asdict().items() if cell is not None} == {"symbol": it["symbol"], **own}
    assert list(tables) == [it["name"] for it in document["sections"] if it["name"] in tables]
    for it in document["sections"][2:]:
        key = next((key for key, value in it.items() if isinstance(value, list)), None)
        table = tables.get(it["name"])
        if key is None or table is None or it["id"] in (18, 21):
            continue
        tables[it["name"]].to_arrow().validate(full=True)
        nested = table.to_arrow(nested=True)
        nested.validate(full=True)
        assert len(it[key]) == len(table) == nested.num_rows
        first = it[key][0]
        if isinstance(first, dict) and "name" in table.column_names:
            assert table.column("name") == [element["name"] for element in it[key]]
            assert table.column("id")[0] == first["id"] if "id" in first else True


def test_sample_is_what_the_walk_delivers(
    sample: pathlib.Path, walk: Callable[[pathlib.Path], tuple[Walk, int]], tmp_path: pathlib.Path
) -> None:
    contents = sample.read_bytes()
    bare = tmp_path / "bare.sym"  # without the dictionary
    bare.write_bytes(contents)
    assert_same(load(bare), walk(bare)[0])
    chosen = random.Random(5)
    damaged = compared = 0
    for _ in range(60):
        broken = bytearray(contents)
        if chosen.random() < 0.3:
            del broken[chosen.randrange(len(broken)) :]
        else:
            for _ in range(chosen.randrange(1, 4)):
                at = chosen.randrange(300) if chosen.random() < 0.5 else chosen.randrange(len(broken))
                broken[at] = chosen.randrange(256)
        bare.write_bytes(broken)
        walked = walk(bare)
        if walked is None:
            with pytest.raises(torvaapi.Error):
                load(bare)
            continue
        if sum(len(fields) for _, fields in walked[0]) >= MOST:
            continue  # each symbol has thousands of default fields: the walk was not taken to its end
        table = load(bare)
        compared += 1
        assert_same(table, walked[0])
        if walked[1] not in (OK, END_OF_DATA):
            assert table.damage is not None and table.damage.code == walked[1]
        damaged += table.damage is not None
    assert damaged > 5 and compared > 20


_TEXTS = st.binary(max_size=12).map(lambda it: it.replace(b"\0", b"?")) | st.text(max_size=6).map(
    lambda it: it.replace("\0", "?").encode(errors="replace")
)


@st.composite
def _fields(draw: st.DrawFn) -> tuple[int, int, bytes | int | None]:
    tag = draw(st.sampled_from([*WIDTHS, TEXT, TEXT, TEXT, 0, 77]))
    value: bytes | int | None = None
    if tag == TEXT:
        value = draw(_TEXTS)
    elif tag in WIDTHS:
        value = draw(st.integers(0, 256 ** WIDTHS[tag] - 1))
    return draw(st.sampled_from([1, 2, 3, 4, 700])), tag, value


_SYMBOLS = st.lists(st.tuples(_TEXTS, st.lists(_fields(), max_size=5)), min_size=1, max_size=20)


@settings(max_examples=150, deadline=None, suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(st.lists(_fields(), max_size=3), _SYMBOLS)
def test_any_file_is_what_the_walk_delivers(
    walk: Callable[[pathlib.Path], tuple[Walk, int]],
    tmp_path: pathlib.Path,
    defaults: list[tuple[int, int, bytes | int | None]],
    symbols: list[tuple[bytes, list[tuple[int, int, bytes | int | None]]]],
) -> None:
    path = tmp_path / "any.sym"
    path.write_bytes(symbol_file(defaults, symbols))
    table = load(path)
    assert_same(table, walk(path)[0])
    own = load(path, own=True)
    assert own.select(range(len(own))).to_arrow() == own.to_arrow()


def test_write_returns_the_same_table(sample: pathlib.Path, tmp_path: pathlib.Path) -> None:
    to = tmp_path / "written.sym"
    with torvaapi.open(sample) as file:
        table = file.symbols(own=True)
        torvaapi.write(to, table, sections=file)
        with torvaapi.open(to, dictionary=f"{sample}.fields.json") as written:
            assert written.symbols(own=True).to_arrow() == table.to_arrow()
            assert len(torvaapi.diff(file, written)) == 0
            assert written.tables().keys() == file.tables().keys()


VIEWS = {pyarrow.string(): pyarrow.string_view(), pyarrow.binary(): pyarrow.binary_view()}
_COLUMNS = {
    "1": st.none() | st.text(st.characters(exclude_characters="\0", exclude_categories=["Cs"]), max_size=20),
    "2": st.none() | st.integers(0, 2**32 - 1),
    "3": st.none() | st.binary(max_size=6).map(lambda it: it.replace(b"\0", b"?")),
}


@settings(max_examples=80, deadline=None, suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(st.lists(st.fixed_dictionaries({"symbol": st.text("AB1.é", min_size=1, max_size=4), **_COLUMNS}), min_size=1), st.data())
def test_what_is_written_is_read(tmp_path: pathlib.Path, rows: list[dict[str, object]], data: st.DataObject) -> None:
    types = {"symbol": pyarrow.string(), "1": pyarrow.string(), "2": pyarrow.uint32(), "3": pyarrow.binary()}
    schema = pyarrow.schema([pyarrow.field(name, kind) for name, kind in types.items()])
    to = tmp_path / "written.sym"
    table = pyarrow.Table.from_pylist(rows, schema)
    chosen = data.draw(st.sampled_from(["offsets", "views", "large", "dictionary"]))
    if chosen == "views":
        table = table.cast(pyarrow.schema([(name, VIEWS.get(kind, kind)) for name, kind in types.items()]))
    elif chosen == "large":
        table = polars.from_arrow(table).to_arrow()
    elif chosen == "dictionary":
        table = table.set_column(1, "1", table["1"].dictionary_encode())
    torvaapi.write(to, table)
    with torvaapi.open(to) as file:
        read = file.symbols().to_arrow().to_pylist()
    for row, found in zip(rows, read, strict=True):
        for name, value in row.items():
            cell = found.get(name)  # a column of nulls is not written
            assert (cell.encode() if isinstance(value, bytes) and isinstance(cell, str) else cell) == value
