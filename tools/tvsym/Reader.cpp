#include "tools/tvsym/Reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "api/TorvaAPI.h"
#include "tools/tvsym/System.h"
#include "tools/tvsym/Walker.h"

namespace tvsym {

namespace {

constexpr u64 kMiB = u64{1} << 20;
constexpr u64 kMemoryModeLimit = 64 * kMiB;
constexpr u32 kSmallestBudget = 64 * kMiB;
constexpr u64 kGenerousBudget = 1024 * kMiB;
constexpr u32 kLargestBudget = UINT32_MAX;
constexpr size_t kLongestPath = 25600;
constexpr u16 kOpenFiles = 64;

void CopyStandardInput(const std::string& path) {
    std::ofstream file(path, std::ios::binary);
    std::vector<char> buffer(size_t{64} * 1024);
    size_t got = buffer.size();
    while (file && got > 0) {
        got = std::fread(buffer.data(), 1, buffer.size(), stdin);
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

Reader::Reader(std::shared_ptr<const InputFile> file, ReaderOptions readerOptions)
    : input(std::move(file)), options(std::move(readerOptions)) {
    tv_InitSymAPI(kOpenFiles);
    try {
        if (Path().size() > kLongestPath) {
            throw ToolError(kExitUnreadable, fmt::format("{}...: the path has more than {} characters",
                                                         Path().substr(0, 60), kLongestPath));
        }
        raw = RawFile::Read(Path(), Name());
        Open();
        LoadDefaults();
    } catch (...) {
        tv_CloseSymFile(handle);
        throw;
    }
}

Reader::~Reader() { tv_CloseSymFile(handle); }

// The arenas are made as large as the file where that is affordable, so that no value finds them too small;
// memory that is not used is never touched.
void Reader::Open() {
    const bool wholeFile = options.mode == ReadMode::Memory ||
                           (options.mode == ReadMode::Auto && raw.fileSize <= kMemoryModeLimit);
    u32 budget = static_cast<u32>(std::clamp(raw.fileSize + kMiB, u64{kSmallestBudget}, kGenerousBudget));
    i32 result = TryOpen(budget, wholeFile);
    if (result == SYM_ERR_NO_MEMORY && budget > kSmallestBudget) {
        budget = kSmallestBudget;
        result = TryOpen(budget, wholeFile);
    }
    while (result == SYM_ERR_PARAM && budget < kLargestBudget) {  // the default fields need more
        budget = budget > kLargestBudget / 2 ? kLargestBudget : budget * 2;
        result = TryOpen(budget, wholeFile);
    }
    if (result <= 0) {
        RefuseOpen(result);
    }
    handle = static_cast<u16>(result);
}

i32 Reader::TryOpen(u32 budget, bool wholeFile) const {
    return tv_OpenSymFile(Path().c_str(), budget, options.filter.data(),
                          static_cast<u32>(options.filter.size()), wholeFile ? 1 : 0);
}

void Reader::RefuseOpen(i32 code) const {
    std::string why = fmt::format("cannot be opened (result {})", code);
    const DirectoryEntry* defaultFields = raw.Find(1);
    if (code == SYM_ERR_OPEN && LockedByAnother(Path())) {
        why = "is in use: another process has it open";
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
    Walker walker(*this);
    walker.TakeDefaults([this](const FieldView& field) {
        defaults.push_back(field);
        defaultValues.emplace_back(field.value);
    });
    for (size_t at = 0; at < defaults.size(); ++at) {
        defaults[at].isDefault = true;
        defaults[at].value = defaultValues[at];
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

void Reader::Reopen() {
    tv_CloseSymFile(handle);
    handle = 0;
    lastEntered = 0;
    Open();
}

void Reader::ReadRaw(u64 offset, u64 size, const std::function<void(std::string_view)>& sink) {
    tv_CloseSymFile(handle);
    handle = 0;
    std::ifstream file(Path(), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(offset));
    std::vector<char> buffer(size_t{64} * 1024);
    while (size > 0) {
        file.read(buffer.data(), static_cast<std::streamsize>(std::min<u64>(size, buffer.size())));
        const auto got = static_cast<size_t>(file.gcount());
        if (got == 0) {
            break;
        }
        sink({buffer.data(), got});
        size -= got;
    }
    file.close();
    Reopen();
}

Walk Reader::WalkSymbols(const SymbolSink& sink) { return Walker(*this).Symbols(sink); }

Walk Reader::WalkSection(u16 id, const RowSink& sink) { return Walker(*this).Section(id, sink); }

}  // namespace tvsym
