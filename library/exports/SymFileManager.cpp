#include "library/exports/SymFileManager.h"

#include <memory>
#include <utility>

#include "library/platform/Platform.h"

namespace torva {

constinit TVCriticalSection libraryLock;
constinit SymFileManager SymFileManager::instance;

namespace {

// How long an unload waits for a running call. One that runs on then finds its file as it was.
constexpr u32 kPatience = 1000;  // milliseconds

void AfterFork() {
    if (libraryLock.AbandonOtherThread()) SymFileManager::Instance().ForgetFilesInUse();
}

// What happens as the library is loaded and unloaded.
class Lifetime {
public:
    Lifetime() { platform::OnForkedChild(AfterFork); }
    Lifetime(const Lifetime&) = delete;
    Lifetime& operator=(const Lifetime&) = delete;

    // From here on calls behave as for an unknown handle.
    ~Lifetime() {
        if (!platform::OtherThreadsAreGone() && libraryLock.Close(kPatience)) {
            SymFileManager::Instance().CloseAll();
        }
    }
};

const Lifetime lifetime;

}  // namespace

// The lowest free handle. With no file open it is 1.
i32 SymFileManager::ChooseHandle() const {
    for (u32 handle = 1; handle <= HandleLimit(); ++handle) {
        if (openFiles[handle] == nullptr) return static_cast<i32>(handle);
    }
    return SYM_ERR_NO_SLOT;
}

// Registration is the last step, so that no failure leaves a trace.
i32 SymFileManager::Open(const char* path, u32 memoryBudget, const u16* fieldIds, u32 fieldIdCount,
                         bool wholeFile) {
    const i32 handle = ChooseHandle();
    if (handle < 0) return handle;
    const auto wantedCount = static_cast<u16>(fieldIdCount & 0xFFFFU);
    auto file = std::make_unique<SymFile>(fieldIds, wantedCount);
    if (wantedCount > 0 && fieldIds == nullptr) return SYM_ERR_PARAM;
    const i32 result = file->Open(path, memoryBudget, wholeFile);
    if (result != SYM_OK) return result;
    openFiles[static_cast<u16>(handle)] = file.release();
    return handle;
}

void SymFileManager::Close(u16 handle) {
    const std::unique_ptr<SymFile> file(std::exchange(openFiles[handle], nullptr));
}

void SymFileManager::CloseAll() {
    for (u32 handle = 1; handle <= HandleLimit(); ++handle) Close(static_cast<u16>(handle));
}

void SymFileManager::ForgetFilesInUse() {
    inUse[usedAlone] = true;
    for (u32 handle = 1; handle <= HandleLimit(); ++handle) {
        if (!std::exchange(inUse[handle], false)) continue;
        openFiles[handle] = nullptr;
    }
}

}  // namespace torva
