// tvsym extract: a part of a symbol file, by symbols and by sections.
#include <fmt/format.h>

#include <algorithm>

#include "tables/check/Wording.h"
#include "tools/tvsym/commands/Change.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/output/Problems.h"

namespace tvsym {

namespace {

struct ExtractOptions : ChangeOptions {
    SelectOptions select;
    std::vector<std::string> sections;
};

int RunExtract(const ExtractOptions& options) {
    std::vector<u16> wanted = SectionIds(options.sections);
    const auto has = [&](u16 id) { return wanted.empty() || std::ranges::count(wanted, id) > 0; };
    const bool selects = !options.select.where.empty() || options.select.limit > 0;
    if (selects && !has(2)) {
        throw ToolError(kExitUsage, "--where and --limit select symbols, which --section leaves out");
    }
    if (has(2) && !has(1)) wanted.push_back(1);  // the values of the symbols
    ChangedSource file(options, options.select);
    const FileDirectory& directory = file.reader.Directory();
    Rewrite result(file.source, directory);
    u64 sectionsOut = 0;
    for (size_t at = 0; at < directory.entries.size(); ++at) {
        if (has(directory.entries[at].id)) continue;
        result.LeaveOut(at);
        ++sectionsOut;
    }
    RecordSpool records;
    u64 out = 0;
    RecordWalk walk;
    if (has(2)) {
        const std::function<bool(u64)> takes = file.selection.Takes();
        walk = WalkRecords(file.reader, false, [&](const Record& record) {
            if (!takes || takes(record.number)) {
                records.Add(record.symbol, record.bytes);
            } else {
                ++out;
            }
        });
        if (selects && file.Symbols() != nullptr) result.ReplaceSection(*file.Symbols(), records.Bytes());
    }
    file.progress.Hide();
    WriteChanged(result, has(2) ? &records : nullptr, file.target, file.dictionary);
    ReportChange(file.target,
                 fmt::format("{} and {} kept, {} and {} left out", Counted(records.Count(), "symbols"),
                             Counted(directory.entries.size() - sectionsOut, "sections"),
                             Counted(out, "symbols"), Counted(sectionsOut, "sections")));
    return ReportProblems(file.reader, {}, walk.problems);
}

}  // namespace

RunCommand AddExtract(CLI::App& app) {
    auto options = std::make_shared<ExtractOptions>();
    AddChangeOptions(app, *options);
    AddWhere(app, options->select);
    AddLimit(app, options->select);
    AddSections(app, options->sections);
    return [options] { return RunExtract(*options); };
}

}  // namespace tvsym
