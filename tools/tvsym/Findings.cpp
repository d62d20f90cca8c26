#include "tools/tvsym/Findings.h"

#include <fmt/format.h>

#include <algorithm>

namespace tvsym {

const char* KindName(FindingKind kind) {
    constexpr const char* kNames[] = {"directory", "size", "count", "cut", "duplicate", "text", "reader"};
    return kNames[static_cast<size_t>(kind)];
}

std::string Finding::Text() const {
    return found.empty() ? what : fmt::format("{}: expected {}, found {}", what, expected, found);
}

void Findings::Add(Finding finding) {
    ++total;
    if (++sections[finding.section][finding.kind] > limit) {
        return;
    }
    // Duplicates of a section are found behind its other faults, so few places are passed here.
    const auto place =
        std::upper_bound(kept.begin(), kept.end(), finding, [](const Finding& a, const Finding& b) {
            return a.section != b.section ? a.section < b.section
                                          : a.offset.value_or(0) < b.offset.value_or(0);
        });
    kept.insert(place, std::move(finding));
}

}  // namespace tvsym
