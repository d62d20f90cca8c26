// The bytes of a symbol file: an open file, or memory.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "library/platform/Platform.h"
#include "tables/Error.h"

namespace torva::tables {

// An open file is shared: it takes no lock and heeds none, so that reading never blocks another process and
// is never blocked (on Windows, as far as the other opener allows). Any number of Readers, in any threads,
// may use one FileSource at the same time. A file that another process writes at the same time reads as
// whatever it holds at each moment.
class FileSource {
public:
    // Opens a regular file. `name` is used in messages; empty: the path. Throws Error.
    static std::shared_ptr<const FileSource> FromPath(const std::string& path, std::string name = {});

    // Reads an open regular file, and closes the descriptor (on Windows a HANDLE) when the last owner of the
    // result goes, or at once when it throws Error. The file position is neither used nor moved.
    static std::shared_ptr<const FileSource> FromDescriptor(platform::Descriptor descriptor,
                                                            std::string name);

    // Reads a file that is open already, which must not be null.
    static std::shared_ptr<const FileSource> FromFile(std::shared_ptr<platform::File> file, std::string name);

    // Reads memory of the caller, which must not change and must outlive the result.
    static std::shared_ptr<const FileSource> FromBytes(std::span<const u8> bytes, std::string name);

    const std::string& Name() const { return name; }
    u64 Size() const { return size; }

    // Reads up to `count` bytes at `offset` and returns how many there were. Bytes that cannot be read count
    // as absent.
    u32 ReadAt(u64 offset, void* to, u32 count) const;

    // Calls `sink` with `count` bytes from `offset` on, in pieces; fewer where the file ends.
    void Read(u64 offset, u64 count, const std::function<void(std::string_view)>& sink) const;

    // Memory that holds the whole file; null for an open file.
    const u8* Bytes() const { return file ? nullptr : memory.data(); }

    // The same file, for another owner; null for memory.
    std::unique_ptr<platform::File> Share() const;

private:
    FileSource(std::shared_ptr<platform::File> openFile, std::string sourceName);
    FileSource(std::span<const u8> bytes, std::string sourceName)
        : memory(bytes), size(bytes.size()), name(std::move(sourceName)) {}

    std::shared_ptr<platform::File> file;  // null for memory
    std::span<const u8> memory;
    u64 size = 0;
    std::string name;
};

}  // namespace torva::tables
