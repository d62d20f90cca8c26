#include "tools/sqlite/Value.h"

#include <fmt/format.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

#include "tables/Hash.h"

namespace torva::sql {

using namespace tables;

namespace {

bool IsAscii(std::string_view bytes) {
    constexpr u64 kTops = 0x8080808080808080U;
    u64 all = 0;
    while (bytes.size() >= sizeof all) {
        u64 word = 0;
        std::memcpy(&word, bytes.data(), sizeof word);
        all |= word;
        bytes.remove_prefix(sizeof word);
    }
    for (const char c : bytes) all |= static_cast<u8>(c);
    return (all & kTops) == 0;
}

u32 HashNumber(double number) {
    if (number == 0 || !std::isfinite(number)) return 1;  // and what is too large or too small for a double
    const u64 mixed = std::bit_cast<u64>(number) * 0x9e3779b97f4a7c15U;
    return static_cast<u32>(mixed >> 32);
}

constexpr std::string_view kBlanks = " \t\n\v\f\r";

// A text that SQL takes for a number where it is compared with one.
bool NumberIn(std::string_view text, double& number) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos || text[first] > '9' || text[first] < '+') return false;
    text = text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
    if (text.front() == '+') text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc::result_out_of_range) number = 0;
    return error != std::errc::invalid_argument && end == text.data() + text.size();
}

}  // namespace

u32 HashOf(const Value& value) {
    double number = value.real;
    switch (value.kind) {
        case Value::Kind::Null:
            return 0;
        case Value::Kind::Integer:
            return HashNumber(static_cast<double>(value.integer));
        case Value::Kind::Real:
            return HashNumber(number);
        case Value::Kind::Text:
            if (NumberIn(value.bytes, number)) return HashNumber(number);
            break;
        case Value::Kind::Blob:
            break;
    }
    const u64 hash = Hash(value.bytes);
    return static_cast<u32>(hash ^ hash >> 32);
}

double PayloadDecimal(std::string_view payload) {
    double number = PayloadFloat(payload);
    if (payload.size() == sizeof(float) && std::isfinite(number)) {
        const std::string shortest = FloatText(payload);
        std::from_chars(shortest.data(), shortest.data() + shortest.size(), number);
    }
    return number;
}

Value ValueMaker::Text(std::string_view bytes) {
    if (codec.IsIdentity() && IsAscii(bytes)) return Value::Text(bytes);
    const std::optional<std::string_view> text = codec.Decode(bytes);
    return text && text->find('\0') == std::string_view::npos ? Value::Text(*text) : Value::Blob(bytes);
}

Value ValueMaker::Digits(std::string text) {
    digits = std::move(text);
    return Value::Text(digits);
}

Value ValueMaker::Number(u64 number) {
    return number <= INT64_MAX ? Value::Integer(number) : Digits(fmt::format("{}", number));
}

Value ValueMaker::Field(const FieldDefinition* definition, u8 tag, std::string_view payload) {
    const ValueType type = Dictionary::TypeOf(definition, tag, payload.size());
    if (type == ValueType::Text) {
        const bool zero = tag != kTextTag && payload.find('\0') != std::string_view::npos;
        return zero ? Value::Blob(payload) : payload.empty() && tag != kTextTag ? Value() : Text(payload);
    }
    if (payload.empty()) return {};
    switch (type) {
        case ValueType::Signed:
            return {Value::Kind::Integer, PayloadSigned(payload), 0, {}};
        case ValueType::Float: {
            const double number = PayloadDecimal(payload);
            if (!std::isfinite(number)) return Digits(FloatText(payload));
            return {Value::Kind::Real, 0, number, {}};
        }
        case ValueType::Date: {
            const u64 date = PayloadNumber(payload);
            return DateOf(date) ? Digits(DateText(date)) : Number(date);
        }
        case ValueType::Hex:
            if (definition && definition->type == ValueType::Hex) return Digits("0x" + Hex(payload));
            break;
        default:
            break;
    }
    return Number(PayloadNumber(payload));
}

}  // namespace torva::sql
