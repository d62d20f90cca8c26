// The module torvaapi._native: tables, findings and differences as the package's Python code uses them.
//
// A source is a descriptor (int), which a call takes over and closes, or bytes, which it uses while it runs.
// Paths are bytes in the encoding of the file system. The interpreter's lock is released while files are
// read. Failures are raised as Failure(code, message) with a TVT_ERR_ code, except for MemoryError.
#include <nanobind/nanobind.h>
#include <nanobind/ndarray.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <algorithm>
#include <fstream>

#include "python/native/Cells.h"
#include "python/native/Select.h"
#include "python/native/Views.h"
#include "tables/check/Wording.h"
#include "tables/columns/FileStream.h"
#include "tables/columns/Options.h"

namespace nb = nanobind;

namespace torva::python {
namespace {

using tables::columns::Column;

struct Failure {
    i32 code;
    std::string message;
};

void Check(i32 result, const TvtError& error) {
    if (result == TVT_ERR_NO_MEMORY) throw std::bad_alloc();
    if (result != TVT_OK) throw Failure{result, error.message};
}

void Translate(const std::exception_ptr& thrown, void* type) {
    const auto raise = [&](i32 code, std::string_view message) {
        const nb::object arguments = nb::make_tuple(code, Text(message));
        PyErr_SetObject(static_cast<PyObject*>(type), arguments.ptr());
    };
    try {
        std::rethrow_exception(thrown);
    } catch (const Failure& failure) {
        raise(failure.code, failure.message);
    } catch (const tables::columns::LoadError& failure) {
        raise(failure.code, failure.message);
    } catch (const tables::Error& failure) {
        raise(TVT_ERR_FORMAT, failure.what());
    } catch (const UnknownEncoding& failure) {
        raise(TVT_ERR_PARAM, std::string("encoding ") + failure.what());
    } catch (const tables::columns::LimitError&) {
        raise(TVT_ERR_LIMIT, "the columns would take more memory than their limit");
    }
}

// A descriptor or bytes; see above.
class SourceArgument {
public:
    explicit SourceArgument(nb::handle source) {
        if (nb::isinstance<nb::bytes>(source)) {
            const auto held = nb::borrow<nb::bytes>(source);
            bytes = {reinterpret_cast<const u8*>(held.c_str()), held.size()};
        } else {
            descriptor = nb::cast<platform::Descriptor>(source);
        }
    }

    i32 Load(const TvtOptions& options, TvtTable** table, TvtError* error) const {
        return descriptor >= 0 ? tvt_LoadDescriptor(descriptor, &options, table, error)
                               : tvt_LoadBytes(bytes.data(), bytes.size(), &options, table, error);
    }

    std::shared_ptr<const tables::FileSource> Open(const std::string& name) const {
        return descriptor >= 0 ? tables::FileSource::FromDescriptor(descriptor, name)
                               : tables::FileSource::FromBytes(bytes, name);
    }

private:
    platform::Descriptor descriptor = -1;
    std::span<const u8> bytes;
};

// TvtOptions with what they point to.
struct Options {
    Options(u32 section, std::vector<u16> wantedFields, u32 flags, u32 threads,
            const std::optional<nb::bytes>& dictionaryPath, std::optional<std::string> encodingName,
            u64 memoryLimit)
        : fields(std::move(wantedFields)), encoding(std::move(encodingName)) {
        if (dictionaryPath) dictionary = dictionaryPath->c_str();
        tvt_InitOptions(&options);
        options.section = section;
        options.flags = flags | TVT_NO_FIELDS_FILE;
        options.threads = threads;
        options.fieldIds = fields.data();
        options.fieldCount = static_cast<u32>(fields.size());
        options.dictionary = dictionary ? dictionary->c_str() : nullptr;
        options.encoding = encoding ? encoding->c_str() : nullptr;
        options.memoryLimit = memoryLimit;
    }
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;

