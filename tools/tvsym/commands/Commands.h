// The commands. A command's file holds one Add function: it declares arguments and options on `app` and gives
// what runs when the command was chosen; that returns the exit status, or throws ToolError. The table in
// Commands.cpp names them all; help, man page, docs and shell completion are made from it.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tvsym {

using RunCommand = std::function<int()>;

struct CommandSpec {
    const char* name;
    const char* description;
    const char* notes;     // a paragraph on what matters when using it; may be empty
    const char* examples;  // command lines, one a line
    RunCommand (*add)(CLI::App& app);
};

std::span<const CommandSpec> Commands();

RunCommand AddInfo(CLI::App& app);
RunCommand AddSymbols(CLI::App& app);
RunCommand AddDump(CLI::App& app);
RunCommand AddGet(CLI::App& app);
RunCommand AddSql(CLI::App& app);
RunCommand AddStats(CLI::App& app);
RunCommand AddBuild(CLI::App& app);
RunCommand AddCheck(CLI::App& app);
RunCommand AddDiff(CLI::App& app);
RunCommand AddExport(CLI::App& app);
RunCommand AddEdit(CLI::App& app);
RunCommand AddExtract(CLI::App& app);
RunCommand AddSort(CLI::App& app);
RunCommand AddMerge(CLI::App& app);
RunCommand AddSplit(CLI::App& app);
RunCommand AddApply(CLI::App& app);
RunCommand AddView(CLI::App& app);
RunCommand AddCompletion(CLI::App& app);
RunCommand AddHelp(CLI::App& app);  // "help man", "help markdown": not listed

// The whole command line.
struct CommandLine {
    CommandLine();
    void Add(const CommandSpec& spec);

    CLI::App app;
    std::vector<std::pair<CLI::App*, RunCommand>> commands;  // those of Commands(), then what is not listed
};

constexpr const char* kToolName = "tvsym";
constexpr const char* kToolPurpose =
    "Look into, find, check, compare, convert, build and change market symbol files.";

}  // namespace tvsym
