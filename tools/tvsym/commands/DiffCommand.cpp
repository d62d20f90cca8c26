// tvsym diff: what was added, removed and changed between two symbol files.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "tables/compare/Comparison.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/ManyFiles.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Differences.h"
#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Patch.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/Terminal.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

struct DiffOptions {
    std::array<std::string, 2> files;
    std::string dictionary;
    std::string encoding = "UTF-8";
    std::vector<std::string> sections;
    std::vector<std::string> fields;
    bool json = false;
    std::string format = "text";
    bool summary = false;
    bool quiet = false;
    bool fileMode = false;
    u64 jobs = 0;

    bool Json() const { return json || format == "json"; }
};

// Reads one of the files, reports its problems, and returns its name; `sound` becomes false when it has any.
std::string ReadSide(const DiffOptions& options, size_t side, Comparison& comparison, bool& sound) {
    ProgressBar progress(options.files[side], 0, options.quiet);
    Reader reader(OpenSource(options.files[side]),
                  {options.fileMode ? ReadMode::File : ReadMode::Auto, {}, progress.Callback()});
    progress.SetTotal(reader.Directory().fileSize);
    const std::vector<Problem> problems = comparison.Read(side, reader);
    progress.Hide();
    const std::vector<u16> read(comparison.Sections(side).begin(), comparison.Sections(side).end());
    const int status =
        options.sections.empty() ? ReportProblems(reader, problems) : ReportProblems(reader, read, problems);
    sound = sound && status == kExitOk;
    return reader.Name();
}

// The patch that apply takes; only bytes count.
int RunPatch(const DiffOptions& options) {
    if (!options.sections.empty() || !options.fields.empty() || options.summary || options.json) {
        throw ToolError(kExitUsage,
                        "a patch is of whole files: it goes with no other choice of what to print");
    }
    if (IsOutputTerminal()) {
        throw ToolError(kExitUsage, "a patch is not for the terminal: redirect it to a file");
    }
    const std::shared_ptr<const FileSource> old = OpenSource(options.files[0]);
    const std::shared_ptr<const FileSource> now = OpenSource(options.files[1]);
    Output out;
    const bool different = WritePatch(*old, *now, out);
    out.Close();
    return different ? kExitFindings : kExitOk;
}

int RunDiff(const DiffOptions& options) {
    if (options.format == "patch") return RunPatch(options);
    Dictionary dictionary = LoadDictionary(options.dictionary, options.files[1]);
    if (options.dictionary.empty()) dictionary.AddMissing(LoadDictionary("", options.files[0]));
    TextCodec codec(options.encoding);
    CompareOptions compare;
    compare.fields = FieldIds(options.fields, dictionary);
    compare.sections = SectionIds(options.sections);
    compare.makeFile = [] { return MakeTemporaryFile(""); };
    Comparison comparison(compare);
    bool sound = true;
    const std::string old = ReadSide(options, 0, comparison, sound);
    const std::string now = ReadSide(options, 1, comparison, sound);

    Output out;
    const auto writer = (options.Json() ? MakeDifferenceJson : MakeDifferenceText)(out, {dictionary, codec});
    writer->Start({old, now});
    bool different = false;
    while (comparison.Next()) {
        different = true;
        if (!options.summary) {
            writer->Write(comparison.Current());
        }
    }
    writer->Finish(comparison.Counts());
    out.Close();
    ReportEncoding(options.files[1], codec.AllDecoded(), options.encoding);
    return !sound ? kExitUnreadable : different ? kExitFindings : kExitOk;
}

// Two folders: the files of one name in both.
int RunDiffOfFolders(const DiffOptions& options) {
    if (options.format == "patch") throw ToolError(kExitUsage, "a patch is of two files, not of folders");
    std::map<std::string, std::array<std::string, 2>> pairs;  // by name
    for (const size_t side : {0U, 1U}) {
        for (const std::string& path : ExpandFolders({options.files[side]})) {
            pairs[std::filesystem::path(path).filename().string()][side] = path;
        }
    }
    std::vector<std::string> names;
    names.reserve(pairs.size());
    for (const auto& [name, paths] : pairs) names.push_back(name);
    const Together together = {options.Json(), true, "the same", "different"};
    return RunForEach(names, options.jobs, together, [&](const std::string& name) {
        DiffOptions one = options;
        one.files = pairs[name];
        for (const size_t side : {0U, 1U}) {
            if (!one.files[1 - side].empty()) continue;
            Output out;
            JsonWriter json(out);
            if (options.Json()) {
                json.Open('{').Member("onlyIn", options.files[side]).Close('}').EndLine();
                json.Flush();
            } else {
                out.Write(fmt::format("only in {}\n", TextCodec().Display(options.files[side])));
            }
            out.Close();
            return int{kExitFindings};
        }
        return RunDiff(one);
    });
}

}  // namespace

RunCommand AddDiff(CLI::App& app) {
    auto options = std::make_shared<DiffOptions>();
    AddArgument(app, "OLD", options->files[0], "symbol file, or folder; - reads the standard input");
    AddArgument(app, "NEW", options->files[1],
                "symbol file to compare it with, or folder, whose files are compared by name");
    AddJobs(app, options->jobs);
    app.add_option(
           "--dictionary", options->dictionary,
           "names and types of the field ids, a JSON file; NEW.fields.json and OLD.fields.json when they are "
           "there")
        ->type_name("JSON");
    AddEncoding(app, options->encoding, "in the files");
    AddSections(app, options->sections);
    AddFields(app, options->fields);
    app.add_flag("--summary", options->summary, "only how much differs");
    app.add_flag("--json", options->json, "one JSON document");
    app.add_option("--format", options->format, "text, json, or patch: for apply, byte for byte")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"text", "json", "patch"}))
        ->capture_default_str();
    AddFileMode(app, options->fileMode);
    AddQuiet(app, options->quiet);
    return [options] {
        if (options->files[0] == "-" && options->files[1] == "-") {
            throw ToolError(kExitUsage, "only one of the files can be the standard input");
        }
        std::error_code ignored;
        const auto isFolder = [&](const std::string& path) {
            return std::filesystem::is_directory(path, ignored);
        };
        return std::ranges::all_of(options->files, isFolder) ? RunDiffOfFolders(*options) : RunDiff(*options);
    };
}

}  // namespace tvsym
