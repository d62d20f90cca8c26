// Section 1, the default fields, and the division of a file's memory.
//
//   0   u16         id: 1
//   2   u32         fieldBytes: bytes of the fields that follow
//   6   fieldBytes  typed fields, one after the other

#include "library/core/SymFile.h"

namespace torva {
namespace {

// What the budget must leave for the per-call arena, beyond the need of the default fields.
constexpr u32 kLeastArena = 102400;

// A table entry counts 11 bytes of the budget on every platform, so that one budget opens the same files
// everywhere.
constexpr u32 kTableEntryCost = 11;

}  // namespace

// Walks section 1, measuring or storing; both passes give the same `need` for the same file. False when the
// data ends before the fields do, or when storing finds fields where measuring found none.
bool SymFile::LoadDefaultFields(bool store, u64& need) {
    need = 0;
    defaultCount = 0;
    u32 fieldBytes = 0;
    if (!SeekSection(1) || source.ReadBytes(&fieldBytes, sizeof fieldBytes).got == 0) return true;
    if (fieldBytes > 0 && store && defaults.capacity == 0) return false;
    u64 sum = 0;
    for (u64 walked = 0; walked < fieldBytes;) {
        u64 taken = 0;
        if (store) {
            TempData& values = defaults.arena;
            SymFieldItem item;
            u32 size = 0;
            const i64 result = ReadField(&item, &size, values.Next(), values.MaxText());
            if (result < 0) return false;
            taken = static_cast<u64>(result);
            if (defaults.used < defaults.capacity) {
                defaults.Append(item.id, item.tag, values.Fits(size) ? values.Place(size) : nullptr);
            }
        } else {
            taken = SkipField();
        }
        if (taken == 0) return false;
        ++defaultCount;
        sum += taken + 2;
        walked += taken;
    }
    need = sum + (u64{defaultCount} * 3 + 1) * 4;
    return true;
}

// The budget goes to the table, the default arena and the per-call arena, which gets all that is left.
i32 SymFile::PrepareMemory(u32 memoryBudget) {
    u64 need = 0;
    if (!LoadDefaultFields(false, need)) return SYM_ERR_OPEN;
    if (need + kLeastArena >= memoryBudget) return SYM_ERR_PARAM;
    const u32 budgeted = static_cast<u32>(need);
    const u32 count = defaultCount;
    if (count > 0 && !defaults.InitTable(count)) return SYM_ERR_NO_MEMORY;
    if (count > 0 && !defaults.arena.Init(budgeted - kTableEntryCost * count)) return SYM_ERR_NO_MEMORY;
    if (!arena.Init(memoryBudget - budgeted)) return SYM_ERR_NO_MEMORY;
    u64 stored = 0;
    if (!LoadDefaultFields(true, stored) || stored != need) return SYM_ERR_OPEN;
    defaults.ListWanted([this](u16 id) { return Wants(id); });
    return SYM_OK;
}

}  // namespace torva
