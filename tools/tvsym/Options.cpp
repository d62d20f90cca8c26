#include "tools/tvsym/Options.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace tvsym {

namespace {

size_t EditDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t j = 0; j < b.size(); ++j) {
            const size_t change = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({change, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

}  // namespace

void AddFileOptions(CLI::App& app, FileOptions& options) {
    app.add_option("FILE", options.file, "symbol file; - reads the standard input")
        ->type_name("")
        ->required();
    app.add_flag("--file-mode", options.fileMode,
                 "read from the file as needed; files up to 64 MiB are otherwise read into memory first");
    app.add_flag("-q,--quiet", options.quiet, "no progress bar");
}

void AddValueOptions(CLI::App& app, FileOptions& options) {
    app.add_option("--dictionary", options.dictionary,
                   "names and types of the field ids, a JSON file; FILE.fields.json when it is there")
        ->type_name("JSON");
    app.add_option("--encoding", options.encoding, "character set of the texts in the file")
        ->type_name("NAME")
        ->capture_default_str();
}

CLI::Validator WholeNumber() {
    return {[](const std::string& text) {
                const bool digits = text.find_first_not_of("0123456789") == std::string::npos;
                return digits ? "" : fmt::format("expected a whole number, found {}", text);
            },
            "", "whole number"};
}

std::vector<u16> FieldIds(const std::vector<std::string>& namesOrIds, const Dictionary& dictionary) {
    std::vector<u16> ids;
    for (const std::string& text : namesOrIds) {
        const std::optional<u16> id = dictionary.IdOf(text);
        if (!id) {
            std::vector<std::string> names;
            for (const auto& [known, definition] : dictionary.All()) {
                names.push_back(definition.name);
            }
            const std::string nearest = Nearest(text, names);
            throw ToolError(kExitUsage,
                            fmt::format("no field is called \"{}\"{}", text,
                                        names.empty()     ? "; without a dictionary fields are told by id"
                                        : nearest.empty() ? ""
                                                          : fmt::format("; did you mean {}?", nearest)));
        }
        ids.push_back(*id);
    }
    return ids;
}

std::vector<u16> SectionIds(const std::vector<std::string>& namesOrIds) {
    std::vector<u16> ids;
    for (const std::string& text : namesOrIds) {
        const SectionInfo* section = FindSection(std::string_view(text));
        if (!section) {
            std::vector<std::string> names;
            for (const SectionInfo& known : AllSections()) {
                names.emplace_back(known.name);
            }
            const std::string nearest = Nearest(text, names);
            throw ToolError(kExitUsage,
                            fmt::format("--section {}: no such section{}", text,
                                        nearest.empty() ? "; sections are 1 to 4 and 6 to 22"
                                                        : fmt::format("; did you mean {}?", nearest)));
        }
        ids.push_back(section->id);
    }
    return ids;
}

std::string Nearest(const std::string& word, const std::vector<std::string>& words) {
    std::string best;
    size_t bestDistance = word.size() / 2 + 1;
    for (const std::string& candidate : words) {
        const size_t distance = EditDistance(word, candidate);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = candidate;
        }
    }
    return best;
}

}  // namespace tvsym
