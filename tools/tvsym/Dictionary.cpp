#include "tools/tvsym/Dictionary.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "symwrite/Json.h"
#include "tools/tvsym/Sections.h"
#include "tools/tvsym/input/JsonSource.h"

namespace tvsym {

namespace {

std::optional<u16> ParseId(std::string_view text) {
    u16 id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(id) : std::nullopt;
}

ValueType TypeFrom(symwrite::FieldType type) {
    switch (type) {
        case symwrite::FieldType::Text:
            return ValueType::Text;
        case symwrite::FieldType::Unsigned:
            return ValueType::Unsigned;
        case symwrite::FieldType::Signed:
            return ValueType::Signed;
        case symwrite::FieldType::Float:
            return ValueType::Float;
        case symwrite::FieldType::Date:
            return ValueType::Date;
        default:
            return ValueType::Hex;
    }
}

// A float prints with the digits that tell it from its neighbours, not with those of the double that holds
// it.
std::string FloatText(std::string_view payload) {
    return payload.size() == sizeof(float) ? fmt::format("{}", static_cast<float>(PayloadFloat(payload)))
                                           : fmt::format("{}", PayloadFloat(payload));
}

bool IsDate(u64 number) {
    const u64 month = number / 100 % 100;
    const u64 day = number % 100;
    return number >= 10000101 && number <= 99991231 && month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

std::string DateText(u64 number) {
    return fmt::format("{:04}-{:02}-{:02}", number / 10000, number / 100 % 100, number % 100);
}

}  // namespace

u64 PayloadNumber(std::string_view payload) {
    u64 number = 0;
    for (size_t at = payload.size(); at-- > 0;) {
        number = number << 8 | static_cast<u8>(payload[at]);
    }
    return number;
}

i64 PayloadSigned(std::string_view payload) {
    const size_t unused = 64 - 8 * payload.size();
    return static_cast<i64>(PayloadNumber(payload) << unused) >> unused;
}

double PayloadFloat(std::string_view payload) {
    if (payload.size() == sizeof(float)) {
        float number = 0;
        std::memcpy(&number, payload.data(), sizeof number);
        return number;
    }
    double number = 0;
    std::memcpy(&number, payload.data(), sizeof number);
    return number;
}

Dictionary Dictionary::Load(const std::string& path, const std::string& symbolFile) {
    std::string file = path;
    if (file.empty()) {
        file = symbolFile + ".fields.json";
        std::error_code error;
        if (!std::filesystem::is_regular_file(file, error)) {
            return {};
        }
    }
    // Read by the same rules as where files are built.
    symwrite::JsonErrors errors;
    symwrite::Json json;
    symwrite::FieldDictionary fields;
    WithSource(file, [&](std::istream& in) { json = symwrite::ParseJson(in, errors); });
    if (errors.Empty()) {
        fields.Load(symwrite::JsonNode(json, errors));
    }
    if (!errors.Empty()) {
        const symwrite::JsonError& first = errors.First().front();
        throw ToolError(kExitUnreadable, fmt::format("{}: {}{}{}", file, first.where,
                                                     first.where.empty() ? "" : ": ", first.what));
    }
    Dictionary dictionary;
    for (const auto& [key, value] : json.items()) {
        const u16 id = ParseId(key).value_or(0);
        const symwrite::FieldDefinition& known = *fields.Find(id);
        dictionary.ids.emplace(known.name, id);
        dictionary.fields.emplace(id, FieldDefinition{known.name, TypeFrom(known.type), known.tag});
    }
    return dictionary;
}

const FieldDefinition* Dictionary::Find(u16 id) const {
    const auto found = fields.find(id);
    return found == fields.end() ? nullptr : &found->second;
}

std::optional<u16> Dictionary::IdOf(std::string_view nameOrId) const {
    const auto found = ids.find(nameOrId);
    return found != ids.end() ? std::optional(found->second) : ParseId(nameOrId);
}

std::string Dictionary::NameOf(u16 id) const {
    const FieldDefinition* definition = Find(id);
    return definition ? definition->name : fmt::format("{}", id);
}

ValueType Dictionary::TypeOf(u16 id, u8 tag, size_t payloadSize) const {
    const ValueType plain = tag == kTextTag ? ValueType::Text : ValueType::Hex;
    const FieldDefinition* definition = Find(id);
    if (!definition || tag == kTextTag || definition->type == ValueType::Text) {
        return definition && definition->type == ValueType::Text ? ValueType::Text : plain;
    }
    if (payloadSize != PayloadWidth(tag) || payloadSize == 0) {
        return plain;
    }
    if (definition->type == ValueType::Float && payloadSize != sizeof(float) &&
        payloadSize != sizeof(double)) {
        return plain;
    }
    return definition->type;
}

std::string ValueText(ValueType type, std::string_view payload, TextCodec& codec) {
    switch (type) {
        case ValueType::Text:
            return codec.Display(payload);
        case ValueType::Unsigned:
            return fmt::format("{}", PayloadNumber(payload));
        case ValueType::Signed:
            return fmt::format("{}", PayloadSigned(payload));
        case ValueType::Float:
            return FloatText(payload);
        case ValueType::Date:
            return IsDate(PayloadNumber(payload)) ? DateText(PayloadNumber(payload))
                                                  : fmt::format("{}", PayloadNumber(payload));
        case ValueType::Hex:
            break;
    }
    return payload.empty() ? "" : "0x" + Hex(payload);
}

int CompareValues(ValueType type, std::string_view a, std::string_view b) {
    const auto sign = [](auto x, auto y) { return x < y ? -1 : y < x ? 1 : 0; };
    switch (type) {
        case ValueType::Text:
            return sign(a, b);
        case ValueType::Signed:
            return sign(PayloadSigned(a), PayloadSigned(b));
        case ValueType::Float:
            return sign(PayloadFloat(a), PayloadFloat(b));
        default:
            return sign(PayloadNumber(a), PayloadNumber(b));
    }
}

std::string ValueJson(ValueType type, std::string_view payload, TextCodec& codec) {
    switch (type) {
        case ValueType::Text:
            return JsonText(payload, codec);
        case ValueType::Unsigned:
        case ValueType::Signed:
            return ValueText(type, payload, codec);
        case ValueType::Float:
            return std::isfinite(PayloadFloat(payload)) ? FloatText(payload) : JsonString(FloatText(payload));
        case ValueType::Date:
            return IsDate(PayloadNumber(payload)) ? JsonString(DateText(PayloadNumber(payload)))
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

}  // namespace tvsym
