#ifndef _WIN32

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <deque>
#include <filesystem>
#include <memory>
#include <thread>

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

// A signal handler may do little more than unlink, so the names of the files that it removes are kept as
// plain strings until the process ends. One that is gone, or has another name by then, does no harm.
constexpr size_t kMostNames = 8192;
const char* namesToRemove[kMostNames];
std::atomic<size_t> countToRemove = 0;

// Processes that RunInProcesses started and that have not ended; 0 for none. They end with this one.
constexpr size_t kMostJobs = 64;
std::atomic<pid_t> children[kMostJobs];

// The pager, and copies of the streams that lead to it; -1 if there is none.
struct PagerProcess {
    pid_t process = -1;
    int output = -1;
    int errors = -1;
};
PagerProcess pager;

// The pager sees the end of its input and leaves when the user says so. Signal handlers call this, too.
int LeavePager() {
    int status = 0;
    if (pager.process < 0) {
        return status;
    }
    ::dup2(pager.output, STDOUT_FILENO);
    ::dup2(pager.errors, STDERR_FILENO);
    while (::waitpid(pager.process, &status, 0) < 0 && errno == EINTR) {
    }
    pager.process = -1;
    return status;
}

void RemoveAndDie(int signal) {
    for (const pid_t child : children) {
        if (child != 0) ::kill(child, signal);
    }
    LeavePager();
    for (size_t at = 0; at < countToRemove; ++at) {
        ::unlink(namesToRemove[at]);
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// Starts a program with one argument and without the terminal's streams. A program that is still running
// after a moment is a browser that stays; one that ends says by its status whether it passed the file on.
bool Start(const std::string& program, const std::string& argument) {
    posix_spawn_file_actions_t actions;
    if (::posix_spawn_file_actions_init(&actions) != 0) {
        return false;
    }
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
    }
    std::string words[] = {program, argument};
    char* arguments[] = {words[0].data(), words[1].data(), nullptr};
    pid_t process = 0;
    const int failure = ::posix_spawnp(&process, words[0].c_str(), &actions, nullptr, arguments, environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
        return false;
    }
    constexpr int kLooks = 150;
    constexpr std::chrono::milliseconds kBetweenLooks(20);
    for (int look = 0; look < kLooks; ++look) {
        int status = 0;
        const pid_t ended = ::waitpid(process, &status, WNOHANG);
        if (ended != 0) {
            return ended == process && WIFEXITED(status) && WEXITSTATUS(status) == 0;
        }
        std::this_thread::sleep_for(kBetweenLooks);
    }
    return true;
}

}  // namespace

void PrepareProcess() {
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        if (std::signal(signal, RemoveAndDie) == SIG_IGN) {  // as nohup has it
            std::signal(signal, SIG_IGN);
        }
    }
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
        std::signal(signal, SIG_IGN);  // NOLINT(cert-err33-c): there is nothing to do about a failure
    }
    (void)std::setlocale(LC_CTYPE, "C.UTF-8");  // for wcwidth
}

void RemoveWhenKilled(const std::string& path) {
    const size_t at = countToRemove;
    if (at < kMostNames) {
        namesToRemove[at] = ::strdup(path.c_str());
        countToRemove = at + (namesToRemove[at] != nullptr ? 1 : 0);
    }
}

std::string MakeTemporaryFile(const std::string& directory) {
    const char* temporary = std::getenv("TMPDIR");
    if (!temporary || !*temporary) {
        temporary = "/tmp";
    }
    std::string path = fmt::format("{}/tvsym-XXXXXX", directory.empty() ? temporary : directory.c_str());
    const int descriptor = ::mkstemp(path.data());
    if (descriptor < 0) {
        throw ToolError(kExitUnreadable,
                        fmt::format("{}: cannot be created: {}", path, std::strerror(errno)));
    }
    ::close(descriptor);
    RemoveWhenKilled(path);
    return path;
}

bool IsTerminal(std::FILE* stream) { return ::isatty(::fileno(stream)) == 1; }

