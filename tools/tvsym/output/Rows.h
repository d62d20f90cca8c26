// Rows of a section as text: JSON (one document, or a line for each element), CSV and aligned tables. Each
// class takes the rows of one walk and writes as they come.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tables/dictionary/Values.h"
#include "tables/rows/Reader.h"
#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

struct RowContext {
    const Dictionary& dictionary;
    TextCodec& codec;
};

class RowWriter {
public:
    virtual ~RowWriter() = default;
    virtual void Row(size_t level, std::span<const Cell> cells) = 0;
    virtual void Finish() = 0;
};

// The elements of a section in the form that `build` reads, without the brackets of the list. With `lines`,
// each element is an object of its own on a line of its own that names its section, and values are what the
// dictionary makes of them.
std::unique_ptr<RowWriter> MakeJsonRows(JsonWriter& json, const SectionInfo& section,
                                        const RowContext& context, bool lines);

// One line for each row of the deepest level, with the columns of the levels above in front. See CsvColumns.
std::unique_ptr<RowWriter> MakeCsvRows(Output& out, const SectionInfo& section, const RowContext& context);

// The same for people.
std::unique_ptr<RowWriter> MakeTableRows(Output& out, const SectionInfo& section, const RowContext& context);

// A cell as JSON, of any kind except Field.
void WriteCell(JsonWriter& json, ColumnKind kind, const Cell& cell, TextCodec& codec);

// The header of a section's CSV file. A section of one level has the columns of Sections.h. A nested section
// has, for each level from the outermost, a column "LEVEL_no" that counts its rows within the row above from
// 1, and the columns of the level, named "LEVEL_COLUMN" ("LEVEL" alone where that is the column's name,
// COLUMN alone on the last level). Where a row has none below it, one line stands for it whose further
// columns are empty, counts included.
//
//   symbols         symbol_no, symbol, field_no, id, tag, value
//   foreign-trade   head_no, head_id, head_name, item_no, item_tag, name_no, name
//
// Numbers are decimal, lists are numbers after blanks, records hex. A field's value is, by its tag, a text,
// the payload as an unsigned number, or empty. Texts are UTF-8; bytes that are not text, and texts that begin
// with "hex:", are written as "hex:" and their digits. Where there is a dictionary, "field_name" and
// "field_value" follow: the name and what its type makes of the value.
std::vector<std::string> CsvColumns(const SectionInfo& section, bool withDictionary);

// A line of CSV, with its end; cells are quoted where they have to be. There is at least one.
void AppendCsvLine(std::string& to, const std::vector<std::string>& cells);

}  // namespace tvsym
