// What every operation asks about its arguments first.
#pragma once

namespace torva {

// True when one of the pointers is null.
template <class... Pointers>
constexpr bool AnyNull(Pointers... pointers) {
    return ((pointers == nullptr) || ...);
}

// True when an array that may hold something is null: with no room it may be.
template <class T, class Capacity>
constexpr bool NullArray(const T* array, Capacity capacity) {
    return array == nullptr && capacity > 0;
}

}  // namespace torva
