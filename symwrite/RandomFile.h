// Well-formed symbol files made from a seed: the same bytes on every platform and in every build.
#pragma once

#include <cstdint>

#include "symwrite/SymFileWriter.h"

namespace symwrite {

// A small generator of its own (SplitMix64), because the standard's distributions differ between libraries.
class Random {
public:
    explicit Random(std::uint64_t seed) : state(seed) {}
    std::uint64_t Next();
    // A number from 0 to `bound - 1`; 0 for a bound of 0.
    std::uint32_t Below(std::uint32_t bound);
    bool OneIn(std::uint32_t n) { return Below(n) == 0; }

private:
    std::uint64_t state;
};

struct RandomFileOptions {
    std::uint64_t seed = 1;
    std::uint32_t symbols = 20;
    std::uint32_t fieldsPerSymbol = 8;
    std::uint32_t defaults = 4;     // fields of section 1
    std::uint32_t elements = 5;     // elements or groups of each section, limited by what its counts can hold
    std::uint32_t inner = 3;        // elements of each level below that, held likewise
    std::uint32_t textLength = 12;  // the longest text
    std::uint32_t fieldIds = 200;   // field ids run from 1 to this
    // Draws each number above from 0 (elements and groups from 0, too) to itself, instead of taking it as it
    // is.
    bool vary = false;
    // Texts of any bytes but 0, instead of printable ones.
    bool anyBytes = false;
    // Sections 3 to 22 as well as 1 and 2, and one of an id without a reader.
    bool allSections = true;
    // Only this section; 0 for all.
    std::uint16_t onlySection = 0;
    // The sections in random order, instead of ascending by id.
    bool shuffle = false;
};

File RandomFile(const RandomFileOptions& options);

// One symbol of such a file, for files that are written while they are made. Its text contains `index`, so
// that no two are equal. Its field ids are distinct as long as there are enough.
Row RandomSymbol(Random& random, const RandomFileOptions& options, std::uint64_t index);

// Every section with at least two elements or groups, every tag, empty and longer texts, in less than 1.5 KB:
// the seed of sweeps and fuzzers.
File SmallFile();

}  // namespace symwrite
