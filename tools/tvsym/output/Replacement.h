// The file that a command writes: a new file that takes the target's place once it is complete. A failure or
// a signal leaves the old file as it was.
#pragma once

#include <optional>
#include <string>

#include "tables/source/NewFile.h"

namespace tvsym {

class Replacement {
public:
    // An existing target that is not a regular file (a pipe, a device) is written directly; of a link, the
    // file that it leads to is replaced. Throws ToolError: with kExitUnreadable for a directory and for a
    // target in none, with kExitUsage for `source`, the file that is being read.
    Replacement(std::string targetName, const std::string& source);
    // Throws ToolError with kExitUsage where `target` is the file `source`, which is read.
    static void RefuseSource(const std::string& target, const std::string& source);
    const std::string& Target() const { return name; }

    // Where to write. The file does not exist yet, unless the target is written directly.
    std::string Path() const { return file ? file->Path().string() : name; }

    // The three steps to the end. The file must be closed. All throw ToolError with kExitUnreadable.
    void Synchronize() const;  // waits until its bytes are on the disk
    void Rename();             // replaces the old file and keeps its permissions
    void TakePlace();          // both, then waits for the directory

private:
    void Check(const std::error_code& error) const;

    std::string name;
    std::optional<torva::tables::NewFile> file;  // none for a target that is written directly
};

}  // namespace tvsym
