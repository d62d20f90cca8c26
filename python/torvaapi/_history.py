"""A symbol through the days of an archive of symbol files, or of the Parquet dataset made of one."""

from __future__ import annotations

import os
import re
from collections.abc import Collection, Iterator
from typing import TYPE_CHECKING

from ._errors import ParameterError

if TYPE_CHECKING:
    import pyarrow


def history(
    source: str | os.PathLike[str] | Collection[str | os.PathLike[str]],
    symbol: str | Collection[str],
    columns: Collection[str] | None = None,
    *,
    changes: bool = False,
    dictionary: str | None = None,
    encoding: str = "utf-8",
) -> pyarrow.Table:
    """The rows of one or several symbols on all days: `date`, `file`, `symbol` and the columns, sorted by symbol, name of
    the file without its date, and date.

    source: paths, globs or URLs of symbol files with dates in their paths, or the directory that to-parquet wrote.
    changes: only the first and the last row of a symbol, and those where one of the columns differs from the row before.

    Raises ParameterError for a file without a date, OpenError, FormatError; DamagedError for a damaged file.
    """
    import pyarrow as pa

    symbols = [symbol] if isinstance(symbol, str) else list(symbol)
    if isinstance(source, (str, os.PathLike)) and _is_dataset(os.fspath(source)):
        table = _of_dataset(os.fspath(source), symbols, columns)
    else:
        sources = [source] if isinstance(source, (str, os.PathLike)) else source
        tables = list(_of_files(sources, symbols, columns, dictionary, encoding))
        table = pa.concat_tables(tables, promote_options="permissive")
    names = pa.array([_series(name) for name in table["file"].to_pylist()], pa.string())
    table = table.append_column("_series", names)
    table = table.sort_by([("symbol", "ascending"), ("_series", "ascending"), ("date", "ascending")])
    if changes:
        table = table.filter(_changes(table))
    return table.drop_columns(["_series"])


def _series(name: str) -> str:
    """The name of a file without its date: the same for all days of a market."""
    from ._paths import DATE_PATTERN

    return re.sub(DATE_PATTERN, "", name.rsplit("/", 1)[-1])


def _of_files(
    sources: Collection[str | os.PathLike[str]],
    symbols: list[str],
    columns: Collection[str] | None,
    dictionary: str | None,
    encoding: str,
) -> Iterator[pyarrow.Table]:
    import pyarrow as pa
    import pyarrow.compute as pc

    from ._paths import common_schema, conformed, date_of, find, opened

    wanted = pa.array(symbols, pa.string())
    for file in find(sources):
        date = date_of(file.path)
        if date is None:
            raise ParameterError(f"{file.path}: no date in the path", path=file.path)
        with opened(file.path, dictionary=dictionary, encoding=encoding) as source:
            arrow = source.symbols(columns, dictionaries=False).to_arrow()
        found = arrow.filter(pc.is_in(arrow["symbol"].cast(pa.string()), wanted))
        schema = common_schema(found.schema).remove_metadata()
        schema = pa.schema([("date", pa.date32()), ("file", pa.string()), *schema])
        batches = [conformed(batch, schema, file.path, date=date, file=file.path) for batch in found.to_batches()]
        yield pa.Table.from_batches(batches, schema)


def _is_dataset(path: str) -> bool:
    if re.search(r"[*?\[]", path):
        return False
    from fsspec.core import url_to_fs

    fs, root = url_to_fs(path)
    return bool(fs.isdir(root.rstrip("/") + "/symbols"))


def dataset(path: str) -> pyarrow.dataset.Dataset:
    """The symbols of the directory that to-parquet wrote."""
    import pyarrow as pa
    import pyarrow.dataset as ds
    from fsspec.core import url_to_fs

    fs, root = url_to_fs(path.rstrip("/") + "/symbols")
    partitioning = ds.partitioning(pa.schema([("date", pa.date32()), ("file", pa.string())]), flavor="hive")
    made = ds.dataset(root, filesystem=fs, format="parquet", partitioning=partitioning)
    schemas = [fragment.physical_schema for fragment in made.get_fragments()]
    schema = pa.unify_schemas([made.schema, *schemas], promote_options="permissive")
    return made.replace_schema(schema.remove_metadata())


def _of_dataset(path: str, symbols: list[str], columns: Collection[str] | None) -> pyarrow.Table:
    import pyarrow.compute as pc

    made = dataset(path)
    names = [name for name in made.schema.names if name not in ("date", "file", "symbol")]
    if columns is not None:
        unknown = set(columns) - set(made.schema.names)
        if unknown:
            raise ParameterError(f"the dataset has no column {sorted(unknown)[0]!r}", path=path)
        names = [name for name in names if name in columns]
    return made.to_table(["date", "file", "symbol", *names], filter=pc.field("symbol").isin(symbols))


def _changes(table: pyarrow.Table) -> pyarrow.BooleanArray:
    import pyarrow as pa

    names = [name for name in table.column_names if name not in ("date", "file")]
    same_symbol = [names.index("symbol"), names.index("_series")]
    rows = list(zip(*(table[name].to_pylist() for name in names), strict=True))
    kept = []
    for at, row in enumerate(rows):
        last = at + 1 == len(rows) or any(rows[at + 1][key] != row[key] for key in same_symbol)
        kept.append(at == 0 or last or row != rows[at - 1])
    return pa.array(kept, pa.bool_())
