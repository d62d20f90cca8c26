// A section held as columns: each of its levels is a table whose rows name the row above that they belong to.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "format/Sections.h"
#include "tables/rows/Reader.h"
#include "viewer/wasm/Kernels.h"

namespace viewer {

// A column under construction; once it is complete, View() is what the page reads.
class SectionColumn {
public:
    explicit SectionColumn(const torva::Column& described);

    void Add(const torva::tables::Cell& cell);
    void Complete();

    const torva::Column& Description() const { return column; }
    const ColumnView& View() const { return view; }

private:
    void AddBytes(const void* from, std::size_t size, std::size_t elementSize);

    torva::Column column;
    ColumnView view;
    std::vector<u8> values;
    std::vector<i32> offsets;
};

struct SectionLevel {
    const torva::Level* description;
    u32 rows = 0;
    std::vector<u32> parents;  // for each row the row of the level above; empty on the first level
    std::vector<std::unique_ptr<SectionColumn>> columns;
};

class SectionTable {
public:
    // Walks the section to its end, or to where damage ends it.
    SectionTable(torva::tables::Reader& reader, const torva::SectionInfo& info);

    const std::vector<SectionLevel>& Levels() const { return levels; }
    const torva::tables::Walk& Result() const { return result; }

private:
    std::vector<SectionLevel> levels;
    torva::tables::Walk result;
};

}  // namespace viewer
