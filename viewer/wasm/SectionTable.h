// A section as columns: each level is a table whose rows refer to their parent row in the level above.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "format/Sections.h"
#include "tables/rows/Reader.h"
#include "viewer/wasm/Kernels.h"

namespace viewer {

// A column being built. View() is valid after Complete().
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
    std::vector<u32> parents;  // of each row, in the level above; empty on the first level
    std::vector<std::unique_ptr<SectionColumn>> columns;
};

class SectionTable {
public:
    // Reads the section to its end, or up to the damage that ends it.
    SectionTable(torva::tables::Reader& reader, const torva::SectionInfo& info);

    const std::vector<SectionLevel>& Levels() const { return levels; }
    const torva::tables::WalkResult& Result() const { return result; }

private:
    std::vector<SectionLevel> levels;
    torva::tables::WalkResult result;
};

}  // namespace viewer
