#include "tools/tvsym/commands/Help.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/tvsym/Tool.h"

namespace tvsym {

namespace {

struct Argument {
    std::string names;               // "-q, --quiet"; "FILE" for a positional one
    std::string value;               // "NAME"; empty for a flag
    std::string text;                // description, default included
    std::vector<std::string> words;  // "-q", "--quiet"
    std::vector<std::string> choices;
    bool positional = false;
    bool required = false;
    bool many = false;
};

struct Section {
    const CommandSpec* spec;
    std::vector<Argument> arguments;
};

// What can be completed after an option, where that is a list of words.
std::vector<std::string> Choices(const std::string& command, const std::string& option) {
    if (option == "--section") {
        std::vector<std::string> names;
        for (const SectionInfo& section : torva::kSections) {
            names.emplace_back(section.name);
        }
        return names;
    }
    if (option == "--encoding") {
        return {"UTF-8", "BIG5", "GB18030", "SHIFT_JIS", "EUC-KR", "ISO-8859-1", "WINDOWS-1252"};
    }
    if (option == "--format") {
        if (command == "export") return {"sqlite", "csv", "ndjson"};
        if (command == "build") return {"json", "csv", "ndjson"};
        return command == "dump" ? std::vector<std::string>{"json", "ndjson", "csv", "table"}
                                 : std::vector<std::string>{"table", "csv", "ndjson"};
    }
    if (option == "--color") return {"auto", "always", "never"};
    return option == "SHELL" ? std::vector<std::string>{"bash", "zsh", "fish"} : std::vector<std::string>{};
}

Argument Describe(const std::string& command, const CLI::Option& option) {
    Argument argument;
    argument.text = option.get_description();
    argument.required = option.get_required();
    argument.many = option.get_expected_max() > 1;
    argument.positional = option.get_positional();
    if (argument.positional) {
        argument.names = option.get_name(true);
        argument.choices = Choices(command, argument.names);
        return argument;
    }
    for (const std::string& name : option.get_snames()) {
        argument.words.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        argument.words.push_back("--" + name);
    }
    argument.names = fmt::format("{}", fmt::join(argument.words, ", "));
    if (option.get_expected_max() > 0) {
        argument.value = option.get_type_name().substr(0, option.get_type_name().find(':'));
        argument.choices = Choices(command, argument.words.back());
        if (!option.get_default_str().empty()) {
            argument.text += fmt::format(" (default: {})", option.get_default_str());
        }
    }
    return argument;
}

std::vector<Section> Describe(const CommandLine& line) {
    std::vector<Section> sections;
    for (size_t at = 0; at < Commands().size(); ++at) {
        Section section{&Commands()[at], {}};
        for (const CLI::Option* option : line.commands[at].first->get_options()) {
            if (!option->get_group().empty()) {
                section.arguments.push_back(Describe(section.spec->name, *option));
            }
        }
        std::stable_partition(section.arguments.begin(), section.arguments.end(),
                              [](const Argument& argument) { return argument.positional; });
        sections.push_back(std::move(section));
    }
    return sections;
}

std::string Synopsis(const Section& section) {
    std::string text = fmt::format("tvsym {} [OPTION]...", section.spec->name);
    for (const Argument& argument : section.arguments) {
        if (argument.positional) {
            const std::string name = argument.names + (argument.many ? "..." : "");
            text += argument.required ? " " + name : " [" + name + "]";
        }
    }
    return text;
}

std::vector<std::string> Lines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

constexpr std::pair<const char*, const char*> kStatuses[] = {
    {"0", "done; nothing is wrong, nothing differs"},
    {"1",
     "something is wrong in a file, or files differ, or a symbol was not found; everything else was done"},
    {"2", "a file cannot be read or written, or is not a symbol file"},
    {"64", "wrong usage"},
};

constexpr const char* kGeneral =
    "A symbol file is a list of market symbols with typed fields and some twenty side tables. tvsym reads it "
    "through "
    "the TorvaAPI library, in one pass: memory does not grow with the file, unless stated otherwise. Texts "
    "in the file "
    "are bytes; --encoding names their character set. Field ids get names and types from a dictionary, a "
    "JSON file such "
    "as {\"1\": {\"name\": \"currency\", \"type\": \"text\", \"tag\": 7}}, with the types text, unsigned, "
    "signed, float, "
    "date, bool and hex; FILE.fields.json beside the symbol file is used without being asked for. Of a "
    "damaged file, "
    "what can be read is printed, and each fault is reported on standard error with its section and offset.";

constexpr std::pair<const char*, const char*> kEnvironment[] = {
    {"NO_COLOR", "when set, output on a terminal has no colour"},
    {"TMPDIR", "where the standard input is kept while it is read (FILE is -)"},
};

std::string Roff(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        escaped += c == '-' ? "\\-" : c == '\\' ? "\\e" : std::string(1, c);
    }
    if (escaped.starts_with('.') || escaped.starts_with('\'')) {
        escaped.insert(0, "\\&");
    }
    return escaped;
}

std::string Quoted(std::string_view text) {
    std::string quoted;
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return "'" + quoted + "'";
}

// Brackets and colons have a meaning to zsh here.
std::string ZshText(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        escaped += (c == '[' || c == ']' || c == ':' ? "\\" : "") + std::string(1, c);
    }
    return escaped;
}

