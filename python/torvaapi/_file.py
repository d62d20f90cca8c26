"""Symbol files: opening, reading, checking, comparing, writing and following them."""

from __future__ import annotations

import os
import stat
from collections.abc import Collection, Iterator, Sequence
from types import TracebackType
from typing import TYPE_CHECKING, Any, NamedTuple, Protocol

from . import _native
from ._errors import DamagedError, Error, LimitError, OpenError, ParameterError, of_system, raise_failure
from ._table import _BATCH, Damage, Table, Where

if TYPE_CHECKING:
    import pyarrow

_SYMBOLS = 2
_NO_SECTION = -10
_NO_DEFAULTS, _OWN_FLAGS, _NO_DICTIONARIES = 1, 2, 4
_ABSENT = 0xFFFF  # a field id, with which a load returns the symbols alone
_MOST_UNPACKED = 4 << 30
_SECTIONS = {name: id for id, name, _ in _native.sections()}


class _Reader(Protocol):
    def read(self, size: int = ..., /) -> bytes: ...


class _ArrowStream(Protocol):
    def __arrow_c_stream__(self, requested_schema: object = None) -> object: ...


Path = str | bytes | os.PathLike[str] | os.PathLike[bytes]
Source = Path | memoryview | bytearray | _Reader


def open(
    source: Source,
    *,
    dictionary: Path | None = None,
    encoding: str = "utf-8",
    threads: int | None = None,
    memory_limit: int | None = None,
) -> File:
    """Opens a symbol file.

    source: a path (`.gz` and `.zst` are unpacked into memory), the file's bytes, or a binary file object, which is
    read to its end. bytes are contents, never a path; mutable memory is copied.
    dictionary: a JSON file with names and types of the fields; by default FILE.fields.json beside the file, where
    there is one. encoding: the character set of the texts. threads: how many load a table; by default one for each
    processor, 8 at most. memory_limit: bytes that a table may take; by default 64 times the file and 64 MiB.

    Raises OpenError (FileNotFoundError, PermissionError, ...), ParameterError.
    """
    return File(source, dictionary=dictionary, encoding=encoding, threads=threads, memory_limit=memory_limit)


class Finding(NamedTuple):
    """One thing that is wrong in a file."""

    section: int
    """0 for the section directory and the file as a whole."""
    offset: int | None
    kind: str
    """directory, size, count, cut, duplicate, text or reader."""
    what: str
    expected: str
    found: str
    message: str
    """All of it as a sentence."""
    rest_not_checked: bool
    """Nothing could be determined after it in its section."""


class Findings(tuple[Finding, ...]):
    """The findings of a check, by section and offset."""

    total: int
    """How many there are, with those beyond the limit."""
    readable: bool
    """Whether the library opens the file at all."""

    @property
    def sound(self) -> bool:
        return self.total == 0


class SymbolStream:
    """Symbols as an Arrow stream that holds one batch at a time. It can be taken once."""

    damage: Damage | None
    """What ends the stream early: its rows are those before the damage, and no error follows them."""

    def __init__(self, stream: _ArrowStream | object, damage: Damage | None) -> None:
        self._stream = stream
        self.damage = damage

    def to_reader(self) -> pyarrow.RecordBatchReader:
        """The batches, as pyarrow reads them."""
        import pyarrow

        return pyarrow.RecordBatchReader.from_stream(self)

    def __iter__(self) -> Iterator[pyarrow.RecordBatch]:
        """The batches up to the damage, where there is one. Raises OpenError for a file that cannot be read."""
        reader = self.to_reader()
        while True:
            try:
                batch = reader.read_next_batch()
            except StopIteration:
                return
            except OSError as error:
                if self.damage is None:
                    raise OpenError(str(error)) from None
                return
            yield batch

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        stream, self._stream = self._stream, None
        if stream is None:
            raise ParameterError("the stream was taken before")
        return stream.__arrow_c_stream__() if hasattr(stream, "__arrow_c_stream__") else stream


