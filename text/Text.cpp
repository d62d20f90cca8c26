#include "text/Text.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "format/Types.h"

namespace torva {

namespace {

constexpr char32_t kNoCharacter = 0xfffd;

// Length of the well-formed UTF-8 character at the start of `bytes`, which is not empty; 0 when there is
// none.
std::size_t CharacterLength(std::string_view bytes, char32_t& character) {
    const auto byte = [&](std::size_t at) { return static_cast<u8>(bytes[at]); };
    const u8 first = byte(0);
    if (first < 0x80) {
        character = first;
        return 1;
    }
    const std::size_t length = first >= 0xc2 && first <= 0xdf   ? 2
                               : first >= 0xe0 && first <= 0xef ? 3
                               : first >= 0xf0 && first <= 0xf4 ? 4
                                                                : 0;
    if (length == 0 || bytes.size() < length) {
        return 0;
    }
    character = static_cast<char32_t>(first & (0xff >> (length + 1)));
    for (std::size_t at = 1; at < length; ++at) {
        if ((byte(at) & 0xc0) != 0x80) {
            return 0;
        }
        character = character << 6 | (byte(at) & 0x3f);
    }
    const bool overlong = (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
    const bool noScalar = (character >= 0xd800 && character <= 0xdfff) || character > 0x10ffff;
    return overlong || noScalar ? 0 : length;
}

bool IsUtf8Name(std::string encoding) {
    std::transform(encoding.begin(), encoding.end(), encoding.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return encoding == "UTF-8" || encoding == "UTF8";
}

}  // namespace

bool IsUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        char32_t character = 0;
        const std::size_t length = CharacterLength(bytes, character);
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

char32_t NextCharacter(std::string_view& utf8) {
    char32_t character = kNoCharacter;
    const std::size_t length = CharacterLength(utf8, character);
    utf8.remove_prefix(std::max<std::size_t>(length, 1));
    return length == 0 ? kNoCharacter : character;
}

std::string Hex(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string digits;
    digits.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        digits += kDigits[static_cast<u8>(c) >> 4];
        digits += kDigits[static_cast<u8>(c) & 15];
    }
    return digits;
}

std::optional<std::string> FromHex(std::string_view digits) {
    if (digits.starts_with("0x")) {
        digits.remove_prefix(2);
    }
    if (digits.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string bytes;
    bytes.reserve(digits.size() / 2);
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        u8 byte = 0;
        const char* const end = digits.data() + at + 2;
        if (std::from_chars(digits.data() + at, end, byte, 16).ptr != end) {
            return std::nullopt;
        }
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

TextCodec::TextCodec(const std::string& encoding) {
    if (IsUtf8Name(encoding)) {
        return;
    }
    decoder = Converter::Make(encoding, "UTF-8");
    encoder = Converter::Make("UTF-8", encoding);
    if (!decoder || !encoder) {
        throw UnknownEncoding(encoding + ": this system knows no such character set (iconv -l lists them)");
    }
}

std::optional<std::string_view> TextCodec::Decode(std::string_view bytes) {
    if (!decoder) {
        const bool good = IsUtf8(bytes);
        allDecoded = allDecoded && good;
        return good ? std::optional(bytes) : std::nullopt;
    }
    std::optional<std::string> text = decoder->Convert(bytes);
    if (!text || encoder->Convert(*text) != bytes) {
        allDecoded = false;
        return std::nullopt;
    }
    decoded = std::move(*text);
    return decoded;
}

std::optional<std::string> TextCodec::Encode(std::string_view utf8) {
    if (!decoder) {
        return std::string(utf8);
    }
    return encoder->Convert(utf8);
}

std::string TextCodec::Display(std::string_view bytes) {
    const auto plain = [](char c) { return c >= 0x20 && c < 0x7f; };
    if (!decoder && std::all_of(bytes.begin(), bytes.end(), plain)) {
        return std::string(bytes);
    }
    const std::optional<std::string_view> text = Decode(bytes);
    std::string_view rest = text.value_or(bytes);
    std::string shown;
    shown.reserve(rest.size());
    while (!rest.empty()) {
        char32_t character = 0;
        const std::size_t length =
            text || !decoder ? CharacterLength(rest, character) : static_cast<u8>(rest[0]) < 0x80;
        const bool control = length == 1 && (static_cast<u8>(rest[0]) < 0x20 || rest[0] == 0x7f);
        const bool c1 = length == 2 && character < 0xa0;
        if (length == 0 || control || c1) {
            for (std::size_t at = 0; at < std::max<std::size_t>(length, 1); ++at) {
                shown += "\\x" + Hex(rest.substr(at, 1));
            }
        } else {
            shown += rest.substr(0, length);
        }
        rest.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return shown;
}

}  // namespace torva
