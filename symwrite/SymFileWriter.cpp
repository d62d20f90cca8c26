// The file, all numbers little-endian and unaligned:
//
//   u16 section count | section count x { u16 id, u32 offset, u32 size } | sections
//
// A section, with what is missing in sections 1 and 2 told by `kKinds`:
//
//   u16 id | u32 head value: the bytes of the elements | count, 0 to 4 bytes wide | elements
//
// Sizes that stand ahead of what they measure are found by running the same code with an emitter that only
// counts.
#include "symwrite/SymFileWriter.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <ostream>
#include <type_traits>

namespace symwrite {

namespace {

template <typename T>
constexpr std::size_t IndexOf() {
    return Content(std::in_place_type<T>).index();
}

const std::vector<SectionKind>& Kinds() {
    static const std::vector<SectionKind> kKinds = {
        {1, "default-fields", "default fields", 0, 0, IndexOf<DefaultFields>()},
        {2, "symbols", "symbols", 0, 0, IndexOf<Symbols>()},
        {3, "jump-prices", "jump prices", 1, 0, IndexOf<JumpPrices>()},
        {4, "broker-info", "broker info", 2, 0, IndexOf<Brokers>()},
        {6, "eidr-quick-groups", "Eidr quick groups", 0, 0, IndexOf<QuickGroups>()},
        {7, "eidr-sections", "Eidr sections", 0, 0, IndexOf<EidrSections>()},
        {8, "level2-sections", "level-2 sections", 0, 0, IndexOf<Level2Sections>()},
        {9, "fund-companies", "fund companies", 2, 2, IndexOf<Directory>()},
        {10, "eidr-countries", "Eidr countries", 2, 2, IndexOf<Directory>()},
        {11, "section-groups", "section groups", 1, 0, IndexOf<SectionGroups>()},
        {12, "issue-companies", "issue companies", 2, 2, IndexOf<Directory>()},
        {13, "objects", "objects", 2, 0, IndexOf<Objects>()},
        {14, "foreign-trade", "foreign trade", 2, 0, IndexOf<ForeignTrade>()},
        {15, "global-related", "global related", 2, 0, IndexOf<GlobalRelated>()},
        {16, "exchanges", "exchanges", 2, 0, IndexOf<Exchanges>()},
        {17, "real-delay", "real-delay mapping", 2, 0, IndexOf<RealDelayMapping>()},
        {18, "level2-eod-items", "level-2 EOD item definitions", 2, 0, IndexOf<EodItems>()},
        {19, "fund-main-names", "fund main names", 4, 4, IndexOf<Directory>()},
        {20, "futures-sections", "futures sections V2", 4, 2, IndexOf<Directory>()},
        {21, "exchange-support", "exchange support", 4, 0, IndexOf<ExchangeSupport>()},
        {22, "futures-class-types", "futures class types", 4, 2, IndexOf<Directory>()},
    };
    return kKinds;
}

constexpr std::uint64_t kU32Max = std::numeric_limits<std::uint32_t>::max();

std::uint64_t MaxOfWidth(std::size_t width) { return (std::uint64_t{1} << (8 * width)) - 1; }

// Takes bytes and passes them on to a stream in pieces, keeps them, or only counts them. It also carries the
// path to the data under way, for messages.
class Emitter {
    static constexpr std::size_t kNoIndex = std::numeric_limits<std::size_t>::max();
    struct Step {
        const char* member;
        std::size_t index;
    };

public:
    enum class Mode { Count, Keep };

    explicit Emitter(Mode mode) : counting(mode == Mode::Count) {}
    explicit Emitter(Bytes&& begun) : buffer(std::move(begun)) {}
    explicit Emitter(std::ostream& out) : stream(&out) {}
    Emitter(const Emitter&) = delete;
    Emitter& operator=(const Emitter&) = delete;

    void Put(const void* bytes, std::size_t size) {
        total += size;
        if (counting) {
            return;
        }
        const auto* from = static_cast<const std::uint8_t*>(bytes);
        buffer.insert(buffer.end(), from, from + size);
        if (stream != nullptr && buffer.size() >= kPiece) {
            Flush();
        }
    }

