// tvsym completion, and tvsym help, which writes the documents that are made from the command line's
// definitions.
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Help.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

int PrintAll(const std::string& text) {
    Output out;
    out.Write(text);
    out.Close();
    return 0;
}

}  // namespace

RunCommand AddCompletion(CLI::App& app) {
    auto shell = std::make_shared<std::string>();
    AddArgument(app, "SHELL", *shell, "bash, zsh or fish")->check(CLI::IsMember({"bash", "zsh", "fish"}));
    return [shell] {
        const CommandLine line;
        return PrintAll(*shell == "bash"  ? BashCompletion(line)
                        : *shell == "zsh" ? ZshCompletion(line)
                                          : FishCompletion(line));
    };
}

RunCommand AddHelp(CLI::App& app) {
    auto subject = std::make_shared<std::string>();
    app.add_option("SUBJECT", *subject, "a command; man: the manual page; without, the list of commands")
        ->type_name("");
    return [subject] {
        const CommandLine line;
        if (*subject == "man") return PrintAll(ManPage(line));
        if (subject->empty()) return PrintAll(line.app.help());
        for (const auto& [command, run] : line.commands) {
            if (command->get_name() == *subject) return PrintAll(command->help("tvsym"));
        }
        throw ToolError(kExitUsage, "help " + *subject + ": no such command");
    };
}

}  // namespace tvsym
