#include "library/core/TypedFields.h"

#include <cstring>

#include "format/Fields.h"

namespace torva {

i64 ReadField(ByteSource& source, SymFieldItem* item, u32* size, u8* dst, i32 max) {
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

u64 SkipField(ByteSource& source) {
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

i32 ReadFieldValue(FileReader& file, SymFieldBuffer* target, u32* taken) {
    *taken = 0;
    if (target->tag == kTextTag) {
        file.arena.Reset();
        const u8* text = file.PassText(taken);
        if (text == nullptr) {
            *taken = 0;
            return SYM_ERR_READ;
        }
        if (!FileReader::BoundedCopy(target->value, target->capacity, text, *taken)) return SYM_ERR_PARAM;
    } else {
        const u32 width = PayloadWidth(target->tag);
        if (width == 0) return SYM_OK;
        u8 scratch[kMostPayload] = {};
        file.source.ReadBytes(scratch, width);
        *taken = width;
        if (target->value == nullptr) return SYM_ERR_PARAM;
        std::memcpy(target->value, scratch, width);
    }
    target->size = *taken;
    return SYM_OK;
}

}  // namespace torva
