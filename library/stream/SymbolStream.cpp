// Section 2, the symbols.
//
//   0   u16        id: 2
//   2   records    one after the other, up to the section's size
//
// A record:
//   0   u32        recordSize: bytes of the record after this field
//   4   text       symbol
//       fields     typed fields, up to recordSize
//
// A record is delivered in as many calls as it needs: first its own fields that are wanted, in file order,
// then the wanted default fields whose id it does not carry. While a call reads, values are in the per-call
// arena; before it returns each is copied to a heap block that the caller owns.

#include "library/stream/SymbolStream.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstring>
#include <new>

#include "format/Fields.h"
#include "library/core/TypedFields.h"
#include "library/stream/FieldLoop.h"

namespace torva {
namespace {

constexpr u8 kSymbolSection = 2;

// What the block of a tag is longer than its value.
constexpr std::array<u8, 256> kTailSizes = [] {
    std::array<u8, 256> sizes = {};
    for (const FieldTag& tag : kTags) sizes[tag.tag] = static_cast<u8>(tag.blockSize - tag.width);
    return sizes;
}();

u32 TailSize(u8 tag) { return kTailSizes[tag]; }

// Of the current record. It shares its place with the head values of other sections: a record that is
// continued after one of them was entered takes that section's head value for its size.
u32& RecordSize(FileReader& file) { return file.headValue; }

// Copies `size` bytes, mostly few: in line, where a call would cost more than the copy.
inline void CopyFew(u8* to, const u8* from, u32 size) {
    if (size > 32) {
        std::memcpy(to, from, size);
    } else if (size >= 16) {
        std::memcpy(to, from, 16);
        std::memcpy(to + size - 16, from + size - 16, 16);
    } else if (size >= 8) {
        std::memcpy(to, from, 8);
        std::memcpy(to + size - 8, from + size - 8, 8);
    } else if (size >= 4) {
        std::memcpy(to, from, 4);
        std::memcpy(to + size - 4, from + size - 4, 4);
    } else if (size >= 2) {
        std::memcpy(to, from, 2);
        to[size - 1] = from[size - 1];
    } else if (size == 1) {
        *to = *from;
    }
}

// A block of the host's; null when there is no memory. `new (std::nothrow)` is this with one more call, and
// there is a block for each value.
inline u8* NewBlock(u32 size) {
    try {
        return new u8[size];
    } catch (...) {
        return nullptr;
    }
}

// Copies a value of `size` bytes to a block of its own, which ends with `tail` zeros; null for a tag without
// a value, and when there is no memory.
inline void* CopyFieldValue(const u8* value, u32 size, u32 tail) {
    if (size + tail == 0) return nullptr;
    u8* const copy = NewBlock(size + tail);
    if (copy == nullptr) return nullptr;
    CopyFew(copy, value, size);
    if (tail > 0) std::memset(copy + size, 0, tail);
    return copy;
}

u32 TextSize(const void* text) { return static_cast<u32>(std::strlen(static_cast<const char*>(text)) + 1); }

// Bytes of a value in its block or in the arena, without a tail; the one that the end of the data cuts off
// counts as whole.
u32 ValueSize(const SymFieldItem& item) {
    if (item.value == nullptr) return 0;
    return item.tag == kTextTag ? TextSize(item.value) : PayloadWidth(item.tag);
}

// Shows after the values of tags 8 and 9 what would follow them if the values of the call lay side by side: a
// gap of one zero byte, the next value, a gap, and so on.
void FillTails(const TempData& arena, i32 count, SymFieldItem* items) {
    for (i32 i = 0; i < count; ++i) {
        if (TailSize(items[i].tag) == 0) continue;
        if (items[i].value == nullptr || arena.Holds(items[i].value)) continue;
        u8* to = static_cast<u8*>(items[i].value) + PayloadWidth(items[i].tag);
        const u8* const end = static_cast<u8*>(items[i].value) + BlockSize(items[i].tag);
        for (i32 j = i + 1; j < count && to < end; ++j) {
            *to++ = 0;
            std::size_t size = std::min<std::size_t>(ValueSize(items[j]), static_cast<std::size_t>(end - to));
            if (arena.Holds(items[j].value)) size = std::min(size, arena.HeldFrom(items[j].value));
            if (size > 0) std::memcpy(to, items[j].value, size);
            to += size;
        }
    }
}

// A value for which there was no memory is delivered as null. Until here it is in the arena, where the tails
// of earlier values and TakeBackValues find it.
void DropValuesInArena(const TempData& arena, i32 count, SymFieldItem* items) {
    for (i32 i = 0; i < count; ++i) {
        if (arena.Holds(items[i].value)) items[i].value = nullptr;
    }
}

// Moves undelivered values to the place in the arena that was counted for them, where
// they stay until its next reset. Only the last value can be shorter than its tag says, cut off by the end of
// the data; each item after it used one byte.
void TakeBackValues(TempData& arena, i32 count, SymFieldItem* items) {
    const u8* const used = arena.Mark();
    arena.Rewind();
    for (i32 i = 0; i < count; ++i) {
        auto* const value = static_cast<u8*>(items[i].value);
        const auto left = static_cast<std::size_t>(used - arena.Mark()) - static_cast<std::size_t>(count - i);
        const auto size = static_cast<u32>(std::min<std::size_t>(ValueSize(items[i]), left));
        const bool inArena = value == arena.Next();
        if (size > 0 && !inArena) std::memcpy(arena.Next(), value, size);
        items[i].value = arena.Place(size);
        if (!inArena) delete[] value;
    }
    assert(arena.Mark() == used);
}

}  // namespace

SymbolStream::SymbolStream(const u16* fieldIds, u16 fieldIdCount) {
    if (fieldIdCount == 0) return;
    wantedIds = std::make_unique<IdSet>();
    for (u32 i = 0; fieldIds != nullptr && i < fieldIdCount; ++i) wantedIds->Add(fieldIds[i]);
}

// Begins the next record; enters the section if needed.
i32 SymbolStream::GetNextSymData(FileReader& file, char* text, i32 textMax, i32* count, SymFieldItem* items,
                                 i32 maxItems) {
    if (AnyNull(count) || (text == nullptr && textMax >= 0) || NullArray(items, maxItems) || maxItems < 0) {
        return SYM_ERR_PARAM;
    }
    u32& recordSize = RecordSize(file);
    bool found = true;
    if (file.sectionId != kSymbolSection) {
        recordSize = 0;
        recordConsumed = 0;
        found = file.SeekSection(kSymbolSection);
    }
    if (file.Exhausted()) return SYM_END_OF_DATA;
    if (!found) return SYM_OK;
    file.ReadLoose(&recordSize, sizeof recordSize);
    u32 length = 0;
    if (file.source.ReadText(reinterpret_cast<u8*>(text), textMax, &length) != SYM_OK)
        return SYM_ERR_BUFFER_TOO_SMALL;
    file.Consume(length, recordConsumed);
    return ReadSymFields(file, count, items, maxItems);
}

// Continues with the current record.
i32 SymbolStream::GetAgainSymData(FileReader& file, i32* count, SymFieldItem* items, i32 maxItems) {
    if (AnyNull(count) || NullArray(items, maxItems) || maxItems < 0) return SYM_ERR_PARAM;
    return ReadSymFields(file, count, items, maxItems);
}

// Delivers up to `maxItems` fields of the current record; the elements after them are cleared.
i32 SymbolStream::ReadSymFields(FileReader& file, i32* count, SymFieldItem* items, i32 maxItems) {
    *count = 0;
    i32 result = SYM_OK;
    if (!defaultsPhase) result = ReadOwnFields(file, count, items, maxItems);
    if (defaultsPhase) result = AddDefaultFields(count, items, maxItems);
    if (*count < maxItems) {
        std::memset(static_cast<void*>(items + *count), 0,
                    sizeof *items * static_cast<std::size_t>(maxItems - *count));
    }
    return result;
}

// The record's own fields. A record whose fields are all read is complete, whatever else was found on the
// way, and its default fields come next. Where the data or the record turns out broken no value is handed
// over.
i32 SymbolStream::ReadOwnFields(FileReader& file, i32* count, SymFieldItem* items, i32 maxItems) {
    u32& recordSize = RecordSize(file);
    file.arena.Reset();
    valuesInArena = false;
    tailsToFill = false;
    i32 result = SYM_OK;
    if (file.Exhausted()) {
        result = SYM_END_OF_DATA;
    } else if (recordSize > file.sectionSize || recordConsumed > file.sectionSize) {
        result = SYM_ERR_FORMAT;
    } else {
        while (result == SYM_OK && *count < maxItems && recordConsumed < recordSize &&
               file.sectionConsumed < file.sectionSize) {
            ReadOwnFieldsInWindow(file, count, items, maxItems);
            if (*count < maxItems && recordConsumed < recordSize && file.sectionConsumed < file.sectionSize) {
                result = ReadOwnField(file, count, items);
            }
        }
    }
    if (recordConsumed > recordSize) {
        result = SYM_ERR_FORMAT;
    } else if (result != SYM_ERR_BUFFER_TOO_SMALL) {
        if (recordConsumed == recordSize) {
            defaultsPhase = true;
            recordSize = 0;
            recordConsumed = 0;
            result = SYM_OK;
        } else if (result == SYM_OK) {
            result = SYM_MORE_DATA;
        }
    }
    if (result == SYM_END_OF_DATA || result == SYM_ERR_FORMAT) {
        TakeBackValues(file.arena, *count, items);
    } else {
        if (tailsToFill) FillTails(file.arena, *count, items);
        if (valuesInArena) DropValuesInArena(file.arena, *count, items);
    }
    return result;
}

// Takes the fields of DeliverFields: each value becomes a block of the caller. The values need not go through
// the arena for that: only the room that they take there is counted, and a field that might find none is
// refused.
class BlockSink {
public:
    BlockSink(const IdSet* wantedIds, UtilityData& defaultFields, TempData& callArena, SymFieldItem* target,
              i32 firstItem, i32 maxItems)
        : wanted(wantedIds),
          defaults(defaultFields),
          arena(callArena),
          next(target + firstItem),
          end(target + maxItems),
          // A longer text than this is too long even for a larger arena.
          roomBefore(std::min(arena.Room(), std::size_t{1} << 31U)),
          room(roomBefore) {}

