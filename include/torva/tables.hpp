// Sections of records and of groups: 3, 4, 8, 11, 17, 18 and 21.
#pragma once

#include <cstddef>
#include <cstdint>

#include "torva/list.hpp"
#include "torva/range.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {

// Section 3: a group, whole.
struct JumpPriceGroup : detail::Borrowed {
    std::uint8_t id = 0;
    List<JumpPriceRecord> records;
};

// Section 8: a group; or a part of it, when its texts are too much for the file's memory budget.
struct SectionL2Group : detail::Borrowed {
    std::uint8_t id = 0;
    List<SectionL2Item> items;  // texts: null where the library had no room for one
    bool more = false;          // the next element goes on with this group
};

// Section 11: a group, whole.
struct SectionGroup : detail::Borrowed {
    std::uint8_t id = 0;
    List<std::uint8_t> members;
};

// Section 17.
struct RealDelayPair : detail::Borrowed {
    std::uint8_t first = 0;
    std::uint8_t second = 0;
};

// Section 18.
struct Level2EodBasicItemDefine : detail::Borrowed {
    std::uint16_t id = 0;
    List<std::uint16_t> first;
    List<std::uint16_t> second;
    List<std::uint16_t> third;
};

// Section 21.
struct ExchangeSupport : detail::Borrowed {
    std::uint16_t id = 0;
    List<std::uint16_t> values;
};

namespace detail {

class JumpPriceWalk : public SectionWalk<3> {
public:
    static constexpr unsigned kSection = 3;
    using Element = JumpPriceGroup;
    using Holder = Box<JumpPriceWalk>;
    using SectionWalk::SectionWalk;

    std::int32_t begin() noexcept {
        const std::int32_t restarted = file->restart(kSection);
        return restarted != SYM_OK ? restarted : std::int32_t{kElement};
    }
    TORVA_STEP std::int32_t next() noexcept {
        part = false;
        if (!records.reserve(kChunk)) {
            return SYM_ERR_NO_MEMORY;
        }
        std::size_t total = 0;
        std::int32_t count = -1;
        std::int32_t result = tv_GetNextJumpPriceGroup(handle, &group.id, &count, records.data(), kChunk);
        if (count < 0) {
            return result == SYM_OK || result == SYM_END_OF_DATA ? std::int32_t{kEnd} : result;
        }
        file->current = kSection;
        while (result == SYM_MORE_DATA) {
            total += static_cast<std::size_t>(count);
            if (!records.reserve(total + kChunk)) {
                return SYM_ERR_NO_MEMORY;
            }
            result = tv_GetAgainJumpPriceData(handle, &count, records.data() + total, kChunk);
        }
        part = true;
        group.records = {records.data(), total + static_cast<std::size_t>(count)};
        // A group that ends the file ends with SYM_END_OF_DATA.
        return result == SYM_OK || result == SYM_END_OF_DATA ? std::int32_t{kElement} : result;
    }
    JumpPriceGroup& item() noexcept { return group; }

private:
    static constexpr std::int32_t kChunk = 128;
    Buffer<JumpPriceRecord> records;
    JumpPriceGroup group;
};

class BrokerInfoWalk : public SectionWalk<4> {
public:
    static constexpr unsigned kSection = 4;
    using Element = List<BrokerInfoRecord>;
    using Holder = Box<BrokerInfoWalk>;
    using SectionWalk::SectionWalk;

    std::int32_t begin() noexcept {
        return records.reserve(kChunk) ? begunWithCount(tv_InitialSectionBorkerInfo(handle))
                                       : SYM_ERR_NO_MEMORY;
    }
    TORVA_STEP std::int32_t next() noexcept {
        if (last) {
            return kEnd;
        }
        std::int32_t count = 0;
        const std::int32_t result = tv_GetNextBrokerInfoGroup(handle, &count, records.data(), kChunk);
        batch = {records.data(), static_cast<std::size_t>(count)};
        return delivered(result);
    }
    List<BrokerInfoRecord>& item() noexcept { return batch; }

private:
    static constexpr std::int32_t kChunk = 128;
    Buffer<BrokerInfoRecord> records;
    List<BrokerInfoRecord> batch;
};

class SectionL2Walk : public SectionWalk<8> {
public:
    static constexpr unsigned kSection = 8;
    using Element = SectionL2Group;
    using Holder = Box<SectionL2Walk>;
    using SectionWalk::SectionWalk;

    std::int32_t begin() noexcept {
        const std::int32_t restarted =
            items.reserve(kMostItems) ? file->restart(kSection) : SYM_ERR_NO_MEMORY;
        return restarted != SYM_OK ? restarted : std::int32_t{kElement};
    }
    TORVA_STEP std::int32_t next() noexcept {
        std::int32_t count = -1;
        const std::int32_t result =
            tv_GetNextSectionL2Group(handle, &group.id, &count, items.data(), kMostItems);
        part = count >= 0;
        if (!part) {
            return result == SYM_OK || result == SYM_END_OF_DATA ? std::int32_t{kEnd} : result;
        }
        file->current = kSection;
        // SYM_END_OF_DATA after a group's head: the group is the last one and empty.
        group.items = {items.data(), static_cast<std::size_t>(count)};
        group.more = result == SYM_MORE_DATA;
        return result == SYM_ERR_FORMAT ? result : std::int32_t{kElement};
    }
    SectionL2Group& item() noexcept { return group; }

private:
    static constexpr std::int32_t kMostItems = 255;
    Buffer<SectionL2Item> items;
    SectionL2Group group;
};

class SectionGroupWalk : public SectionWalk<11> {
public:
    static constexpr unsigned kSection = 11;
    using Element = SectionGroup;
    using Holder = Box<SectionGroupWalk>;
    using SectionWalk::SectionWalk;

