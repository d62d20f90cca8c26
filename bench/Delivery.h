// What the limit and the peers share: filter and default fields resolved through tables by id, and delivered
// fields with their blocks.
#pragma once

#include <new>
#include <vector>

#include "bench/SectionWalks.h"

namespace bench {

// Fields of the caller, handed to `sink` and freed when the array is full. Of each the value is a block of
// its own.
template <class Sink>
class Delivery {
public:
    explicit Delivery(Sink& to) : sink(to) {}

    void Add(std::uint16_t id, std::uint8_t tag, const std::uint8_t* payload, std::size_t size) {
        if (count == kItems) Flush();
        auto* const block =
            new (std::nothrow) std::uint8_t[tag == torva::kTextTag ? size : torva::BlockSize(tag)];
        if (block != nullptr) std::memcpy(block, payload, size);
        items[count++] = {id, tag, block};
    }

    void Flush() {
        for (std::int32_t i = 0; i < count; ++i) {
            sink.Field(items[i]);
            SymFreeValue(items[i].value);
        }
        sink.Elements(static_cast<std::size_t>(count));
        count = 0;
    }

private:
    Sink& sink;
    std::int32_t count = 0;
    SymFieldItem items[kItems];
};

class FieldTables {
public:
    // `fieldIds` as in tv_OpenSymFile.
    explicit FieldTables(const std::vector<std::uint16_t>& fieldIds)
        : wanted(65536, fieldIds.empty() ? 1 : 0), firstDefault(65536, 0) {
        for (const std::uint16_t id : fieldIds) wanted[id] = 1;
    }

    void AddDefault(std::uint16_t id, std::uint8_t tag, const std::uint8_t* payload, std::size_t size) {
        if (wanted[id] == 0) return;
        defaults.push_back({id, tag, payload, size, 0});
        if (firstDefault[id] == 0) firstDefault[id] = static_cast<std::uint16_t>(defaults.size());
    }

    void BeginRecord() { ++record; }

    // Notes a field of the record; true when it is wanted.
    bool Own(std::uint16_t id) {
        if (firstDefault[id] != 0) defaults[firstDefault[id] - 1U].seenIn = record;
        return wanted[id] != 0;
    }

    // The default fields that the record does not carry, and then the end of its delivery.
    template <class Sink>
    void EndRecord(Delivery<Sink>& delivery) {
        for (const Default& field : defaults) {
            if (field.seenIn != record) delivery.Add(field.id, field.tag, field.payload, field.size);
        }
        delivery.Flush();
    }

private:
    struct Default {
        std::uint16_t id;
        std::uint8_t tag;
        const std::uint8_t* payload;
        std::size_t size;
        std::uint32_t seenIn;
    };
    std::vector<std::uint8_t> wanted;         // by id
    std::vector<Default> defaults;            // the wanted ones
    std::vector<std::uint16_t> firstDefault;  // by id: index in `defaults` + 1
    std::uint32_t record = 0;
};

}  // namespace bench
