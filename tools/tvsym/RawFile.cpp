#include "tools/tvsym/RawFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

[[noreturn]] void Refuse(const std::string& name, const std::string& why) {
    throw ToolError(kExitUnreadable, fmt::format("{}: {}", name, why));
}

// Bytes delivered, fewer than `size` at the end of the file.
size_t ReadAt(std::ifstream& file, u8* to, size_t size, u64 offset) {
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(reinterpret_cast<char*>(to), static_cast<std::streamsize>(size));
    return static_cast<size_t>(file.gcount());
}

u16 Get16(const u8* from) { return static_cast<u16>(from[0] | from[1] << 8); }
u32 Get32(const u8* from) { return Get16(from) | static_cast<u32>(Get16(from + 2)) << 16; }

// A file without signature can only be told by whether its directory makes sense: some section starts with
// its id, or, in a file that was cut off, all ids are ones that exist.
bool LooksLikeSymbolFile(const RawFile& raw) {
    if (raw.entryCount == 0) {
        return raw.fileSize == 2;
    }
    const auto& entries = raw.directory;
    const auto found = [](const DirectoryEntry& entry) { return entry.idAtStart == entry.id; };
    const auto known = [](const DirectoryEntry& entry) { return entry.id >= 1 && entry.id <= 22; };
    constexpr u16 kCredible = 1000;
    return std::any_of(entries.begin(), entries.end(), found) ||
           (raw.entryCount <= kCredible && std::all_of(entries.begin(), entries.end(), known));
}

struct Extent {
    u64 begin;
    u64 end;
    std::string name;
};

}  // namespace

const DirectoryEntry* RawFile::Find(u16 id) const {
    const auto found = std::find_if(directory.begin(), directory.end(),
                                    [&](const DirectoryEntry& entry) { return entry.id == id; });
    return found == directory.end() ? nullptr : &*found;
}

RawFile RawFile::Read(const std::string& path, const std::string& name) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        Refuse(name, error ? error.message() : "no such file");
    }
    if (std::filesystem::is_directory(status)) {
        Refuse(name, "is a directory, not a symbol file");
    }
    if (!std::filesystem::is_regular_file(status)) {
        Refuse(name, "is not a regular file");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        const int reason = errno;
        Refuse(name, LockedByAnother(path) ? kInUse : std::strerror(reason));
    }
    RawFile raw;
    raw.fileSize = std::filesystem::file_size(path, error);
    if (raw.fileSize == 0) {
        Refuse(name, "is empty; a symbol file starts with the number of its sections");
    }
    std::array<u8, 2> head = {};
    if (ReadAt(file, head.data(), 2, 0) < 2) {
        Refuse(name, "is not a symbol file: it is one byte long");
    }
    raw.entryCount = Get16(head.data());
    std::vector<u8> bytes(size_t{raw.entryCount} * 10);
    const size_t got = ReadAt(file, bytes.data(), bytes.size(), 2);
    std::set<u16> seen;
    for (size_t at = 0; at + 10 <= got; at += 10) {
        DirectoryEntry entry;
        entry.id = Get16(&bytes[at]);
        entry.offset = Get32(&bytes[at + 2]);
        entry.size = Get32(&bytes[at + 6]);
        if (ReadAt(file, head.data(), 2, entry.offset) == 2) {
            entry.idAtStart = Get16(head.data());
        }
        entry.firstOfId = seen.insert(entry.id).second;
        raw.directory.push_back(entry);
    }
    if (!LooksLikeSymbolFile(raw)) {
        Refuse(name,
               fmt::format("is not a symbol file: its head announces {} sections, and none of them is there",
                           raw.entryCount));
    }
    return raw;
}

std::vector<Stretch> GapsAndOverlaps(const RawFile& raw) {
    std::vector<Extent> extents = {{0, 2 + u64{10} * raw.entryCount, "the directory"}};
    for (const DirectoryEntry& entry : raw.directory) {
        extents.push_back({entry.offset, entry.End(), fmt::format("section {}", entry.id)});
    }
    std::stable_sort(extents.begin(), extents.end(),
                     [](const Extent& a, const Extent& b) { return a.begin < b.begin; });
    std::vector<Stretch> stretches;
    const Extent* furthest = &extents.front();
    for (const Extent& extent : extents) {
        if (extent.begin > furthest->end && furthest->end < raw.fileSize) {
            const u64 end = std::min(extent.begin, raw.fileSize);
            stretches.push_back({furthest->end, end - furthest->end, "of no section"});
        } else if (&extent != furthest && extent.begin < furthest->end && extent.end > extent.begin) {
            stretches.push_back({extent.begin, std::min(extent.end, furthest->end) - extent.begin,
                                 fmt::format("of {} and of {}", furthest->name, extent.name)});
        }
        if (extent.end > furthest->end) {
            furthest = &extent;
        }
    }
    if (furthest->end < raw.fileSize) {
        stretches.push_back({furthest->end, raw.fileSize - furthest->end, "of no section"});
    }
    return stretches;
}

}  // namespace tvsym
