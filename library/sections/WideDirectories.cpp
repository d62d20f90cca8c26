// Sections 19, 20 and 22, the fund main names, the futures sections V2 and the futures class types:
// directories with a 32-bit count and, in section 19, 32-bit ids. The layout and the walk stand in
// Directories.h.

#include "library/sections/Directories.h"

namespace torva {
namespace {

constexpr u8 kFundMainNames = 19;
constexpr u8 kFuturesSectionsV2 = 20;
constexpr u8 kFuturesClassTypes = 22;

}  // namespace

i32 SymFile::InitialFundMainNameSection() { return InitialDirectory(kFundMainNames, fundMainNameCursor); }

i32 SymFile::GetNextFundMainName(i32* count, u32* ids, char** names, u32 nameSize) {
    return NextDirectoryElement<u32>(fundMainNameCursor, count, ids, names, nameSize);
}

i32 SymFile::InitialFuturesSectionV2() { return InitialDirectory(kFuturesSectionsV2, futuresSectionCursor); }

i32 SymFile::GetNextFuturesSectionV2(i32* count, u32* ids, char** names, u32 nameSize) {
    return NextDirectoryElement<u16>(futuresSectionCursor, count, ids, names, nameSize);
}

i32 SymFile::InitialFuturesClassType() {
    return InitialDirectory(kFuturesClassTypes, futuresClassTypeCursor);
}

i32 SymFile::GetNextFuturesClassType(i32* count, u32* ids, char** names, u32 nameSize) {
    return NextDirectoryElement<u16>(futuresClassTypeCursor, count, ids, names, nameSize);
}

}  // namespace torva
