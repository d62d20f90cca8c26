// tvsym merge: several symbol files put together.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "format/LittleEndian.h"
#include "symwrite/SymFileWriter.h"
#include "tables/check/Wording.h"
#include "tables/compare/SortedRecords.h"
#include "tools/tvsym/commands/Change.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/Replacement.h"
#include "tools/tvsym/output/SectionMerge.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

constexpr size_t kSortMemory = size_t{16} << 20;

struct MergeOptions : ChangeOptions {
    std::vector<std::string> files;
    std::string onDuplicate = "error";
};

constexpr std::pair<const char*, OnDuplicate> kRules[] = {{"first", OnDuplicate::First},
                                                          {"last", OnDuplicate::Last},
                                                          {"error", OnDuplicate::Error},
                                                          {"fields", OnDuplicate::Fields}};

// A typed field that owns its bytes.
using OwnField = symwrite::Field;
OwnField Owned(const SymbolField& field) { return {field.id, field.tag, std::string(field.value)}; }

// The default fields of a file: all fields of each id, in order.
std::map<u16, std::vector<OwnField>> DefaultsOf(const Reader& reader) {
    std::map<u16, std::vector<OwnField>> defaults;
    for (const SymbolField& field : reader.Defaults()) defaults[field.id].push_back(Owned(field));
    return defaults;
}

// The records of all files by symbol, and the rule applied to those of one symbol.
class MergedSymbols {
public:
    MergedSymbols(OnDuplicate duplicates, const std::vector<std::string>& names)
        : rule(duplicates), files(names), sorted(kSortMemory, [] { return MakeTemporaryFile(""); }) {}

    void Add(u32 file, std::string_view symbol, std::string_view record) {
        value.assign(4, '\0');
        torva::WriteNumber(value.data(), file, 4);
        value += record;
        sorted.Add(symbol, value);
        ++added;
    }

    // Writes the result, by symbol.
    void Write(RecordSpool& to) {
        sorted.Sort();
        while (!sorted.AtEnd()) Symbol(to);
    }

    u64 Duplicates() const { return added - written; }

private:
    // The records of one symbol. Several of one file are not duplicates: they stay as they are, unless their
    // fields are put together.
    void Symbol(RecordSpool& to) {
        const std::string symbol(sorted.Key());
        std::vector<std::string> kept;
        u32 file = 0;  // whose records they are
        bool several = false;
        for (; !sorted.AtEnd() && sorted.Key() == symbol; sorted.Next()) {
            const auto from = static_cast<u32>(torva::ReadNumber(sorted.Value().data(), 4));
            const std::string record(sorted.Value().substr(4));
            if (kept.empty() || (from == file && !several)) {
                kept.push_back(record);
                file = from;
                continue;
            }
            several = several || from != file;
            switch (rule) {
                case OnDuplicate::First:
                    if (from == file) kept.push_back(record);
                    break;
                case OnDuplicate::Last:
                    if (from != file) kept.clear();
                    kept.push_back(record);
                    file = from;
                    break;
                case OnDuplicate::Fields:
                    for (; kept.size() > 1; kept.pop_back()) kept[0] = Joined(kept[0], kept.back());
                    kept[0] = Joined(kept[0], record);
                    break;
                case OnDuplicate::Error:
                    if (kept.size() == 1 && kept[0] == record) break;
                    throw ToolError(
                        kExitFindings,
                        fmt::format("{} is in {} and in {}, with other fields; --on-duplicate first, last "
                                    "or fields says what to keep",
                                    TextCodec().Display(symbol), files[file], files[from]));
            }
        }
        for (const std::string& record : kept) {
            to.Add(symbol, record);
            ++written;
        }
    }

    // The fields of `now`, and those of `old` whose ids it does not have.
    static std::string Joined(std::string_view old, std::string_view now) {
        symwrite::Row row = RowOf(now);
        std::set<u16> has;
        for (const OwnField& field : row.fields) has.insert(field.id);
        for (OwnField& field : RowOf(old).fields) {
            if (!has.contains(field.id)) row.fields.push_back(std::move(field));
        }
        symwrite::Bytes bytes;
        symwrite::AppendSymbol(bytes, row);
        return {bytes.begin(), bytes.end()};
    }

    static symwrite::Row RowOf(std::string_view record) {
        symwrite::File file;
        file.sections.push_back({.id = 2, .raw = symwrite::Bytes(record.begin(), record.end())});
        const symwrite::Bytes bytes = symwrite::Write(file);
        Reader reader(FileSource::FromBytes(bytes, "a record"));
        symwrite::Row row(std::string(), {}, std::nullopt);
        WalkRecords(reader, true, [&](const Record& one) {
            row.cells[0].bytes = one.symbol;
            for (const SymbolField& field : one.own) row.fields.push_back(Owned(field));
        });
        return row;
    }

    OnDuplicate rule;
    const std::vector<std::string>& files;
    SortedRecords sorted;
    std::string value;
    u64 added = 0;
    u64 written = 0;
};

class Merge {
public:
    Merge(const MergeOptions& mergeOptions, OnDuplicate duplicates)
        : options(mergeOptions), rule(duplicates), symbols(duplicates, options.files) {
        for (const std::string& path : options.files) {
            readers.push_back(std::make_unique<Reader>(OpenSource(path), ReaderOptions{ReadMode::File}));
            dictionary.AddMissing(LoadDictionary(options.dictionary, path));
        }
    }

