"""The interface: sources, conversions, lookups, errors, threads, processes."""

from __future__ import annotations

import gzip
import io
import json
import os
import pathlib
import shutil
import subprocess
import sys
import threading
from collections.abc import Callable
from typing import Any

import duckdb
import numpy
import pandas
import polars
import pytest
import zstandard
from conftest import ROOT, symbol_file, tvsym

import torvaapi


def test_sources(sample: pathlib.Path, tmp_path: pathlib.Path) -> None:
    contents = sample.read_bytes()
    fields = f"{sample}.fields.json"
    packed = {".gz": gzip.compress(contents), ".zst": zstandard.compress(contents)}
    for suffix, bytes_ in packed.items():
        (tmp_path / f"a.sym{suffix}").write_bytes(bytes_)
    shutil.copy(fields, tmp_path / "a.sym.fields.json")
    odd = tmp_path / os.fsdecode(b"odd \xff name.sym")
    odd.write_bytes(contents)
    expected = torvaapi.open(sample).symbols().to_arrow()
    sources: list[Any] = [
        str(sample), sample, tmp_path / "a.sym.gz", tmp_path / "a.sym.zst", odd, contents, memoryview(contents),
        bytearray(contents), io.BytesIO(contents), sample.open("rb"),
    ]  # fmt: skip
    for source in sources:
        with torvaapi.open(source, dictionary=fields) as file:
            assert file.symbols().to_arrow() == expected, source
            assert len(file.tables()) == 21 and file.check().sound
    assert "currency" in torvaapi.open(tmp_path / "a.sym.gz").symbols().column_names


def broken(*edits: tuple[int, bytes]) -> bytes:
    contents = bytearray(symbol_file([(1, 7, b"x")], [(b"A", [(2, 4, 5)]), (b"B", [])]))
    for at, bytes_ in edits:
        contents[at : at + len(bytes_)] = bytes_
    return bytes(contents)