    std::vector<u16> fields;
    std::optional<std::string> dictionary;
    std::optional<std::string> encoding;
    TvtOptions options;
};

// Releases the struct unless its consumer moved it out of the capsule.
template <class Struct>
void DestroyCapsule(PyObject* capsule) {
    auto* const held = static_cast<Struct*>(PyCapsule_GetPointer(capsule, PyCapsule_GetName(capsule)));
    if (held->release != nullptr) held->release(held);
    delete held;
}

// A capsule with what `fill` makes.
template <class Struct, class Fill>
nb::object Capsule(const char* name, Fill fill) {
    auto held = std::make_unique<Struct>();
    TvtError error{};
    Check(fill(held.get(), &error), error);
    PyObject* const capsule = PyCapsule_New(held.get(), name, DestroyCapsule<Struct>);
    if (capsule == nullptr) {
        held->release(held.get());
        throw nb::python_error();
    }
    static_cast<void>(held.release());
    return nb::steal(capsule);
}

class Table {
public:
    explicit Table(TvtTable* from) : table(from) {}
    explicit Table(TableOwner from) : table(std::move(from)) {}

    u64 Rows() const { return table->batch->rows; }

    // (damage, offset, message, name, section, level, bytes, conflicts, impossible, repeated)
    nb::tuple Report() const {
        TvtReport report;
        tvt_GetReport(table.get(), &report);
        return nb::make_tuple(report.damage, report.damageOffset, Text(report.message), report.name,
                              report.section, report.level, report.bytes, report.conflicts, report.impossible,
                              report.repeated);
    }

    // (name, type, width, field or None, tag, nulls, conflicts, impossible, repeated, numbered, own)
    nb::list Columns() const {
        nb::list list;
        for (const Column& column : table->batch->columns) {
            list.append(nb::make_tuple(Text(column.name), column.type, column.width,
                                       column.isField ? nb::cast(column.id) : nb::none(), column.tag,
                                       column.nulls, column.conflicts, column.impossible, column.repeated,
                                       column.Interned(), column.own.Room() > 0));
        }
        return list;
    }

    std::optional<Table> Below() const {
        TvtTable* const below = tvt_Below(table.get());
        if (below == nullptr) return std::nullopt;
        return Table(tvt_Retain(below));
    }

    nb::list CellsOf(std::size_t index, u64 first, u64 last) const {
        const Column& column = At(index);
        last = std::min(last, Rows());
        return Cells(column, std::min(first, last), last);
    }

    nb::list OwnFlagsOf(std::size_t index, u64 first, u64 last) const {
        const Column& column = At(index);
        last = std::min(last, Rows());
        if (column.own.Room() == 0) throw nb::index_error("no such flags");
        return OwnFlags(column, std::min(first, last), last);
    }

    // The memory of a column of numbers, as an array of numpy.
    nb::ndarray<nb::numpy, nb::ro> Values(std::size_t index) {
        const Column& column = At(index);
        const bool isFloat = column.type == TVT_FLOAT || column.type == TVT_DOUBLE;
        const bool isSigned = column.type <= TVT_INT64 || column.type == TVT_DATE;
        if (column.width == 0 || column.type > TVT_DATE) throw nb::type_error("not a column of numbers");
        const auto code = isFloat    ? nb::dlpack::dtype_code::Float
                          : isSigned ? nb::dlpack::dtype_code::Int
                                     : nb::dlpack::dtype_code::UInt;
        const nb::dlpack::dtype type{static_cast<u8>(code), static_cast<u8>(column.width * 8), 1};
        const std::size_t rows = static_cast<std::size_t>(column.rows);
        return {column.values.As(), {rows}, nb::find(*this), {}, type};
    }

    // The bitmap of a column with nulls: 1 for a value.
    nb::ndarray<nb::numpy, nb::ro> Validity(std::size_t index) {
        const Column& column = At(index);
        if (column.nulls == 0 || column.type == TVT_NULL) throw nb::type_error("a column without nulls");
        return {column.validity.As(),
                {tables::columns::BitmapBytes(column.rows)},
                nb::find(*this),
                {},
                nb::dtype<u8>()};
    }

    i64 Find(const nb::bytes& symbol) const {
        i64 row = 0;
        {
            const nb::gil_scoped_release unlocked;
            row = tvt_Find(table.get(), symbol.c_str(), symbol.size());
        }
        if (row < -1) Check(static_cast<i32>(row), {});
        return row;
    }

    std::vector<i64> FindAll(const nb::bytes& symbol) const {
        return Lookup(~u64{0}, [&](i64* rows, i64 capacity) {
            return tvt_FindAll(table.get(), symbol.c_str(), symbol.size(), rows, capacity);
        });
    }

    std::vector<i64> Prefix(const nb::bytes& prefix, u64 most) const {
        return Lookup(most, [&](i64* rows, i64 capacity) {
            return tvt_Prefix(table.get(), prefix.c_str(), prefix.size(), 0, rows, capacity);
        });
    }

