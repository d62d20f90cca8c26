#include "library/core/FileReader.h"

#include <utility>

namespace torva {

void FileReader::Open(std::unique_ptr<platform::File> openFile, bool wholeFile) {
    source.Open(std::move(openFile), wholeFile);
    directory.Load(source);
}

void FileReader::OpenImage(const u8* image, u64 size) {
    source.OpenImage(image, size);
    directory.Load(source);
}

bool FileReader::SeekSection(u8 id) {
    const SectionEntry* const entry = directory.Find(id);
    if (entry == nullptr) return false;
    source.SeekTo(entry->offset);
    u16 idInFile = 0;
    source.ReadBytes(&idInFile, sizeof idInFile);
    if (idInFile != id) return false;
    sectionId = id;
    sectionSize = entry->size;
    sectionConsumed = sizeof idInFile;
    return true;
}

i32 FileReader::EnterSection(u8 id) {
    if (!SeekSection(id)) return SYM_ERR_NO_SECTION;
    return Read(&headValue, sizeof headValue) ? SYM_OK : SYM_ERR_READ;
}

// Leaves a record that came in part to the reads from the window, and all of them when the read fails.
u32 FileReader::ReadRecordsPastWindow(void* dst, u32 size, u32 n) {
    const u32 came = source.ReadPastWindow(dst, n * size).got;
    source.StepBack(came % size);
    Consume(came / size * size);
    return came / size;
}

}  // namespace torva
