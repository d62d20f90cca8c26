// Fields of a symbol.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "torva/list.hpp"
#include "torva/value.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {

// One field of a symbol: a view of its item, made where it is read. It cannot be copied; to keep its value,
// take() it.
class Field : public detail::TypedReads<Field> {
public:
    explicit Field(SymFieldItem* fieldItem) noexcept : item(fieldItem) {}
    Field(const Field&) = delete;
    Field& operator=(const Field&) = delete;

    [[nodiscard]] std::uint16_t id() const noexcept { return item->id; }
    [[nodiscard]] std::uint8_t tag() const noexcept { return item->tag; }
    [[nodiscard]] const void* data() const noexcept { return item->value; }
    [[nodiscard]] Payload value() const noexcept { return {item->tag, item->value}; }
    // Takes the value out, so that it outlives the symbol. The field is absent from then on.
    [[nodiscard]] Value take() noexcept {
        void* const value = item->value;  // packed: no reference to the member
        item->value = nullptr;
        return Value(value);
    }

private:
    SymFieldItem* item;
};

class FieldIterator {
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = Field;
    using difference_type = std::ptrdiff_t;
    using reference = Field;
    class pointer {
    public:
        explicit pointer(SymFieldItem* item) noexcept : field(item) {}
        Field* operator->() noexcept { return &field; }

    private:
        Field field;
    };

    FieldIterator() = default;
    explicit FieldIterator(SymFieldItem* item) noexcept : at(item) {}
    Field operator*() const noexcept { return Field(at); }
    pointer operator->() const noexcept { return pointer(at); }
    Field operator[](difference_type offset) const noexcept { return Field(at + offset); }
    FieldIterator& operator++() noexcept { return *this += 1; }
    FieldIterator& operator--() noexcept { return *this += -1; }
    FieldIterator operator++(int) noexcept { return FieldIterator(at++); }
    FieldIterator operator--(int) noexcept { return FieldIterator(at--); }
    FieldIterator& operator+=(difference_type offset) noexcept {
        at += offset;
        return *this;
    }
    FieldIterator& operator-=(difference_type offset) noexcept { return *this += -offset; }

    friend FieldIterator operator+(FieldIterator it, difference_type offset) noexcept { return it += offset; }
    friend FieldIterator operator+(difference_type offset, FieldIterator it) noexcept { return it += offset; }
    friend FieldIterator operator-(FieldIterator it, difference_type offset) noexcept { return it -= offset; }
    friend difference_type operator-(FieldIterator a, FieldIterator b) noexcept { return a.at - b.at; }
    friend bool operator==(FieldIterator a, FieldIterator b) noexcept { return a.at == b.at; }
    friend bool operator!=(FieldIterator a, FieldIterator b) noexcept { return a.at != b.at; }
    friend bool operator<(FieldIterator a, FieldIterator b) noexcept { return a.at < b.at; }
    friend bool operator>(FieldIterator a, FieldIterator b) noexcept { return a.at > b.at; }
    friend bool operator<=(FieldIterator a, FieldIterator b) noexcept { return a.at <= b.at; }
    friend bool operator>=(FieldIterator a, FieldIterator b) noexcept { return a.at >= b.at; }

private:
    SymFieldItem* at = nullptr;
};

// The fields of one symbol: a random-access range. Good for as long as the symbol is.
class FieldList {
public:
    FieldList() = default;
    FieldList(SymFieldItem* first, std::size_t size) noexcept : items(first), count(size) {}

    [[nodiscard]] FieldIterator begin() const noexcept { return FieldIterator(items); }
    [[nodiscard]] FieldIterator end() const noexcept { return FieldIterator(items + count); }
    [[nodiscard]] std::size_t size() const noexcept { return count; }
    [[nodiscard]] bool empty() const noexcept { return count == 0; }
    [[nodiscard]] Field operator[](std::size_t index) const noexcept { return Field(items + index); }

private:
    SymFieldItem* items = nullptr;
    std::size_t count = 0;
};

}  // namespace TORVA_EDITION
}  // namespace tvapi

#ifdef __cpp_lib_ranges
template <>
inline constexpr bool std::ranges::enable_borrowed_range<tvapi::FieldList> = true;
template <>
inline constexpr bool std::ranges::enable_view<tvapi::FieldList> = true;
#endif
