// Every walk once, over the library or the plain reader, and what takes the delivered bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "TorvaAPI.h"
#include "TorvaValues.h"
#include "format/Fields.h"
#include "reference/LibraryReader.h"
#include "reference/PlainReader.h"

namespace bench {

constexpr std::int32_t kRecords = 100;  // capacity of the arrays of records
constexpr std::int32_t kItems = 64;     // and of symbol fields
constexpr std::uint32_t kTextSize = 256;

// Bytes of a symbol field's value that have a meaning.
inline std::size_t ValueBytes(std::uint8_t tag, const void* value) {
    if (tag == torva::kTextTag) return std::strlen(static_cast<const char*>(value)) + 1;
    return torva::PayloadWidth(tag);
}

// Sums up all that a walk delivers; two walks that deliver the same have the same sum.
class Checksum {
public:
    void Bytes(const void* data, std::size_t n) {
        const auto* const bytes = static_cast<const std::uint8_t*>(data);
        for (std::size_t i = 0; i < n; ++i) sum = (sum ^ bytes[i]) * 0x100000001B3U;
    }
    void Text(const char* text) { Bytes(text, std::strlen(text) + 1); }
    template <class T>
    void Number(T value) {
        Bytes(&value, sizeof value);
    }
    void Field(std::uint16_t id, std::uint8_t tag, const void* value) {
        Number(id);
        Number(tag);
        Bytes(value, ValueBytes(tag, value));
    }
    void Field(const SymFieldItem& item) { Field(item.id, item.tag, item.value); }
    void Elements(std::size_t n) { elements += n; }
    bool operator==(const Checksum&) const = default;

