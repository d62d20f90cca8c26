// The words for findings, and for what readers get.
#pragma once

#include <string>

#include "tables/check/Check.h"

namespace torva::tables {

// The word that stands for it in JSON.
const char* KindName(FindingKind kind);

struct FindingWords {
    std::string what;
    std::string expected;  // both may be empty
    std::string found;
    bool last = false;

    // "the head value: expected 12 (...), found 13"
    std::string Sentence() const;
};

// `encoding` names what `codec` decodes. Texts of the file come out as TextCodec::Display returns them.
FindingWords Describe(const CheckReport& report, const Finding& finding, TextCodec& codec,
                      const std::string& encoding);

// "3 heads, 5 items, 9 names, then SYM_ERR_READ (...)"
std::string ReadingText(u16 id, const Reading& reading);

// "1,234,567"
std::string Grouped(u64 number);

// "1 entry", "2 entries", from the name of a level (or "bytes", "sections").
std::string Counted(u64 count, std::string_view plural);

// Rows of each level of a section: "3 symbols, 40 fields".
std::string RowsText(u16 id, const std::vector<u64>& rows);

}  // namespace torva::tables
