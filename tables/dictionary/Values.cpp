#include "tables/dictionary/Values.h"

#include <fmt/format.h>

#include <cstring>

#include "format/LittleEndian.h"

namespace torva::tables {

u64 PayloadNumber(std::string_view payload) { return ReadNumber(payload.data(), payload.size()); }

i64 PayloadSigned(std::string_view payload) {
    const std::size_t unused = 64 - 8 * payload.size();
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

std::optional<std::chrono::year_month_day> PayloadDate(std::string_view payload) {
    return DateOf(PayloadNumber(payload));
}

// A float prints with the digits that distinguish it from its neighbours, not with those of the double that
// holds it.
std::string FloatText(std::string_view payload) {
    return payload.size() == sizeof(float) ? fmt::format("{}", static_cast<float>(PayloadFloat(payload)))
                                           : fmt::format("{}", PayloadFloat(payload));
}

std::string DateText(u64 date) {
    return fmt::format("{:04}-{:02}-{:02}", date / 10000, date / 100 % 100, date % 100);
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
            return PayloadDate(payload) ? DateText(PayloadNumber(payload))
                                        : fmt::format("{}", PayloadNumber(payload));
        case ValueType::Bool:
            return PayloadNumber(payload) > 1 ? fmt::format("{}", PayloadNumber(payload))
                                              : fmt::format("{}", PayloadNumber(payload) == 1);
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

}  // namespace torva::tables
