"""Tables: immutable, in Arrow's memory layout."""

from __future__ import annotations

from collections import namedtuple
from collections.abc import Callable, Collection, Iterator, Mapping
from typing import TYPE_CHECKING, Any, NamedTuple

from . import _native
from ._errors import ParameterError

if TYPE_CHECKING:
    import numpy
    import pandas
    import polars
    import pyarrow

_TYPES = (
    "null", "bool", "int8", "int16", "int32", "int64", "uint8", "uint16", "uint32", "uint64", "float", "double",
    "date", "text", "binary", "fixed", "list",
)  # fmt: skip
_DATE = _TYPES.index("date")
_BATCH = 65536
_HEAD = 10

Where = Mapping[str, Any]


class Column(NamedTuple):
    """What a column holds."""

    name: str
    type: str
    """null, bool, int8 ... uint64, float, double, date, text, binary, fixed (bytes of one width) or list."""
    nulls: int
    field: int | None = None
    """The field id, of a symbol's field."""
    tag: int | None = None
    """The tag that the type was taken from, of a symbol's field."""
    dictionary: bool = False
    """Whether texts are an Arrow dictionary."""
    conflicts: int = 0
    """Values that are null because they cannot be of the column's type."""
    impossible: int = 0
    """Values that are null because they have no meaning as this type."""
    repeated: int = 0
    """Values left out because the record delivered one of this field before."""


class Schema(tuple[Column, ...]):
    """The columns of a table. pyarrow.schema() and others take it for an Arrow schema."""

    __slots__ = ()
    _native: Callable[[], object]

    def __arrow_c_schema__(self) -> object:
        return self._native()


class _BoundSchema(Schema):
    def __init__(self, columns: tuple[Column, ...], export: Callable[[], object]) -> None:
        self._native = export

    def __new__(cls, columns: tuple[Column, ...], export: Callable[[], object]) -> _BoundSchema:
        return super().__new__(cls, columns)


class Damage(NamedTuple):
    """What ends a table before its section's end."""

    code: int
    """The code with which an export of the C library ends the walk."""
    section: int
    offset: int
    """In bytes from the start of the file."""
    message: str


