// An open symbol file as the library's section readers see it.
#pragma once

#include <memory>

#include "library/file/SymFile.h"
#include "tables/rows/Reader.h"

namespace torva::tables {

struct Reader::OpenFile {
    explicit OpenFile(std::span<const u16> fieldIds)
        : symFile(fieldIds.data(), static_cast<u16>(fieldIds.size())) {}

    SymFile symFile;
    u32 textMax = 0;  // characters: no text of the file is longer
    // Of Reader::Defaults, as far as the file does not hold them.
    std::vector<std::unique_ptr<char[]>> values;
};

}  // namespace torva::tables
