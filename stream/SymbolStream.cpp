// Section 2, the symbols.
//
//   0   u16        id: 2
//   2   records    one after the other, up to the section's size
//
// A record:
//   0   u32        recordSize: bytes of the record behind this field
//   4   text       symbol
//       fields     typed fields, up to recordSize
//
// A record is delivered in as many calls as it needs: first its own fields that are wanted, in file order,
// then the wanted default fields whose id it does not carry. While a call reads, values stand in the per-call
// arena; before it returns each is copied to a heap block that the caller owns.

#include <cstring>
#include <new>

#include "core/SymFile.h"
#include "core/TypedFields.h"

namespace torva {
namespace {

constexpr u8 kSymbolSection = 2;

// Copies a value to a block of its own; null for a null value, and when there is no memory. A fixed block may
// be longer than its value: it goes on with what stands behind the value, up to `limit`, and then with zeros.
void* CopyFieldValue(u8 tag, const void* value, u32 textSize, const u8* limit) {
    const u32 size = tag == kTextTag ? textSize : BlockSize(tag);
    if (size == 0 || value == nullptr) return nullptr;
    auto* const copy = new (std::nothrow) u8[size];
    if (copy == nullptr) return nullptr;
    const auto* const from = static_cast<const u8*>(value);
    const auto there = static_cast<std::size_t>(limit - from);
    if (there >= size) {
        std::memcpy(copy, from, size);
    } else {
        std::memcpy(copy, from, there);
        std::memset(copy + there, 0, size - there);
    }
    return copy;
}

}  // namespace

// Begins the next record; enters the section by itself.
i32 SymFile::GetNextSymData(char* text, i32 textMax, i32* count, SymFieldItem* items, i32 maxItems) {
    if (AnyNull(count) || (text == nullptr && textMax >= 0) || NullArray(items, maxItems) || maxItems < 0) {
        return SYM_ERR_PARAM;
    }
    bool found = true;
    if (sectionId != kSymbolSection) {
        recordSize = 0;
        recordConsumed = 0;
        found = SeekSection(kSymbolSection);
    }
    if (Exhausted()) return SYM_END_OF_DATA;
    if (!found) return SYM_OK;
    ReadLoose(&recordSize, sizeof recordSize);
    u32 length = 0;
    if (source.ReadText(reinterpret_cast<u8*>(text), textMax, &length) != SYM_OK)
        return SYM_ERR_BUFFER_TOO_SMALL;
    Consume(length, recordConsumed);
    return ReadSymFields(count, items, maxItems);
}

// Goes on with the current record.
i32 SymFile::GetAgainSymData(i32* count, SymFieldItem* items, i32 maxItems) {
    if (AnyNull(count) || NullArray(items, maxItems) || maxItems < 0) return SYM_ERR_PARAM;
    return ReadSymFields(count, items, maxItems);
}

i32 SymFile::GetSymDataProgress(double* progress) const {
    if (sectionSize != 0) *progress = static_cast<double>(sectionConsumed) / static_cast<double>(sectionSize);
    return SYM_OK;
}

// Delivers up to `maxItems` fields of the current record; the elements behind them are cleared. Values are
// handed over unless the data or the record turned out broken.
i32 SymFile::ReadSymFields(i32* count, SymFieldItem* items, i32 maxItems) {
    *count = 0;
    i32 result = SYM_OK;
    if (!defaultsPhase) result = ReadOwnFields(count, items, maxItems);
    if (result != SYM_END_OF_DATA && result != SYM_ERR_FORMAT) HandOver(*count, items);
    if (defaultsPhase) result = AddDefaultFields(count, items, maxItems);
    if (*count < maxItems) {
        std::memset(static_cast<void*>(items + *count), 0,
                    sizeof *items * static_cast<std::size_t>(maxItems - *count));
    }
    return result;
}

// The record's own fields. A record whose fields are all read is complete, whatever else was found on the
// way, and its default fields come next.
i32 SymFile::ReadOwnFields(i32* count, SymFieldItem* items, i32 maxItems) {
    arena.Reset();
    i32 result = SYM_OK;
    if (Exhausted()) {
        result = SYM_END_OF_DATA;
    } else if (recordSize > sectionSize || recordConsumed > sectionSize) {
        result = SYM_ERR_FORMAT;
    } else {
        while (result == SYM_OK && *count < maxItems && recordConsumed < recordSize &&
               sectionConsumed < sectionSize) {
            result = ReadOwnField(count, items);
        }
    }
    if (recordConsumed > recordSize) return SYM_ERR_FORMAT;
    if (result == SYM_ERR_BUFFER_TOO_SMALL) return result;
    if (recordConsumed == recordSize) {
        defaultsPhase = true;
        recordSize = 0;
        recordConsumed = 0;
        return SYM_OK;
    }
    return result == SYM_OK ? SYM_MORE_DATA : result;
}

// One field. SYM_OK: it was read, and delivered if it is wanted. SYM_MORE_DATA: it finds no room in what is
// left of the arena and was put back. SYM_ERR_BUFFER_TOO_SMALL: it finds none in the whole arena either.
// SYM_END_OF_DATA: the data ends here.
i32 SymFile::ReadOwnField(i32* count, SymFieldItem* items) {
    const u64 start = source.Position();
    SymFieldItem item;
    i32 size = 0;
    const i32 taken = ReadField(&item, &size, arena.Next(), arena.MaxText());
    const bool wanted = Wants(item.id);
    const bool readable = taken >= 0;
    if (!readable || (wanted && !arena.Fits(static_cast<u32>(size)))) {
        if (arena.Empty()) return SYM_ERR_BUFFER_TOO_SMALL;
        // A text cut off by the end of the data took less than it counts; there is nothing to come back to.
        const u64 really = source.Position() - start;
        if (readable || really == static_cast<u32>(size)) source.StepBack(really);
        return SYM_MORE_DATA;
    }
    Consume(static_cast<u32>(taken), recordConsumed);
    if (taken < static_cast<i32>(sizeof(FieldHeader)) && !wanted) return SYM_END_OF_DATA;
    defaults.MarkSeen(item.id);
    if (wanted) {
        item.value = arena.Place(static_cast<u32>(size));
        items[*count] = item;
        ++*count;
    }
    return SYM_OK;
}

// The wanted default fields that the record does not carry, from the cursor on. The phase ends only with the
// table.
i32 SymFile::AddDefaultFields(i32* count, SymFieldItem* items, i32 maxItems) {
    if (*count == maxItems) return SYM_MORE_DATA;
    const u8* const limit = defaults.arena.Mark();
    while (defaults.cursor < defaults.wanted.size()) {
        const u32 entry = defaults.wanted[defaults.cursor++];
        const DefaultField& field = defaults.table[entry];
        if (field.seen != 0) continue;
        const bool walked = entry + 1 == defaults.used;
        const u8* const valueEnd = walked ? limit : defaults.table[entry + 1].value - 1;
        const auto size = static_cast<u32>(valueEnd - field.value);
        items[(*count)++] = {field.id, field.tag, CopyFieldValue(field.tag, field.value, size, limit)};
        if (*count == maxItems && !walked) return SYM_MORE_DATA;
    }
    defaults.cursor = 0;
    defaults.ClearSeen();
    defaultsPhase = false;
    return SYM_OK;
}

// Turns the values of a call, which lie side by side in the arena, into blocks of the caller. A value ends
// where the gap ahead of the next one begins.
void SymFile::HandOver(i32 count, SymFieldItem* items) {
    const u8* const limit = arena.Mark();
    for (i32 i = 0; i < count; ++i) {
        const auto* const value = static_cast<const u8*>(items[i].value);
        const u8* const valueEnd = i + 1 < count ? static_cast<const u8*>(items[i + 1].value) - 1 : limit;
        items[i].value = CopyFieldValue(items[i].tag, value, static_cast<u32>(valueEnd - value), limit);
    }
}

}  // namespace torva
