#include "tables/columns/SectionTable.h"

#include <algorithm>
#include <cstring>

#include "TorvaAPI.h"
#include "format/Sections.h"
#include "tables/rows/Reader.h"

namespace torva::tables::columns {
namespace {

constexpr std::size_t kMost = 0x7fffffff;  // what offsets of 32 bits address

// A column that takes one cell after the other.
class CellColumn {
public:
    CellColumn(const char* name, u8 type, u32 width, Budget* columnBudget) : budget(columnBudget) {
        column.name = name;
        column.type = type;
        column.width = width;
    }

    CellColumn& Nullable() {
        column.nullable = true;
        return *this;
    }

    void PutNumber(u64 number) {
        const u32 width = column.type == TVT_BOOL ? 1 : column.width;
        std::memcpy(Grow(column.values, used, width), &number, width);
        Row(true);
    }

    // As the bytes of a text, a record (padded with zeros) or the elements of a list.
    void PutBytes(const void* bytes, std::size_t size) {
        if (column.type == TVT_FIXED) {
            u8* const to = Grow(column.values, used, column.width);
            std::memset(to, 0, column.width);
            size = std::min<std::size_t>(size, column.width);
            if (size > 0) std::memcpy(to, bytes, size);
        } else if (size > 0) {
            std::memcpy(Grow(column.values, used, size), bytes, size);
        }
        Row(true);
    }

    void PutList(std::span<const u16> numbers) {
        if (column.width == sizeof(u16)) return PutBytes(numbers.data(), numbers.size_bytes());
        u8* const to = Grow(column.values, used, numbers.size());
        std::transform(numbers.begin(), numbers.end(), to,
                       [](u16 number) { return static_cast<u8>(number); });
        Row(true);
    }

    void PutNull() {
        if (!HasOffsets()) std::memset(Grow(column.values, used, column.width), 0, column.width);
        Row(false);
    }

    Column Finish(TextCodec* codec) {
        if (HasOffsets()) {
            column.offsets.Resize((static_cast<std::size_t>(column.rows) + 1) * sizeof(i32), budget);
            if (column.rows == 0) *column.offsets.As<i32>() = 0;
        }
        column.values.Resize(std::max<std::size_t>(used, 1), budget);
        if (column.nulls > 0) {
            Resize(column.validity, BitmapBytes(column.rows));
        } else {
            column.validity.Free();
        }
        column.dictionarySize = column.rows;
        if (column.type == TVT_TEXT) column.DecideText(codec, budget);
        if (column.type == TVT_BOOL) Pack();
        column.Detach();
        return std::move(column);
    }

private:
    bool HasOffsets() const { return column.Texts() || column.type == TVT_LIST; }

    void Resize(Buffer& buffer, std::size_t bytes) { buffer.Resize(bytes, budget); }

    // Room for `more` bytes after `held` ones.
    u8* Grow(Buffer& buffer, std::size_t& held, std::size_t more) {
        if (more > kMost || held + more > kMost) throw LimitError();
        if (held + more > buffer.Room()) Resize(buffer, std::max(held + more, held + held / 2 + 64));
        u8* const to = buffer.As() + held;
        held += more;
        return to;
    }

    void Row(bool valid) {
        const u64 row = column.rows++;
        if (HasOffsets()) {
            if (row == 0) std::memset(Grow(column.offsets, offsetBytes, sizeof(i32)), 0, sizeof(i32));
            const auto end = static_cast<i32>(column.type == TVT_LIST ? used / column.width : used);
            std::memcpy(Grow(column.offsets, offsetBytes, sizeof(i32)), &end, sizeof end);
        }
        if (row % 8 == 0) *Grow(column.validity, validityBytes, 1) = 0;
        if (valid) SetBits(column.validity.As(), row, row + 1);
        if (!valid) ++column.nulls;
    }

    // A byte for each bool becomes a bit.
    void Pack() {
        Buffer bits;
        bits.Resize(BitmapBytes(std::max<u64>(column.rows, 1)), budget);
        std::memset(bits.As(), 0, bits.Room());
        for (u64 row = 0; row < column.rows; ++row) {
            if (column.values.As()[row] != 0) SetBits(bits.As(), row, row + 1);
        }
        column.values = std::move(bits);
        column.width = 0;
    }

