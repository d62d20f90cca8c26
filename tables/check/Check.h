// What is wrong in a symbol file, where, and what readers get there.
//
// Three passes. The first follows the bytes beside the library (SectionScan). The second and the third walk
// every section through the library, in file mode and in memory mode, and keep only counts and a digest of
// what came. Where the three do not agree, that is a finding too.
#pragma once

#include <array>

#include "tables/Hash.h"
#include "tables/check/Findings.h"
#include "tables/rows/Reader.h"
#include "text/Text.h"

namespace torva::tables {

// What one pass through the library delivered of a section.
struct Reading {
    WalkResult walk;
    u64 digest = kHashStart;  // of everything that was delivered
};

struct Readings {
    std::map<u16, Reading> sections;
    std::string refused;  // why the file could not be opened; empty when it was
};

struct CheckOptions {
    u64 limit = 20;  // findings of one kind kept for each section; UINT64_MAX: all
    Progress progress = {};
    u64 budget = 0;                // of its readers, as ReaderOptions::budget
    std::vector<u16> filter = {};  // of its readers, as ReaderOptions::filter
};

struct CheckReport {
    explicit CheckReport(u64 limit) : findings(limit) {}

    FileDirectory directory;
    Findings findings;
    std::map<u16, std::vector<u64>> scanned;  // rows of each level, by the bytes
    std::array<Readings, 2> readings;         // in file mode, in memory mode
    bool cancelled = false;                   // by the progress callback; the report is incomplete

    // False when the library does not open the file in one of its modes.
    bool CanBeOpened() const { return readings[0].refused.empty() && readings[1].refused.empty(); }
};

// Texts are checked with `codec`. The progress counts three times the bytes of the file. Holds 16 bytes for
// each symbol and, in memory mode, the file. Throws Error for what is not a symbol file.
CheckReport Check(const std::shared_ptr<const FileSource>& source, TextCodec& codec,
                  const CheckOptions& options);

}  // namespace torva::tables
