// The C++ header without exceptions, in one program with the other kind, and with an allocator that fails
// when a test wants it to.
#include <cstdint>
#include <cstdlib>
#include <set>

namespace torva::test {

std::int64_t allocationsLeft = -1;  // until one fails; below 0 none does

void* RationedRealloc(void* block, std::size_t size) {
    return allocationsLeft-- == 0 ? nullptr : std::realloc(block, size);
}

}  // namespace torva::test

// What the header calls below.
namespace std {  // NOLINT(cert-dcl58-cpp)
using torva::test::RationedRealloc;
}  // namespace std

#define TORVA_NO_EXCEPTIONS
#define realloc RationedRealloc
#include "TorvaAPI.hpp"
#undef realloc

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "library/platform/Platform.h"
#include "symwrite/RandomFile.h"

namespace torva::test {
namespace {

// The outcome of a walk through ranges.
struct Tally {
    std::size_t elements = 0;
    std::set<i32> codes;  // other than SYM_OK

    bool operator==(const Tally&) const = default;
};

// Walks a range and, twice, all ranges below it: the second time they have nothing left.
template <class Range>
void Drain(Range&& range, Tally& tally) {
    for (auto& element : range) {
        ++tally.elements;
        for (int twice = 0; twice < 2; ++twice) {
            if constexpr (requires { element.sources(); }) Drain(element.sources(), tally);
            if constexpr (requires { element.symbols(); }) Drain(element.symbols(), tally);
            if constexpr (requires { element.data().result(); }) Drain(element.data(), tally);
            if constexpr (requires { element.items(); }) Drain(element.items(), tally);
            if constexpr (requires { element.lists(); }) Drain(element.lists(), tally);
        }
        if constexpr (requires { element.fields(); }) tally.elements += element.fields().size();
    }
    if (range.result() != SYM_OK) tally.codes.insert(range.result());
}

template <class Range>
std::int32_t ResultOf(Range&& range) {
    Tally tally;
    Drain(range, tally);
    EXPECT_EQ(tally.elements, 0U);
    return range.result();
}

Tally WalkAll(const char* path, std::uint32_t wantedCount) {
    Tally tally;
    tvapi::File file;
    const std::uint16_t wanted[] = {0, 1, 2, 3, 7};
    tvapi::OpenOptions how;
    how.fieldIds = wanted;
    how.fieldIdCount = wantedCount;
    if (const i32 result = file.open(path, how); result != SYM_OK) {
        tally.codes.insert(result);
        return tally;
    }
    if (file.sections().empty()) tally.codes.insert(SYM_ERR_NO_MEMORY);
    Drain(file.symbols(), tally);
    Drain(file.jumpPrices(), tally);
    Drain(file.brokerInfo(), tally);
    Drain(file.eidrQuickFields(), tally);
    Drain(file.eidrSections(), tally);
    Drain(file.sectionsL2(), tally);
    Drain(file.fundCompanies(), tally);
    Drain(file.eidrCountries(), tally);
    Drain(file.sectionGroups(), tally);
    Drain(file.issueCompanies(), tally);
    Drain(file.objectTypes(), tally);
    Drain(file.foreignTrade(), tally);
    Drain(file.globalRelated(), tally);
    Drain(file.exchanges(), tally);
    Drain(file.realDelayMapping(), tally);
    Drain(file.level2EodBasicItemDefines(), tally);
    Drain(file.fundMainNames(), tally);
    Drain(file.futuresSectionsV2(), tally);
    Drain(file.exchangeSupport(), tally);
    Drain(file.futuresClassTypes(), tally);
    return tally;
}

}  // namespace

symwrite::File LongLists();  // hpp_test.cpp

// The allocation that fails ends one range, with SYM_ERR_NO_MEMORY, and nothing else.
TEST(Hpp, EveryAllocationOfItsOwnMayFail) {
    for (const std::uint32_t wanted : {5U, 0U}) {
        const TempFile bytes(symwrite::Write(wanted != 0 ? symwrite::SmallFile() : LongLists()));
        const Tally sound = WalkAll(bytes.Path(), wanted);
        std::int64_t failing = 0;
        for (bool failed = true; failed; ++failing) {
            SCOPED_TRACE(failing);
            allocationsLeft = failing;
            const Tally cut = WalkAll(bytes.Path(), wanted);
            failed = allocationsLeft < 0;
            allocationsLeft = -1;
            std::set<i32> codes = sound.codes;
            if (failed) codes.insert(SYM_ERR_NO_MEMORY);
            if (cut.codes.count(SYM_ERR_NO_MEMORY) != 0 && cut.elements == 0) codes = {SYM_ERR_NO_MEMORY};
            EXPECT_EQ(cut.codes, codes);
            EXPECT_EQ(WalkAll(bytes.Path(), wanted), sound);
        }
        EXPECT_GT(failing, 10);
    }
}

// Continuing at a level passes over what is below, and meets the damage there.
TEST(Hpp, LevelsLeftEarlyMeetTheDamageBelow) {
    const Bytes whole =
        FileOf({MakeSection(13, {{{1}, {{{"source"}, {{{1, "symbol"}, {{{1, "data"}}, {{2, "data"}}}}}}}}})});
    const TempFile bytes(symwrite::CutAt(whole, whole.size() - 3));
    tvapi::File file;
    for (const int levels : {1, 2, 3}) {
        SCOPED_TRACE(levels);
        ASSERT_EQ(file.open(bytes.Path()), SYM_OK);
        auto types = file.objectTypes();
        for (const auto& type : types) {
            auto sources = type.sources();
            for (const auto& source : sources) {
                if (levels == 1) continue;
                auto symbols = source.symbols();
                for (const auto& symbol : symbols) {
                    if (levels == 2) continue;
                    Tally data;
                    Drain(symbol.data(), data);
                    EXPECT_EQ(data, (Tally{1, {SYM_ERR_READ}}));
                }
                EXPECT_EQ(symbols.result(), levels == 2 ? SYM_ERR_READ : SYM_OK);
            }
            EXPECT_EQ(sources.result(), levels == 1 ? SYM_ERR_READ : SYM_OK);
        }
    }
}

TEST(Hpp, RangesOfAFileThatIsNotOpen) {
    tvapi::File file;
    EXPECT_EQ(file.error(), SYM_ERR_BAD_HANDLE);
    EXPECT_EQ(file.open(nullptr), SYM_ERR_PARAM);
    EXPECT_EQ(file.open("no such file"), SYM_ERR_OPEN);
    EXPECT_EQ(file.message(), "no such file: cannot be opened: no such file");
    const std::int32_t results[] = {ResultOf(file.symbols()), ResultOf(file.exchanges()),
                                    ResultOf(file.sectionsL2()), ResultOf(file.exchangeSupport())};
    for (const std::int32_t result : results) EXPECT_EQ(result, SYM_ERR_BAD_HANDLE);
}

// A range-for over a temporary range loses the range; the file keeps its error.
TEST(Hpp, TheFirstErrorStaysWithTheFile) {
    const TempFile bytes(FileOf({MakeSection(2, {{"S", {}, {}}}), RawSection(16, {})}));
    tvapi::File file;
    ASSERT_EQ(file.open(bytes.Path()), SYM_OK);
    EXPECT_EQ(file.error(), SYM_OK);
    for ([[maybe_unused]] const auto& exchange : file.exchanges()) FAIL();
    for ([[maybe_unused]] const auto& country : file.eidrCountries()) FAIL();
    EXPECT_EQ(file.error(), SYM_ERR_READ);
    EXPECT_EQ(file.errorSection(), 16U);
    EXPECT_EQ(file.message(), bytes.Path() + std::string(": section 16: ") + tvapi::describe(SYM_ERR_READ));
    for (const auto& symbol : file.symbols()) {
        for ([[maybe_unused]] const auto& exchange : file.exchanges()) FAIL();
        EXPECT_EQ(symbol.text(), "S");
    }
    file.clearError();
    EXPECT_EQ(file.error(), SYM_OK);
}

}  // namespace torva::test
