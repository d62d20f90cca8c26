// tvsym check: what is wrong in a symbol file, where, and what readers get there.
//
// Three passes. The first follows the bytes beside the library (SectionScan). The second and the third walk
// every section through the library, in file mode and in memory mode, and keep only counts and a digest of
// what came. Where the three do not tell the same story, that is a finding too.
#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "format/Results.h"
#include "tools/tvsym/Findings.h"
#include "tools/tvsym/SectionScan.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

struct CheckOptions : FileOptions {
    bool json = false;
    u64 limit = 20;
};

// What one pass through the library delivered of a section.
struct Reading {
    Walk walk;
    u64 digest = 0xcbf29ce484222325U;

    void Mix(u64 number) { digest = (digest ^ number) * 0x100000001b3U; }
    void Mix(std::string_view text) { Mix(std::hash<std::string_view>{}(text)); }
};

struct Readings {
    std::map<u16, Reading> sections;
    std::string refused;  // why the file could not be opened; empty when it was
};

constexpr ReadMode kModes[] = {ReadMode::File, ReadMode::Memory};
constexpr const char* kModeNames[] = {" in file mode", " in memory mode"};

// ---- the directory

void CheckEntry(const RawFile& raw, size_t at, Findings& findings) {
    const DirectoryEntry& entry = raw.directory[at];
    const u64 place = 2 + u64{10} * at;
    const auto add = [&](u64 offset, std::string what, std::string expected, std::string found) {
        findings.Add({FindingKind::Directory, entry.id, offset, std::move(what), std::move(expected),
                      std::move(found)});
    };
    const bool known = FindSection(entry.id) != nullptr;
    if (!entry.firstOfId) {
        findings.Add(
            {FindingKind::Duplicate, entry.id, place,
             fmt::format("a further directory entry of this id; readers never see the section at 0x{:x}",
                         entry.offset)});
    } else if (!entry.idAtStart) {
        add(place, "the section's place",
            fmt::format("an offset below the file's end at 0x{:x}", raw.fileSize),
            fmt::format("0x{:x}", entry.offset));
    } else if (*entry.idAtStart != entry.id) {
        add(entry.offset, "the id at the section's start", fmt::format("{}", entry.id),
            fmt::format("{}", *entry.idAtStart));
    } else if (entry.End() > raw.fileSize && known) {
        findings.Add({FindingKind::Cut, entry.id, raw.fileSize, "the section's end",
                      fmt::format("0x{:x} by the directory", entry.End()),
                      fmt::format("the file's end {} bytes before that", entry.End() - raw.fileSize)});
    }
}

void CheckDirectory(const RawFile& raw, Findings& findings) {
    if (raw.DirectoryCut()) {
        findings.Add({FindingKind::Cut, 0, raw.fileSize, "the directory",
                      fmt::format("{} entries", raw.entryCount),
                      fmt::format("{}, then the file's end", raw.directory.size())});
    }
    for (size_t at = 0; at < raw.directory.size(); ++at) {
        CheckEntry(raw, at, findings);
    }
    for (const Stretch& stretch : GapsAndOverlaps(raw)) {
        findings.Add({FindingKind::Directory, 0, stretch.offset,
                      fmt::format("{} {}", Counted(stretch.size, "bytes"), stretch.what)});
    }
}

// ---- what readers get

void MixSymbol(Reading& reading, const SymbolView& symbol) {
    reading.Mix(symbol.text);
    for (const FieldView& field : symbol.fields) {
        reading.Mix(u64{field.id} << 16 | u64{field.tag} << 8 | (field.isDefault ? 1 : 0) |
                    (field.cut ? 2 : 0));
        reading.Mix(field.value);
    }
}

void MixRow(Reading& reading, size_t level, std::span<const Cell> cells) {
    reading.Mix(level);
    for (const Cell& cell : cells) {
        reading.Mix(cell.number);
        reading.Mix(cell.bytes);
        for (const u16 value : cell.list) {
            reading.Mix(value);
        }
    }
}

Readings ReadAll(const std::shared_ptr<const InputFile>& file, ReadMode mode, ProgressBar& progress) {
    Readings readings;
    try {
        Reader reader(file, {mode, {}, &progress});
        for (const DirectoryEntry& entry : reader.Raw().directory) {
            if (!FindSection(entry.id) || readings.sections.contains(entry.id)) {
                continue;
            }
            Reading& reading = readings.sections[entry.id];
            if (entry.id != 2) {
                reading.walk = reader.WalkSection(entry.id, [&](size_t level, std::span<const Cell> cells) {
                    MixRow(reading, level, cells);
                });
                continue;
            }
            u64 ownFields = 0;
            reading.walk = reader.WalkSymbols([&](const SymbolView& symbol) {
                MixSymbol(reading, symbol);
                ownFields +=
                    static_cast<u64>(std::count_if(symbol.fields.begin(), symbol.fields.end(),
                                                   [](const FieldView& field) { return !field.isDefault; }));
                return true;
            });
            if (reading.walk.present) {
                reading.walk.rows[1] = ownFields;
            }
        }
    } catch (const ToolError& error) {
        if (error.status != kExitUnreadable) {
            throw;
        }
        readings.refused = std::string(error.what()).substr(file->Name().size() + 2);  // without the file
    }
    return readings;
}

