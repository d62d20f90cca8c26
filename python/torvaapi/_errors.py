"""What can go wrong, with the file, the section and the offset where it did."""

from __future__ import annotations

import errno
from typing import TYPE_CHECKING, NoReturn

from . import _native

if TYPE_CHECKING:
    from ._table import Table

ERR_OPEN, ERR_PARAM, ERR_FORMAT, ERR_LIMIT = -1, -2, -9, -20


class Error(Exception):
    """Base of all errors of this package.

    path: the file, None for bytes. section: its id, None for the file as a whole. offset: in bytes from the start
    of the file, None where it is not known. code: a TVT_ERR_ or SYM_ERR_ code of the C interface.
    """

    def __init__(
        self,
        message: str,
        *,
        path: str | None = None,
        section: int | None = None,
        offset: int | None = None,
        code: int = ERR_PARAM,
    ) -> None:
        super().__init__(message)
        self.message = message
        self.path = path
        self.section = section
        self.offset = offset
        self.code = code

    def __str__(self) -> str:
        return self.message


class OpenError(Error, OSError):
    """A file cannot be opened, read or written. errno and filename are those of the system's error."""

    def __init__(self, message: str, *, path: str | None = None, cause: OSError | None = None) -> None:
        super().__init__(message, path=path, code=ERR_OPEN)
        self.filename = path
        if cause is not None:
            self.errno = cause.errno
            self.strerror = cause.strerror


class _NotFound(OpenError, FileNotFoundError):
    pass


class _NotPermitted(OpenError, PermissionError):
    pass


class _IsDirectory(OpenError, IsADirectoryError):
    pass


_OF_SYSTEM: dict[int | None, type[OpenError]] = {
    errno.ENOENT: _NotFound,
    errno.EACCES: _NotPermitted,
    errno.EPERM: _NotPermitted,
    errno.EISDIR: _IsDirectory,
}


class ParameterError(Error, ValueError):
    """An argument is invalid: an unknown column or section, a value that cannot be written."""


class FormatError(Error, ValueError):
    """The file, or its dictionary, cannot be used."""


class LimitError(Error, MemoryError):
    """A table would take more memory than its limit."""


class DamagedError(FormatError):
    """A section is damaged, or the file does not have it. `table` has the rows before the damage."""

    def __init__(self, message: str, *, table: Table, path: str | None, section: int, offset: int, code: int) -> None:
        super().__init__(message, path=path, section=section, offset=offset, code=code)
        self.table = table


def of_system(cause: OSError, path: str) -> OpenError:
    kind = _OF_SYSTEM.get(cause.errno, OpenError)
    return kind(f"{path}: {cause.strerror or cause}", path=path, cause=cause)


def raise_failure(failure: _native.Failure, path: str | None, section: int | None = None) -> NoReturn:
    """Raises what the native code reported as one of the errors above."""
    import re

    code, what = failure.args
    place = re.match(r"(?:.*: )?(?:section (\d+), )?offset (\d+)", what)
    offset = int(place[2]) if place else None
    if place and place[1]:
        section = int(place[1])
    message = f"{path}: {what}" if path is not None and not what.startswith(path) else what
    if code == ERR_OPEN:
        raise OpenError(message, path=path)
    kind = {ERR_PARAM: ParameterError, ERR_LIMIT: LimitError}.get(code, FormatError)
    raise kind(message, path=path, section=section, offset=offset, code=code)
