// tvsym get: some symbols with all their fields.
#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>

#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/SymbolPrinter.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

struct GetOptions : FileOptions {
    std::vector<std::string> symbols;
    std::vector<std::string> where;
    bool prefix = false;
    bool json = false;
};

struct Condition {
    u16 id;
    std::string value;
};

std::vector<Condition> ParseConditions(const std::vector<std::string>& texts, const Dictionary& dictionary) {
    std::vector<Condition> conditions;
    for (const std::string& text : texts) {
        const size_t equals = text.find('=');
        if (equals == std::string::npos) {
            throw ToolError(kExitUsage, fmt::format("--where {}: expected FIELD=VALUE", text));
        }
        conditions.push_back(
            {FieldIds({text.substr(0, equals)}, dictionary).front(), text.substr(equals + 1)});
    }
    return conditions;
}

class Selection {
public:
    Selection(const GetOptions& getOptions, const Dictionary& names, TextCodec& textCodec)
        : prefix(getOptions.prefix), dictionary(names), codec(textCodec) {
        conditions = ParseConditions(getOptions.where, dictionary);
        for (const std::string& symbol : getOptions.symbols) {
            const std::optional<std::string> bytes = codec.Encode(symbol);
            if (!bytes) {
                throw ToolError(kExitUsage,
                                fmt::format("{}: the character set of the file cannot write this", symbol));
            }
            texts.push_back(*bytes);
        }
        whole.insert(texts.begin(), texts.end());
    }

    bool Takes(const SymbolView& symbol) {
        return TakesText(symbol.text) &&
               std::all_of(conditions.begin(), conditions.end(),
                           [&](const Condition& one) { return Holds(symbol, one); });
    }

    // The symbols asked for that no symbol matched.
    std::vector<std::string> Missing() const {
        std::vector<std::string> missing;
        for (const std::string& text : texts) {
            if (!matched.contains(text)) {
                missing.push_back(text);
            }
        }
        return missing;
    }

private:
    bool TakesText(std::string_view text) {
        if (texts.empty()) {
            return true;
        }
        if (!prefix) {
            const auto found = whole.find(std::string(text));
            if (found != whole.end()) {
                matched.insert(*found);
            }
            return found != whole.end();
        }
        bool taken = false;
        for (const std::string& start : texts) {
            if (text.starts_with(start)) {
                matched.insert(start);
                taken = true;
            }
        }
        return taken;
    }

    // Any of the fields of that id, own or default, with a value that is written so.
    bool Holds(const SymbolView& symbol, const Condition& condition) {
        return std::any_of(symbol.fields.begin(), symbol.fields.end(), [&](const SymbolField& field) {
            const ValueType type = dictionary.TypeOf(field.id, field.tag, field.value.size());
            return field.id == condition.id && ValueText(type, field.value, codec) == condition.value;
        });
    }

    bool prefix;
    const Dictionary& dictionary;
    TextCodec& codec;
    std::vector<Condition> conditions;
    std::vector<std::string> texts;
    std::unordered_set<std::string> whole;
    std::unordered_set<std::string> matched;
};

int RunGet(const GetOptions& options) {
    if (options.symbols.empty() && options.where.empty()) {
        throw ToolError(kExitUsage, "get needs a SYMBOL or --where");
    }
    const Dictionary dictionary = LoadDictionary(options.dictionary, options.file);
    TextCodec codec(options.encoding);
    Selection selection(options, dictionary, codec);
    ProgressBar progress(options.file, 0, options.quiet || IsOutputTerminal());
    Reader reader(OpenSource(options.file), {options.Mode(), {}, progress.Callback()});
    const DirectoryEntry* entry = reader.Directory().Find(2);
    progress.SetTotal(entry ? entry->size : 0);
    Output out;
    SymbolPrinter printer(out, dictionary, codec, options.json);
    bool any = false;
    const Walk walk = reader.WalkSymbols([&](const SymbolView& symbol) {
        if (selection.Takes(symbol)) {
            any = true;
            printer.Print(symbol);
        }
        return true;
    });
    out.Close();
    progress.Hide();
    const int status = ReportProblems(reader, {1, 2}, walk.problems);
    for (const std::string& text : selection.Missing()) {
        PrintError(fmt::format("tvsym: {}: no symbol {} {}", reader.Name(),
                               options.prefix ? "begins with" : "is called", codec.Display(text)));
    }
    if (selection.Missing().empty() && !any) {
        PrintError(fmt::format("tvsym: {}: no symbol meets the conditions", reader.Name()));
    }
    return any && selection.Missing().empty() ? status : kExitFindings;
}

}  // namespace

RunCommand AddGet(CLI::App& app) {
    auto options = std::make_shared<GetOptions>();
    AddFileOptions(app, *options);
    app.add_option("SYMBOL", options->symbols, "symbols to find; without any, all that --where takes")
        ->type_name("");
    AddValueOptions(app, *options);
    app.add_flag("--prefix", options->prefix, "take every symbol that begins with a SYMBOL");
    app.add_option("--where", options->where,
                   "only symbols with this value, written as the output shows it; may be repeated")
        ->type_name("FIELD=VALUE")
        ->allow_extra_args(false);
    app.add_flag("--json", options->json, "one JSON object a line");
    return [options] { return RunGet(*options); };
}

}  // namespace tvsym
