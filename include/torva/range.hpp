// Ranges: what a walk over a section delivers, one element at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>  // with the iterator tags; <iterator> is a third of a host's compile time
#include <type_traits>
#include <utility>

#include "torva/state.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {
namespace detail {

// Every begin() and next() of a walk returns one of these or a negative result code.
enum : std::int32_t { kEnd = 0, kElement = 1 };

// For calls that return SYM_OK with every element.
TORVA_STEP std::int32_t oneOf(std::int32_t result) noexcept {
    if (result == SYM_OK) {
        return kElement;
    }
    return result == SYM_END_OF_DATA ? std::int32_t{kEnd} : result;
}

// What the walk over a section keeps beside its element. `Where` is its place among
// FileState::standing.
template <unsigned Section, unsigned Where = 0>
class SectionWalk : protected Place {
public:
    static constexpr bool kNested = false;

    explicit SectionWalk(FileState* state) noexcept : file(state) {}
    SectionWalk(const SectionWalk&) = delete;
    SectionWalk& operator=(const SectionWalk&) = delete;
    ~SectionWalk() {
        if (file.get() != nullptr && file->standing[Where] == this) {
            file->standing[Where] = nullptr;
        }
    }

    std::int32_t outcome = kEnd;
    bool part = false;  // the last next() wrote something into the element, whatever its result

    std::optional<std::uint32_t> announcedCount() const noexcept { return announced; }
    // Makes this walk the owner of the file's place.
    bool enter() noexcept {
        part = false;
        last = false;
        announced.reset();
        if (file.get() == nullptr) {
            return false;
        }
        FileState::take(file->standing[0], nullptr);  // sections 18 and 21 are read at the same place
        FileState::take(file->standing[Where], this);
        handle = file->handle;
        textSize = static_cast<std::uint32_t>(file->textMax) + 1;
        return handle != 0;
    }
    // The code of an error here: a walk without a handle has lost its place, unless its file is closed.
    TORVA_RARE std::int32_t codeOf(std::int32_t code) const noexcept {
        return code == SYM_ERR_BAD_HANDLE && handle == 0 && file.get() != nullptr && file->handle != 0
                   ? std::int32_t{kErrLostPlace}
                   : code;
    }
    TORVA_RARE void report(std::int32_t code) {
        if (file.get() == nullptr) {
            return raise({}, code, Section, Reason::none);
        }
        file->record(code, Section);
        raise(file->pathView(), code, Section, Reason::none);
    }

protected:
    // The outcome of an Initial call. A range that has nothing to deliver ends like any other.
    std::int32_t begun(std::int32_t initialResult) noexcept {
        if (initialResult != SYM_ERR_NO_SECTION) {
            file->current = 0;
        }
        return initialResult >= 0 ? kElement : initialResult == SYM_END_OF_DATA ? kEnd : initialResult;
    }
    // For Initial calls that return a count. One of 32 bits may come back negative; of those, only the few
    // that are codes of Initial calls count as such.
    std::int32_t begunWithCount(std::int32_t initialResult) noexcept {
        switch (initialResult) {
            case SYM_END_OF_DATA:
            case SYM_ERR_BAD_HANDLE:
            case SYM_ERR_NO_SECTION:
            case SYM_ERR_READ:
                return begun(initialResult);
            default:
                announced = static_cast<std::uint32_t>(initialResult);
                return begun(SYM_OK);
        }
    }
    // For calls that deliver one element each: SYM_MORE_DATA comes with all of them except the last. `came`:
    // whether something was written into the element.
    TORVA_STEP std::int32_t delivered(std::int32_t result, bool came = false) noexcept {
        return result == SYM_MORE_DATA ? std::int32_t{kElement} : lastDelivered(result, came);
    }
    TORVA_RARE std::int32_t lastDelivered(std::int32_t result, bool came) noexcept {
        if (last) {  // the step after it, which read nothing because the handle is gone
            return kEnd;
        }
        part = came;
        last = result == SYM_OK;
        if (last) {
            handle = 0;  // in sections 6 and 7 the library would read on
            return kElement;
        }
        return result == SYM_END_OF_DATA ? std::int32_t{kEnd} : result;
    }

