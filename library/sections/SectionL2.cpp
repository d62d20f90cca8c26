// Section 8, the level-2 sections.
//
//   0   u16      id: 8
//   2   u32      head value, not used
//   6   groups   one after the other
//
// A group:  u8 group id | u8 item count | items
// An item:  u8 lead byte | first text | second text
//
// The section's size in the section directory counts only the groups, not the six bytes before them. The
// texts stay in the per-call arena until its next reset.

#include "library/sections/SectionL2.h"

#include <cstring>

namespace torva {
namespace {

constexpr u8 kSectionL2 = 8;

}  // namespace

// Enters the section if needed, reads the head of the next group unless one is open, then delivers items.
i32 SectionL2Reader::GetNextSectionL2Group(FileReader& file, u8* groupId, i32* count, SectionL2Item* records,
                                           i32 capacity) {
    if (AnyNull(groupId, count) || NullArray(records, capacity)) return SYM_ERR_PARAM;
    file.arena.Reset();
    bool found = true;
    if (file.sectionId != kSectionL2) {
        found = file.SeekSection(kSectionL2);
        file.source.ReadBytes(&file.headValue, sizeof file.headValue);
        file.sectionConsumed = 0;
        itemCount = 0;
        itemIndex = 0;
    }
    if (file.Exhausted()) return SYM_END_OF_DATA;
    if (!found) return SYM_OK;
    if (itemCount == itemIndex) {
        itemIndex = 0;
        file.ReadLoose(&currentGroupId, sizeof currentGroupId);
        file.ReadLoose(&itemCount, sizeof itemCount);
    }
    *groupId = currentGroupId;
    return GetAgainSectionL2Data(file, count, records, capacity);
}

// Delivers the next items of the open group.
i32 SectionL2Reader::GetAgainSectionL2Data(FileReader& file, i32* count, SectionL2Item* records,
                                           i32 capacity) {
    if (AnyNull(count) || NullArray(records, capacity)) return SYM_ERR_PARAM;
    *count = 0;
    file.arena.Reset();
    i32 result = SYM_OK;
    if (file.Exhausted()) result = SYM_END_OF_DATA;
    while (result == SYM_OK && itemIndex < itemCount && *count < capacity) {
        if (!ReadItem(file, records[*count])) {
            result = SYM_MORE_DATA;
            break;
        }
        ++*count;
        if (file.sectionConsumed > file.sectionSize) {
            result = SYM_ERR_FORMAT;
        } else if (file.source.AtEnd()) {
            result = SYM_MORE_DATA;
        } else {
            ++itemIndex;
        }
    }
    if (*count < capacity) {
        std::memset(static_cast<void*>(records + *count), 0,
                    sizeof *records * static_cast<std::size_t>(capacity - *count));
    }
    if (result != SYM_OK) return result;
    if (itemIndex != itemCount) return SYM_MORE_DATA;
    itemIndex = 0;
    itemCount = 0;
    return SYM_OK;
}

// Reads an item. False when its texts find no room beside the earlier items of the call: the item is then put
// back for the next call, which has the whole arena for it.
bool SectionL2Reader::ReadItem(FileReader& file, SectionL2Item& item) {
    const u64 start = file.source.Position();
    const u32 consumedAtStart = file.sectionConsumed;
    u8* const mark = file.arena.Mark();
    const bool alone = file.arena.Empty();
    item = {};
    file.ReadLoose(&item.leadByte, sizeof item.leadByte);
    item.text1 = ReadItemText(file, alone);
    if (item.text1 != nullptr || alone || file.source.AtEnd()) {
        item.text2 = ReadItemText(file, alone);
        if (item.text2 != nullptr || alone || file.source.AtEnd()) return true;
    }
    file.source.StepBack(file.source.Position() - start);
    file.sectionConsumed = consumedAtStart;
    file.arena.TakeBack(mark);
    return false;
}

// Reads and places a text; null when it finds no room. The rest of a text that is too long is read past when
// `passOver` is set, so that the walk stays in step.
const char* SectionL2Reader::ReadItemText(FileReader& file, bool passOver) {
    const u64 start = file.source.Position();
    u32 length = 0;
    const bool whole =
        file.source.ReadTextToArena(file.arena.Next(), file.arena.MaxText(), &length) == SYM_OK;
    file.Consume(length);
    if (whole)
        return file.arena.Fits(length) ? reinterpret_cast<const char*>(file.arena.Place(length)) : nullptr;
    if (passOver && file.source.Position() - start == length) {
        u64 rest = 0;
        file.source.SkipText(rest);
        file.Consume(static_cast<u32>(rest));
    }
    return nullptr;
}

}  // namespace torva
