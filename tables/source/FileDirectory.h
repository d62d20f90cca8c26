// The section directory of a symbol file, with what can be said of it before any section is read.
//
//   offset 0   u16   number of entries
//   offset 2   10 bytes each: u16 id, u32 offset, u32 size
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tables/source/FileSource.h"

namespace torva::tables {

struct DirectoryEntry {
    u16 id = 0;
    u32 offset = 0;
    u32 size = 0;
    std::optional<u16> idAtStart;  // none when the section starts at or after the end of the file
    bool firstOfId = true;         // the library reads the first entry of an id and no other

    bool Readable() const { return firstOfId && idAtStart == id; }

    u64 End() const;
};

struct FileDirectory {
    u64 fileSize = 0;
    u16 entryCount = 0;                   // as the file says
    std::vector<DirectoryEntry> entries;  // whole entries that are there, in file order

    bool IsCut() const { return entries.size() < entryCount; }

    // The entry that the library reads for this id; null when there is none.
    const DirectoryEntry* Find(u16 id) const;

    // Throws Error for a file that is not a symbol file: empty, or without anything that looks like a
    // directory.
    static FileDirectory Read(const FileSource& source);
};

// What the directory alone shows to be wrong: cut off, sections after the end, a wrong id at the start,
// further entries of an id. An id without a reader is not a problem.
std::vector<Problem> DirectoryProblems(const FileDirectory& directory);

// A stretch of the file that belongs to no section, or to two.
struct Stretch {
    u64 offset;
    u64 size;
    std::string what;  // "of no section", "of section 3 and of section 4"
};

std::vector<Stretch> GapsAndOverlaps(const FileDirectory& directory);

}  // namespace torva::tables
