#include "tools/tvsym/output/SqlValues.h"

#include <fmt/format.h>

#include <cmath>

#include "tools/sqlite/Value.h"

namespace tvsym {

namespace {

SqlValue Number(u64 number) {
    return number <= INT64_MAX ? SqlValue(static_cast<i64>(number)) : SqlValue(fmt::format("{}", number));
}

SqlValue Float(std::string_view payload, TextCodec& codec) {
    const double number = sql::PayloadDecimal(payload);
    return std::isfinite(number) ? SqlValue(number) : SqlValue(ValueText(ValueType::Float, payload, codec));
}

}  // namespace

SqlValue TextValue(TextCodec& codec, std::string_view bytes) {
    const std::optional<std::string_view> text = codec.Decode(bytes);
    return text ? SqlValue(std::string(*text)) : SqlValue(Blob{std::string(bytes)});
}

SqlValue FieldValue(const Dictionary& dictionary, TextCodec& codec, u16 id, u8 tag,
                    std::string_view payload) {
    const ValueType type = dictionary.TypeOf(id, tag, payload.size());
    if (type == ValueType::Text) {
        return TextValue(codec, payload);
    }
    if (payload.empty()) {
        return {};
    }
    const FieldDefinition* definition = dictionary.Find(id);
    if (type == ValueType::Float) {
        return Float(payload, codec);
    }
    if (type == ValueType::Signed) {
        return PayloadSigned(payload);
    }
    if (type == ValueType::Date) {
        const u64 date = PayloadNumber(payload);
        return DateOf(date) ? SqlValue(DateText(date)) : Number(date);
    }
    if (type == ValueType::Hex && definition && definition->type == ValueType::Hex) {
        return "0x" + Hex(payload);
    }
    return Number(PayloadNumber(payload));
}

}  // namespace tvsym
