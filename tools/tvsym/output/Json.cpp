#include "tools/tvsym/output/Json.h"

#include <fmt/format.h>

#include <cmath>

namespace tvsym {

std::string ValueJson(ValueType type, std::string_view payload, TextCodec& codec) {
    switch (type) {
        case ValueType::Text:
            return JsonText(payload, codec);
        case ValueType::Unsigned:
        case ValueType::Signed:
        case ValueType::Bool:
            return ValueText(type, payload, codec);
        case ValueType::Float:
            return std::isfinite(PayloadFloat(payload)) ? FloatText(payload) : JsonString(FloatText(payload));
        case ValueType::Date:
            return PayloadDate(payload) ? JsonString(DateText(PayloadNumber(payload)))
                                        : fmt::format("{}", PayloadNumber(payload));
        case ValueType::Hex:
            break;
    }
    return payload.empty() ? "null" : JsonString("0x" + Hex(payload));
}

std::string JsonString(std::string_view utf8) {
    std::string json;
    json.reserve(utf8.size() + 2);
    json += '"';
    for (const char c : utf8) {
        if (c == '"' || c == '\\') {
            json += '\\';
            json += c;
        } else if (static_cast<u8>(c) < 0x20 || c == 0x7f) {
            json += c == '\n'   ? "\\n"
                    : c == '\t' ? "\\t"
                    : c == '\r' ? "\\r"
                                : fmt::format("\\u{:04x}", static_cast<u8>(c));
        } else {
            json += c;
        }
    }
    json += '"';
    return json;
}

std::string JsonText(std::string_view bytes, TextCodec& codec) {
    const std::optional<std::string_view> text = codec.Decode(bytes);
    return text ? JsonString(*text) : fmt::format(R"({{"hex":"{}"}})", Hex(bytes));
}

std::string RowsJson(u16 id, const std::vector<u64>& rows) {
    std::string json;
    for (size_t level = 0; level < rows.size(); ++level) {
        json += fmt::format("{}\"{}\":{}", level == 0 ? "{" : ",", FindSection(id)->levels[level].name,
                            rows[level]);
    }
    return json.empty() ? "{}" : json + "}";
}

}  // namespace tvsym
