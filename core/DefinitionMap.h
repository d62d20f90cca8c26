// The ordered map of a preloaded section: 16-bit ids, each with one or three lists of 16-bit values.
#pragma once

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

    // One group's lists, back to back in `values`, in the order of the file.
    struct Lists {
        std::size_t first = 0;  // index of the first value in `values`
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
        const std::size_t first = values.size();
        values.insert(values.end(), listValues.begin(), listValues.end());
        groups.push_back({first, lengths});
        for (const u16 id : ids) {
            if (!present->Has(id)) ++count;
            present->Add(id);
            groupOf[id] = static_cast<u32>(groups.size() - 1);
        }
    }

    // The smallest id and its lists; the map is not empty.
    u16 Smallest() {
        smallest = present->NextFrom(smallest);
        return static_cast<u16>(smallest);
    }
    const Lists& ListsOf(u16 id) const { return groups[groupOf[id]]; }
    const u16* Values(const Lists& lists) const { return values.data() + lists.first; }

    void Remove(u16 id) {
        present->Remove(id);
        if (--count == 0) Clear();
    }

private:
    u32 count = 0;     // ids in the map
    u32 smallest = 0;  // no id of the map lies below
    std::unique_ptr<IdSet> present;
    std::unique_ptr<u32[]> groupOf;  // by id; only entries of ids that are present have a value
    std::vector<Lists> groups;
    std::vector<u16> values;
};

}  // namespace torva