def test_errors(sample: pathlib.Path, tmp_path: pathlib.Path) -> None:
    (tmp_path / "bad.gz").write_bytes(b"no")
    (tmp_path / "cut.zst").write_bytes(zstandard.compress(bytes(1 << 20))[:-3])
    (tmp_path / "bad.json").write_text("[1")
    os.mkfifo(tmp_path / "pipe")
    sound = torvaapi.open(sample)
    closed = torvaapi.open(sample)
    closed.close()
    table = sound.symbols()
    cases: list[tuple[Callable[[], object], type[BaseException], dict[str, object]]] = [
        (lambda: torvaapi.open(tmp_path / "none"), FileNotFoundError, {"path": str(tmp_path / "none"), "code": -1}),
        (lambda: torvaapi.open(tmp_path), IsADirectoryError, {"filename": str(tmp_path)}),
        (lambda: torvaapi.open(tmp_path / "pipe"), torvaapi.OpenError, {"code": -1}),
        (lambda: torvaapi.open(tmp_path / "bad.gz"), OSError, {"code": -1}),
        (lambda: torvaapi.open(tmp_path / "cut.zst").symbols(), torvaapi.Error, {}),
        (lambda: torvaapi.open(io.StringIO("x")), torvaapi.ParameterError, {}),
        (lambda: torvaapi.open(3.5), TypeError, {}),  # type: ignore[arg-type]
        (lambda: torvaapi.open("a\0b"), ValueError, {}),
        (lambda: torvaapi.open(sample, encoding="no-such").symbols(), ValueError, {"code": -2}),
        (lambda: torvaapi.open(sample, threads=65), ValueError, {}),
        (lambda: torvaapi.open(sample, dictionary=tmp_path / "bad.json").symbols(), torvaapi.FormatError, {"code": -9}),
        (lambda: torvaapi.open(sample, memory_limit=1000).symbols(), torvaapi.LimitError, {"code": -20}),
        (lambda: sound.symbols(["no such"]), torvaapi.ParameterError, {"path": str(sample)}),
        (lambda: sound.symbols(where={"no such": 1}), torvaapi.ParameterError, {}),
        (lambda: sound.symbols(batch_size=0), torvaapi.ParameterError, {}),
        (lambda: sound.table("no such"), ValueError, {}),
        (lambda: sound.table(5), ValueError, {}),
        (lambda: sound["no such"], KeyError, {}),
        (lambda: closed.symbols(), ValueError, {"path": str(sample)}),
        (lambda: table.row(len(table)), IndexError, {}),
        (lambda: table.select([len(table)]), IndexError, {}),
        (lambda: table.select([-1]), IndexError, {}),
        (lambda: torvaapi.open(b"").check(), torvaapi.FormatError, {"path": None}),
        (lambda: torvaapi.open(b"").symbols(), torvaapi.DamagedError, {"section": 2, "code": -10}),
        (lambda: torvaapi.open(broken()).table("exchanges"), torvaapi.DamagedError, {"section": 16, "code": -10}),
        (lambda: torvaapi.open(broken()[:-1]).symbols(), torvaapi.DamagedError, {"section": 2, "offset": 46}),
        (lambda: torvaapi.open(broken()[:30]).symbols(), torvaapi.Error, {"section": 1, "path": None}),
        (lambda: torvaapi.diff(broken(), broken()[:-1]), torvaapi.DamagedError, {"section": 2}),
        (lambda: torvaapi.diff(sound, tmp_path / "none"), FileNotFoundError, {}),
        (lambda: torvaapi.watch(tmp_path / "none"), OSError, {"path": str(tmp_path / "none")}),
        (lambda: torvaapi.write(tmp_path / "no/x", table), torvaapi.OpenError, {"path": str(tmp_path / "no/x")}),
        (lambda: torvaapi.write(tmp_path / "x", polars.DataFrame({"a": [1]})), torvaapi.ParameterError, {"code": -2}),
        (lambda: torvaapi.write(tmp_path / "x", polars.DataFrame({"symbol": ["A"], "1": [[1]]})), ValueError, {"code": -2}),
    ]
    for number, (fail, kind, attributes) in enumerate(cases):
        with pytest.raises(kind) as raised:
            fail()
        for name, value in attributes.items():
            assert getattr(raised.value, name) == value, (number, name, raised.value)
        assert str(raised.value)
    with pytest.raises(torvaapi.DamagedError) as damaged:
        torvaapi.open(broken()[:-1]).symbols()
    assert [row.symbol for row in damaged.value.table] == ["A"]


def test_conversions(sample: pathlib.Path) -> None:
    with torvaapi.open(sample) as file:
        table = symbols = file.symbols(batch_size=100)
    assert len(table) == 1499 and table.row(-1) == list(table)[-1]
    frame = table.to_polars()
    pandas_frame = table.to_pandas()
    queried = duckdb.sql("SELECT * FROM symbols").fetchall()
    for name, column in zip(table.column_names, zip(*queried, strict=True), strict=True):
        values = table.column(name)
        assert list(column) == values
        assert frame[name].to_list() == values
        assert [None if it is pandas.NA else it for it in pandas_frame[name].tolist()] == values
        assert polars.Series(name, table.to_numpy(name).tolist()).to_list() == values
    assert isinstance(pandas_frame, pandas.DataFrame)
    assert not table.to_numpy("row").flags.owndata and not table.to_numpy("row").flags.writeable
    empty = table.select([])
    assert len(empty) == 0 and empty.to_polars().shape == (0, 10) and "0 rows" in repr(empty)
    other = torvaapi.open(symbol_file([], [(b"A", [(1, 4, 5), (2, 7, b"t")]), (b"B", [])])).symbols(own=True)
    masked = other.to_numpy("1")
    assert isinstance(masked, numpy.ma.MaskedArray) and masked.tolist() == [5, None]
    assert other.to_numpy("1.own").tolist() == [True, False] == other.column("1.own")


