// The way from one file to another as a patch: which bytes of the old file the new one has, and the others.
//
//   0   8 bytes   "tvsymdif"
//   8   u8        1, the version
//   9   u64       size of the old file
//  17   u64       its hash
//  25   u64       size of the new file
//  33             steps, until they make the size of the new file:
//                   copy   varint 2 * size + 1 | varint of the offset in the old file less the one after the
//                   last
//                          copy, as a zigzag number
//                   data   varint 2 * size | bytes
//       u64       hash of the new file
//
// Varints have 7 bits a byte, the lowest first, and the highest bit where another byte follows. The hash is
// FNV-1a over the bytes.
#pragma once

#include <functional>
#include <istream>

#include "tables/source/FileSource.h"
#include "tools/tvsym/output/Output.h"

namespace tvsym {

// Returns whether the files differ. Holds at most 24 MiB, whatever their sizes.
bool WritePatch(const FileSource& old, const FileSource& now, Output& out);

// Calls `sink` with the bytes of the new file. Throws ToolError with kExitUnreadable for a patch of another
// file, and for a damaged one; what `sink` got is then not the new file.
void ApplyPatch(const FileSource& old, std::istream& patch, const std::string& patchName,
                const std::function<void(std::string_view)>& sink);

}  // namespace tvsym
