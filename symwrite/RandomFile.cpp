#include "symwrite/RandomFile.h"

#include <algorithm>
#include <utility>

namespace symwrite {

std::uint64_t Random::Next() {
    state += 0x9E3779B97F4A7C15U;
    std::uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
}

std::uint32_t Random::Below(std::uint32_t bound) {
    return static_cast<std::uint32_t>(((Next() >> 32) * bound) >> 32);
}

namespace {

// Draws the parts of a file. Every draw is a statement of its own: the order of evaluation inside an
// expression is not the same everywhere.
class Maker {
public:
    Maker(Random& source, const RandomFileOptions& sizes) : random(source), options(sizes) {}

    std::uint32_t Amount(std::uint32_t wanted, std::uint32_t limit = 0xFFFFFFFFU) {
        const std::uint32_t most = std::min(wanted, limit);
        return options.vary ? random.Below(most + 1) : most;
    }
    std::uint8_t U8() { return static_cast<std::uint8_t>(random.Next()); }
    std::uint16_t U16() { return static_cast<std::uint16_t>(random.Next()); }

    std::string Text(std::uint32_t limit = 0xFFFFFFFFU) {
        const std::uint32_t length = random.Below(std::min(options.textLength, limit) + 1);
        std::string text(length, ' ');
        for (char& c : text) {
            c = static_cast<char>(options.anyBytes ? 1 + random.Below(255) : 33 + random.Below(94));
        }
        return text;
    }

    Field OneField(std::uint16_t id) {
        // Mostly texts and numbers, now and then a null of any tag.
        const std::uint32_t drawn = random.Below(12);
        Field field{id, static_cast<std::uint8_t>(drawn < 10 ? drawn : kTextTag), {}};
        if (field.tag == 0) {
            field.tag = random.OneIn(2) ? std::uint8_t{0} : static_cast<std::uint8_t>(10 + random.Below(246));
        } else if (field.tag == kTextTag) {
            field.value = Text();
        } else {
            field = NumberField(id, field.tag, random.Next());
        }
        return field;
    }

    // Ids ascend from a random start and wrap, so that none repeats before all were used.
    std::vector<Field> Fields(std::uint32_t count) {
        std::vector<Field> fields;
        fields.reserve(count);
        const std::uint32_t ids = std::clamp(options.fieldIds, 1U, 65535U);
        const std::uint32_t start = random.Below(ids);
        for (std::uint32_t i = 0; i < count; ++i) {
            fields.push_back(OneField(static_cast<std::uint16_t>(1 + (start + i) % ids)));
        }
        return fields;
    }

    std::vector<std::uint16_t> Values(std::uint32_t count) {
        std::vector<std::uint16_t> values(count);
        for (std::uint16_t& value : values) {
            value = U16();
        }
        return values;
    }

    template <std::size_t N>
    std::array<std::uint8_t, N> Record() {
        std::array<std::uint8_t, N> record;
        for (std::uint8_t& byte : record) {
            byte = U8();
        }
        return record;
    }

    std::vector<TwoTexts> Elements(std::uint32_t limit) {
        std::vector<TwoTexts> elements(Amount(options.elements, limit));
        for (TwoTexts& element : elements) {
            element.id = U16();
            element.text1 = Text();
            element.text2 = Text();
        }
        return elements;
    }

