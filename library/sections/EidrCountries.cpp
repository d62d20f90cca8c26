// Section 10, the Eidr countries: a directory with 16-bit ids and counts. The layout and the walk stand in
// Directories.h.

#include "library/sections/Directories.h"

namespace torva {
namespace {

constexpr u8 kEidrCountries = 10;

}  // namespace

i32 SymFile::InitializeSection10() { return InitialDirectory(kEidrCountries, countryCursor); }

i32 SymFile::GetNextEidrCountryGroup(i32* count, u32* ids, char** names, u32 nameSize) {
    return NextDirectoryElement<u16>(countryCursor, count, ids, names, nameSize);
}

}  // namespace torva
