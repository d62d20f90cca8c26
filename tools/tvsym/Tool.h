// What every part of the tool shares: exit statuses, errors that end a command, and how a fault in a file is
// told.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "format/Types.h"

namespace tvsym {

using torva::i32;
using torva::i64;
using torva::u16;
using torva::u32;
using torva::u64;
using torva::u8;

constexpr int kExitOk = 0;
constexpr int kExitFindings = 1;    // something is wrong in the file, or two files differ; the rest was done
constexpr int kExitUnreadable = 2;  // the file, or where the output goes, is of no use
constexpr int kExitUsage = 64;

// Why a file that another opener holds for itself is refused.
constexpr const char* kInUse = "is in use: another process has it open";

// Ends the command: main prints "tvsym: MESSAGE" and leaves with `status`.
class ToolError : public std::runtime_error {
public:
    ToolError(int exitStatus, const std::string& message) : std::runtime_error(message), status(exitStatus) {}

    const int status;
};

// One thing that is wrong in a symbol file. Section 0 stands for the directory and the file as a whole.
struct Problem {
    u16 section = 0;
    std::optional<u64> offset;  // from the start of the file
    std::string what;           // what was expected and what was found
};

// "tvsym: FILE: section 14 (foreign trade), offset 0x1a2b: WHAT"
std::string ProblemLine(const std::string& file, const Problem& problem);

// One line on stderr. A progress bar that stands there is wiped first.
void PrintError(const std::string& line);
void PrintProblem(const std::string& file, const Problem& problem);

}  // namespace tvsym
