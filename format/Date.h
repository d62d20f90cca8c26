// Dates as files store them: the number yyyymmdd.
#pragma once

#include <chrono>
#include <optional>

#include "format/Types.h"

namespace torva {

// None for a day that the calendar does not have, and for years that do not have four digits.
constexpr std::optional<std::chrono::year_month_day> DateOf(u64 number) {
    if (number < 10000101 || number > 99991231) return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(number / 10000)),
                                           std::chrono::month(static_cast<unsigned>(number / 100 % 100)),
                                           std::chrono::day(static_cast<unsigned>(number % 100))};
    return date.ok() ? std::optional(date) : std::nullopt;
}

}  // namespace torva
