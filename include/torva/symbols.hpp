// Section 2: symbols.
#pragma once

#include <cstddef>
#include <cstdint>

#include "torva/range.hpp"
#include "torva/symbol.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {
namespace detail {

class SymbolWalk : public SectionWalk<2> {
public:
    static constexpr unsigned kSection = 2;
    using Element = Symbol;
    using Holder = Box<SymbolWalk>;

    explicit SymbolWalk(FileState* state) noexcept : SectionWalk(state) {}
    ~SymbolWalk() { release(); }

    std::int32_t begin() noexcept {
        release();
        if (!text.reserve(textSize)) {
            return SYM_ERR_NO_MEMORY;
        }
        text.data()[0] = '\0';
        symbol.symbolText = Text(text.data());
        const std::int32_t restarted = file->restart(kSection);
        if (restarted != SYM_OK || !file->symbolBroken) {
            return restarted != SYM_OK ? restarted : std::int32_t{kElement};
        }
        // The library still knows which fields the broken symbol showed and would leave out default fields of
        // these ids; the end of the next whole symbol clears that.
        file->symbolBroken = false;
        next();
        release();
        part = false;
        const std::int32_t again = file->restart(kSection);
        return again != SYM_OK ? again : std::int32_t{kElement};
    }
    std::int32_t next() noexcept {
        release();
        part = false;
        // As many items per call as the last symbol had, so that most symbols come in one call.
        if (!items.reserve(static_cast<std::size_t>(chunk))) {
            return SYM_ERR_NO_MEMORY;
        }
        std::int32_t count = -1;
        std::int32_t result = tv_GetNextSymData(handle, text.data(), static_cast<std::int32_t>(textSize - 1),
                                                &count, items.data(), chunk);
        if (count < 0) {  // nothing was begun: SYM_OK means here that the file has no symbols
            return result == SYM_OK || result == SYM_END_OF_DATA ? std::int32_t{kEnd} : result;
        }
        file->current = kSection;
        part = true;
        symbol.items = items.data();
        if (result == SYM_MORE_DATA) {
            result = readOn(count);
        }
        if (result != SYM_OK) {  // what this call wrote is not the caller's
            file->symbolBroken = file->symbolBroken || result != SYM_ERR_NO_MEMORY;
            return result;
        }
        symbol.count += static_cast<std::size_t>(count);
        constexpr std::size_t kMost = 1u << 20;
        const std::size_t wanted = symbol.count < kMost ? symbol.count + 1 : kMost;
        chunk = wanted > kLeast ? static_cast<std::int32_t>(wanted) : kLeast;
        return kElement;
    }
    Symbol& item() noexcept { return symbol; }

private:
    static constexpr std::int32_t kLeast = 64;

    // The rest of a symbol of which `count` items came; the last call's number of items is left in `count`.
    std::int32_t readOn(std::int32_t& count) noexcept {
        std::int32_t result = SYM_MORE_DATA;
        while (result == SYM_MORE_DATA) {
            symbol.count += static_cast<std::size_t>(count);
            if (!items.reserve(symbol.count + static_cast<std::size_t>(chunk))) {
                return passRest();
            }
            symbol.items = items.data();
            result = tv_GetAgainSymData(handle, &count, items.data() + symbol.count, chunk);
        }
        return result;
    }
    // Reads the symbol to its end, so that the library does not take the rest of it for the next one's.
    std::int32_t passRest() noexcept {
        SymFieldItem rest[16];
        std::int32_t result = SYM_MORE_DATA;
        while (result == SYM_MORE_DATA) {
            std::int32_t count = 0;
            result = tv_GetAgainSymData(handle, &count, rest, 16);
            if (result == SYM_OK || result == SYM_MORE_DATA) {
                SymFreeItems(rest, count);
            } else {
                file->symbolBroken = true;
            }
        }
        return SYM_ERR_NO_MEMORY;
    }
    void release() noexcept {
        const SymFieldItem* const end = symbol.items + symbol.count;
        for (const SymFieldItem* item = symbol.items; item != end; ++item) {
            SymFreeValue(item->value);
        }
        symbol.count = 0;
    }

    Buffer<char> text;
    Buffer<SymFieldItem> items;
    std::int32_t chunk = kLeast;
    Symbol symbol;
};

}  // namespace detail
}  // namespace TORVA_EDITION
}  // namespace tvapi
