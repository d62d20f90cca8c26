// The commands that change files, over random and damaged files: what must hold whatever is in them.
#include <map>

#include "TorvaAPI.hpp"
#include "symwrite/RandomFile.h"
#include "tests/tool/ToolRun.h"

namespace tooltest {
namespace {

class Changes : public ToolTest {
protected:
    static void Expect(int status, const std::string& command) {
        const ToolResult result = Run(command);
        EXPECT_EQ(result.status, status) << "tvsym " << command << "\n" << result.out << result.err;
    }

    static void SaveRandom(const std::string& name, std::uint64_t seed, std::uint16_t onlySection = 0) {
        symwrite::RandomFileOptions options;
        options.seed = seed;
        options.symbols = 60;
        options.vary = seed % 3 == 0;
        options.shuffle = seed % 2 == 0;
        options.onlySection = onlySection;
        Save(name, symwrite::RandomFile(options));
    }

    // What the exports deliver of every symbol: the first value of each field, own or default.
    using Values = std::map<std::string, std::map<std::uint16_t, std::pair<std::uint8_t, std::string>>>;
    static Values ValuesOf(const std::string& name) {
        Values values;
        tvapi::File file(name);
        if (!file.has(2)) return values;
        for (const auto& symbol : file.symbols()) {
            auto& fields = values[std::string(symbol.text())];
            for (const auto field : symbol.fields()) {
                const std::size_t width = symwrite::PayloadWidth(field.tag());
                const auto* const bytes = static_cast<const char*>(field.data());
                const std::string value = field.tag() == symwrite::kTextTag ? std::string(field.text())
                                          : width > 0                       ? std::string(bytes, width)
                                                                            : std::string();
                fields.try_emplace(field.id(), field.tag(), value);
            }
        }
        return values;
    }

    // A patch leads from one to the other.
    static void ExpectPatch(const std::string& from, const std::string& to) {
        const int status = Run("diff --format patch " + from + " " + to).status;
        EXPECT_EQ(status, Load(from) == Load(to) ? 0 : 1);
        SaveBytes("patch", Load(".out"));
        Expect(0, "apply " + from + " patch patched");
        EXPECT_TRUE(Load("patched") == Load(to)) << from << " to " << to;
    }
};

TEST_F(Changes, PropertiesOfSoundFiles) {
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        SaveRandom("a", seed);
        const std::string bytes = Load("a");
        Expect(0, "extract a copy");
        EXPECT_TRUE(Load("copy") == bytes);
        Expect(0, "sort a sorted");
        Expect(0, "sort sorted again");
        EXPECT_TRUE(Load("again") == Load("sorted"));
        Expect(0, "sort --in-place again");
        EXPECT_TRUE(Load("again") == Load("sorted"));

        // A field that no symbol has is set and removed again.
        Expect(0, "edit a edited --set 999=x");
        Expect(0, "edit edited back --remove 999");
        EXPECT_TRUE(Load("back") == bytes);
        ExpectPatch("a", "edited");
        ExpectPatch("sorted", "a");

        // Files with other default fields, and symbols in common: no value changes.
        SaveRandom("b", seed + 100);
        for (const bool first : {true, false}) {
            Expect(0, std::string("merge a b both --on-duplicate ") + (first ? "first" : "last"));
            Values expected = ValuesOf(first ? "a" : "b");
            expected.merge(ValuesOf(first ? "b" : "a"));
            EXPECT_EQ(ValuesOf("both"), expected) << seed;
            EXPECT_NE(Run("check both").status, 2);
        }
    }
}

TEST_F(Changes, SelectedSymbols) {
#ifndef TORVA_WITH_SQLITE
    GTEST_SKIP() << "without SQLite tvsym has neither --where nor --order-by";
#endif
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        SaveRandom("a", seed);
        Expect(0, "sort a sorted");
        Expect(0, "sort sorted again --order-by 'random()'");
        EXPECT_EQ(ValuesOf("again"), ValuesOf("a"));

        Expect(0, "extract a some --where 'symbol_no % 3 = 1'");
        Expect(0, "extract a others --where 'symbol_no % 3 <> 1'");
        Expect(0, "merge others some merged");
        EXPECT_TRUE(Load("merged") == Load("sorted")) << seed;

        Expect(0, "split a --by 'symbol_no % 3' --output 'part {}'");
        Expect(0, "merge 'part 2' 'part 0' 'part 1' merged");
        EXPECT_TRUE(Load("merged") == Load("sorted")) << seed;

        // The symbols that are not selected stay as they are.
        Expect(0, "edit a edited --where 'symbol_no % 2 = 0' --set 999=x");
        Expect(0, "extract a kept --where 'symbol_no % 2 = 1'");
        Expect(0, "extract edited same --where 'symbol_no % 2 = 1'");
        EXPECT_TRUE(Load("kept") == Load("same"));
        ExpectPatch("a", "edited");
        Expect(0, "edit edited back --remove 999");
        EXPECT_TRUE(Load("back") == Load("a"));
    }
}

TEST_F(Changes, DamageStaysOrIsReported) {
    SaveRandom("sound", 7);
    const std::string sound = Load("sound");
    symwrite::Random random(1);
    for (int round = 0; round < 40; ++round) {
        std::string bytes = sound;
        if (round % 4 == 0) bytes.resize(random.Below(static_cast<std::uint32_t>(bytes.size())));
        for (int poke = 0; poke < round % 5 && !bytes.empty(); ++poke) {
            bytes[random.Below(static_cast<std::uint32_t>(bytes.size() >> (round % 3 * 3)))] =
                static_cast<char>(random.Below(256));
        }
        SaveBytes("bad", bytes);
        for (const std::string command : {"extract bad out", "edit bad out --set 999=x", "sort bad out"}) {
            std::filesystem::remove("out");
            const ToolResult result = Run(command);
            EXPECT_TRUE(result.status >= 0 && result.status <= 2) << command << result.err;
            EXPECT_EQ(std::filesystem::exists("out"), result.status != 2) << command << result.err;
            EXPECT_TRUE(Load("bad") == bytes);
            if (result.status == 2) continue;
            if (command.starts_with("extract")) {
                EXPECT_TRUE(Load("out") == bytes);
            } else if (command.starts_with("edit")) {
                EXPECT_LE(Run("edit --in-place out --remove 999").status, 1);
                EXPECT_TRUE(Load("out") == bytes) << round;
            }
        }
        ExpectPatch("sound", "bad");
        ExpectPatch("bad", "sound");
        // A damaged patch is detected, and nothing is written.
        Run("diff --format patch sound bad");
        std::string patch = Load(".out");
        patch[random.Below(static_cast<std::uint32_t>(patch.size()))] ^=
            static_cast<char>(1 + random.Below(255));
        SaveBytes("patch", patch);
        std::filesystem::remove("out");
        Expect(2, "apply sound patch out");
        EXPECT_FALSE(std::filesystem::exists("out"));
    }
}

}  // namespace
}  // namespace tooltest
