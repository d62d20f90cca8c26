// What differs between two symbol files, whatever the order of their records.
//
//     Comparison comparison({});
//     comparison.Read(0, oldReader);   // one after the other, each once
//     comparison.Read(1, newReader);
//     while (comparison.Next()) ...comparison.Current()...
//
// Records that several times occur under one key (a symbol that is there twice) are paired in file order.
// Memory stays bounded by CompareOptions::memory for each file when there is a temporary file to use.
#pragma once

#include <array>
#include <deque>
#include <map>
#include <set>
#include <vector>

#include "tables/compare/SortedRecords.h"
#include "tables/rows/Reader.h"

namespace torva::tables {

enum class Change : u8 { Added, Removed, Changed };

// One value of a record: a column of a row, or a typed field, which then is a cell of kind Field.
struct ValueChange {
    const Column* column = nullptr;                 // null for a typed field
    u16 field = 0;                                  // id of a typed field
    std::array<std::optional<Cell>, 2> cells = {};  // before and after; none where there is no value
    std::array<bool, 2> isDefault = {};             // the value comes from section 1
};

// Valid until the next call of Next.
struct Difference {
    struct Step {
        const char* name;  // of the column, or of a level without columns
        ColumnKind kind;
        Cell cell;
    };

    u16 section = 0;
    Change change = Change::Changed;
    bool wholeSection = false;  // only one of the files has the section
    std::vector<Step> path;     // key columns, from the outermost level on; none for a section without reader
    std::vector<ValueChange> values;
};

struct CompareCounts {
    std::array<u64, 3> of = {};  // by Change
    u64 same = 0;

    u64 Of(Change change) const { return of[static_cast<std::size_t>(change)]; }
};

struct CompareOptions {
    std::vector<u16> sections = {};  // empty: all
    std::vector<u16> fields = {};    // ids of the fields that count; empty: all
    std::size_t memory = std::size_t{16} << 20;
    SortedRecords::MakeFile makeFile = {};  // see SortedRecords; records stay in memory without it
};

class Comparison {
public:
    explicit Comparison(CompareOptions compareOptions);

    // Reads the old file (0) or the new one (1), and returns what is wrong in its sections. What was read
    // before damage takes part. Throws Error when the temporary file fails.
    std::vector<Problem> Read(std::size_t side, Reader& reader);

    // Those that take part of a file that was read.
    const std::set<u16>& Sections(std::size_t side) const { return sides[side].sections; }

    // Moves to the next difference: sections that only the old file has, then those that only the new one
    // has, then records by section and key.
    bool Next();
    const Difference& Current() const { return difference; }

    // For each section of either file, the records so far; all when Next has returned false.
    const std::map<u16, CompareCounts>& Counts() const { return counts; }

private:
    struct Side {
        SortedRecords records;
        std::set<u16> sections;
        std::map<u16, std::pair<u8, std::string>> defaults;  // tag and payload, the first of each id
    };

    bool NextSection();
    bool Compare(Change change, std::string_view key, std::array<std::string_view, 2> values);
    void CompareSymbols(std::string_view text, const std::array<std::string_view, 2>& values);
    void CompareRows(const SectionInfo& section, std::string_view key,
                     const std::array<std::string_view, 2>& values);
    void CompareFields(u16 id, const std::array<const SymbolField*, 2>& fields);

    CompareOptions options;
    std::set<u16> fields;
    std::array<Side, 2> sides;
    std::map<u16, CompareCounts> counts;
    Difference difference;
    std::size_t sectionSide = 0;         // Next has looked at the sections of the sides before this one,
    u32 nextId = 0;                      // and at its ids below this one
    std::array<bool, 2> taken = {};      // the records in `difference`, which Next moves on from
    std::deque<std::vector<u16>> lists;  // of `difference`
};

}  // namespace torva::tables
