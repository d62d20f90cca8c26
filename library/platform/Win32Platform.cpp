#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <new>

#include "library/platform/Platform.h"

namespace torva::platform {
namespace {

class Win32File final : public File {
public:
    Win32File() = default;
    Win32File(const Win32File&) = delete;
    Win32File& operator=(const Win32File&) = delete;

    ~Win32File() override {
        if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
    }

    // Share mode 0: nobody else has the file open while this handle lives.
    bool Open(const char* path) {
        handle = CreateFileA(path, GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        return handle != INVALID_HANDLE_VALUE && GetFileType(handle) == FILE_TYPE_DISK;
    }

    bool Read(void* dst, u32 size, u32& got) override {
        got = 0;
        u32 sum = 0;
        while (sum < size) {
            DWORD part = 0;
            const DWORD want = std::min<u32>(size - sum, kMostPerRead);
            if (!ReadFile(handle, static_cast<unsigned char*>(dst) + sum, want, &part, nullptr)) return false;
            if (part == 0) break;
            sum += part;
        }
        got = sum;
        return true;
    }

    bool Seek(u64 offset) override {
        LONG high = static_cast<LONG>(offset >> 32U);
        SetLastError(NO_ERROR);
        const DWORD low = SetFilePointer(handle, static_cast<LONG>(offset & 0xFFFFFFFFU), &high, FILE_BEGIN);
        return low != INVALID_SET_FILE_POINTER || GetLastError() == NO_ERROR;
    }

    bool Size(u64& size) override {
        DWORD high = 0;
        SetLastError(NO_ERROR);
        const DWORD low = GetFileSize(handle, &high);
        if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) return false;
        size = (static_cast<u64>(high) << 32U) | low;
        return true;
    }

private:
    static constexpr u32 kMostPerRead = 1U << 30U;

    HANDLE handle = INVALID_HANDLE_VALUE;
};

FileOpener fileOpener = nullptr;

}  // namespace

std::unique_ptr<File> OpenFile(const char* path) {
    if (fileOpener != nullptr) return fileOpener(path);
    auto file = std::make_unique<Win32File>();
    if (!file->Open(path)) return nullptr;
    return file;
}

void SetFileOpener(FileOpener opener) { fileOpener = opener; }

static_assert(sizeof(CRITICAL_SECTION) <= sizeof(Lock));
static_assert(alignof(CRITICAL_SECTION) <= alignof(Lock));

Lock::Lock() : storage{} { InitializeCriticalSection(new (storage) CRITICAL_SECTION); }

Lock::~Lock() { DeleteCriticalSection(std::launder(reinterpret_cast<CRITICAL_SECTION*>(storage))); }

void Lock::Enter() { EnterCriticalSection(std::launder(reinterpret_cast<CRITICAL_SECTION*>(storage))); }

void Lock::Leave() { LeaveCriticalSection(std::launder(reinterpret_cast<CRITICAL_SECTION*>(storage))); }

}  // namespace torva::platform
