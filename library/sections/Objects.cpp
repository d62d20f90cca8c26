// Section 13, the objects: a tree of four levels, walked depth first.
//
//   0   u16           id: 13
//   2   u32           head value, not used
//   6   u16           type count, for the caller only
//   8   type blocks   one after the other, up to the section's end
//
// A type block:   u16 type id | u32 block size, the bytes behind it | u16 source symbol count | sources
//
// A source:       text | u16 symbol count | symbols
//
// A symbol:       u8 symbol byte | text | u8 data count | data records
//
// A data record:  u8 data byte | text
//
// A level ends with its count, and all levels end with the block's bytes. A block may be left unfinished;
// below it every record is read in file order.

#include "library/core/SymFile.h"

namespace torva {
namespace {

constexpr u8 kObjects = 13;

}  // namespace

i32 SymFile::InitialObjectSection() { return InitialBodySection(kObjects, objectBlock); }

i32 SymFile::GetNextObjectTypeID(u16* typeId, u16* sourceSymCount) {
    if (AnyNull(typeId, sourceSymCount)) return SYM_ERR_PARAM;
    const i32 skipped = SkipRest(objectBlock);
    if (skipped != SYM_OK) return skipped;
    if (!Read(typeId, sizeof *typeId)) return SYM_ERR_READ;
    if (!Read(&objectBlock.bodySize, sizeof objectBlock.bodySize)) return SYM_ERR_READ;
    objectBlock.bodyRead = 0;
    if (!Read(sourceSymCount, sizeof *sourceSymCount, objectBlock.bodyRead)) return SYM_ERR_READ;
    objectSourceSymCount = *sourceSymCount;
    objectSourceSymIndex = 0;
    return SYM_MORE_DATA;
}

i32 SymFile::GetNextObjectSourceSym(const char** sourceSym, u16* symCount) {
    if (AnyNull(sourceSym, symCount)) return SYM_ERR_PARAM;
    if (objectBlock.Used() || objectSourceSymIndex >= objectSourceSymCount) return SYM_END_OF_DATA;
    if (!TakeObjectText(sourceSym)) return SYM_ERR_READ;
    ++objectSourceSymIndex;
    if (!Read(symCount, sizeof *symCount, objectBlock.bodyRead)) return SYM_ERR_READ;
    objectSymCount = *symCount;
    objectSymIndex = 0;
    return SYM_MORE_DATA;
}

i32 SymFile::GetNextObjectSym(u8* symByte, const char** sym, u8* dataCount) {
    if (AnyNull(symByte, sym, dataCount)) return SYM_ERR_PARAM;
    if (objectBlock.Used() || objectSymIndex >= objectSymCount) return SYM_END_OF_DATA;
    if (!Read(symByte, sizeof *symByte, objectBlock.bodyRead)) return SYM_ERR_READ;
    if (!TakeObjectText(sym)) return SYM_ERR_READ;
    ++objectSymIndex;
    if (!Read(dataCount, sizeof *dataCount, objectBlock.bodyRead)) return SYM_ERR_READ;
    objectDataCount = *dataCount;
    objectDataIndex = 0;
    return SYM_MORE_DATA;
}

i32 SymFile::GetNextObjectData(u8* dataByte, const char** data) {
    if (AnyNull(dataByte, data)) return SYM_ERR_PARAM;
    if (objectBlock.Used() || objectDataIndex >= objectDataCount) return SYM_END_OF_DATA;
    if (!Read(dataByte, sizeof *dataByte, objectBlock.bodyRead)) return SYM_ERR_READ;
    if (!TakeObjectText(data)) return SYM_ERR_READ;
    ++objectDataIndex;
    return SYM_MORE_DATA;
}

// The text of a record; it lives until the arena's next reset.
bool SymFile::TakeObjectText(const char** text) {
    arena.Reset();
    return PlaceText(text, objectBlock.bodyRead);
}

}  // namespace torva