    bool Full() const { return next == end; }
    const u8* TextLimit(const u8* text, const u8* dataEnd) const {
        return static_cast<std::size_t>(dataEnd - text) > room ? text + room : dataEnd;
    }
    bool Take(u16 id, u8 tag, const u8* payload, u32 size) {
        if (room <= size) return false;
        if (wanted != nullptr && !wanted->Has(id)) return true;
        defaults.MarkSeen(id);
        const u32 tail = TailSize(tag);
        tails |= tail;
        void* copy = CopyFieldValue(payload, size, tail);
        if (copy == nullptr && size > 0) {
            copy = std::memcpy(arena.Next() + Used(), payload, size);
            inArena = true;
        }
        room -= std::size_t{size} + 1;
        *next++ = {id, tag, copy};
        return true;
    }

    SymFieldItem* Next() const { return next; }
    std::size_t Used() const { return roomBefore - room; }  // of the arena
    bool AnyInArena() const { return inArena; }
    bool AnyTails() const { return tails != 0; }

private:
    const IdSet* const wanted;  // null: every field
    UtilityData& defaults;
    TempData& arena;
    SymFieldItem* next;
    SymFieldItem* const end;
    const std::size_t roomBefore;
    std::size_t room;
    u32 tails = 0;         // not 0: a value has a tail
    bool inArena = false;  // a value for which there was no memory
};

// Reads fields while each is whole in the window and surely finds room in the arena.
void SymbolStream::ReadOwnFieldsInWindow(FileReader& file, i32* count, SymFieldItem* items, i32 maxItems) {
    if (file.source.Lent() < kMostFixedField) return;
    const u8* const start = file.source.LentBytes();
    const u8* const end = start + file.source.Lent();
    const std::size_t left =
        std::min(RecordSize(file) - recordConsumed, file.sectionSize - file.sectionConsumed);
    const u8* const lastStart = start + std::min(left - 1, file.source.Lent() - kMostFixedField);
    BlockSink sink(wantedIds.get(), defaults, file.arena, items, *count, maxItems);
    const u8* const next = DeliverFields(start, lastStart, end, sink);
    const auto taken = static_cast<std::size_t>(next - start);
    file.source.Take(taken);
    file.arena.Use(sink.Used());
    file.Consume(static_cast<u32>(taken), recordConsumed);
    if (sink.AnyInArena()) valuesInArena = true;
    if (sink.AnyTails()) tailsToFill = true;
    *count = static_cast<i32>(sink.Next() - items);
}

// One field, wherever it lies. SYM_OK: it was read, and delivered if it is wanted. SYM_MORE_DATA: it finds no
// room in what is left of the arena and was put back. SYM_ERR_BUFFER_TOO_SMALL: it finds none in the whole
// arena either. SYM_END_OF_DATA: the data ends here.
i32 SymbolStream::ReadOwnField(FileReader& file, i32* count, SymFieldItem* items) {
    const u64 start = file.source.Position();
    SymFieldItem item;
    u32 size = 0;
    const i64 taken = ReadField(file.source, &item, &size, file.arena.Next(), file.arena.MaxText());
    const bool wanted = Wants(item.id);
    const bool readable = taken >= 0;
    if (!readable || (wanted && !file.arena.Fits(size))) {
        if (file.arena.Empty()) return SYM_ERR_BUFFER_TOO_SMALL;
        // A text cut off by the end of the data took less than it counts; there is nothing to come back to.
        const u64 really = file.source.Position() - start;
        if (readable || really == size) file.source.StepBack(really);
        return SYM_MORE_DATA;
    }
    file.Consume(static_cast<u32>(taken), recordConsumed);
    if (taken < static_cast<i64>(sizeof(FieldHeader)) && !wanted) return SYM_END_OF_DATA;
    if (wanted) {
        defaults.MarkSeen(item.id);
        u8* const value = file.arena.Place(size);
        // The end of the data may have cut a value of fixed size.
        const u32 tail = item.tag == kTextTag ? 0 : BlockSize(item.tag) - size;
        item.value = CopyFieldValue(value, size, tail);
        if (item.value == nullptr && size > 0) {
            item.value = value;
            valuesInArena = true;
        }
        if (tail > 0) tailsToFill = true;
        items[(*count)++] = item;
    }
    return SYM_OK;
}

// The wanted default fields that the record does not carry, from the cursor on. The phase ends only with the
// table.
i32 SymbolStream::AddDefaultFields(i32* count, SymFieldItem* items, i32 maxItems) {
    if (*count == maxItems) return SYM_MORE_DATA;
    const WantedDefault* const first = defaults.wanted.data();
    const WantedDefault* const end = first + defaults.wanted.size();
    // After the last entry of the table the phase is over even where the items are full.
    const WantedDefault* const last =
        first != end && end[-1].field == &defaults.table[defaults.used - 1] ? end - 1 : end;
    SymFieldItem* item = items + *count;
    SymFieldItem* const itemsEnd = items + maxItems;
    for (const WantedDefault* next = first + defaults.cursor; next != end; ++next) {
        const DefaultField& field = *next->field;
        if (field.seen != 0) continue;
        *item++ = {field.id, field.tag, CopyFieldValue(field.value, next->size, next->tail)};
        if (item == itemsEnd && next != last) {
            *count = maxItems;
            defaults.cursor = static_cast<u32>(next + 1 - first);
            return SYM_MORE_DATA;
        }
    }
    *count = static_cast<i32>(item - items);
    defaults.cursor = 0;
    defaults.ClearSeen();
    defaultsPhase = false;
    return SYM_OK;
}

}  // namespace torva
