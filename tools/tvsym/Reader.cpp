#include "tools/tvsym/Reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tools/tvsym/Walker.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

constexpr u64 kMiB = u64{1} << 20;
constexpr u64 kMemoryModeLimit = 64 * kMiB;
constexpr u32 kLeastBudget = 4 * kMiB;
constexpr u32 kModestBudget = 64 * kMiB;
constexpr u64 kGenerousBudget = 1024 * kMiB;
constexpr u32 kLargestBudget = UINT32_MAX;
constexpr size_t kLongestPath = 25600;
constexpr u16 kOpenFiles = 64;
constexpr u64 kLongestText = 256 * kMiB;

void CopyStandardInput(const std::string& path) {
    std::ofstream file(path, std::ios::binary);
    std::vector<char> buffer(size_t{64} * 1024);
    while (file) {
        const size_t got = std::fread(buffer.data(), 1, buffer.size(), stdin);
        if (got == 0) {
            break;
        }
        file.write(buffer.data(), static_cast<std::streamsize>(got));
    }
    file.close();
    if (!file || std::ferror(stdin) != 0) {
        throw ToolError(kExitUnreadable, fmt::format("(standard input): cannot be copied to {}: {}", path,
                                                     std::strerror(errno)));
    }
}

}  // namespace

InputFile::InputFile(const std::string& path) : name(path == "-" ? "(standard input)" : path) {
    if (path != "-") {
        return;
    }
    spoolPath = MakeTemporaryFile("");
    try {
        CopyStandardInput(spoolPath);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(spoolPath, ignored);
        throw;
    }
}

InputFile::~InputFile() {
    if (!spoolPath.empty()) {
        std::error_code ignored;
        std::filesystem::remove(spoolPath, ignored);
    }
}

Reader::Reader(const std::string& path, ReaderOptions readerOptions)
    : Reader(std::make_shared<const InputFile>(path), std::move(readerOptions)) {}

Reader::Reader(std::shared_ptr<const InputFile> inputFile, ReaderOptions readerOptions)
    : input(std::move(inputFile)), options(std::move(readerOptions)), library(kOpenFiles) {
    if (Path().size() > kLongestPath) {
        throw ToolError(kExitUnreadable, fmt::format("{}...: the path has more than {} characters",
                                                     Path().substr(0, 60), kLongestPath));
    }
    raw = RawFile::Read(Path(), Name());
    Open();
    LoadDefaults();
}

// The arenas are made larger than the file where that is affordable, so that no value finds them too small,
// and a text may be as long as the file; memory that is not used is never touched.
void Reader::Open() {
    tvapi::OpenOptions how;
    how.wholeFile = options.mode == ReadMode::Memory ||
                    (options.mode == ReadMode::Auto && raw.fileSize <= kMemoryModeLimit);
    how.fieldIds = options.filter.data();
    how.fieldIdCount = static_cast<u32>(options.filter.size());
    how.textMax = static_cast<i32>(std::min(raw.fileSize, kLongestText));
    how.memoryBudget = static_cast<u32>(std::min(2 * raw.fileSize + kLeastBudget, kGenerousBudget));
    i32 result = file.open(Path().c_str(), how);
    if (result == SYM_ERR_NO_MEMORY && how.memoryBudget > kModestBudget) {
        how.memoryBudget = kModestBudget;
        result = file.open(Path().c_str(), how);
    }
    while (result == SYM_ERR_PARAM && how.memoryBudget < kLargestBudget) {  // the default fields need more
        how.memoryBudget = how.memoryBudget > kLargestBudget / 2 ? kLargestBudget : how.memoryBudget * 2;
        result = file.open(Path().c_str(), how);
    }
    if (result != SYM_OK) {
        RefuseOpen(result);
    }
}

