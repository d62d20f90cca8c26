// What the C interface calls a TvtTable.
#pragma once

#include <atomic>
#include <memory>

#include "tables/columns/ArrowExport.h"
#include "tables/columns/Index.h"
#include "tables/columns/Loader.h"

struct TvtTable {
    explicit TvtTable(torva::tables::Loaded loaded);

    std::shared_ptr<const torva::tables::Batch> batch;
    torva::tables::Damage damage;
    std::atomic<torva::i64> references{1};
    torva::tables::Once<torva::tables::HashIndex> hashIndex;
    torva::tables::Once<torva::tables::SortedIndex> sortedIndex;

    const torva::tables::Column* Find(torva::i32 index) const {
        return index >= 0 && static_cast<std::size_t>(index) < batch->columns.size()
                   ? &batch->columns[static_cast<std::size_t>(index)]
                   : nullptr;
    }
    torva::tables::TextsView Symbols() const { return torva::tables::TextsView(batch->columns.front()); }
};
