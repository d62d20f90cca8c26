// TorvaTables.h: each function checks its arguments and keeps exceptions in.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "TorvaAPI.h"
#include "TorvaTables.h"
#include "format/Sections.h"
#include "tables/columns/FileStream.h"
#include "tables/columns/Options.h"
#include "tables/columns/SectionTable.h"
#include "tables/columns/Table.h"
#include "tables/columns/Write.h"

using namespace torva::tables::columns;  // NOLINT(google-build-using-namespace): it is the inside of this
                                         // file
using torva::i32;
using torva::i64;
using torva::u16;
using torva::u32;
using torva::u64;
using torva::u8;
using torva::tables::FileSource;

static_assert(TVT_OK == SYM_OK && TVT_ERR_OPEN == SYM_ERR_OPEN && TVT_ERR_PARAM == SYM_ERR_PARAM &&
              TVT_ERR_NO_MEMORY == SYM_ERR_NO_MEMORY && TVT_ERR_FORMAT == SYM_ERR_FORMAT);

TvtTable* TvtTable::New(std::shared_ptr<const Batch> batch, const Damage& damage, u16 section, bool symbols,
                        i32 level) {
    std::unique_ptr<TvtTable, Release> table(new TvtTable());
    if (batch->below != nullptr) table->below.reset(New(batch->below, damage, section, false, level + 1));
    table->batch = std::move(batch);
    table->damage = damage;
    table->section = section;
    table->level = level;
    table->symbols = symbols;
    return table.release();
}

namespace {

i32 Report(TvtError* error, i32 code, const char* message) {
    if (error != nullptr) {
        error->code = code;
        std::snprintf(error->message, sizeof error->message, "%s", message);
    }
    return code;
}

// Runs what may throw. `where` names the file in messages.
template <class Operation>
i32 Guarded(TvtError* error, const char* where, Operation operation) noexcept {
    try {
        operation();
        return Report(error, TVT_OK, "");
    } catch (const LoadError& failure) {
        try {
            const std::string message =
                *where == 0 ? failure.message : std::string(where) + ": " + failure.message;
            return Report(error, failure.code, message.c_str());
        } catch (...) {
            return Report(error, failure.code, "the file cannot be loaded");
        }
    } catch (const torva::tables::Error& failure) {  // names the file itself
        return Report(error, TVT_ERR_FORMAT, failure.what());
    } catch (const LimitError&) {
        return Report(error, TVT_ERR_LIMIT, "the columns would take more memory than the limit of the load");
    } catch (...) {
        return Report(error, TVT_ERR_NO_MEMORY, "out of memory");
    }
}

// Whether the options are for the symbols as rows with columns, and which section they are for.
bool WantsSymbols(const TvtOptions* options) {
    return options == nullptr || (options->section == TVT_SYMBOLS && (options->flags & TVT_FIELD_ROWS) == 0);
}

// The symbols of a source.
TvtTable* SymbolsOf(const Source& source, const LoadOptions& options) {
    Loaded loaded = Load(source, options);
    auto batch = std::make_shared<Batch>();
    batch->columns = std::move(loaded.columns);
    batch->rows = loaded.rows;
    batch->name = "symbols";
    return TvtTable::New(std::move(batch), loaded.damage, TVT_SYMBOLS, true);
}

// Any other section, or the directory.
TvtTable* SectionOf(const std::shared_ptr<const FileSource>& source, u32 id, const LoadOptions& options) {
    const LoadedSection loaded = id == TVT_DIRECTORY ? LoadDirectory(*source, options)
                                                     : LoadSection(source, static_cast<u16>(id), options);
    return TvtTable::New(loaded.batch, loaded.damage, static_cast<u16>(id), false);
}

std::unique_ptr<torva::platform::File> OpenShared(const char* path) {
    auto file = torva::platform::OpenFile(path, torva::platform::Sharing::shared);
    if (file == nullptr) throw LoadError{TVT_ERR_OPEN, "cannot be opened"};
    return file;
}

TvtTable* LoadPath(const char* path, const TvtOptions* options) {
    const LoadOptions read = ReadOptions(options, path);
    if (WantsSymbols(options)) return SymbolsOf(Source(OpenShared(path)), read);
    return SectionOf(FileSource::FromFile(OpenShared(path), path), options->section, read);
}

i64 Rows(const TvtTable* table) { return static_cast<i64>(table->batch->rows); }

// A stream over a table that is loaded.
struct TableStream {
    std::shared_ptr<const Batch> batch;
    u64 batchRows;
    u64 next = 0;
};

int StreamSchema(ArrowArrayStream* stream, ArrowSchema* schema) {
    try {
        ExportSchema(*static_cast<TableStream*>(stream->private_data)->batch, Form::flat, schema);
        return 0;
    } catch (...) {
        return ENOMEM;
    }
}

int StreamNext(ArrowArrayStream* stream, ArrowArray* array) {
    auto& state = *static_cast<TableStream*>(stream->private_data);
    const u64 left = state.batch->rows - state.next;
    *array = {};
    if (left == 0) return 0;
    const u64 rows = left < state.batchRows ? left : state.batchRows;
    try {
        ExportArray(state.batch, state.next, rows, Form::flat, array);
        state.next += rows;
        return 0;
    } catch (...) {
        return ENOMEM;
    }
}

const char* StreamError(ArrowArrayStream* /*stream*/) { return "out of memory"; }

void ReleaseStream(ArrowArrayStream* stream) {
    delete static_cast<TableStream*>(stream->private_data);
    stream->release = nullptr;
}

void StreamTable(const TvtTable& table, u32 batchRows, ArrowArrayStream* stream) {
    const u64 rows = batchRows != 0 ? batchRows : ~u64{0};
    stream->private_data = new TableStream{table.batch, rows};
    stream->get_schema = StreamSchema;
    stream->get_next = StreamNext;
    stream->get_last_error = StreamError;
    stream->release = ReleaseStream;
}

// `schema` may be null.
i32 Export(const TvtTable* table, Form form, ArrowArray* array, ArrowSchema* schema, TvtError* error) {
    if (table == nullptr || array == nullptr) return Report(error, TVT_ERR_PARAM, "no table or no array");
    array->release = nullptr;
    if (schema != nullptr) schema->release = nullptr;
    const i32 result = Guarded(error, "", [&] {
        if (schema != nullptr) ExportSchema(*table->batch, form, schema);
        ExportArray(table->batch, 0, table->batch->rows, form, array);
    });
    if (result != TVT_OK && schema != nullptr && schema->release != nullptr) schema->release(schema);
    return result;
}

}  // namespace

