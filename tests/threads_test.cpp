// Many threads: each walks its own files, two more share one handle, one opens and closes all the
// time.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "reference/CallDriver.h"
#include "symwrite/RandomFile.h"

namespace {

using driver::Call;
using driver::Op;
using driver::Outcome;
using torva::test::OpenFile;

std::vector<Outcome> Walk(uint16_t handle) {
    std::vector<Outcome> outcomes;
    const driver::WalkOptions options{3, 200, 2, 4000};
    driver::WalkAll(
        [&](const Call& call) { return outcomes.emplace_back(driver::CallLibrary(handle, call)); }, options);
    return outcomes;
}

TEST(Threads, ManyThreadsManyHandles) {
    const symwrite::Bytes bytes = Write(symwrite::RandomFile({}));
    std::vector<Outcome> expected;
    {
        const OpenFile file(bytes);
        expected = Walk(file.Handle());
    }
    const OpenFile shared(bytes);
    std::atomic<bool> stop{false};
    std::vector<std::thread> background;
    // Values that are copied to the caller; texts in the library's memory belong to one caller at a time.
    for (const unsigned seed : {1U, 2U}) {
        background.emplace_back([&shared, &stop, seed] {
            constexpr Op kOps[] = {Op::kGetNextSymData,
                                   Op::kGetAgainSymData,
                                   Op::kGetNextJumpPriceGroup,
                                   Op::kInitialSectionBorkerInfo,
                                   Op::kGetNextBrokerInfoGroup,
                                   Op::kInitializeSection10,
                                   Op::kGetNextEidrCountryGroup,
                                   Op::kInitializeSection11,
                                   Op::kGetNextSectionGroup,
                                   Op::kInitialExchangeSection,
                                   Op::kGetNextExchange,
                                   Op::kInitialRealDelayMappingSection,
                                   Op::kGetNextRealDelayMapping,
                                   Op::kInitialLevel2EODBasicItemDefineSection,
                                   Op::kGetNextLevel2EODBasicItemDefine,
                                   Op::kInitialExchangeSupportSection,
                                   Op::kGetNextExchangeSupportSection,
                                   Op::kGetNextGlobalReleatedHead};
            symwrite::Random random(seed);
            while (!stop) {
                const Op op = kOps[random.Below(std::size(kOps))];
                const Outcome outcome = driver::CallLibrary(shared.Handle(), {op, {20, 200, 20}, 0, 0});
                EXPECT_TRUE(outcome.guardsIntact && outcome.result != SYM_ERR_BAD_HANDLE);
            }
        });
    }
    background.emplace_back([&bytes, &stop] {
        while (!stop) const OpenFile file(bytes, {1});
    });
    std::vector<std::thread> walkers;
    for (const uint32_t wholeFile : {0U, 1U, 0U, 1U}) {
        walkers.emplace_back([&bytes, &expected, wholeFile] {
            for (int round = 0; round < 10; ++round) {
                const OpenFile file(bytes, {wholeFile});
                EXPECT_TRUE(Walk(file.Handle()) == expected);
            }
        });
    }
    for (std::thread& thread : walkers) thread.join();
    stop = true;
    for (std::thread& thread : background) thread.join();
}

}  // namespace