    std::int32_t begin() noexcept {
        array = members.reserve(kMost) ? members.data() : nullptr;
        return array != nullptr ? begunWithCount(tv_InitializeSection11(handle)) : SYM_ERR_NO_MEMORY;
    }
    TORVA_STEP std::int32_t next() noexcept {
        if (last) {
            return kEnd;
        }
        std::int32_t count = 0;
        const std::int32_t result = tv_GetNextSectionGroup(handle, &group.id, &count, &array, kMost);
        part = count > 0;
        group.members = {array, static_cast<std::size_t>(count)};
        return delivered(result);
    }
    SectionGroup& item() noexcept { return group; }

private:
    enum : std::int32_t { kMost = 255 };

    Buffer<std::uint8_t> members;
    std::uint8_t* array = nullptr;
    SectionGroup group;
};

class RealDelayWalk : public SectionWalk<17> {
public:
    static constexpr unsigned kSection = 17;
    using Element = RealDelayPair;
    using Holder = Box<RealDelayWalk>;
    using SectionWalk::SectionWalk;

    std::int32_t begin() noexcept { return begunWithCount(tv_InitialRealDelayMappingSection(handle)); }
    TORVA_STEP std::int32_t next() noexcept {
        return oneOf(tv_GetNextRealDelayMapping(handle, &pair.first, &pair.second));
    }
    RealDelayPair& item() noexcept { return pair; }

private:
    RealDelayPair pair;
};

// Sections 18 and 21 are read whole when they begin. Where that broke off, the ids that were read come first
// and its code, kept in `failure`, after them.
template <unsigned Section, unsigned Where>
class LoadedWalk : public SectionWalk<Section, Where> {
public:
    using SectionWalk<Section, Where>::SectionWalk;

protected:
    using List16 = Buffer<std::uint16_t>;

    std::int32_t loaded(std::int32_t initialResult) noexcept {
        failure =
            initialResult == SYM_ERR_READ || initialResult == SYM_ERR_NO_MEMORY ? initialResult : SYM_OK;
        return this->begun(failure != SYM_OK ? SYM_OK : initialResult);
    }
    // The result of a call after the last id.
    std::int32_t unloaded(std::int32_t result) const noexcept {
        return result != SYM_END_OF_DATA ? result : failure != SYM_OK ? failure : std::int32_t{kEnd};
    }
    // Whether there is more room now, after a call that had too little.
    static bool grow(List16& list) noexcept {
        const std::size_t room = list.capacity() * 4;
        return list.reserve(room < kLongest ? room : std::size_t{kLongest});
    }
    static std::uint32_t room(const List16& list) noexcept {
        return static_cast<std::uint32_t>(list.capacity());
    }

    enum : std::uint32_t { kFirst = 256, kLongest = 65535 };

private:
    std::int32_t failure = SYM_OK;
};

class Level2EodWalk : public LoadedWalk<18, 1> {
public:
    static constexpr unsigned kSection = 18;
    using Element = Level2EodBasicItemDefine;
    using Holder = Box<Level2EodWalk>;
    using LoadedWalk::LoadedWalk;

    std::int32_t begin() noexcept {
        if (!first.reserve(kFirst) || !second.reserve(kFirst) || !third.reserve(kFirst)) {
            return SYM_ERR_NO_MEMORY;
        }
        return loaded(tv_InitialLevel2EODBasicItemDefineSection(handle));
    }
    TORVA_STEP std::int32_t next() noexcept {
        std::uint16_t firstCount = 0;
        std::uint16_t secondCount = 0;
        std::uint16_t thirdCount = 0;
        std::int32_t result = SYM_OK;
        while ((result = tv_GetNextLevel2EODBasicItemDefine(
                    handle, &define.id, &firstCount, first.data(), room(first), &secondCount, second.data(),
                    room(second), &thirdCount, third.data(), room(third))) != SYM_OK) {
            if (result != SYM_ERR_BUFFER_TOO_SMALL || room(first) == kLongest) {
                return unloaded(result);
            }
            if (!grow(first) || !grow(second) || !grow(third)) {
                return SYM_ERR_NO_MEMORY;
            }
        }
        define.first = {first.data(), firstCount};
        define.second = {second.data(), secondCount};
        define.third = {third.data(), thirdCount};
        return kElement;
    }
    Level2EodBasicItemDefine& item() noexcept { return define; }

private:
    List16 first;
    List16 second;
    List16 third;
    Level2EodBasicItemDefine define;
};

class ExchangeSupportWalk : public LoadedWalk<21, 2> {
public:
    static constexpr unsigned kSection = 21;
    using Element = ExchangeSupport;
    using Holder = Box<ExchangeSupportWalk>;
    using LoadedWalk::LoadedWalk;

    std::int32_t begin() noexcept {
        return values.reserve(kFirst) ? loaded(tv_InitialExchangeSupportSection(handle)) : SYM_ERR_NO_MEMORY;
    }
    TORVA_STEP std::int32_t next() noexcept {
        std::uint16_t count = 0;
        std::int32_t result = SYM_OK;
        while ((result = tv_GetNextExchangeSupportSection(handle, &support.id, &count, values.data(),
                                                          room(values))) != SYM_OK) {
            if (result != SYM_ERR_BUFFER_TOO_SMALL || room(values) == kLongest) {
                return unloaded(result);
            }
            if (!grow(values)) {
                return SYM_ERR_NO_MEMORY;
            }
        }
        support.values = {values.data(), count};
        return kElement;
    }
    ExchangeSupport& item() noexcept { return support; }

private:
    List16 values;
    ExchangeSupport support;
};

}  // namespace detail
}  // namespace TORVA_EDITION
}  // namespace tvapi
