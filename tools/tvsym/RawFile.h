// The bytes of a symbol file's head, read beside the library.
//
// The library has no export for the directory's offsets and sizes. Messages and `info` need them, so they are
// read from the file itself, before the library opens it: the file is closed again by then, since an open of
// the library shares the file with nobody. Everything else comes through the exported functions.
//
//   offset 0   u16   number of directory entries
//   offset 2   10 bytes each: u16 id, u32 offset, u32 size
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/tvsym/Tool.h"

namespace tvsym {

struct DirectoryEntry {
    u16 id = 0;
    u32 offset = 0;
    u32 size = 0;
    std::optional<u16> idAtStart;  // none when the section starts at or behind the end of the file
    bool firstOfId = true;         // the library reads the first entry of an id and no other

    bool Readable() const { return firstOfId && idAtStart == id; }

    // The directory's size of section 8 counts its group bytes alone; all others count from the section id.
    u64 End() const { return u64{offset} + size + (id == 8 ? 6 : 0); }
};

struct RawFile {
    u64 fileSize = 0;
    u16 entryCount = 0;                     // as the file says
    std::vector<DirectoryEntry> directory;  // whole entries that are there, in file order

    bool DirectoryCut() const { return directory.size() < entryCount; }

    // The entry that the library reads for this id; null when there is none.
    const DirectoryEntry* Find(u16 id) const;

    // Throws ToolError with kExitUnreadable for what is no readable symbol file: missing, a directory, no
    // permission, empty, or without anything that looks like a directory. `name` stands in messages.
    static RawFile Read(const std::string& path, const std::string& name);
};

// A stretch of the file that belongs to no section, or to two.
struct Stretch {
    u64 offset;
    u64 size;
    std::string what;
};

std::vector<Stretch> GapsAndOverlaps(const RawFile& raw);

}  // namespace tvsym
