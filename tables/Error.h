// Errors of tables/, and what its parts report while they work.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "format/Types.h"

namespace torva::tables {

// A file, a dictionary or an encoding cannot be used. what() says why, and names the file where there is one.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One thing that is wrong in a symbol file. Section 0 stands for the section directory and the file as a
// whole.
struct Problem {
    u16 section = 0;
    std::optional<u64> offset;  // from the start of the file
    std::string what;           // what was expected and what was found; may contain bytes of the file
};

// Called about every thousand rows with the bytes that were read since the last call. Returning false cancels
// the work: it ends as soon as it can, and its result says so. May be empty.
using Progress = std::function<bool(u64 bytes)>;

}  // namespace torva::tables
