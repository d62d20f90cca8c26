// The limit: what a loop written by hand over the mapped bytes of a well-formed file needs to deliver the
// same copies. It knows no handles, locks, truncated files, budgets or places to come back to.
//
// The same copies means: a separate heap block for each symbol field; texts of sections 8, 13, 14 and 15 in
// an area of the reader with pointers to them; everything else in the caller's arrays and buffers.
#pragma once

#include <memory>
#include <vector>

#include "bench/Delivery.h"

namespace bench {

class Limit {
public:
    // `fieldIds` as in tv_OpenSymFile.
    Limit(const std::uint8_t* fileBytes, const std::vector<std::uint16_t>& fieldIds)
        : file(fileBytes), tables(fieldIds) {
        LoadDefaults();
    }

    template <class Sink>
    void Walk(std::uint16_t section, Sink& sink) {
        const std::uint8_t* const end = Enter(section);
        switch (section) {
            case 2:
                return Symbols(end, sink);
            case 3:
                return JumpPrices(end, sink);
            case 4:
                return Brokers(sink);
            case 6:
                return QuickGroups(end, sink);
            case 7:
                return TwoTexts(end, sink);
            case 8:
                return Level2(end, sink);
            case 9:
            case 10:
            case 12:
                return Directory<std::uint16_t, std::uint16_t>(sink);
            case 11:
                return SectionGroups(sink);
            case 13:
                return Objects(end, sink);
            case 14:
                return ForeignTrade(end, sink);
            case 15:
                return GlobalRelated(end, sink);
            case 16:
                Take<std::uint16_t>();
                return TwoTexts(end, sink);
            case 17:
                return RealDelay(end, sink);
            case 18:
                return Definitions<std::uint16_t, 3>(sink);
            case 19:
                return Directory<std::uint32_t, std::uint32_t>(sink);
            case 20:
            case 22:
                return Directory<std::uint32_t, std::uint16_t>(sink);
            case 21:
                return Definitions<std::uint32_t, 1>(sink);
            default:
                return;
        }
    }

private:
    template <class T>
    T Take() {
        T value;
        std::memcpy(&value, p, sizeof value);
        p += sizeof value;
        return value;
    }

    // The C library's copy, also where the compiler knows the most bytes that can come and would put a slower
    // one in line.
    void TakeBytes(void* to, std::size_t n) {
        asm("" : "+r"(n));
        std::memcpy(to, p, n);
        p += n;
    }

    // Copies the text at the read position, with its terminator.
    void TakeText(char* to) {
        const std::size_t n = TextSize(p);
        std::memcpy(to, p, n);
        p += n;
    }
    static std::size_t TextSize(const std::uint8_t* text) {
        return std::strlen(reinterpret_cast<const char*>(text)) + 1;
    }

    // The same into the reader's own area; returns its place there.
    const char* PlaceText(char*& area) {
        const char* const text = area;
        const std::size_t n = TextSize(p);
        std::memcpy(area, p, n);
        p += n;
        area += n;
        return text;
    }

    // Puts the read position after the section's id and head value and returns the section's end.
    const std::uint8_t* Enter(std::uint16_t section) {
        p = file;
        for (std::uint32_t left = Take<std::uint16_t>(); left > 0; --left) {
            const auto id = Take<std::uint16_t>();
            const auto offset = Take<std::uint32_t>();
            const auto size = Take<std::uint32_t>();
            if (id != section) continue;
            p = file + offset + (id == 2 ? 2 : 6);
            return file + offset + size + (id == 8 ? 6 : 0);
        }
        return p = file;
    }

    void LoadDefaults() {
        for (const std::uint8_t* const end = Enter(1); p < end;) {
            const auto id = Take<std::uint16_t>();
            const auto tag = Take<std::uint8_t>();
            const std::size_t size = tag == 7 ? TextSize(p) : torva::PayloadWidth(tag);
            tables.AddDefault(id, tag, p, size);
            p += size;
        }
    }

    template <class Sink>
    void Symbols(const std::uint8_t* end, Sink& sink) {
        char text[kTextSize];
        Delivery<Sink> delivery(sink);
        while (p < end) {
            const auto recordSize = Take<std::uint32_t>();
            const std::uint8_t* const recordEnd = p + recordSize;
            TakeText(text);
            sink.Text(text);
            tables.BeginRecord();
            while (p < recordEnd) {
                const auto id = Take<std::uint16_t>();
                const auto tag = Take<std::uint8_t>();
                const std::size_t size = tag == 7 ? TextSize(p) : torva::PayloadWidth(tag);
                if (tables.Own(id)) delivery.Add(id, tag, p, size);
                p += size;
            }
            tables.EndRecord(delivery);
        }
    }

