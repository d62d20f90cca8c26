#ifndef _WIN32

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <system_error>

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

// A signal handler may do little more than unlink, so the names of what it removes stand in plain memory.
// One that is gone, or has another name by then, does no harm.
constexpr size_t kMostNames = 64;
char namesToRemove[kMostNames][PATH_MAX];
std::atomic<size_t> countToRemove = 0;

void RemoveAndDie(int signal) {
    for (size_t at = 0; at < countToRemove; ++at) {
        ::unlink(namesToRemove[at]);
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
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
    if (at < kMostNames && path.size() < PATH_MAX) {
        path.copy(namesToRemove[at], path.size());
        countToRemove = at + 1;
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

void SynchronizeFile(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const int error = descriptor >= 0 && ::fsync(descriptor) == 0 ? 0 : errno;
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
}

void SynchronizeDirectory(const std::string& path) {
    try {
        SynchronizeFile(path.empty() ? "." : path);
    } catch (const std::system_error&) {  // not every file system has this for directories
    }
}

bool IsTerminal(std::FILE* stream) { return ::isatty(::fileno(stream)) == 1; }

size_t TerminalColumns(std::FILE* stream) {
    struct winsize size = {};
    return ::ioctl(::fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

int CharacterWidth(char32_t character) { return std::max(::wcwidth(static_cast<wchar_t>(character)), 0); }

}  // namespace tvsym

#endif
