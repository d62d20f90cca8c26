#include "tables/check/Findings.h"

#include <algorithm>

namespace torva::tables {

FindingKind KindOf(Fault fault) {
    switch (fault) {
        case Fault::OffsetPastEnd:
        case Fault::WrongId:
        case Fault::Stretch:
            return FindingKind::Directory;
        case Fault::CountPastEnd:
        case Fault::Count:
        case Fault::InnerCount:
            return FindingKind::Count;
        case Fault::DirectoryCut:
        case Fault::SectionCut:
        case Fault::EndsInside:
        case Fault::EndsAhead:
            return FindingKind::Cut;
        case Fault::EntryRepeated:
        case Fault::FieldRepeated:
        case Fault::IdRepeated:
        case Fault::TextRepeated:
            return FindingKind::Duplicate;
        case Fault::NotText:
            return FindingKind::Text;
        case Fault::ModesDiffer:
        case Fault::ReadersDiffer:
        case Fault::ReadersFail:
        case Fault::CannotOpen:
            return FindingKind::Reader;
        default:
            return FindingKind::Size;
    }
}

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
