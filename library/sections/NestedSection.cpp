#include "library/sections/NestedSection.h"

namespace torva {

i32 NestedSection::Initial(FileReader& file, u8 section) {
    u16 count = 0;
    const i32 result = file.EnterCountedSection(section, count);
    if (result != SYM_OK) return result;
    bodySize = 0;
    bodyRead = 0;
    return file.Exhausted() ? SYM_END_OF_DATA : count;
}

// A remainder of 2^31 bytes or more counts as none. `bodyRead` does not count what is skipped; only a body
// that ends the section counts as used up.
i32 NestedSection::SkipRest(FileReader& file) {
    if (file.sectionSize <= file.sectionConsumed) return SYM_END_OF_DATA;
    const i32 rest = static_cast<i32>(bodySize - bodyRead);
    if (bodySize == 0 || rest <= 0) return SYM_OK;
    const u64 start = file.source.Position();
    const u32 skipped = static_cast<u32>(rest);
    if (!file.source.SkipBytes(skipped)) return SYM_ERR_READ;
    file.Consume(skipped);
    if (file.source.Position() - start == skipped && file.sectionSize <= file.sectionConsumed) {
        bodyRead = bodySize;
        return SYM_END_OF_DATA;
    }
    return SYM_OK;
}

}  // namespace torva