    int Run() {
        FindCommonDefaults();
        std::vector<Problem> problems;
        int status = kExitOk;
        for (u32 file = 0; file < readers.size(); ++file) {
            const RecordWalk walk = AddSymbols(file);
            status = std::max(status, ReportProblems(readers[file]->Name(), walk.problems));
        }
        RecordSpool records;
        symbols.Write(records);
        Reader& first = *readers[0];
        Rewrite result(first.Source(), first.Directory());
        if (records.Count() > 0 || first.Directory().Find(2) != nullptr) Put(result, 2, records.Bytes());
        PutDefaults(result);
        PutOtherSections(result);
        ChangeTarget target = {"", options.target, false, options.dryRun};
        for (const std::string& path : options.files) Replacement::RefuseSource(options.target, path);
        WriteChanged(result, &records, target, dictionary);
        ReportChange(target, fmt::format("{} of {}, {} ({})", Counted(records.Count(), "symbols"),
                                         Counted(readers.size(), "files"),
                                         Counted(symbols.Duplicates(), "duplicates"), options.onDuplicate));
        return status;
    }

private:
    // Default fields that all files have alike stay; a symbol that relied on another gets it as its own.
    void FindCommonDefaults() {
        for (const auto& reader : readers) defaults.push_back(DefaultsOf(*reader));
        for (const auto& [id, fields] : defaults[0]) {
            const auto has = [&, wanted = id, &same = fields](const auto& others) {
                const auto found = others.find(wanted);
                return found != others.end() && found->second == same;
            };
            if (std::ranges::all_of(defaults, has)) common.insert(id);
        }
    }

    RecordWalk AddSymbols(u32 file) {
        std::vector<OwnField> relied;
        for (const auto& [id, fields] : defaults[file]) {
            if (!common.contains(id)) relied.insert(relied.end(), fields.begin(), fields.end());
        }
        ProgressBar progress(readers[file]->Name(), 0, options.quiet);
        symwrite::Bytes bytes;
        return WalkRecords(*readers[file], !relied.empty(), [&](const Record& record) {
            symwrite::Row row(std::string(record.symbol), {}, std::nullopt);
            for (const SymbolField& field : record.own) row.fields.push_back(Owned(field));
            const size_t own = row.fields.size();
            for (const OwnField& field : relied) {
                const auto same = [&](const SymbolField& other) { return other.id == field.id; };
                if (std::ranges::none_of(record.own, same)) row.fields.push_back(field);
            }
            if (row.fields.size() == own || relied.empty())
                return symbols.Add(file, record.symbol, record.bytes);
            bytes.clear();
            symwrite::AppendSymbol(bytes, row);
            symbols.Add(file, record.symbol, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        });
    }

    void PutDefaults(Rewrite& result) {
        if (common.size() == defaults[0].size()) return;
        symwrite::Section section = {.id = 1};
        for (const SymbolField& field : readers[0]->Defaults()) {
            if (common.contains(field.id)) section.fields.push_back(Owned(field));
        }
        const symwrite::Bytes bytes = symwrite::Write({{section}, {}, {}});
        auto body = std::make_shared<Spool>();
        body->Add(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()).substr(14));
        result.ReplaceSection(*readers[0]->Directory().Find(1), body);
    }

    // Every other section, once for each id.
    void PutOtherSections(Rewrite& result) {
        std::set<u16> done = {1, 2};
        for (const auto& owner : readers) {
            for (const DirectoryEntry& entry : owner->Directory().entries) {
                if (entry.idAtStart != entry.id || !done.insert(entry.id).second) continue;
                const std::string body = SectionBody(*owner, entry.id);
                std::string merged = body;
                for (const auto& other : readers) {
                    const DirectoryEntry* const theirs = other->Directory().Find(entry.id);
                    if (other != owner && theirs != nullptr && theirs->idAtStart == entry.id) {
                        merged = MergedSection(entry.id, merged, owner->Name(), *other, rule);
                    }
                }
                if (owner == readers[0] && merged == body) continue;
                auto bytes = std::make_shared<Spool>();
                bytes->Add(merged);
                Put(result, entry.id, bytes);
            }
        }
    }

    void Put(Rewrite& result, u16 id, const std::shared_ptr<Spool>& body) {
        const DirectoryEntry* const entry = readers[0]->Directory().Find(id);
        if (entry != nullptr && entry->idAtStart == id) {
            result.ReplaceSection(*entry, body);
        } else {
            result.AddLast(id, body);
        }
    }

    const MergeOptions& options;
    OnDuplicate rule;
    Dictionary dictionary;
    std::vector<std::unique_ptr<Reader>> readers;
    std::vector<std::map<u16, std::vector<OwnField>>> defaults;  // by file
    std::set<u16> common;  // ids whose default fields all files have alike
    MergedSymbols symbols;
};

}  // namespace

RunCommand AddMerge(CLI::App& app) {
    auto options = std::make_shared<MergeOptions>();
    app.add_option("FILE... TARGET", options->files,
                   "symbol files, then the one to write; - writes the standard output")
        ->type_name("")
        ->required();
    app.add_option(
           "--on-duplicate", options->onDuplicate,
           "of a symbol that several files have: first, last, fields (of the last, and what it lacks), or "
           "error unless the records are the same")
        ->type_name("RULE")
        ->check(CLI::IsMember({"first", "last", "error", "fields"}))
        ->capture_default_str();
    app.add_flag("--dry-run", options->dryRun, "report what would be done, and write nothing");
    AddQuiet(app, options->quiet);
    app.add_option("--dictionary", options->dictionary, "names and types of the field ids, a JSON file")
        ->type_name("JSON");
    return [options] {
        if (options->files.size() < 3) throw ToolError(kExitUsage, "needs at least two FILEs, and TARGET");
        options->target = options->files.back();
        options->files.pop_back();
        const auto rule = std::ranges::find(kRules, options->onDuplicate,
                                            [](const auto& one) { return std::string(one.first); });
        return Merge(*options, rule->second).Run();
    };
}

}  // namespace tvsym
