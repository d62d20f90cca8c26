// Options that commands share.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tables/dictionary/Values.h"
#include "tables/rows/Reader.h"
#include "tools/tvsym/Tool.h"

namespace tvsym {

struct FileOptions {
    std::string file;
    std::string dictionary;
    std::string encoding = "UTF-8";
    bool fileMode = false;
    bool quiet = false;

    ReadMode Mode() const { return fileMode ? ReadMode::File : ReadMode::Auto; }
};

// What more than one command has, one by one.
CLI::Option* AddArgument(CLI::App& app, const std::string& name, std::string& value, const std::string& what);
void AddEncoding(CLI::App& app, std::string& encoding, const std::string& of = "in the file");
void AddSections(CLI::App& app, std::vector<std::string>& namesOrIds);
void AddFields(CLI::App& app, std::vector<std::string>& namesOrIds);
void AddFileMode(CLI::App& app, bool& fileMode);
void AddQuiet(CLI::App& app, bool& quiet);
constexpr const char* kFileArgument = "symbol file; - reads the standard input";

// FILE, --file-mode, --quiet.
void AddFileOptions(CLI::App& app, FileOptions& options);

// --dictionary, --encoding.
void AddValueOptions(CLI::App& app, FileOptions& options);

// Takes digits alone.
CLI::Validator WholeNumber();

// Ids from names of the dictionary and numbers, as --fields takes them; throws ToolError with kExitUsage.
std::vector<u16> FieldIds(const std::vector<std::string>& namesOrIds, const Dictionary& dictionary);

// Ids from --section; throws ToolError with kExitUsage.
std::vector<u16> SectionIds(const std::vector<std::string>& namesOrIds);

// Of the words, the one with the fewest differing letters; empty when none is near.
std::string Nearest(const std::string& word, const std::vector<std::string>& words);

}  // namespace tvsym
