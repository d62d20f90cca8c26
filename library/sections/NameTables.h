// The name tables, sections of ids with a name each: 9, 10, 12, 19, 20 and 22.
#pragma once

#include "format/Types.h"
#include "library/core/FileReader.h"

namespace torva {

// The walk that they share. One call delivers one element, its name into a buffer of the caller.
class NameTable {
protected:
    template <class Count>
    i32 Initial(FileReader& file, u8 section);
    template <class Id>
    i32 NextElement(FileReader& file, i32* count, u32* ids, char** names, u32 nameSize);

private:
    u32 bytesTotal = 0;  // the head value: the limit on element bytes
    u32 bytesRead = 0;
    u32 elementCount = 0;
    u32 elementIndex = 0;  // elements delivered in this walk
};

// Section 9.
class FundCompanyReader : NameTable {
public:
    i32 InitializeSection9(FileReader& file);
    i32 GetNextFundCompanyGroup(FileReader& file, i32* count, u32* ids, char** names, u32 nameSize);
};

// Section 10.
class EidrCountryReader : NameTable {
public:
    i32 InitializeSection10(FileReader& file);
    i32 GetNextEidrCountryGroup(FileReader& file, i32* count, u32* ids, char** names, u32 nameSize);
};

// Section 12.
class IssueCompanyReader : NameTable {
public:
    i32 InitializeSection12(FileReader& file);
    i32 GetNextIssueCompanyGroup(FileReader& file, i32* count, u32* ids, char** names, u32 nameSize);
};

// Section 19.
class FundMainNameReader : NameTable {
public:
    i32 InitialFundMainNameSection(FileReader& file);
    i32 GetNextFundMainName(FileReader& file, i32* count, u32* ids, char** names, u32 nameSize);
};

// Section 20.
class FuturesSectionV2Reader : NameTable {
public:
    i32 InitialFuturesSectionV2(FileReader& file);
    i32 GetNextFuturesSectionV2(FileReader& file, i32* count, u32* ids, char** names, u32 nameSize);
};

// Section 22.
class FuturesClassTypeReader : NameTable {
public:
    i32 InitialFuturesClassType(FileReader& file);
    i32 GetNextFuturesClassType(FileReader& file, i32* count, u32* ids, char** names, u32 nameSize);
};

}  // namespace torva
