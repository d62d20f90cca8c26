// What the nested sections 13, 14 and 15 share: bodies of known size, one after the other up to the section's
// end, which a caller may leave unfinished.
#pragma once

#include "format/Types.h"
#include "library/core/FileReader.h"

namespace torva {

class NestedSection {
protected:
    // Enters a section with the head  u16 id | u32 head value, not used | u16 count  and returns the count,
    // or SYM_ERR_NO_SECTION, SYM_ERR_READ or SYM_END_OF_DATA.
    i32 Initial(FileReader& file, u8 section);

    // Moves to the end of the current body. SYM_OK: the next one may be read. SYM_END_OF_DATA: the section is
    // used up. SYM_ERR_READ: the data ended inside the body.
    i32 SkipRest(FileReader& file);

    bool BodyUsed() const { return bodyRead >= bodySize; }

    u32 bodySize = 0;  // of the current body
    u32 bodyRead = 0;
};

}  // namespace torva