    Table SelectRows(const std::optional<std::vector<u32>>& rows, const std::vector<u32>& columns) const {
        for (const u32 index : columns) At(index);
        if (rows && std::any_of(rows->begin(), rows->end(), [&](u32 row) { return row >= Rows(); }))
            throw nb::index_error("the table has no such row");
        const nb::gil_scoped_release unlocked;
        return Table(Select(*table, rows, columns));
    }

    nb::object Stream(u32 batchRows) const {
        return Capsule<ArrowArrayStream>("arrow_array_stream", [&](auto* stream, TvtError* error) {
            return tvt_ExportStream(table.get(), batchRows, stream, error);
        });
    }

    // The whole table, with texts as views.
    nb::object ViewStream() const {
        return Capsule<ArrowArrayStream>("arrow_array_stream", [&](auto* stream, TvtError*) {
            ExportViews(table.get(), stream);
            return TVT_OK;
        });
    }

    nb::object Schema() const {
        return Capsule<ArrowSchema>("arrow_schema", [&](auto* schema, TvtError* error) {
            return tvt_ExportSchema(table.get(), schema, error);
        });
    }

    // Capsules of the schema and of one array with the levels below as lists.
    nb::tuple Nested() const {
        auto schema = std::make_unique<ArrowSchema>();
        const nb::object array = Capsule<ArrowArray>("arrow_array", [&](auto* to, TvtError* error) {
            return tvt_ExportNested(table.get(), to, schema.get(), error);
        });
        const nb::object made = Capsule<ArrowSchema>("arrow_schema", [&](auto* to, TvtError*) {
            *to = *schema;
            return TVT_OK;
        });
        return nb::make_tuple(made, array);
    }

private:
    const Column& At(std::size_t index) const {
        if (index >= table->batch->columns.size()) throw nb::index_error("the table has no such column");
        return table->batch->columns[index];
    }

    template <class Fill>
    static std::vector<i64> Lookup(u64 most, Fill fill) {
        const nb::gil_scoped_release unlocked;
        i64 count = fill(nullptr, 0);
        if (count < 0) Check(static_cast<i32>(count), {});
        std::vector<i64> rows(static_cast<std::size_t>(std::min(static_cast<u64>(count), most)));
        if (!rows.empty()) fill(rows.data(), static_cast<i64>(rows.size()));
        return rows;
    }