    void Fill(Raw& raw) {
        raw.bytes.resize(Amount(options.elements));
        for (std::uint8_t& byte : raw.bytes) {
            byte = U8();
        }
    }
    void Fill(DefaultFields& content) { content.fields = Fields(Amount(options.defaults)); }
    void Fill(Symbols& content) {
        const std::uint32_t count = Amount(options.symbols);
        content.symbols.reserve(count);
        for (std::uint32_t i = 0; i < count; ++i) {
            content.symbols.push_back(RandomSymbol(random, options, i));
        }
    }
    void Fill(JumpPrices& content) {
        content.groups.resize(Amount(options.elements, 255));
        for (JumpPriceGroup& group : content.groups) {
            group.id = U8();
            group.records.resize(Amount(options.inner, 65535));
            std::generate(group.records.begin(), group.records.end(), [&] { return Record<24>(); });
        }
    }
    void Fill(Brokers& content) {
        content.records.resize(Amount(options.elements, 65535));
        std::generate(content.records.begin(), content.records.end(), [&] { return Record<30>(); });
    }
    void Fill(QuickGroups& content) {
        content.groups.resize(Amount(options.elements));
        for (QuickGroup& group : content.groups) {
            group.name = Text(49);
            std::size_t room = 65535 - group.name.size() - 1;
            // A reader takes a field behind each name, so that a group without fields is not well-formed.
            for (Field& field : Fields(std::max(1U, Amount(options.inner)))) {
                const std::size_t bytes = 3 + field.value.size() + (field.tag == kTextTag ? 1 : 0);
                if (bytes > room) {
                    break;
                }
                room -= bytes;
                group.fields.push_back(std::move(field));
            }
        }
    }
    void Fill(EidrSections& content) { content.elements = Elements(0xFFFFFFFFU); }
    void Fill(Exchanges& content) { content.elements = Elements(65535); }
    void Fill(Level2Sections& content) {
        content.groups.resize(Amount(options.elements));
        for (Level2Group& group : content.groups) {
            group.id = U8();
            group.items.resize(Amount(options.inner, 255));
            for (Level2Item& item : group.items) {
                item.lead = U8();
                item.text1 = Text();
                item.text2 = Text();
            }
        }
    }
    void Fill(Directory& content, const SectionKind& kind) {
        content.elements.resize(Amount(options.elements, kind.countWidth == 2 ? 65535 : 0xFFFFFFFFU));
        for (DirectoryElement& element : content.elements) {
            element.id = kind.idWidth == 2 ? U16() : static_cast<std::uint32_t>(random.Next());
            element.name = Text();
        }
    }
    void Fill(SectionGroups& content) {
        content.groups.resize(Amount(options.elements, 255));
        for (SectionGroup& group : content.groups) {
            group.id = U8();
            group.members.resize(Amount(options.inner, 255));
            std::generate(group.members.begin(), group.members.end(), [&] { return U8(); });
        }
    }
    void Fill(Objects& content) {
        content.types.resize(Amount(options.elements, 65535));
        for (ObjectType& type : content.types) {
            type.id = U16();
            type.sources.resize(Amount(options.inner, 65535));
            for (ObjectSource& source : type.sources) {
                source.source = Text();
                source.symbols.resize(Amount(options.inner, 65535));
                std::generate(source.symbols.begin(), source.symbols.end(),
                              [&] { return OneObjectSymbol(); });
            }
        }
    }
    ObjectSymbol OneObjectSymbol() {
        ObjectSymbol symbol;
        symbol.byte = U8();
        symbol.symbol = Text();
        symbol.data.resize(Amount(options.inner, 255));
        for (ObjectData& data : symbol.data) {
            data.byte = U8();
            data.data = Text();
        }
        return symbol;
    }
    void Fill(ForeignTrade& content) {
        content.heads.resize(Amount(options.elements, 65535));
        for (ForeignTradeHead& head : content.heads) {
            head.id = U16();
            head.name = Text();
            head.items.resize(Amount(options.inner));
            for (ForeignTradeItem& item : head.items) {
                item.tag = U8();
                item.names.resize(Amount(options.inner, 65535));
                std::generate(item.names.begin(), item.names.end(), [&] { return Text(); });
            }
        }
    }
    void Fill(GlobalRelated& content) {
        content.heads.resize(Amount(options.elements, 65535));
        for (GlobalRelatedHead& head : content.heads) {
            head.id = U16();
            head.lists.resize(Amount(options.inner));
            for (GlobalRelatedList& list : head.lists) {
                list.items.resize(Amount(options.inner, 255));
                for (GlobalRelatedItem& item : list.items) {
                    item.tag = U8();
                    item.name = Text();
                }
            }
        }
    }
    void Fill(RealDelayMapping& content) {
        content.pairs.resize(Amount(options.elements, 65535));
        for (RealDelayPair& pair : content.pairs) {
            pair.first = U8();
            pair.second = U8();
        }
    }
    void Fill(EodItems& content) {
        content.groups.resize(Amount(options.elements, 65535));
        for (EodItemGroup& group : content.groups) {
            group.ids = Values(Amount(options.inner, 65535));
            group.second = Values(Amount(options.inner, 65535));
            group.third = Values(Amount(options.inner, 65535));
            group.first = Values(Amount(options.inner, 65535));
        }
    }
    void Fill(ExchangeSupport& content) {
        content.groups.resize(Amount(options.elements));
        for (ExchangeSupportGroup& group : content.groups) {
            group.ids = Values(Amount(options.inner, 65535));
            group.items = Values(Amount(options.inner, 65535));
        }
    }

private:
    Random& random;
    const RandomFileOptions& options;
};

}  // namespace

Symbol RandomSymbol(Random& random, const RandomFileOptions& options, std::uint64_t index) {
    Maker maker(random, options);
    Symbol symbol;
    symbol.text = std::to_string(index) + '.' + maker.Text();
    symbol.fields = maker.Fields(maker.Amount(options.fieldsPerSymbol));
    return symbol;
}

File RandomFile(const RandomFileOptions& options) {
    Random random(options.seed);
    Maker maker(random, options);
    File file;
    for (std::uint16_t id = 1; id <= 22; ++id) {
        if (id > 2 && !options.allSections) {
            break;
        }
        if (options.onlySection != 0 && id != options.onlySection) {
            continue;
        }
        Section section = MakeSection(id);
        std::visit(
            [&](auto& content) {
                if constexpr (std::is_same_v<std::decay_t<decltype(content)>, Directory>) {
                    maker.Fill(content, *FindSectionKind(id));
                } else {
                    maker.Fill(content);
                }
            },
            section.content);
        file.sections.push_back(std::move(section));
    }
    if (options.shuffle) {
        for (std::size_t i = file.sections.size(); i > 1; --i) {
            std::swap(file.sections[i - 1], file.sections[random.Below(static_cast<std::uint32_t>(i))]);
        }
    }
    return file;
}

namespace {

template <typename T>
Section Make(std::uint16_t id, T content) {
    Section section;
    section.id = id;
    section.content = std::move(content);
    return section;
}

std::array<std::uint8_t, 24> JumpRecord(std::uint8_t first) {
    std::array<std::uint8_t, 24> record{};
    record.front() = first;
    record.back() = 0x24;
    return record;
}

std::array<std::uint8_t, 30> BrokerRecord(std::uint8_t first) {
    std::array<std::uint8_t, 30> record{};
    record.front() = first;
    record.back() = 0x30;
    return record;
}

Symbols SmallSymbols() {
    Symbols symbols;
    symbols.symbols.push_back(
        {"A.1",
         {NumberField(1, 1, 0x11), NumberField(2, 2, 0x22), NumberField(3, 3, 0x33333333),
          NumberField(4, 4, 0x4444), NumberField(5, 5, 0x55555555), NumberField(6, 6, 0x6666666666666666),
          TextField(7, "own"), NumberField(8, 8, 0x88888888), NumberField(9, 9, 0x999999), NullField(10),
          NullField(11, 200)},
         {}});
    symbols.symbols.push_back({"B", {}, {}});
    symbols.symbols.push_back({"", {TextField(7, ""), TextField(20, "a longer text")}, {}});
    return symbols;
}

}  // namespace

File SmallFile() {
    File file;
    auto& all = file.sections;
    all.push_back(
        Make(1, DefaultFields{{TextField(7, "default"), NumberField(21, 4, 0x2121), NullField(22)}}));
    all.push_back(Make(2, SmallSymbols()));
    all.push_back(Make(
        3, JumpPrices{{{1, {JumpRecord(1), JumpRecord(2)}, {}}, {2, {}, {}}, {3, {JumpRecord(3)}, {}}}}));
    all.push_back(Make(4, Brokers{{BrokerRecord(1), BrokerRecord(2)}}));
    all.push_back(Make(5, Raw{{0xAA, 0xBB}}));
    all.push_back(Make(6, QuickGroups{{{"q1", {TextField(1, "x"), NumberField(2, 4, 7)}, {}},
                                       {"", {NullField(3), NumberField(4, 8, 9)}, {}}}}));
    all.push_back(Make(7, EidrSections{{{1, "one", "1"}, {2, "", ""}}}));
    all.push_back(
        Make(8, Level2Sections{{{1, {{5, "a", "b"}, {6, "", "cc"}}, {}}, {2, {{7, "d", ""}}, {}}}}));
    all.push_back(Make(9, Directory{{{9, "fund"}, {10, ""}}}));
    all.push_back(Make(10, Directory{{{20, "AD"}, {784, "AE"}}}));
    all.push_back(Make(11, SectionGroups{{{1, {1, 2, 3}, {}}, {2, {}, {}}, {3, {4}, {}}}}));
    all.push_back(Make(12, Directory{{{12, "issuer"}, {13, "i"}}}));
    all.push_back(Make(
        13,
        Objects{
            {{1, {{"s1", {{1, "x", {{1, "d"}, {2, ""}}, {}}, {2, "y", {}, {}}}, {}}, {"s2", {}, {}}}, {}, {}},
             {2, {{"", {{3, "", {{4, "e"}}, {}}}, {}}}, {}, {}}}}));
    all.push_back(Make(14, ForeignTrade{{{1, "h1", {{1, {"a", "bb"}, {}}, {2, {}, {}}}, {}},
                                         {2, "", {{3, {""}, {}}}, {}},
                                         {3, "h3", {}, {}}}}));
    all.push_back(Make(15, GlobalRelated{{{1, {{{{1, "a"}, {2, ""}}, {}}, {{}, {}}}, {}},
                                          {2, {{{{3, "cc"}}, {}}}, {}},
                                          {3, {}, {}}}}));
    all.push_back(Make(16, Exchanges{{{1, "HK", "Hong Kong"}, {2, "", ""}}}));
    all.push_back(Make(17, RealDelayMapping{{{1, 101}, {2, 102}}}));
    all.push_back(Make(
        18, EodItems{{{{500, 3}, {1, 2}, {}, {9}, {}, {}, {}, {}}, {{7}, {}, {4}, {5, 6}, {}, {}, {}, {}}}}));
    all.push_back(Make(19, Directory{{{70000, "main"}, {1, ""}}}));
    all.push_back(Make(20, Directory{{{1, "f1"}, {2, "f2"}}}));
    all.push_back(Make(21, ExchangeSupport{{{{5, 2}, {1, 2, 3}, {}, {}}, {{9}, {}, {}, {}}}}));
    all.push_back(Make(22, Directory{{{1, "c1"}, {2, "c2"}}}));
    return file;
}

}  // namespace symwrite
