"""Symbol files as a Parquet dataset: python -m torvaapi to-parquet.

    OUT/SECTION/date=2026-03-02/file=NAME/part-0.parquet

Each section is a Hive-partitioned dataset. A partition's Parquet metadata records the source that it was made of.
"""

from __future__ import annotations

import concurrent.futures
import concurrent.futures.process
import contextlib
import datetime
import json
import multiprocessing
import os
import urllib.parse
from collections.abc import Callable, Collection, Iterator
from typing import TYPE_CHECKING, Any, NamedTuple

from . import _native
from ._errors import DamagedError, Error, ParameterError
from ._file import File
from ._paths import DATE_PATTERN, SourceFile, check_date_pattern, common_schema, conformed, date_of, find, opened

if TYPE_CHECKING:
    import pyarrow

_NO_SECTION = -10
_SOURCE = b"torva.source"
_ROWS = 131072  # of a row group
_NAMES = tuple(name for _, name, _ in _native.sections())
DAMAGED = ("fail", "skip", "keep")


class Options(NamedTuple):
    """What a conversion is asked for."""

    out: str
    """A directory or a URL of fsspec."""
    sections: tuple[str, ...] = ("symbols",)
    columns: tuple[str, ...] | None = None
    """Of the symbols; None: all."""
    dictionary: str | None = None
    encoding: str = "utf-8"
    date_pattern: str = DATE_PATTERN
    date_from: str = "name"
    """name: by date_pattern; modified: the day of the file's last change, in UTC."""
    damaged: str = "fail"
    """A damaged file is not converted and an error (fail), is left out (skip), or has the rows before the damage (keep)."""


class Outcome(NamedTuple):
    """What became of one file."""

    source: SourceFile
    written: int = 0
    """Partitions written; those that were there are not counted."""
    rows: int = 0
    problem: str = ""
    failed: bool = False


def to_parquet(
    sources: Collection[str | os.PathLike[str]],
    out: str | os.PathLike[str],
    *,
    sections: Collection[str] = ("symbols",),
    columns: Collection[str] | None = None,
    dictionary: str | None = None,
    encoding: str = "utf-8",
    date_pattern: str = DATE_PATTERN,
    date_from: str = "name",
    damaged: str = "fail",
    jobs: int = 1,
    progress: Callable[[int, int, Outcome], None] | None = None,
) -> list[Outcome]:
    """Converts symbol files to a Hive-partitioned Parquet dataset, and returns what became of each.

    Partitions of sources that have not changed, converted with the same options, are left as they are; so a run that
    was stopped goes on. A partition appears when it is complete. Holds one batch of a file in memory for each job.
    progress: called after each file with the number of those done, of all, and the outcome.

    Raises ParameterError, and OpenError for a pattern that names no file.
    """
    options = Options(
        os.fspath(out), tuple(sections), None if columns is None else tuple(columns), dictionary, encoding, date_pattern,
        date_from, damaged,
    )  # fmt: skip
    for name in options.sections:
        if name not in _NAMES:
            raise ParameterError(f"no section is named {name!r}")
    if damaged not in DAMAGED or date_from not in ("name", "modified"):
        raise ParameterError("damaged is fail, skip or keep; date_from is name or modified")
    check_date_pattern(date_pattern)
    files = find(sources)
    tasks = [(file, _date(file, options), options) for file in files]
    _refuse_same_partition(tasks)
    outcomes = []
    for outcome in _run(tasks, jobs):
        outcomes.append(outcome)
        if progress is not None:
            progress(len(outcomes), len(tasks), outcome)
    return outcomes


_Task = tuple[SourceFile, datetime.date | None, Options]


def _run(tasks: list[_Task], jobs: int) -> Iterator[Outcome]:
    if jobs <= 1 or len(tasks) < 2:
        yield from map(_convert, tasks)
        return
    context = multiprocessing.get_context("spawn")
    try:
        with concurrent.futures.ProcessPoolExecutor(min(jobs, len(tasks)), mp_context=context) as pool:
            yield from pool.map(_convert, tasks)
    except concurrent.futures.process.BrokenProcessPool:
        raise Error("a process of the conversion was killed; the next run continues", code=-7) from None


def _date(file: SourceFile, options: Options) -> datetime.date | None:
    if options.date_from == "name":
        return date_of(file.path, options.date_pattern)
    with contextlib.suppress(ValueError):
        return datetime.datetime.fromtimestamp(float(file.modified), datetime.UTC).date()
    with contextlib.suppress(ValueError):
        return datetime.datetime.fromisoformat(file.modified).date()
    return None


