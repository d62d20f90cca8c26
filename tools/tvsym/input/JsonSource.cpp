#include "tools/tvsym/input/JsonSource.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "tools/tvsym/input/Compression.h"
#include "tools/tvsym/input/FlatSymbols.h"

namespace tvsym {

namespace {

// A file that shows in a progress bar how far it has been read.
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

using symwrite::Json;

// A line that is a flat object, {"symbol":"X","lot":100}, without a document in between.
class FlatLine final : public nlohmann::json_sax<Json> {
public:
    FlatLine(FlatSymbols& to, const symwrite::FieldDictionary& names) : symbols(to), dictionary(names) {}

    // False where the line is anything else, or has something wrong.
    bool Take(const std::string& line) {
        symbols.Begin();
        ++stamp;
        open = named = false;
        if (!Json::sax_parse(line, this) || !named) return false;
        symbols.End();
        return true;
    }

    bool null() override { return open; }
    bool boolean(bool value) override {
        return open && Put(column ? column->Other(value ? "t" : "f", value) : nullptr);
    }
    bool number_integer(number_integer_t value) override {
        return open && Put(column ? column->Other(std::to_string(value), value) : nullptr);
    }
    bool number_unsigned(number_unsigned_t value) override {
        return open && Put(column ? column->Unsigned(value) : nullptr);
    }
    bool number_float(number_float_t value, const std::string& digits) override {
        return open && Put(column ? column->Other(digits, value) : nullptr);
    }
    bool string(std::string& text) override {
        if (!open) return false;
        if (isSymbol) return named = symbols.SetText(text);
        return Put(column ? column->Text(text) : nullptr);
    }
    bool binary(binary_t&) override { return false; }
    bool start_object(size_t) override { return open = !open; }
    bool key(std::string& name) override {
        column = nullptr;
        isSymbol = name == "symbol";
        isNumber = name == "symbol_no";
        if (isSymbol) return !named;
        if (isNumber) return true;
        const auto found = columns.find(name);
        Column* known = found == columns.end() ? nullptr : &found->second;
        if (known == nullptr) {
            const bool other = name == "section" || name == "bytes" || name == "fields" ||
                               name == "damaged" || name.starts_with('_');
            const std::optional<u16> id = other ? std::nullopt : symwrite::FieldOf(name, dictionary);
            if (!id) return false;
            known = &columns.emplace(name, Column{symbols.Column(*id), 0}).first->second;
        }
        if (known->stamp == stamp) return false;
        known->stamp = stamp;
        column = &known->field;
        return true;
    }
    bool end_object() override { return true; }
    bool start_array(size_t) override { return false; }
    bool end_array() override { return false; }
    bool parse_error(size_t, const std::string&, const nlohmann::detail::exception&) override {
        return false;
    }

private:
    struct Column {
        FlatField field;
        u64 stamp;  // of the line that has it
    };

    bool Put(const symwrite::Field* field) {
        if (isNumber) return true;
        if (field != nullptr) symbols.Add(*field);
        return field != nullptr;
    }

    FlatSymbols& symbols;
    const symwrite::FieldDictionary& dictionary;
    std::unordered_map<std::string, Column> columns;
    u64 stamp = 0;
    FlatField* column = nullptr;  // of the key
    bool open = false, named = false, isSymbol = false, isNumber = false;
};

// Puts the lines together to sections, in the order of their first lines.
class Lines {
public:
    Lines(const symwrite::FromJsonOptions& from, bool isUtf8, symwrite::JsonErrors& sink)
        : options(from), utf8(isUtf8), errors(sink) {}

    void Add(const std::string& text, size_t number) {
        if (flat && flat->Take(text)) return;
        symwrite::JsonErrors found;
        std::istringstream in(text);
        symwrite::JsonDocument document = symwrite::ParseJson(in, found);
        Json& line = document.Value();
        if (found.Empty() && !line.is_object()) found.Add("", "expected an object");
        if (found.Empty()) Take(std::move(line), found);
        for (const symwrite::JsonError& error : found.First()) {
            errors.Add(fmt::format("line {}{}{}", number, error.where.starts_with('/') ? ": " : "",
                                   error.where.starts_with('/') ? error.where : ""),
                       error.what);
        }
    }

