// tvsym dump: the content of every section, or of some.
#include <fmt/format.h>

#include <algorithm>

#include "tables/check/Wording.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/Selection.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/CsvFolder.h"
#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/QueryResult.h"
#include "tools/tvsym/output/SymbolPrinter.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

struct DumpOptions : FileOptions {
    SelectOptions select;
    std::vector<std::string> sections;
    std::string format = "json";
    std::string output;
};

class Dump {
public:
    explicit Dump(const DumpOptions& dumpOptions)
        : options(dumpOptions),
          dictionary(LoadDictionary(options.dictionary, options.file)),
          codec(options.encoding),
          progress(options.file, 0, options.quiet || (options.output.empty() && IsOutputTerminal())),
          source(OpenSource(options.file)),
          selection(options.select, options, source, dictionary),
          reader(source, {options.Mode(), {}, progress.Callback(), 0, selection.Takes()}),
          wanted(SectionIds(options.sections)),
          context{dictionary, codec} {}

    int Run() {
        CheckSelection();
        if (options.select.IsQuery()) return SymbolTable();
        const std::vector<DirectoryEntry>& directory = reader.Directory().entries;
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
            ToTarget([this](Output& out) { Write(out); });
        }
        progress.Hide();
        ReportEncoding(options.file, codec.AllDecoded(), options.encoding);
        return ReportProblems(reader, ids, problems);
    }

