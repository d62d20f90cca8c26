// The sections of a symbol file (format/Sections.h) as a command names and shows them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "format/Fields.h"
#include "format/Sections.h"
#include "tools/tvsym/Tool.h"

namespace tvsym {

using torva::Column;
using torva::ColumnKind;
using torva::FindSection;
using torva::Level;
using torva::SectionInfo;

using torva::kTextTag;
using torva::PayloadWidth;

// By id, name (with - or _) or title. Null when no section with a reader is called so.
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

}  // namespace tvsym
