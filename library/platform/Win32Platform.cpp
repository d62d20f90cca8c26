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
    explicit Win32File(HANDLE openHandle) : handle(openHandle) {}
    Win32File(const Win32File&) = delete;
    Win32File& operator=(const Win32File&) = delete;

    ~Win32File() override {
        if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
    }

    // A volume is of the type of a disk file, too, but has no information of a file.
    bool IsRegular() const {
        BY_HANDLE_FILE_INFORMATION information;
        return handle != INVALID_HANDLE_VALUE && GetFileType(handle) == FILE_TYPE_DISK &&
               GetFileInformationByHandle(handle, &information) &&
               (information.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) == 0;
    }

    bool ReadAt(u64 offset, void* dst, u32 size, u32& got) override {
        got = 0;
        u32 sum = 0;
        while (sum < size) {
            const u64 at = offset + sum;
            OVERLAPPED place{};
            place.Offset = static_cast<DWORD>(at & 0xFFFFFFFFU);
            place.OffsetHigh = static_cast<DWORD>(at >> 32U);
            DWORD part = 0;
            const DWORD want = std::min<u32>(size - sum, kMostPerRead);
            if (!ReadFile(handle, static_cast<unsigned char*>(dst) + sum, want, &part, &place)) {
                if (GetLastError() == ERROR_HANDLE_EOF) break;
                return false;
            }
            if (part == 0) break;
            sum += part;
        }
        got = sum;
        return true;
    }

    bool Size(u64& size) override {
        LARGE_INTEGER result;
        if (!GetFileSizeEx(handle, &result)) return false;
        size = static_cast<u64>(result.QuadPart);
        return true;
    }

private:
    static constexpr u32 kMostPerRead = 1U << 30U;

    HANDLE handle;
};

FileOpener fileOpener = nullptr;

// Takes over the handle, also when memory runs out.
std::unique_ptr<File> TakeOver(HANDLE handle) {
    std::unique_ptr<Win32File> file(new (std::nothrow) Win32File(handle));
    if (file == nullptr) {
        if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
        throw std::bad_alloc();
    }
    if (!file->IsRegular()) return nullptr;
    return file;
}

}  // namespace

// Share mode 0: no one else has the file open during this handle's life.
std::unique_ptr<File> OpenFile(const char* path, Sharing sharing) {
    if (fileOpener != nullptr) return fileOpener(path);
    const DWORD share =
        sharing == Sharing::exclusive ? 0 : FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return TakeOver(
        CreateFileA(path, GENERIC_READ, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::unique_ptr<File> OpenFile(Descriptor descriptor) {
    return TakeOver(reinterpret_cast<HANDLE>(descriptor));  // NOLINT(performance-no-int-to-ptr)
}

void SetFileOpener(FileOpener opener) { fileOpener = opener; }

std::uintptr_t ThisThread() { return std::uintptr_t{GetCurrentThreadId()} + 1; }

NoCancellation::NoCancellation() = default;

NoCancellation::~NoCancellation() = default;

void OnForkedChild(void (*)()) {}

// True once ExitProcess has begun: a thread that was ended inside a call never leaves it, and may hold locks
// of the heap.
bool OtherThreadsAreGone() {
    using Query = BOOLEAN(NTAPI*)();
    const HMODULE system = GetModuleHandleA("ntdll.dll");
    if (system == nullptr) return false;
    const auto query =
        reinterpret_cast<Query>(reinterpret_cast<void*>(GetProcAddress(system, "RtlDllShutdownInProgress")));
    return query != nullptr && query() != 0;
}

void WaitBriefly() { Sleep(1); }

}  // namespace torva::platform
