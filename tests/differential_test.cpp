// The library against the plain reader, call by call, in both read modes: well-formed files, files that are
// wrong on purpose, damaged ones, and texts that just fit the arena or just do not. `TORVA_SWEEP=full` takes
// every case of the sweeps; without it they take evenly spread ones.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>

#include "reference/CallDriver.h"
#include "symwrite/Json.h"
#include "symwrite/JsonNode.h"
#include "symwrite/RandomFile.h"
#include "symwrite/SymFileWriter.h"

namespace {

using driver::Bytes;
using driver::OpenOptions;
using driver::Pair;
using driver::WalkOptions;
using symwrite::Random;

bool FullSweep() {
    const char* wanted = getenv("TORVA_SWEEP");
    return wanted != nullptr && strcmp(wanted, "full") == 0;
}

// Which of many cases to take: all, or every `stride`th of them, beginning somewhere that depends on
// `stride`.
class Sampler {
public:
    explicit Sampler(size_t strideWithoutFull) : stride(FullSweep() ? 1 : strideWithoutFull) {}
    bool Takes() { return number++ % stride == stride / 2; }

private:
    size_t stride;
    size_t number = 0;
};

size_t filesTried = 0;

// Both modes, each with every one of `walks`; false once a difference was found.
bool WalksAgree(const Bytes& file, const std::vector<WalkOptions>& walks, const std::string& what,
                OpenOptions open = {}) {
    ++filesTried;
    for (const bool wholeFile : {false, true}) {
        open.wholeFile = wholeFile;
        Pair pair(file, open);
        for (WalkOptions walk : walks) {
            walk.fileSize = file.size();
            WalkAll([&pair](const driver::Call& call) { return pair.Step(call); }, walk);
        }
        if (pair.Difference().empty()) continue;
        ADD_FAILURE() << what << (wholeFile ? ", memory mode" : ", file mode") << "\n" << pair.Difference();
        return false;
    }
    return true;
}

bool RandomCallsAgree(const Bytes& file, uint64_t seed, size_t calls, OpenOptions open = {}) {
    ++filesTried;
    for (const bool wholeFile : {false, true}) {
        open.wholeFile = wholeFile;
        Pair pair(file, open);
        Random random(seed);
        auto op = static_cast<uint8_t>(random.Next());
        for (size_t i = 0; i < calls; ++i) {
            // Most calls stay near the last one, so that sections are walked and not only entered.
            op = static_cast<uint8_t>(random.OneIn(6) ? random.Next()
                                                      : op + random.Below(3) - (op > 0 ? 1 : 0));
            op = static_cast<uint8_t>(op % static_cast<uint8_t>(driver::Op::kOps));
            const auto rooms = static_cast<uint8_t>(random.Next());
            const auto rest = static_cast<uint8_t>(random.OneIn(10)  ? random.Next()
                                                   : random.OneIn(4) ? random.Below(8)
                                                                     : 0);
            const uint8_t bytes[] = {op, rooms, rest};
            const uint8_t* data = bytes;
            pair.Step(*driver::Decode(data, bytes + sizeof bytes));
        }
        if (pair.Difference().empty()) continue;
        ADD_FAILURE() << "seed " << seed << (wholeFile ? ", memory mode" : ", file mode") << "\n"
                      << pair.Difference();
        return false;
    }
    return true;
}

// One walk that takes everything in small pieces, one that leaves records early.
const std::vector<WalkOptions> kTwoWalks = {{2, 64, UINT32_MAX, 0}, {300, 64, 1, 0}};

std::vector<symwrite::File> RandomFiles(size_t count) {
    std::vector<symwrite::File> files;
    for (size_t i = 0; i < count; ++i) {
        symwrite::RandomFileOptions options;
        options.seed = i + 1;
        options.vary = i % 4 != 0;
        options.anyBytes = i % 2 == 0;
        options.shuffle = i % 3 == 0;
        options.fieldIds = i % 5 == 0 ? 12 : 200;
        options.textLength = i % 7 == 0 ? 70 : 12;
        files.push_back(RandomFile(options));
    }
    return files;
}

TEST(DifferentialSweep, WalksOfGoodFiles) {
    std::vector<symwrite::File> files = RandomFiles(40);
    files.push_back(symwrite::SmallFile());
    std::vector<WalkOptions> walks;
    for (const int32_t capacity : {0, 1, 2, 3, 5, 17, 300}) {
        walks.push_back({capacity, 80, UINT32_MAX, 0});
        walks.push_back({capacity, 80, 1, 0});
    }
    for (const int32_t textRoom : {-1, 0, 1, 6}) walks.push_back({2, textRoom, UINT32_MAX, 0});
    for (const uint32_t children : {0U, 2U}) walks.push_back({300, 80, children, 0});
    std::vector<uint16_t> manyIds(3000);
    for (size_t i = 0; i < manyIds.size(); ++i) manyIds[i] = static_cast<uint16_t>(65535 - i);
    const std::vector<std::vector<uint16_t>> filters = {{}, {1}, {0}, {7, 3, 7, 50, 11}, manyIds};
    for (size_t i = 0; i < files.size(); ++i) {
        OpenOptions open;
        open.fieldIds = filters[i % filters.size()];
        if (!WalksAgree(Write(files[i]), walks, "file " + std::to_string(i), open)) return;
    }
}

TEST(DifferentialSweep, RandomCalls) {
    const size_t rounds = FullSweep() ? 20000 : 600;
    const std::vector<symwrite::File> files = RandomFiles(12);
    for (size_t round = 0; round < rounds; ++round) {
        OpenOptions open;
        if (round % 3 == 1) open.fieldIds = {3, 0, 7};
        Bytes bytes = round % 4 == 0 ? Write(symwrite::SmallFile()) : Write(files[round % files.size()]);
        Random random(round);
        for (size_t damage = round % 5; damage > 0; --damage)
            bytes[random.Below(static_cast<uint32_t>(bytes.size()))] = static_cast<uint8_t>(random.Next());
        if (!RandomCallsAgree(bytes, round, 400, open)) return;
    }
}

// Every number in the section directory or in a section's head, wrong in every way that a reader may stumble
// over.
TEST(DifferentialSweep, WrongOnPurpose) {
    const symwrite::File good = symwrite::SmallFile();
    const std::vector<symwrite::SectionPlace> places = Layout(good);
    for (size_t i = 0; i < good.sections.size(); ++i) {
        const uint32_t size = places[i].directorySize;
        for (const uint32_t value : {0U, 1U, 2U, 6U, 8U, size - 1, size + 1, size + 7, 0x7FU, 0xFFU, 0xFFFFU,
                                     0x7FFFFFFFU, 0x80000000U, UINT32_MAX}) {
            for (int member = 0; member < 6; ++member) {
                symwrite::File file = good;
                symwrite::Section& section = file.sections[i];
                if (member == 0) section.directorySize = value;
                if (member == 1) section.directoryOffset = value;
                if (member == 2) section.headValue = value;
                if (member == 3) section.count = value;
                if (member == 4) section.idInFile = static_cast<uint16_t>(value);
                if (member == 5) section.directoryId = static_cast<uint16_t>(value);
                Bytes bytes;
                try {
                    bytes = Write(file);
                } catch (const symwrite::WriteError&) {
                    continue;  // a count too wide for its place, or a number that this section does not have
                }
                const std::string what = "section " + std::to_string(section.id) + ", member " +
                                         std::to_string(member) + ", value " + std::to_string(value);
                if (!WalksAgree(bytes, kTwoWalks, what)) return;
            }
        }
    }
}

// Budgets around the least that a file needs, whole and cut inside its default fields.
TEST(DifferentialSweep, Budgets) {
    for (const symwrite::File& file : RandomFiles(8)) {
        const Bytes whole = Write(file);
        for (const size_t cut : {whole.size(), whole.size() / 2, size_t{250}, size_t{231}, size_t{100}}) {
            for (uint32_t budget = 102395; budget < 103400; budget += budget < 102410 ? 1 : 7) {
                OpenOptions open;
                open.memoryBudget = budget;
                for (const bool wholeFile : {false, true}) {
                    open.wholeFile = wholeFile;
                    const Bytes bytes = symwrite::CutAt(whole, cut);
                    const Pair pair(bytes, open);
                    ASSERT_EQ(pair.Difference(), "") << "cut " << cut << " budget " << budget;
                }
            }
        }
    }
}

// A file of the sections that place texts in the arena: one text of `length` and one of `second` in each.
// With `only`, just the default fields and that section.
symwrite::File ArenaFile(size_t length, size_t second, uint16_t only = 0) {
    const std::string text(length, 'a');
    const std::string other(second, 'b');
    symwrite::File file;
    const auto add = [&file, only](uint16_t id, std::vector<symwrite::Row> rows) {
        if (only == 0 || id == only) file.sections.push_back({.id = id, .rows = std::move(rows)});
    };
    using symwrite::NumberField;
    using symwrite::TextField;
    file.sections.push_back(
        {.id = 1, .fields = {NumberField(40, 8, 0x11223344), NumberField(41, 9, 0x556677)}});
    add(2, {{"S", {TextField(1, text), NumberField(2, 8, 77), TextField(3, other)}, {}},
            {"T", {TextField(1, other), TextField(3, text), NumberField(4, 6, 9)}, {}},
            {"U", {NumberField(4, 1, 9), TextField(5, text), symwrite::NullField(6)}, {}}});
    add(6, {{"group", {TextField(1, std::string(60000, 'q')), NumberField(2, 9, 3)}, {}}});
    add(7, {{{1, text, other}}, {{2, "x", "y"}}});
    add(8, {{{1}, {{{1, text, other}}, {{2, "x", "y"}}, {{3, other, text}}, {{4, "", ""}}}},
            {{2}, {{{1, "x", text}}, {{2, other, "z"}}, {{5, text, text}}}}});
    for (const uint16_t id : {uint16_t{9}, uint16_t{19}}) add(id, {{{1, text}}, {{2, other}}});
    add(13, {{{1}, {{{text}, {{{1, other}, {{{1, text}}, {{2, other}}}}}}}}});
    add(14, {{{1, text}, {{{1}, {{{text}}, {{other}}, {{"n"}}}}, {{2}, {{{other}}, {{text}}}}}}});
    add(15, {{{1}, {{{}, {{{1, text}}, {{2, other}}, {{3, ""}}}}, {{}, {{{1, other}}, {{2, text}}}}}}});
    return file;
}

TEST(DifferentialSweep, TextsAtTheArenasEnd) {
    // The budget leaves 102401 bytes for the arena of a call: a single text in it may have 102395 characters.
    OpenOptions open;
    open.memoryBudget = 102401 + (7 + 6) + 14 * 2 + 4;
    const std::vector<WalkOptions> walks = {
        {1, 110000, UINT32_MAX, 0}, {2, 64, 1, 0}, {5, 110000, UINT32_MAX, 0}};
    Sampler sampler(14);
    for (size_t length = 102388; length < 102402; ++length) {
        for (const size_t second : {size_t{0}, size_t{1}, size_t{9}, length, 102402 - length}) {
            if (!sampler.Takes()) continue;
            const symwrite::File file = ArenaFile(length, second);
            const Bytes bytes = Write(file);
            const std::string what = std::to_string(length) + " and " + std::to_string(second);
            if (!WalksAgree(bytes, walks, what, open)) return;
            // Cut inside, just after and just before the texts' ends.
            for (const int id : {2, 7, 8, 9, 13, 14, 15}) {
                const symwrite::File single = ArenaFile(length, second, static_cast<uint16_t>(id));
                const Bytes one = Write(single);
                const uint32_t offset = Layout(single)[1].offset;
                for (size_t cut = length; cut < length + second + 18;
                     cut += cut < length + 18 ? 1 : second / 3 + 1) {
                    const Bytes shorter = symwrite::CutAt(one, offset + cut);
                    if (!WalksAgree(shorter, {walks[2]}, what + ", cut", open)) return;
                }
            }
        }
    }
}

// Two long texts that fill the arena to its last bytes together, and how the second is put off to the next
// call.
TEST(DifferentialSweep, TextsThatShareTheArena) {
    OpenOptions open;
    open.memoryBudget = 102401 + (7 + 6) + 14 * 2 + 4;
    for (size_t second = 51180; second < 51205; ++second) {
        const Bytes bytes = Write(ArenaFile(51200, second));
        if (!WalksAgree(bytes, {{5, 110000, UINT32_MAX, 0}}, std::to_string(second), open)) return;
    }
}

class DamageSweep : public testing::Test {
protected:
    void SetUp() override { filesTried = 0; }
    void TearDown() override { std::cout << filesTried << " files\n"; }
};

TEST_F(DamageSweep, Truncations) {
    const Bytes whole = Write(symwrite::SmallFile());
    for (size_t size = 0; size <= whole.size(); ++size) {
        const Bytes cut = symwrite::CutAt(whole, size);
        const std::string what = "cut at " + std::to_string(size);
        OpenOptions filtered;
        filtered.fieldIds = {3, 11};
        if (!WalksAgree(cut, kTwoWalks, what) || !RandomCallsAgree(cut, size, 60, filtered)) return;
        if (!WalksAgree(cut, kTwoWalks, what + ", filtered", filtered)) return;
    }
}

TEST_F(DamageSweep, Bytes) {
    const Bytes whole = Write(symwrite::SmallFile());
    for (size_t at = 0; at < whole.size(); ++at) {
        for (const int value : {0, 1, 0x7F, 0x80, 0xFF, -1}) {
            Bytes bytes = whole;
            bytes[at] = static_cast<uint8_t>(value < 0 ? ~whole[at] : value);
            if (bytes[at] == whole[at]) continue;
            const std::string what = "byte " + std::to_string(at) + " as " + std::to_string(bytes[at]);
            if (!WalksAgree(bytes, kTwoWalks, what) || !RandomCallsAgree(bytes, at, 40)) return;
        }
    }
}

// Every entry of the directory pointed at every place where something begins or ends, with true and other
// sizes.
void EntriesAtBoundaries(const symwrite::File& file, Sampler sampler, const std::vector<WalkOptions>& walks) {
    const Bytes whole = Write(file);
    std::vector<uint32_t> boundaries = {
        0,         2, 12, static_cast<uint32_t>(whole.size()) - 1, static_cast<uint32_t>(whole.size()) + 1,
        UINT32_MAX};
    for (const symwrite::SectionPlace& place : Layout(file)) {
        for (const uint32_t offset : {place.offset, place.offset + 2, place.offset + place.bytes})
            boundaries.push_back(offset);
    }
    for (size_t entry = 0; entry < file.sections.size(); ++entry) {
        for (const uint32_t boundary : boundaries) {
            for (const bool sizeToo : {false, true}) {
                if (!sampler.Takes()) continue;
                Bytes bytes = whole;
                symwrite::PatchU32(bytes, 2 + 10 * entry + 2, boundary);
                if (sizeToo) symwrite::PatchU32(bytes, 2 + 10 * entry + 6, boundary);
                const std::string what = "entry " + std::to_string(entry) + " at " + std::to_string(boundary);
                if (!WalksAgree(bytes, walks, what) || !RandomCallsAgree(bytes, entry, 40)) return;
            }
        }
    }
}

TEST_F(DamageSweep, DirectoryEntries) { EntriesAtBoundaries(symwrite::SmallFile(), Sampler(3), kTwoWalks); }

// The sample: every section filled with real facts. A walk of it takes a hundred times as long as one of the
// small file, so each file gets one walk, and each byte one of the six values.
class SampleDamageSweep : public DamageSweep {
protected:
    SampleDamageSweep() {
        std::ifstream json(std::string(TORVA_SOURCE_DIR) + "/samples/instruments.json");
        symwrite::JsonErrors errors;
        file = symwrite::ReadJson(json, {}, errors);
        EXPECT_TRUE(errors.Empty());
        whole = Write(file);
    }

