#include "tables/source/FileDirectory.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>

#include "format/LittleEndian.h"
#include "format/Sections.h"

namespace torva::tables {

namespace {

constexpr u32 kEntrySize = 10;

[[noreturn]] void Refuse(const FileSource& source, const std::string& why) {
    throw Error(fmt::format("{}: {}", source.Name(), why));
}

// A file without signature is known by its directory: some section starts with its id, or, in a file that was
// cut off, all ids are ones that exist.
bool LooksLikeSymbolFile(const FileDirectory& directory) {
    if (directory.entryCount == 0) {
        return directory.fileSize == 2;
    }
    const auto& entries = directory.entries;
    const auto found = [](const DirectoryEntry& entry) { return entry.idAtStart == entry.id; };
    const auto known = [](const DirectoryEntry& entry) { return entry.id >= 1 && entry.id <= 22; };
    constexpr u16 kCredible = 1000;
    return std::any_of(entries.begin(), entries.end(), found) ||
           (directory.entryCount <= kCredible && std::all_of(entries.begin(), entries.end(), known));
}

struct Extent {
    u64 begin;
    u64 end;
    std::string name;
};

}  // namespace

u64 DirectoryEntry::End() const {
    const SectionInfo* section = FindSection(id);
    return u64{offset} + size + (section && section->sizeWithoutHead ? section->HeadSize() : 0);
}

const DirectoryEntry* FileDirectory::Find(u16 id) const {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&](const DirectoryEntry& entry) { return entry.id == id; });
    return found == entries.end() ? nullptr : &*found;
}

FileDirectory FileDirectory::Read(const FileSource& source) {
    FileDirectory directory;
    directory.fileSize = source.Size();
    if (directory.fileSize == 0) {
        Refuse(source, "is empty; a symbol file starts with the number of its sections");
    }
    std::array<u8, 2> number = {};
    if (source.ReadAt(0, number.data(), 2) < 2) {
        Refuse(source, "is not a symbol file: it is one byte long");
    }
    directory.entryCount = ReadNumber<u16>(number.data());
    std::vector<u8> bytes(std::size_t{directory.entryCount} * kEntrySize);
    const u32 got = source.ReadAt(2, bytes.data(), static_cast<u32>(bytes.size()));
    std::set<u16> seen;
    for (std::size_t at = 0; at + kEntrySize <= got; at += kEntrySize) {
        DirectoryEntry entry;
        entry.id = ReadNumber<u16>(&bytes[at]);
        entry.offset = ReadNumber<u32>(&bytes[at + 2]);
        entry.size = ReadNumber<u32>(&bytes[at + 6]);
        if (source.ReadAt(entry.offset, number.data(), 2) == 2) {
            entry.idAtStart = ReadNumber<u16>(number.data());
        }
        entry.firstOfId = seen.insert(entry.id).second;
        directory.entries.push_back(entry);
    }
    if (!LooksLikeSymbolFile(directory)) {
        Refuse(
            source,
            fmt::format("is not a symbol file: the header says {} sections, and none of them is in the file",
                        directory.entryCount));
    }
    return directory;
}

std::vector<Problem> DirectoryProblems(const FileDirectory& directory) {
    std::vector<Problem> problems;
    if (directory.IsCut()) {
        problems.push_back({0, directory.fileSize,
                            fmt::format("the header says {} sections, the file ends after {}",
                                        directory.entryCount, directory.entries.size())});
    }
    for (std::size_t at = 0; at < directory.entries.size(); ++at) {
        const DirectoryEntry& entry = directory.entries[at];
        const auto add = [&](u64 offset, std::string what) {
            problems.push_back({entry.id, offset, std::move(what)});
        };
        if (!entry.firstOfId) {
            add(2 + kEntrySize * at, fmt::format("a further directory entry of this id; readers use the "
                                                 "first alone and never see the one at 0x{:x}",
                                                 entry.offset));
        } else if (!entry.idAtStart) {
            add(2 + kEntrySize * at,
                fmt::format("starts at 0x{:x}, the file ends at 0x{:x}", entry.offset, directory.fileSize));
        } else if (*entry.idAtStart != entry.id) {
            add(entry.offset,
                fmt::format("expected id {} at the section's start, found {}", entry.id, *entry.idAtStart));
        } else if (entry.End() > directory.fileSize) {
            add(entry.offset,
                fmt::format("is {} bytes long by the directory, the file ends {} bytes before that",
                            entry.size, entry.End() - directory.fileSize));
        }
    }
    return problems;
}

std::vector<Stretch> GapsAndOverlaps(const FileDirectory& directory) {
    std::vector<Extent> extents = {{0, 2 + u64{kEntrySize} * directory.entryCount, "the directory"}};
    for (const DirectoryEntry& entry : directory.entries) {
        extents.push_back({entry.offset, entry.End(), fmt::format("section {}", entry.id)});
    }
    std::stable_sort(extents.begin(), extents.end(),
                     [](const Extent& a, const Extent& b) { return a.begin < b.begin; });
    std::vector<Stretch> stretches;
    const Extent* furthest = &extents.front();
    for (const Extent& extent : extents) {
        if (extent.begin > furthest->end && furthest->end < directory.fileSize) {
            const u64 end = std::min(extent.begin, directory.fileSize);
            stretches.push_back({furthest->end, end - furthest->end, "of no section"});
        } else if (&extent != furthest && extent.begin < furthest->end && extent.end > extent.begin) {
            stretches.push_back({extent.begin, std::min(extent.end, furthest->end) - extent.begin,
                                 fmt::format("of {} and of {}", furthest->name, extent.name)});
        }
        if (extent.end > furthest->end) {
            furthest = &extent;
        }
    }
    if (furthest->end < directory.fileSize) {
        stretches.push_back({furthest->end, directory.fileSize - furthest->end, "of no section"});
    }
    return stretches;
}

}  // namespace torva::tables
