"""Files of an archive: paths, globs and URLs of fsspec, their dates, and their columns in a common form."""

from __future__ import annotations

import contextlib
import datetime
import os
import re
import tempfile
from collections.abc import Iterable, Iterator
from typing import TYPE_CHECKING, Any, NamedTuple

from ._errors import Error, OpenError, ParameterError
from ._file import File, open

if TYPE_CHECKING:
    import pyarrow

# Year, month and day in a path: 2026-03-02, 20260302, 2026_03_02, year=2026/month=03/day=02.
DATE_PATTERN = r"(?<!\d)(\d{4})(?:[-_.]?|/(?:month=)?)(0[1-9]|1[0-2])(?:[-_.]?|/(?:day=)?)(0[1-9]|[12]\d|3[01])(?!\d)"
_SPECIAL = re.compile(r"[*?\[]")


class SourceFile(NamedTuple):
    """A file, with what identifies its contents."""

    path: str
    """A path, or a URL of fsspec."""
    size: int
    modified: str
    """What its file system has: a time, else an entity tag or a checksum."""

    @property
    def name(self) -> str:
        return self.path.rsplit("/", 1)[-1]


def find(patterns: Iterable[str | os.PathLike[str]]) -> list[SourceFile]:
    """The files of paths, globs (`**` too) and URLs, each once, sorted. Raises OpenError where one names none."""
    from fsspec.core import url_to_fs

    found: dict[str, SourceFile] = {}
    for given in patterns:
        pattern = os.fspath(given)
        try:
            fs, path = url_to_fs(pattern)
            if _SPECIAL.search(path):
                infos = list(fs.glob(path, detail=True).values())
            else:
                infos = [fs.info(path)]
        except (OSError, ValueError, ImportError) as error:
            raise OpenError(f"{pattern}: {error}", path=pattern) from None
        files = [info for info in infos if info["type"] == "file"]
        if not files:
            raise OpenError(f"{pattern}: no such file", path=pattern)
        for info in files:
            url = fs.unstrip_protocol(info["name"]) if "://" in pattern else os.path.relpath(info["name"])
            if "://" not in pattern and os.path.isabs(pattern):
                url = info["name"]
            stamp = next((info[key] for key in ("mtime", "LastModified", "updated", "ETag", "created") if key in info), "")
            found[url] = SourceFile(url, int(info["size"]), str(stamp))
    return [found[url] for url in sorted(found)]


@contextlib.contextmanager
def opened(path: str, *, dictionary: str | None = None, encoding: str = "utf-8") -> Iterator[File]:
    """The file at a path or URL; of a URL a temporary copy, with the dictionary beside it."""
    with contextlib.ExitStack() as stack:
        local = path
        if "://" in path or (dictionary is not None and "://" in dictionary):
            directory = stack.enter_context(tempfile.TemporaryDirectory())
            if "://" in path:
                local = _fetch(path, directory)
                if dictionary is None:
                    with contextlib.suppress(OpenError):
                        _fetch(path + ".fields.json", directory)
            if dictionary is not None and "://" in dictionary:
                dictionary = _fetch(dictionary, directory)
        try:
            file = stack.enter_context(open(local, dictionary=dictionary, encoding=encoding))
        except Error as error:
            raise _named(error, local, path) from None
        file.path = path
        yield file


def _fetch(url: str, directory: str) -> str:
    from fsspec.core import url_to_fs

    to = os.path.join(directory, url.rsplit("/", 1)[-1])
    try:
        fs, path = url_to_fs(url)
        fs.get_file(path, to)
    except OSError as error:
        raise OpenError(f"{url}: {error}", path=url) from None
    return to


def _named(error: Error, local: str, path: str) -> Error:
    """The error with the URL in place of the temporary copy."""
    error.message = error.message.replace(local, path)
    error.path = path
    return error


def date_of(path: str, pattern: str = DATE_PATTERN) -> datetime.date | None:
    """The last date in a path by a pattern with three groups, or groups named year, month and day."""
    for match in reversed(list(re.finditer(pattern, path))):
        groups = match.groupdict()
        year, month, day = (groups[key] for key in ("year", "month", "day")) if groups else match.groups()
        with contextlib.suppress(ValueError):
            return datetime.date(int(year), int(month), int(day))
    return None


def check_date_pattern(pattern: str) -> None:
    try:
        compiled = re.compile(pattern)
    except re.error as error:
        raise ParameterError(f"date pattern {pattern!r}: {error}") from None
    if compiled.groups != 3 or set(compiled.groupindex) not in (set(), {"year", "month", "day"}):
        raise ParameterError(f"date pattern {pattern!r}: needs the groups year, month and day")


def common_schema(schema: pyarrow.Schema) -> pyarrow.Schema:
    """The columns as they are in all files of an archive, whatever widths a file has: integers int64, unsigned ones of
    8 bytes uint64, floats double. Columns of nulls are left out."""
    import pyarrow as pa

    fields = []
    for field in schema:
        kind = field.type
        if pa.types.is_null(kind):
            continue
        if pa.types.is_integer(kind) and kind != pa.uint64():
            kind = pa.int64()
        elif pa.types.is_floating(kind):
            kind = pa.float64()
        elif pa.types.is_fixed_size_binary(kind):
            kind = pa.binary()
        elif pa.types.is_dictionary(kind):
            kind = kind.value_type
        elif pa.types.is_list(kind):
            kind = pa.list_(pa.int64())
        fields.append(pa.field(field.name, kind, metadata=field.metadata))
    return pa.schema(fields)


def conformed(batch: pyarrow.RecordBatch, schema: pyarrow.Schema, path: str, **constant: Any) -> pyarrow.RecordBatch:
    """The batch with exactly these columns: null where it has none, `constant` values for others.

    Raises FormatError for values that cannot be of their column's type.
    """
    import pyarrow as pa

    from ._errors import FormatError

    columns = []
    for field in schema:
        if field.name in constant:
            columns.append(pa.repeat(pa.scalar(constant[field.name], field.type), batch.num_rows))
            continue
        at = batch.schema.get_field_index(field.name)
        if at < 0:
            columns.append(pa.nulls(batch.num_rows, field.type))
            continue
        try:
            columns.append(batch.column(at).cast(field.type))
        except (pa.ArrowInvalid, pa.ArrowNotImplementedError) as error:
            raise FormatError(f"{path}: column {field.name}: {error}", path=path, code=-9) from None
    return pa.RecordBatch.from_arrays(columns, schema=schema)
