// Sections of texts: 6, 7, 9, 10, 12, 16, 19, 20 and 22.
#pragma once

#include <cstddef>
#include <cstdint>

#include "torva/range.hpp"
#include "torva/text.hpp"
#include "torva/value.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {
namespace detail {
class EidrQuickWalk;
}

// Section 6: one field of a named group.
class EidrQuickField : detail::Borrowed {
public:
    [[nodiscard]] Text group() const noexcept { return Text(groupName); }
    [[nodiscard]] std::uint16_t id() const noexcept { return target.id; }
    [[nodiscard]] std::uint8_t tag() const noexcept { return target.tag; }
    [[nodiscard]] Payload value() const noexcept {
        return {target.tag, target.size != 0 ? target.value : nullptr};
    }
    // Bytes of the value; of a text without its zero byte. Known without looking at the text.
    [[nodiscard]] std::size_t size() const noexcept {
        return target.tag == 7 && target.size != 0 ? target.size - 1 : target.size;
    }

private:
    friend class detail::EidrQuickWalk;
    EidrQuickField() = default;

    const char* groupName = nullptr;
    SymFieldBuffer target = {0, 0, nullptr, 0, 0};
};

// Section 7.
struct EidrSection : detail::Borrowed {
    std::uint16_t id = 0;
    Text text1;
    Text text2;
};

// Sections 9, 10, 12, 19, 20, 22.
struct Entry : detail::Borrowed {
    std::uint32_t id = 0;
    Text name;
};

// Section 16.
struct Exchange : detail::Borrowed {
    std::uint32_t id = 0;
    Text text1;
    Text text2;
};

namespace detail {

class EidrQuickWalk : public SectionWalk<6> {
public:
    static constexpr unsigned kSection = 6;
    using Element = EidrQuickField;
    using Holder = Box<EidrQuickWalk>;
    explicit EidrQuickWalk(FileState* state) noexcept : SectionWalk(state) {}

    std::int32_t begin() noexcept {
        if (!room.reserve(std::size_t{textSize} + 7)) {
            return SYM_ERR_NO_MEMORY;
        }
        field.target.value = room.data();
        return begun(tv_InitialSection6(handle));
    }
    TORVA_STEP std::int32_t next() noexcept {
        std::int32_t count = 0;
        field.target.capacity = textSize;
        const std::int32_t result =
            tv_GetNextEidrQuickGroup(handle, &field.groupName, &count, &field.target, 1);
        return delivered(result, count == 1);
    }
    EidrQuickField& item() noexcept { return field; }

private:
    Buffer<char> room;
    EidrQuickField field;
};

// The two text buffers of sections 7 and 16.
template <unsigned Section, class Pair>
class TwoTextWalk : public SectionWalk<Section> {
public:
    static constexpr unsigned kSection = Section;
    using Element = Pair;
    using SectionWalk<Section>::SectionWalk;
    Pair& item() noexcept { return element; }

protected:
    bool makeRoom() noexcept {
        if (!text1.reserve(this->textSize) || !text2.reserve(this->textSize)) {
            return false;
        }
        element.text1 = Text(text1.data());
        element.text2 = Text(text2.data());
        return true;
    }
    Buffer<char> text1;
    Buffer<char> text2;
    Pair element;
};

class EidrSectionWalk : public TwoTextWalk<7, EidrSection> {
public:
    using Holder = Box<EidrSectionWalk>;
    using TwoTextWalk::TwoTextWalk;

    std::int32_t begin() noexcept {
        if (!makeRoom()) {
            return SYM_ERR_NO_MEMORY;
        }
        target = {0, text1.data(), textSize, text2.data(), textSize};
        return begun(tv_InitialSection7(handle));
    }
    TORVA_STEP std::int32_t next() noexcept {
        std::int32_t count = 0;
        const std::int32_t result = tv_GetNextEidrSectionGroup(handle, &count, &target, 1);
        element.id = target.id;
        return delivered(result, count == 1);
    }

private:
    EidrSectionItem target = {0, nullptr, 0, nullptr, 0};
};

class ExchangeWalk : public TwoTextWalk<16, Exchange> {
public:
    using Holder = Box<ExchangeWalk>;
    using TwoTextWalk::TwoTextWalk;