extern "C" {

void tvt_InitOptions(TvtOptions* options) {
    if (options == nullptr) return;
    *options = {};
    options->size = sizeof *options;
    options->section = TVT_SYMBOLS;
}

i32 tvt_Load(const char* path, const TvtOptions* options, TvtTable** table, TvtError* error) {
    if (table == nullptr) return Report(error, TVT_ERR_PARAM, "no place for the table");
    *table = nullptr;
    if (path == nullptr) return Report(error, TVT_ERR_PARAM, "no path");
    return Guarded(error, path, [&] { *table = LoadPath(path, options); });
}

i32 tvt_LoadBytes(const void* bytes, size_t size, const TvtOptions* options, TvtTable** table,
                  TvtError* error) {
    if (table == nullptr) return Report(error, TVT_ERR_PARAM, "no place for the table");
    *table = nullptr;
    if (bytes == nullptr && size > 0) return Report(error, TVT_ERR_PARAM, "no bytes");
    return Guarded(error, "", [&] {
        const LoadOptions read = ReadOptions(options, "");
        const auto* const from = static_cast<const u8*>(size > 0 ? bytes : "");
        *table = WantsSymbols(options)
                     ? SymbolsOf(Source(from, size), read)
                     : SectionOf(FileSource::FromBytes({from, size}, "bytes"), options->section, read);
    });
}

i32 tvt_LoadDescriptor(intptr_t descriptor, const TvtOptions* options, TvtTable** table, TvtError* error) {
    if (table == nullptr) return Report(error, TVT_ERR_PARAM, "no place for the table");
    *table = nullptr;
    return Guarded(error, "", [&] {
        auto file = torva::platform::OpenFile(descriptor);
        if (file == nullptr) throw LoadError{TVT_ERR_OPEN, "the descriptor is not of a regular file"};
        const LoadOptions read = ReadOptions(options, "");
        if (WantsSymbols(options)) {
            *table = SymbolsOf(Source(std::move(file)), read);
            return;
        }
        *table = SectionOf(FileSource::FromFile(std::move(file), "file"), options->section, read);
    });
}

TvtTable* tvt_Retain(TvtTable* table) {
    if (table != nullptr) table->references.fetch_add(1, std::memory_order_relaxed);
    return table;
}

void tvt_Release(TvtTable* table) {
    if (table != nullptr && table->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete table;
}

void tvt_GetReport(const TvtTable* table, TvtReport* report) {
    if (report == nullptr) return;
    *report = {};
    report->message = report->name = "";
    if (table == nullptr) return;
    report->rows = Rows(table);
    report->columns = static_cast<i32>(table->batch->columns.size());
    report->damage = table->damage.code;
    report->damageOffset = table->damage.offset;
    report->message = table->damage.message.c_str();
    report->name = table->batch->name.c_str();
    report->section = table->section;
    report->level = table->level;
    report->bytes = table->batch->Bytes();
    for (const Column& column : table->batch->columns) {
        report->conflicts += column.conflicts;
        report->impossible += column.impossible;
        report->repeated += column.repeated;
    }
}

TvtTable* tvt_Below(const TvtTable* table) { return table == nullptr ? nullptr : table->below.get(); }

i32 tvt_GetColumn(const TvtTable* table, i32 index, TvtColumn* column) {
    const Column* const from = table == nullptr ? nullptr : table->Find(index);
    if (from == nullptr || column == nullptr) return TVT_ERR_PARAM;
    *column = {};
    column->name = from->name.c_str();
    column->fieldId = from->id;
    column->tag = from->tag;
    column->type = from->type;
    column->width = from->width;
    column->rows = static_cast<i64>(from->rows);
    column->nulls = static_cast<i64>(from->nulls);
    column->validity = from->validity.As();
    column->own = from->own.As();
    column->values = from->values.As();
    column->offsets = from->offsets.As<i32>();
    column->indices = from->indices.As<i32>();
    column->dictionarySize = static_cast<i64>(from->dictionarySize);
    column->conflicts = from->conflicts;
    column->impossible = from->impossible;
    column->repeated = from->repeated;
    return TVT_OK;
}

i32 tvt_ColumnNamed(const TvtTable* table, const char* name) {
    if (table == nullptr || name == nullptr) return -1;
    for (std::size_t i = 0; i < table->batch->columns.size(); ++i) {
        if (table->batch->columns[i].name == name) return static_cast<i32>(i);
    }
    return -1;
}

i32 tvt_ColumnOfField(const TvtTable* table, u16 fieldId) {
    if (table == nullptr) return -1;
    for (std::size_t i = 0; i < table->batch->columns.size(); ++i) {
        const Column& column = table->batch->columns[i];
        if (column.isField && column.id == fieldId) return static_cast<i32>(i);
    }
    return -1;
}

const char* tvt_Text(const TvtTable* table, i32 column, i64 row, size_t* length) {
    if (length != nullptr) *length = 0;
    const Column* const from = table == nullptr ? nullptr : table->Find(column);
    if (from == nullptr || row < 0 || row >= Rows(table) || !from->Texts() ||
        from->IsNull(static_cast<u64>(row))) {
        return nullptr;
    }
    const std::string_view text = from->Text(static_cast<u64>(row));
    if (length != nullptr) *length = text.size();
    return text.data();
}

i64 tvt_Find(const TvtTable* table, const char* symbol, size_t length) {
    if (table == nullptr || symbol == nullptr || !table->symbols) return TVT_ERR_PARAM;
    try {
        const auto texts = table->Symbols();
        const u32 row = table->hashIndex.Get(texts).Find(texts, {symbol, length});
        return row == HashIndex::kNone ? -1 : static_cast<i64>(row);
    } catch (...) {
        return TVT_ERR_NO_MEMORY;
    }
}

i64 tvt_FindAll(const TvtTable* table, const char* symbol, size_t length, i64* rows, i64 capacity) {
    if (table == nullptr || !table->symbols || symbol == nullptr || (rows == nullptr && capacity > 0)) {
        return TVT_ERR_PARAM;
    }
    try {
        const auto texts = table->Symbols();
        const HashIndex& index = table->hashIndex.Get(texts);
        i64 count = 0;
        for (u32 row = index.Find(texts, {symbol, length}); row != HashIndex::kNone;
             row = index.Next(row), ++count) {
            if (count < capacity) rows[count] = row;
        }
        return count;
    } catch (...) {
        return TVT_ERR_NO_MEMORY;
    }
}

i64 tvt_Prefix(const TvtTable* table, const char* prefix, size_t length, i64 skip, i64* rows, i64 capacity) {
    if (table == nullptr || !table->symbols || (prefix == nullptr && length > 0) ||
        (rows == nullptr && capacity > 0) || skip < 0) {
        return TVT_ERR_PARAM;
    }
    try {
        const auto texts = table->Symbols();
        const auto& index = table->sortedIndex.Get(texts);
        u32 begin = 0;
        u32 end = 0;
        index.Range(texts, std::string_view(prefix, length), begin, end);
        const i64 count = i64{end} - begin;
        for (i64 i = skip; i < count && i - skip < capacity; ++i) {
            rows[i - skip] = index.Order()[begin + static_cast<std::size_t>(i)];
        }
        return count;
    } catch (...) {
        return TVT_ERR_NO_MEMORY;
    }
}

const u32* tvt_Sorted(const TvtTable* table) {
    if (table == nullptr || !table->symbols || table->batch->rows == 0) return nullptr;
    try {
        return table->sortedIndex.Get(table->Symbols()).Order().data();
    } catch (...) {
        return nullptr;
    }
}

i32 tvt_BuildIndexes(const TvtTable* table) {
    if (table == nullptr || !table->symbols) return TVT_ERR_PARAM;
    try {
        table->hashIndex.Get(table->Symbols());
        table->sortedIndex.Get(table->Symbols());
        return TVT_OK;
    } catch (...) {
        return TVT_ERR_NO_MEMORY;
    }
}

i32 tvt_ExportSchema(const TvtTable* table, ArrowSchema* schema, TvtError* error) {
    if (table == nullptr || schema == nullptr) return Report(error, TVT_ERR_PARAM, "no table or no schema");
    schema->release = nullptr;
    return Guarded(error, "", [&] { ExportSchema(*table->batch, Form::flat, schema); });
}

i32 tvt_ExportArray(const TvtTable* table, ArrowArray* array, ArrowSchema* schema, TvtError* error) {
    return Export(table, Form::flat, array, schema, error);
}

i32 tvt_ExportNested(const TvtTable* table, ArrowArray* array, ArrowSchema* schema, TvtError* error) {
    return Export(table, Form::nested, array, schema, error);
}

i32 tvt_ExportStream(const TvtTable* table, u32 batchRows, ArrowArrayStream* stream, TvtError* error) {
    if (table == nullptr || stream == nullptr) return Report(error, TVT_ERR_PARAM, "no table or no stream");
    *stream = {};
    return Guarded(error, "", [&] { StreamTable(*table, batchRows, stream); });
}

i32 tvt_OpenStream(const char* path, const TvtOptions* options, ArrowArrayStream* stream, TvtError* error) {
    if (path == nullptr || stream == nullptr) return Report(error, TVT_ERR_PARAM, "no path or no stream");
    *stream = {};
    return Guarded(error, path, [&] {
        if (!WantsSymbols(options)) {
            const std::unique_ptr<TvtTable, TvtTable::Release> table(LoadPath(path, options));
            StreamTable(*table, options->batchRows, stream);
        } else {
            OpenFileStream(OpenShared(path), path, ReadOptions(options, path), stream);
        }
    });
}

i32 tvt_Write(const char* path, const char* base, ArrowArrayStream* symbols, const TvtOptions* options,
              TvtError* error) {
    if (symbols == nullptr || symbols->release == nullptr) return Report(error, TVT_ERR_PARAM, "no stream");
    const i32 result = path == nullptr ? Report(error, TVT_ERR_PARAM, "no path") : Guarded(error, path, [&] {
        const char* const beside = base != nullptr ? base : path;
        WriteSymbols(path, base, *symbols, ReadOptions(options, beside));
    });
    symbols->release(symbols);
    return result;
}

}  // extern "C"