std::string ZshSpec(const Argument& argument, const std::string& word) {
    const std::string values =
        argument.choices.empty() ? "_files" : fmt::format("({})", fmt::join(argument.choices, " "));
    if (argument.positional) {
        return Quoted(fmt::format("{}:{}:{}", argument.many ? "*" : "", ZshText(argument.names), values));
    }
    const std::string option = fmt::format("{}[{}]", word, ZshText(argument.text));
    return Quoted(argument.value.empty() ? option
                                         : fmt::format("{}:{}:{}", option, ZshText(argument.value), values));
}

}  // namespace

std::string ManPage(const CommandLine& line) {
    std::string page = fmt::format(".TH TVSYM 1\n.SH NAME\ntvsym \\- {}\n.SH SYNOPSIS\n",
                                   Roff("reads, checks and converts market symbol files"));
    const std::vector<Section> sections = Describe(line);
    for (const Section& section : sections) {
        page += fmt::format(".B {}\n.br\n", Roff(Synopsis(section)));
    }
    page += fmt::format(".SH DESCRIPTION\n{}\n.SH COMMANDS\n", Roff(kGeneral));
    for (const Section& section : sections) {
        page += fmt::format(".SS {}\n{}.\n", Roff(Synopsis(section)), Roff(section.spec->description));
        if (*section.spec->notes) {
            page += fmt::format(".PP\n{}\n", Roff(section.spec->notes));
        }
        for (const Argument& argument : section.arguments) {
            page +=
                fmt::format(".TP\n.B {}{}\n{}\n", Roff(argument.names),
                            argument.value.empty() ? "" : " " + Roff(argument.value), Roff(argument.text));
        }
        page += ".PP\nExamples:\n.PP\n.nf\n";
        for (const std::string& example : Lines(section.spec->examples)) {
            page += fmt::format("    {}\n", Roff(example));
        }
        page += ".fi\n";
    }
    page += ".SH EXIT STATUS\n";
    for (const auto& [status, meaning] : kStatuses) {
        page += fmt::format(".TP\n.B {}\n{}\n", status, Roff(meaning));
    }
    page += ".SH ENVIRONMENT\n";
    for (const auto& [name, meaning] : kEnvironment) {
        page += fmt::format(".TP\n.B {}\n{}\n", name, Roff(meaning));
    }
    return page;
}

