"""Symbol files as a data source of Apache Spark 4.1 and later.

    spark.dataSource.register(torvaapi.spark.SymbolFiles)
    frame = spark.read.format("torva").option("dictionary", "fields.json").load("archive/2026-*/*.sym")

The package must be installed where the executors run. Paths are as they see them, or URLs of fsspec.
"""

from __future__ import annotations

import json
import warnings
from collections.abc import Callable, Iterable, Iterator
from contextlib import AbstractContextManager
from typing import TYPE_CHECKING, Any, NamedTuple

import pyarrow as pa
import pyarrow.compute as pc
from pyspark.sql import datasource as ds
from pyspark.sql.pandas.types import from_arrow_schema, to_arrow_schema
from pyspark.sql.types import StructType

from ._errors import FormatError, ParameterError
from ._paths import SourceFile, common_schema, conformed, find, opened

if TYPE_CHECKING:
    from ._file import File

_FILE = "file"
_MODES = ("FAILFAST", "DROPMALFORMED", "PERMISSIVE")
_OPEN_COST = 4 << 20  # bytes that could be read while a file is opened, as Spark's own file sources count


class SymbolFiles(ds.DataSource):
    """The symbols of files, a row for each, with a column `file`: the path or URL of the row's file.

    Options:
      path           paths, globs and URLs; load() sets it
      dictionary     names and types of the fields; default: FILE.fields.json of each file
      encoding       character set of the texts; default: utf-8
      columns        fields, with commas; default: all. A schema of the user's own has the same effect
      symbols        only these, with commas; default: all
      mergeSchema    true: the columns of all files; default: those of the last file by name
      mode           of damaged files: FAILFAST (default) fails the job, DROPMALFORMED leaves the file out,
                     PERMISSIVE keeps the rows before the damage; both warn in the log of the executor
      partitionBytes of symbol files in a partition; default: 128 MiB. Larger files are cut by ranges of records, except
                     with DROPMALFORMED and PERMISSIVE; small ones share a partition
      pushFilters    true: filters are evaluated while files are read, where spark.sql.python.filterPushdown.enabled
                     allows it. Off by default, because Spark 4.1 to 4.3 keep the filters of a query with the DataFrame:
                     other queries of the same DataFrame, and unions and joins of it with itself, then lack rows.
                     Load anew for each query
    """

    @classmethod
    def name(cls) -> str:
        return "torva"

    def schema(self) -> StructType:
        files = self.files()
        schemas = [self._schema_of(file) for file in (files if self.flag("mergeSchema") else files[-1:])]
        return from_arrow_schema(pa.unify_schemas([*schemas, pa.schema([(_FILE, pa.string())])]))

    def reader(self, schema: StructType) -> SymbolReader:
        return SymbolReader(self, schema)

    def files(self) -> list[SourceFile]:
        paths = json.loads(self.options.get("paths", "[]"))
        if "path" in self.options:
            paths.append(self.options["path"])
        if not paths:
            raise ParameterError("load() needs a path")
        return find(paths)

    def opened(self, path: str) -> AbstractContextManager[File]:
        return opened(path, dictionary=self.options.get("dictionary"), encoding=self.options.get("encoding", "utf-8"))

    @property
    def mode(self) -> str:
        mode = self.options.get("mode", "FAILFAST").upper()
        if mode not in _MODES:
            raise ParameterError(f"mode is one of {', '.join(_MODES)}, not {mode}")
        return mode

    def flag(self, name: str) -> bool:
        return bool(self.options.get(name, "false").lower() == "true")

    def names(self, option: str) -> list[str] | None:
        names = [name.strip() for name in self.options.get(option, "").split(",") if name.strip()]
        return names or None

    def _schema_of(self, file: SourceFile) -> pa.Schema:
        with self.opened(file.path) as source:
            schema = common_schema(source.stream(self.names("columns")).to_reader().schema).remove_metadata()
        decimal = pa.decimal128(20, 0)  # Spark has no unsigned integers
        return pa.schema([(it.name, decimal if it.type == pa.uint64() else it.type) for it in schema])


class _Range(NamedTuple):
    path: str
    records: tuple[int, int] | None


class Partition(ds.InputPartition):
    """Files, or ranges of records of them, that one task reads."""

    def __init__(self, ranges: list[_Range]) -> None:
        super().__init__(ranges)


