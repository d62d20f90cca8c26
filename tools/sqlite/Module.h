// The SQLite module `torva`: a table of a symbol file as a virtual table.
//
//   CREATE VIRTUAL TABLE s USING torva('market.sym');
//   CREATE VIRTUAL TABLE x USING torva('market.sym', table=exchanges, encoding='BIG5');
//
//   table       its name as SymbolDatabase.h has it; symbols
//   dictionary  JSON file with names and types of the fields; FILE.fields.json where it is there, '' for none
//   encoding    character set of the texts; UTF-8
//   fields      "all": symbols has a column for each field that occurs, not for those of the dictionary alone
//   damaged     "skip": a damaged section ends without an error. Else its rows are delivered up to the
//   damage,
//               then the statement fails with SQLITE_CORRUPT.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "tools/sqlite/SymbolDatabase.h"

struct sqlite3;

namespace torva::sql {

// Files that the application opened, by the name that replaces a path. Damage in them is not an
// error: the application asks for SymbolDatabase::Problems.
using OpenDatabases = std::map<std::string, std::shared_ptr<SymbolDatabase>>;

// Adds the module to a connection; returns an SQLite result code. With `open`, which must outlive the
// connection, the module knows these files and opens no others.
int AddModule(sqlite3* connection, const OpenDatabases* open);

// "FILE: section 14 (foreign trade), offset 0x1a2b: WHAT"
std::string ProblemText(const std::string& file, const tables::Problem& problem);

}  // namespace torva::sql
