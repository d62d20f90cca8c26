#include "tables/source/FileSource.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

namespace torva::tables {

namespace {

constexpr u64 kPiece = u64{64} * 1024;

[[noreturn]] void Refuse(const std::string& name, const std::string& why) { throw Error(name + ": " + why); }

class SharedFile final : public platform::File {
public:
    explicit SharedFile(std::shared_ptr<platform::File> openFile) : file(std::move(openFile)) {}

    bool ReadAt(u64 offset, void* dst, u32 size, u32& got) override {
        return file->ReadAt(offset, dst, size, got);
    }
    bool Size(u64& size) override { return file->Size(size); }

private:
    std::shared_ptr<platform::File> file;
};

}  // namespace

FileSource::FileSource(std::shared_ptr<platform::File> openFile, std::string sourceName)
    : file(std::move(openFile)), name(std::move(sourceName)) {
    if (!file->Size(size)) {
        Refuse(name, "has no size");
    }
}

std::shared_ptr<const FileSource> FileSource::FromPath(const std::string& path, std::string name) {
    if (name.empty()) {
        name = path;
    }
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
    errno = 0;
    std::shared_ptr<platform::File> file = platform::OpenFile(path.c_str(), platform::Sharing::shared);
    if (!file) {  // without a reason on Windows, where others may refuse to share
        Refuse(name, errno ? std::strerror(errno) : "cannot be opened; another process may have it open");
    }
    return FromFile(std::move(file), std::move(name));
}

std::shared_ptr<const FileSource> FileSource::FromDescriptor(platform::Descriptor descriptor,
                                                             std::string name) {
    std::shared_ptr<platform::File> file = platform::OpenFile(descriptor);
    if (!file) {
        Refuse(name, "is not a regular file");
    }
    return FromFile(std::move(file), std::move(name));
}

std::shared_ptr<const FileSource> FileSource::FromFile(std::shared_ptr<platform::File> file,
                                                       std::string name) {
    return std::shared_ptr<const FileSource>(new FileSource(std::move(file), std::move(name)));
}

std::shared_ptr<const FileSource> FileSource::FromBytes(std::span<const u8> bytes, std::string name) {
    return std::shared_ptr<const FileSource>(new FileSource(bytes, std::move(name)));
}

u32 FileSource::ReadAt(u64 offset, void* to, u32 count) const {
    u32 got = 0;
    if (file) {
        return file->ReadAt(offset, to, count, got) ? got : 0;
    }
    if (offset < size && count > 0) {
        got = static_cast<u32>(std::min<u64>(count, size - offset));
        std::memcpy(to, memory.data() + offset, got);
    }
    return got;
}

void FileSource::Read(u64 offset, u64 count, const std::function<void(std::string_view)>& sink) const {
    std::vector<char> buffer(static_cast<std::size_t>(std::min<u64>(count, kPiece)));
    while (count > 0) {
        const u32 got = ReadAt(offset, buffer.data(), static_cast<u32>(std::min<u64>(count, kPiece)));
        if (got == 0) {
            return;
        }
        sink({buffer.data(), got});
        offset += got;
        count -= got;
    }
}

std::unique_ptr<platform::File> FileSource::Share() const {
    return file ? std::make_unique<SharedFile>(file) : nullptr;
}

}  // namespace torva::tables
