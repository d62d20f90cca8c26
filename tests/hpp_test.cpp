// The C++ header: every section of a file as ranges, compared with the data that the file was written from;
// leaving, beginning again, keeping values, errors.
#include <gtest/gtest.h>

#include <map>
#include <ranges>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "TorvaAPI.hpp"
#include "symwrite/RandomFile.h"

namespace torva::test {
namespace {

static_assert(std::ranges::input_range<tvapi::Range<tvapi::SymbolWalk>>);
static_assert(std::ranges::input_range<tvapi::FieldList>);

std::string Hex(const void* data, std::size_t size) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (std::size_t i = 0; i < size; ++i) {
        const u8 byte = static_cast<const u8*>(data)[i];
        hex += {kDigits[byte >> 4U], kDigits[byte & 15U]};
    }
    return hex;
}
std::string Hex(std::string_view bytes) { return Hex(bytes.data(), bytes.size()); }

template <class Values>
void PrintList(std::ostream& out, const Values& values) {
    out << " [";
    for (const auto value : values) out << +value << ' ';
    out << ']';
}

// What a file says, from the data that it was written from.
class Expected {
public:
    explicit Expected(const symwrite::File& file) {
        for (const auto& section : file.sections) {
            if (const auto* fields = std::get_if<symwrite::DefaultFields>(&section.content))
                defaults = fields->fields;
        }
        for (const auto& section : file.sections) {
            if (section.id == 1 || symwrite::FindSectionKind(section.id) == nullptr) continue;
            out << "section " << section.id << '\n';
            std::visit([this](const auto& content) { Print(content); }, section.content);
        }
    }
    std::string Text() const { return out.str(); }

private:
    void Print(const symwrite::Raw&) {}
    void Print(const symwrite::DefaultFields&) {}
    void Print(const symwrite::Symbols& section) {
        for (const auto& symbol : section.symbols) {
            out << symbol.text << '\n';
            for (const auto& field : symbol.fields) PrintField(field);
            std::vector<bool> seen(defaults.size());
            for (const auto& field : symbol.fields) MarkFirst(field.id, seen);
            for (std::size_t i = 0; i < defaults.size(); ++i) {
                if (!seen[i]) PrintField(defaults[i]);
            }
        }
    }
    void MarkFirst(u16 id, std::vector<bool>& seen) const {
        for (std::size_t i = 0; i < defaults.size(); ++i) {
            if (defaults[i].id == id) {
                seen[i] = true;
                return;
            }
        }
    }
    void PrintField(const symwrite::Field& field) {
        out << ' ' << field.id << ':' << +field.tag << '=' << Hex(field.value) << '\n';
    }
    void Print(const symwrite::JumpPrices& section) {
        for (const auto& group : section.groups) {
            out << +group.id << '\n';
            for (const auto& record : group.records) out << Hex(record.data(), record.size()) << '\n';
        }
    }
    void Print(const symwrite::Brokers& section) {
        for (const auto& record : section.records) out << Hex(record.data(), record.size()) << '\n';
    }
    void Print(const symwrite::QuickGroups& section) {
        for (const auto& group : section.groups) {
            for (const auto& field : group.fields) {
                out << group.name;
                PrintField(field);
            }
        }
    }
    void Print(const symwrite::EidrSections& section) { PrintTwoTexts(section.elements); }
    void Print(const symwrite::Exchanges& section) { PrintTwoTexts(section.elements); }
    void PrintTwoTexts(const std::vector<symwrite::TwoTexts>& elements) {
        for (const auto& element : elements)
            out << element.id << ' ' << element.text1 << ' ' << element.text2 << '\n';
    }
    void Print(const symwrite::Level2Sections& section) {
        for (const auto& group : section.groups) {
            out << +group.id << '\n';
            for (const auto& item : group.items)
                out << ' ' << +item.lead << ' ' << item.text1 << ' ' << item.text2 << '\n';
        }
    }
    void Print(const symwrite::Directory& section) {
        for (const auto& element : section.elements) out << element.id << ' ' << element.name << '\n';
    }
    void Print(const symwrite::SectionGroups& section) {
        for (const auto& group : section.groups) {
            out << +group.id;
            PrintList(out, group.members);
            out << '\n';
        }
    }
    void Print(const symwrite::Objects& section) {
        for (const auto& type : section.types) {
            out << type.id << '\n';
            for (const auto& source : type.sources) {
                out << ' ' << source.source << '\n';
                for (const auto& symbol : source.symbols) {
                    out << "  " << +symbol.byte << ' ' << symbol.symbol << '\n';
                    for (const auto& data : symbol.data)
                        out << "   " << +data.byte << ' ' << data.data << '\n';
                }
            }
        }
    }
    void Print(const symwrite::ForeignTrade& section) {
        for (const auto& head : section.heads) {
            out << head.id << ' ' << head.name << '\n';
            for (const auto& item : head.items) {
                out << ' ' << +item.tag << '\n';
                for (const auto& name : item.names) out << "  " << name << '\n';
            }
        }
    }
    void Print(const symwrite::GlobalRelated& section) {
        for (const auto& head : section.heads) {
            out << head.id << '\n';
            for (const auto& list : head.lists) {
                out << " list\n";
                for (const auto& item : list.items) out << "  " << +item.tag << ' ' << item.name << '\n';
            }
        }
    }
    void Print(const symwrite::RealDelayMapping& section) {
        for (const auto& pair : section.pairs) out << +pair.first << ' ' << +pair.second << '\n';
    }
    void Print(const symwrite::EodItems& section) {
        std::map<u16, std::string> byId;
        for (const auto& group : section.groups) {
            std::ostringstream lists;
            for (const auto* list : {&group.first, &group.second, &group.third}) PrintList(lists, *list);
            for (const u16 id : group.ids) byId[id] = lists.str();
        }
        for (const auto& [id, lists] : byId) out << id << lists << '\n';
    }
    void Print(const symwrite::ExchangeSupport& section) {
        std::map<u16, std::string> byId;
        for (const auto& group : section.groups) {
            std::ostringstream list;
            PrintList(list, group.items);
            for (const u16 id : group.ids) byId[id] = list.str();
        }
        for (const auto& [id, list] : byId) out << id << list << '\n';
    }