    void Number(std::uint64_t value, std::size_t width) {
        std::uint8_t bytes[8];
        for (std::size_t i = 0; i < width; ++i) {
            bytes[i] = static_cast<std::uint8_t>(value >> (8 * i));
        }
        Put(bytes, width);
    }

    // A number that must fit its width, or what stands in its place on purpose.
    template <typename Override>
    void Counted(std::uint64_t value, std::size_t width, const std::optional<Override>& instead,
                 const char* what) {
        const std::uint64_t written = instead ? *instead : value;
        if (written > MaxOfWidth(width)) {
            Fail(std::string(what) + " is " + std::to_string(written) + ", the file can hold at most " +
                 std::to_string(MaxOfWidth(width)));
        }
        Number(written, width);
    }

    void Text(const std::string& text, const char* member) {
        if (text.find('\0') != std::string::npos) {
            Fail("a text cannot contain a zero byte", member);
        }
        Put(text.c_str(), text.size() + 1);
    }

    void Flush() {
        if (stream == nullptr || buffer.empty()) {
            return;
        }
        stream->write(reinterpret_cast<const char*>(buffer.data()),
                      static_cast<std::streamsize>(buffer.size()));
        buffer.clear();
        if (!*stream) {
            throw WriteError("", "the output did not take the bytes");
        }
    }

    [[noreturn]] void Fail(const std::string& what, const char* member = nullptr) const {
        std::string where;
        for (const Step& step : *path) {
            where += '/';
            where += step.member;
            if (step.index != kNoIndex) {
                where += '/' + std::to_string(step.index);
            }
        }
        if (member != nullptr) {
            where += '/';
            where += member;
        }
        throw WriteError(where, section == 0 ? what : "section " + std::to_string(section) + ": " + what);
    }

    // The section under way, for messages.
    void BeginSection(std::uint16_t id) { section = id; }

    // Marks the element under way for as long as it lives.
    class At {
    public:
        At(Emitter& out, const char* member, std::size_t index = kNoIndex) : path(*out.path) {
            path.push_back({member, index});
        }
        ~At() { path.pop_back(); }
        At(const At&) = delete;
        At& operator=(const At&) = delete;

    private:
        std::vector<Step>& path;
    };

    // The bytes that `emit(counter)` would put here.
    template <typename Emit>
    std::uint64_t Measure(const Emit& emit) {
        Emitter counter(Mode::Count);
        counter.path = path;
        counter.section = section;
        emit(counter);
        return counter.total;
    }

    std::uint64_t Total() const { return total; }
    Bytes Take() { return std::move(buffer); }

private:
    static constexpr std::size_t kPiece = 1 << 16;

    bool counting = false;
    std::uint16_t section = 0;
    std::ostream* stream = nullptr;
    std::uint64_t total = 0;
    Bytes buffer;
    std::vector<Step> ownPath;
    std::vector<Step>* path = &ownPath;  // a counter continues the path of the emitter that it measures for
};

using At = Emitter::At;

template <typename Elements, typename Emit>
void ForEach(Emitter& out, const char* member, const Elements& elements, const Emit& emit) {
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const At at(out, member, i);
        emit(elements[i]);
    }
}

void EmitFields(Emitter& out, const std::vector<Field>& fields) {
    ForEach(out, "fields", fields, [&](const Field& field) {
        out.Number(field.id, 2);
        out.Number(field.tag, 1);
        if (field.tag == kTextTag) {
            out.Text(field.value, "value");
            return;
        }
        if (field.value.size() != PayloadWidth(field.tag)) {
            out.Fail("a field of tag " + std::to_string(field.tag) + " takes " +
                         std::to_string(PayloadWidth(field.tag)) + " bytes, not " +
                         std::to_string(field.value.size()),
                     "value");
        }
        out.Put(field.value.data(), field.value.size());
    });
}

void EmitSymbol(Emitter& out, const Symbol& symbol) {
    const auto body = [&](Emitter& to) {
        to.Text(symbol.text, "symbol");
        EmitFields(to, symbol.fields);
    };
    out.Counted(out.Measure(body), 4, symbol.recordSize, "the size of the record");
    body(out);
}

void EmitTwoTexts(Emitter& out, const std::vector<TwoTexts>& elements) {
    ForEach(out, "elements", elements, [&](const TwoTexts& element) {
        out.Number(element.id, 2);
        out.Text(element.text1, "text1");
        out.Text(element.text2, "text2");
    });
}

void EmitList(Emitter& out, const std::vector<std::uint16_t>& values,
              const std::optional<std::uint16_t>& count, const char* member) {
    const At at(out, member);
    out.Counted(values.size(), 2, count, "the number of values");
    for (const std::uint16_t value : values) {
        out.Number(value, 2);
    }
}

// The elements of each kind of content: what stands behind the count.
struct ElementEmitter {
    Emitter& out;
    const SectionKind* kind;  // null for raw content alone

