// Section 8, the level-2 sections.
//
//   0   u16      id: 8
//   2   u32      head value, not used
//   6   groups   one after the other
//
// A group:  u8 group id | u8 item count | items
// An item:  u8 lead byte | first text | second text
//
// The directory's size is compared with the bytes of the groups alone: the six bytes ahead of them are not
// counted. The texts stay in the per-call arena until its next reset.

#include <cstring>

#include "library/core/SymFile.h"

namespace torva {
namespace {

constexpr u8 kSectionL2 = 8;

}  // namespace

// Enters the section by itself; reads a group's head when the last group is through, then delivers items.
i32 SymFile::GetNextSectionL2Group(u8* groupId, i32* count, SectionL2Item* records, i32 capacity) {
    if (AnyNull(groupId, count) || NullArray(records, capacity)) return SYM_ERR_PARAM;
    bool found = true;
    if (sectionId != kSectionL2) {
        found = SeekSection(kSectionL2);
        source.ReadBytes(&recordSize, sizeof recordSize);
        sectionConsumed = 0;
        sectionL2ItemCount = 0;
        sectionL2ItemIndex = 0;
    }
    if (Exhausted()) return SYM_END_OF_DATA;
    if (!found) return SYM_OK;
    if (sectionL2ItemCount == sectionL2ItemIndex) {
        auto itemCount = static_cast<u8>(sectionL2ItemCount);
        sectionL2ItemIndex = 0;
        ReadLoose(&sectionL2GroupId, sizeof sectionL2GroupId);
        ReadLoose(&itemCount, sizeof itemCount);
        sectionL2ItemCount = itemCount;
    }
    *groupId = sectionL2GroupId;
    return GetAgainSectionL2Data(count, records, capacity);
}

// Delivers the next items of the open group.
i32 SymFile::GetAgainSectionL2Data(i32* count, SectionL2Item* records, i32 capacity) {
    if (AnyNull(count) || NullArray(records, capacity)) return SYM_ERR_PARAM;
    *count = 0;
    arena.Reset();
    i32 result = SYM_OK;
    if (Exhausted()) result = SYM_END_OF_DATA;
    while (result == SYM_OK && sectionL2ItemIndex < sectionL2ItemCount && *count < capacity) {
        if (!ReadSectionL2Item(records[*count])) {
            result = SYM_MORE_DATA;
            break;
        }
        ++*count;
        if (sectionConsumed > sectionSize) {
            result = SYM_ERR_FORMAT;
        } else if (source.AtEnd()) {
            result = SYM_MORE_DATA;
        } else {
            ++sectionL2ItemIndex;
        }
    }
    if (*count < capacity) {
        std::memset(static_cast<void*>(records + *count), 0,
                    sizeof *records * static_cast<std::size_t>(capacity - *count));
    }
    if (result != SYM_OK) return result;
    if (sectionL2ItemIndex != sectionL2ItemCount) return SYM_MORE_DATA;
    sectionL2ItemIndex = 0;
    sectionL2ItemCount = 0;
    return SYM_OK;
}

// Reads an item. False when its texts find no room beside the earlier items of the call: the item is then put
// back for the next call, which has the whole arena for it.
bool SymFile::ReadSectionL2Item(SectionL2Item& item) {
    const u64 start = source.Position();
    const u32 consumedAtStart = sectionConsumed;
    u8* const mark = arena.Mark();
    const bool alone = arena.Empty();
    item = {};
    ReadLoose(&item.leadByte, sizeof item.leadByte);
    item.text1 = ReadSectionL2Text(alone);
    if (item.text1 != nullptr || alone || source.AtEnd()) {
        item.text2 = ReadSectionL2Text(alone);
        if (item.text2 != nullptr || alone || source.AtEnd()) return true;
    }
    source.StepBack(source.Position() - start);
    sectionConsumed = consumedAtStart;
    arena.TakeBack(mark);
    return false;
}

// Reads and places a text; null when it finds no room. The rest of a text that is too long is read past when
// `passOver` is set, so that the walk stays in step.
const char* SymFile::ReadSectionL2Text(bool passOver) {
    const u64 start = source.Position();
    u32 length = 0;
    const bool whole = source.ReadTextToArena(arena.Next(), arena.MaxText(), &length) == SYM_OK;
    Consume(length);
    if (whole) return arena.Fits(length) ? reinterpret_cast<const char*>(arena.Place(length)) : nullptr;
    if (passOver && source.Position() - start == length) {
        u64 rest = 0;
        source.SkipText(rest);
        Consume(static_cast<u32>(rest));
    }
    return nullptr;
}

}  // namespace torva
