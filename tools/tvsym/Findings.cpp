#include "tools/tvsym/Findings.h"

#include <fmt/format.h>

#include <algorithm>

namespace tvsym {

const char* KindName(FindingKind kind) {
    constexpr const char* kNames[] = {"directory", "size", "count", "cut", "duplicate", "text", "reader"};
    return kNames[static_cast<size_t>(kind)];
}

std::string Finding::Text() const {
    std::string text = what;
    if (!found.empty()) {
        text += fmt::format(": expected {}, found {}", expected, found);
    }
    return last ? text + "; the rest of the section was not looked at" : text;
}

void Findings::Add(Finding finding) {
    ++total;
    OfSection& section = sections[finding.section];
    u64& keptOfKind = section.kept[finding.kind];
    if (keptOfKind == limit && !finding.last) {
        ++section.dropped[finding.kind];
        return;
    }
    ++keptOfKind;
    // Duplicates of a section are found behind its other faults, so few places are passed here.
    const auto place =
        std::upper_bound(kept.begin(), kept.end(), finding, [](const Finding& a, const Finding& b) {
            return a.section != b.section ? a.section < b.section
                                          : a.offset.value_or(0) < b.offset.value_or(0);
        });
    kept.insert(place, std::move(finding));
}

}  // namespace tvsym
