// Hosts that fork, exit and unload the library beside running calls, and that cancel threads inside them.
#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <type_traits>

#include "Allocations.h"
#include "TestSupport.h"
#include "library/platform/Platform.h"
#include "reference/CallDriver.h"
#include "symwrite/RandomFile.h"

namespace torva::test {
namespace {

const Bytes& BigFile() {
    static const Bytes bytes = [] {
        symwrite::RandomFileOptions options;
        options.symbols = options.elements = 400;
        return Write(symwrite::RandomFile(options));
    }();
    return bytes;
}

// Runs before the constructors of all static objects.
i32 resultAtTheStart = 0;
__attribute__((constructor(101))) void CallsBeforeTheStart() {
    tv_InitSymAPI(0);
    resultAtTheStart = tv_GetExtendSectionList(1, nullptr, 0);
    tv_ReleaseSymAPI();
}

TEST(Processes, CallsBeforeTheStart) { EXPECT_EQ(resultAtTheStart, SYM_ERR_BAD_HANDLE); }

#ifdef _WIN32

struct Exports {
    decltype(&tv_OpenSymFile) open = tv_OpenSymFile;
    decltype(&tv_InitialExchangeSection) enter = tv_InitialExchangeSection;
    decltype(&tv_CloseSymFile) close = tv_CloseSymFile;
    HMODULE library = nullptr;
};

// Those of the DLL, which has a registry of its own.
Exports Load() {
    Exports exports;
    exports.library = LoadLibraryA(TORVA_SHARED_LIBRARY);
    EXPECT_NE(exports.library, nullptr);
    const auto find = [&](auto& function, const char* name) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
            reinterpret_cast<void*>(GetProcAddress(exports.library, name)));
    };
    find(exports.open, "tv_OpenSymFile");
    find(exports.enter, "tv_InitialExchangeSection");
    find(exports.close, "tv_CloseSymFile");
    return exports;
}

// The system ends the other threads where they are, then has the DLL unload itself.
[[noreturn]] void ExitBesideCalls(const Exports& exports, const char* path, DWORD milliseconds) {
    for (const u32 wholeFile : {0U, 1U, 0U}) {
        std::thread([exports, path, wholeFile] {
            for (;;) {
                const i32 handle = exports.open(path, kBudget, nullptr, 0, wholeFile);
                if (handle <= 0) continue;
                exports.enter(static_cast<u16>(handle));
                exports.close(static_cast<u16>(handle));
            }
        }).detach();
    }
    Sleep(milliseconds);
    exit(7);
}

TEST(ProcessesDeathTest, ExitBesideCalls) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const TempFile file(BigFile());
    for (const DWORD milliseconds : {0U, 3U, 20U}) {
        EXPECT_EXIT(ExitBesideCalls({}, file.Path(), milliseconds), testing::ExitedWithCode(7), "");
        EXPECT_EXIT(ExitBesideCalls(Load(), file.Path(), milliseconds), testing::ExitedWithCode(7), "");
    }
}

TEST(Processes, UnloadingClosesFiles) {
    const TempFile file(Bytes{});
    const Exports exports = Load();
    ASSERT_EQ(exports.open(file.Path(), kBudget, nullptr, 0, 0), 1);
    EXPECT_EQ(Open(file.Path()), SYM_ERR_OPEN);
    FreeLibrary(exports.library);
    EXPECT_EQ(Open(file.Path()), 1);
    tv_CloseSymFile(1);
}

#else

// Runs `body` in a child process, which it ends with the exit status returned; one that hangs is ended.
template <class Body>
pid_t InChild(Body body) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(body());
    }
    return child;
}

