#ifdef _WIN32

#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <fcntl.h>
#include <fmt/format.h>
#include <io.h>
#include <windows.h>

#include <cctype>
#include <charconv>
#include <map>
#include <system_error>

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

// The system's number for a character set; 0 when it has none. Names are taken as iconv takes them: without
// regard to case, "-" and "_"; "cp950" and "windows-1252" tell the number themselves.
UINT CodePage(const std::string& name) {
    std::string key;
    for (const char character : name) {
        if (character != '-' && character != '_') {
            key += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
        }
    }
    static const std::map<std::string, UINT> kNumbers = {
        {"utf8", CP_UTF8}, {"ascii", 20127}, {"usascii", 20127}, {"iso88591", 28591}, {"latin1", 28591},
        {"big5", 950},     {"gb2312", 936},  {"gbk", 936},       {"gb18030", 54936},  {"shiftjis", 932},
        {"sjis", 932},     {"eucjp", 20932}, {"euckr", 949}};
    UINT number = 0;
    if (const auto known = kNumbers.find(key); known != kNumbers.end()) {
        number = known->second;
    } else {
        const size_t prefix = key.starts_with("cp") ? 2 : key.starts_with("windows") ? 7 : key.size();
        std::from_chars(key.data() + prefix, key.data() + key.size(), number);
    }
    return IsValidCodePage(number) ? number : 0;
}

class CodePageConverter : public Converter {
public:
    CodePageConverter(UINT from, UINT to) : source(from), target(to) {}

    std::optional<std::string> Convert(std::string_view text) override {
        if (text.empty()) {
            return std::string();
        }
        const auto size = static_cast<int>(text.size());
        std::wstring wide(text.size(), L'\0');  // no character takes more units there than bytes here
        const int units = MultiByteToWideChar(source, MB_ERR_INVALID_CHARS, text.data(), size, wide.data(),
                                              static_cast<int>(wide.size()));
        // Of these two the system takes another flag, and tells by itself what it cannot convert.
        const bool whole = target == CP_UTF8 || target == 54936;
        std::string result(static_cast<size_t>(units) * 4, '\0');
        BOOL replaced = FALSE;
        const int bytes = WideCharToMultiByte(
            target, whole ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS, wide.data(), units, result.data(),
            static_cast<int>(result.size()), nullptr, whole ? nullptr : &replaced);
        if (units == 0 || bytes == 0 || replaced) {
            return std::nullopt;
        }
        result.resize(static_cast<size_t>(bytes));
        return result;
    }

private:
    UINT source;
    UINT target;
};

}  // namespace

void PrepareProcess() {
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
}

// A process that is ended there runs no code of its own.
void RemoveWhenKilled(const std::string&) {}

bool LockedByAnother(const std::string& path) {
    HANDLE file =
        CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return GetLastError() == ERROR_SHARING_VIOLATION;
    }
    CloseHandle(file);
    return false;
}

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

void SynchronizeFile(const std::string& path) {
    HANDLE file =
        CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    const bool opened = file != INVALID_HANDLE_VALUE;
    const DWORD error = opened && FlushFileBuffers(file) ? ERROR_SUCCESS : GetLastError();
    if (opened) {
        CloseHandle(file);
    }
    if (error != ERROR_SUCCESS) {
        throw std::system_error(static_cast<int>(error), std::system_category());
    }
}

void SynchronizeDirectory(const std::string&) {}  // the file system's journal sees to that

bool IsTerminal(std::FILE* stream) { return _isatty(_fileno(stream)) != 0; }

size_t TerminalColumns(std::FILE*) {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info)) {
        return 80;
    }
    return static_cast<size_t>(info.srWindow.Right - info.srWindow.Left + 1);
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

std::unique_ptr<Converter> Converter::Make(const std::string& from, const std::string& to) {
    const UINT source = CodePage(from);
    const UINT target = CodePage(to);
    return source && target ? std::make_unique<CodePageConverter>(source, target) : nullptr;
}

}  // namespace tvsym

#endif
