// The adapters: one for each family of sections, around the operations of its reader.
#include "tables/rows/SectionRows.h"

#include <fmt/format.h>

#include <algorithm>

#include "format/Fields.h"
#include "library/sections/BrokerInfo.h"
#include "library/sections/EidrQuickGroups.h"
#include "library/sections/EidrSections.h"
#include "library/sections/ExchangeSupport.h"
#include "library/sections/Exchanges.h"
#include "library/sections/ForeignTrade.h"
#include "library/sections/GlobalRelated.h"
#include "library/sections/JumpPrices.h"
#include "library/sections/Level2EodItems.h"
#include "library/sections/NameTables.h"
#include "library/sections/Objects.h"
#include "library/sections/RealDelayMapping.h"
#include "library/sections/SectionGroups.h"
#include "library/sections/SectionL2.h"
#include "tables/rows/SymbolRows.h"

namespace torva::tables {

namespace {

constexpr i32 kRecords = 128;  // fixed records per call

Cell Number(u64 number) { return {number, {}, {}}; }
Cell Bytes(std::string_view bytes) { return {0, bytes, {}}; }
Cell Payload(u8 tag, std::string_view payload) { return {tag, payload, {}}; }
Cell List(std::span<const u16> list) { return {0, {}, list}; }

// A text for which the library had no room is empty.
Cell Text(const char* text) { return Bytes(text ? text : ""); }

template <std::size_t kSize>
Cell Record(const u8 (&record)[kSize]) {
    return Bytes({reinterpret_cast<const char*>(record), kSize});
}

u64 SizeInFile(u8 tag, std::string_view payload) {
    return sizeof(FieldHeader) + (tag == kTextTag ? payload.size() + 1 : std::size_t{PayloadWidth(tag)});
}

// Walks whose rows are the elements, one for each call.
class ElementRows : public SectionRows {
public:
    using SectionRows::SectionRows;

protected:
    // Reads one element and shows it with Show.
    virtual i32 Element() = 0;

    // Elements of a level 0 that ends the section with SYM_OK, and those before with SYM_MORE_DATA.
    i32 Delivered(i32 outcome) {
        last = outcome == SYM_OK;
        return outcome == SYM_OK || outcome == SYM_MORE_DATA ? kElement
               : outcome == SYM_END_OF_DATA                  ? kEnd
                                                             : outcome;
    }

    template <class... Cells>
    void Show(std::size_t rowLevel, const Cells&... rowCells) {
        ready = Emit(rowLevel, rowCells...);
    }

    bool last = false;  // the element in hand ends the section

private:
    i32 Call() final { return last ? kEnd : Element(); }
    bool Item() final { return std::exchange(ready, false); }

    bool ready = false;
};

// The outcome of an Initial operation. One that has nothing to deliver ends the walk like any other.
i32 Begun(i32 initial) { return initial >= 0 ? 1 : initial == SYM_END_OF_DATA ? 0 : initial; }

// Of one that returns a count, which may be a negative number of 32 bits.
i32 Begun(i32 initial, std::optional<u32>& announced) {
    switch (initial) {
        case SYM_END_OF_DATA:
        case SYM_ERR_NO_SECTION:
        case SYM_ERR_READ:
            return Begun(initial);
        default:
            announced = static_cast<u32>(initial);
            return 1;
    }
}

// Of operations that return SYM_OK with every element.
i32 OneOf(i32 outcome) { return outcome == SYM_OK ? 1 : outcome == SYM_END_OF_DATA ? 0 : outcome; }

// Of an id without a reader.
class NoRows final : public SectionRows {
public:
    using SectionRows::SectionRows;

private:
    i32 Begin() override { return kEnd; }
    i32 Call() override { return kEnd; }
    bool Item() override { return false; }
};

// ---- section 1

class DefaultFieldRows final : public SectionRows {
public:
    DefaultFieldRows(Reader& reader, u16 id) : SectionRows(reader, id), rest(reader.Defaults()) {}

private:
    i32 Begin() override {
        consumed += 4;
        return kElement;
    }
    i32 Call() override { return kEnd; }
    bool Item() override {
        if (rest.empty()) {
            return false;
        }
        const SymbolField& field = rest.front();
        rest = rest.subspan(1);
        consumed += SizeInFile(field.tag, field.value);
        return Emit(0, Number(field.id), Number(field.tag), Payload(field.tag, field.value));
    }

