#include "tools/tvsym/output/QueryResult.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>

#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Replacement.h"
#include "tools/tvsym/output/Rows.h"
#include "tools/tvsym/output/Terminal.h"

#ifdef TORVA_WITH_SQLITE
#include <sqlite3.h>
#endif

namespace tvsym {

namespace {

using sql::Value;

// Unlike each other, whatever the case of their letters: JSON objects and tables need that.
std::vector<std::string> UniqueNames(const SqlQuery& query) {
    std::vector<std::string> names;
    std::set<std::string> used;
    for (std::size_t at = 0; at < query.Columns(); ++at) {
        std::string name = query.Name(at);
        const auto lower = [&] {
            std::string text = name;
            std::transform(text.begin(), text.end(), text.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
            return text;
        };
        for (int next = 2; !used.insert(lower()).second; ++next) {
            name = fmt::format("{}_{}", query.Name(at), next);
        }
        names.push_back(std::move(name));
    }
    return names;
}

bool IsNumber(const Value& value) {
    return value.kind == Value::Kind::Integer || value.kind == Value::Kind::Real;
}

// `exact`: can be converted back to the same bytes; else for people.
std::string PlainText(const Value& value, bool exact) {
    TextCodec codec;
    switch (value.kind) {
        case Value::Kind::Null:
            return "";
        case Value::Kind::Integer:
            return fmt::format("{}", value.integer);
        case Value::Kind::Real:
            return fmt::format("{}", value.real);
        case Value::Kind::Text:
            if (!exact) return codec.Display(value.bytes);
            if (value.bytes.starts_with("hex:") || value.bytes.find('\0') != std::string_view::npos ||
                !IsUtf8(value.bytes)) {
                break;
            }
            return std::string(value.bytes);
        case Value::Kind::Blob:
            if (!exact) return "0x" + Hex(value.bytes);
            break;
    }
    return "hex:" + Hex(value.bytes);
}

}  // namespace

std::string ShownValue(const Value& value) { return PlainText(value, false); }

void WriteValue(JsonWriter& json, const Value& value) {
    TextCodec codec;
    switch (value.kind) {
        case Value::Kind::Null:
            json.Value(nullptr);
            break;
        case Value::Kind::Integer:
            json.Value(value.integer);
            break;
        case Value::Kind::Real:
            json.Value(value.real);
            break;
        case Value::Kind::Text:
            json.Text(value.bytes, codec);
            break;
        case Value::Kind::Blob:
            json.Open('{').Member("hex", Hex(value.bytes)).Close('}');
            break;
    }
}

namespace {

u64 WriteTable(SqlQuery& query, Output& out) {
    std::vector<Table::Column> columns;
    bool more = query.Next();
    for (std::size_t at = 0; at < query.Columns(); ++at) {
        const bool number = more && IsNumber(query.Column(at));
        columns.push_back(
            {TextCodec().Display(query.Name(at)), number ? Table::Align::Right : Table::Align::Left});
    }
    Table table(out, columns);
    u64 rows = 0;
    for (; more; more = query.Next()) {
        ++rows;
        std::vector<std::string> cells;
        for (std::size_t at = 0; at < columns.size(); ++at)
            cells.push_back(PlainText(query.Column(at), false));
        table.Row(cells);
    }
    table.Finish();
    return rows;
}

u64 WriteCsv(SqlQuery& query, Output& out) {
    std::vector<std::string> cells;
    for (std::size_t at = 0; at < query.Columns(); ++at) cells.push_back(query.Name(at));
    std::string line;
    AppendCsvLine(line, cells);
    u64 rows = 0;
    while (query.Next()) {
        ++rows;
        for (std::size_t at = 0; at < cells.size(); ++at) cells[at] = PlainText(query.Column(at), true);
        AppendCsvLine(line, cells);
        out.Write(line);
        line.clear();
    }
    out.Write(line);
    return rows;
}

u64 WriteJsonLines(SqlQuery& query, Output& out) {
    const std::vector<std::string> names = UniqueNames(query);
    JsonWriter json(out);
    u64 rows = 0;
    while (query.Next()) {
        ++rows;
        json.Open('{');
        for (std::size_t at = 0; at < names.size(); ++at) {
            WriteValue(json.AnyKey(names[at]), query.Column(at));
        }
        json.Close('}').EndLine();
    }
    json.Flush();
    return rows;
}

}  // namespace

u64 WriteQuery(SqlQuery& query, Output& out, const std::string& format) {
    return format == "csv"      ? WriteCsv(query, out)
           : format == "ndjson" ? WriteJsonLines(query, out)
                                : WriteTable(query, out);
}

#ifdef TORVA_WITH_SQLITE

namespace {

class ResultTable {
public:
    ResultTable(const std::string& path, std::string targetName, const std::vector<std::string>& columns)
        : name(std::move(targetName)) {
        Check(sqlite3_open_v2(path.c_str(), &database,
                              SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr));
        // Without types, which would turn texts of digits into numbers.
        std::string names;
        std::string marks;
        for (const std::string& column : columns) {
            names += names.empty() ? "\"" : ",\"";
            for (const char c : column) names.append(c == '"' ? 2 : 1, c);
            names += '"';
            marks += marks.empty() ? "?" : ",?";
        }
        Run("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; BEGIN; CREATE TABLE result (" + names + ")");
        Check(sqlite3_prepare_v2(database, ("INSERT INTO result VALUES (" + marks + ")").c_str(), -1, &insert,
                                 nullptr));
    }
    ResultTable(const ResultTable&) = delete;
    ResultTable& operator=(const ResultTable&) = delete;
    ~ResultTable() {
        sqlite3_finalize(insert);
        sqlite3_close(database);
    }

