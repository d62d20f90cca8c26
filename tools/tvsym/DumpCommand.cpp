// tvsym dump: the content of every section, or of some.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "tools/tvsym/Commands.h"
#include "tools/tvsym/Options.h"
#include "tools/tvsym/Rows.h"
#include "tools/tvsym/SymbolPrinter.h"
#include "tools/tvsym/Terminal.h"

namespace tvsym {

namespace {

struct DumpOptions : FileOptions {
    std::vector<std::string> sections;
    std::string format = "json";
    std::string output;
};

class Dump {
public:
    explicit Dump(const DumpOptions& dumpOptions)
        : options(dumpOptions),
          dictionary(Dictionary::Load(options.dictionary, options.file)),
          codec(options.encoding),
          progress(options.file, 0, options.quiet || (options.output.empty() && IsOutputTerminal())),
          reader(options.file, {options.Mode(), {}, &progress}),
          wanted(SectionIds(options.sections)),
          context{dictionary, codec} {}

    int Run() {
        const std::vector<DirectoryEntry>& directory = reader.Raw().directory;
        std::vector<u16> ids;
        u64 total = 0;
        for (const DirectoryEntry& entry : directory) {
            total += Wanted(entry.id) && entry.firstOfId ? entry.size : 0;
            if (Wanted(entry.id)) {
                ids.push_back(entry.id);
            }
        }
        progress.SetTotal(total);
        for (const u16 id : wanted) {
            if (std::find(ids.begin(), ids.end(), id) == ids.end()) {
                problems.push_back({id, {}, "the file has no such section"});
            }
        }
        if (options.format == "csv") {
            Csv();
        } else {
            const std::unique_ptr<Output> out = options.output.empty() || options.output == "-"
                                                    ? std::make_unique<Output>()
                                                    : std::make_unique<Output>(options.output);
            if (options.format == "json") {
                Json(*out);
            } else {
                LinesOrTables(*out);
            }
            out->Close();
        }
        progress.Hide();
        return ReportProblems(reader, ids, problems);
    }

private:
    bool Wanted(u16 id) const {
        return wanted.empty() || std::find(wanted.begin(), wanted.end(), id) != wanted.end();
    }

    // Walks a section into `rows`; gives the first problem that it has.
    std::optional<Problem> WalkInto(u16 id, RowWriter& rows) {
        const Walk walk = reader.WalkSection(
            id, [&](size_t level, std::span<const Cell> cells) { rows.Row(level, cells); });
        rows.Finish();
        problems.insert(problems.end(), walk.problems.begin(), walk.problems.end());
        return walk.problems.empty() ? std::nullopt : std::optional(walk.problems.front());
    }

    // A section that no reader delivers, but whose bytes are there.
    bool IsRaw(const DirectoryEntry& entry) const {
        return entry.idAtStart == entry.id && (!entry.firstOfId || !FindSection(entry.id));
    }

    // The document that `build` reads. What no reader delivers stands in it as bytes, so that nothing is lost
    // where the file is sound. What is wrong is told in members that begin with "_", which `build` passes
    // over.
    void Json(Output& out) {
        out.Write("{\"sections\": [");
        const char* separator = "\n";
        const std::vector<DirectoryEntry> directory = reader.Raw().directory;
        const bool inOrder = std::is_sorted(directory.begin(), directory.end(),
                                            [](const auto& a, const auto& b) { return a.offset < b.offset; });
        u64 end = 2 + u64{10} * reader.Raw().entryCount;
        for (const DirectoryEntry& entry : directory) {
            const bool readable = entry.Readable() && FindSection(entry.id);
            if (!Wanted(entry.id) || (!readable && !IsRaw(entry))) {
                end = entry.End();
                continue;
            }
            out.Write(fmt::format("{}{{\"id\": {}", separator, entry.id));
            separator = ",\n";
            if (const SectionInfo* section = FindSection(entry.id)) {
                out.Write(fmt::format(", \"name\": \"{}\"", section->name));
            }
            if (inOrder && wanted.empty() && entry.offset > end) {
                RawMember(out, "before", end, entry.offset - end);
            }
            end = entry.End();
            if (readable) {
                JsonElements(out, entry.id);
            } else {
                RawMember(out, "bytes", u64{entry.offset} + 2,
                          entry.End() - entry.offset - std::min<u64>(entry.size, 2));
            }
            out.Write("}");
        }
        out.Write("\n]");
        if (inOrder && wanted.empty() && end < reader.Raw().fileSize) {
            RawMember(out, "behind", end, reader.Raw().fileSize - end);
        }
        if (!problems.empty() || !reader.DirectoryProblems().empty()) {
            out.Write(",\n\"_damaged\": true");
        }
        out.Write("}\n");
    }

