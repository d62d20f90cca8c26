// The ordered map of a preloaded section: 16-bit ids, each with one or three lists of 16-bit values.
#pragma once

#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "format/Types.h"
#include "library/core/IdSet.h"
#include "library/platform/Platform.h"

namespace torva {

// The ids of a group share its lists, which never change: memory and time grow with the section and not with
// ids times values. Ids are delivered in ascending order and each is removed as it goes.
class DefinitionMap {
public:
    static constexpr u32 kMostLists = 3;

    // One group's lists as they are kept: their lengths, and right after them, so that both are in one cache
    // line, their values back to back, in the order of the file.
    class Lists {
    public:
        explicit Lists(const u16* keptLists) : kept(keptLists) {}
        u16 Length(u32 list) const { return kept[list]; }
        const u16* Values() const { return kept + kMostLists; }

    private:
        const u16* kept;
    };

    void Clear() {
        const platform::NoCancellation guard;  // the last id frees inside a call that is not guarded itself
        *this = DefinitionMap();
    }

    u32 Count() const { return count; }

    // Assigns the same lists to every id, replacing those it had. Throws std::bad_alloc, with nothing
    // changed.
    void Store(const std::vector<u16>& ids, const std::array<u16, kMostLists>& lengths,
               const std::vector<u16>& values) {
        if (ids.empty()) return;
        if (present == nullptr) {
            auto newListsOf = std::make_unique_for_overwrite<const u16*[]>(IdSet::kIds);
            present = std::make_unique<IdSet>();
            listsOf = std::move(newListsOf);
        }
        const u16* const lists = Keep(lengths, values);
        u32 added = 0;
        u16 least = smallest;
        for (const u16 id : ids) {
            added += present->Has(id) ? 0U : 1U;
            present->Add(id);
            listsOf[id] = lists;
            least = std::min(least, id);
        }
        smallest = least;
        count += added;
    }

    // The smallest id that is left, and its lists; the map is not empty.
    u16 Smallest() const { return smallest; }
    Lists ListsOf(u16 id) const { return Lists(listsOf[id]); }

    // Prefetches the lists of the next one, which may be anywhere.
    void RemoveSmallest() {
        if (--count == 0) return Clear();
        smallest = static_cast<u16>(present->NextFrom(smallest + 1U));
        __builtin_prefetch(listsOf[smallest]);
    }

private:
    // Copies to blocks that stay where they are: what grows is not copied again.
    const u16* Keep(const std::array<u16, kMostLists>& lengths, const std::vector<u16>& values) {
        constexpr std::size_t kBlock = std::size_t{32} * 1024;
        const std::size_t size = lengths.size() + values.size();
        if (size > room) {
            const std::size_t newRoom = std::max(size, kBlock);
            blocks.push_back(std::make_unique_for_overwrite<u16[]>(newRoom));
            next = blocks.back().get();
            room = newRoom;
        }
        const u16* const kept = next;
        next = std::copy(lengths.begin(), lengths.end(), next);
        next = std::copy(values.begin(), values.end(), next);
        room -= size;
        return kept;
    }

    u32 count = 0;         // ids in the map
    u16 smallest = 65535;  // of them
    std::unique_ptr<IdSet> present;
    std::unique_ptr<const u16*[]> listsOf;  // by id; only entries of ids that are present have a value
    std::vector<std::unique_ptr<u16[]>> blocks;
    u16* next = nullptr;   // in the last block: where the next lists go
    std::size_t room = 0;  // values that it has room for
};

}  // namespace torva
