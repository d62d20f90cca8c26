// tvsym: reads the command line and runs one command.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <iostream>

#include "text/Text.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/ManyFiles.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/Terminal.h"
#include "tools/tvsym/system/System.h"

namespace {

using namespace tvsym;

// The command that the first word that is no option names; the whole tool when it names none.
const CLI::App& ChosenCommand(const CommandLine& line, const std::vector<std::string>& words) {
    const auto first = std::find_if(words.begin(), words.end(),
                                    [](const std::string& word) { return !word.starts_with('-'); });
    for (const auto& [command, run] : line.commands) {
        if (first != words.end() && command->get_name() == *first) return *command;
    }
    return line.app;
}

// "; did you mean WORD?", or nothing.
std::string Meant(const std::string& word, const std::vector<std::string>& known) {
    const std::string nearest = Nearest(word, known);
    return nearest.empty() ? "" : fmt::format("; did you mean {}?", nearest);
}

// What is wrong with the first word that nothing takes; empty when all are known.
std::string UnknownWord(const CommandLine& line, const CLI::App& command,
                        const std::vector<std::string>& words) {
    if (&command == &line.app) {
        std::vector<std::string> names;
        for (const auto& [known, run] : line.commands) names.push_back(known->get_name());
        for (const std::string& word : words) {
            if (!word.starts_with('-')) return fmt::format("{}: no such command{}", word, Meant(word, names));
        }
    }
    std::vector<std::string> options;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) options.push_back("--" + name);
        for (const std::string& name : option->get_snames()) options.push_back("-" + name);
    }
    for (const std::string& word : words) {
        if (word == "--") break;
        const std::string start = word.substr(0, word.starts_with("--") ? word.find('=') : 2);
        const bool option = word.size() > 1 && word[0] == '-';
        if (option && std::find(options.begin(), options.end(), start) == options.end()) {
            return fmt::format("{}: no such option{}", start, Meant(start, options));
        }
    }
    return "";
}

int WrongUsage(const CommandLine& line, const CLI::ParseError& error, const std::vector<std::string>& words) {
    const CLI::App& command = ChosenCommand(line, words);
    const bool whole = &command == &line.app;
    std::string what = UnknownWord(line, command, words);
    std::vector<std::string> left = command.remaining();
    if (what.empty() && !left.empty()) {
        what = fmt::format("{}: one argument too many", left.front());
    }
    if (what.empty()) {
        what = whole ? "a command is missing" : error.what();
        std::replace(what.begin(), what.end(), '\n', ' ');
    }
    PrintError(fmt::format("tvsym{}: {}", whole ? "" : " " + command.get_name(), what));
    PrintError(fmt::format("tvsym {}--help lists {}", whole ? "" : command.get_name() + " ",
                           whole ? "the commands" : "arguments and options"));
    return kExitUsage;
}

int Run(int argc, char** argv) {
    CommandLine line;
    try {
        line.app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {  // --help, --version
            return line.app.exit(error);
        }
        return WrongUsage(line, error, {argv + 1, argv + argc});
    }
    for (const auto& [command, run] : line.commands) {
        if (command->parsed()) {
            try {
                const auto start = std::chrono::steady_clock::now();
                const int status = run();
                Output().Close();
                if (Look::Chosen().verbose) {
                    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
                    const u64 bytes = ProgressBar::BytesRead();
                    PrintError(fmt::format(
                        "tvsym {}: {:.3f} s{}", command->get_name(), took.count(),
                        bytes == 0 ? ""
                                   : fmt::format(", {} read, {}/s", ByteSize(bytes),
                                                 ByteSize(static_cast<u64>(static_cast<double>(bytes) /
                                                                           took.count())))));
                }
                return status;
            } catch (const PipeClosed&) {
                // Whoever read the output has seen enough, unless the status is the answer.
                const bool answers = command->get_name() == "check" || command->get_name() == "diff";
                return answers && !IsOutputTerminal() ? kExitUnreadable : kExitOk;
            }
        }
    }
    return kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
    PrepareProcess();
    const int status = StatusOf([&] { return Run(argc, argv); });
    if (EndPager()) return status;
    PrintError("tvsym: the program that PAGER names was not found; --no-pager prints without it");
    return kExitUnreadable;
}