class File:
    """An open symbol file. Threads may share one; a forked child may use its parent's."""

    path: str | None
    """None for bytes and file objects without a name."""

    def __init__(
        self,
        source: Source,
        *,
        dictionary: Path | None,
        encoding: str,
        threads: int | None,
        memory_limit: int | None,
    ) -> None:
        self._source: int | bytes | None = None
        self._encoding = encoding
        self._threads = min(os.cpu_count() or 1, 8) if threads is None else threads
        if not 1 <= self._threads <= 64:
            raise ParameterError("threads must be between 1 and 64")
        if not encoding.isascii():
            raise ParameterError(f"encoding {encoding!r} is unknown")
        self._limit = min(memory_limit or 0, (1 << 64) - 1)
        self._all: Table | None = None
        self.path, self._source = _open(source)
        self._dictionary = os.fsencode(dictionary) if dictionary is not None else _beside(self.path)

    def close(self) -> None:
        """Closes the file. Tables stay what they are. A closed file may be closed again."""
        source, self._source = self._source, None
        self._all = None
        if isinstance(source, int):
            os.close(source)

    @property
    def closed(self) -> bool:
        return self._source is None

    def __enter__(self) -> File:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<torvaapi.File {self.path!r}{', closed' if self.closed else ''}>"

    # --- Tables

    @property
    def sections(self) -> Table:
        """The section directory, in file order. Damage of it is in `damage`, and raises nothing."""
        return self._load(0)

    def symbols(
        self,
        columns: Collection[str | int] | None = None,
        where: Where | None = None,
        batch_size: int = _BATCH,
        *,
        defaults: bool = True,
        own: bool = False,
        dictionaries: bool = True,
    ) -> Table:
        """The symbols: a column `symbol`, and one for each field, by field id.

        columns: names or ids of the wanted fields; `symbol` always comes, and comes first.
        where: conditions by column name, all of which a row must meet: a value, a collection of values, or a function
        that takes a value and is not called for null. They are tested in Python, after the load; polars or DuckDB
        filter a large table faster.
        batch_size: rows of a batch of the table's stream.
        defaults: without it a symbol without a value of its own has null, not the file's default field.
        own: with each field a column NAME.own, whether the value is the record's own.
        dictionaries: without it texts are never Arrow dictionaries.

        Raises DamagedError, whose `table` has the rows before the damage; LimitError, FormatError, ParameterError.
        """
        if not 0 < batch_size < 1 << 32:
            raise ParameterError("batch_size must be positive")
        flags = (0 if defaults else _NO_DEFAULTS) | (_OWN_FLAGS if own else 0) | (0 if dictionaries else _NO_DICTIONARIES)
        if columns is None:
            return self._sound(self._load(_SYMBOLS, (), flags, batch_size), where)
        wanted = set(self._ids(columns))
        loaded = wanted.union(self._ids(name.removesuffix(".own") for name in where or ())) or {_ABSENT}
        table = self._load(_SYMBOLS, sorted(loaded), flags, batch_size)
        return self._sound(table, where, loaded - wanted)

    def stream(
        self,
        columns: Collection[str | int] | None = None,
        batch_size: int = _BATCH,
        *,
        defaults: bool = True,
        records: tuple[int, int] | None = None,
    ) -> SymbolStream:
        """The symbols as batches, with memory for one of them whatever the size of the file, which is read twice.

        columns, defaults: as of symbols(); for no field at all a column of nulls follows `symbol`. records: one of
        record_ranges(). What was unpacked or came as bytes is loaded whole. Raises LimitError, FormatError,
        ParameterError; damage is in the stream.
        """
        if not 0 < batch_size < 1 << 32:
            raise ParameterError("batch_size must be positive")
        flags = _NO_DICTIONARIES | (0 if defaults else _NO_DEFAULTS)
        fields = [] if columns is None else sorted(set(self._ids(columns))) or [_ABSENT]
        source = self._take()
        if isinstance(source, bytes):
            table = self._load(_SYMBOLS, fields, flags, batch_size)
            return SymbolStream(table, table.damage)
        first, end = records or (2, (1 << 64) - 1)
        try:
            stream, code, offset, message = _native.stream(
                source, fields, flags, self._dictionary, _charset(self._encoding), self._limit, batch_size, first, end
            )
        except _native.Failure as failure:
            raise_failure(failure, self.path, _SYMBOLS)
        return SymbolStream(stream, Damage(code, _SYMBOLS, offset, message) if code else None)

    def record_ranges(self, part_bytes: int) -> list[tuple[int, int]]:
        """The symbols cut into ranges of records for stream(), each but the last of at least `part_bytes` bytes.

        Only the sizes of records are looked at: in a damaged file, ranges after the damage have rows too.
        """
        source = self._take()
        cuts = [] if isinstance(source, bytes) else _native.cut_records(source, max(part_bytes, 1))
        return list(zip([2, *cuts], [*cuts, (1 << 64) - 1], strict=True))

    def table(self, name: str | int) -> Table:
        """Any section by name or id: "eidr-countries". Its lower levels are `below`. "symbols" is symbols().

        Raises DamagedError, with code -10 for a section that the file does not have; ParameterError for a name that
        no section has.
        """
        return self._sound(self._table(name))

    def tables(self) -> dict[str, Table]:
        """Every section that the file has, by name, in file order. Damaged ones end where their damage is."""
        directory = self.sections
        readable = zip(directory.column("name"), directory.column("readable"), strict=True)
        return {name: self._table(name) for name, is_readable in readable if is_readable}

    # --- Lookup

    def get(self, symbol: str | bytes, default: Any = None) -> Any:
        """The first row with this symbol as a named tuple. bytes: of a symbol column that is binary."""
        table = self._lookup()
        row = table._native.find(_bytes(symbol))
        return default if row < 0 else table.row(row)

    def __getitem__(self, symbol: str | bytes) -> Any:
        row = self.get(symbol)
        if row is None:
            raise KeyError(symbol)
        return row

    def __contains__(self, symbol: object) -> bool:
        return isinstance(symbol, (str, bytes)) and self._lookup()._native.find(_bytes(symbol)) >= 0

    def prefix(self, prefix: str | bytes, limit: int | None = 10) -> list[Any]:
        """The rows whose symbol begins with `prefix`, sorted by symbol; None: all of them."""
        table = self._lookup()
        most = (1 << 63) - 1 if limit is None else max(limit, 0)
        return [table.row(row) for row in table._native.prefix(_bytes(prefix), most)]

    # --- Check

    def check(self, limit: int = 20) -> Findings:
        """What is wrong in the file: sizes, counts, repetitions, texts, and what readers get.

        limit: findings of one kind kept for each section; 0 keeps all. Raises FormatError for what is not a symbol
        file.
        """
        try:
            found, total, readable = _native.check(
                self._take(), _shown(self.path), self._encoding, limit or (1 << 64) - 1
            )
        except _native.Failure as failure:
            raise_failure(failure, self.path)
        findings = Findings(Finding(*finding) for finding in found)
        findings.total = total
        findings.readable = readable
        return findings

    # --- Inside

    def _take(self) -> int | bytes:
        """What a native call takes over."""
        source = self._source
        if source is None:
            raise ParameterError("the file is closed", path=self.path)
        return os.dup(source) if isinstance(source, int) else source

    def _load(self, section: int, fields: Sequence[int] = (), flags: int = 0, batch_size: int = _BATCH) -> Table:
        try:
            native = _native.load(
                self._take(), section, list(fields), flags, self._threads, self._dictionary,
                _charset(self._encoding), self._limit,
            )  # fmt: skip
        except _native.Failure as failure:
            raise_failure(failure, self.path, section or None)
        return Table(native, batch_size)

    def _table(self, name: str | int) -> Table:
        section = _SECTIONS.get(name) if isinstance(name, str) else name
        if section is None or section not in _SECTIONS.values():
            raise ParameterError(f"no section is named {name!r}", path=self.path)
        return self._load(section)

    def _sound(self, table: Table, where: Where | None = None, without: Collection[int] = ()) -> Table:
        rows = table._select(table._matching_rows(where or {}), without) if where or without else table
        damage = table.damage
        if damage is None:
            return rows
        name = f"{self.path}: " if self.path else ""
        raise DamagedError(
            f"{name}{damage.message}", table=rows, path=self.path, section=damage.section, offset=damage.offset,
            code=damage.code,
        )  # fmt: skip

    def _lookup(self) -> Table:
        # Threads that come first at once may each load it; the last one stays.
        table = self._all
        if table is None:
            table = self._all = self.symbols()
        return table

    def _ids(self, columns: Collection[str | int] | Iterator[str]) -> list[int]:
        names = _field_names(self._dictionary)
        return [id for id in (_field_id(column, names, self.path) for column in columns) if id is not None]


