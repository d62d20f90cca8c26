// Section 1, the default fields, and the division of a file's memory.
//
//   0   u16         id: 1
//   2   u32         fieldBytes: bytes of the fields that follow
//   6   fieldBytes  typed fields, one after the other

#include "library/core/DefaultFields.h"

#include "library/core/TypedFields.h"

namespace torva {
namespace {

// What the budget must leave for the per-call arena, beyond the need of the default fields.
constexpr u32 kLeastArena = 102400;

// A table entry counts 11 bytes of the budget on every platform, so that one budget opens the same files
// everywhere.
constexpr u32 kTableEntryCost = 11;

constexpr u8 kDefaultFields = 1;

// What a pass over section 1 found.
struct Pass {
    u32 count = 0;  // fields
    u64 need = 0;   // bytes of the budget; the same for both passes over the same file
};

// Walks section 1, measuring or storing. False when the data ends before the fields do, or when storing finds
// fields where measuring found none.
bool LoadDefaultFields(FileReader& file, UtilityData& defaults, bool store, Pass& pass) {
    ByteSource& source = file.source;
    u32 fieldBytes = 0;
    if (!file.SeekSection(kDefaultFields) || source.ReadBytes(&fieldBytes, sizeof fieldBytes).got == 0)
        return true;
    if (fieldBytes > 0 && store && defaults.capacity == 0) return false;
    u64 sum = 0;
    for (u64 walked = 0; walked < fieldBytes;) {
        u64 taken = 0;
        if (store) {
            TempData& values = defaults.arena;
            SymFieldItem item;
            u32 size = 0;
            const i64 result = ReadField(source, &item, &size, values.Next(), values.MaxText());
            if (result < 0) return false;
            taken = static_cast<u64>(result);
            if (defaults.used < defaults.capacity) {
                defaults.Append(item.id, item.tag, values.Fits(size) ? values.Place(size) : nullptr);
            }
        } else {
            taken = SkipField(source);
        }
        if (taken == 0) return false;
        ++pass.count;
        sum += taken + 2;
        walked += taken;
    }
    pass.need = sum + (u64{pass.count} * 3 + 1) * 4;
    return true;
}

}  // namespace

// The budget goes to the table, the default arena and the per-call arena, which gets all that is left.
i32 PrepareMemory(FileReader& file, UtilityData& defaults, u32 memoryBudget) {
    Pass measured;
    if (!LoadDefaultFields(file, defaults, false, measured)) return SYM_ERR_OPEN;
    if (measured.need + kLeastArena >= memoryBudget) return SYM_ERR_PARAM;
    const u32 need = static_cast<u32>(measured.need);
    const u32 count = measured.count;
    if (count > 0 && !defaults.InitTable(count)) return SYM_ERR_NO_MEMORY;
    if (count > 0 && !defaults.arena.Init(need - kTableEntryCost * count)) return SYM_ERR_NO_MEMORY;
    if (!file.arena.Init(memoryBudget - need)) return SYM_ERR_NO_MEMORY;
    Pass stored;
    if (!LoadDefaultFields(file, defaults, true, stored) || stored.need != need) return SYM_ERR_OPEN;
    return SYM_OK;
}

}  // namespace torva