class Table:
    """Rows and columns of a section, or of other facts of a file. Any number of threads may read one."""

    __slots__ = ("__weakref__", "_batch_size", "_columns", "_native", "_row", "name", "section", "level")

    name: str
    """Of the rows: "symbols", "groups", ..."""
    section: int
    level: int

    def __init__(self, native: _native.Table, batch_size: int = _BATCH) -> None:
        self._native = native
        self._batch_size = batch_size
        columns: list[tuple[Column, int, bool]] = []
        for index, (name, kind, _, field, tag, nulls, *counts, numbered, own) in enumerate(native.columns()):
            tag_or_none = tag if field is not None else None
            column = Column(name, _TYPES[kind], nulls, field, tag_or_none, numbered, *counts)
            columns.append((column, index, False))
            if own:
                columns.append((Column(name + ".own", "bool", 0), index, True))
        self._columns = columns
        self._row: Any = None
        _, _, _, self.name, self.section, self.level, *_ = native.report()

    # --- What is in it

    def __len__(self) -> int:
        return self._native.rows

    @property
    def column_names(self) -> list[str]:
        return [column.name for column, _, _ in self._columns]

    @property
    def schema(self) -> Schema:
        return _BoundSchema(tuple(column for column, _, _ in self._columns), self._native.schema)

    @property
    def nbytes(self) -> int:
        """Memory of the columns."""
        return self._native.report()[6]

    @property
    def damage(self) -> Damage | None:
        """What ended the rows early; None where they came whole."""
        code, offset, message, _, section, *_ = self._native.report()
        return Damage(code, section, offset, message) if code else None

    @property
    def message(self) -> str:
        """What is wrong in the section, also where that took no rows away; empty where nothing is."""
        return self._native.report()[2]

    @property
    def below(self) -> Table | None:
        """The next level of a section, whose column `parent` is a row number of this table."""
        below = self._native.below()
        return None if below is None else Table(below, self._batch_size)

    # --- Rows

    def __iter__(self) -> Iterator[Any]:
        """The rows as named tuples. Names that Python does not allow are _0, _1, ... by position."""
        for first in range(0, len(self), _BATCH):
            yield from self._rows(first, first + _BATCH)

    def row(self, number: int) -> Any:
        """One row as a named tuple; negative numbers count from the end."""
        at = number + len(self) if number < 0 else number
        if not 0 <= at < len(self):
            raise IndexError(f"row {number} of {len(self)}")
        return next(self._rows(at, at + 1))

    def column(self, name: str) -> list[Any]:
        """The values of a column as Python objects; None for null."""
        return self._cells(self._position(name), 0, len(self))

    def select(self, rows: Collection[int]) -> Table:
        """A table with these rows in this order, copied. Negative numbers are not allowed."""
        try:
            return self._select(list(rows))
        except (IndexError, TypeError):
            raise IndexError(f"rows must be numbers from 0 to {len(self) - 1}") from None

    def matching(self, where: Where) -> Table:
        """A copy of the rows that meet every condition; see File.symbols."""
        return self._select(self._matching_rows(where))

    # --- Arrow

    def __arrow_c_schema__(self) -> object:
        return self._native.schema()

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        """The rows in batches that share the table's memory."""
        return self._native.stream(self._batch_size)

    def to_arrow(self, *, nested: bool = False) -> pyarrow.Table:
        """Without a copy. nested: with the levels below, each as a list of structs."""
        import pyarrow

        if not nested:
            return pyarrow.RecordBatchReader.from_stream(self).read_all()  # pyarrow.table would import pandas
        return pyarrow.Table.from_batches([pyarrow.record_batch(_Nested(self._native))])

    def to_polars(self) -> polars.DataFrame:
        """Texts of up to 12 bytes are copied, all else is not."""
        import polars

        return polars.DataFrame(_Views(self._native))

    def to_pandas(self) -> pandas.DataFrame:
        """With types of Arrow (pandas.ArrowDtype): integers stay integers where there are nulls."""
        import pandas

        frame: pandas.DataFrame = self.to_arrow().to_pandas(types_mapper=pandas.ArrowDtype)
        return frame

    def to_numpy(self, name: str) -> numpy.ndarray[Any, Any]:
        """A column as an array: of numbers without a copy, of dates as datetime64, of others as objects.

        Numbers and dates with nulls come as a masked array.
        """
        import numpy

        position = self._position(name)
        column, index, own = self._columns[position]
        number = not own and column.type in _TYPES[_TYPES.index("int8") : _DATE + 1]
        if not number:
            if column.type == "bool" and column.nulls == 0:
                return numpy.array(self.column(name), dtype=bool)
            array = numpy.empty(len(self), dtype=object)
            array[:] = self.column(name)
            return array
        values: numpy.ndarray[Any, Any] = self._native.values(index)
        if column.type == "date":
            values = values.astype("datetime64[D]")
        if column.nulls == 0:
            return values
        valid = numpy.unpackbits(self._native.validity(index), count=len(self), bitorder="little")
        return numpy.ma.MaskedArray(values, mask=valid == 0)

    # --- For people

    def __repr__(self) -> str:
        names, rows, more = self._head()
        widths = [max(map(len, cells)) for cells in zip(names, *rows, strict=True)]
        lines = [self._title()]
        for cells in (names, *rows):
            lines.append("  ".join(cell.ljust(width) for cell, width in zip(cells, widths, strict=True)).rstrip())
        return "\n".join(lines + more)

    def _repr_html_(self) -> str:
        from html import escape

        names, rows, more = self._head()

        def line(tag: str, cells: list[str]) -> str:
            return "<tr>" + "".join(f"<{tag}>{escape(cell)}</{tag}>" for cell in cells) + "</tr>"

        body = "".join(line("td", cells) for cells in rows)
        rest = "".join(f"<p>{escape(text)}</p>" for text in more)
        return (
            f"<div><p>{escape(self._title())}</p><table><thead>{line('th', names)}</thead>"
            f"<tbody>{body}</tbody></table>{rest}</div>"
        )

    def _title(self) -> str:
        return f"{self.name}: {len(self):,} rows, {len(self._columns)} columns"

    def _head(self) -> tuple[list[str], list[list[str]], list[str]]:
        """Names and cells of the first rows and columns as printable texts, and what is left out."""
        shown = self._columns[:_HEAD]
        columns = [self._cells(at, 0, _HEAD) for at in range(len(shown))]
        rows = [[_shown(cell) for cell in cells] for cells in zip(*columns, strict=True)]
        more = []
        if len(self) > _HEAD:
            more.append(f"... {len(self) - _HEAD:,} more rows")
        if len(self._columns) > _HEAD:
            more.append(f"... {len(self._columns) - _HEAD:,} more columns")
        if self.message:
            more.append("damaged: " + _shown(self.message, 200))
        return [_shown(column.name) for column, _, _ in shown], rows, more

    # --- Inside

    def _position(self, name: str) -> int:
        for position, (column, _, _) in enumerate(self._columns):
            if column.name == name:
                return position
        raise ParameterError(f"the table has no column {name!r}")

    def _cells(self, position: int, first: int, last: int) -> list[Any]:
        _, index, own = self._columns[position]
        return self._native.own_flags(index, first, last) if own else self._native.cells(index, first, last)

    def _rows(self, first: int, last: int) -> Iterator[Any]:
        if self._row is None:
            make: Any = namedtuple  # its names are not known to a type checker
            self._row = make("Row", self.column_names, rename=True)
        columns = [self._cells(position, first, last) for position in range(len(self._columns))]
        return map(self._row._make, zip(*columns, strict=True))

    def _select(self, rows: list[int] | None, without: Collection[int] = ()) -> Table:
        """Rows, and columns without those of some fields."""
        columns = [
            index for column, index, own in self._columns if not own and (column.field is None or column.field not in without)
        ]
        return Table(self._native.select(rows, columns), self._batch_size)

    def _matching_rows(self, where: Where) -> list[int] | None:
        """None: all."""
        rows: list[int] | None = None
        for name, wanted in where.items():
            rows = self._matching(self._position(name), _test_of(wanted), rows)
        return rows

    def _matching(self, position: int, test: Callable[[Any], Any], rows: list[int] | None) -> list[int]:
        found: list[int] = []
        if rows is not None:
            return [row for row in rows if test(self._cells(position, row, row + 1)[0])]
        for first in range(0, len(self), _BATCH):
            cells = self._cells(position, first, first + _BATCH)
            found += [row for row, cell in enumerate(cells, first) if test(cell)]
        return found


class _Views:
    """A table with texts in the layout of polars, which takes them as they are."""

    def __init__(self, native: _native.Table) -> None:
        self._native = native

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        return self._native.view_stream()


class _Nested:
    def __init__(self, native: _native.Table) -> None:
        self._native = native

    def __arrow_c_array__(self, requested_schema: object = None) -> tuple[object, object]:
        return self._native.nested()


def _test_of(wanted: Any) -> Callable[[Any], Any]:
    if callable(wanted):
        return lambda cell: cell is not None and wanted(cell)
    if isinstance(wanted, (list, tuple, set, frozenset, range)):
        return (wanted if isinstance(wanted, range) else frozenset(wanted)).__contains__
    return lambda cell: type(cell) is not list and cell == wanted


def _shown(cell: Any, most: int = 40) -> str:
    """A cell in one short line that cannot control a terminal."""
    if isinstance(cell, bytes):
        text = "0x" + cell[:most].hex()
    else:
        text = "" if cell is None else str(cell)[: most + 1]
    if not text.isprintable():
        text = "".join(c if c.isprintable() else c.encode("unicode_escape").decode("ascii") for c in text)
    return text if len(text) <= most else text[: most - 1] + "…"
