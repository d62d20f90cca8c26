#include "tools/tvsym/output/Json.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "tools/tvsym/output/Problems.h"

namespace tvsym {

namespace {

constexpr bool NeedsEscape(char c) { return static_cast<u8>(c) < 0x20 || c == 0x7f || c == '"' || c == '\\'; }

std::string Escape(char c) {
    switch (c) {
        case '"':
        case '\\':
            return {'\\', c};
        case '\n':
            return "\\n";
        case '\t':
            return "\\t";
        case '\r':
            return "\\r";
        default:
            return fmt::format("\\u{:04x}", static_cast<u8>(c));
    }
}

}  // namespace

void JsonWriter::Begin() {
    if (comma) text += ',';
    comma = true;
    if (pretty) {
        if (depth > 0 && !afterKey) Indent();
        afterKey = false;
    }
}

void JsonWriter::Indent() {
    text += '\n';
    text.append(2 * depth, ' ');
}

JsonWriter& JsonWriter::Token(std::string_view token) {
    Begin();
    text += token;
    return *this;
}

JsonWriter& JsonWriter::Open(char bracket) {
    Begin();
    text += bracket;
    comma = false;
    ++depth;
    return *this;
}

JsonWriter& JsonWriter::Close(char bracket) {
    --depth;
    if (pretty && comma) Indent();  // not an empty one
    text += bracket;
    comma = true;
    return *this;
}

JsonWriter& JsonWriter::Key(std::string_view name) {
    Begin();
    text += '"';
    text += name;
    text += pretty ? "\": " : "\":";
    comma = false;
    afterKey = true;
    return *this;
}

JsonWriter& JsonWriter::AnyKey(std::string_view utf8) {
    Value(utf8);
    text += pretty ? ": " : ":";
    comma = false;
    afterKey = true;
    return *this;
}

JsonWriter& JsonWriter::Value(double number) {
    const std::string digits = fmt::format("{}", number);
    return std::isfinite(number) ? Token(digits) : Value(std::string_view(digits));
}

JsonWriter& JsonWriter::Value(std::string_view utf8) {
    Begin();
    text += '"';
    while (!utf8.empty()) {
        const auto plain =
            static_cast<size_t>(std::find_if(utf8.begin(), utf8.end(), NeedsEscape) - utf8.begin());
        text += utf8.substr(0, plain);
        if (plain == utf8.size()) break;
        text += Escape(utf8[plain]);
        utf8.remove_prefix(plain + 1);
    }
    text += '"';
    return *this;
}

JsonWriter& JsonWriter::Text(std::string_view bytes, TextCodec& codec) {
    const std::optional<std::string_view> decoded = codec.Decode(bytes);
    return decoded ? Value(*decoded) : Open('{').Member("hex", Hex(bytes)).Close('}');
}

JsonWriter& JsonWriter::Payload(ValueType type, std::string_view payload, TextCodec& codec) {
    switch (type) {
        case ValueType::Text:
            return Text(payload, codec);
        case ValueType::Bool:
            if (PayloadNumber(payload) <= 1) return Value(PayloadNumber(payload) == 1);
            return Value(PayloadNumber(payload));
        case ValueType::Unsigned:
            return Value(PayloadNumber(payload));
        case ValueType::Signed:
            return Value(PayloadSigned(payload));
        case ValueType::Float:
            return std::isfinite(PayloadFloat(payload)) ? Token(FloatText(payload))
                                                        : Value(FloatText(payload));
        case ValueType::Date:
            return PayloadDate(payload) ? Value(DateText(PayloadNumber(payload)))
                                        : Value(PayloadNumber(payload));
        case ValueType::Hex:
            break;
    }
    return payload.empty() ? Value(nullptr) : Value("0x" + Hex(payload));
}

JsonWriter& JsonWriter::Section(u16 id) {
    if (id == 0) return Member("section", nullptr).Member("id", nullptr);
    return Member("section", SectionWord(id)).Member("id", id);
}

JsonWriter& JsonWriter::Fields(const symwrite::FieldDictionary& dictionary) {
    Open('{');
    for (const auto& [id, field] : dictionary.All()) {
        Line();
        Key(fmt::format("{}", id)).Open('{').Member("name", std::string_view(field.name));
        Member("type", symwrite::TypeName(field.type)).Member("tag", field.tag).Close('}');
    }
    return Close('}');
}

JsonWriter& JsonWriter::Rows(u16 id, const std::vector<u64>& rows) {
    Open('{');
    for (size_t level = 0; level < rows.size(); ++level) {
        Member(FindSection(id)->levels[level].name, rows[level]);
    }
    return Close('}');
}

void JsonWriter::Line() {
    if (pretty && depth > 0) return FlushWhenLong();  // every value has its line
    text += comma ? ",\n" : "\n";
    comma = false;
    FlushWhenLong();
}

void JsonWriter::EndLine() {
    text += '\n';
    comma = false;
    FlushWhenLong();
}

void JsonWriter::Raw(std::string_view characters) {
    text += characters;
    comma = false;
    FlushWhenLong();
}

void JsonWriter::FlushWhenLong() {
    constexpr size_t kBuffered = size_t{64} * 1024;
    if (text.size() > kBuffered) Flush();
}

void JsonWriter::Flush() {
    out.Write(text);
    text.clear();
}

}  // namespace tvsym
