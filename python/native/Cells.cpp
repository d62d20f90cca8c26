#include "python/native/Cells.h"

namespace nb = nanobind;

namespace torva::python {
namespace {

using tables::columns::Bit;
using tables::columns::Column;

template <class Get>
nb::list List(u64 first, u64 last, Get get) {
    nb::list list = nb::steal<nb::list>(PyList_New(static_cast<Py_ssize_t>(last - first)));
    if (!list.is_valid()) throw nb::python_error();
    for (u64 row = first; row < last; ++row) {
        PyObject* const item = get(row);
        if (item == nullptr) throw nb::python_error();
        PyList_SetItem(list.ptr(), static_cast<Py_ssize_t>(row - first), item);
    }
    return list;
}

PyObject* None() { return nb::none().release().ptr(); }

// The cells of a column that stores numbers of type T.
template <class T, class Make>
nb::list Numbers(const Column& column, u64 first, u64 last, Make make) {
    const T* const values = column.values.As<T>();
    return List(first, last, [&](u64 row) { return column.IsNull(row) ? None() : make(values[row]); });
}

template <class T>
nb::list Signed(const Column& column, u64 first, u64 last) {
    return Numbers<T>(column, first, last, [](T value) { return PyLong_FromLongLong(value); });
}

template <class T>
nb::list Unsigned(const Column& column, u64 first, u64 last) {
    return Numbers<T>(column, first, last, [](T value) { return PyLong_FromUnsignedLongLong(value); });
}

template <class T>
nb::list Floats(const Column& column, u64 first, u64 last) {
    return Numbers<T>(column, first, last, [](T value) { return PyFloat_FromDouble(value); });
}

nb::list Dates(const Column& column, u64 first, u64 last) {
    constexpr i32 kOrdinalOf1970 = 719163;
    const nb::object make = nb::module_::import_("datetime").attr("date").attr("fromordinal");
    return Numbers<i32>(column, first, last,
                        [&](i32 days) { return make(days + kOrdinalOf1970).release().ptr(); });
}

template <class T>
nb::list Lists(const Column& column, u64 first, u64 last) {
    const i32* const ends = column.offsets.As<i32>();
    const T* const values = column.values.As<T>();
    return List(first, last, [&](u64 row) {
        if (column.IsNull(row)) return None();
        const auto begin = static_cast<u64>(ends[row]);
        const auto end = static_cast<u64>(ends[row + 1]);
        return List(begin, end, [&](u64 at) { return PyLong_FromUnsignedLong(values[at]); }).release().ptr();
    });
}

PyObject* Bytes(std::string_view bytes) {
    return PyBytes_FromStringAndSize(bytes.data(), static_cast<Py_ssize_t>(bytes.size()));
}

}  // namespace

nb::object Text(std::string_view utf8) {
    PyObject* const text =
        PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), "backslashreplace");
    if (text == nullptr) throw nb::python_error();
    return nb::steal(text);
}

nb::list OwnFlags(const Column& column, u64 first, u64 last) {
    return List(first, last, [&](u64 row) { return PyBool_FromLong(Bit(column.own.As(), row)); });
}

nb::list Cells(const Column& column, u64 first, u64 last) {
    switch (column.type) {
        case TVT_BOOL:
            return List(first, last, [&](u64 row) {
                return column.IsNull(row) ? None() : PyBool_FromLong(Bit(column.values.As(), row));
            });
        case TVT_INT8:
            return Signed<std::int8_t>(column, first, last);
        case TVT_INT16:
            return Signed<std::int16_t>(column, first, last);
        case TVT_INT32:
            return Signed<i32>(column, first, last);
        case TVT_INT64:
            return Signed<i64>(column, first, last);
        case TVT_UINT8:
            return Unsigned<u8>(column, first, last);
        case TVT_UINT16:
            return Unsigned<u16>(column, first, last);
        case TVT_UINT32:
            return Unsigned<u32>(column, first, last);
        case TVT_UINT64:
            return Unsigned<u64>(column, first, last);
        case TVT_FLOAT:
            return Floats<float>(column, first, last);
        case TVT_DOUBLE:
            return Floats<double>(column, first, last);
        case TVT_DATE:
            return Dates(column, first, last);
        case TVT_TEXT:
            return List(first, last, [&](u64 row) {
                return column.IsNull(row) ? None() : Text(column.Text(row)).release().ptr();
            });
        case TVT_BINARY:
            return List(first, last,
                        [&](u64 row) { return column.IsNull(row) ? None() : Bytes(column.Text(row)); });
        case TVT_FIXED:
            return List(first, last, [&](u64 row) {
                return column.IsNull(row)
                           ? None()
                           : Bytes({column.values.As<char>() + row * column.width, column.width});
            });
        case TVT_LIST:
            return column.width == 1 ? Lists<u8>(column, first, last) : Lists<u16>(column, first, last);
        default:
            return List(first, last, [](u64) { return None(); });
    }
}

}  // namespace torva::python
