// What `diff` prints: for people, or one JSON document.
#pragma once

#include <array>
#include <map>

#include "tables/compare/Comparison.h"
#include "tools/tvsym/output/Rows.h"

namespace tvsym {

class DifferenceWriter {
public:
    virtual ~DifferenceWriter() = default;
    virtual void Start(const std::array<std::string, 2>& names) = 0;  // of the files
    virtual void Write(const Difference& difference) = 0;
    virtual void Finish(const std::map<u16, CompareCounts>& counts) = 0;
};

std::unique_ptr<DifferenceWriter> MakeDifferenceText(Output& out, const RowContext& context);
std::unique_ptr<DifferenceWriter> MakeDifferenceJson(Output& out, const RowContext& context);

}  // namespace tvsym
