// The rows of one table, one at a time, and equality looked up in them.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tables/rows/SymbolScan.h"
#include "tools/sqlite/SymbolDatabase.h"

namespace torva::sql {

// Where a row is: of symbols and their fields the record, of other tables the row's number.
using Place = tables::SymbolScan::Place;

// A set of columns, as SQLite has it: a bit each, the last for all from it on.
using ColumnSet = u64;
constexpr bool Uses(ColumnSet columns, std::size_t column) {
    return (columns >> (column < 63 ? column : 63) & 1) != 0;
}

class Scan {
public:
    Scan() = default;
    Scan(const Scan&) = delete;
    Scan& operator=(const Scan&) = delete;
    virtual ~Scan() = default;

    // Next delivers the first row after these.
    virtual void Rewind() = 0;
    virtual void MoveTo(Place place) = 0;

    virtual bool Next() = 0;
    virtual bool NextHere() = 0;  // only rows of the same place

    // Of the row; values are valid until the next call of any function.
    virtual Place At() const = 0;
    virtual i64 RowId() const = 0;
    virtual Value Column(std::size_t column) = 0;
};

// One table of a file, for all of its scans.
class Table {
public:
    Table(std::shared_ptr<SymbolDatabase> symbolDatabase, const TableSpec& tableSpec)
        : database(std::move(symbolDatabase)), spec(tableSpec) {}
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    SymbolDatabase& Database() { return *database; }
    const TableSpec& Spec() const { return spec; }

    // `columns`: those whose values will be asked for.
    std::unique_ptr<Scan> NewScan(ColumnSet columns);

    // Before each pass: rows of tables other than those of the symbols are kept from the second pass on.
    void CountPass();
    const void* Kept() const { return kept.get(); }  // changes where scans must be made anew

    // The places of the rows whose value of a column hashes so, ascending, from an index that is made at the
    // second call for this column. Null if there is none yet.
    struct Entry {
        u32 hash;
        Place place;
    };
    const std::vector<Entry>* Index(std::size_t column);
    static std::span<const Entry> Lookup(const std::vector<Entry>& index, u32 hash);

    // The rows of a table that is kept.
    struct Rows {
        std::vector<Value> values;  // of all rows, one after the other
        std::vector<std::unique_ptr<char[]>> texts;
        std::size_t used = 0;  // of the last of `texts`
        std::size_t room = 0;

        void Add(Value value);
    };

private:
    bool OfSymbols() const {
        return spec.kind == TableSpec::Kind::Symbols || spec.kind == TableSpec::Kind::SymbolFields;
    }
    std::unique_ptr<Scan> NewStream(ColumnSet columns);

    std::shared_ptr<SymbolDatabase> database;
    const TableSpec& spec;
    u64 passes = 0;
    std::shared_ptr<const Rows> kept;
    std::map<std::size_t, u64> lookups;
    std::map<std::size_t, std::vector<Entry>> indexes;
};

}  // namespace torva::sql
