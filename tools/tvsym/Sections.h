// The sections of a symbol file as tables: what they are called and what their elements look like.
//
// A section is a tree of at most four levels. Each level has columns; a row of level n belongs to the row of
// level n - 1 delivered last. Section 2, for instance: level 0 "symbols" (symbol), level 1 "fields" (id, tag,
// value). Commands that treat all sections alike (dump, stats, diff, export) work on this description and on
// the rows.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tvsym/Tool.h"

namespace tvsym {

enum class ColumnKind : u8 {
    Number,
    Text,   // bytes in the file's character set
    Bytes,  // a record that nobody gives a structure
    List,   // numbers
    Field,  // the value of a typed field: payload bytes, their meaning told by the tag
};

struct Column {
    const char* name;
    ColumnKind kind;
};

struct Level {
    const char* name;  // of its elements, in the plural; also the key of the list in JSON
    std::vector<Column> columns;
};

struct SectionInfo {
    u16 id;
    const char* name;   // one word, as accepted by --section and used for file and table names
    const char* title;  // for people
    std::vector<Level> levels;
};

// All sections that have a reader, by id; section 1 (default fields) included.
std::span<const SectionInfo> AllSections();

// Null when the id has no reader (5 and everything above 22).
const SectionInfo* FindSection(u16 id);

// By id, name (with - or _) or title.
const SectionInfo* FindSection(std::string_view text);

// What one element of a level is called: "entry" for "entries".
std::string Singular(std::string_view plural);

// "1 entry", "2 entries"
std::string Counted(u64 count, std::string_view plural);

// Rows of each level of a section: "3 symbols, 40 fields", and {"symbols":3,"fields":40}.
std::string RowsText(u16 id, const std::vector<u64>& rows);
std::string RowsJson(u16 id, const std::vector<u64>& rows);

// "foreign trade", or "unknown".
const char* SectionTitle(u16 id);

// Bytes of a typed field's payload in the file. For a text (tag 7) 0: it ends at its zero byte.
constexpr u32 PayloadWidth(u8 tag) {
    constexpr u8 kWidths[] = {0, 1, 1, 4, 2, 4, 8, 0, 4, 3};
    return tag < 10 ? kWidths[tag] : 0;
}
constexpr u8 kTextTag = 7;

}  // namespace tvsym
