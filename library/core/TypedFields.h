// Reads typed fields, in which sections 1, 2 and 6 carry their data.
#pragma once

#include "TorvaAPI.h"
#include "format/Types.h"
#include "library/core/FileReader.h"

namespace torva {

// Reads a whole field, its payload of at most `max` bytes (of a text: characters) to `dst`. Returns the bytes
// that it took, *size those of its payload; fewer than 3 mean that the data ended. A payload that does not
// fit `max` is taken from the source all the same: SYM_ERR_BUFFER_TOO_SMALL, *size the bytes taken, header
// included (of a text cut off, the bytes that a text too long would have taken).
i64 ReadField(ByteSource& source, SymFieldItem* item, u32* size, u8* dst, i32 max);

// Passes over a field and returns the bytes that it took.
u64 SkipField(ByteSource& source);

// Reads the payload for target->tag to target->value and sets target->size. *taken counts the payload's
// bytes, also with SYM_ERR_PARAM: it was read but has no place at target->value. SYM_ERR_READ: a text longer
// than the arena allows, or cut off. A payload of fixed width that is cut off has zeros in the bytes that did
// not come, and counts as whole. A text resets the arena.
i32 ReadFieldValue(FileReader& file, SymFieldBuffer* target, u32* taken);

}  // namespace torva
