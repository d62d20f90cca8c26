#include "tools/tvsym/output/Output.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

#include "tools/tvsym/input/Compression.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

Output::Output() = default;

Output::Output(const std::string& path, const std::string& nameInMessages)
    : file(std::fopen(path.c_str(), "wb")), name(nameInMessages) {
    if (!file) {
        throw ToolError(kExitUnreadable,
                        fmt::format("{}: cannot be written: {}", name, std::strerror(errno)));
    }
    const Compression compression = CompressionNamed(name);
    if (compression != Compression::None) {
        compressor = Recoder::Compressor(compression, [this](std::string_view bytes) { Put(bytes); });
    }
}

Output::~Output() {
    if (file && file != stdout) {
        std::fclose(file);
    }
}

void Output::Check(bool good) {
    if (good) {
        return;
    }
    if (file == stdout && errno == EPIPE) {
        throw PipeClosed();
    }
    throw ToolError(kExitUnreadable, fmt::format("{}: cannot be written: {}", name, std::strerror(errno)));
}

void Output::Write(std::string_view text) {
    if (compressor) {
        compressor->Add(text);
    } else {
        Put(text);
    }
}

void Output::Put(std::string_view text) {
    if (file == stdout) PageOutput();
    Check(std::fwrite(text.data(), 1, text.size(), file) == text.size());
}

void Output::Close() {
    if (compressor) compressor->Finish();
    compressor.reset();
    Check(std::fflush(file) == 0);
    if (file != stdout) {
        std::FILE* closing = file;
        file = nullptr;
        Check(std::fclose(closing) == 0);
    }
}

}  // namespace tvsym
