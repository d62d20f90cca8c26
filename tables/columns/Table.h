// What the C interface calls a TvtTable: a batch, and what lookups and levels below it need.
#pragma once

#include <atomic>
#include <memory>

#include "tables/columns/ArrowExport.h"
#include "tables/columns/Index.h"
#include "tables/columns/Loader.h"

struct TvtTable {
    // Of a table and the levels below it. Throws std::bad_alloc.
    static TvtTable* New(std::shared_ptr<const torva::tables::columns::Batch> batch,
                         const torva::tables::columns::Damage& damage, torva::u16 section, bool symbols,
                         torva::i32 level = 0);

    struct Release {
        void operator()(TvtTable* table) const { tvt_Release(table); }
    };

    std::shared_ptr<const torva::tables::columns::Batch> batch;
    torva::tables::columns::Damage damage;
    torva::u16 section = TVT_SYMBOLS;
    torva::i32 level = 0;
    bool symbols = true;  // column 0 is the symbol: lookups work
    std::unique_ptr<TvtTable, Release> below;
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