    Column column;
    Budget* const budget;
    std::size_t used = 0;  // of `values`
    std::size_t offsetBytes = 0;
    std::size_t validityBytes = 0;
};

u8 NumberType(u32 width) { return width == 1 ? TVT_UINT8 : width == 2 ? TVT_UINT16 : TVT_UINT32; }

// A level while its rows come in.
class LevelTable {
public:
    LevelTable(const Level& level, bool hasParent, Budget* levelBudget)
        : description(level), budget(levelBudget) {
        batch.name = level.name;
        batch.hasParent = hasParent;
        if (hasParent) Add("parent", TVT_UINT32, sizeof(u32));
        for (const torva::Column& column : level.columns) {
            switch (column.kind) {
                case ColumnKind::Number:
                    Add(column.name, NumberType(column.width), column.width);
                    break;
                case ColumnKind::Text:
                    Add(column.name, TVT_TEXT, 0);
                    break;
                case ColumnKind::Bytes:
                    Add(column.name, TVT_FIXED, column.width);
                    break;
                case ColumnKind::List:
                    Add(column.name, TVT_LIST, column.width);
                    break;
                case ColumnKind::Field:
                    Add("number", TVT_UINT64, sizeof(u64)).Nullable();
                    Add("text", TVT_TEXT, 0).Nullable();
                    break;
            }
        }
    }

    u32 Rows() const { return static_cast<u32>(batch.rows); }

    // `owner`: the row of the level above. `below`: rows of the level below until now.
    void Put(std::span<const Cell> cells, u32 owner, u32 below) {
        if (batch.rows >= kMost / sizeof(u32)) throw LimitError();
        std::size_t to = 0;
        if (batch.hasParent) columns[to++].PutNumber(owner);
        for (std::size_t at = 0; at < description.columns.size(); ++at) {
            const Cell& cell = cells[at];
            switch (description.columns[at].kind) {
                case ColumnKind::Number:
                    columns[to++].PutNumber(cell.number);
                    break;
                case ColumnKind::List:
                    columns[to++].PutList(cell.list);
                    break;
                case ColumnKind::Field:
                    PutField(cell, columns[to], columns[to + 1]);
                    to += 2;
                    break;
                default:
                    columns[to++].PutBytes(cell.bytes.data(), cell.bytes.size());
            }
        }
        AddStart(below);
        ++batch.rows;
    }

    Batch Finish(std::shared_ptr<const Batch> below, TextCodec* codec) {
        if (below != nullptr) {
            AddStart(static_cast<u32>(below->rows));
            batch.starts.Resize((static_cast<std::size_t>(batch.rows) + 1) * sizeof(u32), budget);
            batch.starts.Detach();
        } else {
            batch.starts.Free();
        }
        batch.below = std::move(below);
        for (CellColumn& column : columns) batch.columns.push_back(column.Finish(codec));
        return std::move(batch);
    }

private:
    CellColumn& Add(const char* name, u8 type, u32 width) {
        return columns.emplace_back(name, type, width, budget);
    }

    static void PutField(const Cell& field, CellColumn& number, CellColumn& text) {
        if (field.number == kTextTag) {
            number.PutNull();
            text.PutBytes(field.bytes.data(), field.bytes.size());
            return;
        }
        text.PutNull();
        if (field.bytes.empty()) return number.PutNull();
        u64 value = 0;
        std::memcpy(&value, field.bytes.data(), std::min(field.bytes.size(), sizeof value));
        number.PutNumber(value);
    }

    void AddStart(u32 below) {
        const std::size_t at = static_cast<std::size_t>(batch.rows) * sizeof(u32);
        if (at + sizeof(u32) > batch.starts.Room()) batch.starts.Resize(at + at / 2 + 64, budget);
        std::memcpy(batch.starts.As() + at, &below, sizeof below);
    }

