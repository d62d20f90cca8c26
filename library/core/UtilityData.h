// The default-field table of a file and the arena with its values.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstring>
#include <memory>
#include <vector>

#include "format/Fields.h"
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

// What is copied of a default field when it is delivered, known once the table is loaded.
struct WantedDefault {
    DefaultField* field;
    u32 size;  // bytes in the default arena from the value on; a tail is what the arena holds there
    u8 tail;   // zeros after them
};

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
            wanted.push_back(AsDelivered(i));
            listed.Add(table[i].id);
        }
        marked.reserve(wanted.size());
        firstOf.Build(static_cast<u32>(wanted.size()), [this](u32 i) { return wanted[i].field->id; });
    }

    // Notes that the current record carries a field of this id: the first entry of the id is not to be
    // delivered.
    void MarkSeen(u16 id) {
        if (!listed.Has(id)) return;
        DefaultField& field = *wanted[firstOf.Find(id)].field;
        if (field.seen != 0) return;
        field.seen = 1;
        assert(marked.size() < marked.capacity());  // an entry is marked once: no call allocates here
        marked.push_back(&field);
    }

    void ClearSeen() {
        for (DefaultField* const field : marked) field->seen = 0;
        marked.clear();
    }

    u32 capacity = 0;  // entries that the table can hold
    u32 used = 0;      // entries in the table
    u32 cursor = 0;    // index in `wanted` of the next entry to hand out
    std::unique_ptr<DefaultField[]> table;
    std::vector<WantedDefault> wanted;  // the entries that the caller wants, in table order
    TempData arena;

private:
    WantedDefault AsDelivered(u32 entry) const {
        DefaultField& field = table[entry];
        if (field.value == nullptr) return {&field, 0, 0};
        const auto held = static_cast<std::size_t>(arena.Mark() - field.value);
        if (field.tag != kTextTag) {
            // Of the tail, what the arena has; of a value that its data cut off, too.
            const u32 block = BlockSize(field.tag);
            const auto size = static_cast<u32>(std::min<std::size_t>(held, block));
            return {&field, size, static_cast<u8>(block - size)};
        }
        // The values lie side by side: the next one right after this one, unless it found no room.
        const u8* const next = entry + 1 == used ? arena.Mark() + 1 : table[entry + 1].value;
        if (next != nullptr) return {&field, static_cast<u32>(next - 1 - field.value), 0};
        return {&field, static_cast<u32>(std::strlen(reinterpret_cast<const char*>(field.value)) + 1), 0};
    }

    IdSet listed;                       // ids in `wanted`, which most fields of a record are not
    FirstEntryIndex firstOf;            // over `wanted`
    std::vector<DefaultField*> marked;  // entries whose `seen` is 1
};

}  // namespace torva
