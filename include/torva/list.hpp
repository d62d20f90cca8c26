// Elements in a row that belong to somebody else.
#pragma once

#include <cstddef>
#include <string_view>

#include "TorvaFwd.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {

template <class T>
class List {
public:
    List() = default;
    List(const T* first, std::size_t size) noexcept : elements(first), count(size) {}

    [[nodiscard]] const T* begin() const noexcept { return elements; }
    [[nodiscard]] const T* end() const noexcept { return elements + count; }
    [[nodiscard]] const T* data() const noexcept { return elements; }
    [[nodiscard]] std::size_t size() const noexcept { return count; }
    [[nodiscard]] bool empty() const noexcept { return count == 0; }
    [[nodiscard]] const T& operator[](std::size_t index) const noexcept { return elements[index]; }

private:
    const T* elements = nullptr;
    std::size_t count = 0;
};

}  // namespace TORVA_EDITION
}  // namespace tvapi

#ifdef __cpp_lib_ranges
template <class T>
inline constexpr bool std::ranges::enable_borrowed_range<tvapi::List<T>> = true;
template <class T>
inline constexpr bool std::ranges::enable_view<tvapi::List<T>> = true;
#endif
