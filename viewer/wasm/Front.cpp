// The functions that the page's worker calls. Small results are JSON; columns are addresses in this module's
// memory. A call that can fail returns 0 on success and 1 on an error; view_result() is then the result or
// the error message, in UTF-8.
//
// The worker writes a file's bytes into memory from view_alloc. They remain the worker's, must stay valid
// until view_close, and are never copied. `slot` is 0 for the file on view and 1 for the one it is compared
// with. Calls never run concurrently.

#include <algorithm>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>

#include "TorvaTables.h"
#include "format/LittleEndian.h"
#include "tables/check/Check.h"
#include "tables/check/Wording.h"
#include "viewer/wasm/ElementPlaces.h"
#include "viewer/wasm/Kernels.h"
#include "viewer/wasm/RecordStarts.h"
#include "viewer/wasm/SectionTable.h"

namespace viewer {

namespace {

using nlohmann::json;
using torva::tables::DirectoryEntry;
using torva::tables::FileDirectory;
using torva::tables::FileSource;
using torva::tables::Problem;
using torva::tables::Reader;

constexpr u64 kFindingsOfOneKind = 1000;
// A corrupt directory may have 65,535 entries, and findings for each.
constexpr std::size_t kMostFindings = 10'000;
constexpr std::size_t kMostEntries = 500;
constexpr const torva::SectionInfo& kDefaultFields = *torva::FindSectionNamed("default-fields");
constexpr u16 kSymbols = torva::FindSectionNamed("symbols")->id;

// Limits the values of one row of a section. The module's memory never shrinks, hence the upper bound.
u64 Budget(u64 fileSize) {
    constexpr u64 kLeast = u64{4} << 20;
    constexpr u64 kMost = u64{64} << 20;
    return std::min(2 * fileSize + kLeast, kMost);
}

struct TableRelease {
    void operator()(TvtTable* table) const { tvt_Release(table); }
};

struct OpenFile {
    std::span<const u8> bytes;
    std::shared_ptr<const FileSource> source;
    FileDirectory directory;
    std::optional<Reader> reader;
    std::map<u16, std::unique_ptr<SectionTable>> sections;
    std::map<u16, std::unique_ptr<ElementPlaces>> places;  // of the sections that were asked for places
    std::unique_ptr<TvtTable, TableRelease> symbols;
    std::vector<ColumnView> symbolColumns;
    std::vector<u32> starts;
};

std::unique_ptr<OpenFile> files[2];
std::string result;

u32 Address(const void* pointer) { return static_cast<u32>(reinterpret_cast<std::uintptr_t>(pointer)); }

// Messages may quote bytes of the file that are not valid UTF-8.
std::string Dump(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

// Runs `work`, whose JSON becomes the result.
template <class Work>
int Answer(Work work) {
    try {
        result = Dump(work());
        return 0;
    } catch (const std::bad_alloc&) {
        result = "not enough memory";
    } catch (const std::exception& error) {
        result = error.what();
    }
    return 1;
}

OpenFile& FileIn(u32 slot) {
    if (slot >= std::size(files) || files[slot] == nullptr) throw torva::tables::Error("no file is open");
    return *files[slot];
}

// ---- overview

constexpr u64 kEntriesStart = 2;  // in the section directory
constexpr u64 kEntrySize = 10;

json ProblemJson(const Problem& problem) {
    return {{"section", problem.section},
            {"offset", problem.offset ? json(*problem.offset) : json(nullptr)},
            {"text", problem.what}};
}

// Whether a section maps ids to names: its elements are an id and texts.
bool HasNames(const torva::SectionInfo& info) {
    const torva::Level& level = info.levels[0];
    if (info.levels.size() != 1 || level.columns.size() < 2) return false;
    if (level.columns[0].kind != torva::ColumnKind::Number) return false;
    return std::all_of(level.columns.begin() + 1, level.columns.end(),
                       [](const torva::Column& column) { return column.kind == torva::ColumnKind::Text; });
}

json SectionJson(const DirectoryEntry& entry, std::size_t at, u64 fileSize) {
    const torva::SectionInfo* const info = torva::FindSection(entry.id);
    const u64 end = std::min<u64>(entry.End(), fileSize);
    return {{"id", entry.id},
            {"entry", at},
            {"entryBytes", {{"offset", kEntriesStart + kEntrySize * at}, {"size", kEntrySize}}},
            {"name", info != nullptr ? info->name : ""},
            {"title", info != nullptr ? info->title : "unknown"},
            {"offset", entry.offset},
            {"size", end > entry.offset ? end - entry.offset : 0},
            {"names", info != nullptr && HasNames(*info)},
            {"readable", entry.Readable()},
            {"note", entry.Readable() ? "" : "readers cannot find this section"}};
}

json Overview(const OpenFile& file, const std::string& unreadable) {
    json sections = json::array();
    json problems = json::array();
    const auto& entries = file.directory.entries;
    for (std::size_t at = 0; at < entries.size(); ++at) {
        const bool read = entries[at].Readable() && torva::FindSection(entries[at].id) != nullptr;
        if (at < kMostEntries || read) {
            sections.push_back(SectionJson(entries[at], at, file.directory.fileSize));
        }
    }
    if (sections.size() < entries.size()) {
        problems.push_back({{"section", 0},
                            {"offset", kEntriesStart},
                            {"text", "the directory has " + std::to_string(entries.size()) +
                                         " entries; listed are the first " + std::to_string(kMostEntries) +
                                         " and those that readers use"}});
    }
    if (!unreadable.empty()) problems.push_back({{"section", 0}, {"offset", nullptr}, {"text", unreadable}});
    for (const Problem& problem : torva::tables::DirectoryProblems(file.directory)) {
        if (problems.size() > 2 * kMostEntries) break;
        problems.push_back(ProblemJson(problem));
    }
    json gaps = json::array();
    for (const auto& gap : torva::tables::GapsAndOverlaps(file.directory)) {
        if (gaps.size() == kMostEntries) break;
        gaps.push_back({{"offset", gap.offset}, {"size", gap.size}, {"what", gap.what}});
    }
    const u64 directorySize = kEntriesStart + kEntrySize * file.directory.entries.size();
    return {{"directorySize", std::min(directorySize, file.directory.fileSize)},
            {"sections", sections},
            {"problems", problems},
            {"gaps", gaps},
            {"textTag", torva::kTextTag}};
}

json Open(u32 slot, const u8* bytes, u32 size) {
    auto file = std::make_unique<OpenFile>();
    file->bytes = {bytes, size};
    file->source = FileSource::FromBytes(file->bytes, "the file");
    file->directory = FileDirectory::Read(*file->source);
    std::string unreadable;
    try {
        torva::tables::ReaderOptions options;
        options.budget = Budget(size);
        file->reader.emplace(file->source, options);
    } catch (const torva::tables::Error& error) {  // the map can still be shown
        unreadable = error.what();
    }
    json overview = Overview(*file, unreadable);
    files[slot] = std::move(file);
    return overview;
}

// ---- columns

json Place(std::string name, const char* kind, const char* type, const ColumnView& view, u64 rows) {
    return {{"name", std::move(name)},
            {"field", 0},
            {"kind", kind},
            {"type", type},
            {"width", view.width},
            {"rows", rows},
            {"validity", Address(view.validity)},
            {"own", 0},
            {"values", Address(view.values)},
            {"offsets", Address(view.offsets)},
            {"indices", Address(view.indices)},
            {"handle", Address(&view)}};
}

struct TypeWords {
    ColumnView::Kind view;
    const char* kind;
    const char* type;
};

TypeWords WordsOf(u8 type) {
    using Kind = ColumnView::Kind;
    switch (type) {
        case TVT_BOOL:
            return {Kind::Bool, "bool", "unsigned"};
        case TVT_INT8:
        case TVT_INT16:
        case TVT_INT32:
        case TVT_INT64:
            return {Kind::Signed, "int", "signed"};
        case TVT_UINT8:
        case TVT_UINT16:
        case TVT_UINT32:
        case TVT_UINT64:
            return {Kind::Unsigned, "uint", "unsigned"};
        case TVT_FLOAT:
        case TVT_DOUBLE:
            return {Kind::Float, "float", "float"};
        case TVT_DATE:
            return {Kind::Signed, "date", "date"};
        case TVT_TEXT:
            return {Kind::Text, "text", "text"};
        case TVT_BINARY:
            return {Kind::Text, "binary", "text"};
        case TVT_FIXED:
            return {Kind::Fixed, "fixed", "hex"};
        default:
            return {Kind::Null, "null", "hex"};
    }
}

u64 CountBits(const u8* bits, u64 rows) {
    u64 count = 0;
    for (u64 row = 0; row < rows; ++row) count += bits[row >> 3] >> (row & 7) & 1U;
    return count;
}

void LoadSymbols(OpenFile& file) {
    file.symbols.reset();
    file.symbolColumns.clear();
    TvtOptions options;
    tvt_InitOptions(&options);
    options.flags = TVT_OWN_FLAGS | TVT_NO_FIELDS_FILE;
    TvtError error;
    TvtTable* table = nullptr;
    if (tvt_LoadBytes(file.bytes.data(), file.bytes.size(), &options, &table, &error) != TVT_OK) {
        throw torva::tables::Error(error.message);
    }
    file.symbols.reset(table);
}

// Columns have the types of their tags; the worker reads the same bytes as the types of its dictionary.
json Symbols(OpenFile& file) {
    LoadSymbols(file);
    TvtReport report;
    tvt_GetReport(file.symbols.get(), &report);
    const u64 rows = static_cast<u64>(report.rows);
    if (const DirectoryEntry* entry = file.directory.Find(kSymbols)) {
        file.starts = RecordStarts(file.bytes, *entry, rows);
    }
    std::vector<u8> isDefault(65536);
    if (file.reader) {
        for (const auto& field : file.reader->Defaults()) isDefault[field.id] = 1;
    }
    json columns = json::array();
    json fields = json::array();
    json problems = json::array();
    if (report.damage != 0) problems.push_back(report.message);
    file.symbolColumns.reserve(static_cast<std::size_t>(report.columns));
    for (i32 at = 0; at < report.columns; ++at) {
        TvtColumn column;
        if (tvt_GetColumn(file.symbols.get(), at, &column) != TVT_OK) continue;
        const TypeWords words = WordsOf(column.type);
        ColumnView& view = file.symbolColumns.emplace_back();
        view.kind = words.view;
        view.width = column.width;
        view.bits = column.width * 8;
        view.validity = column.validity;
        view.values = static_cast<const u8*>(column.values);
        view.offsets = column.offsets;
        view.indices = column.indices;
        view.valueCount = static_cast<u32>(column.dictionarySize);
        json place = Place(column.name, words.kind, words.type, view, rows);
        if (at > 0) {
            place["field"] = column.fieldId;
            place["own"] = Address(column.own);
            place["bits"] = torva::PayloadWidth(column.tag) * 8;
            const u64 own =
                column.own != nullptr ? CountBits(column.own, rows) : rows - static_cast<u64>(column.nulls);
            fields.push_back({{"id", column.fieldId},
                              {"own", own},
                              {"isDefault", isDefault[column.fieldId] != 0},
                              {"tags", json::array({column.tag})},
                              {"type", words.type}});
            const auto note = [&](u64 count, const char* what) {
                if (count > 0) {
                    problems.push_back("field " + std::to_string(column.fieldId) + ": " +
                                       std::to_string(count) + what);
                }
            };
            note(column.conflicts, " values of another type are not shown in the table");
            note(column.impossible, " values are invalid for the column's type and are not shown");
            note(column.repeated, " values occur again in their record and are not shown in the table");
        }
        columns.push_back(std::move(place));
    }
    return {{"rows", rows},
            {"starts", Address(file.starts.data())},
            {"columns", columns},
            {"fields", fields},
            {"problems", problems}};
}

// ---- sections

const char* KindWord(torva::ColumnKind kind) {
    switch (kind) {
        case torva::ColumnKind::Number:
            return "uint";
        case torva::ColumnKind::List:
            return "list";
        case torva::ColumnKind::Text:
            return "text";
        default:
            return "binary";
    }
}

const char* TypeWord(torva::ColumnKind kind) {
    switch (kind) {
        case torva::ColumnKind::Number:
            return "unsigned";
        case torva::ColumnKind::List:
            return "list";
        case torva::ColumnKind::Text:
            return "text";
        default:
            return "hex";
    }
}

const SectionTable& TableOf(OpenFile& file, u16 id) {
    const torva::SectionInfo* const info = torva::FindSection(id);
    if (info == nullptr || !file.reader) throw torva::tables::Error("this section cannot be read");
    std::unique_ptr<SectionTable>& table = file.sections[id];
    if (table == nullptr) table = std::make_unique<SectionTable>(*file.reader, *info);
    return *table;
}

json Section(OpenFile& file, u16 id) {
    const SectionTable& table = TableOf(file, id);
    json levels = json::array();
    for (const SectionLevel& level : table.Levels()) {
        json columns = json::array();
        for (const auto& column : level.columns) {
            const torva::Column& described = column->Description();
            json place = Place(described.name, KindWord(described.kind), TypeWord(described.kind),
                               column->View(), level.rows);
            place["key"] = described.key;
            columns.push_back(std::move(place));
        }
        levels.push_back({{"name", level.description->name},
                          {"singular", level.description->singular},
                          {"rows", level.rows},
                          {"parents", Address(level.parents.data())},
                          {"columns", columns}});
    }
    json problems = json::array();
    for (const Problem& problem : table.Result().problems) problems.push_back(problem.what);
    return {{"levels", levels}, {"problems", problems}};
}

// ---- places

// Null for a section that readers do not find.
const ElementPlaces* PlacesOf(OpenFile& file, u16 id) {
    const DirectoryEntry* const entry = file.directory.Find(id);
    if (entry == nullptr || !entry->Readable() || torva::FindSection(id) == nullptr || !file.reader)
        return nullptr;
    std::unique_ptr<ElementPlaces>& places = file.places[id];
    if (places == nullptr) {
        places = std::make_unique<ElementPlaces>(*file.source, *entry, *torva::FindSection(id),
                                                 TableOf(file, id).Result().rows);
    }
    return places.get();
}

// The row whose element holds the byte at `offset`; null if there is none.
json RowAt(OpenFile& file, u16 id, u64 offset) {
    std::optional<RowPlace> place;
    if (id == kSymbols) {
        const auto after = std::upper_bound(file.starts.begin(), file.starts.end(), offset);
        const u64 records = file.starts.empty() ? 0 : file.starts.size() - 1;
        if (records > 0 && after != file.starts.begin()) {
            place = {0, std::min<u64>(static_cast<u64>(after - file.starts.begin()), records) - 1};
        }
    } else if (const ElementPlaces* places = PlacesOf(file, id)) {
        place = places->At(offset);
    }
    return place ? json{{"level", place->level}, {"row", place->row}} : json(nullptr);
}

// The bytes of a row's element; null where they are not known.
json ElementAt(OpenFile& file, u16 id, RowPlace place) {
    const ElementPlaces* const places = PlacesOf(file, id);
    const std::optional<Extent> extent = places != nullptr ? places->Of(place) : std::nullopt;
    return extent ? json{{"offset", extent->start}, {"size", extent->end - extent->start}} : json(nullptr);
}

// ---- records

json Record(const OpenFile& file, u32 row) {
    if (std::size_t{row} + 1 >= file.starts.size()) throw torva::tables::Error("no such record");
    const StoredRecord record = ReadRecord(file.bytes, file.starts[row], file.starts[row + 1]);
    std::vector<u8> carried(65536);
    json fields = json::array();
    const auto add = [&](const StoredField& field, bool isDefault) {
        const bool text = field.tag == torva::kTextTag;
        const u64 around =
            std::min<u64>(field.size, sizeof(torva::FieldHeader) + (text && !field.cut ? 1 : 0));
        fields.push_back(
            {{"id", field.id},
             {"tag", field.tag},
             {"offset", field.offset},
             {"size", field.size},
             {"isText", text},
             {"payload",
              {{"offset", field.offset + sizeof(torva::FieldHeader)}, {"size", field.size - around}}},
             {"isDefault", isDefault},
             {"cut", field.cut}});
    };
    for (const StoredField& field : record.fields) {
        add(field, false);
        carried[field.id] = 1;
    }
    const DirectoryEntry* const defaults = file.directory.Find(kDefaultFields.id);
    if (defaults != nullptr && defaults->Readable()) {
        const u64 start = std::min<u64>(u64{defaults->offset} + kDefaultFields.HeadSize(), file.bytes.size());
        const u64 end = std::min<u64>(defaults->End(), file.bytes.size());
        for (const StoredField& field : ReadFields(file.bytes, start, end)) {
            if (carried[field.id] == 0) add(field, true);
        }
    }
    const auto* const text = reinterpret_cast<const u8*>(record.text.data());
    const u64 textOffset = text != nullptr ? static_cast<u64>(text - file.bytes.data()) : record.offset;
    return {{"offset", record.offset},
            {"size", record.size},
            {"text", {{"offset", textOffset}, {"size", record.text.size()}}},
            {"fields", fields}};
}

// ---- check

json Check(const OpenFile& file) {
    const std::string encoding = "UTF-8";
    torva::TextCodec codec(encoding);
    torva::tables::CheckOptions options;
    options.limit = kFindingsOfOneKind;
    options.budget = Budget(file.bytes.size());
    const torva::tables::CheckReport report = torva::tables::Check(file.source, codec, options);
    json findings = json::array();
    for (const torva::tables::Finding& finding : report.findings.Kept()) {
        if (findings.size() == kMostFindings) break;
        findings.push_back({{"kind", torva::tables::KindName(finding.Kind())},
                            {"section", finding.section},
                            {"offset", finding.offset ? json(*finding.offset) : json(nullptr)},
                            {"text", torva::tables::Describe(report, finding, codec, encoding).Sentence()}});
    }
    return {{"findings", findings}, {"total", report.findings.Total()}};
}

}  // namespace

}  // namespace viewer

using viewer::Answer;
using viewer::u16;
using viewer::u32;
using viewer::u8;

extern "C" {

void* view_alloc(u32 size) { return std::malloc(size); }

void view_free(void* memory) { std::free(memory); }

const char* view_result() { return viewer::result.data(); }

u32 view_result_size() { return static_cast<u32>(viewer::result.size()); }

int view_open(u32 slot, const u8* bytes, u32 size) {
    return Answer([&] { return viewer::Open(slot, bytes, size); });
}

void view_close(u32 slot) { viewer::files[slot].reset(); }

int view_symbols(u32 slot) {
    return Answer([&] { return viewer::Symbols(viewer::FileIn(slot)); });
}

// Makes Sort read the values of a number column as another kind. `bits`: the significant bits of a value.
void view_retype(viewer::ColumnView* column, u32 kind, u32 bits) {
    column->kind = static_cast<viewer::ColumnView::Kind>(kind);
    column->bits = bits;
}

int view_section(u32 slot, u32 id) {
    return Answer([&] { return viewer::Section(viewer::FileIn(slot), static_cast<u16>(id)); });
}

int view_check(u32 slot) {
    return Answer([&] { return viewer::Check(viewer::FileIn(slot)); });
}

int view_record(u32 slot, u32 row) {
    return Answer([&] { return viewer::Record(viewer::FileIn(slot), row); });
}

int view_row_at(u32 slot, u32 id, u32 offset) {
    return Answer([&] { return viewer::RowAt(viewer::FileIn(slot), static_cast<u16>(id), offset); });
}

int view_element(u32 slot, u32 id, u32 level, u32 row) {
    return Answer([&] {
        return viewer::ElementAt(viewer::FileIn(slot), static_cast<u16>(id), {level, row});
    });
}

u32 view_sort(const viewer::ColumnView* column, u32* rows, u32 count, u32 descending) {
    return viewer::Sort(*column, rows, count, descending != 0);
}

u32 view_runs(const viewer::ColumnView* column, const u32* rows, u32 count, u32* starts) {
    return viewer::Runs(*column, rows, count, starts);
}

u32 view_search(const viewer::ColumnView* const* columns, u32 columnCount, const char* needle, u32 needleSize,
                u32 match, const u32* rows, u32 first, u32 count, u32* found) {
    return viewer::Search(columns, columnCount, {needle, needleSize}, static_cast<viewer::Match>(match), rows,
                          first, count, found);
}

}  // extern "C"