    std::span<const SymbolField> rest;
};

// ---- flat sections

// Sections 9, 10, 12, 19, 20 and 22.
template <class Table, i32 (Table::*kInitial)(FileReader&),
          i32 (Table::*kNext)(FileReader&, i32*, u32*, char**, u32)>
class NameRows final : public ElementRows {
public:
    NameRows(Reader& reader, u16 id)
        : ElementRows(reader, id), name(new char[std::size_t{open.textMax} + 1]) {}

private:
    i32 Begin() override { return Begun((table.*kInitial)(file), announced); }
    i32 Element() override {
        i32 count = 0;
        u32 id = 0;
        char* names = name.get();
        const i32 outcome = Delivered((table.*kNext)(file, &count, &id, &names, open.textMax + 1));
        if (outcome == kElement) {
            Show(0, Number(id), Text(names));
        }
        return outcome;
    }

    Table table;
    std::unique_ptr<char[]> name;
};

// Section 7.
class EidrSectionRows final : public ElementRows {
public:
    EidrSectionRows(Reader& reader, u16 id)
        : ElementRows(reader, id),
          text1(new char[std::size_t{open.textMax} + 1]),
          text2(new char[std::size_t{open.textMax} + 1]) {}

private:
    i32 Begin() override { return Begun(elements.InitialSection7(file)); }
    i32 Element() override {
        EidrSectionItem target = {0, text1.get(), open.textMax + 1, text2.get(), open.textMax + 1};
        i32 count = 0;
        const i32 outcome = Delivered(elements.GetNextEidrSectionGroup(file, &count, &target, 1));
        if (count == 1) {  // also an element after which the sizes disagree
            Show(0, Number(target.id), Text(text1.get()), Text(text2.get()));
        }
        return outcome;
    }

    EidrSectionReader elements;
    std::unique_ptr<char[]> text1;
    std::unique_ptr<char[]> text2;
};

// Section 16.
class ExchangeRows final : public ElementRows {
public:
    ExchangeRows(Reader& reader, u16 id)
        : ElementRows(reader, id),
          text1(new char[std::size_t{open.textMax} + 1]),
          text2(new char[std::size_t{open.textMax} + 1]) {}

private:
    i32 Begin() override { return Begun(exchanges.InitialExchangeSection(file), announced); }
    i32 Element() override {
        u32 id = 0;
        const auto most = static_cast<i32>(open.textMax);
        const i32 outcome =
            Delivered(exchanges.GetNextExchange(file, &id, text1.get(), most, text2.get(), most));
        if (outcome == kElement) {
            Show(0, Number(id), Text(text1.get()), Text(text2.get()));
        }
        return outcome;
    }

    ExchangeReader exchanges;
    std::unique_ptr<char[]> text1;
    std::unique_ptr<char[]> text2;
};

// Section 11.
class SectionGroupRows final : public ElementRows {
public:
    using ElementRows::ElementRows;

private:
    i32 Begin() override { return Begun(groups.InitializeSection11(file), announced); }
    i32 Element() override {
        u8 id = 0;
        i32 count = 0;
        std::array<u8, 255> bytes;
        u8* array = bytes.data();
        const i32 outcome = Delivered(groups.GetNextSectionGroup(file, &id, &count, &array, bytes.size()));
        if (outcome == kElement || (outcome < 0 && count > 0)) {  // also the part of a group that is cut off
            std::copy_n(bytes.begin(), count, members.begin());
            Show(0, Number(id), List({members.data(), static_cast<std::size_t>(count)}));
        }
        return outcome;
    }

