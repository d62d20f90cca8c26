#include "tools/tvsym/commands/Options.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
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

// By id, name (with - or _) or title.
const SectionInfo* SectionCalled(std::string_view text) {
    u16 id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    if (error == std::errc() && end == text.data() + text.size()) {
        return FindSection(id);
    }
    std::string name(text);
    std::replace(name.begin(), name.end(), '_', '-');
    const SectionInfo* section = FindSectionNamed(name);
    return section ? section : FindSectionNamed(text);
}

// "; did you mean WORD?", or what to say where no word is near.
std::string NearestText(const std::string& word, const std::vector<std::string>& words,
                        const std::string& otherwise) {
    const std::string nearest = Nearest(word, words);
    return !nearest.empty()    ? fmt::format("; did you mean {}?", nearest)
           : otherwise.empty() ? ""
                               : "; " + otherwise;
}

}  // namespace

CLI::Option* AddArgument(CLI::App& app, const std::string& name, std::string& value,
                         const std::string& what) {
    return app.add_option(name, value, what)->type_name("")->required();
}

void AddEncoding(CLI::App& app, std::string& encoding, const std::string& of) {
    app.add_option("--encoding", encoding, "character set of the texts " + of)
        ->type_name("NAME")
        ->capture_default_str();
}

void AddSections(CLI::App& app, std::vector<std::string>& namesOrIds) {
    app.add_option("--section", namesOrIds, "only this section, by id or name; may be repeated")
        ->type_name("ID|NAME")
        ->allow_extra_args(false);
}

void AddFields(CLI::App& app, std::vector<std::string>& namesOrIds) {
    app.add_option("--fields", namesOrIds, "only these fields: ids or names of the dictionary, by commas")
        ->delimiter(',')
        ->type_name("FIELD,...")
        ->allow_extra_args(false);
}

void AddQuiet(CLI::App& app, bool& quiet) { app.add_flag("-q,--quiet", quiet, "no progress bar"); }

void AddFileMode(CLI::App& app, bool& fileMode) {
    app.add_flag("--file-mode", fileMode,
                 "read from the file as needed; files up to 64 MiB are otherwise read into memory first");
}

void AddFileOptions(CLI::App& app, FileOptions& options) {
    AddArgument(app, "FILE", options.file, kFileArgument);
    AddFileMode(app, options.fileMode);
    AddQuiet(app, options.quiet);
}

void AddValueOptions(CLI::App& app, FileOptions& options) {
    app.add_option("--dictionary", options.dictionary,
                   "names and types of the field ids, a JSON file; FILE.fields.json when it is there")
        ->type_name("JSON");
    AddEncoding(app, options.encoding);
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
            const char* otherwise = names.empty() ? "without a dictionary, fields have ids only" : "";
            throw ToolError(kExitUsage, fmt::format("no field is called \"{}\"{}", text,
                                                    NearestText(text, names, otherwise)));
        }
        ids.push_back(*id);
    }
    return ids;
}

std::vector<u16> SectionIds(const std::vector<std::string>& namesOrIds) {
    std::vector<u16> ids;
    for (const std::string& text : namesOrIds) {
        const SectionInfo* section = SectionCalled(text);
        if (!section) {
            std::vector<std::string> names;
            for (const SectionInfo& known : torva::kSections) {
                names.emplace_back(known.name);
            }
            throw ToolError(kExitUsage,
                            fmt::format("--section {}: no such section{}", text,
                                        NearestText(text, names, "sections are 1 to 4 and 6 to 22")));
        }
        ids.push_back(section->id);
    }
    return ids;
}

std::string Nearest(const std::string& word, const std::vector<std::string>& words) {
    std::string best;
    // A letter in three may differ; dashes do not count.
    const size_t dashes = word.find_first_not_of('-');
    size_t bestDistance = (word.size() - std::min(dashes, word.size())) / 3 + 2;
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
