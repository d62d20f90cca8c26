// The container: a section directory at the start of the file, and sections anywhere after it.
//
//   0   u16      section count
//   2   10 each  u16 id | u32 offset from the start of the file | u32 size, counted from the section's id
//
//   at each offset:   u16 id, the same as in the directory | body
//
// There is no signature, version or checksum; the id at a section's start is the only consistency test.
// Sections may be in any order, with gaps, and may occur more than once: the first entry of an id counts.

#include "library/core/SectionDirectory.h"

#include <algorithm>

#include "TorvaAPI.h"

namespace torva {
namespace {

constexpr u16 kDefaultFields = 1;
constexpr u16 kSymbols = 2;

bool IsExtended(const SectionEntry& entry) { return entry.id != kDefaultFields && entry.id != kSymbols; }

}  // namespace

void SectionDirectory::Load(ByteSource& source) {
    u16 sectionCount = 0;
    if (!source.ReadStrict(&sectionCount, sizeof sectionCount)) return;
    for (u32 i = 0; i < sectionCount; ++i) {
        SectionEntry entry{};
        const ByteSource::Delivery read = source.ReadBytes(&entry, sizeof entry);
        if (read.got > 0) {
            entries.push_back(entry);
        } else if (!read.failed) {
            return;  // the end of the file: no later entry comes either
        }
    }
}

const SectionEntry* SectionDirectory::Find(u16 id) const {
    const auto entry =
        std::find_if(entries.begin(), entries.end(), [id](const SectionEntry& e) { return e.id == id; });
    return entry == entries.end() ? nullptr : &*entry;
}

i32 SectionDirectory::GetExtendSectionList(u32* list, i32 capacity) const {
    const auto count = static_cast<i32>(std::count_if(entries.begin(), entries.end(), IsExtended));
    if (list == nullptr || capacity == 0 || count == 0) return count;
    if (capacity < count) return SYM_ERR_BUFFER_TOO_SMALL;
    for (const SectionEntry& entry : entries) {
        if (IsExtended(entry)) *list++ = entry.id;
    }
    return count;
}

}  // namespace torva
