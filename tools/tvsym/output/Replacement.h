// A new file beside the target that takes its place when all of it is written, or goes away: whatever fails
// leaves an old file as it was.
#pragma once

#include <filesystem>
#include <string>

namespace tvsym {

class Replacement {
public:
    // A target that is there and no regular file (a pipe, a device) is written to itself; of a link, the file
    // behind it is replaced. Throws ToolError with kExitUnreadable for a directory, and where there is none
    // to write in, with kExitUsage for `source`, the file that is being read.
    Replacement(std::string targetName, const std::string& source);
    ~Replacement();
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    const std::string& Target() const { return name; }

    // Where to write; a replacement is not there yet.
    std::string Path() const { return path.string(); }

    // The three steps to the end. The file must be closed. All throw ToolError with kExitUnreadable.
    void Synchronize() const;  // waits until its bytes are on the disk
    void Rename();             // puts it in the place of the old one, with its permissions
    void TakePlace();          // both, and waits for the directory

private:
    [[noreturn]] void Fail(const std::error_code& error) const;

    std::string name;
    std::filesystem::path target;
    std::filesystem::path path;
};

}  // namespace tvsym
