// The C++ header, with exceptions: every section as the C interface delivers it; leaving and beginning again,
// ranges that lose their place, values that are kept, errors.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <numeric>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "bench/HppSectionWalks.h"
#include "symwrite/RandomFile.h"

namespace torva::test {

symwrite::File LongLists();  // for hpp_codes_test.cpp, too

// Lists and groups longer than what the ranges first make room for, and an empty group at the end of the
// file.
symwrite::File LongLists() {
    symwrite::File file;
    using List = std::vector<u16>;
    std::vector<symwrite::Row> symbols(5, {"", {}, {}}), jumps, brokers;
    symwrite::Row names({2});
    List numbers;
    for (u16 i = 0; i < 1000; ++i) {
        symbols[i % 2U].fields.push_back(symwrite::TextField(i, std::to_string(i)));
        const std::string record = {static_cast<char>(i), static_cast<char>(i / 256U)};
        jumps.resize(i / 400U + 1U, symwrite::Row({0}));
        jumps.back().rows.push_back({{record}});
        brokers.push_back({{record}});
        names.rows.push_back({{std::to_string(i)}});
        numbers.push_back(i);
    }
    jumps.push_back({{77}});
    file.sections = {MakeSection(2, symbols),
                     MakeSection(4, brokers),
                     MakeSection(14, {{{1, "head"}, {names, {{3}, {{{"last"}}}}}}}),
                     MakeSection(18, {{{numbers, List{1}, List{}}, {{{9}}, {{4}}}}}),
                     MakeSection(21, {{{numbers}, {{{5}}}}}),
                     MakeSection(3, jumps)};
    return file;
}

namespace {

constexpr u16 kWalked[] = {2, 3, 4, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22};

template <class File>
std::vector<bench::Checksum> SumsOf(File& file) {
    std::vector<bench::Checksum> sums;
    for (const u16 section : kWalked) {
        try {
            file.Walk(section, sums.emplace_back());
        } catch (const tvapi::Error& error) {
            EXPECT_EQ(error.code(), SYM_ERR_NO_SECTION);
        }
    }
    return sums;
}
struct CFile {
    template <class Sink>
    void Walk(u16 section, Sink& sink) {
        bench::Walk(section, file, sink);
    }
    bench::LibraryFile file;
};

// Twice over, so that every section begins again.
TEST(Hpp, DeliversWhatTheCallsDeliver) {
    std::vector<symwrite::File> files = {symwrite::SmallFile()};
    for (u64 seed = 1; seed <= 12; ++seed) {
        symwrite::RandomFileOptions options;
        options.seed = seed;
        options.shuffle = true;
        files.push_back(symwrite::RandomFile(options));
    }
    files.push_back(LongLists());
    for (std::size_t i = 0; i < files.size(); ++i) {
        SCOPED_TRACE(i);
        const TempFile bytes(symwrite::Write(files[i]));
        std::vector<bench::Checksum> expected;
        {
            const i32 handle = Open(bytes.Path());
            ASSERT_GT(handle, 0);
            CFile file;
            file.file.handle = static_cast<u16>(handle);
            expected = SumsOf(file);
            tv_CloseSymFile(file.file.handle);
        }
        for (const bool wholeFile : {true, false}) {
            bench::HppFile file(bytes.Path(), wholeFile);
            EXPECT_EQ(SumsOf(file), expected);
            EXPECT_EQ(SumsOf(file), expected) << "second walk";
        }
    }
}

// Elements before the damage, the code that ends the range, and what is left to be seen of the last one.
struct Reached {
    std::size_t elements = 0;
    i32 code = SYM_OK;
    bool broken = false;
};

template <class Range>
Reached Walk(Range&& range) {
    Reached reached;
    try {
        for ([[maybe_unused]] const auto& element : range) ++reached.elements;
    } catch (const tvapi::Error& error) {
        reached.code = error.code();
    }
    EXPECT_EQ(reached.code, range.result());
    reached.broken = range.broken() != nullptr;
    return reached;
}
template <class Range>
i32 ResultOf(Range&& range) {
    return Walk(range).code;
}

symwrite::Section SymbolsOf(std::initializer_list<const char*> texts) {
    std::vector<symwrite::Row> symbols;
    for (const char* text : texts) symbols.push_back({text, {symwrite::TextField(7, text)}, {}});
    return MakeSection(2, std::move(symbols));
}
symwrite::Section CountriesOf(std::initializer_list<const char*> names) {
    std::vector<symwrite::Row> countries;
    for (u32 id = 1; const char* name : names) countries.push_back({{id++, name}});
    return MakeSection(10, std::move(countries));
}
symwrite::Section SupportOf(u16 ids) {
    std::vector<symwrite::Row> support;
    for (u16 id = 1; id <= ids; ++id) support.push_back({{std::vector<u16>{id}}, {{{id}}}});
    return MakeSection(21, std::move(support));
}

// Sections 2, 3 and 8 begin at their first record wherever they were left, by way of another section; without
// one they say so. The file on disk does not matter: it was replaced.
TEST(Hpp, BeginsAnewAfterEveryNumberOfSteps) {
    const symwrite::File data = symwrite::SmallFile();
    const auto with = [&](std::initializer_list<u16> ids) {
        symwrite::File file;
        for (const auto& section : data.sections) {
            if (std::find(ids.begin(), ids.end(), section.id) != ids.end()) file.sections.push_back(section);
        }
        return symwrite::Write(file);
    };
    for (const u16 section : {u16{2}, u16{3}, u16{8}}) {
        for (const u16 other : {u16{0}, u16{2}, u16{3}, u16{8}, u16{10}, u16{18}, u16{21}}) {
            if (other == section) continue;
            SCOPED_TRACE(std::to_string(section) + " beside " + std::to_string(other));
            const TempFile bytes(with({1, section, other}));
            bench::HppFile file(bytes.Path(), true);
            const TempFile replacement(Fill(100));
            std::filesystem::rename(replacement.Path(), bytes.Path());
            bench::Checksum first;
            file.Walk(section, first);
            for (int steps = 0; steps < 4; ++steps) {
                int left = steps;
                const auto leave = [&](auto&& range) {
                    for (auto it = range.begin(); it != range.end() && left > 0; ++it) --left;
                };
                bench::Checksum again;
                const auto run = [&] {
                    if (section == 2) leave(file.File().symbols());
                    if (section == 3) leave(file.File().jumpPrices());
                    if (section == 8) leave(file.File().sectionsL2());
                    file.Walk(section, again);
                };
                if (other == 0) {
                    EXPECT_THROW(run(), tvapi::Error);
                    EXPECT_EQ(file.File().error(), tvapi::kErrNoRestart);
                } else {
                    EXPECT_NO_THROW(run());
                    EXPECT_EQ(again, first) << steps;
                }
            }
        }
    }
}

TEST(Hpp, ARangeThatLostItsPlaceSaysSo) {
    const TempFile bytes(FileOf({SymbolsOf({"A", "B", "C"}), CountriesOf({"X", "Y"}), SupportOf(3)}));
    tvapi::File file(bytes.Path());
    std::vector<std::string> seen;
    auto symbols = file.symbols();
    const auto nest = [&] {
        for (const auto& symbol : symbols) {
            for (const auto& country : file.eidrCountries())
                seen.push_back(std::string(symbol.text()).append(country.name));
        }
    };
    EXPECT_THROW(nest(), tvapi::Error);
    EXPECT_EQ(symbols.result(), tvapi::kErrLostPlace);
    EXPECT_EQ(seen, (std::vector<std::string>{"AX", "AY"}));

    // Each of these takes the place, or leaves it alone.
    const std::pair<i32, std::function<void()>> takers[] = {
        {tvapi::kErrLostPlace, [&] { (void)file.symbols().begin(); }},
        {tvapi::kErrLostPlace, [&] { (void)file.eidrCountries().begin(); }},
        {tvapi::kErrLostPlace, [&] { (void)file.exchangeSupport().begin(); }},
        {SYM_OK, [&] { (void)file.symbols(); }},
        {tvapi::kErrLostPlace, [&] { EXPECT_EQ(file.open(std::string(bytes.Path())), SYM_OK); }},
        {SYM_ERR_BAD_HANDLE, [&] { file.close(); }},
    };
    for (const auto& [code, take] : takers) {
        auto countries = file.eidrCountries();
        auto it = countries.begin();
        take();
        const auto step = [&] {
            ++it;
            return it->name == "Y";
        };
        if (code == SYM_OK) {
            EXPECT_TRUE(step());
        } else {
            EXPECT_THROW(step(), tvapi::Error);
        }
        EXPECT_EQ(countries.result(), code);
    }

    // A section that was read whole continues, but the ids that one range took are missing in another.
    ASSERT_EQ(file.open(bytes.Path()), SYM_OK);
    auto support = file.exchangeSupport();
    auto it = support.begin();
    EXPECT_EQ(ResultOf(file.symbols()), SYM_OK);
    ++it;
    EXPECT_EQ(it->id, 2U);
    EXPECT_EQ(ResultOf(file.exchangeSupport()), SYM_OK);
    EXPECT_THROW(++it, tvapi::Error);

    auto orphan = std::make_unique<tvapi::File>(std::move(file))->symbols();  // its File is gone
    EXPECT_EQ(ResultOf(orphan), SYM_ERR_BAD_HANDLE);
}

// A range of a lower level belongs to one element of the level above.
TEST(Hpp, ALevelThatItsParentLeft) {
    const TempFile bytes(symwrite::Write(symwrite::RandomFile({})));
    tvapi::File file(bytes.Path());
    auto types = file.objectTypes();
    auto type = types.begin();
    auto sources = type->sources();
    auto source = sources.begin();
    auto symbols = source->symbols();
    (void)symbols.begin();
    ++type;
    EXPECT_EQ(ResultOf(sources), tvapi::kErrLostPlace);
    EXPECT_EQ(ResultOf(symbols), tvapi::kErrLostPlace);
    EXPECT_EQ(types.result(), SYM_OK);
    EXPECT_EQ(ResultOf(type->sources()), SYM_OK);
}

TEST(Hpp, NestedLevelsMayBeLeftEarly) {
    symwrite::RandomFileOptions options;
    options.inner = 4;
    const symwrite::File data = symwrite::RandomFile(options);
    const TempFile bytes(symwrite::Write(data));
    tvapi::File file(bytes.Path());
    std::vector<std::string> expected;
    std::vector<std::string> found;
    for (const auto& section : data.sections) {
        for (const auto& row : section.rows) {
            if (section.id == 14) expected.push_back(row.cells[1].bytes);
            if (section.id != 13) continue;
            for (const auto& source : row.rows) {
                expected.push_back(source.cells[0].bytes);
                for (const auto& symbol : source.rows) expected.push_back(symbol.cells[1].bytes);
            }
        }
    }
    // Symbols with one data record read of each, sources with all but their last symbols read.
    for (const auto& type : file.objectTypes()) {
        for (const auto& source : type.sources()) {
            found.emplace_back(source.text);
            for (const auto& symbol : source.symbols()) {
                found.emplace_back(symbol.text);
                for ([[maybe_unused]] const auto& record : symbol.data()) break;
            }
        }
    }
    for (const auto& head : file.foreignTrade()) {
        found.emplace_back(head.name);
        for ([[maybe_unused]] const auto& item : head.items()) break;
    }
    EXPECT_EQ(found, expected);
    std::size_t sources = 0;
    for (const auto& type : file.objectTypes()) {
        for (const auto& source : type.sources()) {
            ++sources;
            for ([[maybe_unused]] const auto& symbol : source.symbols()) break;
        }
    }
    EXPECT_EQ(sources, 20U);
}

TEST(Hpp, ValuesThatAreKept) {
    const std::vector<symwrite::Row> symbols = {
        {"ONE", {symwrite::TextField(7, "kept"), symwrite::NumberField(8, 3, 0x01020304)}, {}},
        {"TWO", {symwrite::NullField(7)}, {}}};
    const TempFile bytes(FileOf({MakeSection(2, symbols)}));
    tvapi::Value kept;
    std::vector<tvapi::OwnedSymbol> owned;
    {
        const u16 ids[] = {7};
        tvapi::OpenOptions how;
        how.fieldIds = ids;
        how.fieldIdCount = 1;
        tvapi::File file(bytes.Path(), how);
        tvapi::File moved(std::move(file));
        EXPECT_FALSE(file);  // NOLINT(bugprone-use-after-move): that it is empty is the point
        file = std::move(moved);
        auto range = file.symbols();
        auto it = range.begin();
        EXPECT_EQ(it->fields().size(), 1U);
        auto field = it->fields()[0];
        kept = field.take();
        EXPECT_FALSE(field.present());
        EXPECT_EQ(field.size(), 0U);
        EXPECT_FALSE(it->field(7)->present());
        EXPECT_FALSE(it->field(8).has_value());
        ++it;
        EXPECT_EQ(it->text(), "TWO");
        EXPECT_EQ(it->field(7)->asUnsigned(), std::nullopt);
        EXPECT_EQ(tvapi::File().open(bytes.Path()), SYM_ERR_OPEN) << "open elsewhere";
    }
    EXPECT_STREQ(static_cast<const char*>(kept.get()), "kept");
    {
        tvapi::File file(bytes.Path());
        for (auto& symbol : file.symbols()) {
            owned.emplace_back(std::move(symbol));
            EXPECT_TRUE(symbol.fields().empty());  // NOLINT(bugprone-use-after-move): the same
        }
    }
    ASSERT_EQ(owned.size(), 2U);
    std::swap(owned[0], owned[1]);
    EXPECT_EQ(owned[1].text(), "ONE");
    EXPECT_EQ(owned[1].field(7)->text(), "kept");
    EXPECT_EQ(owned[1].field(8)->as<u16>(), std::nullopt) << "4 bytes do not fit";
}

TEST(Hpp, NumbersOfEveryTag) {
    const u8 ones[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    const struct {
        u8 tag;
        std::optional<u64> number;
    } cases[] = {{1, 0xFF}, {2, 0xFF},       {3, 0xFFFFFFFF}, {4, 0xFFFF}, {5, 0xFFFFFFFF}, {6, ~u64{0}},
                 {7, {}},   {8, 0xFFFFFFFF}, {9, 0xFFFFFF},   {0, {}},     {10, {}}};
    for (const auto& [tag, number] : cases) {
        SCOPED_TRACE(+tag);
        const tvapi::Payload value(tag, ones);
        EXPECT_EQ(value.asUnsigned(), number);
        EXPECT_EQ(value.asSigned(), number ? std::optional<std::int64_t>(-1) : std::nullopt);
        EXPECT_EQ(value.as<std::int64_t>(), value.asSigned());
        EXPECT_EQ(value.as<u16>().has_value(), number && *number <= 0xFFFF);
        EXPECT_EQ(value.asFloat().has_value(), number && (*number == 0xFFFFFFFF || *number == ~u64{0}));
        EXPECT_EQ(value.as<float>().has_value(), number && *number == 0xFFFFFFFF);
        EXPECT_EQ(tvapi::Payload(tag, nullptr).asSigned(), std::nullopt);
    }
    const float half = 0.5F;
    EXPECT_EQ(tvapi::Payload(5, &half).as<double>(), 0.5);
    EXPECT_EQ(tvapi::Payload(9, "\1\2\0").as<int>(), 513);
    EXPECT_EQ(tvapi::Payload(12, "x").size(), 0U);
    EXPECT_EQ(tvapi::Payload(1, "x").text(), "");
    EXPECT_EQ(tvapi::Payload(7, nullptr).text(), "");
}

TEST(Hpp, WhyAFileDoesNotOpen) {
    const TempFile sound(FileOf({SymbolsOf({"A"}), CountriesOf({"X"})}));
    const TempFile cut(symwrite::CutAt(FileOf({DefaultsSection({symwrite::TextField(7, "default")})}), 24));
    const TempFile locked(FileOf({}));
    const TempFile secret(FileOf({}));
    std::filesystem::permissions(secret.Path(), std::filesystem::perms::none);
    const tvapi::File holder(locked.Path());
    tvapi::OpenOptions plain, tooMany, noIds, negative, poor;
    const std::vector<u16> ids(65536);
    tooMany.fieldIds = ids.data();
    tooMany.fieldIdCount = ids.size();
    noIds.fieldIdCount = 1;
    negative.textMax = -1;
    poor.memoryBudget = 1000;
    const struct {
        std::string path;
        const tvapi::OpenOptions& how;
        i32 code;
        tvapi::Reason reason;
    } cases[] = {{sound.Path(), plain, SYM_OK, tvapi::Reason::none},
                 {TempFile::NewPath(), plain, SYM_ERR_OPEN, tvapi::Reason::missing},
                 {sound.Path() + std::string("/x"), plain, SYM_ERR_OPEN, tvapi::Reason::missing},
                 {std::filesystem::temp_directory_path().string(), plain, SYM_ERR_OPEN,
                  tvapi::Reason::notARegularFile},
                 {locked.Path(), plain, SYM_ERR_OPEN, tvapi::Reason::inUse},
                 {cut.Path(), plain, SYM_ERR_OPEN, tvapi::Reason::notASymbolFile},
                 {sound.Path(), tooMany, SYM_ERR_PARAM, tvapi::Reason::tooManyFieldIds},
                 {sound.Path(), noIds, SYM_ERR_PARAM, tvapi::Reason::invalidOption},
                 {sound.Path(), negative, SYM_ERR_PARAM, tvapi::Reason::invalidOption},
                 {sound.Path(), poor, SYM_ERR_PARAM, tvapi::Reason::budgetTooSmall},
                 {std::string("a\0b", 3), plain, SYM_ERR_PARAM, tvapi::Reason::invalidPath},
                 {std::string(25601, 'x'), plain, SYM_ERR_PARAM, tvapi::Reason::invalidPath}};
    for (const auto& [path, how, code, reason] : cases) {
        SCOPED_TRACE(path.substr(0, 99));
        auto opened = tvapi::File::tryOpen(path, how);
        EXPECT_EQ(opened.code(), code);
        EXPECT_EQ(opened.reason(), reason) << opened.message();
        EXPECT_EQ(bool(opened), opened->isOpen());
        if (opened) continue;
        EXPECT_EQ(opened.message().rfind(path + ": cannot be opened: ", 0), 0U) << opened.message();
        EXPECT_THROW(tvapi::File(path, how), tvapi::Error);
    }
    std::FILE* const readable = std::fopen(secret.Path(), "rb");  // by the superuser
    if (readable != nullptr) {
        std::fclose(readable);
    } else {
        EXPECT_EQ(tvapi::File::tryOpen(secret.Path()).reason(), tvapi::Reason::noPermission);
    }
    std::filesystem::permissions(secret.Path(), std::filesystem::perms::owner_all);
}

// What a File answers without being read, and after the library has closed it.
TEST(Hpp, AFileThatIsOnlyAsked) {
    const TempFile bytes(FileOf({SymbolsOf({"A"}), CountriesOf({"X"}), RawSection(99, {})}));
    const TempFile defaults(FileOf({DefaultsSection({})}));
    tvapi::File file(std::filesystem::path(bytes.Path()));
    const tvapi::File& query = file;
    for (const auto& [section, expected] :
         std::map<u32, bool>{{1, false}, {2, true}, {3, false}, {10, true}, {99, true}}) {
        EXPECT_EQ(query.has(section), expected) << section;
    }
    EXPECT_EQ(std::vector<u32>(query.sections().begin(), query.sections().end()), (std::vector<u32>{10, 99}));
    const tvapi::File other(defaults.Path());
    EXPECT_TRUE(other.has(1));
    EXPECT_FALSE(other.has(2));
    { const tvapi::Library library(20); }
    EXPECT_TRUE(query.isOpen()) << "a Library closes no file";
    auto countries = file.eidrCountries();
    (void)countries.begin();
    tv_CloseSymFile(query.handle());
    EXPECT_EQ(ResultOf(countries), SYM_ERR_BAD_HANDLE);
    EXPECT_EQ(file.open(bytes.Path()), SYM_OK);
    tv_CloseSymFile(query.handle());
    EXPECT_FALSE(query.isOpen());
    EXPECT_EQ(query.handle(), 0U);
    tv_ReleaseSymAPI();  // the user that Library counted; all files are closed
    EXPECT_FALSE(other.isOpen());
}

TEST(Hpp, ErrorsAreThrown) {
    const TempFile bytes(FileOf({MakeSection(10, {{{1, "A"}}, {{2, std::string(300, 'B')}}}),
                                 MakeSection(2, {{"S", {symwrite::TextField(1, "x")}, 99U}})}));
    tvapi::OpenOptions how;
    how.textMax = 100;
    tvapi::File file(bytes.Path(), how);
    EXPECT_EQ(ResultOf(file.exchanges()), SYM_ERR_NO_SECTION);
    EXPECT_EQ(ResultOf(file.symbols()), SYM_ERR_FORMAT);
    EXPECT_EQ(file.error(), SYM_ERR_NO_SECTION) << "the first one";
    file.clearError();
    try {
        for (const auto& entry : file.eidrCountries()) EXPECT_EQ(entry.name, "A");
        FAIL();
    } catch (const tvapi::Error& error) {
        EXPECT_EQ(error.code(), SYM_ERR_PARAM);
        EXPECT_EQ(error.section(), 10U);
        EXPECT_EQ(error.what(),
                  bytes.Path() + std::string(": section 10: ") + tvapi::describe(SYM_ERR_PARAM));
        EXPECT_EQ(file.message(), error.what());
    }
}

TEST(Hpp, DamageCostsWhatItHitAndNothingAhead) {
    std::vector<symwrite::Row> symbols = {{"S1", {}, {}},
                                          {"S2", {}, 702}};  // its fields and text take a byte more
    for (u16 id = 1; id <= 100; ++id) symbols[1].fields.push_back(symwrite::NumberField(id, 3, id));
    auto announcing = MakeSection(10, {{{1, "A"}}, {{2, "B"}}});
    announcing.count = 9;
    using List = std::vector<u16>;
    auto bytes =
        FileOf({DefaultsSection({symwrite::TextField(7, "default")}), MakeSection(2, symbols), announcing,
                MakeSection(21, {{{List{1, 2}}, {{{5}}, {{6}}}}, {{List{3, 4}}, {{{7}}}}})});
    bytes.pop_back();
    const TempFile path(bytes);
    tvapi::File file(path.Path());

    for (int time = 1; time <= 2; ++time) {
        SCOPED_TRACE(time);
        auto range = file.symbols();
        EXPECT_EQ(range.begin()->field(7)->text(), "default");
        const Reached reached = Walk(range);
        EXPECT_EQ(reached.elements, 1U);
        EXPECT_EQ(reached.code, SYM_ERR_FORMAT);
        ASSERT_TRUE(reached.broken);
        EXPECT_EQ(range.broken()->text(), "S2");
        EXPECT_EQ(range.broken()->fields().size(), 64U);
        EXPECT_EQ(range.broken()->field(7)->asUnsigned(), 7U);
    }
    auto countries = file.eidrCountries();
    EXPECT_EQ(Walk(countries).elements, 2U);
    EXPECT_EQ(countries.announced(), 9U);
    auto loaded = file.exchangeSupport();
    const Reached reached = Walk(loaded);
    EXPECT_EQ(reached.elements, 2U);
    EXPECT_EQ(reached.code, SYM_ERR_READ);
    EXPECT_FALSE(reached.broken);
}

// Elements that pass the end of their section, or that the end of the file cuts off, come with the error.
TEST(Hpp, ElementsThatPassTheEndAreShown) {
    // Opens a file of one section, by its directory so many bytes shorter, and really so many.
    const auto open = [](symwrite::Section section, u32 announcedLess, std::size_t cut) {
        const Bytes whole = FileOf({section});
        section.directorySize = static_cast<u32>(whole.size()) - 12 - announcedLess;
        Bytes bytes = FileOf({section});
        bytes.resize(bytes.size() - cut);
        return std::make_unique<TempFile>(bytes);
    };
    const auto expect = [](auto&& range, i32 code, std::size_t elements, const auto& look) {
        const Reached reached = Walk(range);
        EXPECT_EQ(reached.code, code);
        EXPECT_EQ(reached.elements, elements);
        ASSERT_TRUE(reached.broken);
        EXPECT_TRUE(look(*range.broken()));
    };
    tvapi::File file;
    const auto jumpPath = open(MakeSection(3, {{{1}, {{}}}, {{2}, {{}, {}}}}), 1, 0);
    ASSERT_EQ(file.open(jumpPath->Path()), SYM_OK);
    expect(file.jumpPrices(), SYM_ERR_FORMAT, 1,
           [](const auto& group) { return group.id == 2 && group.records.size() == 2; });
    const auto level2Path =
        open(MakeSection(8, {{{1}, {{{1, "a", "b"}}}}, {{2}, {{{2, "c", "d"}}, {{3, "e", "f"}}}}}), 7, 0);
    ASSERT_EQ(file.open(level2Path->Path()), SYM_OK);
    expect(file.sectionsL2(), SYM_ERR_FORMAT, 1,
           [](const auto& group) { return group.id == 2 && group.items.size() == 2; });
    const auto groupPath =
        open(MakeSection(11, {{{1, std::vector<u16>{1}}}, {{2, std::vector<u16>{1, 2, 3}}}}), 0, 1);
    ASSERT_EQ(file.open(groupPath->Path()), SYM_OK);
    expect(file.sectionGroups(), SYM_ERR_READ, 1,
           [](const auto& group) { return group.id == 2 && group.members.size() == 2; });
}

}  // namespace
}  // namespace torva::test
