#include "tools/tvsym/Commands.h"

#include <fmt/format.h>

#include "api/TorvaAPI.h"

namespace tvsym {

namespace {

constexpr CommandSpec kCommands[] = {
    {"info", "Show the directory of a symbol file: its sections with offset, size and number of elements",
     "The id column shows what the directory says; a section whose first bytes tell another id is marked, "
     "and so are "
     "overlaps and bytes that belong to no section.",
     "tvsym info instruments.sym\ntvsym info --json instruments.sym", AddInfo},
    {"symbols", "Print the symbols with their fields",
     "Default fields that a symbol does not carry itself are shown in parentheses, and have \"default\": "
     "true in JSON. "
     "With --fields the library hands out these fields alone and nothing tells defaults apart.",
     "tvsym symbols instruments.sym --limit 10\ntvsym symbols instruments.sym --fields name,currency --json",
     AddSymbols},
};

std::string VersionText() {
    SymApiVersion version = {};
    tv_GetAPIVersion(&version);
    return fmt::format("tvsym, TorvaAPI {}.{}.{}.{}", version.version1, version.version2, version.version3,
                       version.version4);
}

}  // namespace

std::span<const CommandSpec> Commands() { return kCommands; }

CommandLine::CommandLine() : app(kToolPurpose, kToolName) {
    app.set_version_flag("--version", VersionText());
    app.require_subcommand(1);
    app.get_formatter()->column_width(34);
    app.footer(
        "Exit status: 0 done; 1 something is wrong in a file, or files differ; 2 a file cannot be read or "
        "written; 64 wrong usage.\ntvsym COMMAND --help tells more about each command.");
    for (const CommandSpec& spec : Commands()) {
        CLI::App* command = app.add_subcommand(spec.name, spec.description);
        std::string footer = spec.notes;
        footer += footer.empty() ? "" : "\n\n";
        footer += "Examples:\n";
        std::string_view examples = spec.examples;
        while (!examples.empty()) {
            const size_t end = examples.find('\n');
            footer += fmt::format("  {}\n", examples.substr(0, end));
            examples.remove_prefix(end == std::string_view::npos ? examples.size() : end + 1);
        }
        footer.pop_back();
        command->footer(footer);
        commands.emplace_back(command, spec.add(*command));
    }
}

}  // namespace tvsym
