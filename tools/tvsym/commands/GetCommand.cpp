// tvsym get: some symbols with all their fields.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <istream>
#include <unordered_set>

#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/commands/SelectedSymbols.h"
#include "tools/tvsym/input/JsonSource.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/SymbolPrinter.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

struct GetOptions : FileOptions {
    std::vector<std::string> symbols;
    std::string from;
    std::string search;
    SelectOptions select;
    bool prefix = false;
    bool json = false;
};

class Wanted {
public:
    Wanted(const GetOptions& getOptions, const Dictionary& names, TextCodec& textCodec)
        : prefix(getOptions.prefix), search(Lower(getOptions.search)), dictionary(names), codec(textCodec) {
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

    bool Takes(const SymbolView& symbol) { return Holds(symbol) && TakesText(symbol.text); }

    // The same as a condition in SQL.
    std::string Condition() const {
        std::string condition;
        if (!texts.empty()) {
            for (const std::string& text : texts) {
                const std::string bytes = SqlText(codec.Decode(text).value_or(text));
                condition += condition.empty() ? "" : prefix ? " OR " : ",";
                condition += prefix ? fmt::format("substr(symbol, 1, length({0})) = {0}", bytes) : bytes;
            }
            condition = prefix ? fmt::format("({})", condition) : fmt::format("symbol IN ({})", condition);
        }
        if (!search.empty()) {
            const std::string text = SqlText(search);
            condition += condition.empty() ? "" : " AND ";
            condition += fmt::format(
                "(instr(lower(symbol), {0}) OR symbol_no IN (SELECT symbol_no FROM symbol_fields WHERE "
                "instr(lower(value), {0})))",
                text);
        }
        return condition;
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

    // The symbol, or one of its own fields as the output shows it, contains the text searched for.
    bool Holds(const SymbolView& symbol) {
        if (search.empty() || Lower(codec.Display(symbol.text)).find(search) != std::string::npos)
            return true;
        return std::any_of(symbol.fields.begin(), symbol.fields.end(), [&](const SymbolField& field) {
            if (field.isDefault) return false;
            const ValueType type = dictionary.TypeOf(field.id, field.tag, field.value.size());
            return Lower(ValueText(type, field.value, codec)).find(search) != std::string::npos;
        });
    }

    static std::string Lower(std::string text) {
        std::transform(text.begin(), text.end(), text.begin(),
                       [](unsigned char c) { return static_cast<char>(c < 0x80 ? std::tolower(c) : c); });
        return text;
    }

    bool prefix;
    std::string search;
    const Dictionary& dictionary;
    TextCodec& codec;
    std::vector<std::string> texts;
    std::unordered_set<std::string> whole;
    std::unordered_set<std::string> matched;
};

// Adds the lines of a file to the symbols, without empty ones.
void AddFrom(const std::string& path, std::vector<std::string>& symbols) {
    WithSource(path, [&](std::istream& in) {
        for (std::string line; std::getline(in, line);) {
            if (line.ends_with('\r')) line.pop_back();
            if (!line.empty()) symbols.push_back(line);
        }
    });
}

int RunGet(GetOptions options) {
    if (!options.from.empty()) AddFrom(options.from, options.symbols);
    if (options.symbols.empty() && options.search.empty() && options.select.where.empty()) {
        if (!options.from.empty()) return kExitOk;
        throw ToolError(kExitUsage, "get needs a SYMBOL, --from, --search or --where");
    }
    const Dictionary dictionary = LoadDictionary(options.dictionary, options.file);
    TextCodec codec(options.encoding);
    Wanted wanted(options, dictionary, codec);
    const std::shared_ptr<const FileSource> source = OpenSource(options.file);
    bool any = false;
    int status = kExitOk;
    if (options.select.IsQuery()) {
        Selection selection(options.select, options, source, dictionary, wanted.Condition());
        status =
            PrintSelected(selection, options.select, options, source, dictionary, options.json, {}, &any);
        if (!any) PrintError(fmt::format("tvsym: {}: no symbol meets the conditions", source->Name()));
        return any ? status : kExitFindings;
    }
    SelectOptions all = options.select;
    all.limit = 0;  // counts what is printed
    Selection selection(all, options, source, dictionary);
    ProgressBar progress(options.file, 0, options.quiet || IsOutputTerminal());
    Reader reader(source, {options.Mode(), {}, progress.Callback(), 0, selection.Takes()});
    const DirectoryEntry* entry = reader.Directory().Find(2);
    progress.SetTotal(entry ? entry->size : 0);
    Output out;
    SymbolPrinter printer(out, dictionary, codec, options.json);
    u64 left = options.select.limit ? options.select.limit : UINT64_MAX;
    const WalkResult walk = reader.WalkSymbols([&](const SymbolView& symbol) {
        if (wanted.Takes(symbol)) {
            any = true;
            printer.Print(symbol);
            --left;
        }
        return left > 0;
    });
    out.Close();
    progress.Hide();
    ReportEncoding(options.file, codec.AllDecoded(), options.encoding);
    status = ReportProblems(reader, {1, 2}, walk.problems);
    const std::vector<std::string> missing = left > 0 ? wanted.Missing() : std::vector<std::string>();
    for (const std::string& text : missing) {
        PrintError(fmt::format("tvsym: {}: no symbol {} {}{}", reader.Name(),
                               options.prefix ? "begins with" : "is called", codec.Display(text),
                               options.select.where.empty() ? "" : " and meets the conditions"));
    }
    if (missing.empty() && !any) {
        PrintError(fmt::format("tvsym: {}: no symbol meets the conditions", reader.Name()));
    }
    return any && missing.empty() ? status : kExitFindings;
}

}  // namespace

RunCommand AddGet(CLI::App& app) {
    auto options = std::make_shared<GetOptions>();
    AddFileOptions(app, *options);
    app.add_option("SYMBOL", options->symbols, "symbols to find")->type_name("");
    AddValueOptions(app, *options);
    app.add_flag("--prefix", options->prefix, "take every symbol that begins with a SYMBOL");
    app.add_option("--from", options->from,
                   "symbols to find from this file, one a line; - is the standard input")
        ->type_name("FILE");
    app.add_option("--search", options->search,
                   "only symbols with this text in their name or a field, whatever the case of its letters")
        ->type_name("TEXT");
    AddSelection(app, options->select);
    app.add_flag("--json", options->json, "one JSON object a line");
    return [options] { return RunGet(*options); };
}

}  // namespace tvsym
