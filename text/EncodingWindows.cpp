#ifdef _WIN32

#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>

#include <cctype>
#include <charconv>
#include <map>

#include "text/Encoding.h"

namespace torva {

namespace {

// The system's number for a character set; 0 when it has none. Names are taken as iconv takes them: without
// regard to case, "-" and "_"; "cp950" and "windows-1252" contain the number.
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
        const std::size_t prefix = key.starts_with("cp") ? 2 : key.starts_with("windows") ? 7 : key.size();
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
        // Of these two the system takes another flag, and reports by itself what it cannot convert.
        const bool whole = target == CP_UTF8 || target == 54936;
        std::string result(static_cast<std::size_t>(units) * 4, '\0');
        BOOL replaced = FALSE;
        const int bytes = WideCharToMultiByte(
            target, whole ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS, wide.data(), units, result.data(),
            static_cast<int>(result.size()), nullptr, whole ? nullptr : &replaced);
        if (units == 0 || bytes == 0 || replaced) {
            return std::nullopt;
        }
        result.resize(static_cast<std::size_t>(bytes));
        return result;
    }

private:
    UINT source;
    UINT target;
};

}  // namespace

std::unique_ptr<Converter> Converter::Make(const std::string& from, const std::string& to) {
    const UINT source = CodePage(from);
    const UINT target = CodePage(to);
    return source && target ? std::make_unique<CodePageConverter>(source, target) : nullptr;
}

}  // namespace torva

#endif
