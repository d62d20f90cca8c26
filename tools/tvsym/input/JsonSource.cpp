#include "tools/tvsym/input/JsonSource.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace tvsym {

namespace {

// A file that tells a progress bar how far it has been read.
class WatchedFile : public std::filebuf {
public:
    explicit WatchedFile(ProgressBar* bar) : progress(bar) {}

protected:
    int_type underflow() override {
        const int_type next = std::filebuf::underflow();
        if (progress) {
            progress->Add(static_cast<u64>(egptr() - gptr()));
        }
        return next;
    }

private:
    ProgressBar* progress;
};

}  // namespace

u64 SourceSize(const std::string& path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

void WithSource(const std::string& path, const std::function<void(std::istream&)>& read,
                ProgressBar* progress) {
    const std::string name = SourceName(path);
    WatchedFile file(progress);
    std::istream stream(&file);
    if (path != "-") {
        std::error_code error;
        if (std::filesystem::is_directory(path, error)) {
            throw ToolError(kExitUnreadable, fmt::format("{}: is a directory", name));
        }
        errno = 0;
        if (!file.open(path, std::ios::in | std::ios::binary)) {
            throw ToolError(kExitUnreadable, fmt::format("{}: {}", name, std::strerror(errno)));
        }
    }
    try {
        read(path == "-" ? std::cin : stream);
    } catch (const std::ios_base::failure&) {
        throw ToolError(kExitUnreadable, fmt::format("{}: cannot be read to its end", name));
    }
}

std::string SourceName(const std::string& source) { return source == "-" ? "standard input" : source; }

symwrite::File ReadJsonSource(const SourceOptions& options, symwrite::FieldDictionary& dictionary,
                              symwrite::JsonErrors& errors, ProgressBar& progress) {
    TextCodec codec(options.encoding);
    symwrite::FromJsonOptions reading;
    reading.codec = &codec;
    reading.damaged = options.damaged;
    reading.dictionary = dictionary;
    symwrite::File file;
    WithSource(
        options.source,
        [&](std::istream& in) { file = symwrite::ReadJson(in, reading, errors, &dictionary); }, &progress);
    return file;
}

}  // namespace tvsym
