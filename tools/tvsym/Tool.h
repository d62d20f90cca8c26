// What every part of the tool shares: the names of the libraries that it is made of, exit statuses, and
// errors that end a command.
#pragma once

#include <stdexcept>
#include <string>

#include "format/Fields.h"
#include "format/Sections.h"
#include "tables/Error.h"

namespace tvsym {

using namespace torva;
using namespace torva::tables;

constexpr int kExitOk = 0;
constexpr int kExitFindings = 1;    // something is wrong in the file, or two files differ; the rest was done
constexpr int kExitUnreadable = 2;  // the file cannot be read, or the output cannot be written
constexpr int kExitUsage = 64;

// Ends the command: main prints "tvsym: MESSAGE" and returns `status`. A tables::Error does the same with
// kExitUnreadable.
class ToolError : public std::runtime_error {
public:
    ToolError(int exitStatus, const std::string& message) : std::runtime_error(message), status(exitStatus) {}

    const int status;
};

}  // namespace tvsym
