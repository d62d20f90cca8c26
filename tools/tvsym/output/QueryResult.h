// The rows of a query: as a table, CSV or JSON lines, or in a database.
#pragma once

#include <string>
#include <vector>

#include "tools/tvsym/input/SqlSession.h"
#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Output.h"

namespace tvsym {

// Runs the query to its end and returns the number of its rows. `format` is table, csv or ndjson. Integers
// that a double cannot hold are strings in JSON; bytes that are not text are "hex:..." in CSV and {"hex":
// "..."} in JSON.
u64 WriteQuery(SqlQuery& query, Output& out, const std::string& format);

// One value, as the table has it and in JSON.
std::string ShownValue(const sql::Value& value);
void WriteValue(JsonWriter& json, const sql::Value& value);

// The same into the table `result` of a new database, which takes the place of an old file when all of it is
// written. Throws ToolError for one of `sources`, the files that are read.
void SaveQuery(SqlQuery& query, const std::string& target, const std::vector<std::string>& sources);

}  // namespace tvsym
