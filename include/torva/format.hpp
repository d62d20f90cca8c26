// Texts in std::format and fmt, where the host has included either before this header.
#pragma once

#include "torva/text.hpp"

#ifdef __cpp_lib_format
#include <format>
template <>
struct std::formatter<tvapi::Text, char> : std::formatter<std::string_view, char> {
    template <class Context>
    auto format(tvapi::Text text, Context& context) const {
        return std::formatter<std::string_view, char>::format(text.view(), context);
    }
};
#endif

#ifdef FMT_VERSION
#include <fmt/format.h>
template <>
struct fmt::formatter<tvapi::Text, char> : fmt::formatter<fmt::string_view, char> {
    template <class Context>
    auto format(tvapi::Text text, Context& context) const {
        return fmt::formatter<fmt::string_view, char>::format({text.c_str(), text.size()}, context);
    }
};
#endif
