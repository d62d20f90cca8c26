// A symbol file as tables of SQL: which there are, and what was wrong in what was read of them.
//
//   symbols                symbol_no, symbol, and a column for each field, defaults filled in; hidden,
//                          record_offset: of the record from the section's start
//   symbol_fields          symbol_no, symbol, field_no, id, name, tag, value: own fields, one a row
//   foreign_trade          head_no, id, name
//   foreign_trade_items    item_no, head_no, tag
//   foreign_trade_names    name_no, item_no, name
//   ...                    a table for each level of each section; NOUN_no counts its rows from 1
//   section_groups_members group_no, position, value: a table for each list
//   sections, fields       the section directory; the dictionary
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "format/Sections.h"
#include "tables/rows/Reader.h"
#include "tools/sqlite/Value.h"

namespace torva::sql {

struct ColumnSpec {
    std::string name;
    const char* type = "";  // "TEXT", ...; empty: values of several types
    bool lookup = false;    // equality is looked up in an index, which is made when it is first of use
    u16 field = 0;          // of symbols, from the fourth column on
};

struct TableSpec {
    enum class Kind : u8 { Symbols, SymbolFields, Level, List, Sections, Fields };

    std::string name;
    Kind kind = Kind::Level;
    std::vector<ColumnSpec> columns;
    const SectionInfo* section = nullptr;  // of Level and List
    std::size_t level = 0;
    std::size_t list = 0;  // column of the level
    u64 rowsGuess = 1;
};

struct DatabaseOptions {
    tables::Dictionary dictionary;
    std::string encoding = "UTF-8";
    // Columns for every field that some symbol has, not for those of the dictionary alone. It takes a pass
    // over the symbols.
    bool everyField = false;
};

// "foreign-trade" as SQL has it: foreign_trade.
std::string TableName(std::string_view sectionName);

// Used by one thread at a time.
class SymbolDatabase {
public:
    // Throws tables::Error.
    SymbolDatabase(std::shared_ptr<const tables::FileSource> source, DatabaseOptions databaseOptions);

    // Every table, in the order of their names' sections.
    const std::vector<TableSpec>& Tables() const { return specs; }

    // Null if there is none of that name. The columns of `symbols` are found at its first use: those of
    // the dictionary and of the default fields, or of every field where there is no dictionary.
    const TableSpec* Find(std::string_view name, std::size_t mostColumns);

    tables::Reader& Base() { return base; }
    const tables::Dictionary& Dictionary() const { return options.dictionary; }
    ValueMaker& Values() { return values; }

    // A Reader of its own, for a walk.
    std::unique_ptr<tables::Reader> NewReader() const;

    // Something of the section was read, and this was found wrong.
    void Report(u16 section, const std::vector<tables::Problem>& found);

    // What is wrong in the sections that were read, and in the directory.
    std::vector<tables::Problem> Problems() const;

private:
    void AddSection(const SectionInfo& section);
    void FindFields(TableSpec& table, std::size_t mostColumns);
    u64 RowsGuess(u16 section) const;

    DatabaseOptions options;
    tables::Reader base;
    ValueMaker values;
    std::vector<TableSpec> specs;
    std::set<u16> read;
    std::vector<tables::Problem> problems;
};

}  // namespace torva::sql
