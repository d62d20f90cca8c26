// The name tables.
//
//   0   u16        section id
//   2   u32        head value: the limit on element bytes
//   6   u16        element count; u32 in sections 19, 20 and 22
//   8   elements   one after the other (at 10 in sections 19, 20 and 22)
//
// An element:  u16 id, u32 in section 19 | name

#include "library/sections/NameTables.h"

namespace torva {

template <class Count>
i32 NameTable::Initial(FileReader& file, u8 section) {
    Count newCount = 0;
    const i32 result = file.EnterCountedSection(section, newCount, &bytesTotal);
    if (result != SYM_OK) return result;
    elementCount = newCount;
    bytesRead = 0;
    elementIndex = 0;
    return file.Exhausted() ? SYM_END_OF_DATA : static_cast<i32>(elementCount);
}

template <class Id>
i32 NameTable::NextElement(FileReader& file, i32* count, u32* ids, char** names, u32 nameSize) {
    if (AnyNull(count, ids, names) || *count < 0) return SYM_ERR_PARAM;
    if (bytesRead >= bytesTotal || elementIndex >= elementCount) return SYM_END_OF_DATA;
    if (file.source.AtEnd()) return SYM_END_OF_DATA;
    file.arena.Reset();
    if (*count >= 1) return SYM_MORE_DATA;
    Id id = 0;
    if (!file.Read(&id, sizeof id, bytesRead)) return SYM_ERR_READ;
    ids[0] = id;
    const i32 result = file.ReadTextTo(*names, nameSize, bytesRead);
    if (result != SYM_OK) return result;
    ++*count;
    ++elementIndex;
    if (elementIndex != elementCount) return SYM_MORE_DATA;
    bytesRead = 0;
    elementCount = 0;
    elementIndex = 0;
    return SYM_OK;
}

i32 FundCompanyReader::InitializeSection9(FileReader& file) { return Initial<u16>(file, 9); }

i32 FundCompanyReader::GetNextFundCompanyGroup(FileReader& file, i32* count, u32* ids, char** names,
                                               u32 nameSize) {
    return NextElement<u16>(file, count, ids, names, nameSize);
}

i32 EidrCountryReader::InitializeSection10(FileReader& file) { return Initial<u16>(file, 10); }

i32 EidrCountryReader::GetNextEidrCountryGroup(FileReader& file, i32* count, u32* ids, char** names,
                                               u32 nameSize) {
    return NextElement<u16>(file, count, ids, names, nameSize);
}

i32 IssueCompanyReader::InitializeSection12(FileReader& file) { return Initial<u16>(file, 12); }

i32 IssueCompanyReader::GetNextIssueCompanyGroup(FileReader& file, i32* count, u32* ids, char** names,
                                                 u32 nameSize) {
    return NextElement<u16>(file, count, ids, names, nameSize);
}

i32 FundMainNameReader::InitialFundMainNameSection(FileReader& file) { return Initial<u32>(file, 19); }

i32 FundMainNameReader::GetNextFundMainName(FileReader& file, i32* count, u32* ids, char** names,
                                            u32 nameSize) {
    return NextElement<u32>(file, count, ids, names, nameSize);
}

i32 FuturesSectionV2Reader::InitialFuturesSectionV2(FileReader& file) { return Initial<u32>(file, 20); }

i32 FuturesSectionV2Reader::GetNextFuturesSectionV2(FileReader& file, i32* count, u32* ids, char** names,
                                                    u32 nameSize) {
    return NextElement<u16>(file, count, ids, names, nameSize);
}

i32 FuturesClassTypeReader::InitialFuturesClassType(FileReader& file) { return Initial<u32>(file, 22); }

i32 FuturesClassTypeReader::GetNextFuturesClassType(FileReader& file, i32* count, u32* ids, char** names,
                                                    u32 nameSize) {
    return NextElement<u16>(file, count, ids, names, nameSize);
}

}  // namespace torva
