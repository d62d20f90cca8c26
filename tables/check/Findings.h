// What a check found, as data. Wording.h has the words for it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tables/Error.h"

namespace torva::tables {

enum class FindingKind : u8 { Directory, Size, Count, Cut, Duplicate, Text, Reader };

// Everything that can be found. The comment names what `expected`, `found` and the other members of the
// finding hold.
enum class Fault : u8 {
    // The directory and the file as a whole
    DirectoryCut,   // entries
    EntryRepeated,  // found: the offset in the entry
    OffsetPastEnd,  // offsets
    WrongId,        // ids
    SectionCut,     // expected: where the section ends; found: bytes missing before that
    Stretch,        // found: bytes; text: of which sections, or of none
    // Sizes and counts against what is there
    SectionSize,          // bytes
    SectionSizeWithHead,  // bytes; part: the elements; other: the bytes that do not count
    DefaultFieldsSize,    // bytes
    HeadValue,            // bytes
    ElementPastEnd,       // offsets of ends
    RecordSizePastEnd,    // bytes; part: the size
    RecordSizeTooSmall,   // bytes; part: the size
    RecordSizeNoField,    // bytes; part: the size
    BodySize,             // bytes; part: the size
    FieldPastEnd,         // offsets of ends; field
    TextTooLong,          // bytes; part: the text
    CountPastEnd,         // elements
    Count,                // elements
    InnerCount,           // elements within the element; part: what they are
    EndsInside,           // the file ends inside the element
    EndsAhead,            // the file ends before the element
    // Repetitions and texts
    FieldRepeated,  // field
    IdRepeated,     // found: the id; other: offset of the first
    TextRepeated,   // text; other: offset of the first
    NotText,        // text: its bytes; part: the text; field, where it is one's value
    // What the library's readers get; see Check.h
    ModesDiffer,
    ReadersDiffer,
    ReadersFail,
    CannotOpen,  // text: why; other: the read mode, or 2 for both
};

FindingKind KindOf(Fault fault);

// An element of level 0, or what stands for one.
struct Place {
    const char* noun = nullptr;  // "symbol"; null: the head of the section
    u64 index = 0;               // from 0
};

struct Finding {
    Fault fault = Fault::DirectoryCut;
    u16 section = 0;                 // 0: the directory and the file as a whole
    std::optional<u64> offset = {};  // from the start of the file
    Place element = {};
    const char* part = "";  // of the element; see Fault
    std::optional<u16> field = {};
    u64 expected = 0;
    u64 found = 0;
    u64 other = 0;
    std::string text = {};
    bool last = false;  // nothing could be determined after it: the rest of the section was not checked

    FindingKind Kind() const { return KindOf(fault); }
};

// Findings with a limit on how many of one kind and section are kept.
class Findings {
public:
    explicit Findings(u64 mostOfOneKind) : limit(mostOfOneKind) {}

    void Add(Finding finding);

    // Ordered by section and offset.
    const std::vector<Finding>& Kept() const { return kept; }
    u64 Total() const { return total; }
    bool Has(u16 section) const { return sections.contains(section); }
    // How many of each kind were not kept.
    const std::map<FindingKind, u64>& Dropped(u16 section) const { return sections.at(section).dropped; }
    u64 Limit() const { return limit; }

private:
    u64 limit;
    u64 total = 0;
    std::vector<Finding> kept;
    struct OfSection {
        std::map<FindingKind, u64> kept;
        std::map<FindingKind, u64> dropped;
    };
    std::map<u16, OfSection> sections;
};

}  // namespace torva::tables