// "SYM_ERR_READ (the data ends inside an element, or a text has no room)"
std::string ResultWords(i32 result) {
    const torva::ResultCode* code = torva::FindResult(result);
    return code ? fmt::format("{} ({})", code->name, code->meaning) : "an unexpected result";
}

// "3 heads, 5 items, 9 names, then SYM_ERR_READ (...)"
std::string ReadingText(u16 id, const Reading& reading) {
    if (reading.walk.present) {
        return fmt::format("{}, {}{}", RowsText(id, reading.walk.rows),
                           reading.walk.result ? "then " : "and no error",
                           reading.walk.result ? ResultWords(reading.walk.result) : "");
    }
    switch (id) {
        case 1:
            return "no default fields, and no error";
        case 2:
        case 3:
        case 8:
            return "nothing: SYM_END_OF_DATA, or SYM_OK with nothing written";
        default:
            return ResultWords(SYM_ERR_NO_SECTION);
    }
}

bool SameReading(const Reading& a, const Reading& b) {
    return a.walk.present == b.walk.present && a.walk.rows == b.walk.rows && a.walk.result == b.walk.result &&
           a.digest == b.digest;
}

// What the library delivered against what the scan found, and one read mode against the other.
void CompareReadings(const std::map<u16, std::vector<u64>>& scanned, const Readings (&readings)[2],
                     Findings& findings) {
    for (const auto& [id, first] : readings[0].sections) {
        const auto second = readings[1].sections.find(id);
        if (second != readings[1].sections.end() && !SameReading(first, second->second)) {
            findings.Add({FindingKind::Reader, id, std::nullopt, "the read modes differ",
                          fmt::format("in memory mode what file mode gives, {}", ReadingText(id, first)),
                          ReadingText(id, second->second)});
        }
        const auto rows = scanned.find(id);
        if (rows != scanned.end() && !findings.Has(id) && rows->second != first.walk.rows) {
            findings.Add({FindingKind::Reader, id, std::nullopt, "what readers get",
                          RowsText(id, rows->second), ReadingText(id, first)});
        }
        if (!findings.Has(id) && first.walk.result != 0) {
            findings.Add({FindingKind::Reader, id, std::nullopt, "readers get an error",
                          RowsText(id, first.walk.rows), ReadingText(id, first)});
        }
    }
    for (size_t mode = 0; mode < 2; ++mode) {
        const std::string& refused = readings[mode].refused;
        const bool both = readings[0].refused == readings[1].refused;
        if (!refused.empty() && (mode == 0 || !both)) {
            findings.Add(
                {FindingKind::Reader, 0, std::nullopt,
                 fmt::format("readers{} cannot open it: {}", both ? "" : kModeNames[mode], refused)});
        }
    }
}

// ---- output

std::string SectionText(u16 id) {
    return id == 0 ? "directory" : fmt::format("section {} ({})", id, SectionTitle(id));
}

// What stands in the section behind the place where readers get an error.
std::string MissedText(u16 id, const Reading& reading, const std::vector<u64>& scanned) {
    if (reading.walk.result == 0 || scanned.empty() || scanned[0] <= reading.walk.rows[0]) {
        return "";
    }
    return ", and miss " + Counted(scanned[0] - reading.walk.rows[0], FindSection(id)->levels[0].name);
}

void PrintText(Output& out, const std::string& name, const RawFile& raw, const Findings& findings,
               const Readings& readings, const std::map<u16, std::vector<u64>>& scanned) {
    const std::vector<Finding>& kept = findings.Kept();
    for (size_t at = 0; at < kept.size(); ++at) {
        const Finding& finding = kept[at];
        const std::string offset = finding.offset ? fmt::format(", offset 0x{:x}", *finding.offset) : "";
        const bool whole = finding.section == 0 && !finding.offset;
        out.Write(fmt::format("{}: {}{}\n", name,
                              whole ? "" : fmt::format("{}{}: ", SectionText(finding.section), offset),
                              finding.Text()));
        if (at + 1 < kept.size() && kept[at + 1].section == finding.section) {
            continue;
        }
        for (const auto& [kind, count] : findings.Dropped(finding.section)) {
            out.Write(fmt::format("{}: {}: {} more of this kind: {}\n", name, SectionText(finding.section),
                                  Grouped(count), KindName(kind)));
        }
        const auto reading = readings.sections.find(finding.section);
        if (reading != readings.sections.end()) {
            const auto rows = scanned.find(finding.section);
            out.Write(fmt::format("{}: {}: readers get {}{}\n", name, SectionText(finding.section),
                                  ReadingText(finding.section, reading->second),
                                  MissedText(finding.section, reading->second,
                                             rows == scanned.end() ? std::vector<u64>() : rows->second)));
        }
    }
    const auto symbols = readings.sections.find(2);
    const bool counted = symbols != readings.sections.end() && symbols->second.walk.present;
    out.Write(fmt::format("{}: {}, {}{}: {}\n", name, Counted(raw.fileSize, "bytes"),
                          Counted(raw.entryCount, "sections"),
                          counted ? ", " + Counted(symbols->second.walk.rows[0], "symbols") : "",
                          findings.Total() == 0 ? "sound" : Counted(findings.Total(), "findings")));
}