    SectionGroupReader groups;
    std::array<u16, 255> members;
};

// Section 17.
class RealDelayRows final : public ElementRows {
public:
    using ElementRows::ElementRows;

private:
    i32 Begin() override { return Begun(pairs.InitialRealDelayMappingSection(file), announced); }
    i32 Element() override {
        u8 first = 0;
        u8 second = 0;
        const i32 outcome = OneOf(pairs.GetNextRealDelayMapping(file, &first, &second));
        if (outcome == kElement) {
            Show(0, Number(first), Number(second));
        }
        return outcome;
    }

    RealDelayMappingReader pairs;
};

// Sections 18 and 21, which their Initial operations read whole. Where that breaks off, the ids read before
// come first, then the error.
class DefinitionRows : public ElementRows {
public:
    using ElementRows::ElementRows;

protected:
    using Values = std::vector<u16>;

    i32 Loaded(i32 initial) {
        failure = initial == SYM_ERR_READ || initial == SYM_ERR_NO_MEMORY ? initial : SYM_OK;
        return failure != SYM_OK ? kElement : Begun(initial);
    }

    // Calls `next` with more room for each of the lists until they fit.
    template <class Next>
    i32 WithRoom(std::span<Values> lists, const Next& next) {
        constexpr std::size_t kLongest = 65535;
        for (;;) {
            const i32 outcome = next();
            if (outcome == SYM_OK) {
                return kElement;
            }
            if (outcome != SYM_ERR_BUFFER_TOO_SMALL || lists[0].size() == kLongest) {
                return outcome != SYM_END_OF_DATA ? outcome : failure != SYM_OK ? failure : kEnd;
            }
            for (Values& list : lists) {
                list.resize(std::min(list.size() * 4, kLongest));
            }
        }
    }

    static constexpr std::size_t kFirstRoom = 256;

private:
    i32 failure = SYM_OK;
};

class Level2EodRows final : public DefinitionRows {
public:
    Level2EodRows(Reader& reader, u16 id) : DefinitionRows(reader, id) { lists.fill(Values(kFirstRoom)); }

private:
    i32 Begin() override { return Loaded(items.InitialLevel2EODBasicItemDefineSection(file)); }
    i32 Element() override {
        u16 id = 0;
        std::array<u16, 3> counts = {};
        const i32 outcome = WithRoom(lists, [&] {
            const auto room = static_cast<u32>(lists[0].size());
            return items.GetNextLevel2EODBasicItemDefine(file, &id, &counts[0], lists[0].data(), room,
                                                         &counts[1], lists[1].data(), room, &counts[2],
                                                         lists[2].data(), room);
        });
        if (outcome == kElement) {
            Show(0, Number(id), List({lists[0].data(), counts[0]}), List({lists[1].data(), counts[1]}),
                 List({lists[2].data(), counts[2]}));
        }
        return outcome;
    }

    Level2EodItemReader items;
    std::array<Values, 3> lists;
};

class ExchangeSupportRows final : public DefinitionRows {
public:
    using DefinitionRows::DefinitionRows;

private:
    i32 Begin() override { return Loaded(entries.InitialExchangeSupportSection(file)); }
    i32 Element() override {
        u16 id = 0;
        u16 count = 0;
        const i32 outcome = WithRoom({&values, 1}, [&] {
            return entries.GetNextExchangeSupportSection(file, &id, &count, values.data(),
                                                         static_cast<u32>(values.size()));
        });
        if (outcome == kElement) {
            Show(0, Number(id), List({values.data(), count}));
        }
        return outcome;
    }

    ExchangeSupportReader entries;
    Values values = Values(kFirstRoom);
};

// ---- elements of several rows

// Walks whose calls deliver a batch: a row for what holds it, where it is a new one, then the batch.
class BatchRows : public SectionRows {
public:
    using SectionRows::SectionRows;

protected:
    virtual bool Head() { return false; }
    virtual bool At(std::size_t index) = 0;

