// tvsym info: the directory, in file order, with what lies between its sections.
#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "tables/check/Wording.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/ManyFiles.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/Schema.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

struct InfoOptions : FileOptions {
    ManyFiles files;
    bool json = false;
    bool schema = false;
};

// A dictionary to start from.
int PrintSchema(const InfoOptions& options) {
    const Dictionary known = LoadDictionary(options.dictionary, options.file);
    Reader reader(OpenSource(options.file), {options.Mode()});
    Output out;
    JsonWriter json(out);
    json.Fields(FindSchema(reader, known, true)).EndLine();
    json.Flush();
    out.Close();
    return ReportProblems(reader, {1, 2}, {});
}

// What the column shows about the id at the section's start.
std::string StartText(const DirectoryEntry& entry) {
    if (!entry.idAtStart) {
        return "after the end";
    }
    return *entry.idAtStart == entry.id ? "ok" : fmt::format("{} found", *entry.idAtStart);
}

std::string ElementsText(const DirectoryEntry& entry, const WalkResult& walk) {
    if (!entry.firstOfId) {
        return "not reached";
    }
    if (!walk.present) {
        return FindSection(entry.id) ? "-" : "no reader";
    }
    return fmt::format("{}{}", Grouped(walk.rows[0]), walk.problems.empty() ? "" : "!");
}

using Walks = std::map<u16, WalkResult>;

void PrintTable(Output& out, const Reader& reader, const Walks& walks,
                const std::vector<Stretch>& stretches) {
    const FileDirectory& raw = reader.Directory();
    out.Write(fmt::format("{}: {}, {}\n\n", TextCodec().Display(reader.Name()),
                          Counted(raw.fileSize, "bytes"), Counted(raw.entryCount, "sections")));
    using enum Table::Align;
    Table table(
        out,
        {{"id", Right}, {"name"}, {"offset", Right}, {"size", Right}, {"elements", Right}, {"id at start"}});
    for (const DirectoryEntry& entry : raw.entries) {
        const WalkResult& walk = walks.at(entry.id);
        const bool good = entry.Readable() && entry.End() <= raw.fileSize && walk.problems.empty();
        table.Row({fmt::format("{}", entry.id), SectionTitle(entry.id), fmt::format("0x{:x}", entry.offset),
                   Grouped(entry.size), ElementsText(entry, walk), StartText(entry)},
                  good || !FindSection(entry.id) ? Style::Plain : Style::Bad);
    }
    table.Finish();
    if (!stretches.empty()) {
        out.Write("\n");
    }
    for (const Stretch& stretch : stretches) {
        out.Write(
            fmt::format("0x{:x}: {} {}\n", stretch.offset, Counted(stretch.size, "bytes"), stretch.what));
    }
}

void PrintJson(Output& out, const Reader& reader, const Walks& walks, const std::vector<Stretch>& stretches,
               const std::vector<Problem>& problems) {
    const FileDirectory& raw = reader.Directory();
    TextCodec plain;
    JsonWriter json(out);
    json.Open('{').Key("file").Text(reader.Name(), plain).Member("size", raw.fileSize);
    json.Member("sectionCount", raw.entryCount).Key("sections").Open('[');
    for (const DirectoryEntry& entry : raw.entries) {
        const WalkResult& walk = walks.at(entry.id);
        const bool read = entry.firstOfId && walk.present;
        json.Line();
        json.Open('{').Section(entry.id);
        json.Member("offset", entry.offset).Member("size", entry.size).Member("idAtStart", entry.idAtStart);
        json.Member("read", read).Key("elements");
        if (read) {
            json.Rows(entry.id, walk.rows);
        } else {
            json.Value(nullptr);
        }
        json.Close('}');
    }
    json.Close(']').Line();
    json.Key("stretches").Open('[');
    for (const Stretch& stretch : stretches) {
        json.Line();
        json.Open('{').Member("offset", stretch.offset).Member("size", stretch.size);
        json.Member("what", stretch.what).Close('}');
    }
    json.Close(']').Line();
    json.Key("problems").Open('[');
    for (const Problem& problem : problems) {
        json.Line();
        json.Open('{').Section(problem.section).Member("offset", problem.offset);
        json.Member("what", plain.Display(problem.what)).Close('}');
    }
    json.Close(']').Close('}').EndLine();
    json.Flush();
}

int RunInfo(const InfoOptions& options) {
    ProgressBar progress(options.file, 0, options.quiet);
    Reader reader(OpenSource(options.file), {options.Mode(), {}, progress.Callback()});
    progress.SetTotal(reader.Directory().fileSize);
    std::vector<Problem> problems = DirectoryProblems(reader.Directory());
    Walks walks;
    for (const DirectoryEntry& entry : reader.Directory().entries) {
        if (!walks.contains(entry.id)) {
            const WalkResult walk = reader.WalkSection(entry.id, [](size_t, std::span<const Cell>) {});
            problems.insert(problems.end(), walk.problems.begin(), walk.problems.end());
            walks[entry.id] = walk;
        }
    }
    progress.Hide();
    const std::vector<Stretch> stretches = GapsAndOverlaps(reader.Directory());
    Output out;
    if (options.json) {
        PrintJson(out, reader, walks, stretches, problems);
    } else {
        PrintTable(out, reader, walks, stretches);
    }
    out.Close();
    for (const Problem& problem : problems) {
        PrintProblem(reader.Name(), problem);
    }
    return problems.empty() ? kExitOk : kExitFindings;
}

}  // namespace

RunCommand AddInfo(CLI::App& app) {
    auto options = std::make_shared<InfoOptions>();
    AddManyFiles(app, options->files);
    AddFileMode(app, options->fileMode);
    AddQuiet(app, options->quiet);
    app.add_flag("--json", options->json, "one JSON document");
    app.add_flag(
        "--schema", options->schema,
        "a dictionary with every field that occurs, types found in the values, for you to fill in the names");
    app.add_option("--dictionary", options->dictionary,
                   "with --schema: what is known already; FILE.fields.json when it is there")
        ->type_name("JSON");
    return [options] {
        const Together together = {.json = options->json || options->schema, .titles = true};
        return RunWithFiles(options->files, together, [&](const std::string& path) {
            options->file = path;
            return options->schema ? PrintSchema(*options) : RunInfo(*options);
        });
    };
}

}  // namespace tvsym