    const std::vector<WalkOptions> oneWalk = {{300, 64, UINT32_MAX, 0}};
    symwrite::File file;
    Bytes whole;
};

TEST_F(SampleDamageSweep, DirectoryEntries) { EntriesAtBoundaries(file, Sampler(97), oneWalk); }

// The long ones in parts, for more than one processor.
class SampleDamageSweepPart : public SampleDamageSweep, public testing::WithParamInterface<size_t> {
protected:
    static constexpr size_t kParts = 4;
    Sampler sampler{499};
};

TEST_P(SampleDamageSweepPart, Truncations) {
    for (size_t size = GetParam(); size < whole.size(); size += kParts) {
        if (!sampler.Takes()) continue;
        if (!WalksAgree(symwrite::CutAt(whole, size), oneWalk, "cut at " + std::to_string(size))) return;
    }
}

TEST_P(SampleDamageSweepPart, Bytes) {
    for (size_t at = GetParam(); at < whole.size(); at += kParts) {
        if (!sampler.Takes()) continue;
        Bytes bytes = whole;
        bytes[at] = static_cast<uint8_t>(std::array{0, 1, 0x7F, 0x80, 0xFF, ~whole[at]}[at % 6]);
        const std::string what = "byte " + std::to_string(at) + " as " + std::to_string(bytes[at]);
        if (!WalksAgree(bytes, oneWalk, what)) return;
    }
}

INSTANTIATE_TEST_SUITE_P(Parts, SampleDamageSweepPart, testing::Values(0, 1, 2, 3));

}  // namespace
