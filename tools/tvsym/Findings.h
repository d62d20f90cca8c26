// What `check` found, with a limit on how much of one kind is kept: a file of nonsense says enough with that.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/tvsym/Tool.h"

namespace tvsym {

enum class FindingKind : u8 { Directory, Size, Count, Cut, Duplicate, Text, Reader };

// The word that stands for it in JSON.
const char* KindName(FindingKind kind);

struct Finding {
    FindingKind kind;
    u16 section = 0;            // 0: the directory and the file as a whole
    std::optional<u64> offset;  // from the start of the file
    std::string what;
    std::string expected = {};  // may be empty, and `found` then as well
    std::string found = {};
    bool last = false;  // nothing could be made out behind it, and the rest of the section was not looked at

    // "the head value: expected 12 (...), found 13"
    std::string Text() const;
};

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

}  // namespace tvsym