    // Runs of records, as many at a time as the caller's array takes. What an array does not get is zero.
    template <class Record, class Sink>
    void Records(std::uint32_t left, Record* records, std::uint32_t capacity, Sink& sink) {
        while (left > 0) {
            const std::uint32_t n = left < capacity ? left : capacity;
            TakeBytes(records, sizeof *records * n);
            std::memset(records + n, 0, sizeof *records * (capacity - n));
            left -= n;
            sink.Bytes(records, sizeof *records * n);
            sink.Elements(n);
        }
    }

    template <class Sink>
    void JumpPrices(const std::uint8_t* end, Sink& sink) {
        alignas(64) JumpPriceRecord records[kRecords];
        for (Take<std::uint8_t>(); p < end;) {
            sink.Number(Take<std::uint8_t>());
            Records(Take<std::uint16_t>(), records, kRecords, sink);
        }
    }

    template <class Sink>
    void Brokers(Sink& sink) {
        Records(Take<std::uint16_t>(), brokers, static_cast<std::uint32_t>(brokerCapacity), sink);
    }

    template <class Sink>
    void QuickGroups(const std::uint8_t* end, Sink& sink) {
        char name[50], room[kTextSize];
        SymFieldBuffer field = {0, 0, room, sizeof room, 0};
        while (p < end) {
            const auto groupSize = Take<std::uint16_t>();
            const std::uint8_t* const groupEnd = p + groupSize;
            TakeText(name);
            while (p < groupEnd) {
                field.id = Take<std::uint16_t>();
                field.tag = Take<std::uint8_t>();
                const std::size_t size = field.tag == 7 ? TextSize(p) : torva::PayloadWidth(field.tag);
                std::memcpy(room, p, size);
                p += size;
                field.size = static_cast<std::uint32_t>(size);
                sink.Text(name);
                sink.Bytes(&field, 3);
                sink.Bytes(room, size);
                sink.Elements(1);
            }
        }
    }

    template <class Sink>
    void TwoTexts(const std::uint8_t* end, Sink& sink) {
        char text1[kTextSize], text2[kTextSize];
        std::uint16_t id = 0;
        while (p < end) {
            id = Take<std::uint16_t>();
            TakeText(text1);
            TakeText(text2);
            sink.Bytes(&id, 2);
            sink.Text(text1);
            sink.Text(text2);
            sink.Elements(1);
        }
    }

    template <class Sink>
    void Level2(const std::uint8_t* end, Sink& sink) {
        SectionL2Item records[kRecords];
        while (p < end) {
            sink.Number(Take<std::uint8_t>());
            for (std::uint32_t left = Take<std::uint8_t>(); left > 0;) {
                const std::uint32_t n = left < kRecords ? left : kRecords;
                char* area = texts.get();
                for (std::uint32_t i = 0; i < n; ++i) {
                    const auto lead = Take<std::uint8_t>();
                    const char* const text1 = PlaceText(area);
                    records[i] = {lead, text1, PlaceText(area)};
                }
                left -= n;
                for (std::uint32_t i = 0; i < n; ++i) {
                    sink.Bytes(&records[i].leadByte, 1);
                    sink.Text(records[i].text1);
                    sink.Text(records[i].text2);
                }
                sink.Elements(n);
            }
        }
    }

    template <class Count, class Id, class Sink>
    void Directory(Sink& sink) {
        char name[kTextSize];
        for (Count left = Take<Count>(); left > 0; --left) {
            const std::uint32_t id = Take<Id>();
            TakeText(name);
            sink.Number(id);
            sink.Text(name);
            sink.Elements(1);
        }
    }

    template <class Sink>
    void SectionGroups(Sink& sink) {
        alignas(64) std::uint8_t members[255];
        for (std::uint32_t left = Take<std::uint8_t>(); left > 0; --left) {
            sink.Number(Take<std::uint8_t>());
            const auto n = Take<std::uint8_t>();
            TakeBytes(members, n);
            sink.Bytes(members, n);
            sink.Elements(n);
        }
    }

