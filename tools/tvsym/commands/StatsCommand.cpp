// tvsym stats: how much of what is in the file, by section and by field id.
#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <set>
#include <unordered_set>

#include "tables/Hash.h"
#include "tables/check/Wording.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/Selection.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/SymbolPrinter.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

struct StatsOptions : FileOptions {
    SelectOptions select;
    bool json = false;
};

// Counts different values in bounded memory: exactly as long as there is room for their hashes, which all
// fields share; then by the longest runs of zero bits among the hashes that fall into each of 1,024
// registers, which is right within some 3 percent.
class DistinctCount {
public:
    void Add(std::string_view value, size_t& room) {
        const u64 hash = Mixed(Hash(value));
        if (!registers.empty()) {
            return Register(hash);
        }
        if (exact.contains(hash)) {
            return;
        }
        if (room > 0 && exact.size() < kExact) {
            exact.insert(hash);
            --room;
            return;
        }
        registers.resize(kRegisters);
        for (const u64 one : exact) {
            Register(one);
        }
        room += exact.size();
        exact = {};
        Register(hash);
    }

    bool IsExact() const { return registers.empty(); }

    u64 Count() const {
        if (IsExact()) {
            return exact.size();
        }
        double sum = 0;
        double unused = 0;
        for (const u8 one : registers) {
            sum += std::ldexp(1.0, -one);
            unused += one == 0 ? 1 : 0;
        }
        constexpr double kCount = kRegisters;
        const double estimate = 0.7213 / (1 + 1.079 / kCount) * kCount * kCount / sum;
        const bool few = estimate <= 2.5 * kCount && unused > 0;
        return static_cast<u64>(few ? kCount * std::log(kCount / unused) : estimate);
    }

private:
    static constexpr size_t kExact = 16384;
    static constexpr size_t kRegisters = 1024;

    // The bits of a hash mixed once more, so that all of them depend on all bytes.
    static u64 Mixed(u64 hash) {
        hash = (hash ^ hash >> 33) * 0xff51afd7ed558ccd;
        hash = (hash ^ hash >> 33) * 0xc4ceb9fe1a85ec53;
        return hash ^ hash >> 33;
    }

    void Register(u64 hash) {
        u8& one = registers[hash % kRegisters];
        one = std::max(one, static_cast<u8>(std::countl_zero(hash / kRegisters | 1) - 9));
    }

    std::unordered_set<u64> exact;
    std::vector<u8> registers;
};

// A value that can be put in order with others of its type.
struct Ranked {
    ValueType type = ValueType::Hex;
    std::string payload;
};

int Compare(ValueType type, std::string_view payload, const Ranked& other) {
    if (type != other.type) {
        return type < other.type ? -1 : 1;
    }
    return CompareValues(type, payload, other.payload);
}

struct FieldStats {
    u64 own = 0;
    u64 defaults = 0;
    std::set<u8> tags;
    DistinctCount distinct;
    std::optional<Ranked> smallest;
    std::optional<Ranked> largest;
};

struct SectionStats {
    Walk walk;
    u64 longestText = 0;
};

constexpr size_t kShownOfValue = 32;

std::string Shortened(const std::string& text) {
    std::string_view rest = text;
    size_t width = 0;
    while (!rest.empty() && width < kShownOfValue) {
        const std::string_view before = rest;
        NextCharacter(rest);
        width += DisplayWidth(before.substr(0, before.size() - rest.size()));
    }
    return rest.empty() ? text : text.substr(0, text.size() - rest.size()) + "...";
}

class Stats {
public:
    explicit Stats(const StatsOptions& statsOptions)
        : options(statsOptions),
          dictionary(LoadDictionary(options.dictionary, options.file)),
          codec(options.encoding),
          progress(options.file, 0, options.quiet),
          source(OpenSource(options.file)),
          selection(options.select, options, source, dictionary),
          reader(source, {options.Mode(), {}, progress.Callback(), 0, selection.Takes()}) {}

    int Run() {
        progress.SetTotal(reader.Directory().fileSize);
        std::vector<Problem> problems;
        std::vector<u16> ids;
        for (const DirectoryEntry& entry : reader.Directory().entries) {
            ids.push_back(entry.id);
            if (!entry.firstOfId || !FindSection(entry.id)) {
                continue;
            }
            SectionStats& stats = sections[entry.id];
            stats = entry.id == 2 ? Symbols() : Elements(entry.id);
            problems.insert(problems.end(), stats.walk.problems.begin(), stats.walk.problems.end());
        }
        progress.Hide();
        Output out;
        if (options.json) {
            PrintJson(out);
        } else {
            PrintTables(out);
        }
        out.Close();
        return ReportProblems(reader, ids, problems);
    }

private:
    SectionStats Elements(u16 id) {
        SectionStats stats;
        const SectionInfo& section = *FindSection(id);
        stats.walk = reader.WalkSection(id, [&](size_t level, std::span<const Cell> cells) {
            for (size_t at = 0; at < cells.size(); ++at) {
                const ColumnKind kind = section.levels[level].columns[at].kind;
                const bool text =
                    kind == ColumnKind::Text || (kind == ColumnKind::Field && cells[at].number == kTextTag);
                stats.longestText = std::max<u64>(stats.longestText, text ? cells[at].bytes.size() : 0);
            }
        });
        return stats;
    }

