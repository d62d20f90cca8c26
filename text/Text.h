// Texts of a symbol file are bytes. A TextCodec reads them in a character set and returns UTF-8; bytes that
// do not decode, or would not encode to the same bytes, are reported as such and never repaired.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "text/Encoding.h"

namespace torva {

bool IsUtf8(std::string_view bytes);

// Splits the next character off; 0xfffd and one byte where the bytes are not UTF-8.
char32_t NextCharacter(std::string_view& utf8);

// "0aff": two digits for each byte.
std::string Hex(std::string_view bytes);

// The way back, which also takes upper case and "0x" in front; none for other texts.
std::optional<std::string> FromHex(std::string_view digits);

// The system has no conversion for a character set.
class UnknownEncoding : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class TextCodec {
public:
    // Throws UnknownEncoding.
    explicit TextCodec(const std::string& encoding = "UTF-8");

    bool IsIdentity() const { return !decoder; }

    // UTF-8; none for bytes that do not decode. The result may point into `bytes` or into the codec, and
    // is valid until the next call.
    std::optional<std::string_view> Decode(std::string_view bytes);

    // Whether Decode, or Display, has ever met bytes that do not decode.
    bool AllDecoded() const { return allDecoded; }

    // Bytes of the file; none when the character set lacks one of the characters.
    std::optional<std::string> Encode(std::string_view utf8);

    // For people: bytes that do not decode and control characters as \xHH, so that a file cannot control the
    // terminal.
    std::string Display(std::string_view bytes);

private:
    std::unique_ptr<Converter> decoder;  // null for UTF-8
    std::unique_ptr<Converter> encoder;
    std::string decoded;
    bool allDecoded = true;
};

}  // namespace torva
