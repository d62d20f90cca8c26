// The sections of a symbol file: the one description that everything shares that treats all sections alike.
//
// A section is its id (u16), a head, and a tree of at most four levels of elements. The elements of level 0
// follow the head; those of a lower level follow the columns of the element above. In the file:
//
//   section   u16 id | u32 head value, unless `head` is None | count of level 0 | elements of level 0
//   element   columns of its level | size of the level below | count of the level below | its elements
//
// A size or a count is there where the level has a width for it. `sizeFirst` and `ahead` are the two
// exceptions from the order within an element.
//
// Sections 18 and 21 have two forms. In the file (`stored`) a group assigns its lists to a set of ids, the
// level below it; readers (`levels`) deliver each id once, with the lists of the last group that names it. In
// every other section both are the same.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string_view>

#include "format/Types.h"

namespace torva {

// At most `kMost` values, in order.
template <typename T, std::size_t kMost>
class FewOf {
public:
    constexpr FewOf() = default;
    constexpr FewOf(std::initializer_list<T> from) {
        for (const T& value : from) push_back(value);
    }

    constexpr void push_back(const T& value) { values[used++] = value; }
    constexpr std::size_t size() const { return used < kMost ? used : kMost; }  // compilers see the bound
    constexpr bool empty() const { return used == 0; }
    constexpr const T& operator[](std::size_t at) const { return values[at]; }
    constexpr const T& back() const { return values[used - 1]; }
    constexpr const T* begin() const { return values; }
    constexpr const T* end() const { return values + used; }

private:
    T values[kMost] = {};
    std::size_t used = 0;
};

enum class ColumnKind : u8 {
    Number,
    Text,   // bytes in the file's character set, and a zero byte
    Bytes,  // a record without known structure
    List,   // numbers, after their count, which is as wide as they are
    Field,  // the payload of a typed field; the column before it is the tag (Fields.h)
};

struct Column {
    const char* name = "";  // key in JSON, column in CSV and SQL
    ColumnKind kind = ColumnKind::Number;
    // Number and List: bytes of a number. Bytes: how many. Text: the most that readers take, without the zero
    // byte; 0 for no such bound.
    u8 width = 0;
    bool key = false;             // identifies an element of its level; see Level::columns
    const char* label = nullptr;  // in messages, where that is not the name

    constexpr const char* Label() const { return label ? label : name; }
    constexpr Column Key() const {
        Column column = *this;
        column.key = true;
        return column;
    }
};

// What ends the elements of a level.
enum class Ends : u8 {
    Count,    // their number
    Size,     // their bytes: the head value on level 0, on other levels the size in the element above
    Section,  // the section's size in the directory
};

struct Level {
    const char* name = "";      // of its elements, plural; key of the list in JSON
    const char* singular = "";  // of one element
    // Of an element in the order in which they are delivered. Where some are keys, two elements with the same
    // values there are the same element; elements of a level without columns are known by their place.
    FewOf<Column, 4> columns = {};
    Ends ends = Ends::Count;
    u8 countWidth = 0;  // bytes of the count of its elements; 0 for no count
    u8 sizeWidth = 0;   // bytes of the size of its elements in the element above; 0 for no size
    // The size is the first number of the element above and counts everything after itself.
    bool sizeFirst = false;
    // The elements are before the columns of the element above.
    bool ahead = false;
    u8 fewest = 0;              // elements that the element above has at least
    FewOf<u8, 4> order = {};    // of the columns in the file, by index; empty where it is that of `columns`
    const char* label = "";     // of its elements in messages, where that is not the name
    const char* sizeName = "";  // of the size in messages

    constexpr const char* Label() const { return *label ? label : name; }
    constexpr bool HoldsFields() const {
        return !columns.empty() && columns.back().kind == ColumnKind::Field;
    }
    // Columns from the first on that are keys.
    constexpr std::size_t KeyColumns() const {
        std::size_t keys = 0;
        while (keys < columns.size() && columns[keys].key) ++keys;
        return keys;
    }
    // The column that is the `at`th in the file, and its index.
    constexpr const Column& Stored(std::size_t at) const { return columns[StoredIndex(at)]; }
    constexpr std::size_t StoredIndex(std::size_t at) const { return order.empty() ? at : order[at]; }
};

using Levels = FewOf<Level, 4>;

// The u32 after a section's id. Writers set it to the bytes of the elements in every section that has it.
enum class Head : u8 {
    None,
    Unused,  // by readers
    Bytes,   // of the elements; readers begin no element past them
};

// What the count of level 0 means to readers.
enum class Count : u8 {
    None,         // there is no count
    Ends,         // as many elements follow
    Zero,         // 0: there are no elements; any other number means nothing
    Information,  // nothing
};

struct SectionInfo {  // NOLINT(clang-analyzer-optin.performance.Padding): a row reads in this order
    u16 id = 0;
    const char* name = "";   // one word: key in JSON, name of files and tables
    const char* title = "";  // for people
    Head head = Head::Unused;
    Count count = Count::None;
    bool sizeWithoutHead = false;  // the size in the directory counts only the elements
    Levels levels = {};            // as delivered
    Levels stored = {};            // as they are in the file

