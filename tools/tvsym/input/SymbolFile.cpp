#include "tools/tvsym/input/SymbolFile.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/input/JsonSource.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

constexpr const char* kStandardInput = "(standard input)";

// Copies the standard input to a new file and opens it. The file's name goes away at once.
class Spool {
public:
    Spool() : path(MakeTemporaryFile("")) {}
    ~Spool() {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;

    std::shared_ptr<const FileSource> Open() const {
        std::ofstream file(path, std::ios::binary);
        std::vector<char> buffer(size_t{64} * 1024);
        while (file) {
            const size_t got = std::fread(buffer.data(), 1, buffer.size(), stdin);
            if (got == 0) {
                break;
            }
            file.write(buffer.data(), static_cast<std::streamsize>(got));
        }
        file.close();
        if (!file || std::ferror(stdin) != 0) {
            throw ToolError(kExitUnreadable, fmt::format("{}: cannot be copied to {}: {}", kStandardInput,
                                                         path, std::strerror(errno)));
        }
        return FileSource::FromPath(path, kStandardInput);
    }

private:
    std::string path;
};

}  // namespace

std::shared_ptr<const FileSource> OpenSource(const std::string& path) {
    return path == "-" ? Spool().Open() : FileSource::FromPath(path);
}

Dictionary LoadDictionary(const std::string& path, const std::string& symbolFile) {
    const std::string file = path.empty() ? Dictionary::PathBeside(symbolFile) : path;
    std::error_code error;
    if (path.empty() && !std::filesystem::is_regular_file(file, error)) {
        return {};
    }
    Dictionary dictionary;
    WithSource(file, [&](std::istream& in) { dictionary = Dictionary::Read(in, file); });
    return dictionary;
}

}  // namespace tvsym
