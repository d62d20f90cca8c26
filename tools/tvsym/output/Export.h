// What both kinds of `export` share: the columns of the wide table of symbols, and values as a database has
// them.
#pragma once

#include <string>
#include <vector>

#include "tables/rows/Reader.h"
#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/SqlValues.h"

namespace tvsym {

// A field id that some symbol has, its own or as a default.
struct WideColumn {
    u16 id = 0;
    std::string name;        // unlike every other, whatever the case of its letters
    bool allNumbers = true;  // what the values are, as far as they are there
    bool allDates = true;
    bool allFloats = true;
    bool above63Bits = false;
};

struct ExportSource {
    Reader& reader;
    const Dictionary& dictionary;
    TextCodec& codec;
    std::vector<WideColumn> wide;  // ascending by id
};

// The sections that are there to be read, in the order of the directory.
std::vector<const SectionInfo*> ReadableSections(const Reader& reader);

// `target` is the database; an old one is replaced when all has been written.
std::vector<Problem> ExportSqlite(const ExportSource& source, const std::string& target);

// `target` is a directory, made when it is not there: a CSV file for each section as `dump` writes them, the
// wide table of symbols, and a script for each kind of server that makes the tables and loads them.
std::vector<Problem> ExportCsv(const ExportSource& source, const std::string& target);

}  // namespace tvsym