    void Add(const SqlQuery& query) {
        for (std::size_t column = 0; column < query.Columns(); ++column) {
            Bind(static_cast<int>(column) + 1, query.Column(column));
        }
        Check(sqlite3_step(insert));
        sqlite3_reset(insert);
    }

    void Finish() { Run("COMMIT"); }

private:
    void Bind(int at, const Value& value) {
        const char* const bytes = value.bytes.empty() ? "" : value.bytes.data();
        switch (value.kind) {
            case Value::Kind::Null:
                return Check(sqlite3_bind_null(insert, at));
            case Value::Kind::Integer:
                return Check(sqlite3_bind_int64(insert, at, value.integer));
            case Value::Kind::Real:
                return Check(sqlite3_bind_double(insert, at, value.real));
            case Value::Kind::Text:
                return Check(
                    sqlite3_bind_text64(insert, at, bytes, value.bytes.size(), SQLITE_STATIC, SQLITE_UTF8));
            case Value::Kind::Blob:
                return Check(sqlite3_bind_blob64(insert, at, bytes, value.bytes.size(), SQLITE_STATIC));
        }
    }

    void Run(const std::string& sql) {
        Check(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr));
    }

    void Check(int result) {
        if (result != SQLITE_OK && result != SQLITE_DONE) {
            throw ToolError(kExitUnreadable, fmt::format("{}: {}", name, sqlite3_errmsg(database)));
        }
    }

    std::string name;
    sqlite3* database = nullptr;
    sqlite3_stmt* insert = nullptr;
};

}  // namespace

void SaveQuery(SqlQuery& query, const std::string& target, const std::vector<std::string>& sources) {
    for (const std::string& source : sources) Replacement::RefuseSource(target, source);
    Replacement replacement(target, "");
    {
        ResultTable table(replacement.Path(), target, UniqueNames(query));
        while (query.Next()) table.Add(query);
        table.Finish();
    }
    replacement.TakePlace();
}

#else

void SaveQuery(SqlQuery&, const std::string&, const std::vector<std::string>&) {}

#endif

}  // namespace tvsym