    // What the next call of Item begins with.
    void Deliver(bool withHead, std::size_t count) {
        headWaits = withHead;
        nextRow = 0;
        rowCount = count;
    }

private:
    bool Item() final {
        return std::exchange(headWaits, false) ? Head() : nextRow < rowCount && At(nextRow++);
    }

    bool headWaits = false;
    std::size_t nextRow = 0;
    std::size_t rowCount = 0;
};

// Section 3.
class JumpPriceRows final : public BatchRows {
public:
    using BatchRows::BatchRows;

private:
    i32 Begin() override { return kElement; }
    // A group, whole. One that ends the file ends with SYM_END_OF_DATA.
    i32 Call() override {
        std::size_t total = 0;
        i32 count = -1;
        records.resize(std::max<std::size_t>(records.size(), kRecords));
        i32 outcome = prices.GetNextJumpPriceGroup(file, &id, &count, records.data(), kRecords);
        if (count < 0) {
            return outcome == SYM_OK || outcome == SYM_END_OF_DATA ? kEnd : outcome;
        }
        while (outcome == SYM_MORE_DATA) {
            total += static_cast<std::size_t>(count);
            records.resize(std::max(records.size(), total + kRecords));
            outcome = prices.GetAgainJumpPriceData(file, &count, records.data() + total, kRecords);
        }
        Deliver(true, total + static_cast<std::size_t>(count));
        return outcome == SYM_OK || outcome == SYM_END_OF_DATA ? kElement : outcome;
    }
    bool Head() override { return Emit(0, Number(id)); }
    bool At(std::size_t index) override { return Emit(1, Record(records[index].bytes)); }

    JumpPriceReader prices;
    u8 id = 0;
    std::vector<JumpPriceRecord> records;
};

// Section 4.
class BrokerInfoRows final : public BatchRows {
public:
    using BatchRows::BatchRows;

private:
    i32 Begin() override { return Begun(brokers.InitialSectionBorkerInfo(file), announced); }
    i32 Call() override {
        if (last) {
            return kEnd;
        }
        i32 count = 0;
        const i32 outcome = brokers.GetNextBrokerInfoGroup(file, &count, records.data(), kRecords);
        last = outcome == SYM_OK;
        if (outcome != SYM_OK && outcome != SYM_MORE_DATA) {
            return outcome == SYM_END_OF_DATA ? kEnd : outcome;
        }
        Deliver(false, static_cast<std::size_t>(count));
        return kElement;
    }
    bool At(std::size_t index) override { return Emit(0, Record(records[index].bytes)); }

    BrokerInfoReader brokers;
    std::array<BrokerInfoRecord, kRecords> records;
    bool last = false;
};

// Section 6. A new group does not show by itself: its head takes bytes beyond the field's.
class QuickGroupRows final : public BatchRows {
public:
    QuickGroupRows(Reader& reader, u16 id)
        : BatchRows(reader, id), value(new char[std::size_t{open.textMax} + kMostPayload]) {}

private:
    i32 Begin() override { return Begun(groups.InitialSection6(file)); }
    i32 Call() override {
        if (last) {
            return kEnd;
        }
        i32 count = 0;
        target.value = value.get();
        target.capacity = open.textMax + 1;
        const i32 outcome = groups.GetNextEidrQuickGroup(file, &name, &count, &target, 1);
        last = outcome == SYM_OK;
        if (count == 1) {  // also a field after which the sizes disagree
            const std::size_t size =
                target.tag == kTextTag && target.size != 0 ? target.size - 1 : target.size;
            payload = {value.get(), size};
            const u64 now = Consumed();
            Deliver(now - before != sizeof(FieldHeader) + size + (target.tag == kTextTag ? 1 : 0), 1);
            before = now;
        }
        return outcome == SYM_OK || outcome == SYM_MORE_DATA ? kElement
               : outcome == SYM_END_OF_DATA                  ? kEnd
                                                             : outcome;
    }
    bool Head() override { return Emit(0, Text(name)); }
    bool At(std::size_t) override {
        return Emit(1, Number(target.id), Number(target.tag), Payload(target.tag, payload));
    }