    std::vector<symwrite::Field> defaults;
    std::ostringstream out;
};

// The same from the file itself.
class Actual {
public:
    explicit Actual(tvapi::File& opened) : file(opened) {}

    std::string Text(const symwrite::File& sections) {
        for (const auto& section : sections.sections) {
            if (section.id == 1 || symwrite::FindSectionKind(section.id) == nullptr) continue;
            out << "section " << section.id << '\n';
            Print(section.id);
        }
        return out.str();
    }

    // NOLINTNEXTLINE(readability-function-size): one case per section
    void Print(u16 section) {
        switch (section) {
            case 2:
                for (const auto& symbol : file.symbols()) {
                    out << symbol.text() << '\n';
                    for (const auto field : symbol.fields()) PrintField(field, field.id());
                }
                break;
            case 3:
                for (const auto& group : file.jumpPrices()) {
                    out << +group.id << '\n';
                    for (const auto& record : group.records) out << Hex(record.bytes, 24) << '\n';
                }
                break;
            case 4:
                for (const auto& records : file.brokerInfo()) {
                    for (const auto& record : records) out << Hex(record.bytes, 30) << '\n';
                }
                break;
            case 6:
                for (const auto& field : file.eidrQuickFields()) {
                    out << field.group();
                    PrintField(field.value(), field.id());
                }
                break;
            case 7:
                for (const auto& element : file.eidrSections())
                    out << element.id << ' ' << element.text1 << ' ' << element.text2 << '\n';
                break;
            case 8: {
                bool goesOn = false;
                for (const auto& group : file.sectionsL2()) {
                    if (!goesOn) out << +group.id << '\n';
                    for (const auto& item : group.items)
                        out << ' ' << +item.leadByte << ' ' << item.text1 << ' ' << item.text2 << '\n';
                    goesOn = group.more;
                }
                break;
            }
            case 9:
                PrintDirectory(file.fundCompanies());
                break;
            case 10:
                PrintDirectory(file.eidrCountries());
                break;
            case 11:
                for (const auto& group : file.sectionGroups()) {
                    out << +group.id;
                    PrintList(out, group.members);
                    out << '\n';
                }
                break;
            case 12:
                PrintDirectory(file.issueCompanies());
                break;
            case 13:
                for (const auto& type : file.objectTypes()) PrintType(type);
                break;
            case 14:
                for (const auto& head : file.foreignTrade()) PrintHead(head);
                break;
            case 15:
                for (const auto& head : file.globalRelated()) {
                    out << head.id << '\n';
                    for (const auto& list : head.lists()) {
                        out << " list\n";
                        for (const auto& item : list.items)
                            out << "  " << +item.tag << ' ' << item.name << '\n';
                    }
                }
                break;
            case 16:
                for (const auto& exchange : file.exchanges())
                    out << exchange.id << ' ' << exchange.text1 << ' ' << exchange.text2 << '\n';
                break;
            case 17:
                for (const auto& pair : file.realDelayMapping())
                    out << +pair.first << ' ' << +pair.second << '\n';
                break;
            case 18:
                for (const auto& define : file.level2EodBasicItemDefines()) {
                    out << define.id;
                    for (const auto& list : {define.first, define.second, define.third}) PrintList(out, list);
                    out << '\n';
                }
                break;
            case 19:
                PrintDirectory(file.fundMainNames());
                break;
            case 20:
                PrintDirectory(file.futuresSectionsV2());
                break;
            case 21:
                for (const auto& support : file.exchangeSupport()) {
                    out << support.id;
                    PrintList(out, support.values);
                    out << '\n';
                }
                break;
            case 22:
                PrintDirectory(file.futuresClassTypes());
                break;
            default:
                FAIL() << "section " << section;
        }
    }
    void PrintField(const tvapi::Payload& value, u16 id) {
        out << ' ' << id << ':' << +value.tag() << '=' << Hex(value.data(), value.size()) << '\n';
    }
    template <class Range>
    void PrintDirectory(Range&& directory) {
        for (const auto& entry : directory) out << entry.id << ' ' << entry.name << '\n';
    }
    void PrintType(const tvapi::ObjectType& type) {
        out << type.id << '\n';
        for (const auto& source : type.sources()) {
            // The text of a level must outlive what is read below it.
            std::ostringstream below;
            for (const auto& symbol : source.symbols()) {
                std::ostringstream data;
                for (const auto& record : symbol.data())
                    data << "   " << +record.byte << ' ' << record.text << '\n';
                below << "  " << +symbol.byte << ' ' << symbol.text << '\n' << data.str();
            }
            out << ' ' << source.text << '\n' << below.str();
        }
    }
    void PrintHead(const tvapi::ForeignTrade& head) {
        std::ostringstream below;
        bool goesOn = false;
        for (const auto& item : head.items()) {
            if (!goesOn) below << ' ' << +item.tag << '\n';
            for (const char* name : item.names) below << "  " << name << '\n';
            goesOn = item.more;
        }
        out << head.id << ' ' << head.name << '\n' << below.str();
    }
    std::string Taken() { return std::exchange(out, std::ostringstream()).str(); }

private:
    tvapi::File& file;
    std::ostringstream out;
};

}  // namespace

