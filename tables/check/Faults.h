// What belongs to each fault: its kind, and its words as fmt formats over the members of a Finding.
//
//     place      the element, or the head of the section   part     "the PART of PLACE"
//     name       the part alone                            noun     of the element
//     bytes      `found` with its unit                     text     of the finding
//     again      that the element occurs again, and where  start    of a text that does not decode
//     rows       what should have been delivered           file, memory, mode   what readers get, and where
#pragma once

#include <array>

#include "tables/check/Findings.h"

namespace torva::tables {

struct FaultWords {
    Fault fault;
    FindingKind kind;
    const char* what;
    const char* expected = "";
    const char* found = "";
};

// By Fault.
inline constexpr std::array<FaultWords, 30> kFaults = {{
    {Fault::DirectoryCut, FindingKind::Cut, "the directory", "{expected} entries",
     "{found}, then the file's end"},
    {Fault::EntryRepeated, FindingKind::Duplicate,
     "a further directory entry of this id; readers never see the section at {found:#x}"},
    {Fault::OffsetPastEnd, FindingKind::Directory, "the section's place",
     "an offset below the file's end at {expected:#x}", "{found:#x}"},
    {Fault::WrongId, FindingKind::Directory, "the id at the section's start", "{expected}", "{found}"},
    {Fault::SectionCut, FindingKind::Cut, "the section's end", "{expected:#x} by the directory",
     "the file's end {found} bytes before that"},
    {Fault::Stretch, FindingKind::Directory, "{bytes} {text}"},
    {Fault::SectionSize, FindingKind::Size, "the size in the directory",
     "{expected} (up to where its elements end)", "{found}"},
    {Fault::SectionSizeWithHead, FindingKind::Size, "the size in the directory",
     "{expected} (the {name}, without the {other} bytes before them)", "{found}"},
    {Fault::DefaultFieldsSize, FindingKind::Size, "the size of the default fields",
     "{expected} (up to the end by the directory)", "{found}"},
    {Fault::HeadValue, FindingKind::Size, "the head value", "{expected} (bytes of the elements)", "{found}"},
    {Fault::ElementPastEnd, FindingKind::Size, "{place}", "an end at {expected:#x}, where the section ends",
     "{found:#x}"},
    {Fault::RecordSizePastEnd, FindingKind::Size, "{part}", "at most {expected} (up to the section's end)",
     "{found}"},
    {Fault::RecordSizeTooSmall, FindingKind::Size, "{part}", "at least {expected} (its name)", "{found}"},
    {Fault::RecordSizeNoField, FindingKind::Size, "{part}",
     "more than {expected} (its name), for at least one field", "{found}"},
    {Fault::BodySize, FindingKind::Size, "{part}", "{expected} (bytes of its content)", "{found}"},
    {Fault::FieldPastEnd, FindingKind::Size, "field {field} of {place}",
     "an end at {expected:#x} by the size before it", "{found:#x}"},
    {Fault::TextTooLong, FindingKind::Size, "{part}", "at most {expected} bytes", "{found}"},
    {Fault::CountPastEnd, FindingKind::Count, "the number of {noun}s",
     "{expected} (up to the end by the directory)", "{found}"},
    {Fault::Count, FindingKind::Count, "the number of {noun}s", "{expected}", "{found}"},
    {Fault::InnerCount, FindingKind::Count, "the number of {name} in {place}",
     "at most {expected} (up to the section's end)", "{found}"},
    {Fault::EndsInside, FindingKind::Cut, "the file ends inside {place}"},
    {Fault::EndsAhead, FindingKind::Cut, "the file ends before {place}"},
    {Fault::FieldRepeated, FindingKind::Duplicate, "field {field} occurs twice in {place}"},
    {Fault::IdRepeated, FindingKind::Duplicate, "id {found} {again}"},
    {Fault::TextRepeated, FindingKind::Duplicate, "\"{text}\" {again}"},
    {Fault::NotText, FindingKind::Text, "the {name} of {place} is not valid {encoding}: {start}"},
    {Fault::ModesDiffer, FindingKind::Reader, "the read modes differ",
     "in memory mode the same as in file mode, {file}", "{memory}"},
    {Fault::ReadersDiffer, FindingKind::Reader, "what readers get", "{rows}", "{file}"},
    {Fault::ReadersFail, FindingKind::Reader, "readers get an error", "{rows}", "{file}"},
    {Fault::CannotOpen, FindingKind::Reader, "readers{mode} cannot open it: {text}"},
}};

constexpr bool FaultsAreInOrder() {
    for (std::size_t at = 0; at < kFaults.size(); ++at) {
        if (kFaults[at].fault != static_cast<Fault>(at)) return false;
    }
    return kFaults.back().fault == Fault::CannotOpen;
}
static_assert(FaultsAreInOrder());

}  // namespace torva::tables
