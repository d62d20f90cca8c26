// Payloads of typed fields as values of a dictionary's types.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "format/Date.h"
#include "tables/dictionary/Dictionary.h"
#include "text/Text.h"

namespace torva::tables {

// The number that a payload of 1 to 8 bytes is, 0 for an empty one.
u64 PayloadNumber(std::string_view payload);
i64 PayloadSigned(std::string_view payload);    // not of an empty one
double PayloadFloat(std::string_view payload);  // of 4 or 8 bytes

// The day; none where the number is not one, which is then shown as a number everywhere.
std::optional<std::chrono::year_month_day> PayloadDate(std::string_view payload);

// "2024-01-31", of a number for which DateOf has a day.
std::string DateText(u64 date);

// A float as the shortest digits that distinguish it from its neighbours of the same width.
std::string FloatText(std::string_view payload);

// A value for people: "12.5", "2024-01-31", "0x0aff", a text as TextCodec::Display returns it.
std::string ValueText(ValueType type, std::string_view payload, TextCodec& codec);

// Below, at or above 0 as `a` is less than, equal to or greater than `b`; both are of that type. Hex is
// ordered as the unsigned numbers that the bytes are.
int CompareValues(ValueType type, std::string_view a, std::string_view b);

}  // namespace torva::tables
