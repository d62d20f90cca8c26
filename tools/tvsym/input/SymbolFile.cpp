#include "tools/tvsym/input/SymbolFile.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/input/Compression.h"
#include "tools/tvsym/input/JsonSource.h"
#include "tools/tvsym/output/Problems.h"

namespace tvsym {

namespace {

constexpr const char* kStandardInput = "(standard input)";

std::shared_ptr<const FileSource> OpenCopy(std::FILE* stream, const std::string& name) {
    const TemporaryCopy copy(stream, name);
    return FileSource::FromPath(copy.Path(), name);
}

}  // namespace

std::shared_ptr<const FileSource> OpenSource(const std::string& path) {
    if (path == "-") return OpenCopy(stdin, kStandardInput);
    std::error_code error;
    if (!std::filesystem::is_fifo(path, error) && !IsCompressedFile(path)) return FileSource::FromPath(path);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) throw ToolError(kExitUnreadable, fmt::format("{}: {}", path, std::strerror(errno)));
    return OpenCopy(file.get(), path);
}

Dictionary LoadDictionary(const std::string& path, const std::string& symbolFile) {
    std::string file = path.empty() ? Dictionary::PathBeside(symbolFile) : path;
    std::error_code error;
    if (path.empty() && !std::filesystem::exists(file, error)) {
        file = Dictionary::PathBeside(NameWithout(CompressionNamed(symbolFile), symbolFile));
    }
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
