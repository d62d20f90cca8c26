#include "tools/tvsym/output/Rewrite.h"

#include <fmt/format.h>

#include <algorithm>

#include "format/LittleEndian.h"
#include "tools/tvsym/output/Problems.h"

namespace tvsym {

namespace {

constexpr u64 kEntrySize = 10;

std::string Number(u64 number, size_t width) {
    std::string bytes(width, '\0');
    torva::WriteNumber(bytes.data(), number, width);
    return bytes;
}

u64 Checked(u64 number, const char* what) {
    if (number > UINT32_MAX) {
        throw ToolError(kExitUnreadable, fmt::format("the result cannot be expressed: {} {} is more than {}",
                                                     what, number, UINT32_MAX));
    }
    return number;
}

}  // namespace

Rewrite::Rewrite(std::shared_ptr<const FileSource> original, FileDirectory itsDirectory)
    : source(std::move(original)),
      directory(std::move(itsDirectory)),
      leftOut(directory.entries.size(), false) {
    if (directory.IsCut()) {
        throw ToolError(kExitUnreadable,
                        fmt::format("{}: the directory is cut off; nothing can be changed", source->Name()));
    }
}

u64 Rewrite::EndOf(const DirectoryEntry& entry) const { return std::min(entry.End(), source->Size()); }

void Rewrite::RefuseOverlap(const DirectoryEntry& entry) const {
    const u64 bodies = 2 + kEntrySize * directory.entries.size();
    for (const DirectoryEntry& other : directory.entries) {
        const bool same = other.offset == entry.offset && other.size == entry.size && other.id == entry.id;
        if (!same && other.size > 0 && other.offset < EndOf(entry) && entry.offset < EndOf(other)) {
            throw ToolError(kExitUnreadable,
                            fmt::format("{}: section {} ({}) overlaps section {} and cannot be changed",
                                        source->Name(), entry.id, SectionTitle(entry.id), other.id));
        }
    }
    if (entry.offset < bodies) {
        throw ToolError(kExitUnreadable,
                        fmt::format("{}: section {} ({}) overlaps the directory and cannot be changed",
                                    source->Name(), entry.id, SectionTitle(entry.id)));
    }
}

void Rewrite::Replace(u64 offset, u64 size, std::shared_ptr<Spool> bytes) {
    pieces[offset] = {size, std::move(bytes), true};
}

void Rewrite::ReplaceSection(const DirectoryEntry& entry, std::shared_ptr<Spool> body, bool keepDamage) {
    RefuseOverlap(entry);
    const u64 start = u64{entry.offset} + 2;
    pieces[start] = {EndOf(entry) - std::min(start, EndOf(entry)), std::move(body), keepDamage};
}

void Rewrite::LeaveOut(size_t index) {
    const DirectoryEntry& entry = directory.entries[index];
    RefuseOverlap(entry);
    leftOut[index] = true;
    if (entry.offset < EndOf(entry)) Replace(entry.offset, EndOf(entry) - entry.offset, nullptr);
}

void Rewrite::AddLast(u16 id, std::shared_ptr<Spool> body) { last.push_back({id, std::move(body)}); }

// Where the bytes at `offset` are in the result, after `ahead` bytes in place of the old directory.
u64 Rewrite::Moved(u64 offset, u64 ahead) const {
    const u64 bodies = 2 + kEntrySize * directory.entries.size();
    if (offset < bodies) return offset;  // inside the directory, which damage may say
    u64 moved = offset - bodies + ahead;
    for (const auto& [at, piece] : pieces) {
        if (at > offset) break;
        moved = moved - piece.size + piece.Added();
    }
    return moved;
}

void Rewrite::Write(Output& out) const {
    const u64 bodies = 2 + kEntrySize * directory.entries.size();
    const u64 kept = static_cast<u64>(std::ranges::count(leftOut, false));
    const u64 count = kept + last.size();
    const u64 ahead = 2 + kEntrySize * count;
    std::string entries;
    const auto entry = [&](u64 id, u64 offset, u64 size) {
        entries += Number(id, 2) + Number(Checked(offset, "an offset of"), 4) +
                   Number(Checked(size, "a size of"), 4);
    };
    const bool same = kept == directory.entries.size() && last.empty();
    for (size_t at = 0; at < directory.entries.size(); ++at) {
        if (leftOut[at]) continue;
        const DirectoryEntry& old = directory.entries[at];
        u64 offset = Moved(old.offset, ahead);
        if (old.offset >= source->Size() && offset > UINT32_MAX)
            offset = old.offset;  // after the end either way
        const auto piece = pieces.find(u64{old.offset} + 2);
        u64 size = old.size;
        if (piece != pieces.end() && old.idAtStart == old.id) {
            const u64 replaced = piece->second.keepDamage
                                     ? piece->second.size
                                     : old.End() - std::min(old.End(), u64{old.offset} + 2);
            size = size - replaced + piece->second.Added();
        }
        entry(old.id, offset, size);
    }
    u64 end = Moved(source->Size(), ahead);
    for (const Added& added : last) {
        entry(added.id, end, 2 + added.body->Size());
        end += 2 + added.body->Size();
    }
    out.Write(Number(same ? directory.entryCount : count, 2));
    out.Write(entries);
    u64 at = std::min(bodies, source->Size());
    const auto copyTo = [&](u64 until) {
        source->Read(at, until - at, [&](std::string_view bytes) { out.Write(bytes); });
    };
    for (const auto& [offset, piece] : pieces) {
        copyTo(offset);
        if (piece.bytes) piece.bytes->Read([&](std::string_view bytes) { out.Write(bytes); });
        at = offset + piece.size;
    }
    copyTo(source->Size());
    for (const Added& added : last) {
        out.Write(Number(added.id, 2));
        added.body->Read([&](std::string_view bytes) { out.Write(bytes); });
    }
}

}  // namespace tvsym
