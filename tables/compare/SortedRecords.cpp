#include "tables/compare/SortedRecords.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace torva::tables {

namespace {

struct Sizes {
    u32 key;
    u32 value;
};

Sizes SizesAt(const char* record) {
    Sizes sizes = {};
    std::memcpy(&sizes, record, sizeof sizes);
    return sizes;
}

}  // namespace

// A sorted part of the temporary file, read in pieces.
struct SortedRecords::Run {
    u64 at = 0;   // next byte to read from the file
    u64 end = 0;  // of the run
    std::size_t number = 0;
    std::string window;
    std::size_t position = 0;  // of the current record, in the window
    Sizes sizes = {};

    std::string_view Key() const { return {window.data() + position + sizeof(Sizes), sizes.key}; }
    std::size_t RecordSize() const { return sizeof(Sizes) + sizes.key + sizes.value; }

    // Ensures that the window has `size` bytes from the position on, as far as the run has them.
    void Need(std::fstream& from, std::size_t size) {
        constexpr std::size_t kPiece = std::size_t{64} * 1024;
        if (window.size() - position >= size) {
            return;
        }
        window.erase(0, position);
        position = 0;
        const std::size_t had = window.size();
        const auto wanted = static_cast<std::size_t>(std::min<u64>(std::max(size - had, kPiece), end - at));
        window.resize(had + wanted);
        from.seekg(static_cast<std::streamoff>(at));
        from.read(window.data() + had, static_cast<std::streamsize>(wanted));
        if (static_cast<std::size_t>(from.gcount()) != wanted) {
            throw Error(fmt::format("a temporary file: {}", std::strerror(errno)));
        }
        at += wanted;
    }

    // Loads the record at the position; false at the end of the run.
    bool Load(std::fstream& from) {
        Need(from, sizeof(Sizes));
        if (window.size() - position < sizeof(Sizes)) {
            return false;
        }
        sizes = SizesAt(window.data() + position);
        Need(from, RecordSize());
        return true;
    }
};

SortedRecords::SortedRecords(std::size_t memoryBytes, MakeFile makeFile)
    : limit(memoryBytes), makeTemporaryFile(std::move(makeFile)) {}

SortedRecords::~SortedRecords() {
    file.close();
    if (!path.empty()) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
}

void SortedRecords::Add(std::string_view recordKey, std::string_view recordValue) {
    const std::size_t size = sizeof(Sizes) + recordKey.size() + recordValue.size();
    if (makeTemporaryFile && !offsets.empty() &&
        bytes.size() + size + offsets.size() * sizeof(std::size_t) > limit) {
        WriteRun();
    }
    const Sizes sizes = {static_cast<u32>(recordKey.size()), static_cast<u32>(recordValue.size())};
    offsets.push_back(bytes.size());
    bytes.append(reinterpret_cast<const char*>(&sizes), sizeof sizes);
    bytes.append(recordKey);
    bytes.append(recordValue);
}

std::string_view SortedRecords::KeyAt(std::size_t offset) const {
    return {bytes.data() + offset + sizeof(Sizes), SizesAt(bytes.data() + offset).key};
}

void SortedRecords::SortMemory() {
    std::sort(offsets.begin(), offsets.end(), [this](std::size_t a, std::size_t b) {
        const int order = KeyAt(a).compare(KeyAt(b));
        return order != 0 ? order < 0 : a < b;
    });
}

void SortedRecords::WriteRun() {
    if (path.empty()) {
        path = makeTemporaryFile();
        file.open(path, std::ios::binary | std::ios::in | std::ios::out | std::ios::trunc);
    }
    SortMemory();
    auto run = std::make_unique<Run>();
    run->at = fileSize;
    run->number = runs.size();
    for (const std::size_t offset : offsets) {
        const Sizes sizes = SizesAt(bytes.data() + offset);
        const std::size_t size = sizeof sizes + sizes.key + sizes.value;
        file.write(bytes.data() + offset, static_cast<std::streamsize>(size));
        fileSize += size;
    }
    if (!file.flush()) {
        throw Error(fmt::format("{}: {}", path, std::strerror(errno)));
    }
    run->end = fileSize;
    runs.push_back(std::move(run));
    bytes.clear();
    offsets.clear();
}

namespace {

// For the heap functions, which put the largest in front.
constexpr auto kLater = [](const auto& a, const auto& b) {
    const int order = a->Key().compare(b->Key());
    return order != 0 ? order > 0 : a->number > b->number;
};

}  // namespace

void SortedRecords::Sort() {
    if (runs.empty()) {
        SortMemory();
    } else {
        WriteRun();
        bytes = {};
        offsets = {};
        for (std::unique_ptr<Run>& run : runs) {
            run->Load(file);
        }
        std::make_heap(runs.begin(), runs.end(), kLater);
    }
    Next();
}

void SortedRecords::Next() {
    atEnd = path.empty() ? nextOffset == offsets.size() : runs.empty();
    if (atEnd) {
        return;
    }
    if (path.empty()) {
        TakeFromMemory();
    } else {
        TakeFromRuns();
    }
}

void SortedRecords::TakeFromMemory() {
    const std::size_t offset = offsets[nextOffset++];
    key = KeyAt(offset);
    value = {key.data() + key.size(), SizesAt(bytes.data() + offset).value};
}

void SortedRecords::TakeFromRuns() {
    std::pop_heap(runs.begin(), runs.end(), kLater);
    Run& run = *runs.back();
    current.assign(run.window, run.position + sizeof(Sizes), run.RecordSize() - sizeof(Sizes));
    key = std::string_view(current).substr(0, run.sizes.key);
    value = std::string_view(current).substr(run.sizes.key);
    run.position += run.RecordSize();
    if (run.Load(file)) {
        std::push_heap(runs.begin(), runs.end(), kLater);
    } else {
        runs.pop_back();
    }
}

}  // namespace torva::tables