def test_selection_and_lookup(sample: pathlib.Path) -> None:
    with torvaapi.open(sample) as file:
        table = file.symbols()
        frame = table.to_polars()
        assert file.symbols(["row", "symbol", 9]).column_names == ["symbol", "row", "kind"]
        assert file.symbols([]).column_names == ["symbol"]
        for where, mask in (
            ({"currency": "EUR"}, frame["currency"].cast(str) == "EUR"),
            ({"row": range(5, 9), "currency": "HKD"}, frame["row"].is_between(5, 8)),
            ({"symbol": lambda it: it.startswith("A")}, frame["symbol"].str.starts_with("A")),
            ({"kind": [1, 77], "country": {840}}, (frame["kind"] == 1) & (frame["country"] == 840)),
            ({"name": None}, frame["name"].is_null()),
        ):
            selected = file.symbols(["name"], where=where)
            assert selected.column("symbol") == frame["symbol"].filter(mask).to_list()
            assert selected.column_names == ["symbol", "name"]
            selected.to_arrow().validate(full=True)
        symbols = sorted(frame["symbol"])
        assert [row.symbol for row in file.prefix("A", None)] == [it for it in symbols if it.startswith("A")]
        assert len(file.prefix("A", 3)) == 3 and file.prefix("no such") == []
        assert file[symbols[0]].symbol == file.get(symbols[0].encode()).symbol == symbols[0]
        assert symbols[0] in file and "no such" not in file and 5 not in file
        assert file.get("\udc80") is None and file.get("no such", 1) == 1


def test_damage_and_findings(sample: pathlib.Path) -> None:
    contents = sample.read_bytes()
    findings = torvaapi.open(contents[:100000]).check()
    assert findings.total > 0 and not findings.sound and findings.readable
    path = sample.with_name("cut.sym")
    path.write_bytes(contents[:100000])
    told = json.loads(tvsym("check", "--json", path, check=False))
    assert findings.total == told["total"]
    assert [(it.offset, it.kind, it.what, it.expected or None, it.found or None) for it in findings] == [
        tuple(it[key] for key in ("offset", "kind", "what", "expected", "found")) for it in told["findings"]
    ]  # fmt: skip


def test_diff_is_what_tvsym_says(sample: pathlib.Path, tmp_path: pathlib.Path) -> None:
    document = json.loads(tvsym("dump", "--format", "json", sample))
    symbols = document["sections"][1]["symbols"]
    symbols[3]["fields"][0]["value"] = "new"
    del symbols[5], document["sections"][4]
    (tmp_path / "new.json").write_text(json.dumps(document))
    tvsym("build", tmp_path / "new.json", tmp_path / "new.sym")
    table = torvaapi.diff(sample, tmp_path / "new.sym", dictionary=f"{sample}.fields.json")
    told = json.loads(
        tvsym("diff", "--json", "--dictionary", f"{sample}.fields.json", sample, tmp_path / "new.sym", check=False)
    )["differences"]
    assert [row[:3] for row in dict.fromkeys(table.select(range(len(table))))][:1] == [(6, "eidr-quick-groups", "removed")]
    assert [row.key for row in table if row.change == "changed"] == [symbols[3]["symbol"]]
    assert {(row.change, row.key) for row in table if row.section == 2} == {
        (it["change"], it["symbol"]) for it in told if "symbol" in it
    }
    changed = next(row for row in table if row.change == "changed")
    assert (changed.field, changed.new) == ("name", "new")
    table.to_arrow().validate(full=True)
    assert len(torvaapi.diff(sample, tmp_path / "new.sym", sections=["symbols"], columns=[1])) == 2


