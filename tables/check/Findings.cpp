#include "tables/check/Findings.h"

#include <algorithm>

#include "tables/check/Faults.h"

namespace torva::tables {

FindingKind KindOf(Fault fault) { return kFaults[static_cast<std::size_t>(fault)].kind; }

void Findings::Add(Finding finding) {
    ++total;
    OfSection& section = sections[finding.section];
    u64& keptOfKind = section.kept[finding.Kind()];
    if (keptOfKind == limit && !finding.last) {
        ++section.dropped[finding.Kind()];
        return;
    }
    ++keptOfKind;
    // Duplicates of a section are found after its other faults, so few places are passed here.
    const auto place =
        std::upper_bound(kept.begin(), kept.end(), finding, [](const Finding& a, const Finding& b) {
            return a.section != b.section ? a.section < b.section
                                          : a.offset.value_or(0) < b.offset.value_or(0);
        });
    kept.insert(place, std::move(finding));
}

}  // namespace torva::tables