    SectionStats Symbols() {
        SectionStats stats;
        stats.walk = reader.WalkSymbols([&](const SymbolView& symbol) {
            stats.longestText = std::max<u64>(stats.longestText, symbol.text.size());
            for (const SymbolField& field : symbol.fields) {
                Count(field);
                if (field.tag == kTextTag && !field.isDefault) {
                    stats.longestText = std::max<u64>(stats.longestText, field.value.size());
                }
            }
            return true;
        });
        return stats;
    }

    void Count(const SymbolField& field) {
        FieldStats& stats = fields[field.id];
        ++(field.isDefault ? stats.defaults : stats.own);
        stats.tags.insert(field.tag);
        if (field.tag != kTextTag && field.value.empty()) {
            return;  // null
        }
        stats.distinct.Add(field.value, room);
        const ValueType type = dictionary.TypeOf(field.id, field.tag, field.value.size());
        if (!stats.smallest || Compare(type, field.value, *stats.smallest) < 0) {
            stats.smallest = Ranked{type, std::string(field.value)};
        }
        if (!stats.largest || Compare(type, field.value, *stats.largest) > 0) {
            stats.largest = Ranked{type, std::string(field.value)};
        }
    }

    std::string Shown(const std::optional<Ranked>& value) {
        return value ? Shortened(ValueText(value->type, value->payload, codec)) : "";
    }

    static std::string TagList(const std::set<u8>& tags) { return fmt::format("{}", fmt::join(tags, " ")); }

    void PrintTables(Output& out) {
        using enum Table::Align;
        Table table(out,
                    {{"id", Right}, {"section"}, {"bytes", Right}, {"longest text", Right}, {"elements"}});
        for (const auto& [id, stats] : sections) {
            table.Row({fmt::format("{}", id), SectionTitle(id), Grouped(reader.Directory().Find(id)->size),
                       stats.longestText ? Grouped(stats.longestText) : "", RowsText(id, stats.walk.rows)},
                      stats.walk.present && stats.walk.problems.empty() ? Style::Plain : Style::Bad);
        }
        table.Finish();
        if (fields.empty()) {
            return;
        }
        out.Write("\n");
        Table byField(out, {{"field", Right},
                            {"name"},
                            {"own", Right},
                            {"default", Right},
                            {"tags"},
                            {"distinct", Right},
                            {"smallest"},
                            {"largest"}});
        for (const auto& [id, stats] : fields) {
            byField.Row({fmt::format("{}", id), dictionary.Find(id) ? dictionary.NameOf(id) : "",
                         Grouped(stats.own), Grouped(stats.defaults), TagList(stats.tags),
                         (stats.distinct.IsExact() ? "" : "~") + Grouped(stats.distinct.Count()),
                         Shown(stats.smallest), Shown(stats.largest)});
        }
        byField.Finish();
    }

    void PrintJson(Output& out) {
        JsonWriter json(out);
        json.Open('{').Key("sections").Open('[');
        for (const auto& [id, stats] : sections) {
            json.Line();
            json.Open('{').Member("id", id).Member("name", FindSection(id)->name);
            json.Member("bytes", reader.Directory().Find(id)->size).Member("longestText", stats.longestText);
            json.Key("elements").Rows(id, stats.walk.rows).Close('}');
        }
        json.Close(']').Line();
        json.Key("fields").Open('[');
        for (const auto& [id, stats] : fields) {
            json.Line();
            json.Open('{').Member("id", id).Key("name");
            if (const FieldDefinition* definition = dictionary.Find(id)) {
                json.Value(definition->name);
            } else {
                json.Value(nullptr);
            }
            json.Member("own", stats.own).Member("default", stats.defaults).Key("tags").Open('[');
            for (const u8 tag : stats.tags) {
                json.Value(tag);
            }
            json.Close(']').Member("distinct", stats.distinct.Count());
            json.Member("distinctExact", stats.distinct.IsExact());
            WriteValue(json.Key("smallest"), stats.smallest);
            WriteValue(json.Key("largest"), stats.largest);
            json.Close('}');
        }
        json.Close(']').Close('}').EndLine();
        json.Flush();
    }

    void WriteValue(JsonWriter& json, const std::optional<Ranked>& value) {
        if (value) {
            json.Payload(value->type, value->payload, codec);
        } else {
            json.Value(nullptr);
        }
    }

    const StatsOptions& options;
    Dictionary dictionary;
    TextCodec codec;
    ProgressBar progress;
    std::shared_ptr<const FileSource> source;
    Selection selection;
    Reader reader;
    std::map<u16, SectionStats> sections;
    std::map<u16, FieldStats> fields;
    size_t room = size_t{1} << 18;  // hashes that may be held for exact counts
};

}  // namespace

RunCommand AddStats(CLI::App& app) {
    auto options = std::make_shared<StatsOptions>();
    AddFileOptions(app, *options);
    AddValueOptions(app, *options);
    AddWhere(app, options->select);
    app.add_flag("--json", options->json, "one JSON document");
    return [options] { return Stats(*options).Run(); };
}

}  // namespace tvsym