    void operator()(const Raw& raw) const { out.Put(raw.bytes.data(), raw.bytes.size()); }

    void operator()(const DefaultFields& content) const { EmitFields(out, content.fields); }

    void operator()(const Symbols& content) const {
        ForEach(out, "symbols", content.symbols, [&](const Symbol& symbol) { EmitSymbol(out, symbol); });
    }

    void operator()(const JumpPrices& content) const {
        ForEach(out, "groups", content.groups, [&](const JumpPriceGroup& group) {
            out.Number(group.id, 1);
            out.Counted(group.records.size(), 2, group.recordCount, "the number of records");
            for (const auto& record : group.records) {
                out.Put(record.data(), record.size());
            }
        });
    }

    void operator()(const Brokers& content) const {
        for (const auto& record : content.records) {
            out.Put(record.data(), record.size());
        }
    }

    void operator()(const QuickGroups& content) const {
        ForEach(out, "groups", content.groups, [&](const QuickGroup& group) {
            const auto body = [&](Emitter& to) {
                to.Text(group.name, "name");
                EmitFields(to, group.fields);
            };
            out.Counted(out.Measure(body), 2, group.groupSize, "the size of the group");
            body(out);
        });
    }

    void operator()(const EidrSections& content) const { EmitTwoTexts(out, content.elements); }
    void operator()(const Exchanges& content) const { EmitTwoTexts(out, content.elements); }

    void operator()(const Level2Sections& content) const {
        ForEach(out, "groups", content.groups, [&](const Level2Group& group) {
            out.Number(group.id, 1);
            out.Counted(group.items.size(), 1, group.itemCount, "the number of items");
            ForEach(out, "items", group.items, [&](const Level2Item& item) {
                out.Number(item.lead, 1);
                out.Text(item.text1, "text1");
                out.Text(item.text2, "text2");
            });
        });
    }

    void operator()(const Directory& content) const {
        ForEach(out, "elements", content.elements, [&](const DirectoryElement& element) {
            out.Counted(element.id, kind->idWidth, std::optional<std::uint32_t>(), "the id");
            out.Text(element.name, "name");
        });
    }

    void operator()(const SectionGroups& content) const {
        ForEach(out, "groups", content.groups, [&](const SectionGroup& group) {
            out.Number(group.id, 1);
            out.Counted(group.members.size(), 1, group.memberCount, "the number of members");
            out.Put(group.members.data(), group.members.size());
        });
    }

    void operator()(const Objects& content) const {
        ForEach(out, "types", content.types, [&](const ObjectType& type) {
            const auto block = [&](Emitter& to) {
                to.Counted(type.sources.size(), 2, type.sourceCount, "the number of source symbols");
                ForEach(to, "sources", type.sources,
                        [&](const ObjectSource& source) { EmitObjectSource(to, source); });
            };
            out.Number(type.id, 2);
            out.Counted(out.Measure(block), 4, type.blockSize, "the size of the block");
            block(out);
        });
    }

