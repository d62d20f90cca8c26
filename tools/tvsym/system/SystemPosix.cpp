#ifndef _WIN32

#include <fcntl.h>
#include <fmt/format.h>
#include <iconv.h>
#include <sys/file.h>
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

class IconvConverter : public Converter {
public:
    explicit IconvConverter(iconv_t opened) : descriptor(opened) {}
    ~IconvConverter() override { ::iconv_close(descriptor); }
    IconvConverter(const IconvConverter&) = delete;
    IconvConverter& operator=(const IconvConverter&) = delete;

    std::optional<std::string> Convert(std::string_view text) override {
        ::iconv(descriptor, nullptr, nullptr, nullptr, nullptr);
        std::string result(text.size() * 2 + 16, '\0');
        char* in = const_cast<char*>(text.data());  // iconv does not write there
        size_t inLeft = text.size();
        size_t done = 0;
        bool flushing = false;
        for (;;) {
            char* out = result.data() + done;
            size_t outLeft = result.size() - done;
            const size_t got = ::iconv(descriptor, flushing ? nullptr : &in, &inLeft, &out, &outLeft);
            done = static_cast<size_t>(out - result.data());
            if (got != static_cast<size_t>(-1)) {
                if (got != 0) {  // characters that the other set has only something similar for
                    return std::nullopt;
                }
                if (flushing) {
                    break;
                }
                flushing = true;
            } else if (errno == E2BIG) {
                result.resize(result.size() * 2);
            } else {
                return std::nullopt;
            }
        }
        result.resize(done);
        return result;
    }

private:
    iconv_t descriptor;
};

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

bool LockedByAnother(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return false;
    }
    const bool locked = ::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(descriptor);
    return locked;
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

std::unique_ptr<Converter> Converter::Make(const std::string& from, const std::string& to) {
    iconv_t opened = ::iconv_open(to.c_str(), from.c_str());
    if (opened ==
        reinterpret_cast<iconv_t>(-1)) {  // NOLINT(performance-no-int-to-ptr): the interface says so
        return nullptr;
    }
    return std::make_unique<IconvConverter>(opened);
}

}  // namespace tvsym

#endif
