#include "tools/tvsym/input/SymbolFile.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/input/JsonSource.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

constexpr const char* kStandardInput = "(standard input)";

// Copies a stream to a new file and opens it. The file's name goes away at once.
class CopiedStream {
public:
    CopiedStream(std::FILE* stream, std::string streamName)
        : in(stream), name(std::move(streamName)), path(MakeTemporaryFile("")) {}
    ~CopiedStream() {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    CopiedStream(const CopiedStream&) = delete;
    CopiedStream& operator=(const CopiedStream&) = delete;

    std::shared_ptr<const FileSource> Open() const {
        std::ofstream file(path, std::ios::binary);
        std::vector<char> buffer(size_t{64} * 1024);
        while (file) {
            const size_t got = std::fread(buffer.data(), 1, buffer.size(), in);
            if (got == 0) {
                break;
            }
            file.write(buffer.data(), static_cast<std::streamsize>(got));
        }
        file.close();
        if (!file || std::ferror(in) != 0) {
            throw ToolError(kExitUnreadable,
                            fmt::format("{}: cannot be copied to {}: {}", name, path, std::strerror(errno)));
        }
        return FileSource::FromPath(path, name);
    }

private:
    std::FILE* in;
    std::string name;
    std::string path;
};

}  // namespace

std::shared_ptr<const FileSource> OpenSource(const std::string& path) {
    if (path == "-") return CopiedStream(stdin, kStandardInput).Open();
    std::error_code error;
    if (!std::filesystem::is_fifo(path, error)) return FileSource::FromPath(path);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!pipe) throw ToolError(kExitUnreadable, fmt::format("{}: {}", path, std::strerror(errno)));
    return CopiedStream(pipe.get(), path).Open();
}

Dictionary LoadDictionary(const std::string& path, const std::string& symbolFile) {
    const std::string file = path.empty() ? Dictionary::PathBeside(symbolFile) : path;
    std::error_code error;
    if (path.empty() && !std::filesystem::is_regular_file(file, error)) {
        return {};
    }
    Dictionary dictionary;
    try {
        WithSource(file, [&](std::istream& in) { dictionary = Dictionary::Read(in, file); });
    } catch (const std::exception& failure) {
        if (!path.empty()) throw;
        PrintError(fmt::format("tvsym: {}; fields have no names and types", failure.what()));
    }
    return dictionary;
}

void ReportEncoding(const std::string& file, bool allDecoded, const std::string& encoding) {
    if (!allDecoded) {
        PrintError(
            fmt::format("tvsym: {}: some texts are not valid {} and appear as bytes; --encoding names their "
                        "character set",
                        file == "-" ? kStandardInput : file, encoding));
    }
}

}  // namespace tvsym