    static void EmitObjectSource(Emitter& to, const ObjectSource& source) {
        to.Text(source.source, "source");
        to.Counted(source.symbols.size(), 2, source.symbolCount, "the number of symbols");
        ForEach(to, "symbols", source.symbols, [&](const ObjectSymbol& symbol) {
            to.Number(symbol.byte, 1);
            to.Text(symbol.symbol, "symbol");
            to.Counted(symbol.data.size(), 1, symbol.dataCount, "the number of data records");
            ForEach(to, "data", symbol.data, [&](const ObjectData& data) {
                to.Number(data.byte, 1);
                to.Text(data.data, "data");
            });
        });
    }

    void operator()(const ForeignTrade& content) const {
        ForEach(out, "heads", content.heads, [&](const ForeignTradeHead& head) {
            const auto body = [&](Emitter& to) {
                ForEach(to, "items", head.items, [&](const ForeignTradeItem& item) {
                    to.Number(item.tag, 1);
                    to.Counted(item.names.size(), 2, item.nameCount, "the number of names");
                    ForEach(to, "names", item.names,
                            [&](const std::string& name) { to.Text(name, nullptr); });
                });
            };
            out.Number(head.id, 2);
            out.Text(head.name, "name");
            out.Counted(out.Measure(body), 4, head.bodySize, "the size of the body");
            body(out);
        });
    }

    void operator()(const GlobalRelated& content) const {
        ForEach(out, "heads", content.heads, [&](const GlobalRelatedHead& head) {
            const auto body = [&](Emitter& to) {
                ForEach(to, "lists", head.lists, [&](const GlobalRelatedList& list) {
                    to.Counted(list.items.size(), 1, list.itemCount, "the number of items");
                    for (const GlobalRelatedItem& item : list.items) {
                        to.Number(item.tag, 1);
                        to.Text(item.name, nullptr);
                    }
                });
            };
            out.Number(head.id, 2);
            out.Counted(out.Measure(body), 4, head.bodySize, "the size of the body");
            body(out);
        });
    }

    void operator()(const RealDelayMapping& content) const {
        for (const RealDelayPair& pair : content.pairs) {
            out.Number(pair.first, 1);
            out.Number(pair.second, 1);
        }
    }

    void operator()(const EodItems& content) const {
        ForEach(out, "groups", content.groups, [&](const EodItemGroup& group) {
            EmitList(out, group.ids, group.idCount, "ids");
            EmitList(out, group.second, group.secondCount, "second");
            EmitList(out, group.third, group.thirdCount, "third");
            EmitList(out, group.first, group.firstCount, "first");
        });
    }

