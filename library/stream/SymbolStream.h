// Section 2, the symbols: a record's own fields, then the default fields that it does not carry.
#pragma once

#include <memory>

#include "TorvaAPI.h"
#include "format/Types.h"
#include "library/core/FileReader.h"
#include "library/core/IdSet.h"
#include "library/core/UtilityData.h"

namespace torva {

class SymbolStream {
public:
    // `fieldIds` are the ids of the fields to deliver; with a count of 0 all are. Throws std::bad_alloc.
    SymbolStream(const u16* fieldIds, u16 fieldIdCount);

    i32 GetNextSymData(FileReader& file, char* text, i32 textMax, i32* count, SymFieldItem* items,
                       i32 maxItems);
    i32 GetAgainSymData(FileReader& file, i32* count, SymFieldItem* items, i32 maxItems);

    bool Wants(u16 id) const { return wantedIds == nullptr || wantedIds->Has(id); }

    UtilityData defaults;  // loaded at open

private:
    i32 ReadSymFields(FileReader& file, i32* count, SymFieldItem* items, i32 maxItems);
    i32 ReadOwnFields(FileReader& file, i32* count, SymFieldItem* items, i32 maxItems);
    i32 ReadOwnField(FileReader& file, i32* count, SymFieldItem* items);
    i32 AddDefaultFields(i32* count, SymFieldItem* items, i32 maxItems);
    void ReadOwnFieldsInWindow(FileReader& file, i32* count, SymFieldItem* items, i32 maxItems);

    std::unique_ptr<IdSet> wantedIds;  // null: every field is wanted
    u32 recordConsumed = 0;            // bytes of the current record's text and fields
    bool defaultsPhase = false;        // the record's own fields are delivered
    bool tailsToFill = false;          // of the running call: an item's value has a tail
    bool valuesInArena = false;  // of the running call: an item's value is in the arena, for lack of memory
};

}  // namespace torva