    FileRef file;
    std::optional<std::uint32_t> announced;
    std::uint32_t textSize = 0;  // bytes of the longest text, with its zero byte
    bool last = false;           // the section's last element was delivered; nothing more is read
};

// The walk itself is not handed on, so that one on the stack can stay in registers.
template <class Walk>
TORVA_STEP void reached(Walk& walk, std::int32_t outcome) {
    walk.outcome = outcome >= 0 ? outcome : walk.codeOf(outcome);
    if (outcome < 0) {
        walk.report(walk.outcome);
    }
}
template <class Walk>
TORVA_ONCE void startSection(Walk& walk) {
    const std::int32_t begun = walk.enter() ? walk.begin() : SYM_ERR_BAD_HANDLE;
    reached(walk, begun == kElement ? walk.next() : begun);
}

// Where a range keeps its walk: a section's in memory of its own, that of a lower level in itself.
template <class Walk>
class InPlace {
public:
    explicit InPlace(Walk&& inner) noexcept : walk(std::move(inner)) {}
    Walk* get() noexcept { return &walk; }
    const Walk* get() const noexcept { return &walk; }

private:
    Walk walk;
};

}  // namespace detail

// An input range over the elements of a section, or of a lower level of one. One pass; begin() may be called
// again to start anew (a lower level continues where it was left). Movable, not copyable. An element and what
// it refers to are good until the next step of the range.
template <class Walk>
class [[nodiscard]] Range {
public:
    using Element = typename Walk::Element;
    struct sentinel {};

    class iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Element;
        using difference_type = std::ptrdiff_t;
        using pointer = Element*;
        using reference = Element&;

        iterator() = default;
        explicit iterator(Walk* owner) noexcept : walk(owner), more(owner->outcome == detail::kElement) {}
        reference operator*() const noexcept { return walk->item(); }
        pointer operator->() const noexcept { return &walk->item(); }
        TORVA_STEP iterator& operator++() {
            const std::int32_t outcome = more ? walk->next() : std::int32_t{detail::kElement};
            if (outcome != detail::kElement) {
                more = false;
                detail::reached(*walk, outcome);
            }
            return *this;
        }
        TORVA_STEP void operator++(int) { ++*this; }
        bool ended() const noexcept { return !more; }
        friend bool operator==(const iterator& it, sentinel) noexcept { return it.ended(); }
        friend bool operator!=(const iterator& it, sentinel) noexcept { return !it.ended(); }
        friend bool operator==(sentinel, const iterator& it) noexcept { return it.ended(); }
        friend bool operator!=(sentinel, const iterator& it) noexcept { return !it.ended(); }

    private:
        Walk* walk = nullptr;
        bool more = false;  // not asked of the walk, so that compilers know it after a step
    };

    explicit Range(typename Walk::Holder walk) noexcept : holder(std::move(walk)) {}
    Range(Range&&) noexcept = default;
    Range& operator=(Range&&) noexcept = default;
    Range(const Range&) = delete;
    Range& operator=(const Range&) = delete;
    ~Range() = default;

    // Begins the section, or begins it again.
    [[nodiscard]] iterator begin() TORVA_LIFETIMEBOUND {
        Walk* const walk = holder.get();
        if (walk == nullptr) {
            detail::raise({}, SYM_ERR_NO_MEMORY, Walk::kSection, Reason::none);
            return iterator();
        }
        if constexpr (Walk::kNested) {
            walk->start();
        } else {
            detail::startSection(*walk);
        }
        return iterator(walk);
    }
    [[nodiscard]] sentinel end() const noexcept { return {}; }

    // Why the range ended: SYM_OK at its regular end (and before it), else the code of the error.
    [[nodiscard]] std::int32_t result() const noexcept {
        const Walk* const walk = holder.get();
        return walk == nullptr ? SYM_ERR_NO_MEMORY : walk->outcome < 0 ? walk->outcome : SYM_OK;
    }

    // The number of elements in the section's head, known once the range has begun: sections 4, 9, 10, 12,
    // 16, 17, 19, 20, 22, groups of 11, types of 13, heads of 14 and 15. In a damaged file it may say
    // anything.
    [[nodiscard]] std::optional<std::uint32_t> announced() const noexcept {
        const Walk* const walk = holder.get();
        return walk != nullptr ? walk->announcedCount() : std::nullopt;
    }

    // After an error: what was read of the failing element. Null when nothing did; many elements come whole
    // or not at all.
    [[nodiscard]] Element* broken() noexcept TORVA_LIFETIMEBOUND {
        Walk* const walk = holder.get();
        return walk != nullptr && walk->outcome < 0 && walk->part ? &walk->item() : nullptr;
    }

private:
    typename Walk::Holder holder;
};

}  // namespace TORVA_EDITION
}  // namespace tvapi
