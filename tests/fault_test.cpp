// Disks and allocators that fail, at every operation in turn: nothing is lost, no lock stays held, no handle
// is used up, and the library works on as before.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <future>
#include <iostream>

#include "format/Fields.h"
#include "library/exports/SymFileManager.h"
#include "reference/CallDriver.h"
#include "symwrite/RandomFile.h"
#include "symwrite/SymFileWriter.h"
#include "tests/Allocations.h"
#include "tests/TestSupport.h"

namespace {

using torva::test::allocations::liveBlocks;

// Allocations inside the library fail on request.
int64_t allocationsUntilFailure = 0;
bool failAllBehind = false;
uint64_t failedAllocations = 0;

bool FailsNow() {
    if (!driver::insideLibrary) return false;
    const int64_t left = allocationsUntilFailure--;
    if (left > 0 || (left < 0 && !failAllBehind)) return false;
    ++failedAllocations;
    return true;
}

using driver::Bytes;
using driver::Outcome;
using memoryfile::Plan;

bool FullSweep() {
    const char* wanted = getenv("TORVA_SWEEP");
    return wanted != nullptr && strcmp(wanted, "full") == 0;
}

// Sections of some size, and so far apart that each is read from the disk for itself.
Bytes SpreadFile(uint32_t gap, uint32_t elements, uint32_t textLength) {
    symwrite::RandomFileOptions options;
    options.elements = elements;
    options.symbols = elements;
    options.textLength = textLength;
    symwrite::File file = RandomFile(options);
    for (symwrite::Section& section : file.sections) section.before.assign(gap, 0x55);
    return Write(file);
}

// Runs of records that are read past the window when there is room for them.
Bytes LongRuns() {
    symwrite::File file;
    for (const uint16_t id : {uint16_t{3}, uint16_t{4}}) {
        symwrite::RandomFileOptions options;
        options.onlySection = id;
        options.elements = id == 3 ? 2 : 5000;
        options.inner = 3000;
        file.sections.push_back(std::move(RandomFile(options).sections.front()));
    }
    return Write(file);
}

constexpr int32_t kRoomForRuns = 4000;

struct Trial {
    int32_t opened = 0;
    std::vector<Outcome> outcomes;
    uint64_t operations = 0;
};

// Opens the file and walks all of it. A disk that fails from the beginning on may leave nothing to walk.
Trial OpenAndWalk(const Bytes& file, bool wholeFile, const Plan& plan, int32_t capacity = 3) {
    Trial trial;
    const memoryfile::Scope scope(file, plan);
    driver::insideLibrary = true;
    trial.opened = tv_OpenSymFile("memory", 120000, nullptr, 0, wholeFile ? 1 : 0);
    driver::insideLibrary = false;
    if (trial.opened <= 0) return trial;
    const auto handle = static_cast<uint16_t>(trial.opened);
    driver::WalkOptions options;
    options.capacity = capacity;
    options.children = 2;
    options.textRoom = 300;
    options.fileSize = 20000;
    WalkAll(
        [&](const driver::Call& call) {
            trial.outcomes.push_back(CallLibrary(handle, call));
            return trial.outcomes.back();
        },
        options);
    trial.operations = memoryfile::Scope::Operations();
    tv_CloseSymFile(handle);
    return trial;
}

// What holds after any trial, whatever went wrong in it. `lossless` is what a walk returns when nothing goes
// wrong.
void ExpectNothingLost(const Bytes& file, bool wholeFile, const Trial& trial, const Trial& lossless,
                       const std::string& what, int32_t capacity = 3) {
    for (const Outcome& outcome : trial.outcomes) {
        ASSERT_TRUE(outcome.guardsIntact) << what;
        ASSERT_TRUE(outcome.result >= SYM_ERR_READ && outcome.result != SYM_ERR_OPEN &&
                    outcome.result != SYM_ERR_NO_SLOT && outcome.result != SYM_ERR_BAD_HANDLE &&
                    outcome.result != -11)
            << what << ", result " << outcome.result;
    }
    ASSERT_EQ(memoryfile::Scope::OpenFiles(), 0) << what;
    auto other = std::async(std::launch::async, [] { tv_CloseSymFile(7); });
    ASSERT_EQ(other.wait_for(std::chrono::seconds(60)), std::future_status::ready)
        << what << ", a lock is held";
    const Trial next = OpenAndWalk(file, wholeFile, {}, capacity);
    ASSERT_EQ(next.opened, 1) << what;
    ASSERT_TRUE(next.outcomes == lossless.outcomes) << what;
}

class FaultSweep : public testing::Test {
protected:
    void TearDown() override { std::cout << faults << " faults\n"; }
    void FailEachOperation(const Bytes& file, bool wholeFile, int32_t capacity);
    uint64_t faults = 0;
};

void FaultSweep::FailEachOperation(const Bytes& file, bool wholeFile, int32_t capacity) {
    const Trial lossless = OpenAndWalk(file, wholeFile, {}, capacity);
    ASSERT_EQ(lossless.opened, 1);
    ASSERT_GT(lossless.operations, wholeFile ? 1U : 10U);
    for (uint64_t n = 0; n < lossless.operations; ++n) {
        for (const Plan::Kind kind : {Plan::Kind::kFail, Plan::Kind::kShort}) {
            for (const bool all : {false, true}) {
                Plan plan;
                plan.kind = kind;
                plan.first = n;
                plan.andAllBehind = all;
                const int64_t blocks = liveBlocks;
                {
                    const Trial trial = OpenAndWalk(file, wholeFile, plan, capacity);
                    faults += memoryfile::Scope::Injected();
                    const std::string what = std::string(wholeFile ? "memory" : "file") +
                                             " mode, operation " + std::to_string(n) +
                                             (kind == Plan::Kind::kFail ? " fails" : " is short") +
                                             (all ? " and all after it" : "");
                    ExpectNothingLost(file, wholeFile, trial, lossless, what, capacity);
                    if (HasFatalFailure()) return;
                }
                ASSERT_EQ(liveBlocks, blocks) << "operation " << n;
            }
        }
    }
}

// The n-th read or size query fails or comes back short, alone or with all after it, for every n.
TEST_F(FaultSweep, DiskOperations) {
    const std::pair<Bytes, int32_t> cases[] = {{SpreadFile(70000, 120, 150), 3}, {LongRuns(), kRoomForRuns}};
    for (const auto& [file, capacity] : cases) {
        for (const bool wholeFile : {false, true}) {
            FailEachOperation(file, wholeFile, capacity);
            if (HasFatalFailure()) return;
        }
    }
}

// A bad sector shows in exactly the calls that need its bytes, read-ahead or not, with the results of a
// reader that reads each item separately, and skips byte by byte. It may recover between two calls.
TEST_F(FaultSweep, BadSectors) {
    const std::pair<Bytes, uint64_t> cases[] = {{Write(symwrite::SmallFile()), 1},
                                                {SpreadFile(6000, 30, 100), FullSweep() ? 37 : 397}};
    for (const auto& [file, stride] : cases) {
        for (uint64_t at = 0; at < file.size(); at += stride) {
            for (const uint64_t width : {uint64_t{1}, uint64_t{512}, 1 + at * 7919 % 5000}) {
                for (const char* const mode : {"file", "file, recovers", "memory"}) {
                    driver::OpenOptions open;
                    open.wholeFile = *mode == 'm';
                    open.badBegin = at;
                    open.badEnd = std::min<uint64_t>(at + width, file.size());
                    driver::Pair pair(file, open);
                    uint64_t callsUntilRecovery = mode[4] == ',' ? 1 + at % 301 : 0;
                    driver::WalkAll(
                        [&](const driver::Call& call) {
                            if (callsUntilRecovery > 0 && --callsUntilRecovery == 0) pair.Recover();
                            return pair.Step(call);
                        },
                        {3, 200, 2, 4000});
                    ASSERT_EQ(pair.Difference(), "")
                        << "bytes " << at << " to " << open.badEnd << ", " << mode << " mode";
                    faults += memoryfile::Scope::Injected();
                }
            }
        }
    }
}

// The same for runs of records that are read past the window: bad sectors at every place of them, and the
// file's end.
TEST_F(FaultSweep, LongRuns) {
    const Bytes whole = LongRuns();
    std::vector<uint64_t> places;
    for (uint64_t at = 30; at < whole.size(); at += FullSweep() ? 1013 : 10007) {
        for (uint64_t beside = at; beside < at + 30; beside += 6) places.push_back(beside);
    }
    for (const uint64_t at : places) {
        for (const bool cut : {false, true}) {
            const Bytes file = symwrite::CutAt(whole, cut ? static_cast<std::size_t>(at) : whole.size());
            driver::OpenOptions open;
            if (!cut) {
                open.badBegin = at;
                open.badEnd = at + 3;
            }
            driver::Pair pair(file, open);
            for (const int32_t capacity : {kRoomForRuns, 1500}) {
                driver::WalkAll([&pair](const driver::Call& call) { return pair.Step(call); },
                                {capacity, 8, 2, 4000});
            }
            ASSERT_EQ(pair.Difference(), "") << (cut ? "cut at " : "bad at ") << at;
            faults += memoryfile::Scope::Injected();
        }
    }
}

// The n-th allocation of the library fails, alone or with all after it, until a run has no failure.
TEST_F(FaultSweep, Allocations) {
    const Bytes file = SpreadFile(100, 6, 20);
    for (const bool wholeFile : {false, true}) {
        const Trial lossless = OpenAndWalk(file, wholeFile, {});
        for (const bool all : {false, true}) {
            uint64_t failed = 1;
            for (int64_t n = 0; failed > 0; ++n) {
                const int64_t blocks = liveBlocks;
                {
                    failedAllocations = 0;
                    allocationsUntilFailure = n;
                    failAllBehind = all;
                    torva::test::allocations::failsNow = FailsNow;
                    const Trial trial = OpenAndWalk(file, wholeFile, {});
                    torva::test::allocations::failsNow = nullptr;
                    failed = failedAllocations;
                    faults += failed;
                    ASSERT_TRUE(trial.opened == 1 || trial.opened == SYM_ERR_NO_MEMORY) << trial.opened;
                    ExpectNothingLost(file, wholeFile, trial, lossless, "allocation " + std::to_string(n));
                    if (HasFatalFailure()) return;
                }
                ASSERT_EQ(liveBlocks, blocks) << "allocation " << n;
            }
        }
    }
}

// An arena with room for 0 to 16 bytes more, and a field of each tag there, cut off at every length. A small
// arena in the place of the budget's keeps the files small.
TEST_F(FaultSweep, ArenaEdge) {
    using namespace torva::test;
    constexpr uint32_t kArena = 64, kArenaRoom = kArena - 4;
    const std::vector<std::vector<uint16_t>> filters = {{}, {1, 2}, {0, 1, 2}};
    for (uint8_t tag = 0; tag <= 10; ++tag) {
        const Bytes field =
            U16(2) + U8(tag) + Fill(torva::PayloadWidth(tag), 'v') + (tag == 7 ? Text("text") : Bytes{});
        for (std::size_t room = 0; room <= 16; ++room) {
            const Bytes filler = U16(1) + U8(7) + Text(std::string(kArenaRoom - room - 2, 'f'));
            const Bytes record = Text("S") + filler + field;
            const Bytes whole = FileOf({RawSection(2, U32(record.size()) + record)});
            for (std::size_t cut = 0; cut <= field.size(); ++cut) {
                const Bytes file = symwrite::CutAt(whole, whole.size() - cut);
                for (const std::vector<uint16_t>& ids : filters) {
                    for (const bool wholeFile : {false, true}) {
                        driver::Pair pair(file, {wholeFile, kLeastBudget, 0, 0, ids});
                        torva::SymFile* const open = torva::SymFileManager::Instance().Find(pair.Handle());
                        ASSERT_TRUE(open != nullptr && open->file.arena.Init(kArena));
                        pair.Plain().ReplaceArena(kArena);
                        for (const driver::Op op :
                             {driver::Op::kGetNextSymData, driver::Op::kGetAgainSymData}) {
                            pair.Step({op, {8, 9, 0}, 0, 0});
                        }
                        ASSERT_EQ(pair.Difference(), "") << "tag " << int{tag} << ", room " << room
                                                         << ", cut by " << cut << ", ids " << ids.size();
                        ++faults;
                    }
                }
            }
        }
    }
}

// Beside the opens only the symbol walk allocates, at most a block for each element of the caller's array,
// and the two calls that load a section whole.
TEST_F(FaultSweep, CallsThatAllocate) {
    const Bytes file = SpreadFile(70000, 60, 150);
    for (const bool wholeFile : {false, true}) {
        const memoryfile::Scope scope(file);
        ASSERT_EQ(torva::test::Open("", {wholeFile}), 1);
        failAllBehind = false;
        torva::test::allocations::failsNow = FailsNow;
        driver::WalkAll(
            [&](const driver::Call& call) {
                constexpr int64_t kMany = 1 << 30;
                allocationsUntilFailure = kMany;
                Outcome outcome = CallLibrary(1, call);
                int64_t most = 0;
                if (call.op == driver::Op::kGetNextSymData || call.op == driver::Op::kGetAgainSymData) {
                    most = call.room[0];
                } else if (call.op == driver::Op::kInitialLevel2EODBasicItemDefineSection ||
                           call.op == driver::Op::kInitialExchangeSupportSection) {
                    most = kMany;
                }
                EXPECT_LE(kMany - allocationsUntilFailure, most) << Describe(call);
                return outcome;
            },
            {3, 200, 2, 20000});
        torva::test::allocations::failsNow = nullptr;
        tv_CloseSymFile(1);
    }
}

// A call allocates only its values, however often a record repeats a default field. A value for which there
// is no memory is null; the tails of earlier values show it all the same.
TEST_F(FaultSweep, ValuesWithoutMemory) {
    using namespace torva::test;
    constexpr int32_t kFields = 100;
    const Bytes group = U16(3) + U8(8) + U32(0x44332211) + U16(3) + U8(9) + Fill(3, 'e') + U16(3) + U8(7) +
                        Text("abcdef") + U16(3) + U8(1) + U8(9);
    Bytes record = Text("S");
    for (int i = 0; i < kFields / 4; ++i) record = record + group;
    const Bytes defaults = U16(3) + U8(1) + U8(1);
    const Bytes file =
        FileOf({RawSection(1, U32(defaults.size()) + defaults), RawSection(2, U32(record.size()) + record)});
    std::vector<std::string> lossless;
    failAllBehind = false;
    torva::test::allocations::failsNow = FailsNow;
    failAllBehind = false;
    for (int64_t n = 1000; n >= 0; n = n == 1000 ? kFields - 1 : n - 1) {
        const memoryfile::Scope scope(file);
        ASSERT_EQ(Open(""), 1);
        SymFieldItem items[kFields + 1] = {};
        char text[2];
        int32_t count = 0;
        allocationsUntilFailure = n;
        driver::insideLibrary = true;
        EXPECT_EQ(tv_GetNextSymData(1, text, 1, &count, items, kFields + 1), SYM_OK);
        driver::insideLibrary = false;
        ASSERT_EQ(count, kFields);
        if (n == 1000) {
            EXPECT_EQ(n - allocationsUntilFailure, kFields);
        }
        constexpr std::size_t kSizes[] = {11, 9, 7, 1};
        for (int32_t i = 0; i < count; ++i) {
            const auto* value = static_cast<const char*>(items[i].value);
            const std::string shown = value == nullptr ? "" : std::string(value, kSizes[i % 4]);
            if (n == 1000) {
                lossless.push_back(shown);
            } else {
                EXPECT_EQ(shown, i == n ? "" : lossless[static_cast<std::size_t>(i)])
                    << "item " << i << " without memory for item " << n;
            }
            FreeValue(items[i].value);
        }
        tv_CloseSymFile(1);
    }
    torva::test::allocations::failsNow = nullptr;
}

// The file is another one from any read on.
TEST_F(FaultSweep, AFileThatChanges) {
    using namespace torva::test;
    const Bytes file = SpreadFile(70000, 60, 150);
    const Bytes others[] = {SpreadFile(70000, 60, 149), SpreadFile(69999, 60, 150),
                            symwrite::CutAt(file, file.size() / 2), Bytes{}};
    for (const bool wholeFile : {false, true}) {
        const Trial lossless = OpenAndWalk(file, wholeFile, {});
        for (const Bytes& other : others) {
            for (uint64_t n = 0; n < lossless.operations; ++n) {
                Plan plan;
                plan.changed = &other;
                plan.changedFrom = n;
                const int64_t blocks = liveBlocks;
                ExpectNothingLost(file, wholeFile, OpenAndWalk(file, wholeFile, plan), lossless,
                                  "changed at operation " + std::to_string(n));
                if (HasFatalFailure()) return;
                ASSERT_EQ(liveBlocks, blocks) << "operation " << n;
                ++faults;
            }
        }
    }
    // Section 1 changes between its two passes, to one of the same need whose last text finds no room.
    const auto withDefaults = [](const Bytes& last) {
        const Bytes fields = U16(1) + U8(7) + Text(std::string(70000, 'x')) + last;
        return FileOf({RawSection(2, U32(1) + Text("")), RawSection(1, U32(fields.size()) + fields)});
    };
    const Bytes measured = withDefaults(U16(2) + U8(1) + U8(1) + U16(3) + U8(1) + U8(2));
    const Bytes stored = withDefaults(U16(2) + U8(7) + Text(std::string(18, 'y')));
    // And to one with more fields, which is refused.
    Bytes many;
    for (int i = 0; i < 8; ++i) many = many + U16(9) + U8(0);
    const Bytes longer = withDefaults(many);
    uint64_t opened = 0, refused = 0;
    for (uint64_t n = 0; n < 12; ++n) {
        Plan plan;
        plan.changedFrom = n;
        plan.changed = &longer;
        {
            const memoryfile::Scope scope(measured, plan);
            if (Open("", {0, 300000}) == SYM_ERR_OPEN) ++refused;
            tv_CloseSymFile(1);
        }
        plan.changed = &stored;
        plan.changedFrom = n;
        const memoryfile::Scope scope(measured, plan);
        if (Open("", {0, 300000}) != 1) continue;
        SymFieldItem items[4] = {};
        int32_t count = 0;
        char text = 1;
        EXPECT_EQ(tv_GetNextSymData(1, &text, 0, &count, items, 4), SYM_OK);
        if (count == 2 && items[1].tag == 7 && items[1].value == nullptr) ++opened;
        for (const SymFieldItem& item : items) FreeValue(item.value);
        tv_CloseSymFile(1);
    }
    EXPECT_GT(opened, 0U);
    EXPECT_GT(refused, 0U);
}

}  // namespace
