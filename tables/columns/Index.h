// Lookup by symbol: a hash index for whole symbols and a sorted one for prefixes, each built by the first
// call that needs it.
//
// Both are of our own. The hash index stores a row number and a hash in 8 bytes and compares with the texts
// of the column, which a general hash map can only do with keys of its own or through a wrapper; a library
// for it would have to be linked into every binding, the one for browsers included. The sorted index is an
// array.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "tables/columns/Column.h"

namespace torva::tables::columns {

// The texts of a column that has neither nulls nor a dictionary.
class TextsView {
public:
    explicit TextsView(const Column& column)
        : bytes(column.values.As<char>()),
          offsets(column.offsets.As<i32>()),
          count(static_cast<u32>(column.rows)) {}
    std::string_view operator[](u32 row) const {
        return {bytes + offsets[row], static_cast<std::size_t>(offsets[row + 1] - offsets[row])};
    }
    u32 Count() const { return count; }

private:
    const char* bytes;
    const i32* offsets;
    u32 count;
};

// Rows by hash: 11 to 21 bytes a row, and 4 more where symbols repeat.
class HashIndex {
public:
    static constexpr u32 kNone = ~u32{0};

    explicit HashIndex(TextsView texts);  // throws std::bad_alloc
    u32 Find(TextsView texts, std::string_view symbol) const;

    // The next row with the same symbol.
    u32 Next(u32 row) const { return nextSame.empty() ? kNone : nextSame[row]; }

private:
    struct Slot {
        u32 mark = 0;
        u32 row = kNone;
    };
    std::vector<Slot> slots;
    u32 shift = 0;
    std::vector<u32> nextSame;
};

// Rows by symbol: 12 bytes a row. Keys are the first 8 bytes of a symbol, so that a search rarely touches the
// texts.
class SortedIndex {
public:
    explicit SortedIndex(TextsView texts);  // throws std::bad_alloc

    // The places in Order() of the rows with this prefix.
    void Range(TextsView texts, std::string_view prefix, u32& begin, u32& end) const;
    const std::vector<u32>& Order() const { return order; }

private:
    std::vector<u64> keys;
    std::vector<u32> order;
};

// Something that is made once, by the first who needs it, and then read without a lock.
template <class T>
class Once {
public:
    ~Once() { delete made.load(std::memory_order_acquire); }

    template <class... Arguments>
    const T& Get(Arguments... arguments) const {
        if (const T* const ready = made.load(std::memory_order_acquire)) return *ready;
        const std::lock_guard<std::mutex> lock(mutex);
        const T* ready = made.load(std::memory_order_acquire);
        if (ready == nullptr) {
            ready = new T(arguments...);
            made.store(ready, std::memory_order_release);
        }
        return *ready;
    }

private:
    mutable std::mutex mutex;
    mutable std::atomic<const T*> made{nullptr};
};

}  // namespace torva::tables::columns
