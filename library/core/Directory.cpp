// The container: a directory at the head of the file, and sections anywhere behind it.
//
//   0   u16      sectionCount
//   2   10 each  u16 id | u32 offset from the start of the file | u32 size, counted from the section's id
//
//   at each offset:   u16 id, the same as in the directory | body
//
// There is no signature, version or checksum; the id at a section's start is the only consistency test.
// Sections may stand in any order, with gaps, and more than once: the first entry of an id counts.

#include "library/core/SymFile.h"

namespace torva {
namespace {

constexpr u16 kDefaultFieldSection = 1;
constexpr u16 kSymbolSection = 2;

bool IsExtended(u16 id) { return id != kDefaultFieldSection && id != kSymbolSection; }

}  // namespace

// A directory that is cut off keeps the entries that came, the last one with zeros in the bytes that did not.
void SymFile::LoadDirectory() {
    u16 sectionCount = 0;
    if (!source.ReadStrict(&sectionCount, sizeof sectionCount)) return;
    for (u32 i = 0; i < sectionCount; ++i) {
        SectionEntry entry{};
        const ByteSource::Delivery read = source.ReadBytes(&entry, sizeof entry);
        if (read.got == 0) {
            if (!read.failed) break;  // the end: no later entry comes either
            continue;
        }
        directory.push_back(entry);
        if (IsExtended(entry.id)) ++extendCount;
    }
}

bool SymFile::SeekSection(u8 id) {
    const auto entry =
        std::find_if(directory.begin(), directory.end(), [id](const SectionEntry& e) { return e.id == id; });
    if (entry == directory.end()) return false;
    source.SeekTo(entry->offset);
    u16 idInFile = 0;
    source.ReadBytes(&idInFile, sizeof idInFile);
    if (idInFile != id) return false;
    sectionId = id;
    sectionSize = entry->size;
    sectionConsumed = sizeof idInFile;
    return true;
}

i32 SymFile::EnterSection(u8 id) {
    if (!SeekSection(id)) return SYM_ERR_NO_SECTION;
    return Read(&recordSize, sizeof recordSize) ? SYM_OK : SYM_ERR_READ;
}

i32 SymFile::GetExtendSectionList(u32* list, i32 capacity) const {
    const i32 count = static_cast<i32>(extendCount);
    if (list == nullptr || capacity == 0 || count == 0) return count;
    if (capacity < count) return SYM_ERR_BUFFER_TOO_SMALL;
    for (const SectionEntry& entry : directory) {
        if (IsExtended(entry.id)) *list++ = entry.id;
    }
    return count;
}

}  // namespace torva