    EidrQuickGroupReader groups;
    std::unique_ptr<char[]> value;
    const char* name = nullptr;
    SymFieldBuffer target = {};
    std::string_view payload;
    u64 before = 0;
    bool last = false;
};

// Section 8.
class SectionL2Rows final : public BatchRows {
public:
    using BatchRows::BatchRows;

private:
    i32 Begin() override { return kElement; }
    i32 Call() override {
        i32 count = -1;
        const i32 outcome =
            groups.GetNextSectionL2Group(file, &id, &count, items.data(), static_cast<i32>(items.size()));
        if (count < 0) {
            return outcome == SYM_OK || outcome == SYM_END_OF_DATA ? kEnd : outcome;
        }
        Deliver(!continued, static_cast<std::size_t>(count));
        // A group whose texts are too much for the arena comes in parts. SYM_END_OF_DATA after a group's
        // head: the group is the last one and empty.
        continued = outcome == SYM_MORE_DATA;
        return outcome == SYM_ERR_FORMAT ? outcome : kElement;
    }
    bool Head() override { return Emit(0, Number(id)); }
    bool At(std::size_t index) override {
        const SectionL2Item& item = items[index];
        if (!item.text1 || !item.text2) {
            Note("the data ends inside a text, or the text is longer than readers take");
        }
        return Emit(1, Number(item.leadByte), Text(item.text1), Text(item.text2));
    }

    SectionL2Reader groups;
    u8 id = 0;
    std::array<SectionL2Item, 255> items;
    bool continued = false;  // the next call continues the group
};

// ---- nested sections

// Bodies of known size: what an operation skips before the next one is a problem.
class BodyRows : public SectionRows {
public:
    using SectionRows::SectionRows;

protected:
    // After a call that began a body, having taken `taken` bytes for its head.
    void CheckSkipped(u64 taken, const char* what) {
        const u64 now = Consumed();
        if (bodyEnd != 0 && now > bodyEnd + taken) {
            Note(fmt::format("{} bytes at the end of the {} before this place belong to none of its elements",
                             now - bodyEnd - taken, what));
        }
    }

    u64 bodyEnd = 0;  // where the elements of the body before ended; 0: there is none
};

// Section 13: a tree of four levels, walked depth first.
class ObjectRows final : public BodyRows {
public:
    using BodyRows::BodyRows;

private:
    static constexpr const char* kBody = "type block";
    static constexpr const char* kLabels[] = {"source symbols", "symbols", "data records"};

    i32 Begin() override { return Begun(objects.InitialObjectSection(file), announced); }

    // The next element of the deepest level that has one.
    i32 Call() override {
        for (;;) {
            const i32 outcome = Read();
            if (outcome == SYM_MORE_DATA) {
                ready = true;
                if (depth > 0) {
                    ++found[depth - 1];
                }
                if (depth < 3) {
                    found[depth++] = 0;
                }
                return kElement;
            }
            if (outcome != SYM_END_OF_DATA) {
                return outcome;
            }
            if (depth == 0) {
                CheckSkipped(0, kBody);
                return kEnd;
            }
            --depth;
            if (found[depth] < expected[depth]) {
                Note(fmt::format("the type block ends after {} of {} {}", found[depth], expected[depth],
                                 kLabels[depth]));
            }
            if (depth == 0) {
                bodyEnd = Consumed();
            }
        }
    }