symwrite::File LongLists();  // for hpp_codes_test.cpp, too

// Lists and groups longer than what the ranges first make room for, and an empty group at the end of the
// file.
symwrite::File LongLists() {
    symwrite::File file;
    symwrite::Symbols symbols;
    symbols.symbols.resize(5);
    symwrite::JumpPrices jumps;
    symwrite::Brokers brokers;
    symwrite::ForeignTrade trade;
    trade.heads = {{1, "head", {{2, {}, {}}, {3, {"last"}, {}}}, {}}};
    symwrite::EodItemGroup define = {{9, 4}, {1}, {}, {}, {}, {}, {}, {}};
    symwrite::ExchangeSupportGroup support = {{5}, {}, {}, {}};
    for (u16 i = 0; i < 1000; ++i) {
        symbols.symbols[i % 2U].fields.push_back(symwrite::TextField(i, std::to_string(i)));
        jumps.groups.resize(i / 400U + 1U);
        jumps.groups.back().records.push_back({static_cast<u8>(i), static_cast<u8>(i / 256U)});
        brokers.records.push_back({static_cast<u8>(i), static_cast<u8>(i / 256U)});
        trade.heads[0].items[0].names.push_back(std::to_string(i));
        define.first.push_back(i);
        support.items.push_back(i);
    }
    jumps.groups.push_back({77, {}, {}});
    file.sections = {MakeSection(2, symbols),
                     MakeSection(4, brokers),
                     MakeSection(14, trade),
                     MakeSection(18, symwrite::EodItems{{define}}),
                     MakeSection(21, symwrite::ExchangeSupport{{support}}),
                     MakeSection(3, jumps)};
    return file;
}