    const Level& description;
    Budget* const budget;
    Batch batch;
    std::vector<CellColumn> columns;
};

std::string Place(u16 section, u64 offset, const std::string& what) {
    // Problems may quote bytes of the file.
    return "section " + std::to_string(section) + ", offset " + std::to_string(offset) + ": " +
           TextCodec().Display(what);
}

// What ended the walk, or what its section's sizes and counts say that was not there.
Damage DamageOf(const WalkResult& walk, u16 id) {
    if (!walk.present) return {SYM_ERR_NO_SECTION, 0, "the file has no section " + std::to_string(id)};
    if (walk.problems.empty()) return {walk.result, 0, ""};
    const Problem& problem = walk.result != 0 ? walk.problems.back() : walk.problems.front();
    const u64 offset = problem.offset.value_or(0);
    return {walk.result, offset, Place(id, offset, problem.what)};
}

}  // namespace

LoadedSection LoadSection(std::shared_ptr<const FileSource> source, u16 id, const LoadOptions& options) {
    Budget budget(MemoryLimit(source->Size(), options));
    Reader reader(std::move(source), {ReadMode::File, {}, {}});
    std::vector<LevelTable> levels;
    for (const Level& level : FindSection(id)->levels) levels.emplace_back(level, !levels.empty(), &budget);
    RowCursor rows = reader.Rows(id);
    while (rows.Next()) {
        const std::size_t at = rows.Level();
        const u32 above = at > 0 ? levels[at - 1].Rows() : 1;
        if (above == 0) throw LoadError{SYM_ERR_FORMAT, Place(id, 0, "an element belongs to no other")};
        const u32 below = at + 1 < levels.size() ? levels[at + 1].Rows() : 0;
        levels[at].Put(rows.Cells(), above - 1, below);
    }
    LoadedSection loaded;
    for (std::size_t at = levels.size(); at-- > 0;)
        loaded.batch = std::make_shared<const Batch>(levels[at].Finish(loaded.batch, options.codec.get()));
    loaded.damage = DamageOf(rows.Result(), id);
    return loaded;
}

LoadedSection LoadDirectory(const FileSource& source, const LoadOptions& options) {
    const FileDirectory directory = FileDirectory::Read(source);
    Budget budget(MemoryLimit(source.Size(), options));
    CellColumn id("id", TVT_UINT16, 2, &budget);
    CellColumn name("name", TVT_TEXT, 0, &budget);
    CellColumn title("title", TVT_TEXT, 0, &budget);
    name.Nullable();
    title.Nullable();
    CellColumn offset("offset", TVT_UINT32, 4, &budget);
    CellColumn size("size", TVT_UINT32, 4, &budget);
    CellColumn levels("levels", TVT_UINT8, 1, &budget);
    CellColumn readable("readable", TVT_BOOL, 0, &budget);
    Batch batch;
    batch.name = "sections";
    for (const DirectoryEntry& entry : directory.entries) {
        const SectionInfo* const section = FindSection(entry.id);
        id.PutNumber(entry.id);
        offset.PutNumber(entry.offset);
        size.PutNumber(entry.size);
        levels.PutNumber(section != nullptr ? section->levels.size() : 0);
        readable.PutNumber(section != nullptr && entry.Readable() ? 1 : 0);
        if (section == nullptr) {
            name.PutNull();
            title.PutNull();
        } else {
            name.PutBytes(section->name, std::strlen(section->name));
            title.PutBytes(section->title, std::strlen(section->title));
        }
        ++batch.rows;
    }
    for (CellColumn* const column : {&id, &name, &title, &offset, &size, &levels, &readable})
        batch.columns.push_back(column->Finish(nullptr));
    LoadedSection loaded;
    loaded.batch = std::make_shared<const Batch>(std::move(batch));
    if (directory.IsCut()) loaded.damage = {SYM_ERR_FORMAT, source.Size(), ""};
    const std::vector<Problem> problems = DirectoryProblems(directory);
    if (!problems.empty()) loaded.damage.message = TextCodec().Display(problems.front().what);
    return loaded;
}

}  // namespace torva::tables::columns
