// The default-field table of a file and the arena with its values.
#pragma once

#include <cassert>
#include <memory>
#include <vector>

#include "format/Types.h"
#include "library/core/IdSet.h"
#include "library/core/TempData.h"

namespace torva {

#pragma pack(push, 1)
// One default field. 11 bytes with 4-byte pointers.
struct DefaultField {
    u16 id;
    u8 tag;
    const u8* value;  // in the default arena; null if it could not be placed
    u32 seen;         // 1 when the current record carried a field of this id
};
#pragma pack(pop)
static_assert(sizeof(DefaultField) == 7 + sizeof(void*));

// The table holds the default fields in file order, duplicates included. Of the entries only those that a
// caller wants are ever delivered; they are listed apart, so that a record costs what it delivers and not
// what the table holds.
class UtilityData {
public:
    UtilityData() = default;
    UtilityData(const UtilityData&) = delete;
    UtilityData& operator=(const UtilityData&) = delete;
    virtual ~UtilityData() = default;

    // Makes an empty table for `count` entries. False when there is no memory.
    bool InitTable(u32 count) {
        capacity = count;
        table.reset(new (std::nothrow) DefaultField[count]);
        return table != nullptr;
    }

    void Append(u16 id, u8 tag, const u8* value) { table[used++] = {id, tag, value, 0}; }

    // Lists the wanted entries when the table is loaded. Throws std::bad_alloc.
    template <class Wants>
    void ListWanted(Wants wants) {
        if (used == 0) return;
        for (u32 i = 0; i < used; ++i) {
            if (!wants(table[i].id)) continue;
            wanted.push_back(i);
            listed.Add(table[i].id);
        }
        marked.reserve(wanted.size());
        firstOf.Build(static_cast<u32>(wanted.size()), [this](u32 i) { return table[wanted[i]].id; });
    }

    // Notes that the current record carries a field of this id: the first entry of the id is not to be
    // delivered.
    void MarkSeen(u16 id) {
        if (!listed.Has(id)) return;
        const u32 found = firstOf.Find(id);
        DefaultField& field = table[wanted[found]];
        if (field.seen != 0) return;
        field.seen = 1;
        assert(marked.size() < marked.capacity());  // an entry is marked once: no call allocates here
        marked.push_back(wanted[found]);
    }

    void ClearSeen() {
        for (const u32 entry : marked) table[entry].seen = 0;
        marked.clear();
    }

    u32 capacity = 0;  // entries that the table can hold
    u32 used = 0;      // entries in the table
    u32 cursor = 0;    // index in `wanted` of the next entry to hand out
    std::unique_ptr<DefaultField[]> table;
    std::vector<u32> wanted;  // the entries that the caller wants, in table order
    TempData arena;

private:
    IdSet listed;             // ids in `wanted`, which most fields of a record are not
    FirstEntryIndex firstOf;  // over `wanted`
    std::vector<u32> marked;  // entries whose `seen` is 1
};

}  // namespace torva
