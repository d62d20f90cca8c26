#include "tools/tvsym/JsonSource.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace tvsym {

void WithSource(const std::string& path, const std::function<void(std::istream&)>& read) {
    const std::string name = SourceName(path);
    std::ifstream file;
    if (path != "-") {
        std::error_code error;
        if (std::filesystem::is_directory(path, error)) {
            throw ToolError(kExitUnreadable, fmt::format("{}: is a directory", name));
        }
        errno = 0;
        file.open(path, std::ios::binary);
        if (!file) {
            throw ToolError(kExitUnreadable, fmt::format("{}: {}", name, std::strerror(errno)));
        }
    }
    try {
        read(path == "-" ? std::cin : file);
    } catch (const std::ios_base::failure&) {
        throw ToolError(kExitUnreadable, fmt::format("{}: cannot be read to its end", name));
    }
}

std::string SourceName(const std::string& source) { return source == "-" ? "standard input" : source; }

symwrite::TextCodec CodecFor(TextCodec& codec) {
    if (codec.IsIdentity()) {
        return {};
    }
    return {[&codec](std::string_view bytes) -> std::optional<std::string> {
                const std::optional<std::string_view> text = codec.Decode(bytes);
                return text ? std::optional(std::string(*text)) : std::nullopt;
            },
            [&codec](std::string_view utf8) { return codec.Encode(utf8); }};
}

symwrite::File ReadJsonSource(const SourceOptions& options, symwrite::JsonErrors& errors,
                              std::string& errorsIn) {
    TextCodec codec(options.encoding);
    const symwrite::TextCodec texts = CodecFor(codec);
    symwrite::FromJsonOptions reading;
    reading.codec = &texts;
    if (!options.dictionary.empty()) {
        errorsIn = SourceName(options.dictionary);
        WithSource(options.dictionary, [&](std::istream& in) {
            const symwrite::Json words = symwrite::ParseJson(in, errors);
            if (errors.Empty()) {
                reading.dictionary.Load(symwrite::JsonNode(words, errors));
            }
        });
    }
    symwrite::File file;
    if (errors.Empty()) {
        errorsIn = SourceName(options.source);
        WithSource(options.source, [&](std::istream& in) { file = symwrite::ReadJson(in, reading, errors); });
    }
    return file;
}

}  // namespace tvsym
