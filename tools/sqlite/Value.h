// Values as SQL has them.
#pragma once

#include <string>
#include <string_view>

#include "tables/dictionary/Values.h"

namespace torva::sql {

// `bytes` is valid until the ValueMaker, or the row, that it comes from moves on.
struct Value {
    enum class Kind : u8 { Null, Integer, Real, Text, Blob };

    Kind kind = Kind::Null;
    i64 integer = 0;
    double real = 0;
    std::string_view bytes;

    static Value Integer(u64 number) { return {Kind::Integer, static_cast<i64>(number), 0, {}}; }
    static Value Blob(std::string_view bytes) { return {Kind::Blob, 0, 0, bytes}; }
    static Value Text(std::string_view utf8) { return {Kind::Text, 0, 0, utf8}; }
};

// The same for values that SQL may find equal, whatever affinity their comparison applies: 1, 1.0, '1' and
// ' 01'. Of the others, few have the same.
u32 HashOf(const Value& value);

// The number that FloatText shows: 0.1 for the 4 bytes of 0.1f, not 0.10000000149011612.
double PayloadDecimal(std::string_view payload);

// Makes values of what a symbol file holds:
//
//   text      TEXT; a BLOB where the bytes are not text in the file's character set, or hold a zero byte
//   unsigned  INTEGER; from 2^63 on, which SQL has no integers for, TEXT with all digits
//   signed    INTEGER
//   float     REAL, of 4 bytes the decimal number that distinguishes it from its neighbours (0.1, not
//             0.10000000149011612); TEXT for nan and inf
//   date      TEXT, "2024-01-31"; a number where it is not a day
//   hex       TEXT, "0x0aff"
//   none      NULL, for a tag without a payload
//
// Without a definition a payload is an unsigned number.
class ValueMaker {
public:
    // Throws UnknownEncoding.
    explicit ValueMaker(const std::string& encoding) : codec(encoding) {}

    Value Text(std::string_view bytes);
    bool AllDecoded() const { return codec.AllDecoded(); }
    Value Field(const tables::FieldDefinition* definition, u8 tag, std::string_view payload);

private:
    Value Number(u64 number);
    Value Digits(std::string text);

    TextCodec codec;
    std::string digits;
};

}  // namespace torva::sql