size_t TerminalColumns(std::FILE* stream) {
    struct winsize size = {};
    return ::ioctl(::fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::string ProgramPath() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

// BROWSER holds the user's choices, separated by colons; then what desktops and macOS have for this.
bool OpenInBrowser(const std::string& path) {
    const std::string address = std::filesystem::absolute(path).string();
    const char* const chosen = std::getenv("BROWSER");
    const std::string programs = fmt::format("{}:xdg-open:open", chosen != nullptr ? chosen : "");
    for (size_t at = 0; at < programs.size();) {
        const size_t end = std::min(programs.find(':', at), programs.size());
        if (end > at && Start(programs.substr(at, end - at), address)) {
            return true;
        }
        at = end + 1;
    }
    return false;
}

bool StartPager(const std::string& command) {
    int ends[2];
    if (::pipe(ends) != 0) {
        return false;
    }
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
    ::posix_spawnattr_init(&attributes);
    sigset_t usual;
    ::sigemptyset(&usual);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
        ::sigaddset(&usual, signal);
    }
    ::posix_spawnattr_setsigdefault(&attributes, &usual);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    // Colours pass, long lines are cut at the margin, and what fits on the screen stays on it.
    ::setenv("LESS", "FRSX", 0);
    ::setenv("LESSCHARSET", "utf-8", 0);
    std::string words[] = {"sh", "-c", command};
    char* shell[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    std::string name = "less";
    char* less[] = {name.data(), nullptr};
    char** const arguments = command.empty() ? less : shell;
    pid_t process = -1;
    const int failure = ::posix_spawnp(&process, arguments[0], &actions, &attributes, arguments, environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[0]);
    if (failure == 0) {
        std::fflush(stdout);
        pager.output = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
        pager.errors = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
        ::dup2(ends[1], STDOUT_FILENO);
        if (IsTerminal(stderr)) {
            ::dup2(ends[1], STDERR_FILENO);
        }
        pager.process = process;
    }
    ::close(ends[1]);
    return failure == 0;
}

bool EndPager() {
    constexpr int kNotFound = 127;
    std::fflush(stdout);
    std::fflush(stderr);
    const int status = LeavePager();
    return !(WIFEXITED(status) && WEXITSTATUS(status) == kNotFound);
}

namespace {

// A process of RunInProcesses, and what it prints.
class ChildRun {
public:
    ChildRun(size_t at, const std::function<int(size_t)>& run)
        : out(std::tmpfile()), errors(std::tmpfile()), slot(FreeSlot()) {
        if (out == nullptr || errors == nullptr) Fail("no temporary file can be created");
        std::fflush(stdout);
        std::fflush(stderr);
        process = ::fork();
        if (process < 0) Fail("no process can be started");
        if (process == 0) {
            countToRemove = 0;  // those are files of the other process
            pager.process = -1;
            for (auto& child : children) child = 0;
            ::dup2(::fileno(out), STDOUT_FILENO);
            ::dup2(::fileno(errors), STDERR_FILENO);
            const int result = run(at);
            std::fflush(stdout);
            std::fflush(stderr);
            ::_exit(result);
        }
        children[slot] = process;
    }
    ChildRun(const ChildRun&) = delete;
    ChildRun& operator=(const ChildRun&) = delete;
    ~ChildRun() {
        if (Running()) {
            ::kill(process, SIGTERM);
            Wait();
        }
        std::fclose(out);
        std::fclose(errors);
    }

    bool Running() const { return process > 0; }
    pid_t Process() const { return process; }

    void Wait() {
        int how = 0;
        while (::waitpid(process, &how, 0) < 0 && errno == EINTR) {
        }
        children[slot] = 0;
        process = 0;
        status = WIFEXITED(how) ? WEXITSTATUS(how) : kExitUnreadable;
        if (WIFSIGNALED(how)) {
            std::fseek(errors, 0, SEEK_END);
            std::fprintf(errors, "tvsym: a process that read one of the files was ended by signal %d\n",
                         WTERMSIG(how));
        }
    }

    void Deliver(size_t at, const std::function<void(size_t, int, std::FILE*)>& finished) {
        std::rewind(out);
        finished(at, status, out);
        std::fflush(stdout);
        std::rewind(errors);
        char piece[4096];
        while (const size_t got = std::fread(piece, 1, sizeof piece, errors)) {
            std::fwrite(piece, 1, got, stderr);
        }
    }

private:
    static size_t FreeSlot() {
        return static_cast<size_t>(std::find(std::begin(children), std::end(children), 0) - children);
    }
    [[noreturn]] void Fail(const char* what) const {
        const std::string why = std::strerror(errno);
        if (out != nullptr) std::fclose(out);
        if (errors != nullptr) std::fclose(errors);
        throw ToolError(kExitUnreadable, fmt::format("{}: {}", what, why));
    }

    std::FILE* out;
    std::FILE* errors;
    size_t slot;
    pid_t process = 0;
    int status = 0;
};

}  // namespace

void RunInProcesses(size_t count, size_t jobs, const std::function<int(size_t)>& run,
                    const std::function<void(size_t, int, std::FILE*)>& finished) {
    constexpr size_t kWaiting = 4;  // times as many as run may have ended before their turn
    jobs = std::clamp<size_t>(jobs, 1, kMostJobs);
    std::deque<std::unique_ptr<ChildRun>> runs;  // in order, from the next one to be delivered
    size_t started = 0;
    for (size_t delivered = 0; delivered < count;) {
        const auto running =
            static_cast<size_t>(std::ranges::count_if(runs, [](const auto& one) { return one->Running(); }));
        if (started < count && running < jobs && runs.size() < kWaiting * jobs) {
            runs.push_back(std::make_unique<ChildRun>(started++, run));
        } else if (!runs.front()->Running()) {
            runs.front()->Deliver(delivered++, finished);
            runs.pop_front();
        } else {
            siginfo_t ended = {};
            ::waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT);
            const auto found = std::ranges::find_if(
                runs, [&](const auto& one) { return one->Running() && one->Process() == ended.si_pid; });
            (found != runs.end() ? *found : runs.front())->Wait();  // else it was the pager
        }
    }
}

int CharacterWidth(char32_t character) { return std::max(::wcwidth(static_cast<wchar_t>(character)), 0); }

}  // namespace tvsym

#endif
