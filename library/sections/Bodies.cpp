// What the nested sections 13, 14 and 15 share: bodies of known size, one after the other up to the section's
// end, which a caller may leave unfinished.

#include "library/core/SymFile.h"

namespace torva {

// Seeks a section with a head of  u16 id | u32 head value, not used | u16 count  and gives the count.
i32 SymFile::InitialBodySection(u8 id, BodyCursor& cursor) {
    u16 count = 0;
    const i32 result = EnterCountedSection(id, count);
    if (result != SYM_OK) return result;
    cursor.bodySize = 0;
    cursor.bodyRead = 0;
    return Exhausted() ? SYM_END_OF_DATA : count;
}

// Moves behind the current body. SYM_OK: the next one may be read. SYM_END_OF_DATA: the section is used up.
// SYM_ERR_READ: the data ended inside the body. A remainder of 2^31 bytes or more is none. `bodyRead` does
// not count what is skipped; only a body that ends the section counts as used up.
i32 SymFile::SkipRest(BodyCursor& cursor) {
    if (sectionSize <= sectionConsumed) return SYM_END_OF_DATA;
    const i32 rest = static_cast<i32>(cursor.bodySize - cursor.bodyRead);
    if (cursor.bodySize == 0 || rest <= 0) return SYM_OK;
    const u64 start = source.Position();
    const u32 skipped = static_cast<u32>(rest);
    if (!source.SkipBytes(skipped)) return SYM_ERR_READ;
    Consume(skipped);
    if (source.Position() - start == skipped && sectionSize <= sectionConsumed) {
        cursor.bodyRead = cursor.bodySize;
        return SYM_END_OF_DATA;
    }
    return SYM_OK;
}

}  // namespace torva