private:
    bool Wanted(u16 id) const {
        return wanted.empty() || std::find(wanted.begin(), wanted.end(), id) != wanted.end();
    }

    // Only symbols can be selected. What is asked for and cannot be done is an error, not something to pass
    // over.
    void CheckSelection() const {
        const SelectOptions& select = options.select;
        const bool selects = select.IsQuery() || !select.where.empty() || select.limit > 0;
        if (selects && !Wanted(2)) {
            throw ToolError(kExitUsage,
                            "--where, --order-by, --columns and --limit select symbols, which --section "
                            "leaves out");
        }
        if (!select.IsQuery()) return;
        if (options.format == "json") {
            throw ToolError(kExitUsage,
                            "--columns and --order-by make a table of the symbols: with --format table, "
                            "ndjson or csv; the json document holds the file as it is");
        }
        if (wanted.size() > 1) {
            throw ToolError(
                kExitUsage,
                "--columns and --order-by make a table of the symbols: no other --section fits in");
        }
    }

    // Standard output, or the file of --output, which appears whole or not at all.
    template <class Writes>
    void ToTarget(Writes write) {
        if (options.output.empty() || options.output == "-") {
            Output out;
            write(out);
        } else {
            Replacement replacement(options.output, options.file);
            Output out(replacement.Path(), options.output);
            write(out);
            replacement.TakePlace();
        }
    }

    // A row for each symbol, in the order and with the columns asked for.
    int SymbolTable() {
        ToTarget([this](Output& out) {
            SqlQuery rows = selection.Columns();
            WriteQuery(rows, out, options.format);
            out.Close();
        });
        ReportEncoding(options.file, selection.AllDecoded(), options.encoding);
        return ReportProblems(source->Name(), selection.Problems());
    }

    void Write(Output& out) {
        JsonWriter json(out);
        if (options.format == "json") {
            Document(json);
        } else if (options.format == "ndjson") {
            Lines(json);
        } else {
            Tables(out);
        }
        json.Flush();
        out.Close();
    }

    // The first problem of a walk.
    std::optional<Problem> Take(const WalkResult& walk) {
        problems.insert(problems.end(), walk.problems.begin(), walk.problems.end());
        return walk.problems.empty() ? std::nullopt : std::optional(walk.problems.front());
    }

    // The document that `build` reads. What no reader delivers is in it as bytes, so that nothing is lost
    // where the file is sound. What is wrong is recorded in members that begin with "_", which `build` passes
    // over.
    void Document(JsonWriter& json) {
        json.Raw("{");
        if (!dictionary.All().empty() && wanted.empty()) {
            json.Raw("\"dictionary\": ");
            json.Fields(dictionary.Fields()).Raw(",\n");
        }
        json.Raw("\"sections\": [");
        const StoredFile stored = StoredSections(reader, wanted);
        const char* separator = "\n";
        for (const StoredSection& section : stored.sections) {
            const DirectoryEntry& entry = section.entry;
            json.Raw(fmt::format("{}{{\"id\": {}", separator, entry.id));
            separator = ",\n";
            if (const SectionInfo* known = FindSection(entry.id)) {
                json.Raw(fmt::format(", \"name\": \"{}\"", known->name));
            }
            RawMember(json, "before", entry.offset - section.before, section.before);
            NumberMember(json, "head", section.odd.head);
            NumberMember(json, "count", section.odd.count);
            NumberMember(json, "size", section.odd.size);
            if (section.section && !section.bytesOnly) {
                JsonElements(json, section);
            } else {
                json.Raw(", \"bytes\": ");
                WriteHex(json, section.BodyOffset(), section.BodySize());
            }
            json.Raw("}");
        }
        json.Raw("\n]");
        RawMember(json, "behind", reader.Directory().fileSize - stored.behind, stored.behind);
        if (lost || !stored.whole) {
            json.Raw(",\n\"_damaged\": true");
        }
        json.Raw("}\n");
    }

    static void NumberMember(JsonWriter& json, const char* name, const std::optional<u64>& number) {
        if (number) json.Raw(fmt::format(", \"{}\": {}", name, *number));
    }

    void JsonElements(JsonWriter& json, const StoredSection& stored) {
        const u16 id = stored.entry.id;
        const SectionInfo& section = StoredForm(id);
        json.Raw(fmt::format(", \"{}\": [", section.levels[0].name));
        const WalkResult walk = WalkStored(reader, id, *MakeJsonRows(json, section, context, false));
        lost = lost || !stored.IsWhole(walk);
        const std::optional<Problem> problem = Take(walk);
        json.Raw("]");
        if (problem) {
            json.Raw(", \"_problem\": ");
            json.Text(problem->what, codec);
        }
    }

    void RawMember(JsonWriter& json, const char* name, u64 offset, u64 size) {
        if (size > 0) {
            json.Raw(fmt::format(", \"{}\": ", name));
            WriteHex(json, offset, size);
        }
    }

    void WriteHex(JsonWriter& json, u64 offset, u64 size) {
        json.Raw("\"");
        reader.Bytes().Read(offset, size, [&](std::string_view bytes) { json.Raw(Hex(bytes)); });
        json.Raw("\"");
    }

    void Lines(JsonWriter& json) {
        const StoredFile file = StoredSections(reader, wanted);
        for (const StoredSection& stored : file.sections) {
            const u16 id = stored.entry.id;
            if (stored.section) {
                const WalkResult walk =
                    WalkStored(reader, id, *MakeJsonRows(json, StoredForm(id), context, true));
                lost = lost || !stored.IsWhole(walk);
                Take(walk);
            } else {
                json.Raw(fmt::format("{{\"section\":\"{}\",\"bytes\":", SectionWord(id)));
                WriteHex(json, stored.BodyOffset(), stored.BodySize());
                json.Raw("}\n");
            }
        }
        if (lost || !file.whole) {
            json.Raw("{\"damaged\":true}\n");
        }
    }

    void Tables(Output& out) {
        bool first = true;
        for (const StoredSection& stored : StoredSections(reader, wanted).sections) {
            const std::string title =
                fmt::format("section {}: {}", stored.entry.id, SectionTitle(stored.entry.id));
            out.Write(fmt::format("{}{}\n", first ? "" : "\n", Styled(Style::Bold, title)));
            first = false;
            SectionTable(out, stored);
        }
    }

    void SectionTable(Output& out, const StoredSection& stored) {
        if (!stored.section) {
            out.Write(fmt::format("{} bytes that no reader delivers\n", Grouped(stored.entry.size)));
            return;
        }
        const std::unique_ptr<RowWriter> rows = MakeTableRows(out, *stored.section, context);
        const WalkResult walk = reader.WalkSection(
            stored.entry.id, [&](size_t level, std::span<const Cell> cells) { rows->Row(level, cells); });
        rows->Finish();
        if (const std::optional<Problem> problem = Take(walk)) {
            out.Write(Styled(Style::Bad, fmt::format("damaged: {}", problem->what)) + "\n");
        }
    }

    void Csv() {
        if (options.output.empty() || options.output == "-") {
            throw ToolError(kExitUsage,
                            "--format csv writes one file for each section and needs --output DIR");
        }
        CsvFolder folder(options.output, options.file);
        const std::vector<Problem> found = folder.AddSections(reader, context, wanted);
        problems.insert(problems.end(), found.begin(), found.end());
        folder.TakePlace();
    }

    const DumpOptions& options;
    Dictionary dictionary;
    TextCodec codec;
    ProgressBar progress;
    std::shared_ptr<const FileSource> source;
    Selection selection;
    Reader reader;
    std::vector<u16> wanted;
    RowContext context;
    std::vector<Problem> problems;
    bool lost = false;  // something of the file is not in what was written
};

}  // namespace

RunCommand AddDump(CLI::App& app) {
    auto options = std::make_shared<DumpOptions>();
    AddFileOptions(app, *options);
    AddValueOptions(app, *options);
    AddSelection(app, options->select);
    AddSections(app, options->sections);
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
