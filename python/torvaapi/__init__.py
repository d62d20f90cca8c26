"""Market symbol master files as tables.

    import torvaapi

    with torvaapi.open("instruments.sym") as file:
        frame = file.symbols().to_polars()

Tables speak the Arrow C stream protocol, so that pyarrow, polars, pandas and DuckDB use them without a copy.
"""

from ._errors import DamagedError, Error, FormatError, LimitError, OpenError, ParameterError
from ._file import File, Finding, Findings, SymbolStream, Watch, diff, open, watch, write
from ._history import history
from ._table import Column, Damage, Schema, Table

__all__ = [
    "Column",
    "Damage",
    "DamagedError",
    "Error",
    "File",
    "Finding",
    "Findings",
    "FormatError",
    "LimitError",
    "OpenError",
    "ParameterError",
    "Schema",
    "SymbolStream",
    "Table",
    "Watch",
    "diff",
    "history",
    "open",
    "watch",
    "write",
]
