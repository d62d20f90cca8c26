// tvsym: reads the command line and runs one command.
#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <iostream>

#include "text/Text.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/Terminal.h"
#include "tools/tvsym/system/System.h"

namespace {

using namespace tvsym;

// The command that the words name; the whole tool when they name none.
const CLI::App& ChosenCommand(const CommandLine& line, int argc, char** argv) {
    for (int at = 1; at < argc; ++at) {
        for (const auto& [command, run] : line.commands) {
            if (command->get_name() == argv[at]) {
                return *command;
            }
        }
    }
    return line.app;
}

// What is wrong with the first word that nothing takes, and the option or the command that was probably
// meant; empty when all are known.
std::string UnknownWord(const CLI::App& command, int argc, char** argv) {
    std::vector<std::string> options;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            options.push_back("--" + name);
        }
    }
    std::vector<std::string> names;
    for (const CLI::App* subcommand : command.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(subcommand->get_name());
    }
    for (int at = 1; at < argc; ++at) {
        const std::string word = argv[at];
        const std::string start = word.substr(0, word.find('='));
        const bool option = word.size() > 2 && word[0] == '-';
        const std::vector<std::string>& known = option ? options : names;
        if (std::find(known.begin(), known.end(), start) == known.end()) {
            const std::string nearest = Nearest(start, known);
            if (!nearest.empty()) {
                return fmt::format("{}: did you mean {}?", word, nearest);
            }
            if (option && start.starts_with("--")) {
                return fmt::format("{}: there is no such option", start);
            }
        }
    }
    return "";
}

int WrongUsage(const CommandLine& line, const CLI::ParseError& error, int argc, char** argv) {
    const CLI::App& command = ChosenCommand(line, argc, argv);
    const bool whole = &command == &line.app;
    std::string what = error.what();
    std::replace(what.begin(), what.end(), '\n', ' ');
    const std::string unknown = UnknownWord(command, argc, argv);
    PrintError(fmt::format("tvsym: {}", unknown.empty() ? what : unknown));
    PrintError(fmt::format("tvsym {}--help tells what there is", whole ? "" : command.get_name() + " "));
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
        return WrongUsage(line, error, argc, argv);
    }
    for (const auto& [command, run] : line.commands) {
        if (command->parsed()) {
            try {
                const int status = run();
                Output().Close();
                return status;
            } catch (const PipeClosed&) {
                // Whoever read the output has seen enough, unless the status is the answer.
                const bool answers = command->get_name() == "check" || command->get_name() == "diff";
                return answers ? kExitUnreadable : kExitOk;
            }
        }
    }
    return kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        PrepareProcess();
        return Run(argc, argv);
    } catch (const PipeClosed&) {  // of a help text
        return kExitOk;
    } catch (const ToolError& error) {
        PrintError(fmt::format("tvsym: {}", error.what()));
        return error.status;
    } catch (const UnknownEncoding& error) {
        PrintError(fmt::format("tvsym: --encoding {}", error.what()));
        return kExitUsage;
    } catch (const std::bad_alloc&) {
        PrintError("tvsym: not enough memory");
        return kExitUnreadable;
    } catch (const std::exception& error) {
        PrintError(fmt::format("tvsym: {}", error.what()));
        return kExitUnreadable;
    }
}