def diff(
    old: File | Source,
    new: File | Source,
    *,
    sections: Collection[str | int] = (),
    columns: Collection[str | int] = (),
    dictionary: Path | None = None,
    encoding: str = "utf-8",
) -> Table:
    """What was added, removed and changed from `old` to `new`, whatever the order of their records.

    A row for each value: section, name (of the section), change, key (the symbol, or the path of a record), field,
    old, new. A record without values has one row; a section that only one file has, too. Values are texts, in the
    types of the dictionary, by default that of `new`, else of `old`. sections, columns: those that count; all by default.

    Holds both files' records in memory. Raises DamagedError, whose `table` has what could be compared.
    """
    opened: list[File] = []
    try:
        files = []
        for source in (old, new):
            if not isinstance(source, File):
                source = open(source, encoding=encoding)
                opened.append(source)
            files.append(source)
        path = os.fsencode(dictionary) if dictionary is not None else files[1]._dictionary or files[0]._dictionary
        names = _field_names(path)
        ids = [_field_id(column, names, None) for column in columns]
        wanted = [_SECTIONS.get(name) if isinstance(name, str) else name for name in sections]
        if None in wanted:
            raise ParameterError(f"no section is named {list(sections)[wanted.index(None)]!r}")
        shown = [_shown(file.path) for file in files]
        try:
            native, problems = _native.diff(
                files[0]._take(), files[1]._take(), shown, path, files[1]._encoding,
                [id for id in wanted if id is not None], [id for id in ids if id is not None],
            )  # fmt: skip
        except _native.Failure as failure:
            raise_failure(failure, None)
    finally:
        for file in opened:
            file.close()
    table = Table(native)
    if problems:
        side, section, offset, what = problems[0]
        raise DamagedError(
            f"{shown[side]}: {what}", table=table, path=files[side].path, section=section, offset=offset or 0, code=-9
        )
    return table


