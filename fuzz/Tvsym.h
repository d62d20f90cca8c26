// tvsym as a function.
#pragma once

#include <string>
#include <vector>

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/commands/Commands.h"

// Runs a command line and returns its exit status.
inline int Tvsym(const std::vector<std::string>& words) {
    tvsym::CommandLine line;
    std::vector<const char*> arguments = {"tvsym"};
    for (const std::string& word : words) arguments.push_back(word.c_str());
    try {
        line.app.parse(static_cast<int>(arguments.size()), arguments.data());
        for (const auto& [command, run] : line.commands) {
            if (command->parsed()) return run();
        }
    } catch (const tvsym::ToolError& error) {
        return error.status;
    } catch (const tvsym::Error&) {
        return tvsym::kExitUnreadable;
    }
    return tvsym::kExitUsage;
}
