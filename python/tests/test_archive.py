"""Archives: conversion to Parquet, resumed and damaged; streams and their ranges; histories; file systems of fsspec."""

from __future__ import annotations

import datetime
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time

import duckdb
import fsspec
import polars
import pyarrow
import pyarrow.dataset
import pytest

import torvaapi
from torvaapi._paths import common_schema, date_of
from torvaapi.archive import to_parquet

DAYS = [datetime.date(2026, 3, day) for day in range(2, 7)]


@pytest.fixture(scope="module")
def archive(sample: pathlib.Path, tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    """Five days: ZURN.CH-CHF comes on the second and is renamed on the fourth; the types of `row` differ in width."""
    root = tmp_path_factory.mktemp("archive")
    symbols = torvaapi.open(sample).symbols().to_polars().with_columns(polars.col("currency", "venue").cast(str))
    for number, day in enumerate(DAYS):
        path = root / str(day) / "world.sym"
        path.parent.mkdir()
        is_zurich = polars.col("symbol") == "ZURN.CH-CHF"
        name = polars.when(is_zurich & (number >= 3)).then(polars.lit("Z")).otherwise("name")
        frame = symbols.with_columns(name.alias("name")).filter(~is_zurich | (number >= 1))
        torvaapi.write(path, frame, sections=sample)
        shutil.copy(f"{sample}.fields.json", f"{path}.fields.json")
    return root


def command(*arguments: object) -> subprocess.CompletedProcess[str]:
    return subprocess.run([sys.executable, "-m", "torvaapi", *map(str, arguments)], capture_output=True, text=True)


def modified(directory: pathlib.Path) -> dict[pathlib.Path, int]:
    return {path: path.stat().st_mtime_ns for path in directory.rglob("*") if path.is_file()}


def test_streams_are_the_table(sample: pathlib.Path) -> None:
    with torvaapi.open(sample) as file:
        whole = file.symbols(dictionaries=False).to_arrow()
        schema = common_schema(whole.schema)
        for part_bytes in (1, 5000, 1 << 30):
            ranges = file.record_ranges(part_bytes)
            assert len(ranges) == {1: 1499, 5000: 25}.get(part_bytes, 1)
            if part_bytes == 1:
                ranges = ranges[:3] + [(ranges[3][0], ranges[-1][0]), ranges[-1]]
            parts = [pyarrow.Table.from_batches(file.stream(records=it, batch_size=100)) for it in ranges]
            parts = [part.cast(pyarrow.schema([schema.field(name) for name in part.column_names])) for part in parts]
            assert pyarrow.concat_tables(parts, promote_options="default").select(schema.names) == whole.cast(schema)
        assert file.stream(["currency"]).to_reader().schema.names == ["symbol", "currency"]
        contents = sample.read_bytes()[:50000]
        damaged = sample.with_name("stream.sym")
        damaged.write_bytes(contents)
        for source in (contents, damaged):
            stream = torvaapi.open(source).stream()
            assert stream.damage is not None and stream.damage.section == 2
            with pytest.raises(torvaapi.DamagedError) as raised:
                torvaapi.open(source).symbols()
            assert sum(batch.num_rows for batch in stream) == len(raised.value.table)
            with pytest.raises(torvaapi.ParameterError):
                stream.to_reader()


def test_conversion_is_resumed_and_read_by_others(archive: pathlib.Path, tmp_path: pathlib.Path) -> None:
    out = tmp_path / "out"
    first = command("to-parquet", f"{archive}/**/*.sym", out, "--jobs", 2, "--sections", "symbols,exchanges,jump-prices")
    assert first.returncode == 0 and "15 partitions written, 7,619 rows" in first.stderr, first.stderr
    written = modified(out)
    assert (out / "symbols/date=2026-03-02/file=world.sym/part-0.parquet") in written and len(written) == 15
    again = command("to-parquet", f"{archive}/**/*.sym", out, "--sections", "symbols,exchanges,jump-prices", "--quiet")
    assert (again.returncode, again.stderr, modified(out)) == (0, "", written)
    os.utime(archive / "2026-03-04/world.sym")
    (out / "symbols/date=2026-03-05/file=world.sym/part-0.parquet").write_bytes(b"half")
    assert "2 partitions written" in command("to-parquet", f"{archive}/**/*.sym", out).stderr
    expected = [
        (day, *row)
        for day in DAYS
        for row in torvaapi.open(archive / str(day) / "world.sym").symbols(["currency", "row", "first_tick"])
    ]
    expected.sort(key=str)
    columns = "date, symbol, currency, first_tick, row"
    read = {
        "duckdb": duckdb.sql(f"SELECT {columns} FROM read_parquet('{out}/symbols/**/*.parquet', hive_partitioning = true)"),
        "polars": polars.scan_parquet(f"{out}/symbols", hive_partitioning=True, try_parse_hive_dates=True).collect(),
    }
    partitioning = pyarrow.dataset.partitioning(pyarrow.schema([("date", pyarrow.date32())]), flavor="hive")
    rows = pyarrow.dataset.dataset(out / "symbols", partitioning=partitioning).to_table(columns.split(", ")).to_pylist()
    assert sorted((tuple(row.values()) for row in rows), key=str) == expected
    assert sorted(read["duckdb"].fetchall(), key=str) == expected
    assert sorted(read["polars"].select(columns.split(", ")).rows(), key=str) == expected


def test_conversion_after_a_kill(archive: pathlib.Path, tmp_path: pathlib.Path) -> None:
    whole, killed = tmp_path / "whole", tmp_path / "killed"
    assert command("to-parquet", f"{archive}/**/*.sym", whole).returncode == 0
    process = subprocess.Popen([sys.executable, "-m", "torvaapi", "to-parquet", f"{archive}/**/*.sym", killed])
    deadline = time.monotonic() + 60
    while not list(killed.rglob("part-0.parquet")) and time.monotonic() < deadline and process.poll() is None:
        time.sleep(0.001)
    process.send_signal(signal.SIGKILL)
    process.wait()
    assert command("to-parquet", f"{archive}/**/*.sym", killed).returncode == 0
    contents = [
        {path.relative_to(out): path.read_bytes() for path in out.rglob("*") if path.is_file()} for out in (whole, killed)
    ]
    assert contents[0] == contents[1] and len(contents[0]) == 5


def test_damage_and_statuses(archive: pathlib.Path, sample: pathlib.Path, tmp_path: pathlib.Path) -> None:
    good, bad = tmp_path / "a-2026-03-02.sym", tmp_path / "b-2026-03-02.sym"
    shutil.copy(archive / "2026-03-02/world.sym", good)
    bad.write_bytes(sample.read_bytes()[:50000])
    for damaged, status, partitions in (("fail", 1, 1), ("skip", 0, 1), ("keep", 0, 2)):
        done = command("to-parquet", good, bad, tmp_path / damaged, "--damaged", damaged)
        assert done.returncode == status and f"torvaapi: {bad}: section 2, offset" in done.stderr, done.stderr
        assert len(modified(tmp_path / damaged)) == partitions
    (tmp_path / "undated.sym").write_bytes(good.read_bytes())
    (tmp_path / "no").mkdir()
    shutil.copy(good, tmp_path / "no")
    for arguments, status, message in (
        ([tmp_path / "undated.sym", tmp_path / "x"], 1, "no date"),
        ([tmp_path / "none-*.sym", tmp_path / "x"], 1, "no such file"),
        ([good, tmp_path / "no" / good.name, tmp_path / "x"], 2, "same name and date"),
        ([good, tmp_path / "x", "--date-pattern", "(.*)"], 2, "needs the groups"),
        ([good, tmp_path / "x", "--sections", "none"], 2, "no section"),
        ([good, tmp_path / "x", "--columns", "none"], 1, "no field is named 'none'"),
        ([good], 2, "OUT"),
    ):
        done = command("to-parquet", *arguments)
        assert (done.returncode, message in done.stderr) == (status, True), (arguments, done)
    assert command("to-parquet", tmp_path / "undated.sym", tmp_path / "x", "--date-from", "modified").returncode == 0


def test_history_and_file_systems(archive: pathlib.Path, tmp_path: pathlib.Path) -> None:
    memory = fsspec.filesystem("memory")
    memory.put(str(archive), "/archive", recursive=True)
    to_parquet([f"{archive}/**/*.sym"], tmp_path / "out")
    to_parquet(["memory://archive/**/*.sym"], "memory://out")
    pattern, columns = "/**/*.sym", ["name", "currency"]
    for source in (f"{archive}{pattern}", f"memory://archive{pattern}", tmp_path / "out", "memory://out"):
        table = torvaapi.history(source, "ZURN.CH-CHF", columns)
        assert table["date"].to_pylist() == DAYS[1:] and table.column_names[2:] == ["symbol", *columns]
        changes = torvaapi.history(source, ["ZURN.CH-CHF", "0005.HK-HKD"], columns, changes=True)
        assert [(row["symbol"][:4], row["date"].day, row["name"]) for row in changes.to_pylist()] == [
            ("0005", 2, "0005.HK/HKD"), ("0005", 6, "0005.HK/HKD"),
            ("ZURN", 3, "ZURN.CH/CHF"), ("ZURN", 5, "Z"), ("ZURN", 6, "Z"),
        ]  # fmt: skip
        assert torvaapi.history(source, "none").num_rows == 0


def test_dates_in_paths() -> None:
    day = datetime.date(2026, 3, 2)
    for path in ("a/2026-03-02/x.sym", "x20260302.sym", "2025-01-01/x_2026.03.02.sym", "year=2026/month=03/day=02/x.sym",
                 "archive/2026/2026-03-02/x.sym"):  # fmt: skip
        assert date_of(path) == day, path
    for path in ("x.sym", "2026-13-02.sym", "120260302.sym"):
        assert date_of(path) is None, path