def write(
    path: Path,
    symbols: _ArrowStream,
    *,
    sections: File | Path | None = None,
    dictionary: Path | None = None,
    encoding: str = "utf-8",
) -> None:
    """Writes symbols as a symbol file, which takes the place of an older one when it is complete.

    symbols: anything that speaks the Arrow stream protocol, with a column `symbol` and a column for each field: its
    id is the column's metadata "torva.field", else the dictionary's for its name, else its name as a number.
    sections: a file whose default fields and other sections are copied; it may be `path`. Without it the file has
    symbols alone. dictionary: by default FILE.fields.json beside `sections` or `path`. encoding: of the texts.

    Raises ParameterError for columns and values that cannot be written, OpenError, FormatError, LimitError.
    """
    to = os.fsencode(path)
    base: bytes | None = None
    if isinstance(sections, File):
        if sections.path is None or not isinstance(sections._source, int):
            raise ParameterError("sections must be an open file that has a path")
        base = os.fsencode(sections.path)
    elif sections is not None:
        base = os.fsencode(sections)
    fields = os.fsencode(dictionary) if dictionary is not None else _beside(os.fsdecode(base or to))
    try:
        _native.write(to, base, symbols.__arrow_c_stream__(), fields, _charset(encoding))
    except _native.Failure as failure:
        raise_failure(failure, os.fsdecode(to), _SYMBOLS)


class Watch:
    """The symbols of a file that may be replaced or rewritten. Threads may share one."""

    def __init__(
        self, path: Path, dictionary: Path | None, encoding: str, threads: int, memory_limit: int | None
    ) -> None:
        self.path = os.fsdecode(path)
        fields = os.fsencode(dictionary) if dictionary is not None else _beside(self.path)
        try:
            self._native = _native.Watch(
                os.fsencode(path), fields, _charset(encoding), threads, memory_limit or 0
            )
        except _native.Failure as failure:
            raise_failure(failure, self.path)

    @property
    def table(self) -> Table:
        """The table of the moment. It stays what it is whatever becomes of the file; see Table.damage."""
        return Table(self._native.get())

    def refresh(self) -> bool:
        """Loads the file again where it changed, and returns whether it did.

        Where it cannot be loaded an Error is raised, the table stays, and the next call tries again.
        """
        try:
            return self._native.refresh()
        except _native.Failure as failure:
            raise_failure(failure, self.path)


def watch(
    path: Path,
    *,
    dictionary: Path | None = None,
    encoding: str = "utf-8",
    threads: int = 1,
    memory_limit: int | None = None,
) -> Watch:
    """Loads the symbols of a file and follows it; the arguments are those of open()."""
    return Watch(path, dictionary, encoding, threads, memory_limit)


# --- Sources