std::string BashCompletion(const CommandLine& line) {
    const std::vector<Section> sections = Describe(line);
    std::string names;
    std::string cases;
    for (const Section& section : sections) {
        names += fmt::format("{} ", section.spec->name);
        std::string options;
        std::string words;
        for (const Argument& argument : section.arguments) {
            options += argument.positional ? "" : fmt::format("{} ", fmt::join(argument.words, " "));
            if (!argument.choices.empty()) {
                const std::string pattern =
                    argument.positional ? "*" : fmt::format("{}", fmt::join(argument.words, "|"));
                words += fmt::format("                {}) words='{}' ;;\n", pattern,
                                     fmt::join(argument.choices, " "));
            }
        }
        cases += fmt::format("        {})\n            options='{}'\n", section.spec->name, options);
        cases +=
            words.empty() ? "" : fmt::format("            case $previous in\n{}            esac\n", words);
        cases += "            ;;\n";
    }
    return fmt::format(R"sh(# bash completion of tvsym; load it with: eval "$(tvsym completion bash)"
_tvsym() {{
    local word=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD-1]}} options='' words=''
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ]; then
        COMPREPLY=($(compgen -W '{0}--help --version' -- "$word"))
        return
    fi
    case ${{COMP_WORDS[1]}} in
{1}    esac
    if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
    elif [ -n "$words" ]; then
        COMPREPLY=($(compgen -W "$words" -- "$word"))
    else
        compopt -o filenames 2>/dev/null
        COMPREPLY=($(compgen -f -- "$word"))
    fi
}}
complete -F _tvsym tvsym
)sh",
                       names, cases);
}

std::string ZshCompletion(const CommandLine& line) {
    std::string names;
    std::string cases;
    for (const Section& section : Describe(line)) {
        names += fmt::format("        {}\n",
                             Quoted(fmt::format("{}:{}", section.spec->name, section.spec->description)));
        cases += fmt::format("        {})\n            _arguments", section.spec->name);
        for (const Argument& argument : section.arguments) {
            if (argument.positional) {
                cases += fmt::format(" \\\n                {}", ZshSpec(argument, ""));
            }
            for (const std::string& word : argument.words) {
                cases += fmt::format(" \\\n                {}", ZshSpec(argument, word));
            }
        }
        cases += "\n            ;;\n";
    }
    return fmt::format(R"sh(#compdef tvsym
# zsh completion of tvsym; keep it as _tvsym in a directory of $fpath
_tvsym() {{
    local -a commands
    commands=(
{0}    )
    if (( CURRENT == 2 )); then
        _describe command commands
        return
    fi
    shift words
    (( CURRENT-- ))
    case $words[1] in
{1}    esac
}}
compdef _tvsym tvsym
)sh",
                       names, cases);
}

std::string FishCompletion(const CommandLine& line) {
    std::string script =
        "# fish completion of tvsym; load it with: tvsym completion fish | source\n"
        "complete -c tvsym -n __fish_use_subcommand -l help\n"
        "complete -c tvsym -n __fish_use_subcommand -l version\n";
    for (const Section& section : Describe(line)) {
        script += fmt::format("complete -c tvsym -n __fish_use_subcommand -f -a {} -d {}\n",
                              section.spec->name, Quoted(section.spec->description));
        const std::string within =
            fmt::format("complete -c tvsym -n '__fish_seen_subcommand_from {}'", section.spec->name);
        for (const Argument& argument : section.arguments) {
            std::string words = within;
            for (const std::string& word : argument.words) {
                words += word.starts_with("--") ? " -l " + word.substr(2) : " -s " + word.substr(1);
            }
            if (!argument.choices.empty()) {
                words += fmt::format(" {} -a {}", argument.positional ? "-f" : "-x",
                                     Quoted(fmt::format("{}", fmt::join(argument.choices, " "))));
            } else if (!argument.value.empty()) {
                words += " -r";
            }
            if (!argument.positional || !argument.choices.empty()) {
                script += fmt::format("{} -d {}\n", words, Quoted(argument.text));
            }
        }
    }
    return script;
}

}  // namespace tvsym