void Reader::RefuseOpen(i32 code) const {
    std::string why = fmt::format("cannot be opened (result {})", code);
    const DirectoryEntry* defaultFields = raw.Find(1);
    if (code == SYM_ERR_OPEN && LockedByAnother(Path())) {
        why = kInUse;
    } else if (code == SYM_ERR_OPEN && defaultFields) {
        Problem problem{1, defaultFields->offset,
                        "the default fields cannot be loaded: their data ends too early"};
        throw ToolError(kExitUnreadable, ProblemLine(Name(), problem).substr(sizeof "tvsym: " - 1));
    } else if (code == SYM_ERR_NO_MEMORY || code == SYM_ERR_PARAM) {
        why = "cannot be opened: not enough memory for its default fields";
    } else if (code == SYM_ERR_NO_SLOT) {
        why = "cannot be opened: too many files are open";
    }
    throw ToolError(kExitUnreadable, fmt::format("{}: {}", Name(), why));
}

void Reader::LoadDefaults() {
    std::array<SymFieldItem, 512> items;
    i32 result = SYM_MORE_DATA;
    while (result == SYM_MORE_DATA) {
        i32 count = 0;
        result = tv_GetAgainSymData(file.handle(), &count, items.data(), static_cast<i32>(items.size()));
        if (result != SYM_OK && result != SYM_MORE_DATA) {
            return;
        }
        for (auto field : tvapi::FieldList(items.data(), static_cast<size_t>(count))) {
            defaults.push_back(ViewOf(field));
            defaults.back().isDefault = true;
            defaultValues.push_back(field.take());
        }
    }
}

std::vector<Problem> Reader::DirectoryProblems() const {
    std::vector<Problem> problems;
    if (raw.DirectoryCut()) {
        problems.push_back({0, raw.fileSize,
                            fmt::format("the directory announces {} sections, the file ends behind {}",
                                        raw.entryCount, raw.directory.size())});
    }
    for (size_t at = 0; at < raw.directory.size(); ++at) {
        const DirectoryEntry& entry = raw.directory[at];
        const u64 entryOffset = 2 + 10 * at;
        if (!entry.firstOfId) {
            problems.push_back(
                {entry.id, entryOffset,
                 fmt::format("a further directory entry of this id; readers use the first alone and "
                             "never see the one at 0x{:x}",
                             entry.offset)});
        } else if (!entry.idAtStart) {
            problems.push_back(
                {entry.id, entryOffset,
                 fmt::format("starts at 0x{:x}, the file ends at 0x{:x}", entry.offset, raw.fileSize)});
        } else if (*entry.idAtStart != entry.id) {
            problems.push_back(
                {entry.id, u64{entry.offset},
                 fmt::format("expected id {} at the section's start, found {}", entry.id, *entry.idAtStart)});
        } else if (entry.End() > raw.fileSize) {
            problems.push_back(
                {entry.id, u64{entry.offset},
                 fmt::format("is {} bytes long by the directory, the file ends {} bytes before that",
                             entry.size, entry.End() - raw.fileSize)});
        }
    }
    return problems;
}

void Reader::ReadRaw(u64 offset, u64 size, const std::function<void(std::string_view)>& sink) {
    file.close();
    std::ifstream bytes(Path(), std::ios::binary);
    bytes.seekg(static_cast<std::streamoff>(offset));
    std::vector<char> buffer(size_t{64} * 1024);
    while (size > 0) {
        bytes.read(buffer.data(), static_cast<std::streamsize>(std::min<u64>(size, buffer.size())));
        const auto got = static_cast<size_t>(bytes.gcount());
        if (got == 0) {
            break;
        }
        sink({buffer.data(), got});
        size -= got;
    }
    bytes.close();
    Open();
}

Walk Reader::WalkSymbols(const SymbolSink& sink) {
    OpenForRepeat(2);
    return Walker(*this).Symbols(sink);
}

Walk Reader::WalkSection(u16 id, const RowSink& sink) {
    OpenForRepeat(id);
    return Walker(*this).Section(id, sink);
}

// Sections 2, 3 and 8 can begin again only by way of another section, which the file may not have.
void Reader::OpenForRepeat(u16 id) {
    if ((id == 2 || id == 3 || id == 8) && !walked.insert(id).second) {
        file.close();
        Open();
    }
}

}  // namespace tvsym
