// Texts of a symbol file are bytes. A TextCodec reads them in the character set that --encoding names and
// gives UTF-8; what does not decode, or would not come back as the same bytes, is told as such and never
// repaired.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

bool IsUtf8(std::string_view bytes);

// Splits the next character off; 0xfffd and one byte where the bytes are not UTF-8.
char32_t NextCharacter(std::string_view& utf8);

// Columns on a terminal.
size_t DisplayWidth(std::string_view utf8);

// "0aff": two digits for each byte.
std::string Hex(std::string_view bytes);

class TextCodec {
public:
    // Throws ToolError with kExitUsage for a name that the system does not know.
    explicit TextCodec(const std::string& encoding = "UTF-8");

    bool IsIdentity() const { return !decoder; }

    // UTF-8; none for bytes that do not decode. The result may point into `bytes` or into the codec, and
    // lives until the next call.
    std::optional<std::string_view> Decode(std::string_view bytes);

    // Bytes of the file; none when the character set has no such characters.
    std::optional<std::string> Encode(std::string_view utf8);

    // For people: undecodable bytes and control characters as \xHH, so that a file cannot play with the
    // terminal.
    std::string Display(std::string_view bytes);

private:
    std::unique_ptr<Converter> decoder;
    std::unique_ptr<Converter> encoder;
    std::string decoded;
};

}  // namespace tvsym
