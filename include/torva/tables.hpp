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
    bool more = false;          // the next element continues with this group
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
        group.members = {members, 0};
        return begunWithCount(tv_InitializeSection11(handle));
    }
    TORVA_STEP std::int32_t next() noexcept {
        std::int32_t count = 0;
        const std::int32_t result = tv_GetNextSectionGroup(handle, &group.id, &count, &array, kMost);
        group.members = {group.members.data(), static_cast<std::size_t>(count)};
        return delivered(result, count > 0);
    }
    SectionGroup& item() noexcept { return group; }

private:
    enum : std::int32_t { kMost = 255 };

    alignas(16) std::uint8_t members[kMost];
    std::uint8_t* array = members;
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
    enum : std::uint32_t { kLongest = 65535 };  // numbers of one list

    std::int32_t loaded(std::int32_t initialResult) noexcept {
        failure =
            initialResult == SYM_ERR_READ || initialResult == SYM_ERR_NO_MEMORY ? initialResult : SYM_OK;
        return this->begun(failure != SYM_OK ? SYM_OK : initialResult);
    }
    TORVA_STEP std::int32_t given(std::int32_t result) noexcept {
        return result == SYM_OK ? std::int32_t{kElement} : noneLeft(result);
    }

private:
    TORVA_RARE std::int32_t noneLeft(std::int32_t result) const noexcept {
        return result != SYM_END_OF_DATA ? result : failure != SYM_OK ? failure : std::int32_t{kEnd};
    }

    std::int32_t failure = SYM_OK;
};

class Level2EodWalk : public LoadedWalk<18, 1> {
public:
    static constexpr unsigned kSection = 18;
    using Element = Level2EodBasicItemDefine;
    using Holder = Box<Level2EodWalk>;
    using LoadedWalk::LoadedWalk;

    std::int32_t begin() noexcept {
        if (!lists.reserve(std::size_t{3} * kLongest)) {
            return SYM_ERR_NO_MEMORY;
        }
        define.first = {lists.data(), 0};
        define.second = {lists.data() + kLongest, 0};
        define.third = {lists.data() + std::size_t{2} * kLongest, 0};
        return loaded(tv_InitialLevel2EODBasicItemDefineSection(handle));
    }
    TORVA_STEP std::int32_t next() noexcept {
        std::uint16_t* const first = lists.data();
        std::uint16_t* const second = first + kLongest;
        std::uint16_t* const third = second + kLongest;
        const std::int32_t result =
            tv_GetNextLevel2EODBasicItemDefine(handle, &define.id, &counts[0], first, kLongest, &counts[1],
                                               second, kLongest, &counts[2], third, kLongest);
        define.first = {define.first.data(), counts[0]};
        define.second = {define.second.data(), counts[1]};
        define.third = {define.third.data(), counts[2]};
        return given(result);
    }
    Level2EodBasicItemDefine& item() noexcept { return define; }

private:
    std::uint16_t counts[3] = {};
    Buffer<std::uint16_t> lists;
    Level2EodBasicItemDefine define;
};

class ExchangeSupportWalk : public LoadedWalk<21, 2> {
public:
    static constexpr unsigned kSection = 21;
    using Element = ExchangeSupport;
    using Holder = Box<ExchangeSupportWalk>;
    using LoadedWalk::LoadedWalk;

    std::int32_t begin() noexcept {
        if (!values.reserve(kLongest)) {
            return SYM_ERR_NO_MEMORY;
        }
        support.values = {values.data(), 0};
        return loaded(tv_InitialExchangeSupportSection(handle));
    }
    TORVA_STEP std::int32_t next() noexcept {
        const std::int32_t result =
            tv_GetNextExchangeSupportSection(handle, &support.id, &count, values.data(), kLongest);
        support.values = {support.values.data(), count};
        return given(result);
    }
    ExchangeSupport& item() noexcept { return support; }

private:
    std::uint16_t count = 0;
    Buffer<std::uint16_t> values;
    ExchangeSupport support;
};

}  // namespace detail
}  // namespace TORVA_EDITION
}  // namespace tvapi
