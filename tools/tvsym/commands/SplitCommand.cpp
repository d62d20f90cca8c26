// tvsym split: a file for each value of a column.
#include <fmt/format.h>

#include <map>

#include "tables/check/Wording.h"
#include "tables/compare/SortedRecords.h"
#include "tools/tvsym/commands/Change.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/DictionaryFile.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/QueryResult.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

constexpr size_t kSortMemory = size_t{16} << 20;
constexpr size_t kMostFiles = 4096;

struct SplitOptions : ChangeOptions {
    std::string by;
    std::string output;
};

// The pattern with a value in place of what is in braces. Characters that could lead elsewhere are written as
// %XX.
class Names {
public:
    explicit Names(const std::string& pattern) {
        const size_t open = pattern.find('{');
        const size_t close = pattern.find('}', open);
        if (open == std::string::npos || close == std::string::npos) {
            throw ToolError(
                kExitUsage,
                fmt::format("--output {}: expected a name with {{}} in it, which stands for the value",
                            pattern));
        }
        before = pattern.substr(0, open);
        after = pattern.substr(close + 1);
    }

    const std::string& Of(const sql::Value& value) {
        const bool none = value.kind == sql::Value::Kind::Null;
        const std::string shown = none ? "none" : ShownValue(value);
        std::string part;
        for (const char c : shown) {
            const auto byte = static_cast<unsigned char>(c);
            const bool plain = byte >= 0x80 || std::isalnum(byte) != 0 || c == '-' || c == '_' ||
                               (c == '.' && !part.empty());
            part += plain ? std::string(1, c) : fmt::format("%{:02X}", byte);
        }
        if (part.empty()) part = "empty";
        const auto [found, isNew] = values.try_emplace(before + part + after, none, shown);
        if (found->second != std::pair(none, shown)) {
            throw ToolError(kExitUsage,
                            fmt::format("{}: two values lead to this name, {} and {}; --by can be "
                                        "an expression that makes them differ",
                                        found->first, Shown(found->second), Shown({none, shown})));
        }
        if (values.size() > kMostFiles) {
            throw ToolError(kExitUsage, fmt::format("--by has more than {} values", Grouped(kMostFiles)));
        }
        return found->first;
    }

    size_t Count() const { return values.size(); }

private:
    using Known = std::pair<bool, std::string>;  // whether it is no value; the value
    static std::string Shown(const Known& value) {
        return value.first ? "no value" : fmt::format("'{}'", TextCodec().Display(value.second));
    }

    std::string before;
    std::string after;
    std::map<std::string, Known> values;  // by name
};

int RunSplit(SplitOptions options) {
    Names names(options.output);
    options.target = options.output;
    SelectOptions select;
    select.columns = options.by;
    ChangedSource file(options, select);
    SortedRecords sorted(kSortMemory, [] { return MakeTemporaryFile(""); });
    SqlQuery values = file.selection.Columns();
    if (values.Columns() != 1) throw ToolError(kExitUsage, "--by takes one column, or one expression");
    const RecordWalk walk = WalkRecords(file.reader, false, [&](const Record& record) {
        if (!values.Next()) {
            throw ToolError(kExitUnreadable,
                            fmt::format("{}: changed while it was read", file.source->Name()));
        }
        sorted.Add(names.Of(values.Column(0)), record.bytes);
    });
    sorted.Sort();
    file.progress.Hide();
    std::vector<std::unique_ptr<Replacement>> parts;
    while (!sorted.AtEnd()) {
        ChangeTarget target = file.target;
        target.path = std::string(sorted.Key());
        RecordSpool records;
        for (; !sorted.AtEnd() && sorted.Key() == target.path; sorted.Next()) records.Add(sorted.Value());
        if (target.dryRun) continue;
        Rewrite result(file.source, file.reader.Directory());
        result.ReplaceSection(*file.Symbols(), records.Bytes());
        parts.push_back(WriteBeside(result, &records, target));
    }
    for (const auto& part : parts) {
        part->TakePlace();
        WriteDictionary(part->Target(), file.dictionary.Fields());
    }
    ReportChange(file.target,
                 fmt::format("{} in {}", Counted(walk.records, "symbols"), Counted(names.Count(), "files")));
    return ReportProblems(file.reader, {}, walk.problems);
}

}  // namespace

RunCommand AddSplit(CLI::App& app) {
    auto options = std::make_shared<SplitOptions>();
    AddArgument(app, "FILE", options->file, kFileArgument);
    app.add_option("--by", options->by, "a field, or an SQL expression, whose values make the files")
        ->type_name("EXPRESSION")
        ->required();
    app.add_option("-o,--output", options->output, "the files' names, with {} for the value: 'market-{}.sym'")
        ->type_name("PATTERN")
        ->required();
    app.add_flag("--dry-run", options->dryRun, "report what would be done, and write nothing");
    AddQuiet(app, options->quiet);
    AddValueOptions(app, *options);
    return [options] { return RunSplit(*options); };
}

}  // namespace tvsym