    FlatFile Finish() {
        for (auto& [index, reader] : readers) {
            symwrite::Section section = reader->Take();
            section.id = result.file.sections[index].id;
            result.file.sections[index] = std::move(section);
        }
        return std::move(result);
    }

private:
    void Take(Json line, symwrite::JsonErrors& found) {
        if (line.contains("damaged")) {
            if (!options.damaged)
                found.Add("", "dumped from a damaged file, parts of which are missing here");
            return;
        }
        const bool named = line.contains("section") && line["section"].is_string();
        const std::string name = named ? line["section"].get<std::string>() : "symbols";
        line.erase("section");
        std::optional<u16> id = SectionId(name);
        if (!id || (!FindSection(*id) && !line.contains("bytes")))
            return found.Add("/section", "no section is called \"" + name + "\"");
        if (line.contains("bytes") && line.size() == 1) {
            const std::string bytes = symwrite::JsonNode(line["bytes"], found).Hex();
            result.file.sections.push_back({.id = *id, .raw = symwrite::Bytes(bytes.begin(), bytes.end())});
            return;
        }
        if (*id == 2) {
            if (!symbols) {
                symbols = std::make_unique<FlatSymbols>(options, utf8, FlatRecords(result));
                flat = std::make_unique<FlatLine>(*symbols, options.dictionary);
            }
            return symbols->AddGeneral(line.contains("fields") ? std::move(line) : Flat(line), found);
        }
        symwrite::File& file = result.file;
        const SectionInfo* section = FindSection(*id);
        if (section->stored.size() == 1 &&
            section->stored[0].columns.size() == 1) {  // a list of plain values
            line = Json(line.value(section->stored[0].columns[0].name, Json()));
        }
        auto reader =
            std::ranges::find(readers, *id, [&](const auto& one) { return file.sections[one.first].id; });
        if (reader == readers.end()) {
            readers.emplace_back(file.sections.size(),
                                 std::make_unique<symwrite::ElementReader>(*id, options));
            file.sections.push_back({.id = *id});
            reader = std::prev(readers.end());
        }
        reader->second->Add(std::move(line), found);
    }

    // {"symbol":"X","lot":100} as {"symbol":"X","fields":{"lot":100}}, without what is null.
    static Json Flat(const Json& line) {
        Json symbol = {{"symbol", line.value("symbol", Json())}, {"fields", Json::object()}};
        for (const auto& [key, value] : line.items()) {
            if (key != "symbol" && key != "symbol_no" && !value.is_null()) symbol["fields"][key] = value;
        }
        return symbol;
    }

    static std::optional<u16> SectionId(std::string_view name) {
        constexpr std::string_view kNumbered = "section-";
        const SectionInfo* section = torva::FindSectionNamed(name);
        if (section && section->name == name) return section->id;
        if (!name.starts_with(kNumbered)) return std::nullopt;
        u16 id = 0;
        const auto [end, error] =
            std::from_chars(name.data() + kNumbered.size(), name.data() + name.size(), id);
        return error == std::errc() && end == name.data() + name.size() ? std::optional(id) : std::nullopt;
    }

    const symwrite::FromJsonOptions& options;
    bool utf8;
    symwrite::JsonErrors& errors;
    FlatFile result;
    std::unique_ptr<FlatSymbols> symbols;  // once there was one, as flat
    std::unique_ptr<FlatLine> flat;
    std::vector<std::pair<size_t, std::unique_ptr<symwrite::ElementReader>>> readers;  // by index in the file
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
    std::unique_ptr<TemporaryCopy> copy;
    if (path != "-" && IsCompressedFile(path)) {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> from(std::fopen(path.c_str(), "rb"),
                                                                   std::fclose);
        if (from) copy = std::make_unique<TemporaryCopy>(from.get(), name);
    } else if (path == "-" && (std::cin.peek() == 0x1f || std::cin.peek() == 0x28)) {  // it may be compressed
        copy = std::make_unique<TemporaryCopy>(stdin, name);
    }
    const bool fromFile = path != "-" || copy;
    if (fromFile) {
        std::error_code error;
        if (!copy && std::filesystem::is_directory(path, error)) {
            throw ToolError(kExitUnreadable, fmt::format("{}: is a directory", name));
        }
        errno = 0;
        if (!file.open(copy ? copy->Path() : path, std::ios::in | std::ios::binary)) {
            throw ToolError(kExitUnreadable, fmt::format("{}: {}", name, std::strerror(errno)));
        }
    }
    try {
        read(fromFile ? stream : std::cin);
    } catch (const std::ios_base::failure&) {
        throw ToolError(kExitUnreadable, fmt::format("{}: cannot be read to its end", name));
    }
}

Spool& FlatRecords(FlatFile& file) {
    if (!file.symbols) {
        file.symbols = std::make_shared<Spool>();
        file.index = file.file.sections.size();
        file.file.sections.push_back({.id = 2});
    }
    return *file.symbols;
}

FlatFile ReadLinesSource(const SourceOptions& options, const symwrite::FieldDictionary& dictionary,
                         symwrite::JsonErrors& errors, ProgressBar& progress) {
    TextCodec codec(options.encoding);
    symwrite::FromJsonOptions reading;
    reading.codec = &codec;
    reading.dictionary = dictionary;
    reading.typed = true;
    reading.damaged = options.damaged;
    Lines lines(reading, options.encoding == "UTF-8", errors);
    WithSource(
        options.source,
        [&](std::istream& in) {
            size_t number = 0;
            for (std::string line; std::getline(in, line);) {
                ++number;
                if (line.find_first_not_of(" \t\r") != std::string::npos) lines.Add(line, number);
            }
        },
        &progress);
    return lines.Finish();
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