    template <class Sink>
    void Objects(const std::uint8_t* end, Sink& sink) {
        char* area = nullptr;
        const auto text = [&] { return PlaceText(area = texts.get()); };
        Take<std::uint16_t>();
        while (p < end) {
            sink.Number(Take<std::uint16_t>());
            Take<std::uint32_t>();
            for (std::uint32_t sources = Take<std::uint16_t>(); sources > 0; --sources) {
                sink.Text(text());
                for (std::uint32_t symbols = Take<std::uint16_t>(); symbols > 0; --symbols) {
                    sink.Number(Take<std::uint8_t>());
                    sink.Text(text());
                    for (std::uint32_t data = Take<std::uint8_t>(); data > 0; --data) {
                        sink.Number(Take<std::uint8_t>());
                        sink.Text(text());
                        sink.Elements(1);
                    }
                }
            }
        }
    }

    template <class Sink>
    void ForeignTrade(const std::uint8_t* end, Sink& sink) {
        ForeignTradeHead head;
        const char* names[kRecords];
        Take<std::uint16_t>();
        while (p < end) {
            char* area = texts.get();
            head.id = Take<std::uint16_t>();
            head.name = PlaceText(area);
            sink.Bytes(&head, 2);
            sink.Text(head.name);
            const auto bodySize = Take<std::uint32_t>();
            for (const std::uint8_t* const bodyEnd = p + bodySize; p < bodyEnd;) {
                const auto tag = Take<std::uint8_t>();
                std::uint32_t left = Take<std::uint16_t>();
                do {
                    const std::uint32_t n = left < kRecords ? left : kRecords;
                    area = texts.get();
                    for (std::uint32_t i = 0; i < n; ++i) names[i] = PlaceText(area);
                    left -= n;
                    sink.Number(tag);
                    for (std::uint32_t i = 0; i < n; ++i) sink.Text(names[i]);
                    sink.Elements(n);
                } while (left > 0);
            }
        }
    }

    template <class Sink>
    void GlobalRelated(const std::uint8_t* end, Sink& sink) {
        GlobalRelatedItem items[255];
        Take<std::uint16_t>();
        while (p < end) {
            sink.Number(Take<std::uint16_t>());
            const auto bodySize = Take<std::uint32_t>();
            for (const std::uint8_t* const bodyEnd = p + bodySize; p < bodyEnd;) {
                const std::uint32_t n = Take<std::uint8_t>();
                char* area = texts.get();
                for (std::uint32_t i = 0; i < n; ++i) {
                    items[i].tag = Take<std::uint8_t>();
                    items[i].name = PlaceText(area);
                }
                for (std::uint32_t i = 0; i < n; ++i) {
                    sink.Bytes(&items[i].tag, 1);
                    sink.Text(items[i].name);
                }
                sink.Elements(n);
            }
        }
    }

    template <class Sink>
    void RealDelay(const std::uint8_t* end, Sink& sink) {
        for (Take<std::uint16_t>(); p < end;) {
            const auto first = Take<std::uint8_t>();
            const auto second = Take<std::uint8_t>();
            sink.Number(first);
            sink.Number(second);
            sink.Elements(1);
        }
    }

    // Groups of ids with lists; the last group of an id counts, and the ids come in ascending order. In the
    // file the three lists of section 18 are in the order second, third, first.
    template <class Count, std::size_t kLists, class Sink>
    void Definitions(Sink& sink) {
        listsOf.assign(65536, nullptr);
        for (Count left = Take<Count>(); left > 0; --left) {
            const std::size_t ids = Take<std::uint16_t>();
            const std::uint8_t* id = p;
            const std::uint8_t* const lists = p += ids * 2;
            for (std::size_t list = 0; list < kLists; ++list) p += std::size_t{Take<std::uint16_t>()} * 2;
            for (; id < lists; id += 2) {
                std::uint16_t value;
                std::memcpy(&value, id, 2);
                listsOf[value] = lists;
            }
        }
        for (std::uint32_t id = 0; id < 65536; ++id) {
            p = listsOf[id];
            if (p == nullptr) continue;
            std::uint16_t counts[kLists];
            for (std::size_t list = 0; list < kLists; ++list) {
                const std::size_t to = (list + 1) % kLists;
                counts[to] = Take<std::uint16_t>();
                TakeBytes(definitionLists[to], counts[to] * 2U);
            }
            sink.Number(static_cast<std::uint16_t>(id));
            for (std::size_t list = 0; list < kLists; ++list)
                sink.Bytes(definitionLists[list], counts[list] * 2U);
            sink.Elements(1);
        }
    }

    const std::uint8_t* file;
    const std::uint8_t* p = nullptr;
    FieldTables tables;
    std::vector<const std::uint8_t*> listsOf;  // of each id of section 18 or 21
    std::unique_ptr<char[]> texts = std::make_unique<char[]>(1U << 20U);
};

}  // namespace bench