    TableOwner table;
};

Table Load(nb::handle from, u32 section, std::vector<u16> fields, u32 flags, u32 threads,
           const std::optional<nb::bytes>& dictionary, std::optional<std::string> encoding, u64 memoryLimit) {
    const SourceArgument source(from);
    const Options options(section, std::move(fields), flags, threads, dictionary, std::move(encoding),
                          memoryLimit);
    TvtTable* table = nullptr;
    TvtError error{};
    i32 result = TVT_OK;
    {
        const nb::gil_scoped_release unlocked;
        result = source.Load(options.options, &table, &error);
    }
    Check(result, error);
    return Table(table);
}

std::unique_ptr<platform::File> OpenDescriptor(platform::Descriptor descriptor) {
    auto file = platform::OpenFile(descriptor);
    if (file == nullptr) throw Failure{TVT_ERR_OPEN, "the descriptor is not of a regular file"};
    return file;
}

// A stream of the symbols whose records begin from `first` to `end`, and what ends it early: (stream, code,
// offset, message).
nb::tuple OpenStream(platform::Descriptor descriptor, std::vector<u16> fields, u32 flags,
                     const std::optional<nb::bytes>& dictionary, std::optional<std::string> encoding,
                     u64 memoryLimit, u32 batchRows, u64 first, u64 end) {
    auto file = OpenDescriptor(descriptor);
    const Options options(TVT_SYMBOLS, std::move(fields), flags, 1, dictionary, std::move(encoding),
                          memoryLimit);
    tables::columns::Damage damage;
    const nb::object stream = Capsule<ArrowArrayStream>("arrow_array_stream", [&](auto* to, TvtError*) {
        const nb::gil_scoped_release unlocked;
        tables::columns::LoadOptions read = tables::columns::ReadOptions(&options.options, "");
        read.batchRows = batchRows;
        read.firstRecord = first;
        read.endRecord = end;
        damage = tables::columns::OpenFileStream(std::move(file), "symbols", std::move(read), to);
        return TVT_OK;
    });
    return nb::make_tuple(stream, damage.code, damage.offset, Text(damage.message));
}

std::vector<u64> CutRecords(platform::Descriptor descriptor, u64 partBytes) {
    const tables::columns::Source source(OpenDescriptor(descriptor));
    const nb::gil_scoped_release unlocked;
    return tables::columns::CutRecords(source, partBytes);
}

// Whether the work continues: not after an interrupt, whose exception is set then.
bool GoOn(u64) {
    const nb::gil_scoped_acquire locked;
    return PyErr_CheckSignals() == 0;
}

// ([(section, offset, kind, what, expected, found, sentence, last), ...], total, can be opened)
nb::tuple CheckSource(nb::handle from, const std::string& name, const std::string& encoding, u64 limit) {
    const SourceArgument source(from);
    TextCodec codec(encoding);
    std::optional<tables::CheckReport> report;
    {
        const nb::gil_scoped_release unlocked;
        report.emplace(tables::Check(source.Open(name), codec, {limit, GoOn}));
    }
    if (report->cancelled) throw nb::python_error();
    nb::list findings;
    for (const tables::Finding& finding : report->findings.Kept()) {
        const tables::FindingWords words = tables::Describe(*report, finding, codec, encoding);
        findings.append(nb::make_tuple(finding.section, finding.offset, tables::KindName(finding.Kind()),
                                       Text(words.what), Text(words.expected), Text(words.found),
                                       Text(words.Sentence()), words.last));
    }
    return nb::make_tuple(findings, report->findings.Total(), report->CanBeOpened());
}

// The table of differences, and what is wrong in the files: (side, section, offset, message).
nb::tuple Diff(nb::handle old, nb::handle now, const std::vector<std::string>& names,
               const std::optional<nb::bytes>& dictionaryPath, const std::string& encoding,
               const std::vector<u16>& sections, const std::vector<u16>& fields) {
    const SourceArgument sources[] = {SourceArgument(old), SourceArgument(now)};
    TextCodec codec(encoding);
    tables::Dictionary dictionary;
    TableOwner table;
    std::vector<std::tuple<std::size_t, tables::Problem>> problems;
    {
        const std::string path = dictionaryPath ? dictionaryPath->c_str() : "";
        const nb::gil_scoped_release unlocked;
        // Both are opened first, so that neither descriptor is left when one fails.
        const std::shared_ptr<const tables::FileSource> opened[] = {sources[0].Open(names.at(0)),
                                                                    sources[1].Open(names.at(1))};
        if (dictionaryPath) {
            std::ifstream in(path, std::ios::binary);
            if (!in) throw Failure{TVT_ERR_OPEN, "dictionary " + path + ": cannot be opened"};
            dictionary = tables::Dictionary::Read(in, path);
        }
        tables::CompareOptions options;
        options.sections = sections;
        options.fields = fields;
        tables::Comparison comparison(options);
        for (std::size_t side = 0; side < 2; ++side) {
            bool cancelled = false;
            const auto progress = [&](u64 bytes) { return !(cancelled = cancelled || !GoOn(bytes)); };
            tables::Reader reader(opened[side], {tables::ReadMode::File, {}, progress});
            for (tables::Problem& problem : comparison.Read(side, reader))
                problems.emplace_back(side, std::move(problem));
            if (cancelled) throw Failure{};
        }
        table = DifferenceTable(comparison, dictionary, codec);
    }
    nb::list found;
    for (const auto& [side, problem] : problems)
        found.append(
            nb::make_tuple(side, problem.section, problem.offset, Text(TextCodec().Display(problem.what))));
    return nb::make_tuple(Table(std::move(table)), found);
}

// Takes the stream out of the capsule and writes it.
void Write(const nb::bytes& path, const std::optional<nb::bytes>& base, nb::handle capsule,
           const std::optional<nb::bytes>& dictionary, std::optional<std::string> encoding) {
    auto* const from =
        static_cast<ArrowArrayStream*>(PyCapsule_GetPointer(capsule.ptr(), "arrow_array_stream"));
    if (from == nullptr) throw nb::python_error();
    const Options options(TVT_SYMBOLS, {}, 0, 0, dictionary, std::move(encoding), 0);
    ArrowArrayStream stream = *from;
    from->release = nullptr;
    TvtError error{};
    i32 result = TVT_OK;
    {
        const nb::gil_scoped_release unlocked;
        result = tvt_Write(path.c_str(), base ? base->c_str() : nullptr, &stream, &options.options, &error);
    }
    Check(result, error);
}

class Watch {
public:
    Watch(const nb::bytes& path, const std::optional<nb::bytes>& dictionary,
          std::optional<std::string> encoding, u32 threads, u64 memoryLimit)
        : options(TVT_SYMBOLS, {}, 0, threads, dictionary, std::move(encoding), memoryLimit) {
        TvtError error{};
        i32 result = TVT_OK;
        {
            const nb::gil_scoped_release unlocked;
            result = tvt_OpenWatch(path.c_str(), &options.options, &watch, &error);
        }
        python::Check(result, error);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() { tvt_CloseWatch(watch); }

    Table Get() const {
        const nb::gil_scoped_release unlocked;
        return Table(tvt_WatchGet(watch));
    }

    bool Refresh() {
        TvtError error{};
        i32 result = 0;
        {
            const nb::gil_scoped_release unlocked;
            result = tvt_WatchRefresh(watch, &error);
        }
        if (result < 0) python::Check(result, error);
        return result > 0;
    }

private:
    Options options;
    TvtWatch* watch = nullptr;
};

// (id, name, title) of every section with a reader.
nb::list Sections() {
    nb::list list;
    for (const SectionInfo& section : kSections)
        list.append(nb::make_tuple(section.id, section.name, section.title));
    return list;
}

}  // namespace
}  // namespace torva::python

NB_MODULE(_native, module) {
    using namespace nanobind::literals;
    using namespace torva::python;  // NOLINT(google-build-using-namespace): it is the inside of this module
    PyObject* const failure = PyErr_NewException("torvaapi._native.Failure", PyExc_Exception, nullptr);
    if (failure == nullptr) throw nb::python_error();
    module.attr("Failure") = nb::borrow(failure);
    nb::register_exception_translator(Translate, failure);

    nb::class_<Table>(module, "Table")
        .def_prop_ro("rows", &Table::Rows)
        .def("report", &Table::Report)
        .def("columns", &Table::Columns)
        .def("below", &Table::Below)
        .def("cells", &Table::CellsOf)
        .def("own_flags", &Table::OwnFlagsOf)
        .def("values", &Table::Values)
        .def("validity", &Table::Validity)
        .def("find", &Table::Find)
        .def("find_all", &Table::FindAll)
        .def("prefix", &Table::Prefix)
        .def("select", &Table::SelectRows, "rows"_a.none(), "columns"_a)
        .def("stream", &Table::Stream)
        .def("view_stream", &Table::ViewStream)
        .def("schema", &Table::Schema)
        .def("nested", &Table::Nested);
    nb::class_<Watch>(module, "Watch")
        .def(nb::init<const nb::bytes&, const std::optional<nb::bytes>&, std::optional<std::string>,
                      torva::u32, torva::u64>(),
             "path"_a, "dictionary"_a.none(), "encoding"_a.none(), "threads"_a, "memory_limit"_a)
        .def("get", &Watch::Get)
        .def("refresh", &Watch::Refresh);
    module.def("load", &Load, "source"_a, "section"_a, "fields"_a, "flags"_a, "threads"_a,
               "dictionary"_a.none(), "encoding"_a.none(), "memory_limit"_a);
    module.def("stream", &OpenStream, "descriptor"_a, "fields"_a, "flags"_a, "dictionary"_a.none(),
               "encoding"_a.none(), "memory_limit"_a, "batch_rows"_a, "first"_a, "end"_a);
    module.def("cut_records", &CutRecords, "descriptor"_a, "part_bytes"_a);
    module.def("check", &CheckSource, "source"_a, "name"_a, "encoding"_a, "limit"_a);
    module.def("diff", &Diff, "old"_a, "new"_a, "names"_a, "dictionary"_a.none(), "encoding"_a, "sections"_a,
               "fields"_a);
    module.def("write", &Write, "path"_a, "base"_a.none(), "stream"_a, "dictionary"_a.none(),
               "encoding"_a.none());
    module.def("sections", &Sections);
    // Objects in the globals of a script may outlive the module; only tests want to hear of them.
    nb::set_leak_warnings(false);
    module.def("warn_of_leaks", [] { nb::set_leak_warnings(true); });
}
