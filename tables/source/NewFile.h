// A new file beside a target that takes the target's place once it is complete, and is removed otherwise: the
// old file stays whole until the new one is.
#pragma once

#include <filesystem>
#include <system_error>

namespace torva::tables {

// Waits until what was written to a file is on the disk.
std::error_code SynchronizeFile(const std::filesystem::path& path);

// The same for the names in a directory, as far as the system can; an empty path is the current directory.
void SynchronizeDirectory(const std::filesystem::path& path);

class NewFile {
public:
    // The file itself is for the caller to create, at Path(): the target's name followed by a random number
    // and
    // ".part", in the target's directory. Of a symbolic link, the file that it leads to is replaced.
    explicit NewFile(std::filesystem::path target);
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile();

    const std::filesystem::path& Path() const { return path; }

    // The steps to the end; the file must be closed. Each returns what failed.
    std::error_code Rename();     // replaces the old file and keeps its permissions
    std::error_code TakePlace();  // once the file is on the disk; waits for the directory, too

private:
    std::filesystem::path target;
    std::filesystem::path path;  // empty once it was renamed
};

}  // namespace torva::tables