    void operator()(const ExchangeSupport& content) const {
        ForEach(out, "groups", content.groups, [&](const ExchangeSupportGroup& group) {
            EmitList(out, group.ids, group.idCount, "ids");
            EmitList(out, group.items, group.itemCount, "items");
        });
    }
};

struct ElementCounter {
    std::uint64_t operator()(const Raw&) const { return 0; }
    std::uint64_t operator()(const DefaultFields& c) const { return c.fields.size(); }
    std::uint64_t operator()(const Symbols& c) const { return c.symbols.size(); }
    std::uint64_t operator()(const JumpPrices& c) const { return c.groups.size(); }
    std::uint64_t operator()(const Brokers& c) const { return c.records.size(); }
    std::uint64_t operator()(const QuickGroups& c) const { return c.groups.size(); }
    std::uint64_t operator()(const EidrSections& c) const { return c.elements.size(); }
    std::uint64_t operator()(const Level2Sections& c) const { return c.groups.size(); }
    std::uint64_t operator()(const Directory& c) const { return c.elements.size(); }
    std::uint64_t operator()(const SectionGroups& c) const { return c.groups.size(); }
    std::uint64_t operator()(const Objects& c) const { return c.types.size(); }
    std::uint64_t operator()(const ForeignTrade& c) const { return c.heads.size(); }
    std::uint64_t operator()(const GlobalRelated& c) const { return c.heads.size(); }
    std::uint64_t operator()(const Exchanges& c) const { return c.elements.size(); }
    std::uint64_t operator()(const RealDelayMapping& c) const { return c.pairs.size(); }
    std::uint64_t operator()(const EodItems& c) const { return c.groups.size(); }
    std::uint64_t operator()(const ExchangeSupport& c) const { return c.groups.size(); }
};

// The kind that lays the content out; null for raw content.
const SectionKind* LayoutOf(const Emitter& out, const Section& section) {
    if (std::holds_alternative<Raw>(section.content)) {
        return nullptr;
    }
    const SectionKind* kind = FindSectionKind(section.id);
    if (kind == nullptr || kind->contentIndex != section.content.index()) {
        out.Fail("the content is not of the kind of section " + std::to_string(section.id));
    }
    return kind;
}

std::uint64_t BytesAheadOfElements(const SectionKind* kind) {
    if (kind == nullptr) {
        return 2;
    }
    return std::uint64_t{2} + (kind->id == 2 ? 0U : 4U) + kind->countWidth;
}

void EmitElements(Emitter& out, const Section& section) {
    std::visit(ElementEmitter{out, LayoutOf(out, section)}, section.content);
}

void EmitSection(Emitter& out, const Section& section, std::uint64_t elementBytes) {
    const SectionKind* kind = LayoutOf(out, section);
    if (section.headValue && (kind == nullptr || kind->id == 2)) {
        out.Fail("the section has no head value to replace");
    }
    if (section.count && (kind == nullptr || kind->countWidth == 0)) {
        out.Fail("the section has no count to replace");
    }
    out.Number(section.idInFile.value_or(section.id), 2);
    if (kind != nullptr && kind->id != 2) {
        out.Counted(elementBytes, 4, section.headValue, "the size of the elements");
    }
    if (kind != nullptr && kind->countWidth != 0) {
        out.Counted(std::visit(ElementCounter{}, section.content), kind->countWidth, section.count,
                    "the number of elements");
    }
    EmitElements(out, section);
}

// Follows the offsets of the sections. All sums are 64 bits wide and held to what the directory can tell.
class Placer {
public:
    explicit Placer(const File& file) : at(2 + std::uint64_t{10} * file.sections.size()) {}

    SectionPlace Place(const Emitter& out, const Section& section, std::uint64_t elementBytes) {
        const std::uint64_t offset = at + section.before.size();
        const std::uint64_t bytes = BytesAheadOfElements(LayoutOf(out, section)) + elementBytes;
        if (offset > kU32Max || bytes > kU32Max) {
            out.Fail("the section would begin at byte " + std::to_string(offset) + " and take " +
                     std::to_string(bytes) + " bytes; neither may pass " + std::to_string(kU32Max));
        }
        at = offset + bytes;
        const bool groupsAlone = std::holds_alternative<Level2Sections>(section.content);
        return {section.id, static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(bytes),
                static_cast<std::uint32_t>(groupsAlone ? elementBytes : bytes)};
    }

private:
    std::uint64_t at;
};

void EmitDirectory(Emitter& out, const File& file, const std::vector<SectionPlace>& places) {
    out.Counted(file.sections.size(), 2, file.sectionCount, "the number of sections");
    for (std::size_t i = 0; i < places.size(); ++i) {
        const Section& section = file.sections[i];
        out.Number(section.directoryId.value_or(section.id), 2);
        out.Number(section.directoryOffset.value_or(places[i].offset), 4);
        out.Number(section.directorySize.value_or(places[i].directorySize), 4);
    }
}

std::uint64_t MeasureElements(Emitter& out, const Section& section) {
    return out.Measure([&](Emitter& to) { EmitElements(to, section); });
}

void EmitFile(Emitter& out, const File& file) {
    const std::vector<SectionPlace> places = Layout(file);
    EmitDirectory(out, file, places);
    for (std::size_t i = 0; i < places.size(); ++i) {
        const At at(out, "sections", i);
        const Section& section = file.sections[i];
        out.Put(section.before.data(), section.before.size());
        const std::uint64_t ahead = BytesAheadOfElements(LayoutOf(out, section));
        EmitSection(out, section, places[i].bytes - ahead);
    }
    out.Put(file.behind.data(), file.behind.size());
}

}  // namespace

