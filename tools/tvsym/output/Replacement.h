// A new file beside the target that replaces it once it is complete, and is removed otherwise: a failure
// leaves the old file as it was.
#pragma once

#include <filesystem>
#include <string>

namespace tvsym {

class Replacement {
public:
    // An existing target that is not a regular file (a pipe, a device) is written directly; of a link, the
    // file that it leads to is replaced. Throws ToolError: with kExitUnreadable for a directory and for a
    // target in none, with kExitUsage for `source`, the file that is being read.
    Replacement(std::string targetName, const std::string& source);
    ~Replacement();

    // Throws ToolError with kExitUsage where `target` is the file `source`, which is read.
    static void RefuseSource(const std::string& target, const std::string& source);
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    const std::string& Target() const { return name; }

    // Where to write. The file does not exist yet, unless the target is written directly.
    std::string Path() const { return path.string(); }

    // The three steps to the end. The file must be closed. All throw ToolError with kExitUnreadable.
    void Synchronize() const;  // waits until its bytes are on the disk
    void Rename();             // replaces the old file and keeps its permissions
    void TakePlace();          // both, then waits for the directory

private:
    [[noreturn]] void Fail(const std::error_code& error) const;

    std::string name;
    std::filesystem::path target;
    std::filesystem::path path;
};

}  // namespace tvsym
