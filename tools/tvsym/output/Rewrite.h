// A symbol file with some of its sections replaced, left out or added. Everything else is copied byte for
// byte: sections without a reader, head values and counts that are wrong, bytes between sections. Entries of
// the directory keep their order; their offsets follow the bytes.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "tables/source/FileDirectory.h"
#include "tools/tvsym/output/Output.h"
#include "tools/tvsym/output/Spool.h"

namespace tvsym {

class Rewrite {
public:
    // Throws ToolError with kExitUnreadable for a file whose directory is cut off.
    Rewrite(std::shared_ptr<const FileSource> original, FileDirectory itsDirectory);

    // What takes the place of `size` bytes at `offset` of the file. Pieces must not overlap.
    void Replace(u64 offset, u64 size, std::shared_ptr<Spool> bytes);

    // Of a section, by its entry: the bytes after the id. A size in the directory that is wrong stays wrong
    // by as much with `keepDamage`. Throws ToolError with kExitUnreadable where another section's bytes
    // overlap it.
    void ReplaceSection(const DirectoryEntry& entry, std::shared_ptr<Spool> body, bool keepDamage = false);
    void LeaveOut(size_t entry);  // by its index in the directory

    // A further section, at the end; `body` follows its id.
    void AddLast(u16 id, std::shared_ptr<Spool> body);

    // Throws ToolError with kExitUnreadable for a result that 32-bit offsets cannot express.
    void Write(Output& out) const;

private:
    struct Piece {
        u64 size = 0;                  // of the bytes that it replaces
        std::shared_ptr<Spool> bytes;  // null: none
        bool keepDamage = true;
        u64 Added() const { return bytes ? bytes->Size() : 0; }
    };
    struct Added {
        u16 id;
        std::shared_ptr<Spool> body;
    };

    void RefuseOverlap(const DirectoryEntry& entry) const;
    u64 EndOf(const DirectoryEntry& entry) const;
    u64 Moved(u64 offset, u64 ahead) const;

    std::shared_ptr<const FileSource> source;
    FileDirectory directory;
    std::vector<bool> leftOut;    // by entry
    std::map<u64, Piece> pieces;  // by offset
    std::vector<Added> last;      // sections
};

}  // namespace tvsym