class SymbolReader(ds.DataSourceReader):
    """Reads the columns of a schema. Rows that pushed filters refuse are not handed to Spark, files that they refuse
    are not opened."""

    def __init__(self, source: SymbolFiles, schema: StructType) -> None:
        self.source = source
        self.mode = source.mode
        names = source.names("symbols")
        self.symbols = None if names is None else pa.array(names, pa.string())
        self.schema = to_arrow_schema(schema)
        self.filters: list[ds.Filter] = []

    def pushFilters(self, filters: list[ds.Filter]) -> Iterable[ds.Filter]:
        pushed = self.source.flag("pushFilters")
        for filter in filters:
            if not pushed or _test(filter, self.schema) is None:
                yield filter
            else:
                self.filters.append(filter)

    def partitions(self) -> list[Partition]:
        most = int(self.source.options.get("partitionBytes", 128 << 20))
        partitions: list[Partition] = []
        ranges: list[_Range] = []
        held = 0
        for file in self.source.files():
            if not self._wants(file.path):
                continue
            cost = file.size + _OPEN_COST
            if ranges and held + cost > most:
                partitions.append(Partition(ranges))
                ranges, held = [], 0
            if file.size > most and self.mode == "FAILFAST":
                partitions += [Partition([_Range(file.path, records)]) for records in self._cut(file.path, most)]
                continue
            ranges.append(_Range(file.path, None))
            held += cost
        if ranges or not partitions:
            partitions.append(Partition(ranges))
        return partitions

    def read(self, partition: ds.InputPartition) -> Iterator[pa.RecordBatch]:
        for path, records in partition.value:
            try:
                with self.source.opened(path) as file:
                    yield from self._batches(file, path, records)
            except FormatError as error:
                if self.mode == "FAILFAST":
                    raise
                warnings.warn(f"left out: {error}", stacklevel=1)

    def _batches(self, file: File, path: str, records: tuple[int, int] | None) -> Iterator[pa.RecordBatch]:
        stream = file.stream(self._fields(file), records=records)
        if stream.damage is not None:
            message = f"{path}: {stream.damage.message}"
            if self.mode != "PERMISSIVE":
                raise FormatError(message, path=path, section=2, offset=stream.damage.offset, code=stream.damage.code)
            warnings.warn(f"read up to the damage: {message}", stacklevel=1)
        for batch in stream:
            if self.symbols is not None:
                batch = batch.filter(pc.is_in(batch.column(0).cast(pa.string()), self.symbols))
            made = conformed(batch, self.schema, path, **{_FILE: path})
            for filter in self.filters:
                test = _test(filter, self.schema)
                assert test is not None
                made = made.filter(test(made.column(filter.attribute[0])))
            if made.num_rows > 0:
                yield made

    def _fields(self, file: File) -> list[str]:
        """Columns of the schema that the file knows by its dictionary, or whose name is a field's number."""
        fields = []
        for name in self.schema.names:
            if name in (_FILE, "symbol"):
                continue
            try:
                file._ids([name])
                fields.append(name)
            except ParameterError:
                continue  # null in this file
        return fields

    def _wants(self, path: str) -> bool:
        file = pa.array([path])
        tests = [_test(it, self.schema) for it in self.filters if it.attribute == (_FILE,)]
        return all(test(file)[0].as_py() for test in tests if test is not None)

    def _cut(self, path: str, most: int) -> list[tuple[int, int]]:
        with self.source.opened(path) as file:
            return file.record_ranges(most)


_Test = Callable[[pa.Array], pa.BooleanArray]


def _test(filter: ds.Filter, schema: pa.Schema) -> _Test | None:
    """The filter as a function of its column; None where Spark has to evaluate it."""
    attribute: tuple[str, ...] = getattr(filter, "attribute", ())
    if len(attribute) != 1 or attribute[0] not in schema.names:
        return None
    kind = schema.field(attribute[0]).type
    if not (pa.types.is_string(kind) or pa.types.is_int64(kind) or pa.types.is_date(kind)):
        return None  # Spark's floats compare in an order of their own
    if isinstance(filter, ds.IsNull):
        return pc.is_null
    if isinstance(filter, ds.IsNotNull):
        return pc.is_valid
    value: Any = getattr(filter, "value", None)
    if isinstance(filter, ds.In):
        return lambda column: pc.is_in(column, pa.array([it for it in value if it is not None], kind))
    compare = {
        ds.EqualTo: pc.equal, ds.GreaterThan: pc.greater, ds.GreaterThanOrEqual: pc.greater_equal,
        ds.LessThan: pc.less, ds.LessThanOrEqual: pc.less_equal,
    }.get(type(filter))  # fmt: skip
    if compare is not None and value is not None:
        return lambda column: compare(column, pa.scalar(value, kind))
    match = {
        ds.StringStartsWith: pc.starts_with, ds.StringEndsWith: pc.ends_with, ds.StringContains: pc.match_substring
    }.get(type(filter))  # fmt: skip
    if match is not None:
        return lambda column: match(column, value)
    return None
