// Section 9, the fund companies, and section 12, the issue companies: directories with 16-bit ids and counts.
// The layout and the walk stand in Directories.h.

#include "library/sections/Directories.h"

namespace torva {
namespace {

constexpr u8 kFundCompanies = 9;
constexpr u8 kIssueCompanies = 12;

}  // namespace

i32 SymFile::InitializeSection9() { return InitialDirectory(kFundCompanies, fundCompanyCursor); }

i32 SymFile::GetNextFundCompanyGroup(i32* count, u32* ids, char** names, u32 nameSize) {
    return NextDirectoryElement<u16>(fundCompanyCursor, count, ids, names, nameSize);
}

i32 SymFile::InitializeSection12() { return InitialDirectory(kIssueCompanies, issueCompanyCursor); }

i32 SymFile::GetNextIssueCompanyGroup(i32* count, u32* ids, char** names, u32 nameSize) {
    return NextDirectoryElement<u16>(issueCompanyCursor, count, ids, names, nameSize);
}

}  // namespace torva