namespace {

TEST(Hpp, DeliversWhatWasWritten) {
    std::vector<symwrite::File> files = {symwrite::SmallFile()};
    for (u64 seed = 1; seed <= 12; ++seed) {
        symwrite::RandomFileOptions options;
        options.seed = seed;
        options.vary = true;
        options.shuffle = true;
        files.push_back(symwrite::RandomFile(options));
    }
    files.push_back(LongLists());
    for (std::size_t i = 0; i < files.size(); ++i) {
        SCOPED_TRACE(i);
        const TempFile bytes(symwrite::Write(files[i]));
        for (const bool wholeFile : {true, false}) {
            tvapi::OpenOptions how;
            how.wholeFile = wholeFile;
            tvapi::File file(bytes.Path(), how);
            const std::string expected = Expected(files[i]).Text();
            EXPECT_EQ(Actual(file).Text(files[i]), expected);
            EXPECT_EQ(Actual(file).Text(files[i]), expected) << "second walk";
        }
    }
}

// A range begins at the first element, wherever the last one was left.
TEST(Hpp, BeginsAnewAfterEveryNumberOfSteps) {
    const symwrite::File data = symwrite::SmallFile();
    for (const auto& section : data.sections) {
        if (section.id == 1 || symwrite::FindSectionKind(section.id) == nullptr) continue;
        SCOPED_TRACE(section.id);
        // With nothing but this section: where no other section can be entered, the file is opened again.
        const bool needsDefaults = section.id == 2;
        symwrite::File alone;
        for (const auto& other : data.sections) {
            if (other.id == section.id || (needsDefaults && other.id == 1)) alone.sections.push_back(other);
        }
        const TempFile bytes(symwrite::Write(alone));
        tvapi::File file(bytes.Path());
        Actual actual(file);
        actual.Print(section.id);
        const std::string whole = actual.Taken();
        ASSERT_FALSE(whole.empty());
        const auto leaveAfter = [](auto&& range, int steps) {
            for (auto it = range.begin(); it != range.end() && steps > 0; ++it) --steps;
        };
        for (int steps = 0; steps < 4; ++steps) {
            switch (section.id) {
                case 2:
                    leaveAfter(file.symbols(), steps);
                    break;
                case 3:
                    leaveAfter(file.jumpPrices(), steps);
                    break;
                case 8:
                    leaveAfter(file.sectionsL2(), steps);
                    break;
                case 13:
                    for (const auto& type : file.objectTypes()) leaveAfter(type.sources(), steps);
                    break;
                case 18:
                    leaveAfter(file.level2EodBasicItemDefines(), steps);
                    break;
                default:
                    break;
            }
            actual.Print(section.id);
            EXPECT_EQ(actual.Taken(), whole) << steps;
        }
    }
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
        if (const auto* objects = std::get_if<symwrite::Objects>(&section.content)) {
            for (const auto& type : objects->types) {
                for (const auto& source : type.sources) {
                    expected.push_back(source.source);
                    for (const auto& symbol : source.symbols) expected.push_back(symbol.symbol);
                }
            }
        } else if (const auto* trade = std::get_if<symwrite::ForeignTrade>(&section.content)) {
            for (const auto& head : trade->heads) expected.push_back(head.name);
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

TEST(Hpp, ValuesAndFiltersAndHandles) {
    symwrite::Symbols symbols;
    symbols.symbols = {{"ONE", {symwrite::TextField(7, "kept"), symwrite::NumberField(8, 3, 0x01020304)}, {}},
                       {"TWO", {symwrite::NullField(7)}, {}}};
    const TempFile bytes(FileOf({MakeSection(2, symbols)}));
    tvapi::Value kept;
    const std::vector<u16> ids = {7};
    {
        tvapi::OpenOptions how;
        how.fieldIds = ids.data();
        how.fieldIdCount = 1;
        tvapi::File file(bytes.Path(), how);
        tvapi::File moved(std::move(file));
        EXPECT_FALSE(file);  // NOLINT(bugprone-use-after-move): that it is empty is the point
        file = std::move(moved);
        auto range = file.symbols();
        auto it = range.begin();
        EXPECT_EQ(it->fields().size(), 1U);
        kept = it->field(7)->take();
        EXPECT_FALSE(it->field(7)->present());
        EXPECT_FALSE(it->field(8).has_value());
        ++it;
        EXPECT_EQ(it->text(), "TWO");
        EXPECT_EQ(it->field(7)->as<u32>(), 0U);
        EXPECT_EQ(tvapi::File().open(bytes.Path()), SYM_ERR_OPEN) << "open elsewhere";
    }
    EXPECT_STREQ(static_cast<const char*>(kept.get()), "kept");
    tvapi::File file(bytes.Path());
    EXPECT_EQ((*file.symbols().begin()).field(8)->as<u16>(), 0x0304);
    EXPECT_FALSE(file.has(10));
}

TEST(Hpp, ErrorsAreThrown) {
    const auto codeOf = [](const auto& run) -> i32 {
        try {
            run();
        } catch (const tvapi::Error& error) {
            return error.code();
        }
        return SYM_OK;
    };
    EXPECT_EQ(codeOf([] { const tvapi::File file(TempFile::NewPath()); }), SYM_ERR_OPEN);

    symwrite::Directory directory;
    directory.elements = {{1, "A"}, {2, std::string(300, 'B')}};
    symwrite::Symbols symbols;
    symbols.symbols = {{"S", {symwrite::TextField(1, "x")}, 99U}};
    const TempFile bytes(FileOf({MakeSection(10, directory), MakeSection(2, symbols)}));
    tvapi::OpenOptions how;
    how.textMax = 100;
    tvapi::File file(bytes.Path(), how);
    const auto walk = [](auto&& range) {
        for ([[maybe_unused]] const auto& element : range) {
        }
    };
    EXPECT_EQ(codeOf([&] { walk(file.exchanges()); }), SYM_ERR_NO_SECTION);
    EXPECT_EQ(codeOf([&] { walk(file.symbols()); }), SYM_ERR_FORMAT);
    int elements = 0;
    EXPECT_EQ(codeOf([&] {
                  for ([[maybe_unused]] const auto& entry : file.eidrCountries()) ++elements;
              }),
              SYM_ERR_PARAM);
    EXPECT_EQ(elements, 1);
    try {
        walk(file.eidrCountries());
        FAIL();
    } catch (const tvapi::Error& error) {
        EXPECT_EQ(error.section(), 10U);
        EXPECT_EQ(std::string(error.what()).rfind("section 10: ", 0), 0U) << error.what();
    }
}

// Elements ahead of the damage, the code that ends the range, and what is left to be seen of the last one.
struct Reached {
    std::size_t elements = 0;
    i32 code = SYM_OK;
    bool broken = false;
};

template <class Range>
Reached Walk(Range& range) {
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

TEST(Hpp, DamageCostsWhatItHitAndNothingAhead) {
    symwrite::DefaultFields defaults;
    defaults.fields = {symwrite::TextField(7, "default")};
    symwrite::Symbols symbols;
    symbols.symbols = {{"S1", {}, {}}, {"S2", {}, 702}};  // its fields and text take a byte more
    for (u16 id = 1; id <= 100; ++id) symbols.symbols[1].fields.push_back(symwrite::NumberField(id, 3, id));
    symwrite::Directory directory;
    directory.elements = {{1, "A"}, {2, "B"}};
    auto announcing = MakeSection(10, directory);
    announcing.count = 9;
    symwrite::ExchangeSupport support;
    support.groups = {{{5, 6}, {1, 2}, {}, {}}, {{7}, {3, 4}, {}, {}}};
    auto bytes =
        FileOf({MakeSection(1, defaults), MakeSection(2, symbols), announcing, MakeSection(21, support)});
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
        EXPECT_EQ(range.broken()->field(7)->as<u32>(), 7U);
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

// Elements that pass the end of their section, or that the end of the file cuts off, stand behind the error.
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
    symwrite::JumpPrices jumps;
    jumps.groups = {{1, {{}}, {}}, {2, {{}, {}}, {}}};
    const auto jumpPath = open(MakeSection(3, jumps), 1, 0);
    expect(tvapi::File(jumpPath->Path()).jumpPrices(), SYM_ERR_FORMAT, 1,
           [](const auto& group) { return group.id == 2 && group.records.size() == 2; });
    symwrite::Level2Sections level2;
    level2.groups = {{1, {{1, "a", "b"}}, {}}, {2, {{2, "c", "d"}, {3, "e", "f"}}, {}}};
    const auto level2Path = open(MakeSection(8, level2), 7, 0);
    expect(tvapi::File(level2Path->Path()).sectionsL2(), SYM_ERR_FORMAT, 1,
           [](const auto& group) { return group.id == 2 && group.items.size() == 2; });
    symwrite::SectionGroups groups;
    groups.groups = {{1, {1}, {}}, {2, {1, 2, 3}, {}}};
    const auto groupPath = open(MakeSection(11, groups), 0, 1);
    expect(tvapi::File(groupPath->Path()).sectionGroups(), SYM_ERR_READ, 1,
           [](const auto& group) { return group.id == 2 && group.members.size() == 2; });
}

}  // namespace
}  // namespace torva::test