    // Reads the next element of level `depth`.
    i32 Read() {
        const char* text = nullptr;
        u8 byte = 0;
        u8 dataCount = 0;
        u16 id = 0;
        u16 count = 0;
        i32 outcome = SYM_OK;
        switch (depth) {
            case 0:
                outcome = objects.GetNextObjectTypeID(file, &id, &count);
                if (outcome == SYM_MORE_DATA) {
                    CheckSkipped(8, kBody);
                    expected[0] = count;
                    Emit(0, Number(id));
                }
                return outcome;
            case 1:
                outcome = objects.GetNextObjectSourceSym(file, &text, &count);
                expected[1] = count;
                Emit(1, Text(text));
                return outcome;
            case 2:
                outcome = objects.GetNextObjectSym(file, &byte, &text, &dataCount);
                expected[2] = dataCount;
                Emit(2, Number(byte), Text(text));
                return outcome;
            default:
                outcome = objects.GetNextObjectData(file, &byte, &text);
                Emit(3, Number(byte), Text(text));
                return outcome;
        }
    }
    bool Item() override { return std::exchange(ready, false); }

    ObjectReader objects;
    std::size_t depth = 0;             // the level of the next element
    std::array<u32, 3> expected = {};  // elements of levels 1 to 3 in the element above
    std::array<u32, 3> found = {};
    bool ready = false;
};

// Section 14.
class ForeignTradeRows final : public BodyRows {
public:
    using BodyRows::BodyRows;

private:
    static constexpr const char* kBody = "head's body";

    i32 Begin() override { return Begun(trade.InitialForeignTradeSection(file), announced); }
    i32 Call() override {
        if (inBody) {
            const i32 outcome = ReadItem();
            if (outcome != kEnd) {
                return outcome;
            }
            inBody = false;
            bodyEnd = Consumed();
        }
        ForeignTradeHead head = {0, nullptr};
        const i32 outcome = OneOf(trade.GetNextForeignTradeHead(file, &head));
        if (outcome != kElement) {
            if (outcome == kEnd) {
                CheckSkipped(0, kBody);
            }
            return outcome;
        }
        const char* name = head.name;
        CheckSkipped(6 + Text(name).bytes.size() + 1, kBody);
        Emit(0, Number(head.id), Text(name));
        headWaits = inBody = true;
        continued = false;
        return kElement;
    }

    // An item comes with its names, in parts when it has many.
    i32 ReadItem() {
        constexpr u32 kNothing = UINT32_MAX;
        u32 count = kNothing;
        const auto room = static_cast<u32>(names.size());
        const i32 outcome = continued ? trade.GetNextForeignTrade(file, names.data(), &count, room)
                                      : trade.GetForeignTrade(file, &tag, names.data(), &count, room);
        if (count != kNothing && outcome != SYM_END_OF_DATA) {
            itemWaits = !continued;
            index = 0;
            size = count;
        }
        continued = outcome == SYM_MORE_DATA;
        return continued ? kElement : OneOf(outcome);
    }

    bool Item() override {
        if (std::exchange(headWaits, false)) {
            return true;
        }
        if (std::exchange(itemWaits, false)) {
            return Emit(1, Number(tag));
        }
        return index < size && Emit(2, Text(names[index++]));
    }

    ForeignTradeReader trade;
    bool inBody = false;
    bool continued = false;  // the next call continues the item
    u8 tag = 0;
    std::array<const char*, 256> names = {};
    bool headWaits = false;  // to be delivered
    bool itemWaits = false;
    std::size_t index = 0;
    std::size_t size = 0;
};

// Section 15.
class GlobalRelatedRows final : public BodyRows {
public:
    using BodyRows::BodyRows;

private:
    static constexpr const char* kBody = "head's body";