std::string FindingJson(const Finding& finding) {
    const SectionInfo* section = FindSection(finding.section);
    return fmt::format(
        R"({{"section":{},"name":{},"offset":{},"kind":"{}","what":{},"expected":{},"found":{}{}}})",
        finding.section ? fmt::format("{}", finding.section) : "null",
        section ? JsonString(section->name) : "null",
        finding.offset ? fmt::format("{}", *finding.offset) : "null", KindName(finding.kind),
        JsonString(finding.what), finding.expected.empty() ? "null" : JsonString(finding.expected),
        finding.found.empty() ? "null" : JsonString(finding.found),
        finding.last ? ",\"restNotLookedAt\":true" : "");
}

std::string ReadingJson(u16 id, const Reading& reading) {
    const SectionInfo* section = FindSection(id);
    return fmt::format(R"({{"section":{},"name":"{}","read":{},"elements":{},"result":{},"readersGet":{}}})",
                       id, section->name, reading.walk.present, RowsJson(id, reading.walk.rows),
                       reading.walk.result, JsonString(ReadingText(id, reading)));
}

void PrintJson(Output& out, const std::string& name, const RawFile& raw, const Findings& findings,
               const Readings& readings) {
    TextCodec plain;
    out.Write(fmt::format("{{\"file\":{},\"size\":{},\"sectionCount\":{},\"sound\":{},\"findings\":[",
                          JsonText(name, plain), raw.fileSize, raw.entryCount, findings.Total() == 0));
    WriteJsonList(out, findings.Kept(), FindingJson);
    out.Write(fmt::format("],\n\"total\":{},\"sections\":[", findings.Total()));
    WriteJsonList(out, readings.sections,
                  [](const auto& section) { return ReadingJson(section.first, section.second); });
    out.Write("]}\n");
}

int RunCheck(const CheckOptions& options) {
    TextCodec codec(options.encoding);
    Findings findings(options.limit ? options.limit : UINT64_MAX);
    const auto file = std::make_shared<const InputFile>(options.file);
    const RawFile raw = RawFile::Read(file->Path(), file->Name());
    ProgressBar progress(file->Name(), 3 * raw.fileSize, options.quiet);
    CheckDirectory(raw, findings);
    std::map<u16, std::vector<u64>> scanned;
    {
        RawBytes bytes(file->Path());
        SectionScan scan({bytes, raw, codec, options.encoding, findings, progress});
        for (const DirectoryEntry& entry : raw.directory) {
            if (entry.Readable() && FindSection(entry.id)) {
                scanned[entry.id] = scan.Scan(entry);
            }
        }
    }
    Readings readings[2];
    for (size_t mode = 0; mode < 2; ++mode) {
        readings[mode] = ReadAll(file, kModes[mode], progress);
    }
    CompareReadings(scanned, readings, findings);
    progress.Hide();
    Output out;
    if (options.json) {
        PrintJson(out, file->Name(), raw, findings, readings[0]);
    } else {
        PrintText(out, file->Name(), raw, findings, readings[0], scanned);
    }
    out.Close();
    if (!readings[0].refused.empty() || !readings[1].refused.empty()) {
        return kExitUnreadable;
    }
    return findings.Total() == 0 ? kExitOk : kExitFindings;
}

}  // namespace

RunCommand AddCheck(CLI::App& app) {
    auto options = std::make_shared<CheckOptions>();
    AddArgument(app, "FILE", options->file, kFileArgument);
    AddEncoding(app, options->encoding);
    app.add_option("--limit", options->limit, "findings of one kind shown for each section; 0 shows all")
        ->type_name("N")
        ->check(WholeNumber())
        ->capture_default_str();
    app.add_flag("--json", options->json, "one JSON document");
    AddQuiet(app, options->quiet);
    return [options] { return RunCheck(*options); };
}

}  // namespace tvsym
