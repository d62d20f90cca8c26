// Values as a database has them.
#pragma once

#include <string>
#include <variant>

#include "tables/dictionary/Values.h"
#include "tools/tvsym/Tool.h"

namespace tvsym {

// Bytes that are not text.
struct Blob {
    std::string bytes;
};

// Empty for a field without payload. Without a type from the dictionary, a payload is an unsigned number.
// Numbers from 2^63 on, and floats that are not finite, are text.
using SqlValue = std::variant<std::monostate, i64, double, std::string, Blob>;

SqlValue FieldValue(const Dictionary& dictionary, TextCodec& codec, u16 id, u8 tag, std::string_view payload);
SqlValue TextValue(TextCodec& codec, std::string_view bytes);

}  // namespace tvsym