WriteError::WriteError(const std::string& place, const std::string& message)
    : std::runtime_error(place.empty() ? message : place + ": " + message), where(place) {}

Field TextField(std::uint16_t id, std::string text) { return {id, kTextTag, std::move(text)}; }

Field NumberField(std::uint16_t id, std::uint8_t tag, std::uint64_t number) {
    const std::size_t width = PayloadWidth(tag);
    if (width == 0) {
        throw std::invalid_argument("tag " + std::to_string(tag) + " takes no number");
    }
    Field field{id, tag, std::string(width, '\0')};
    for (std::size_t i = 0; i < width; ++i) {
        field.value[i] = static_cast<char>(number >> (8 * i));
    }
    return field;
}

Field NullField(std::uint16_t id, std::uint8_t tag) { return {id, tag, {}}; }

std::span<const SectionKind> SectionKinds() { return Kinds(); }

const SectionKind* FindSectionKind(std::uint16_t id) {
    const auto& kinds = Kinds();
    const auto found = std::find_if(kinds.begin(), kinds.end(), [&](const auto& k) { return k.id == id; });
    return found == kinds.end() ? nullptr : &*found;
}

const SectionKind* FindSectionKind(std::string_view name) {
    const auto& kinds = Kinds();
    const auto found =
        std::find_if(kinds.begin(), kinds.end(), [&](const auto& k) { return k.name == name; });
    return found == kinds.end() ? nullptr : &*found;
}

namespace {

template <std::size_t... Indexes>
Content EmptyContent(std::size_t index, std::index_sequence<Indexes...>) {
    Content content;
    (void)((Indexes == index && (content.emplace<Indexes>(), true)) || ...);
    return content;
}

}  // namespace

Section MakeSection(std::uint16_t id) {
    Section section;
    section.id = id;
    if (const SectionKind* kind = FindSectionKind(id)) {
        section.content =
            EmptyContent(kind->contentIndex, std::make_index_sequence<std::variant_size_v<Content>>());
    }
    return section;
}

std::vector<SectionPlace> Layout(const File& file) {
    Emitter counter(Emitter::Mode::Count);
    Placer placer(file);
    std::vector<SectionPlace> places;
    places.reserve(file.sections.size());
    for (std::size_t i = 0; i < file.sections.size(); ++i) {
        const At at(counter, "sections", i);
        const Section& section = file.sections[i];
        counter.BeginSection(section.id);
        const std::uint64_t elementBytes = MeasureElements(counter, section);
        EmitSection(counter, section, elementBytes);
        places.push_back(placer.Place(counter, section, elementBytes));
    }
    counter.BeginSection(0);
    EmitDirectory(counter, file, places);
    return places;
}

Bytes Write(const File& file) {
    Emitter out(Emitter::Mode::Keep);
    EmitFile(out, file);
    return out.Take();
}

void Write(const File& file, std::ostream& out) {
    Emitter emitter(out);
    EmitFile(emitter, file);
    emitter.Flush();
    out.flush();
    if (!out) {
        throw WriteError("", "the output did not take the bytes");
    }
}

struct SymbolStreamWriter::State {
    State(const File& shell, std::ostream& output)
        : file(shell), stream(output), start(output.tellp()), out(output), placer(shell) {}

    void EmitWhole(std::size_t index) {
        const At at(out, "sections", index);
        const Section& section = file.sections[index];
        const std::uint64_t elementBytes = MeasureElements(out, section);
        places.push_back(placer.Place(out, section, elementBytes));
        out.Put(section.before.data(), section.before.size());
        EmitSection(out, section, elementBytes);
    }

    const File& file;
    std::ostream& stream;
    std::ostream::pos_type start;
    Emitter out;
    Placer placer;
    std::vector<SectionPlace> places;
    std::size_t symbolSection = 0;
    std::uint64_t symbolBytes = 0;
    std::size_t symbolCount = 0;
};

