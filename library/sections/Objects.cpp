// Section 13, the objects: a tree of four levels, walked depth first.
//
//   0   u16           id: 13
//   2   u32           head value, not used
//   6   u16           type count, for the caller only
//   8   type blocks   one after the other, up to the section's end
//
// A type block:   u16 type id | u32 block size, the bytes after it | u16 source symbol count | sources
//
// A source:       text | u16 symbol count | symbols
//
// A symbol:       u8 symbol byte | text | u8 data count | data records
//
// A data record:  u8 data byte | text
//
// A level ends with its count, and all levels end with the block's bytes. A block may be left unfinished;
// below it every record is read in file order.

#include "library/sections/Objects.h"

namespace torva {
namespace {

constexpr u8 kObjects = 13;

}  // namespace

i32 ObjectReader::InitialObjectSection(FileReader& file) { return Initial(file, kObjects); }

i32 ObjectReader::GetNextObjectTypeID(FileReader& file, u16* typeId, u16* sourceSymCount) {
    if (AnyNull(typeId, sourceSymCount)) return SYM_ERR_PARAM;
    const i32 skipped = SkipRest(file);
    if (skipped != SYM_OK) return skipped;
    if (!file.Read(typeId, sizeof *typeId)) return SYM_ERR_READ;
    if (!file.Read(&bodySize, sizeof bodySize)) return SYM_ERR_READ;
    bodyRead = 0;
    if (!file.Read(sourceSymCount, sizeof *sourceSymCount, bodyRead)) return SYM_ERR_READ;
    sourceCount = *sourceSymCount;
    sourceIndex = 0;
    return SYM_MORE_DATA;
}

i32 ObjectReader::GetNextObjectSourceSym(FileReader& file, const char** sourceSym, u16* symCount) {
    if (AnyNull(sourceSym, symCount)) return SYM_ERR_PARAM;
    if (BodyUsed() || sourceIndex >= sourceCount) return SYM_END_OF_DATA;
    if (!ReadRecordText(file, sourceSym)) return SYM_ERR_READ;
    ++sourceIndex;
    if (!file.Read(symCount, sizeof *symCount, bodyRead)) return SYM_ERR_READ;
    symbolCount = *symCount;
    symbolIndex = 0;
    return SYM_MORE_DATA;
}

i32 ObjectReader::GetNextObjectSym(FileReader& file, u8* symByte, const char** sym, u8* dataCount) {
    if (AnyNull(symByte, sym, dataCount)) return SYM_ERR_PARAM;
    if (BodyUsed() || symbolIndex >= symbolCount) return SYM_END_OF_DATA;
    if (!file.Read(symByte, sizeof *symByte, bodyRead)) return SYM_ERR_READ;
    if (!ReadRecordText(file, sym)) return SYM_ERR_READ;
    ++symbolIndex;
    if (!file.Read(dataCount, sizeof *dataCount, bodyRead)) return SYM_ERR_READ;
    recordCount = *dataCount;
    recordIndex = 0;
    return SYM_MORE_DATA;
}

i32 ObjectReader::GetNextObjectData(FileReader& file, u8* dataByte, const char** data) {
    if (AnyNull(dataByte, data)) return SYM_ERR_PARAM;
    if (BodyUsed() || recordIndex >= recordCount) return SYM_END_OF_DATA;
    if (!file.Read(dataByte, sizeof *dataByte, bodyRead)) return SYM_ERR_READ;
    if (!ReadRecordText(file, data)) return SYM_ERR_READ;
    ++recordIndex;
    return SYM_MORE_DATA;
}

// The text of a record; it lives until the arena's next reset.
bool ObjectReader::ReadRecordText(FileReader& file, const char** text) {
    file.arena.Reset();
    return file.PlaceText(text, bodyRead);
}

}  // namespace torva