def _refuse_same_partition(tasks: list[_Task]) -> None:
    seen: dict[tuple[str, datetime.date | None], str] = {}
    for file, date, _ in tasks:
        other = seen.setdefault((file.name, date), file.path)
        if other != file.path:
            raise ParameterError(f"{other} and {file.path} have the same name and date", path=file.path)


def partition(out: str, section: str, date: datetime.date, name: str) -> str:
    return f"{out.rstrip('/')}/{section}/date={date}/file={urllib.parse.quote(name, safe=' ')}/part-0.parquet"


def _convert(task: _Task) -> Outcome:
    file, date, options = task
    if date is None:
        return Outcome(file, problem=f"{file.path}: no date in the path", failed=True)
    written = rows = 0
    try:
        wanted = [name for name in options.sections if not _is_there(file, date, name, options)]
        if not wanted:
            return Outcome(file)
        with opened(file.path, dictionary=options.dictionary, encoding=options.encoding) as source:
            problem = ""
            for name in wanted:
                schema, batches, damage = _read(source, name, options)
                if damage is not None and damage[0] == _NO_SECTION and name != "symbols":
                    continue
                if damage is not None and options.damaged != "keep":
                    return Outcome(file, written, rows, f"{file.path}: {damage[1]}", options.damaged == "fail")
                problem = f"{file.path}: {damage[1]}" if damage is not None else problem
                rows += _write(schema, batches, file, date, name, options)
                written += 1
    except Error as error:
        return Outcome(file, written, rows, error.message, options.damaged == "fail" or isinstance(error, OSError))
    except OSError as error:
        return Outcome(file, written, rows, f"{file.path}: {error}", True)
    return Outcome(file, written, rows, problem)


def _read(
    source: File, name: str, options: Options
) -> tuple[pyarrow.Schema, Iterator[pyarrow.RecordBatch], tuple[int, str] | None]:
    """Schema, batches, and the damage that ends them."""
    if name == "symbols":
        stream = source.stream(options.columns, _ROWS)
        schema = common_schema(_schema_of(stream))
        damage = None if stream.damage is None else (stream.damage.code, stream.damage.message)
        return schema, iter(stream), damage
    damage = None
    try:
        table = source.table(name)
    except DamagedError as error:
        table, damage = error.table, (error.code, error.message)
    arrow = table.to_arrow(nested=table.below is not None)
    return arrow.schema, iter(arrow.to_batches(_ROWS)), damage


def _schema_of(stream: Any) -> pyarrow.Schema:
    reader = stream.to_reader()
    stream._stream = reader
    return reader.schema


def _identity(file: SourceFile, options: Options) -> bytes:
    """What a partition is made of: the file, and the options that its contents depend on."""
    made_of = {**file._asdict(), "columns": options.columns, "encoding": options.encoding, "damaged": options.damaged}
    with contextlib.suppress(Error):
        made_of["dictionary"] = find([options.dictionary or file.path + ".fields.json"])[0]
    return json.dumps(made_of, sort_keys=True).encode()


def _is_there(file: SourceFile, date: datetime.date, section: str, options: Options) -> bool:
    import pyarrow.parquet
    from fsspec.core import url_to_fs

    fs, path = url_to_fs(partition(options.out, section, date, file.name))
    try:
        with fs.open(path, "rb") as held:
            metadata = pyarrow.parquet.read_metadata(held).metadata or {}
    except (FileNotFoundError, pyarrow.ArrowInvalid):
        return False
    return metadata.get(_SOURCE) == _identity(file, options)


def _write(
    schema: pyarrow.Schema,
    batches: Iterator[pyarrow.RecordBatch],
    file: SourceFile,
    date: datetime.date,
    section: str,
    options: Options,
) -> int:
    """Writes a partition under a temporary name, which readers of datasets pass over, and then renames it."""
    import pyarrow.parquet
    from fsspec.core import url_to_fs

    fs, path = url_to_fs(partition(options.out, section, date, file.name))
    directory, name = path.rsplit("/", 1)
    temporary = f"{directory}/_{name}.tmp"
    fs.makedirs(directory, exist_ok=True)
    schema = schema.with_metadata({**(schema.metadata or {}), _SOURCE: _identity(file, options)})
    rows = 0
    with fs.open(temporary, "wb") as to, pyarrow.parquet.ParquetWriter(to, schema, compression="zstd") as writer:
        for batch in batches:
            writer.write_batch(conformed(batch, schema, file.path))
            rows += batch.num_rows
    fs.mv(temporary, path)
    return rows