SymbolStreamWriter::SymbolStreamWriter(const File& shell, std::ostream& out)
    : state(std::make_unique<State>(shell, out)) {
    const auto holdsSymbols = [](const Section& s) { return std::holds_alternative<Symbols>(s.content); };
    const auto& sections = shell.sections;
    if (std::count_if(sections.begin(), sections.end(), holdsSymbols) != 1) {
        throw WriteError("/sections", "a streamed file has one section for its symbols");
    }
    if (state->start == std::ostream::pos_type(-1)) {
        throw WriteError("", "the output cannot seek, which a streamed file needs");
    }
    Layout(shell);  // finds what cannot be expressed before anything is written
    const Bytes noDirectory(2 + 10 * sections.size(), 0);
    state->out.Put(noDirectory.data(), noDirectory.size());
    state->symbolSection = static_cast<std::size_t>(
        std::find_if(sections.begin(), sections.end(), holdsSymbols) - sections.begin());
    for (std::size_t i = 0; i < state->symbolSection; ++i) {
        state->EmitWhole(i);
    }
    const Section& section = sections[state->symbolSection];
    state->out.Put(section.before.data(), section.before.size());
    state->out.Number(section.idInFile.value_or(section.id), 2);
    for (const Symbol& symbol : std::get<Symbols>(section.content).symbols) {
        Add(symbol);
    }
}

SymbolStreamWriter::~SymbolStreamWriter() = default;

void SymbolStreamWriter::Add(const Symbol& symbol) {
    const At section(state->out, "sections", state->symbolSection);
    const At at(state->out, "symbols", state->symbolCount);
    const std::uint64_t bytes = state->out.Measure([&](Emitter& to) { EmitSymbol(to, symbol); });
    if (2 + state->symbolBytes + bytes > kU32Max) {
        state->out.Fail("the section of the symbols would pass " + std::to_string(kU32Max) + " bytes");
    }
    EmitSymbol(state->out, symbol);
    state->symbolBytes += bytes;
    ++state->symbolCount;
}

void SymbolStreamWriter::Finish() {
    const auto& sections = state->file.sections;
    {
        const At at(state->out, "sections", state->symbolSection);
        state->places.push_back(
            state->placer.Place(state->out, sections[state->symbolSection], state->symbolBytes));
    }
    for (std::size_t i = state->symbolSection + 1; i < sections.size(); ++i) {
        state->EmitWhole(i);
    }
    state->out.Put(state->file.behind.data(), state->file.behind.size());
    state->out.Flush();
    const auto end = state->stream.tellp();
    state->stream.seekp(state->start);
    EmitDirectory(state->out, state->file, state->places);
    state->out.Flush();
    state->stream.seekp(end);
    state->stream.flush();
    if (!state->stream) {
        throw WriteError("", "the output did not take the bytes");
    }
}

void AppendSymbol(Bytes& bytes, const Symbol& symbol) {
    Emitter check(Emitter::Mode::Count);
    EmitSymbol(check, symbol);  // throws before `bytes` is touched
    Emitter out(std::move(bytes));
    EmitSymbol(out, symbol);
    bytes = out.Take();
}

Bytes CutAt(const Bytes& bytes, std::size_t size) {
    return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(size, bytes.size())));
}

void Patch(Bytes& bytes, std::size_t offset, std::span<const std::uint8_t> replacement) {
    if (offset > bytes.size() || replacement.size() > bytes.size() - offset) {
        throw std::out_of_range("a patch of " + std::to_string(replacement.size()) + " bytes at " +
                                std::to_string(offset) + " passes the end at " +
                                std::to_string(bytes.size()));
    }
    std::copy(replacement.begin(), replacement.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

void PatchU16(Bytes& bytes, std::size_t offset, std::uint16_t value) {
    const std::uint8_t raw[] = {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8)};
    Patch(bytes, offset, raw);
}

void PatchU32(Bytes& bytes, std::size_t offset, std::uint32_t value) {
    const std::uint8_t raw[] = {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
                                static_cast<std::uint8_t>(value >> 16),
                                static_cast<std::uint8_t>(value >> 24)};
    Patch(bytes, offset, raw);
}

}  // namespace symwrite