    std::int32_t begin() noexcept {
        return makeRoom() ? begunWithCount(tv_InitialExchangeSection(handle)) : SYM_ERR_NO_MEMORY;
    }
    TORVA_STEP std::int32_t next() noexcept {
        const auto limit = static_cast<std::int32_t>(textSize - 1);
        return delivered(tv_GetNextExchange(handle, &element.id, text1.data(), limit, text2.data(), limit));
    }
};

// The name tables and their exports. Called by name: the address of a function in a DLL is not a constant.
struct NameCall {
    std::uint16_t handle;
    std::int32_t* count;
    std::uint32_t* id;
    char** name;
    std::uint32_t size;
};
struct FundCompanies {
    static constexpr unsigned kSection = 9;
    static std::int32_t initial(std::uint16_t handle) noexcept { return tv_InitializeSection9(handle); }
    static std::int32_t next(const NameCall& call) noexcept {
        return tv_GetNextFundCompanyGroup(call.handle, call.count, call.id, call.name, call.size);
    }
};
struct EidrCountries {
    static constexpr unsigned kSection = 10;
    static std::int32_t initial(std::uint16_t handle) noexcept { return tv_InitializeSection10(handle); }
    static std::int32_t next(const NameCall& call) noexcept {
        return tv_GetNextEidrCountryGroup(call.handle, call.count, call.id, call.name, call.size);
    }
};
struct IssueCompanies {
    static constexpr unsigned kSection = 12;
    static std::int32_t initial(std::uint16_t handle) noexcept { return tv_InitializeSection12(handle); }
    static std::int32_t next(const NameCall& call) noexcept {
        return tv_GetNextIssueCompanyGroup(call.handle, call.count, call.id, call.name, call.size);
    }
};
struct FundMainNames {
    static constexpr unsigned kSection = 19;
    static std::int32_t initial(std::uint16_t handle) noexcept {
        return tv_InitialFundMainNameSection(handle);
    }
    static std::int32_t next(const NameCall& call) noexcept {
        return tv_GetNextFundMainName(call.handle, call.count, call.id, call.name, call.size);
    }
};
struct FuturesSectionsV2 {
    static constexpr unsigned kSection = 20;
    static std::int32_t initial(std::uint16_t handle) noexcept { return tv_InitialFuturesSectionV2(handle); }
    static std::int32_t next(const NameCall& call) noexcept {
        return tv_GetNextFuturesSectionV2(call.handle, call.count, call.id, call.name, call.size);
    }
};
struct FuturesClassTypes {
    static constexpr unsigned kSection = 22;
    static std::int32_t initial(std::uint16_t handle) noexcept { return tv_InitialFuturesClassType(handle); }
    static std::int32_t next(const NameCall& call) noexcept {
        return tv_GetNextFuturesClassType(call.handle, call.count, call.id, call.name, call.size);
    }
};

template <class Table>
class NameWalk : public SectionWalk<Table::kSection> {
public:
    static constexpr unsigned kSection = Table::kSection;
    using Element = Entry;
    using Holder = Box<NameWalk>;
    using SectionWalk<Table::kSection>::SectionWalk;

    std::int32_t begin() noexcept {
        if (!name.reserve(this->textSize)) {
            return SYM_ERR_NO_MEMORY;
        }
        names = name.data();
        entry.name = Text(names);
        return this->begunWithCount(Table::initial(this->handle));
    }
    TORVA_STEP std::int32_t next() noexcept {
        std::int32_t count = 0;
        return this->delivered(Table::next({this->handle, &count, &entry.id, &names, this->textSize}));
    }
    Entry& item() noexcept { return entry; }

private:
    Buffer<char> name;
    char* names = nullptr;
    Entry entry;
};

}  // namespace detail
}  // namespace TORVA_EDITION
}  // namespace tvapi
