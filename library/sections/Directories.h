// The walk that all directories of ids and names share: sections 9, 10 and 12, and with wider fields 19, 20
// and 22.
//
//   0   u16        section id
//   2   u32        head value: the limit on element bytes
//   6   u16        element count; u32 in sections 19, 20 and 22
//   8   elements   one after the other (at 10 in sections 19, 20 and 22)
//
// An element:  u16 id, u32 in section 19 | name
//
// One call delivers one element, its name into a buffer of the caller.
#pragma once

#include "library/core/SymFile.h"

namespace torva {

template <class Cursor>
i32 SymFile::InitialDirectory(u8 id, Cursor& cursor) {
    decltype(cursor.elementCount) elementCount = 0;
    const i32 result = EnterCountedSection(id, elementCount, &cursor.bytesTotal);
    if (result != SYM_OK) return result;
    cursor.elementCount = elementCount;
    cursor.bytesRead = 0;
    cursor.elementIndex = 0;
    return Exhausted() ? SYM_END_OF_DATA : static_cast<i32>(elementCount);
}

template <class Id, class Cursor>
i32 SymFile::NextDirectoryElement(Cursor& cursor, i32* count, u32* ids, char** names, u32 nameSize) {
    if (AnyNull(count, ids, names) || *count < 0) return SYM_ERR_PARAM;
    if (cursor.bytesRead >= cursor.bytesTotal) return SYM_END_OF_DATA;
    if (cursor.elementIndex >= cursor.elementCount) return SYM_END_OF_DATA;
    if (source.AtEnd()) return SYM_END_OF_DATA;
    arena.Reset();
    if (*count >= 1) return SYM_MORE_DATA;
    Id id = 0;
    if (!Read(&id, sizeof id, cursor.bytesRead)) return SYM_ERR_READ;
    ids[0] = id;
    const i32 result = ReadTextTo(*names, nameSize, cursor.bytesRead);
    if (result != SYM_OK) return result;
    ++*count;
    ++cursor.elementIndex;
    if (cursor.elementIndex != cursor.elementCount) return SYM_MORE_DATA;
    cursor.bytesRead = 0;
    cursor.elementCount = 0;
    cursor.elementIndex = 0;
    return SYM_OK;
}

}  // namespace torva
