// One byte of options, then a symbol file: its symbols as a table, by one thread and by several, as a stream,
// and all of its sections, flat and nested.
#include <cstring>
#include <string>
#include <vector>

#include "TorvaTables.h"
#include "format/Sections.h"
#include "fuzz/Main.h"
#include "reference/MemoryFile.h"

namespace {

constexpr uint64_t kLimit = 64U << 20U;

// Reads every byte that an array says it has; the sum stands for its values.
uint64_t Sum(const ArrowSchema& schema, const ArrowArray& array) {
    uint64_t sum = static_cast<uint64_t>(array.length) * 31 + static_cast<uint64_t>(array.null_count);
    const auto add = [&sum](const void* from, int64_t size) {
        const auto* const bytes = static_cast<const uint8_t*>(from);
        for (int64_t i = 0; bytes != nullptr && i < size; ++i) sum = (sum ^ bytes[i]) * 0x100000001B3U;
    };
    const int64_t rows = array.length + array.offset;
    const char format = schema.format[0];
    if (array.n_buffers > 0) add(array.buffers[0], rows / 8);
    if (format == '+' && schema.format[1] == 'l') add(array.buffers[1], (rows + 1) * 4);
    if (format == 'u' || format == 'z') {
        add(array.buffers[1], (rows + 1) * 4);
        add(array.buffers[2], static_cast<const int32_t*>(array.buffers[1])[rows]);
    } else if (array.n_buffers == 2 && format != '+') {
        const int64_t width = schema.dictionary != nullptr            ? 4
                              : std::strchr("cC", format) != nullptr  ? 1
                              : std::strchr("sS", format) != nullptr  ? 2
                              : std::strchr("lLg", format) != nullptr ? 8
                              : format == 'w'                         ? std::stol(schema.format + 2)
                              : format == 'b'                         ? 0
                                                                      : 4;
        add(array.buffers[1], rows * width);
    }
    for (int64_t i = 0; i < array.n_children; ++i)
        sum = sum * 31 + Sum(*schema.children[i], *array.children[i]);
    if (array.dictionary != nullptr) sum = sum * 31 + Sum(*schema.dictionary, *array.dictionary);
    return sum;
}

struct Result {
    int32_t code = 0;
    uint64_t sum = 0;
    int64_t rows = 0;
};

Result Load(const uint8_t* data, size_t size, const TvtOptions& options) {
    Result result;
    TvtTable* table = nullptr;
    TvtError error;
    result.code = tvt_LoadBytes(data, size, &options, &table, &error);
    if (result.code != TVT_OK) return result;
    TvtReport report;
    tvt_GetReport(table, &report);
    result.rows = report.rows;
    ArrowArray array;
    ArrowSchema schema;
    if (tvt_ExportNested(table, &array, &schema, nullptr) == TVT_OK) {
        result.sum = Sum(schema, array) + static_cast<uint64_t>(report.damage) + report.damageOffset +
                     std::strlen(report.message);
        array.release(&array);
        schema.release(&schema);
    }
    size_t length = 0;
    const char* const symbol = tvt_Text(table, 0, report.rows - 1, &length);
    if (symbol != nullptr && tvt_Find(table, symbol, length) < 0 && options.section == TVT_SYMBOLS)
        result.code = 1;
    tvt_Prefix(table, symbol, length / 2, 0, nullptr, 0);
    tvt_Release(table);
    return result;
}

// The rows of a stream, up to the end or an error.
int64_t Stream(const TvtOptions& options) {
    ArrowArrayStream stream;
    TvtError error;
    if (tvt_OpenStream("any", &options, &stream, &error) != TVT_OK) return -1;
    int64_t rows = 0;
    ArrowArray batch;
    while (stream.get_next(&stream, &batch) == 0 && batch.release != nullptr) {
        rows += batch.length;
        batch.release(&batch);
    }
    stream.release(&stream);
    return rows;
}

std::string RunTables(const uint8_t* data, size_t size) {
    if (size < 1) return "";
    const uint8_t choice = *data++;
    --size;
    TvtOptions options;
    tvt_InitOptions(&options);
    options.memoryLimit = kLimit;
    options.flags = choice & (TVT_NO_DEFAULTS | TVT_OWN_FLAGS | TVT_NO_DICTIONARIES);
    const uint16_t ids[] = {1, 3, 7, 250};
    options.fieldIds = ids;
    options.fieldCount = (choice & 8U) != 0 ? 4 : 0;
    const Result alone = Load(data, size, options);
    if (alone.code == 1) return "a symbol of the table is not found";
    options.threads = 3;
    const Result together = Load(data, size, options);
    if (alone.code != together.code || alone.sum != together.sum) return "threads change the table";
    options.threads = 1;
    options.batchRows = 7;
    {
        const std::vector<uint8_t> bytes(data, data + size);  // which the scope refers to
        const memoryfile::Scope scope(bytes);
        const int64_t rows = Stream(options);
        if (alone.code == TVT_OK && rows >= 0 && rows != alone.rows)
            return "a stream has other rows than the table";
    }
    options.flags = TVT_FIELD_ROWS;
    for (const torva::SectionInfo& section : torva::kSections) {
        options.section = section.id;
        Load(data, size, options);
    }
    options.section = TVT_DIRECTORY;
    Load(data, size, options);
    return "";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return Report(RunTables(data, size));
}
