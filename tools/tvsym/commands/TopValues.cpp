#include "tools/tvsym/commands/TopValues.h"

#include <fmt/format.h>

#include <algorithm>

#include "tables/check/Wording.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/QueryResult.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

constexpr u64 kBar = 40;  // characters, of the most frequent value

struct Group {
    std::string shown;
    u64 symbols;
};

void PrintTable(Output& out, SqlQuery& query, const std::string& field) {
    std::vector<Group> groups;
    u64 most = 1;
    while (query.Next()) {
        const sql::Value value = query.Column(0);
        const bool none = value.kind == sql::Value::Kind::Null;
        const auto symbols = static_cast<u64>(query.Column(1).integer);
        groups.push_back({none ? "(none)" : ShownValue(value), symbols});
        most = std::max(most, symbols);
    }
    Table table(out, {{TextCodec().Display(field)}, {"symbols", Table::Align::Right}, {""}});
    for (const Group& group : groups) {
        const u64 length = (group.symbols * kBar + most - 1) / most;
        table.Row({group.shown, Grouped(group.symbols), std::string(static_cast<size_t>(length), '#')});
    }
    table.Finish();
}

void PrintLine(JsonWriter& json, SqlQuery& query, const std::string& field) {
    json.Open('{').Member("field", std::string_view(field)).Key("values").Open('[');
    while (query.Next()) {
        json.Open('{');
        WriteValue(json.Key("value"), query.Column(0));
        json.Member("symbols", query.Column(1).integer).Close('}');
    }
    json.Close(']').Close('}').EndLine();
}

}  // namespace

int PrintTopValues(const TopOptions& top, SelectOptions select, const FileOptions& file, bool json) {
    const Dictionary dictionary = LoadDictionary(file.dictionary, file.file);
    const std::shared_ptr<const FileSource> source = OpenSource(file.file);
    select.everyField = true;
    Selection selection(select, file, source, dictionary);
    std::vector<std::string> fields = selection.Columns().Names();
    if (select.columns.empty()) fields.erase(fields.begin());  // the symbol
    if (!top.by.empty() && !select.columns.empty()) {
        throw ToolError(kExitUsage, "--by names one field, --columns others: use one of them");
    }
    if (!top.by.empty()) {
        const u16 id = FieldIds({top.by}, dictionary)[0];
        const FieldDefinition* definition = dictionary.Find(id);
        fields = {definition ? definition->name : fmt::format("field_{}", id)};
    }
    Output out;
    JsonWriter lines(out);
    for (const std::string& field : fields) {
        SqlQuery query = selection.Values(field, top.top);
        if (json) {
            PrintLine(lines, query, field);
        } else {
            if (&field != &fields.front()) out.Write("\n");
            PrintTable(out, query, field);
        }
    }
    lines.Flush();
    out.Close();
    ReportEncoding(file.file, selection.AllDecoded(), file.encoding);
    return ReportProblems(source->Name(), selection.Problems());
}

}  // namespace tvsym