    // Bytes from the section's id to its first element.
    constexpr u32 HeadSize() const { return 2U + (head == Head::None ? 0 : 4) + stored[0].countWidth; }
};

namespace detail {

constexpr Column Number(const char* name, u8 width) { return {.name = name, .width = width}; }
constexpr Column Text(const char* name, const char* label = nullptr, u8 longest = 0) {
    return {.name = name, .kind = ColumnKind::Text, .width = longest, .label = label};
}
constexpr Column Record(u8 width) {
    return {.name = "record", .kind = ColumnKind::Bytes, .width = width, .key = true};
}
constexpr Column List(const char* name, u8 width) {
    return {.name = name, .kind = ColumnKind::List, .width = width};
}

inline constexpr Column kId8 = Number("id", 1).Key();
inline constexpr Column kId16 = Number("id", 2).Key();
inline constexpr Column kId32 = Number("id", 4).Key();
inline constexpr Column kText1 = Text("text1", "first text");
inline constexpr Column kText2 = Text("text2", "second text");

// Typed fields; the rest of the level as given.
constexpr Level Fields(Level level) {
    level.name = "fields";
    level.singular = "field";
    level.columns = {kId16, Number("tag", 1), {.name = "value", .kind = ColumnKind::Field}};
    level.ends = Ends::Size;
    return level;
}

constexpr SectionInfo Make(SectionInfo section) {
    section.stored = section.levels;
    return section;
}

// One level with a count: u32 bytes of the elements | count | elements.
constexpr SectionInfo Names(u16 id, const char* name, const char* title, u8 countWidth, Column idColumn,
                            FewOf<Column, 2> texts = {Text("name")}) {
    Level level = {
        .name = "elements", .singular = "element", .columns = {idColumn}, .countWidth = countWidth};
    for (const Column& text : texts) level.columns.push_back(text);
    return Make({id, name, title, Head::Bytes, Count::Ends, false, {level}, {}});
}

// Groups that assign their lists to a set of ids.
constexpr SectionInfo Shared(u16 id, const char* name, const char* title, u8 countWidth, Level group) {
    SectionInfo section = {id, name, title, Head::Unused, Count::Ends, false, {}, {}};
    group.countWidth = countWidth;
    const Level ids = {.name = "ids", .singular = "id", .columns = {kId16}, .countWidth = 2, .ahead = true};
    section.stored = {group, ids};
    Level delivered = group;
    delivered.columns = {kId16};
    delivered.order = {};
    for (const Column& list : group.columns) delivered.columns.push_back(list);
    section.levels = {delivered};
    return section;
}

// clang-format off

inline constexpr SectionInfo kAll[] = {
    Make({1, "default-fields", "default fields", Head::Bytes, Count::None, false,
        {Fields({})}}),
    Make({2, "symbols", "symbols", Head::None, Count::None, false,
        {{.name = "symbols", .singular = "symbol", .columns = {Text("symbol", "name").Key()},
          .ends = Ends::Section},
         Fields({.sizeWidth = 4, .sizeFirst = true, .sizeName = "record size"})}}),
    Make({3, "jump-prices", "jump prices", Head::Unused, Count::Zero, false,
        {{.name = "groups", .singular = "group", .columns = {kId8}, .ends = Ends::Section, .countWidth = 1},
         {.name = "records", .singular = "record", .columns = {Record(24)}, .countWidth = 2}}}),
    Make({4, "broker-info", "broker info", Head::Unused, Count::Ends, false,
        {{.name = "records", .singular = "record", .columns = {Record(30)}, .countWidth = 2}}}),
    Make({6, "eidr-quick-groups", "Eidr quick groups", Head::Bytes, Count::None, false,
        {{.name = "groups", .singular = "group", .columns = {Text("name", nullptr, 49).Key()},
          .ends = Ends::Section},
         Fields({.sizeWidth = 2, .sizeFirst = true, .fewest = 1, .sizeName = "size"})}}),
    Make({7, "eidr-sections", "Eidr sections", Head::Bytes, Count::None, false,
        {{.name = "elements", .singular = "element", .columns = {kId16, kText1, kText2},
          .ends = Ends::Section}}}),
    Make({8, "level2-sections", "level-2 sections", Head::Unused, Count::None, true,
        {{.name = "groups", .singular = "group", .columns = {kId8}, .ends = Ends::Section},
         {.name = "items", .singular = "item",
          .columns = {Number("lead", 1).Key(), kText1.Key(), kText2.Key()},
          .countWidth = 1}}}),
    Names(9, "fund-companies", "fund companies", 2, kId16),
    Names(10, "eidr-countries", "Eidr countries", 2, kId16),
    Make({11, "section-groups", "section groups", Head::Bytes, Count::Ends, false,
        {{.name = "groups", .singular = "group", .columns = {kId8, List("members", 1)},
          .countWidth = 1}}}),
    Names(12, "issue-companies", "issue companies", 2, kId16),
    Make({13, "objects", "objects", Head::Unused, Count::Information, false,
        {{.name = "types", .singular = "type", .columns = {Number("type", 2).Key()}, .ends = Ends::Section,
          .countWidth = 2},
         {.name = "sources", .singular = "source", .columns = {Text("source", "source symbol").Key()},
          .countWidth = 2, .sizeWidth = 4, .label = "source symbols", .sizeName = "block size"},
         {.name = "symbols", .singular = "symbol",
          .columns = {Number("byte", 1).Key(), Text("symbol").Key()}, .countWidth = 2},
         {.name = "data", .singular = "data", .columns = {Number("byte", 1).Key(), Text("data").Key()},
          .countWidth = 1, .label = "data records"}}}),
    Make({14, "foreign-trade", "foreign trade", Head::Unused, Count::Information, false,
        {{.name = "heads", .singular = "head", .columns = {kId16, Text("name")},
          .ends = Ends::Section, .countWidth = 2},
         {.name = "items", .singular = "item", .columns = {Number("tag", 1).Key()}, .ends = Ends::Size,
          .sizeWidth = 4, .sizeName = "body size"},
         {.name = "names", .singular = "name", .columns = {Text("name", "item's name").Key()},
          .countWidth = 2}}}),
    Make({15, "global-related", "global related", Head::Unused, Count::Information, false,
        {{.name = "heads", .singular = "head", .columns = {kId16}, .ends = Ends::Section, .countWidth = 2},
         {.name = "lists", .singular = "list", .ends = Ends::Size, .sizeWidth = 4, .sizeName = "body size"},
         {.name = "items", .singular = "item",
          .columns = {Number("tag", 1).Key(), Text("name", "item's name").Key()},
          .countWidth = 1}}}),
    Names(16, "exchanges", "exchanges", 2, kId16, {kText1, kText2}),
    Make({17, "real-delay", "real-delay mapping", Head::Bytes, Count::Zero, false,
        {{.name = "pairs", .singular = "pair",
          .columns = {Number("first", 1).Key(), Number("second", 1).Key()},
          .ends = Ends::Size, .countWidth = 2}}}),
    Shared(18, "level2-eod-items", "level-2 EOD item definitions", 2,
        {.name = "definitions", .singular = "definition",
         .columns = {List("first", 2), List("second", 2), List("third", 2)},
         .order = {1, 2, 0}}),
    Names(19, "fund-main-names", "fund main names", 4, kId32),
    Names(20, "futures-sections", "futures sections V2", 4, kId16),
    Shared(21, "exchange-support", "exchange support", 4,
        {.name = "entries", .singular = "entry", .columns = {List("items", 2)}}),
    Names(22, "futures-class-types", "futures class types", 4, kId16),
};

// clang-format on

}  // namespace detail

// Every section that has a reader, by id.
inline constexpr std::span<const SectionInfo> kSections = detail::kAll;

// Null for an id without a reader (5, and everything above 22).
constexpr const SectionInfo* FindSection(u16 id) {
    for (const SectionInfo& section : kSections) {
        if (section.id == id) return &section;
    }
    return nullptr;
}

// By name or title; null for any other text.
constexpr const SectionInfo* FindSectionNamed(std::string_view text) {
    for (const SectionInfo& section : kSections) {
        if (text == section.name || text == section.title) return &section;
    }
    return nullptr;
}

}  // namespace torva