def _open(source: Source) -> tuple[str | None, int | bytes]:
    """The path, where there is one, and a descriptor or the bytes."""
    if isinstance(source, bytes):
        return None, source
    if isinstance(source, (memoryview, bytearray)):
        return None, bytes(source)
    if isinstance(source, (str, os.PathLike)):
        path = os.fsdecode(source)
        if path.endswith((".gz", ".zst")):
            return path, _unpacked(path)
        return path, _descriptor(path)
    if hasattr(source, "read"):
        name = getattr(source, "name", None)
        contents = source.read()
        if not isinstance(contents, bytes):
            raise ParameterError("the file object is not a binary one")
        return name if isinstance(name, str) else None, contents
    raise TypeError(f"a path, bytes or a binary file object is needed, not {type(source).__name__}")


def _descriptor(path: str) -> int:
    try:
        # A pipe without a writer must not block.
        flags = os.O_RDONLY | getattr(os, "O_BINARY", 0) | getattr(os, "O_NONBLOCK", 0)
        descriptor = os.open(path, flags)
    except OSError as error:
        raise of_system(error, path) from None
    except ValueError as error:
        raise ParameterError(f"{path!r}: {error}") from None
    mode = os.fstat(descriptor).st_mode
    if not stat.S_ISREG(mode):
        os.close(descriptor)
        if stat.S_ISDIR(mode):
            raise of_system(IsADirectoryError(21, "Is a directory"), path)
        raise OpenError(f"{path}: not a regular file", path=path)
    return descriptor


def _unpacked(path: str) -> bytes:
    with os.fdopen(_descriptor(path), "rb") as packed:
        try:
            unpacked = _unpacker(path, packed)
            contents = unpacked.read(_MOST_UNPACKED + 1)
        except OSError as error:
            raise OpenError(f"{path}: cannot be unpacked: {error}", path=path) from None
        except (EOFError, ValueError) as error:
            raise OpenError(f"{path}: cannot be unpacked: {error}", path=path) from None
        except Error:
            raise
        except Exception as error:  # each unpacker has errors of its own
            raise OpenError(f"{path}: cannot be unpacked: {error}", path=path) from None
    if len(contents) > _MOST_UNPACKED:
        raise LimitError(f"{path}: more than {_MOST_UNPACKED:,} bytes when unpacked", path=path)
    return contents


def _unpacker(path: str, packed: Any) -> _Reader:
    if path.endswith(".gz"):
        import gzip

        return gzip.GzipFile(fileobj=packed)
    try:
        from compression import zstd  # Python 3.14

        return zstd.ZstdFile(packed)  # type: ignore[no-any-return]
    except ImportError:
        pass
    try:
        import zstandard
    except ImportError:
        raise ParameterError(f"{path}: needs the package zstandard (torvaapi[zstd])", path=path) from None
    return zstandard.ZstdDecompressor().stream_reader(packed, read_across_frames=True)


# --- Dictionary and encoding


def _beside(path: str | None) -> bytes | None:
    """FILE.fields.json where there is one; for FILE.gz and FILE.zst that of FILE, too."""
    if path is None:
        return None
    for name in (path, path.removesuffix(".gz").removesuffix(".zst")):
        if os.path.isfile(name + ".fields.json"):
            return os.fsencode(name + ".fields.json")
    return None


def _bytes(symbol: str | bytes) -> bytes:
    return symbol if isinstance(symbol, bytes) else symbol.encode("utf-8", "surrogatepass")


def _shown(path: str | None) -> str:
    """A path in messages, as UTF-8."""
    return "bytes" if path is None else path.encode(errors="backslashreplace").decode()


def _charset(encoding: str) -> str | None:
    return None if encoding.lower().replace("_", "-") in ("utf-8", "utf8") else encoding


def _field_names(dictionary: bytes | None) -> dict[str, int]:
    if dictionary is None:
        return {}
    import json

    path = os.fsdecode(dictionary)
    try:
        with os.fdopen(_descriptor(path), encoding="utf-8-sig") as text:
            fields = json.load(text)
        return {definition.get("name", number): int(number) for number, definition in fields.items()}
    except (AttributeError, ValueError, RecursionError) as error:
        raise ParameterError(f"dictionary {path}: {error}", path=path) from None


def _field_id(column: str | int, names: dict[str, int], path: str | None) -> int | None:
    """None for the column `symbol`."""
    if column == "symbol":
        return None
    id = column if isinstance(column, int) else names.get(column)
    if id is None and isinstance(column, str):
        number = column.removeprefix("symbol_" if column.startswith("symbol_") else "field_")
        id = int(number) if number.isascii() and number.isdigit() else None
    if id is None or not 0 <= id <= 0xFFFF:
        raise ParameterError(f"no field is named {column!r}", path=path)
    return id
