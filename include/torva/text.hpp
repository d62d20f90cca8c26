// Texts of a file.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "torva/codes.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {

namespace detail {
struct TextSlot;
}

// A text of the file: bytes of no particular character set, with a zero byte after them. Refers to memory of
// its range, like a std::string_view; converts to one, and to a std::string to keep it. Where the library had
// no room for it, it is absent and reads as an empty one.
class Text {
public:
    Text() = default;
    explicit Text(const char* text) noexcept : first(text) {}

    [[nodiscard]] bool present() const noexcept { return first != nullptr; }
    [[nodiscard]] const char* c_str() const noexcept { return first != nullptr ? first : ""; }
    [[nodiscard]] std::string_view view() const noexcept { return c_str(); }
    [[nodiscard]] std::size_t size() const noexcept { return view().size(); }
    [[nodiscard]] bool empty() const noexcept { return *c_str() == '\0'; }
    operator std::string_view() const noexcept { return view(); }  // NOLINT: reads as the text that it is
    operator std::string() const { return std::string(view()); }   // NOLINT: the same, kept

    template <class Traits>
    friend std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& out, Text text) {
        return out << text.view();
    }

private:
    friend struct detail::TextSlot;
    const char* first = nullptr;
};

namespace detail {
// Where a call writes the text that it delivers.
struct TextSlot {
    static const char** of(Text& text) noexcept { return &text.first; }
};

// A Text beside another one or beside anything that reads as a std::string_view.
template <class Left, class Right>
using IfTexts =
    std::enable_if_t<(std::is_same_v<Left, Text> ||
                      std::is_same_v<Right, Text>)&&std::is_convertible_v<const Left&, std::string_view> &&
                         std::is_convertible_v<const Right&, std::string_view>,
                     bool>;
template <class Left, class Right>
int compare(const Left& left, const Right& right) noexcept {
    return std::string_view(left).compare(std::string_view(right));
}
}  // namespace detail

template <class Left, class Right>
detail::IfTexts<Left, Right> operator==(const Left& left, const Right& right) noexcept {
    return std::string_view(left) == std::string_view(right);
}
template <class Left, class Right>
detail::IfTexts<Left, Right> operator!=(const Left& left, const Right& right) noexcept {
    return std::string_view(left) != std::string_view(right);
}
template <class Left, class Right>
detail::IfTexts<Left, Right> operator<(const Left& left, const Right& right) noexcept {
    return detail::compare(left, right) < 0;
}
template <class Left, class Right>
detail::IfTexts<Left, Right> operator<=(const Left& left, const Right& right) noexcept {
    return detail::compare(left, right) <= 0;
}
template <class Left, class Right>
detail::IfTexts<Left, Right> operator>(const Left& left, const Right& right) noexcept {
    return detail::compare(left, right) > 0;
}
template <class Left, class Right>
detail::IfTexts<Left, Right> operator>=(const Left& left, const Right& right) noexcept {
    return detail::compare(left, right) >= 0;
}

}  // namespace TORVA_EDITION
}  // namespace tvapi

// The same value as that of an equal std::string or std::string_view.
template <>
struct std::hash<tvapi::Text> {
    std::size_t operator()(tvapi::Text text) const noexcept {
        return std::hash<std::string_view>()(text.view());
    }
};
