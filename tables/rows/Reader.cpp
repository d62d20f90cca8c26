#include "tables/rows/Reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "TorvaAPI.h"
#include "format/Fields.h"
#include "tables/rows/OpenFile.h"
#include "tables/rows/SymbolRows.h"

namespace torva::tables {

namespace {

constexpr u64 kMiB = u64{1} << 20;
constexpr u64 kMemoryModeLimit = 64 * kMiB;
constexpr u32 kLeastBudget = 4 * kMiB;
constexpr u32 kModestBudget = 64 * kMiB;
constexpr u64 kGenerousBudget = 1024 * kMiB;
constexpr u32 kLargestBudget = UINT32_MAX;
constexpr u64 kLongestText = 256 * kMiB;

// Opens the source with that budget; a result code of the library's open.
i32 Open(SymFile& file, const FileSource& source, ReadMode mode, u32 budget) {
    if (const u8* bytes = source.Bytes()) {
        return file.OpenImage(bytes, source.Size(), budget);
    }
    const bool whole =
        mode == ReadMode::Memory || (mode == ReadMode::Auto && source.Size() <= kMemoryModeLimit);
    return file.Open(source.Share(), budget, whole);
}

// The value of an entry as the library delivers it: of a payload that its data cut off, the rest is 0.
std::string_view DefaultValue(const WantedDefault& wanted, std::vector<std::unique_ptr<char[]>>& copies) {
    const auto* value = reinterpret_cast<const char*>(wanted.field->value);
    if (!value) {
        return {};
    }
    if (wanted.field->tag == kTextTag) {
        return value;
    }
    const std::size_t width = PayloadWidth(wanted.field->tag);
    if (wanted.size >= width) {
        return {value, width};
    }
    copies.push_back(std::unique_ptr<char[]>(new char[width]()));
    std::memcpy(copies.back().get(), value, wanted.size);
    return {copies.back().get(), width};
}

}  // namespace

Reader::Reader(std::shared_ptr<const FileSource> bytes, ReaderOptions readerOptions)
    : source(std::move(bytes)), options(std::move(readerOptions)), directory(FileDirectory::Read(*source)) {
    // The arena is made larger than the file where that is affordable, so that no value finds it too small;
    // memory that is not used is never touched.
    const u64 wanted = options.budget != 0 ? options.budget : 2 * source->Size() + kLeastBudget;
    auto budget = static_cast<u32>(std::min(wanted, kGenerousBudget));
    const auto attempt = [this](u32 memoryBudget) {
        open = std::make_unique<OpenFile>(options.filter);
        return Open(open->symFile, *source, options.mode, memoryBudget);
    };
    i32 result = attempt(budget);
    if (result == SYM_ERR_NO_MEMORY && budget > kModestBudget) {
        budget = kModestBudget;
        result = attempt(budget);
    }
    while (result == SYM_ERR_PARAM && options.budget == 0 &&
           budget < kLargestBudget) {  // the default fields need more
        budget = budget > kLargestBudget / 2 ? kLargestBudget : budget * 2;
        result = attempt(budget);
    }
    if (result == SYM_ERR_OPEN) {
        const DirectoryEntry* entry = directory.Find(1);
        const std::string what = fmt::format(
            "{}: section 1 (default fields), offset 0x{:x}: the default fields cannot be "
            "loaded: their data ends too early",
            Name(), entry ? entry->offset : 0);
        if (options.mode == ReadMode::File) throw Error(what);
        throw DefaultsUnreadable(what);
    }
    if (result != SYM_OK) {
        throw Error(fmt::format("{}: cannot be opened: not enough memory for its default fields", Name()));
    }
    open->textMax = static_cast<u32>(std::min(source->Size(), kLongestText));
    for (const WantedDefault& one : open->symFile.symbols.defaults.wanted) {
        const DefaultField& field = *one.field;
        defaults.push_back({field.id, field.tag, true, false, DefaultValue(one, open->values)});
    }
}

Reader::~Reader() = default;

RowCursor Reader::Rows(u16 id) { return RowCursor(MakeSectionRows(*this, id)); }

SymbolCursor Reader::Symbols() { return SymbolCursor(std::make_unique<SymbolRows>(*this)); }

RowCursor::RowCursor(std::unique_ptr<SectionRows> sectionRows) : rows(std::move(sectionRows)) {}
RowCursor::RowCursor(RowCursor&&) noexcept = default;
RowCursor& RowCursor::operator=(RowCursor&&) noexcept = default;
RowCursor::~RowCursor() = default;
bool RowCursor::Next() { return rows->Next(); }
std::size_t RowCursor::Level() const { return rows->level; }
std::span<const Cell> RowCursor::Cells() const { return {rows->cells.data(), rows->cellCount}; }
const WalkResult& RowCursor::Result() const { return rows->result; }

SymbolCursor::SymbolCursor(std::unique_ptr<SymbolRows> symbolRows) : symbols(std::move(symbolRows)) {}
SymbolCursor::SymbolCursor(SymbolCursor&&) noexcept = default;
SymbolCursor& SymbolCursor::operator=(SymbolCursor&&) noexcept = default;
SymbolCursor::~SymbolCursor() = default;
void SymbolCursor::MoveTo(u32 offset) { symbols->MoveTo(offset); }
bool SymbolCursor::Next() { return symbols->NextSymbol(); }
const SymbolView& SymbolCursor::Symbol() const { return symbols->Symbol(); }
const WalkResult& SymbolCursor::Result() const { return symbols->result; }

}  // namespace torva::tables
