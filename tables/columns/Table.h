// What the C interface calls a TvtTable.
#pragma once

#include <atomic>
#include <memory>

#include "tables/columns/ArrowExport.h"
#include "tables/columns/Index.h"
#include "tables/columns/Loader.h"

struct TvtTable {
    explicit TvtTable(torva::tables::columns::Loaded loaded);

    std::shared_ptr<const torva::tables::columns::Batch> batch;
    torva::tables::columns::Damage damage;
    std::atomic<torva::i64> references{1};
    torva::tables::columns::Once<torva::tables::columns::HashIndex> hashIndex;
    torva::tables::columns::Once<torva::tables::columns::SortedIndex> sortedIndex;

    const torva::tables::columns::Column* Find(torva::i32 index) const {
        return index >= 0 && static_cast<std::size_t>(index) < batch->columns.size()
                   ? &batch->columns[static_cast<std::size_t>(index)]
                   : nullptr;
    }
    torva::tables::columns::TextsView Symbols() const {
        return torva::tables::columns::TextsView(batch->columns.front());
    }
};