int ExitStatus(pid_t child) {
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

#ifdef __SANITIZE_ADDRESS__
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif

std::vector<driver::Outcome> Walk(u16 handle) {
    std::vector<driver::Outcome> outcomes;
    driver::WalkAll(
        [&](const driver::Call& call) { return outcomes.emplace_back(driver::CallLibrary(handle, call)); },
        {3, 200, 2, 100000});
    return outcomes;
}

TEST(Processes, OneAtATime) {
    const TempFile file(Bytes{});
    const auto opens = [&] { return Open(file.Path()) > 0 ? 1 : 0; };
    ASSERT_EQ(Open(file.Path()), 1);
    EXPECT_EQ(ExitStatus(InChild(opens)), 0) << "open here";
    tv_CloseSymFile(1);
    EXPECT_EQ(ExitStatus(InChild(opens)), 1);

    int ready[2], done[2];
    ASSERT_EQ(pipe(ready) + pipe(done), 0);
    const pid_t child = InChild([&] {
        const i32 result = Open(file.Path());
        char byte = 0;
        close(done[1]);
        return write(ready[1], "", 1) == 1 && read(done[0], &byte, 1) == 0 ? result : 0;
    });
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
    EXPECT_EQ(Open(file.Path()), SYM_ERR_OPEN) << "open in the other process";
    for (const int end : {ready[0], ready[1], done[0], done[1]}) close(end);
    EXPECT_EQ(ExitStatus(child), 1);
    EXPECT_EQ(Open(file.Path()), 1) << "the other process ended without a close";
    tv_CloseSymFile(1);
}

// A child that lives on has copies of the descriptors that were open when it was forked.
TEST(Processes, AClosedFileIsFreeForOthers) {
    const TempFile file(Bytes{});
    ASSERT_EQ(Open(file.Path()), 1);
    int done[2];
    ASSERT_EQ(pipe(done), 0);
    const pid_t child = InChild([&] {
        char byte = 0;
        close(done[1]);
        tv_CloseSymFile(2);
        return read(done[0], &byte, 1) == 0 ? 1 : 0;
    });
    EXPECT_EQ(Open(file.Path()), SYM_ERR_OPEN);
    tv_CloseSymFile(1);
    EXPECT_EQ(Open(file.Path()), 1);
    EXPECT_EQ(ExitStatus(InChild([&] { return tv_CloseSymFile(1), 1; })), 1);
    EXPECT_EQ(ExitStatus(InChild([&] { return Open(file.Path()) < 0 ? 1 : 0; })), 1)
        << "a child's close releases nothing of its parent's";
    tv_CloseSymFile(1);
    for (const int end : done) close(end);
    EXPECT_EQ(ExitStatus(child), 1);
}

// A process that is being started has copies of all descriptors until it runs its program.
TEST(Processes, AThreadThatStartsProcessesKeepsNoFileLocked) {
    const TempFile file(Bytes{});
    std::atomic<int> started{0};
    std::thread starter([&started] {
        char program[] = "/bin/true";
        char* const arguments[] = {program, nullptr};
        char* const environment[] = {nullptr};
        for (; started < 300; ++started) {
            pid_t child = 0;
            EXPECT_EQ(posix_spawn(&child, program, nullptr, nullptr, arguments, environment), 0);
            EXPECT_EQ(ExitStatus(child), 0);
        }
    });
    int opens = 0, refused = 0;
    for (; started < 300; ++opens) {
        if (Open(file.Path()) != 1) ++refused;
        tv_CloseSymFile(1);
    }
    starter.join();
    EXPECT_EQ(refused, 0) << "of " << opens << " opens";
}

TEST(Processes, AForkedChildHasAPlaceOfItsOwn) {
    const OpenFile file(BigFile());
    const u16 handle = file.Handle();
    Walk(handle);
    const auto expected = Walk(handle);
    std::vector<driver::Outcome> outcomes;
    driver::WalkAll(
        [&](const driver::Call& call) {
            if (outcomes.size() % 500 == 100) {
                const auto walkAgain = [&] { return Walk(handle), Walk(handle) == expected ? 1 : 0; };
                EXPECT_EQ(ExitStatus(InChild(walkAgain)), 1);
            }
            return outcomes.emplace_back(driver::CallLibrary(handle, call));
        },
        {3, 200, 2, 100000});
    EXPECT_TRUE(outcomes == expected);
}

// A file whose next read waits for as long as the test wants.
std::atomic<bool> parks{false};
std::atomic<bool> parked{false};

class ParkingFile final : public platform::File {
public:
    bool ReadAt(u64 offset, void* dst, u32 size, u32& got) override {
        parked = parks.load();
        while (parks) usleep(100);
        const u64 left = BigFile().size() - std::min<u64>(offset, BigFile().size());
        got = static_cast<u32>(std::min<u64>(size, left));
        if (got > 0) std::memcpy(dst, BigFile().data() + offset, got);
        return true;
    }
    bool Size(u64& size) override {
        size = BigFile().size();
        return true;
    }
};

TEST(Processes, AChildForkedInsideACallReadsItsFiles) {
    const TempFile walked(BigFile()), own(BigFile());
    ASSERT_EQ(Open(walked.Path()), 1);
    const auto expected = Walk(1);
    const auto expectedAgain = Walk(1);
    platform::SetFileOpener(
        [](const char*) -> std::unique_ptr<platform::File> { return std::make_unique<ParkingFile>(); });
    const struct {
        const char* name;
        void (*call)();
    } kCalls[] = {
        {"in an open", [] { EXPECT_EQ(Open(""), 2); }},
        {"in a walk", [] { EXPECT_GT(tv_InitialExchangeSection(2), 0); }},
        {"in memory mode", [] { EXPECT_EQ(Open("", {1}), 3); }},
    };
    for (const auto& c : kCalls) {
        SCOPED_TRACE(c.name);
        parks = true;
        std::thread busy(c.call);
        while (!parked) usleep(100);
        EXPECT_EQ(ExitStatus(InChild([&] {
                      platform::SetFileOpener(nullptr);
                      const bool inUse = std::strcmp(c.name, "in a walk") == 0;
                      const i32 handle = Open(own.Path());
                      if (inUse && handle != 2) return 2;  // the parent's is unknown here
                      if (Walk(static_cast<u16>(handle)) != expected) return 3;
                      return Walk(1) == expectedAgain ? 1 : 4;
                  })),
                  1);
        parks = parked = false;
        busy.join();
    }
    platform::SetFileOpener(nullptr);
    for (const u16 handle : {u16{1}, u16{2}, u16{3}}) tv_CloseSymFile(handle);
}

// The same wherever the other thread is. The address sanitizer's allocator does not get ready for a fork:
// where the other thread holds one of its locks the child waits forever in its first allocation.
TEST(Processes, AChildForkedBesideACallReadsItsFiles) {
    if (kAddressSanitizer)
        GTEST_SKIP() << "a child forked beside a thread may find the sanitizer's locks held";
    const TempFile walked(BigFile()), opened(BigFile()), own(BigFile());
    ASSERT_EQ(Open(walked.Path()), 1);
    std::atomic<bool> stop{false};
    const auto expected = Walk(1);
    std::thread busy([&] {
        while (!stop) {
            Walk(1);
            tv_CloseSymFile(static_cast<u16>(Open(opened.Path(), {1})));
        }
    });
    for (int i = 0; i < 60 && !HasFailure(); ++i) {
        EXPECT_EQ(ExitStatus(InChild([&] {
                      const i32 handle = Open(own.Path());
                      return handle > 0 && Walk(static_cast<u16>(handle)) == expected ? 1 : 0;
                  })),
                  1);
    }
    stop = true;
    busy.join();
    tv_CloseSymFile(1);
}

// --- the end of a process

bool checksAtTheEnd = false;
u16 handleAtTheEnd = 0;

// Runs after the destructors of all static objects, the library's included.
__attribute__((destructor)) void CallsAfterTheEnd() {
    if (!checksAtTheEnd) return;
    const i32 list = tv_GetExtendSectionList(handleAtTheEnd, nullptr, 0);
    const i32 open = tv_OpenSymFile("/dev/null", kBudget, nullptr, 0, 0);
    tv_CloseSymFile(handleAtTheEnd);
    tv_ReleaseSymAPI();
    if (list != SYM_ERR_BAD_HANDLE || open != SYM_ERR_BAD_HANDLE) _exit(99);
}

std::atomic<bool> stuck{false};

bool GetStuck() {
    allocations::failsNow = nullptr;
    stuck = true;
    for (;;) pause();
}

TEST(Processes, CallsAfterTheEnd) {
    const TempFile file(BigFile());
    const OpenFile left(BigFile());
    handleAtTheEnd = left.Handle();
    for (int i = 0; i < 40 && !HasFailure(); ++i) {
        const bool oneIsStuck = i == 0;
        EXPECT_EQ(ExitStatus(InChild([&]() -> int {
                      checksAtTheEnd = !oneIsStuck;
                      for (const u32 wholeFile : {0U, 1U, 0U}) {
                          std::thread([&file, wholeFile] {
                              for (;;) {
                                  const i32 handle = Open(file.Path(), {wholeFile});
                                  if (handle <= 0) continue;
                                  tv_InitialExchangeSection(static_cast<u16>(handle));
                                  tv_CloseSymFile(static_cast<u16>(handle));
                              }
                          }).detach();
                      }
                      if (oneIsStuck) {
                          allocations::failsNow = GetStuck;
                          while (!stuck) usleep(100);
                      }
                      usleep(static_cast<unsigned>(500 * i));
                      exit(7);
                  })),
                  7);
    }
}

TEST(Processes, UnloadingClosesFiles) {
    const TempFile file(Bytes{});
    void* const library = dlopen(TORVA_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto open = reinterpret_cast<decltype(&tv_OpenSymFile)>(dlsym(library, "tv_OpenSymFile"));
    ASSERT_EQ(open(file.Path(), kBudget, nullptr, 0, 0), 1);
    EXPECT_EQ(Open(file.Path()), SYM_ERR_OPEN);
    dlclose(library);
    EXPECT_EQ(Open(file.Path()), 1);
    tv_CloseSymFile(1);
    EXPECT_EQ(ExitStatus(InChild([] { return 1; })), 1) << "nothing of the library is left to run at a fork";
}

// --- cancellation

std::atomic<i32> handleOfTheCancelled{0};

// The address sanitizer does not follow the unwinding of a cancelled thread: what it knows about the frames
// unwound would hold for the next ones. So the only frame that is unwound here has nothing for it to know.
#ifdef __SANITIZE_ADDRESS__
__attribute__((no_sanitize_address))
#endif
void* CallUntilCancelled(void* path) {
    for (;;) {
        handleOfTheCancelled = Open(static_cast<const char*>(path));
        const auto handle = static_cast<u16>(handleOfTheCancelled.load());
        for (int turn = 0; turn < 20; ++turn) tv_InitialExchangeSection(handle);
        tv_CloseSymFile(handle);
        pthread_testcancel();
    }
}

TEST(Processes, ACancelledThreadEndsOutsideACall) {
    const TempFile file(BigFile());
    for (int i = 0; i < 100 && !HasFailure(); ++i) {
        pthread_t thread{};
        std::string path = file.Path();
        ASSERT_EQ(pthread_create(&thread, nullptr, CallUntilCancelled, path.data()), 0);
        usleep(static_cast<unsigned>(37 * i));
        void* result = nullptr;
        pthread_cancel(thread);
        pthread_join(thread, &result);
        EXPECT_EQ(result, PTHREAD_CANCELED);
        EXPECT_EQ(handleOfTheCancelled, 1);
        ASSERT_EQ(Open(file.Path()), 1) << "the file is closed and no lock is held";
        tv_CloseSymFile(1);
    }
}

// A thread may cancel itself, so the process needs no other one for it.
TEST(Processes, TheHostsAllocatorMayBeACancellationPoint) {
    const TempFile file(BigFile());
    for (const bool alone : {true, false}) {
        EXPECT_EQ(ExitStatus(InChild([&] {
                      if (!alone) std::thread(pause).detach();
                      pthread_cancel(pthread_self());
                      allocations::failsNow = [] {
                          if (driver::insideLibrary) pthread_testcancel();
                          return false;
                      };
                      allocations::beforeFree = [] {
                          if (driver::insideLibrary) pthread_testcancel();
                      };
                      for (const u32 wholeFile : {0U, 1U}) {
                          const HowToOpen how{wholeFile, kBudget, {1, 2}};
                          driver::insideLibrary = true;
                          const i32 handle = Open(file.Path(), how);
                          driver::insideLibrary = false;
                          if (handle != 1 || Walk(1).empty()) return 0;
                          tv_CloseSymFile(1);
                      }
                      return 1;
                  })),
                  1)
            << (alone ? "one thread" : "two threads");
    }
}

#endif

}  // namespace
}  // namespace torva::test
