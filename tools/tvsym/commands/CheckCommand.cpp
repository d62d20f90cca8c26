// tvsym check: what is wrong in a symbol file, where, and what readers get there.
#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "tables/check/Check.h"
#include "tables/check/Wording.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/ManyFiles.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/JsonSource.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

struct CheckCommandOptions : FileOptions {
    ManyFiles files;
    bool json = false;
    u64 limit = 20;
    u64 budget = 0;
    std::string filter;
};

// Field ids, or names, by lines or commas.
std::vector<u16> ReadFilter(const CheckCommandOptions& options) {
    std::vector<std::string> words;
    if (!options.filter.empty()) {
        WithSource(options.filter, [&](std::istream& in) {
            for (std::string line; std::getline(in, line);) {
                std::replace(line.begin(), line.end(), ',', ' ');
                std::istringstream list(line);
                for (std::string word; list >> word;) words.push_back(word);
            }
        });
        if (words.empty()) throw ToolError(kExitUsage, fmt::format("{}: has no field ids", options.filter));
    }
    return FieldIds(words, LoadDictionary("", options.file));
}

std::string SectionText(u16 id) {
    return id == 0 ? "directory" : fmt::format("section {} ({})", id, SectionTitle(id));
}

// What is in the section after the place where readers get an error.
std::string MissedText(u16 id, const Reading& reading, const CheckReport& report) {
    const auto rows = report.scanned.find(id);
    if (reading.walk.result == 0 || rows == report.scanned.end() || rows->second[0] <= reading.walk.rows[0]) {
        return "";
    }
    return ", and miss " + Counted(rows->second[0] - reading.walk.rows[0], FindSection(id)->levels[0].name);
}

class CheckOutput {
public:
    CheckOutput(const CheckReport& checkReport, const FileSource& source, TextCodec& textCodec,
                const std::string& encodingName)
        : report(checkReport), fileName(source.Name()), codec(textCodec), encoding(encodingName) {}

    void PrintText(Output& out) {
        const std::string name = TextCodec().Display(fileName);
        const Readings& readings = report.readings[0];
        const std::vector<Finding>& kept = report.findings.Kept();
        for (size_t at = 0; at < kept.size(); ++at) {
            const Finding& finding = kept[at];
            const u16 id = finding.section;
            const std::string offset = finding.offset ? fmt::format(", offset 0x{:x}", *finding.offset) : "";
            const bool whole = id == 0 && !finding.offset;
            out.Write(fmt::format("{}: {}{}\n", name, whole ? "" : SectionText(id) + offset + ": ",
                                  Describe(report, finding, codec, encoding).Sentence()));
            if (at + 1 < kept.size() && kept[at + 1].section == id) {
                continue;
            }
            for (const auto& [kind, count] : report.findings.Dropped(id)) {
                out.Write(fmt::format("{}: {}: {} more of this kind: {}\n", name, SectionText(id),
                                      Grouped(count), KindName(kind)));
            }
            const auto reading = readings.sections.find(id);
            if (reading != readings.sections.end()) {
                out.Write(fmt::format("{}: {}: readers get {}{}\n", name, SectionText(id),
                                      ReadingText(id, reading->second),
                                      MissedText(id, reading->second, report)));
            }
        }
        const auto symbols = readings.sections.find(2);
        const bool counted = symbols != readings.sections.end() && symbols->second.walk.present;
        const u64 total = report.findings.Total();
        out.Write(fmt::format("{}: {}, {}{}: {}\n", name, Counted(report.directory.fileSize, "bytes"),
                              Counted(report.directory.entryCount, "sections"),
                              counted ? ", " + Counted(symbols->second.walk.rows[0], "symbols") : "",
                              total == 0 ? "sound" : Counted(total, "findings")));
    }

    void PrintJson(Output& out) {
        TextCodec plain;
        JsonWriter json(out);
        const u64 total = report.findings.Total();
        json.Open('{').Key("file").Text(fileName, plain).Member("size", report.directory.fileSize);
        json.Member("sectionCount", report.directory.entryCount).Member("sound", total == 0);
        json.Key("findings").Open('[');
        for (const Finding& finding : report.findings.Kept()) {
            json.Line();
            Write(json, finding);
        }
        json.Close(']').Line();
        json.Member("total", total).Key("sections").Open('[');
        for (const auto& [id, reading] : report.readings[0].sections) {
            json.Line();
            json.Open('{').Section(id);
            json.Member("read", reading.walk.present).Key("elements").Rows(id, reading.walk.rows);
            json.Member("result", reading.walk.result).Member("readersGet", ReadingText(id, reading));
            json.Close('}');
        }
        json.Close(']').Close('}').EndLine();
        json.Flush();
    }

private:
    void Write(JsonWriter& json, const Finding& finding) {
        const auto orNull = [](const std::string& words) {
            return words.empty() ? std::nullopt : std::optional(words);
        };
        const FindingWords words = Describe(report, finding, codec, encoding);
        json.Open('{').Section(finding.section).Member("offset", finding.offset);
        json.Member("kind", KindName(finding.Kind())).Member("what", words.what);
        json.Member("expected", orNull(words.expected)).Member("found", orNull(words.found));
        if (words.last) {
            json.Member("restNotLookedAt", true);
        }
        json.Close('}');
    }

    const CheckReport& report;
    const std::string& fileName;
    TextCodec& codec;
    const std::string& encoding;
};

int RunCheck(const CheckCommandOptions& options) {
    TextCodec codec(options.encoding);
    const std::shared_ptr<const FileSource> source = OpenSource(options.file);
    ProgressBar progress(source->Name(), 3 * source->Size(), options.quiet);
    const CheckReport report = Check(source, codec,
                                     {options.limit ? options.limit : UINT64_MAX, progress.Callback(),
                                      options.budget, ReadFilter(options)});
    progress.Hide();
    Output out;
    CheckOutput output(report, *source, codec, options.encoding);
    if (options.json) {
        output.PrintJson(out);
    } else {
        output.PrintText(out);
    }
    out.Close();
    return !report.CanBeOpened() ? kExitUnreadable : report.findings.Total() == 0 ? kExitOk : kExitFindings;
}

}  // namespace

RunCommand AddCheck(CLI::App& app) {
    auto options = std::make_shared<CheckCommandOptions>();
    AddManyFiles(app, options->files);
    AddEncoding(app, options->encoding);
    app.add_option("--limit", options->limit, "findings of one kind shown for each section; 0 shows all")
        ->type_name("N")
        ->check(WholeNumber())
        ->capture_default_str();
    app.add_option("--budget", options->budget,
                   "read as a host with so many bytes for values (4MiB) and report what it does not get; "
                   "otherwise enough "
                   "for all")
        ->type_name("SIZE")
        ->transform(CLI::AsSizeValue(false));
    app.add_option(
           "--filter", options->filter,
           "read as a host that asks for the fields in this file only, ids or names by lines or commas")
        ->type_name("FILE");
    app.add_flag("--json", options->json, "one JSON document");
    AddQuiet(app, options->quiet);
    return [options] {
        const Together together = {options->json, false, "sound", "with findings"};
        return RunWithFiles(options->files, together, [&](const std::string& path) {
            options->file = path;
            return RunCheck(*options);
        });
    };
}

}  // namespace tvsym
