// The result codes: their names and what they mean, in words.
#pragma once

#include <array>

#include "TorvaAPI.h"
#include "format/Types.h"

namespace torva {

struct ResultCode {
    i32 code;
    const char* name;
    const char* meaning;  // to readers of a section
    // What the code reports about the data of a section, for people who look at the file; null for codes that
    // report nothing about it.
    const char* damage = nullptr;
};

inline constexpr std::array<ResultCode, 12> kResults = {{
    {SYM_OK, "SYM_OK", "done"},
    {SYM_ERR_OPEN, "SYM_ERR_OPEN", "the file cannot be opened, or its default fields cannot be read"},
    {SYM_ERR_PARAM, "SYM_ERR_PARAM", "a text is longer than they have room for",
     "expected a shorter text; this one is longer than readers of this section take"},
    {SYM_ERR_NO_SLOT, "SYM_ERR_NO_SLOT", "too many open files"},
    {SYM_ERR_BAD_HANDLE, "SYM_ERR_BAD_HANDLE", "no file is open under the handle"},
    {SYM_MORE_DATA, "SYM_MORE_DATA", "there is more"},
    {SYM_END_OF_DATA, "SYM_END_OF_DATA", "the data ends early"},
    {SYM_ERR_NO_MEMORY, "SYM_ERR_NO_MEMORY", "an allocation failed", "not enough memory"},
    {SYM_ERR_BUFFER_TOO_SMALL, "SYM_ERR_BUFFER_TOO_SMALL",
     "a text or value that does not end, or does not fit", "a text does not end within the file"},
    {SYM_ERR_FORMAT, "SYM_ERR_FORMAT", "counts and sizes disagree",
     "sizes disagree: an element exceeds the size of its record or section"},
    {SYM_ERR_NO_SECTION, "SYM_ERR_NO_SECTION", "the section is not found", "the section is not found"},
    {SYM_ERR_READ, "SYM_ERR_READ", "the data ends inside an element, or a text has no room",
     "the data ends inside an element"},
}};

// Null for a number that is not a result code.
constexpr const ResultCode* FindResult(i32 code) {
    for (const ResultCode& result : kResults) {
        if (result.code == code) return &result;
    }
    return nullptr;
}

}  // namespace torva
