// What both kinds of `export` share: the columns of the wide table of symbols, and values as a database has
// them.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "tools/tvsym/Dictionary.h"
#include "tools/tvsym/Reader.h"

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

// Bytes that are no text, or that the dictionary shows as hex.
struct Blob {
    std::string bytes;
};

// Nothing for a field without payload. Where the dictionary has no type, and for numbers without one, a
// payload is an unsigned number. Numbers from 2^63 on, and floats that are no number, stand as text.
using SqlValue = std::variant<std::monostate, i64, double, std::string, Blob>;

SqlValue FieldValue(const ExportSource& source, u16 id, u8 tag, std::string_view payload);
SqlValue TextValue(const ExportSource& source, std::string_view bytes);

// The sections that are there to be read, in the order of the directory.
std::vector<const SectionInfo*> ReadableSections(const Reader& reader);

// `target` is the database; an old one is replaced when all has been written.
std::vector<Problem> ExportSqlite(const ExportSource& source, const std::string& target);

// `target` is a directory, made when it is not there: a CSV file for each section as `dump` writes them, the
// wide table of symbols, and a script for each kind of server that makes the tables and loads them.
std::vector<Problem> ExportCsv(const ExportSource& source, const std::string& target);

}  // namespace tvsym