def test_watch(sample: pathlib.Path, tmp_path: pathlib.Path) -> None:
    path = tmp_path / "watched.sym"
    path.write_bytes(symbol_file([], [(b"A", [])]))
    watch = torvaapi.watch(path)
    before = watch.table
    assert not watch.refresh()
    path.write_bytes(symbol_file([], [(b"A", []), (b"B", [])]))
    assert watch.refresh() and len(watch.table) == 2 and len(before) == 1
    path.unlink()
    with pytest.raises(torvaapi.OpenError):
        watch.refresh()
    assert len(watch.table) == 2


def test_people_see_nothing_that_acts(sample: pathlib.Path) -> None:
    evil = b"<script>alert(1)</script>\x1b[31m"
    table = torvaapi.open(symbol_file([], [(evil, [(1, 7, evil)])] * 12)).symbols()
    assert "<script" not in table._repr_html_() and "&lt;script" in table._repr_html_()
    assert "\x1b" not in repr(table) + table._repr_html_() and "2 more rows" in repr(table)
    assert "1,499 rows" in repr(torvaapi.open(sample).symbols())


def test_threads_share_a_file(sample: pathlib.Path) -> None:
    file = torvaapi.open(sample, threads=2)
    expected = file.symbols().to_arrow()
    failures: list[BaseException] = []

    def work() -> None:
        try:
            for _ in range(5):
                assert file.symbols().to_arrow() == expected
                assert len(file.prefix("A", None)) > 0 and file.check().sound
        except BaseException as error:
            failures.append(error)

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures


# Run by an interpreter of its own: a child of fork uses what its parent opened, loads leak neither memory nor
# descriptors, and nanobind has nothing to report at the end.
_PROCESS = """
import gc, os, sys, torvaapi
torvaapi._native.warn_of_leaks()
path = sys.argv[1]
with open(path, "rb") as opened:
    contents = opened.read()
file = torvaapi.open(path)
table = file.symbols()
child = os.fork()
if child == 0:
    os._exit(0 if file.symbols().column("symbol") == table.column("symbol") and file.prefix("A") else 1)
assert os.waitpid(child, 0)[1] == 0

def resident():
    with open("/proc/self/statm") as sizes:
        return int(sizes.read().split()[1]) * os.sysconf("SC_PAGESIZE")

def work():
    with torvaapi.open(path) as file:
        table = file.symbols(own=True, where={"currency": "EUR"})
        table.__arrow_c_stream__(), table.__arrow_c_schema__(), table._native.nested(), table._native.view_stream()
        len(list(table)), file.prefix("A"), file.tables(), torvaapi.diff(file, file), file.check()
        torvaapi.write(sys.argv[2], table, sections=file)
        torvaapi.watch(path).refresh()
    for fail in (b"", contents[:1000], path + "?"):
        try:
            torvaapi.open(fail).symbols()
        except torvaapi.Error:
            pass

for _ in range(10):
    work()
gc.collect()
before, descriptors = resident(), len(os.listdir("/proc/self/fd"))
for _ in range(40):
    work()
gc.collect()
grown = resident() - before
assert len(os.listdir("/proc/self/fd")) == descriptors
assert grown < 4 << 20, grown
"""


def test_fork_and_leaks(sample: pathlib.Path, tmp_path: pathlib.Path) -> None:
    done = subprocess.run(
        [sys.executable, "-W", "error", "-c", _PROCESS, sample, tmp_path / "to.sym"], capture_output=True, text=True
    )
    assert (done.returncode, done.stderr) == (0, "")


def test_exports() -> None:
    """A host's own libstdc++ or operator new must not take over parts of the extension's."""
    from elftools.elf.elffile import ELFFile

    with open(torvaapi._native.__file__, "rb") as module:
        symbols = ELFFile(module).get_section_by_name(".dynsym").iter_symbols()
        assert [it.name for it in symbols if it["st_shndx"] != "SHN_UNDEF"] == ["PyInit__native"]


def test_types() -> None:
    done = subprocess.run([sys.executable, "-m", "mypy"], cwd=ROOT, capture_output=True, text=True)
    assert done.returncode == 0, done.stdout
