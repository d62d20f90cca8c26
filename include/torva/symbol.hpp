// Symbols: the one at which a range stands, and those that a host keeps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

#include "torva/error.hpp"
#include "torva/field.hpp"
#include "torva/memory.hpp"
#include "torva/text.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {
namespace detail {
class SymbolWalk;
}

// One symbol with all its fields: its own, then the default fields that it does not carry. Belongs to its
// range and changes with the range's next step; it cannot be copied. To keep it:
// OwnedSymbol(std::move(symbol)).
class Symbol : detail::Borrowed {
public:
    [[nodiscard]] Text text() const noexcept TORVA_LIFETIMEBOUND { return symbolText; }
    [[nodiscard]] FieldList fields() const noexcept TORVA_LIFETIMEBOUND { return {items, count}; }
    // The first field of this id.
    [[nodiscard]] std::optional<Field> field(std::uint16_t id) const noexcept TORVA_LIFETIMEBOUND {
        for (std::size_t i = 0; i < count; ++i) {
            if (items[i].id == id) {
                return std::optional<Field>(std::in_place, items + i);
            }
        }
        return std::nullopt;
    }

private:
    friend class detail::SymbolWalk;
    friend class OwnedSymbol;
    Symbol() = default;

    Text symbolText;
    SymFieldItem* items = nullptr;
    std::size_t count = 0;
};

// A symbol that outlives its range and its file: it takes the values over and copies the text.
class OwnedSymbol {
public:
    OwnedSymbol() = default;
    // Leaves the symbol without fields. Without memory it throws SYM_ERR_NO_MEMORY, or in a build without
    // exceptions is empty (operator bool), and the symbol keeps its fields.
    explicit OwnedSymbol(Symbol&& symbol) {
        const std::size_t textSize = std::strlen(symbol.symbolText.c_str()) + 1;
        if (!text_.reserve(textSize) || !items.reserve(symbol.count)) {
            detail::raise(symbol.symbolText.view(), SYM_ERR_NO_MEMORY, 2, Reason::none);
            return;
        }
        std::memcpy(text_.data(), symbol.symbolText.c_str(), textSize);
        if (symbol.count != 0) {
            std::memcpy(static_cast<void*>(items.data()), symbol.items, symbol.count * sizeof *symbol.items);
        }
        view.symbolText = Text(text_.data());
        view.items = items.data();
        view.count = std::exchange(symbol.count, std::size_t{0});
    }
    OwnedSymbol(OwnedSymbol&& other) noexcept { swap(other); }
    OwnedSymbol& operator=(OwnedSymbol&& other) noexcept {
        swap(other);
        return *this;
    }
    OwnedSymbol(const OwnedSymbol&) = delete;
    OwnedSymbol& operator=(const OwnedSymbol&) = delete;
    ~OwnedSymbol() {
        for (std::size_t i = 0; i < view.count; ++i) {
            SymFreeValue(items.data()[i].value);
        }
    }

    explicit operator bool() const noexcept { return view.symbolText.present(); }
    [[nodiscard]] Text text() const noexcept TORVA_LIFETIMEBOUND { return view.text(); }
    [[nodiscard]] FieldList fields() const noexcept TORVA_LIFETIMEBOUND { return view.fields(); }
    [[nodiscard]] std::optional<Field> field(std::uint16_t id) const noexcept TORVA_LIFETIMEBOUND {
        return view.field(id);
    }

private:
    void swap(OwnedSymbol& other) noexcept {
        std::swap(text_, other.text_);
        std::swap(items, other.items);
        std::swap(view.symbolText, other.view.symbolText);
        std::swap(view.items, other.view.items);
        std::swap(view.count, other.view.count);
    }

    detail::Buffer<char> text_;
    detail::Buffer<SymFieldItem> items;
    Symbol view;
};

}  // namespace TORVA_EDITION
}  // namespace tvapi