    void JsonElements(Output& out, u16 id) {
        const SectionInfo& section = *FindSection(id);
        out.Write(fmt::format(", \"{}\": [", section.levels[0].name));
        std::optional<std::vector<DefinitionGroup>> arrangement;
        if (id == 18 || id == 21) {
            const DirectoryEntry entry = *reader.Raw().Find(id);
            std::string bytes;
            reader.ReadRaw(entry.offset, entry.size, [&](std::string_view part) { bytes += part; });
            arrangement = ParseDefinitionGroups(id, bytes);
        }
        const std::optional<Problem> problem =
            WalkInto(id, *MakeJsonRows(out, section, context, false, std::move(arrangement)));
        out.Write("]");
        if (problem) {
            out.Write(fmt::format(", \"_problem\": {}", JsonText(problem->what, codec)));
        }
    }

    void RawMember(Output& out, const char* name, u64 offset, u64 size) {
        out.Write(fmt::format(", \"{}\": \"", name));
        reader.ReadRaw(offset, size, [&](std::string_view bytes) { out.Write(Hex(bytes)); });
        out.Write("\"");
    }

    // The first entries of each id that is wanted and there.
    std::vector<DirectoryEntry> Entries() const {
        std::vector<DirectoryEntry> entries;
        for (const DirectoryEntry& entry : reader.Raw().directory) {
            if (Wanted(entry.id) && entry.Readable()) {
                entries.push_back(entry);
            }
        }
        return entries;
    }

    void WriteHex(Output& out, const DirectoryEntry& entry) {
        reader.ReadRaw(u64{entry.offset} + 2, std::max(entry.size, 2U) - 2,
                       [&](std::string_view bytes) { out.Write(Hex(bytes)); });
    }

    void LinesOrTables(Output& out) {
        const bool lines = options.format == "ndjson";
        bool first = true;
        for (const DirectoryEntry& entry : Entries()) {
            const SectionInfo* section = FindSection(entry.id);
            if (lines && section) {
                WalkInto(entry.id, *MakeJsonRows(out, *section, context, true));
            } else if (lines) {
                out.Write(fmt::format("{{\"section\":{},\"bytes\":\"", entry.id));
                WriteHex(out, entry);
                out.Write("\"}\n");
            } else {
                const std::string title = fmt::format("section {}: {}", entry.id, SectionTitle(entry.id));
                out.Write(fmt::format("{}{}\n", first ? "" : "\n", Styled(Style::Bold, title)));
                first = false;
                SectionTable(out, entry);
            }
        }
    }

    void SectionTable(Output& out, const DirectoryEntry& entry) {
        const SectionInfo* section = FindSection(entry.id);
        if (!section) {
            out.Write(fmt::format("{} bytes that have no reader\n", Grouped(entry.size)));
            return;
        }
        const std::optional<Problem> problem = WalkInto(entry.id, *MakeTableRows(out, *section, context));
        if (problem) {
            out.Write(Styled(Style::Bad, fmt::format("damaged: {}", problem->what)) + "\n");
        }
    }

    void Csv() {
        if (options.output.empty() || options.output == "-") {
            throw ToolError(kExitUsage,
                            "--format csv writes one file for each section and needs --output DIR");
        }
        std::error_code error;
        std::filesystem::create_directories(options.output, error);
        if (error) {
            throw ToolError(kExitUnreadable, fmt::format("{}: {}", options.output, error.message()));
        }
        for (const DirectoryEntry& entry : Entries()) {
            const SectionInfo* section = FindSection(entry.id);
            const std::string name = section ? section->name : fmt::format("section-{}", entry.id);
            Output out((std::filesystem::path(options.output) / (name + ".csv")).string());
            if (section) {
                WalkInto(entry.id, *MakeCsvRows(out, *section, context));
            } else {
                out.Write("bytes\r\n");
                WriteHex(out, entry);
                out.Write("\r\n");
            }
            out.Close();
        }
    }

    const DumpOptions& options;
    Dictionary dictionary;
    TextCodec codec;
    ProgressBar progress;
    Reader reader;
    std::vector<u16> wanted;
    RowContext context;
    std::vector<Problem> problems;
};

}  // namespace

RunCommand AddDump(CLI::App& app) {
    auto options = std::make_shared<DumpOptions>();
    AddFileOptions(app, *options);
    AddValueOptions(app, *options);
    app.add_option("--section", options->sections, "only this section, by id or name; may be repeated")
        ->type_name("ID|NAME")
        ->allow_extra_args(false);
    app.add_option(
           "--format", options->format,
           "json: one document, which build reads; ndjson: an object for each element on a line of its own; "
           "csv: a file for each section; table")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"json", "ndjson", "csv", "table"}))
        ->capture_default_str();
    app.add_option("-o,--output", options->output, "file to write; with csv the directory, which is made")
        ->type_name("PATH");
    return [options] { return Dump(*options).Run(); };
}

}  // namespace tvsym
