"""Arrow's own validation of what TorvaTables exports, by a consumer that uses nothing else of ours.

    arrow_check.py LIBRARY FILE...
"""

import ctypes
import os
import sys

import pyarrow

TVT_NO_DEFAULTS, TVT_OWN_FLAGS, TVT_NO_DICTIONARIES = 1, 2, 4


class Options(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("flags", ctypes.c_uint32),
        ("field_ids", ctypes.c_void_p),
        ("field_count", ctypes.c_uint32),
        ("threads", ctypes.c_uint32),
        ("dictionary", ctypes.c_char_p),
        ("encoding", ctypes.c_char_p),
        ("memory_limit", ctypes.c_uint64),
        ("batch_rows", ctypes.c_uint32),
        ("section", ctypes.c_uint32),
    ]


class Error(ctypes.Structure):
    _fields_ = [("code", ctypes.c_int32), ("message", ctypes.c_char * 508)]


def read(fill_stream):
    stream = ctypes.create_string_buffer(256)
    error = Error()
    if fill_stream(stream, ctypes.byref(error)) != 0:
        sys.exit(error.message.decode())
    table = pyarrow.RecordBatchReader._import_from_c(ctypes.addressof(stream)).read_all()
    table.validate(full=True)
    return table


def check(library, path):
    for flags in (0, TVT_NO_DEFAULTS, TVT_OWN_FLAGS, TVT_NO_DICTIONARIES):
        options = Options()
        library.tvt_InitOptions(ctypes.byref(options))
        options.flags = flags
        options.batch_rows = 1000
        table = ctypes.c_void_p()
        error = Error()
        arguments = (ctypes.byref(options), ctypes.byref(table), ctypes.byref(error))
        if library.tvt_Load(path.encode(), *arguments) != 0:
            sys.exit(error.message.decode())
        whole = read(lambda stream, error: library.tvt_ExportStream(table, 0, stream, error))
        sliced = read(lambda stream, error: library.tvt_ExportStream(table, 700, stream, error))
        library.tvt_Release(table)
        streamed = read(
            lambda stream, error: library.tvt_OpenStream(path.encode(), ctypes.byref(options), stream, error)
        )
        if not whole.to_pydict() == sliced.to_pydict() == streamed.to_pydict():
            sys.exit(f"{path}: table and streams differ")
    print(f"{path}: {whole.num_rows} rows, {whole.num_columns} columns")
    check_sections(library, path)
    check_writing(library, path, whole)


def load(library, path, **settings):
    options = Options()
    library.tvt_InitOptions(ctypes.byref(options))
    for name, value in settings.items():
        setattr(options, name, value)
    table, error = ctypes.c_void_p(), Error()
    if library.tvt_Load(path.encode(), ctypes.byref(options), ctypes.byref(table), ctypes.byref(error)) != 0:
        sys.exit(error.message.decode())
    return table


def read_array(export, table):
    array, schema = ctypes.create_string_buffer(128), ctypes.create_string_buffer(128)
    error = Error()
    if export(table, array, schema, ctypes.byref(error)) != 0:
        sys.exit(error.message.decode())
    batch = pyarrow.RecordBatch._import_from_c(ctypes.addressof(array), ctypes.addressof(schema))
    batch.validate(full=True)
    return batch


def check_sections(library, path):
    """Every section and the directory, level by level and nested: the same rows."""
    directory = load(library, path, section=0)
    present = [row["id"] for row in read_array(library.tvt_ExportArray, directory).to_pylist() if row["levels"]]
    library.tvt_Release(directory)
    for section in sorted(set(present) - {2}):
        table = load(library, path, section=section)
        levels, level = [], table
        while level:
            levels.append(read_array(library.tvt_ExportArray, level).num_rows)
            level = ctypes.c_void_p(library.tvt_Below(level))
        rows, nested = [read_array(library.tvt_ExportNested, table).to_pylist()], []
        while rows[-1] is not None:
            nested.append(len(rows[-1]))
            below = [key for key in (rows[-1][0] if rows[-1] else {}) if isinstance(rows[-1][0][key], list)]
            below = [key for key in below if rows[-1][0][key] and isinstance(rows[-1][0][key][0], dict)]
            rows.append([one for row in rows[-1] for one in row[below[0]]] if below else None)
        if nested != levels[: len(nested)]:
            sys.exit(f"{path}: section {section}: {levels} rows by level, {nested} nested")
        print(f"  section {section}: {levels} rows")
        library.tvt_Release(table)


def check_writing(library, path, whole):
    """What went through Arrow and is written is what was read."""
    written = path + ".written"
    stream, error = ctypes.create_string_buffer(256), Error()
    pyarrow.RecordBatchReader.from_batches(whole.schema, whole.to_batches())._export_to_c(ctypes.addressof(stream))
    if library.tvt_Write(written.encode(), path.encode(), stream, None, ctypes.byref(error)) != 0:
        sys.exit(error.message.decode())
    old, new = (load(library, file, section=2) for file in (path, written))
    if read_array(library.tvt_ExportArray, old).to_pylist() != read_array(library.tvt_ExportArray, new).to_pylist():
        sys.exit(f"{path}: what was written is not what was read")
    library.tvt_Release(old)
    library.tvt_Release(new)
    os.remove(written)


tables = ctypes.CDLL(sys.argv[1])
tables.tvt_Below.restype = ctypes.c_void_p
for file in sys.argv[2:]:
    check(tables, file)