    std::uint64_t sum = 0xCBF29CE484222325U;
    std::uint64_t elements = 0;
};

// Takes what is delivered while the time runs: nothing is done with it, but the compiler must have it in
// memory.
class Swallow {
public:
    void Bytes(const void* data, std::size_t n) const { asm volatile("" : : "g"(data), "g"(n) : "memory"); }
    // A pointer into the arena may be null: whoever reads it asks.
    void Text(const char* text) const { Bytes(text != nullptr ? text : "", 0); }
    template <class T>
    void Number(const T& value) const {
        asm volatile("" : : "g"(value));
    }
    void Field(std::uint16_t id, std::uint8_t tag, const void* value) const {
        Number(id);
        Number(tag);
        Bytes(value, 0);
    }
    void Field(const SymFieldItem& item) const { Field(item.id, item.tag, item.value); }
    void Elements(std::size_t /*n*/) const {}
};

// The library's operations on one handle.
using LibraryFile = LibraryReader<PlainCall>;

template <class File, class Sink>
void WalkSymbols(File& file, Sink& sink) {
    char text[kTextSize];
    SymFieldItem items[kItems];
    for (;;) {
        std::int32_t count = -1;
        std::int32_t result = file.GetNextSymData(text, kTextSize - 1, &count, items, kItems);
        if (count < 0) return;
        sink.Text(text);
        for (;;) {
            for (std::int32_t i = 0; i < count; ++i) {
                sink.Field(items[i]);
                SymFreeValue(items[i].value);
            }
            sink.Elements(static_cast<std::size_t>(count));
            if (result != SYM_MORE_DATA) break;
            result = file.GetAgainSymData(&count, items, kItems);
        }
    }
}

template <class File, class Sink>
void WalkJumpPrices(File& file, Sink& sink) {
    alignas(64) JumpPriceRecord records[kRecords];
    for (;;) {
        std::uint8_t groupId = 0;
        std::int32_t count = -1;
        std::int32_t result = file.GetNextJumpPriceGroup(&groupId, &count, records, kRecords);
        if (count < 0) return;
        sink.Number(groupId);
        for (;;) {
            sink.Bytes(records, sizeof *records * static_cast<std::size_t>(count));
            sink.Elements(static_cast<std::size_t>(count));
            if (result != SYM_MORE_DATA) break;
            result = file.GetAgainJumpPriceData(&count, records, kRecords);
        }
    }
}

inline std::int32_t brokerCapacity = kRecords;  // of the array that takes the brokers
alignas(64) inline BrokerInfoRecord brokers[65535];

template <class File, class Sink>
void WalkBrokers(File& file, Sink& sink) {
    for (std::int32_t result = file.InitialSectionBorkerInfo() < 0 ? SYM_END_OF_DATA : SYM_MORE_DATA;
         result == SYM_MORE_DATA;) {
        std::int32_t count = 0;
        result = file.GetNextBrokerInfoGroup(&count, brokers, brokerCapacity);
        sink.Bytes(brokers, sizeof *brokers * static_cast<std::size_t>(count));
        sink.Elements(static_cast<std::size_t>(count));
    }
}

template <class File, class Sink>
void WalkQuickGroups(File& file, Sink& sink) {
    char room[kTextSize];
    for (std::int32_t result = file.InitialSection6() < 0 ? SYM_END_OF_DATA : SYM_MORE_DATA;
         result == SYM_MORE_DATA;) {
        const char* name = nullptr;
        std::int32_t count = 0;
        SymFieldBuffer field = {0, 0, room, sizeof room, 0};
        result = file.GetNextEidrQuickGroup(&name, &count, &field, 1);
        if (count != 1) break;
        sink.Text(name);
        sink.Bytes(&field, 3);
        sink.Bytes(room, field.size);
        sink.Elements(1);
    }
}

template <class File, class Sink>
void WalkEidrSections(File& file, Sink& sink) {
    char text1[kTextSize], text2[kTextSize];
    EidrSectionItem item = {0, text1, sizeof text1, text2, sizeof text2};
    for (std::int32_t result = file.InitialSection7() < 0 ? SYM_END_OF_DATA : SYM_MORE_DATA;
         result == SYM_MORE_DATA;) {
        std::int32_t count = 0;
        result = file.GetNextEidrSectionGroup(&count, &item, 1);
        if (count != 1) break;
        sink.Bytes(&item, 2);
        sink.Text(text1);
        sink.Text(text2);
        sink.Elements(1);
    }
}

template <class File, class Sink>
void WalkLevel2(File& file, Sink& sink) {
    SectionL2Item records[kRecords];
    std::int32_t result = SYM_OK;
    for (bool open = false; result == SYM_OK || result == SYM_MORE_DATA; open = result == SYM_MORE_DATA) {
        std::uint8_t groupId = 0;
        std::int32_t count = -1;
        result = file.GetNextSectionL2Group(&groupId, &count, records, kRecords);
        if (count < 0) return;
        if (!open) sink.Number(groupId);
        for (std::int32_t i = 0; i < count; ++i) {
            sink.Bytes(&records[i].leadByte, 1);
            sink.Text(records[i].text1);
            sink.Text(records[i].text2);
        }
        sink.Elements(static_cast<std::size_t>(count));
    }
}

template <class Sink, class Initial, class Next>
void WalkDirectory(Sink& sink, Initial initial, Next next) {
    std::uint32_t id = 0;
    char name[kTextSize];
    char* names = name;
    for (std::int32_t result = initial() < 0 ? SYM_END_OF_DATA : SYM_MORE_DATA; result == SYM_MORE_DATA;) {
        std::int32_t count = 0;
        result = next(&count, &id, &names, kTextSize);
        if (count != 1) break;
        sink.Number(id);
        sink.Text(name);
        sink.Elements(1);
    }
}

template <class File, class Sink>
void WalkSectionGroups(File& file, Sink& sink) {
    std::uint8_t bytes[255];
    std::uint8_t* members = bytes;
    for (std::int32_t result = file.InitializeSection11() < 0 ? SYM_END_OF_DATA : SYM_MORE_DATA;
         result == SYM_MORE_DATA;) {
        std::uint8_t groupId = 0;
        std::int32_t count = 0;
        result = file.GetNextSectionGroup(&groupId, &count, &members, 255);
        sink.Number(groupId);
        sink.Bytes(bytes, static_cast<std::size_t>(count));
        sink.Elements(static_cast<std::size_t>(count));
    }
}

template <class File, class Sink>
void WalkObjects(File& file, Sink& sink) {
    std::uint16_t typeId = 0, sources = 0, symbols = 0;
    std::uint8_t symByte = 0, dataCount = 0, dataByte = 0;
    const char* text = nullptr;
    if (file.InitialObjectSection() < 0) return;
    while (file.GetNextObjectTypeID(&typeId, &sources) == SYM_MORE_DATA) {
        sink.Number(typeId);
        while (file.GetNextObjectSourceSym(&text, &symbols) == SYM_MORE_DATA) {
            sink.Text(text);
            while (file.GetNextObjectSym(&symByte, &text, &dataCount) == SYM_MORE_DATA) {
                sink.Number(symByte);
                sink.Text(text);
                while (file.GetNextObjectData(&dataByte, &text) == SYM_MORE_DATA) {
                    sink.Number(dataByte);
                    sink.Text(text);
                    sink.Elements(1);
                }
            }
        }
    }
}

template <class File, class Sink>
void WalkForeignTrade(File& file, Sink& sink) {
    ForeignTradeHead head;
    const char* names[kRecords];
    std::uint8_t tag = 0;
    std::uint32_t count = 0;
    if (file.InitialForeignTradeSection() < 0) return;
    while (file.GetNextForeignTradeHead(&head) == SYM_OK) {
        sink.Bytes(&head, 2);
        sink.Text(head.name);
        std::int32_t result = file.GetForeignTrade(&tag, names, &count, kRecords);
        bool goesOn = false;
        while (result == SYM_OK || result == SYM_MORE_DATA) {
            if (!goesOn) sink.Number(tag);
            goesOn = result == SYM_MORE_DATA;
            for (std::uint32_t i = 0; i < count; ++i) sink.Text(names[i]);
            sink.Elements(count);
            result = result == SYM_MORE_DATA ? file.GetNextForeignTrade(names, &count, kRecords)
                                             : file.GetForeignTrade(&tag, names, &count, kRecords);
        }
    }
}

template <class File, class Sink>
void WalkGlobalRelated(File& file, Sink& sink) {
    GlobalRelatedItem items[255];
    std::uint16_t headId = 0;
    std::uint8_t listSize = 0;
    std::uint32_t count = 0;
    if (file.InitialGlobalRelatedSection() < 0) return;
    while (file.GetNextGlobalReleatedHead(&headId) == SYM_OK) {
        sink.Number(headId);
        while (file.GetGlobalReleated(&listSize, items, &count, 255) == SYM_OK) {
            for (std::uint32_t i = 0; i < count; ++i) {
                sink.Bytes(&items[i].tag, 1);
                sink.Text(items[i].name);
            }
            sink.Elements(count);
        }
    }
}

template <class File, class Sink>
void WalkExchanges(File& file, Sink& sink) {
    std::uint32_t id = 0;
    char text1[kTextSize], text2[kTextSize];
    for (std::int32_t result = file.InitialExchangeSection() < 0 ? SYM_END_OF_DATA : SYM_MORE_DATA;
         result == SYM_MORE_DATA;) {
        result = file.GetNextExchange(&id, text1, kTextSize - 1, text2, kTextSize - 1);
        if (result < SYM_MORE_DATA) break;
        sink.Bytes(&id, 2);
        sink.Text(text1);
        sink.Text(text2);
        sink.Elements(1);
    }
}

template <class File, class Sink>
void WalkRealDelay(File& file, Sink& sink) {
    std::uint8_t first = 0, second = 0;
    if (file.InitialRealDelayMappingSection() < 0) return;
    while (file.GetNextRealDelayMapping(&first, &second) == SYM_OK) {
        sink.Number(first);
        sink.Number(second);
        sink.Elements(1);
    }
}

inline std::uint16_t definitionLists[3][65535];

template <class File, class Sink>
void WalkEodItems(File& file, Sink& sink) {
    auto& lists = definitionLists;
    std::uint16_t id = 0, counts[3] = {};
    if (file.InitialLevel2EODBasicItemDefineSection() < 0) return;
    while (file.GetNextLevel2EODBasicItemDefine(&id, &counts[0], lists[0], 65535, &counts[1], lists[1], 65535,
                                                &counts[2], lists[2], 65535) == SYM_OK) {
        sink.Number(id);
        for (int i = 0; i < 3; ++i) sink.Bytes(lists[i], counts[i] * 2U);
        sink.Elements(1);
    }
}

template <class File, class Sink>
void WalkExchangeSupport(File& file, Sink& sink) {
    std::uint16_t id = 0, count = 0;
    if (file.InitialExchangeSupportSection() < 0) return;
    while (file.GetNextExchangeSupportSection(&id, &count, definitionLists[0], 65535) == SYM_OK) {
        sink.Number(id);
        sink.Bytes(definitionLists[0], count * 2U);
        sink.Elements(1);
    }
}

// Walks one section from its start to its end, whatever was walked before.
template <class File, class Sink>
void Walk(std::uint16_t section, File& file, Sink& sink) {
    if (section == 2 || section == 3 || section == 8) file.InitialRealDelayMappingSection();
    switch (section) {
        case 2:
            return WalkSymbols(file, sink);
        case 3:
            return WalkJumpPrices(file, sink);
        case 4:
            return WalkBrokers(file, sink);
        case 6:
            return WalkQuickGroups(file, sink);
        case 7:
            return WalkEidrSections(file, sink);
        case 8:
            return WalkLevel2(file, sink);
        case 9:
            return WalkDirectory(
                sink, [&] { return file.InitializeSection9(); },
                [&](auto... arguments) { return file.GetNextFundCompanyGroup(arguments...); });
        case 10:
            return WalkDirectory(
                sink, [&] { return file.InitializeSection10(); },
                [&](auto... arguments) { return file.GetNextEidrCountryGroup(arguments...); });
        case 11:
            return WalkSectionGroups(file, sink);
        case 12:
            return WalkDirectory(
                sink, [&] { return file.InitializeSection12(); },
                [&](auto... arguments) { return file.GetNextIssueCompanyGroup(arguments...); });
        case 13:
            return WalkObjects(file, sink);
        case 14:
            return WalkForeignTrade(file, sink);
        case 15:
            return WalkGlobalRelated(file, sink);
        case 16:
            return WalkExchanges(file, sink);
        case 17:
            return WalkRealDelay(file, sink);
        case 18:
            return WalkEodItems(file, sink);
        case 19:
            return WalkDirectory(
                sink, [&] { return file.InitialFundMainNameSection(); },
                [&](auto... arguments) { return file.GetNextFundMainName(arguments...); });
        case 20:
            return WalkDirectory(
                sink, [&] { return file.InitialFuturesSectionV2(); },
                [&](auto... arguments) { return file.GetNextFuturesSectionV2(arguments...); });
        case 21:
            return WalkExchangeSupport(file, sink);
        case 22:
            return WalkDirectory(
                sink, [&] { return file.InitialFuturesClassType(); },
                [&](auto... arguments) { return file.GetNextFuturesClassType(arguments...); });
        default:
            return;
    }
}

}  // namespace bench
