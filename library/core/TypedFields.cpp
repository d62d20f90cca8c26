// Reads typed fields, whose layout is in format/Fields.h.

#include <cstring>

#include "format/Fields.h"
#include "library/core/SymFile.h"

namespace torva {

// Reads a whole field. Returns the bytes that it took, *size those of its payload; fewer than 3 mean that the
// data ended. A payload that does not fit `max` is taken from the source all the same:
// SYM_ERR_BUFFER_TOO_SMALL, *size the bytes taken, header included (of a text cut off, the bytes that a text
// too long would have taken).
i64 SymFile::ReadField(SymFieldItem* item, u32* size, u8* dst, i32 max) {
    *item = {};
    *size = 0;
    FieldHeader header{};
    const u32 headerGot = source.ReadBytes(&header, sizeof header).got;
    if (headerGot < sizeof header) return headerGot;
    item->id = header.id;
    item->tag = header.tag;
    if (header.tag == kTextTag) {
        const i32 result = source.ReadTextToArena(dst, max, size);
        if (result != SYM_OK) {
            *size += static_cast<u32>(sizeof header);
            return result;
        }
    } else {
        u8 scratch[kMostPayload] = {};
        *size = source.ReadBytes(scratch, PayloadWidth(header.tag)).got;
        if (i64{*size} > max) {
            *size += static_cast<u32>(sizeof header);
            return SYM_ERR_BUFFER_TOO_SMALL;
        }
        std::memcpy(dst, scratch, *size);
    }
    return i64{*size} + static_cast<i64>(sizeof header);
}

// Passes over a field and gives the bytes that it took.
u64 SymFile::SkipField() {
    FieldHeader header{};
    const u32 headerGot = source.ReadBytes(&header, sizeof header).got;
    if (headerGot < sizeof header) return headerGot;
    u64 taken = 0;
    if (header.tag == kTextTag) {
        source.SkipText(taken);
    } else {
        u8 scratch[kMostPayload];
        taken = source.ReadBytes(scratch, PayloadWidth(header.tag)).got;
    }
    return sizeof header + taken;
}

// Reads the payload for target->tag to target->value and sets target->size. *taken counts the payload's
// bytes, also where SYM_ERR_PARAM tells that it was read but has no place at target->value. SYM_ERR_READ: a
// text longer than the arena allows, or cut off. A payload of fixed width that is cut off has zeros in the
// bytes that did not come, and counts as whole.
i32 SymFile::ReadFieldValue(SymFieldBuffer* target, u32* taken) {
    *taken = 0;
    if (target->tag == kTextTag) {
        arena.Reset();
        const u8* text = PassText(taken);
        if (text == nullptr) {
            *taken = 0;
            return SYM_ERR_READ;
        }
        if (!BoundedCopy(target->value, target->capacity, text, *taken)) return SYM_ERR_PARAM;
    } else {
        const u32 width = PayloadWidth(target->tag);
        if (width == 0) return SYM_OK;
        u8 scratch[kMostPayload] = {};
        source.ReadBytes(scratch, width);
        *taken = width;
        if (target->value == nullptr) return SYM_ERR_PARAM;
        std::memcpy(target->value, scratch, width);
    }
    target->size = *taken;
    return SYM_OK;
}

}  // namespace torva
