#include "tables/source/NewFile.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#endif

#include <cstdio>
#include <random>

namespace torva::tables {

namespace fs = std::filesystem;

#ifdef _WIN32

std::error_code SynchronizeFile(const fs::path& path) {
    HANDLE file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    const bool opened = file != INVALID_HANDLE_VALUE;
    const DWORD error = opened && FlushFileBuffers(file) ? ERROR_SUCCESS : GetLastError();
    if (opened) CloseHandle(file);
    return {static_cast<int>(error), std::system_category()};
}

void SynchronizeDirectory(const fs::path&) {}  // the file system's journal ensures that

#else

std::error_code SynchronizeFile(const fs::path& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const int error = descriptor >= 0 && ::fsync(descriptor) == 0 ? 0 : errno;
    if (descriptor >= 0) ::close(descriptor);
    return {error, std::generic_category()};
}

void SynchronizeDirectory(const fs::path& path) {
    SynchronizeFile(path.empty() ? fs::path(".") : path);  // not every file system has this for directories
}

#endif

NewFile::NewFile(fs::path wanted) : target(std::move(wanted)) {
    std::error_code error;
    if (fs::is_symlink(target, error)) {
        const fs::path real = fs::weakly_canonical(target, error);
        if (!error) target = real;
    }
    std::random_device device;
    do {
        char suffix[20];
        std::snprintf(suffix, sizeof suffix, ".%08x.part", device());
        path = target;
        path += suffix;
    } while (fs::exists(path, error));
}

NewFile::~NewFile() {
    std::error_code ignored;
    if (!path.empty()) fs::remove(path, ignored);
}

std::error_code NewFile::Rename() {
    std::error_code error;
    const fs::file_status old = fs::status(target, error);
    if (fs::exists(old)) fs::permissions(path, old.permissions(), error);
    fs::rename(path, target, error);
    if (!error) path.clear();
    return error;
}

std::error_code NewFile::TakePlace() {
    std::error_code error = SynchronizeFile(path);
    if (!error) error = Rename();
    if (!error) SynchronizeDirectory(target.parent_path());
    return error;
}

}  // namespace torva::tables
