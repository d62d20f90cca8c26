#ifndef _WIN32

#include "text/Encoding.h"

#if __has_include(<iconv.h>) && !defined(__EMSCRIPTEN__)

#include <iconv.h>

#include <cerrno>

namespace torva {

namespace {

class IconvConverter : public Converter {
public:
    IconvConverter(const std::string& from, const std::string& to)
        : descriptor(::iconv_open(to.c_str(), from.c_str())) {}
    ~IconvConverter() override {
        if (IsOpen()) ::iconv_close(descriptor);
    }
    IconvConverter(const IconvConverter&) = delete;
    IconvConverter& operator=(const IconvConverter&) = delete;

    bool IsOpen() const {
        return descriptor !=
               reinterpret_cast<iconv_t>(-1);  // NOLINT(performance-no-int-to-ptr): its interface
    }

    std::optional<std::string> Convert(std::string_view text) override {
        ::iconv(descriptor, nullptr, nullptr, nullptr, nullptr);
        std::string result(text.size() * 2 + 16, '\0');
        char* in = const_cast<char*>(text.data());  // iconv does not write there
        std::size_t inLeft = text.size();
        std::size_t done = 0;
        bool flushing = false;
        for (;;) {
            char* out = result.data() + done;
            std::size_t outLeft = result.size() - done;
            const std::size_t got = ::iconv(descriptor, flushing ? nullptr : &in, &inLeft, &out, &outLeft);
            done = static_cast<std::size_t>(out - result.data());
            if (got != static_cast<std::size_t>(-1)) {
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

}  // namespace

std::unique_ptr<Converter> Converter::Make(const std::string& from, const std::string& to) {
    auto converter = std::make_unique<IconvConverter>(from, to);
    if (!converter->IsOpen()) return nullptr;
    return converter;
}

}  // namespace torva

#else

namespace torva {

std::unique_ptr<Converter> Converter::Make(const std::string&, const std::string&) { return nullptr; }

}  // namespace torva

#endif

#endif
