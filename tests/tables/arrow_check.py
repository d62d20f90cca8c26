"""Arrow's own validation of what TorvaTables exports, by a consumer that uses nothing else of ours.

    arrow_check.py LIBRARY FILE...
"""

import ctypes
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
        ("reserved", ctypes.c_uint32),
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


for file in sys.argv[2:]:
    check(ctypes.CDLL(sys.argv[1]), file)