    i32 Begin() override { return Begun(related.InitialGlobalRelatedSection(file), announced); }
    i32 Call() override {
        if (inBody) {
            constexpr u32 kNothing = UINT32_MAX;
            u8 listSize = 0;
            u32 count = kNothing;
            const i32 outcome = OneOf(related.GetGlobalReleated(file, &listSize, items.data(), &count,
                                                                static_cast<u32>(items.size())));
            if (count != kNothing && outcome != kEnd) {
                listWaits = true;
                index = 0;
                size = count;
            }
            if (outcome != kEnd) {
                return outcome;
            }
            inBody = false;
            bodyEnd = Consumed();
        }
        u16 id = 0;
        const i32 outcome = OneOf(related.GetNextGlobalReleatedHead(file, &id));
        if (outcome == kElement) {
            CheckSkipped(6, kBody);
            Emit(0, Number(id));
            headWaits = inBody = true;
        } else if (outcome == kEnd) {
            CheckSkipped(0, kBody);
        }
        return outcome;
    }
    bool Item() override {
        if (std::exchange(headWaits, false)) {
            return true;
        }
        if (std::exchange(listWaits, false)) {
            return Emit(1);
        }
        if (index == size) {
            return false;
        }
        const GlobalRelatedItem& item = items[index++];
        return Emit(2, Number(item.tag), Text(item.name));
    }

    GlobalRelatedReader related;
    bool inBody = false;
    std::array<GlobalRelatedItem, 255> items = {};
    bool headWaits = false;  // to be delivered
    bool listWaits = false;
    std::size_t index = 0;
    std::size_t size = 0;
};

// ---- which section has which

template <class Rows>
std::unique_ptr<SectionRows> Make(Reader& reader, u16 id) {
    return std::make_unique<Rows>(reader, id);
}

struct Adapter {
    u16 id;
    std::unique_ptr<SectionRows> (*make)(Reader& reader, u16 id);
};

constexpr Adapter kAdaptors[] = {
    {1, Make<DefaultFieldRows>},
    {2,
     [](Reader& reader, u16) -> std::unique_ptr<SectionRows> {
         return std::make_unique<SymbolRows>(reader);
     }},
    {3, Make<JumpPriceRows>},
    {4, Make<BrokerInfoRows>},
    {6, Make<QuickGroupRows>},
    {7, Make<EidrSectionRows>},
    {8, Make<SectionL2Rows>},
    {9, Make<NameRows<FundCompanyReader, &FundCompanyReader::InitializeSection9,
                      &FundCompanyReader::GetNextFundCompanyGroup>>},
    {10, Make<NameRows<EidrCountryReader, &EidrCountryReader::InitializeSection10,
                       &EidrCountryReader::GetNextEidrCountryGroup>>},
    {11, Make<SectionGroupRows>},
    {12, Make<NameRows<IssueCompanyReader, &IssueCompanyReader::InitializeSection12,
                       &IssueCompanyReader::GetNextIssueCompanyGroup>>},
    {13, Make<ObjectRows>},
    {14, Make<ForeignTradeRows>},
    {15, Make<GlobalRelatedRows>},
    {16, Make<ExchangeRows>},
    {17, Make<RealDelayRows>},
    {18, Make<Level2EodRows>},
    {19, Make<NameRows<FundMainNameReader, &FundMainNameReader::InitialFundMainNameSection,
                       &FundMainNameReader::GetNextFundMainName>>},
    {20, Make<NameRows<FuturesSectionV2Reader, &FuturesSectionV2Reader::InitialFuturesSectionV2,
                       &FuturesSectionV2Reader::GetNextFuturesSectionV2>>},
    {21, Make<ExchangeSupportRows>},
    {22, Make<NameRows<FuturesClassTypeReader, &FuturesClassTypeReader::InitialFuturesClassType,
                       &FuturesClassTypeReader::GetNextFuturesClassType>>},
};

}  // namespace

std::unique_ptr<SectionRows> MakeSectionRows(Reader& reader, u16 id) {
    for (const Adapter& adapter : kAdaptors) {
        if (adapter.id == id) return adapter.make(reader, id);
    }
    return std::make_unique<NoRows>(reader, id);
}

}  // namespace torva::tables
