// tvsym edit: fields set or removed in the symbols that meet a condition.
#include <fmt/format.h>

#include <algorithm>

#include "tables/check/Wording.h"
#include "tools/tvsym/commands/Change.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/input/Defaults.h"
#include "tools/tvsym/output/Problems.h"

namespace tvsym {

namespace {

struct EditOptions : ChangeOptions {
    SelectOptions select;
    std::vector<std::string> set;
    std::vector<std::string> remove;
};

class Edit {
public:
    Edit(const EditOptions& options, const Dictionary& dictionary, TextCodec& codec)
        : removed(FieldIds(options.remove, dictionary)) {
        symwrite::FromJsonOptions reading;
        reading.codec = &codec;
        reading.dictionary = dictionary.Fields();
        for (const std::string& text : options.set) set.push_back(FieldFromText("--set", text, reading));
        for (const symwrite::Field& field : set) {
            const auto same = [&](const symwrite::Field& other) { return other.id == field.id; };
            if (std::ranges::count_if(set, same) > 1 || std::ranges::count(removed, field.id) > 0) {
                throw ToolError(kExitUsage, fmt::format("--set: field {} is set or removed twice", field.id));
            }
        }
        if (set.empty() && removed.empty())
            throw ToolError(kExitUsage, "needs --set or --remove: what to change");
    }

    // The changed record; null where nothing changes.
    const symwrite::Bytes* Changed(const Record& record) {
        symwrite::Row row(std::string(record.symbol), {}, std::nullopt);
        bool changed = false;
        done.assign(set.size(), false);
        for (const SymbolField& own : record.own) {
            if (std::ranges::count(removed, own.id) > 0) {
                changed = true;
                continue;
            }
            const auto found = std::ranges::find(set, own.id, &symwrite::Field::id);
            if (found == set.end()) {
                row.fields.push_back({own.id, own.tag, std::string(own.value)});
                continue;
            }
            // The first takes the value; further ones, which readers of one value pass over, go.
            const auto at = static_cast<size_t>(found - set.begin());
            changed = changed || done[at] || own.tag != found->tag || own.value != found->value;
            if (!done[at]) row.fields.push_back(*found);
            done[at] = true;
        }
        for (size_t at = 0; at < set.size(); ++at) {
            if (done[at]) continue;
            row.fields.push_back(set[at]);
            changed = true;
        }
        if (!changed) return nullptr;
        bytes.clear();
        symwrite::AppendSymbol(bytes, row);
        return &bytes;
    }

private:
    std::vector<symwrite::Field> set;
    std::vector<u16> removed;
    std::vector<bool> done;
    symwrite::Bytes bytes;
};

int RunEdit(const EditOptions& options) {
    TextCodec codec(options.encoding);
    ChangedSource file(options, options.select);
    Edit edit(options, file.dictionary, codec);
    RecordSpool records;
    u64 changed = 0;
    const std::function<bool(u64)> takes = file.selection.Takes();
    const RecordWalk walk = WalkRecords(file.reader, true, [&](const Record& record) {
        const symwrite::Bytes* const made = !takes || takes(record.number) ? edit.Changed(record) : nullptr;
        changed += made != nullptr ? 1 : 0;
        records.Add(record.symbol,
                    made == nullptr
                        ? record.bytes
                        : std::string_view(reinterpret_cast<const char*>(made->data()), made->size()));
    });
    records.AddTail(*file.source, walk);
    file.progress.Hide();
    Rewrite result(file.source, file.reader.Directory());
    if (changed > 0) result.ReplaceSection(*file.Symbols(), records.Bytes(), true);
    WriteChanged(result, &records, file.target, file.dictionary);
    ReportChange(file.target, fmt::format("{} changed, {} kept", Counted(changed, "symbols"),
                                          Grouped(records.Count() - changed)));
    return ReportProblems(file.reader, {}, walk.problems);
}

}  // namespace

RunCommand AddEdit(CLI::App& app) {
    auto options = std::make_shared<EditOptions>();
    AddChangeOptions(app, *options);
    app.add_option("--set", options->set, "give the symbols this field of their own; may be repeated")
        ->type_name("FIELD=VALUE")
        ->allow_extra_args(false);
    app.add_option("--remove", options->remove,
                   "take these fields, ids or names by commas, from the symbols; a default field then shows")
        ->delimiter(',')
        ->type_name("FIELD,...")
        ->allow_extra_args(false);
    AddWhere(app, options->select);
    return [options] { return RunEdit(*options); };
}

}  // namespace tvsym
