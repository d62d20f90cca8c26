// The ordered map of a preloaded section: 16-bit ids, each with one or three lists of 16-bit values.
#pragma once

#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "core/IdSet.h"
#include "core/Types.h"

namespace torva {

// The ids of a group share its lists, which never change: memory and time grow with the section and not with
// ids times values. Ids are handed out in ascending order and each is removed as it goes.
class DefinitionMap {
public:
    static constexpr u32 kMostLists = 3;

    // One group's lists, back to back, in the order of the file.
    struct Lists {
        const u16* values = nullptr;
        std::array<u16, kMostLists> lengths{};
    };

    void Clear() { *this = DefinitionMap(); }

    u32 Count() const { return count; }

    // Gives every id the same lists, in the place of those it had. Throws std::bad_alloc, with nothing
    // changed.
    void Store(const std::vector<u16>& ids, const std::array<u16, kMostLists>& lengths,
               const std::vector<u16>& listValues) {
        if (ids.empty()) return;
        if (present == nullptr) {
            auto newGroupOf = std::make_unique_for_overwrite<u32[]>(IdSet::kIds);
            present = std::make_unique<IdSet>();
            groupOf = std::move(newGroupOf);
        }
        groups.push_back({Keep(listValues), lengths});
        u32 added = 0;
        for (const u16 id : ids) {
            added += present->Has(id) ? 0 : 1;
            present->Add(id);
            groupOf[id] = static_cast<u32>(groups.size() - 1);
        }
        count += added;
    }

    // The smallest id and its lists; the map is not empty.
    u16 Smallest() {
        smallest = static_cast<u16>(present->NextFrom(smallest));
        return smallest;
    }
    const Lists& ListsOf(u16 id) const { return groups[groupOf[id]]; }

    void Remove(u16 id) {
        present->Remove(id);
        if (--count == 0) Clear();
    }

private:
    // Copies values to blocks that stay where they are: what grows is not copied again.
    const u16* Keep(const std::vector<u16>& listValues) {
        constexpr std::size_t kBlock = std::size_t{32} * 1024;
        const std::size_t size = listValues.size();
        if (size > room) {
            const std::size_t newRoom = std::max(size, kBlock);
            blocks.push_back(std::make_unique_for_overwrite<u16[]>(newRoom));
            next = blocks.back().get();
            room = newRoom;
        }
        u16* const kept = next;
        std::copy(listValues.begin(), listValues.end(), kept);
        next += size;
        room -= size;
        return kept;
    }

    u32 count = 0;     // ids in the map
    u16 smallest = 0;  // no id of the map lies below
    std::unique_ptr<IdSet> present;
    std::unique_ptr<u32[]> groupOf;  // by id; only entries of ids that are present have a value
    std::vector<Lists> groups;
    std::vector<std::unique_ptr<u16[]>> blocks;
    u16* next = nullptr;   // in the last block: where the next values go
    std::size_t room = 0;  // values that it has room for
};

}  // namespace torva
