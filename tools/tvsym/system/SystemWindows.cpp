#ifdef _WIN32

#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <fcntl.h>
#include <fmt/format.h>
#include <io.h>
#include <windows.h>
// After windows.h, which it needs.
#include <shellapi.h>

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

void PrepareProcess() {
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
}

// A process that is ended there runs no code of its own.
void RemoveWhenKilled(const std::string&) {}

std::string MakeTemporaryFile(const std::string& directory) {
    char temporary[MAX_PATH + 1] = {};
    char path[MAX_PATH + 1] = {};
    GetTempPathA(sizeof temporary, temporary);
    if (GetTempFileNameA(directory.empty() ? temporary : directory.c_str(), "tvs", 0, path) == 0) {
        throw ToolError(kExitUnreadable,
                        fmt::format("{}: no temporary file can be created there", directory));
    }
    return path;
}

bool IsTerminal(std::FILE* stream) { return _isatty(_fileno(stream)) != 0; }

size_t TerminalColumns(std::FILE*) {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info)) {
        return 80;
    }
    return static_cast<size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

std::string ProgramPath() {
    char path[MAX_PATH + 1] = {};
    const DWORD length = GetModuleFileNameA(nullptr, path, sizeof path);
    return length < sizeof path ? std::string(path, length) : "";
}

bool OpenInBrowser(const std::string& path) {
    constexpr INT_PTR kMostFailure = 32;
    return reinterpret_cast<INT_PTR>(
               ShellExecuteA(nullptr, "open", path.c_str(), nullptr, nullptr, SW_SHOWNORMAL)) > kMostFailure;
}

bool StartPager(const std::string&) { return false; }

bool EndPager() { return true; }

void RunInProcesses(size_t count, size_t /*jobs*/, const std::function<int(size_t)>& run,
                    const std::function<void(size_t, int, std::FILE*)>& finished) {
    for (size_t at = 0; at < count; ++at) {
        const std::string path = MakeTemporaryFile("");
        std::FILE* const printed = std::fopen(path.c_str(), "w+bTD");  // removed when it is closed
        if (printed == nullptr) throw ToolError(kExitUnreadable, fmt::format("{}: cannot be opened", path));
        std::fflush(stdout);
        const int output = _dup(_fileno(stdout));
        _dup2(_fileno(printed), _fileno(stdout));
        const int status = run(at);
        std::fflush(stdout);
        _dup2(output, _fileno(stdout));
        _close(output);
        std::rewind(printed);
        finished(at, status, printed);
        std::fclose(printed);
    }
}

// The blocks of East Asian wide characters, and combining marks.
int CharacterWidth(char32_t character) {
    if ((character >= 0x300 && character <= 0x36f) || (character >= 0x200b && character <= 0x200f)) {
        return 0;
    }
    const bool wide =
        (character >= 0x1100 && character <= 0x115f) || (character >= 0x2e80 && character <= 0xa4cf) ||
        (character >= 0xac00 && character <= 0xd7a3) || (character >= 0xf900 && character <= 0xfaff) ||
        (character >= 0xfe30 && character <= 0xfe6f) || (character >= 0xff00 && character <= 0xff60) ||
        (character >= 0xffe0 && character <= 0xffe6) || (character >= 0x1f300 && character <= 0x1faff) ||
        (character >= 0x20000 && character <= 0x3fffd);
    return wide ? 2 : 1;
}

}  // namespace tvsym

#endif
