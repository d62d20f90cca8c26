#include "bench/Peers.h"

#include <sqlite3.h>

#include <filesystem>
#include <fstream>

#include "Symbols_generated.h"

namespace bench {
namespace {

// A value as in a symbol file, a text with its zero byte.
std::string_view Payload(const symwrite::Field& field) {
    return {field.value.c_str(), field.value.size() + (field.tag == symwrite::kTextTag ? 1 : 0)};
}

}  // namespace

void WriteFlatFile(const SymbolOptions& options, const std::string& path) {
    SymbolMaker maker(options);
    flatbuffers::FlatBufferBuilder builder(1U << 20U);
    const auto addFields = [&](const std::vector<symwrite::Field>& fields) {
        std::vector<flatbuffers::Offset<flat::Field>> offsets;
        for (const symwrite::Field& field : fields) {
            const std::string_view payload = Payload(field);
            const auto value =
                builder.CreateVector(reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size());
            offsets.push_back(flat::CreateField(builder, field.id, field.tag, value));
        }
        return builder.CreateVector(offsets);
    };
    const auto defaults = addFields(maker.Defaults());
    std::vector<flatbuffers::Offset<flat::Symbol>> symbols;
    for (std::uint32_t i = 0; i < options.symbols; ++i) {
        const symwrite::Row symbol = maker.Next();
        const auto fields = addFields(symbol.fields);
        symbols.push_back(flat::CreateSymbol(builder, builder.CreateString(symbol.cells[0].bytes), fields));
    }
    builder.Finish(flat::CreateSymbols(builder, defaults, builder.CreateVector(symbols)));
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(builder.GetBufferPointer()),
              static_cast<std::streamsize>(builder.GetSize()));
    if (!out.flush()) Fail("can't write " + path);
}

FlatPeer::FlatPeer(const std::string& path, const std::vector<std::uint16_t>& fieldIds)
    : file(path), tables(fieldIds) {
    for (const flat::Field* field : *flat::GetSymbols(file.Data())->defaults()) {
        tables.AddDefault(field->id(), field->tag(), field->value()->data(), field->value()->size());
    }
}

template <class Sink>
void FlatPeer::Walk(Sink& sink) {
    char text[kTextSize];
    Delivery<Sink> delivery(sink);
    for (const flat::Symbol* symbol : *flat::GetSymbols(file.Data())->symbols()) {
        std::memcpy(text, symbol->text()->c_str(), symbol->text()->size() + 1);
        sink.Text(text);
        tables.BeginRecord();
        for (const flat::Field* field : *symbol->fields()) {
            if (tables.Own(field->id())) {
                delivery.Add(field->id(), field->tag(), field->value()->data(), field->value()->size());
            }
        }
        tables.EndRecord(delivery);
    }
}

namespace {

void Check(sqlite3* database, int result) {
    if (result != SQLITE_OK) Fail(std::string("SQLite: ") + sqlite3_errmsg(database));
}

sqlite3_stmt* Prepare(sqlite3* database, const char* text) {
    sqlite3_stmt* statement = nullptr;
    Check(database, sqlite3_prepare_v3(database, text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
    return statement;
}

void InsertFields(sqlite3_stmt* insert, std::int64_t symbol, const std::vector<symwrite::Field>& fields) {
    for (const symwrite::Field& field : fields) {
        const std::string_view payload = Payload(field);
        sqlite3_bind_int64(insert, 1, symbol);
        sqlite3_bind_int(insert, 2, field.id);
        sqlite3_bind_int(insert, 3, field.tag);
        sqlite3_bind_blob(insert, 4, payload.data(), static_cast<int>(payload.size()), SQLITE_STATIC);
        if (sqlite3_step(insert) != SQLITE_DONE) Fail("SQLite: a row was not stored");
        sqlite3_reset(insert);
    }
}

constexpr std::int64_t kDefaults = -1;  // the "symbol" of the default fields

}  // namespace

// Fields are stored in the order in which they are read, so that a walk is one pass over two tables.
void WriteSqliteFile(const SymbolOptions& options, const std::string& path) {
    std::filesystem::remove(path);
    sqlite3* database = nullptr;
    Check(database, sqlite3_open(path.c_str(), &database));
    Check(database,
          sqlite3_exec(database,
                       "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;"
                       "CREATE TABLE symbols(number INTEGER PRIMARY KEY, text TEXT);"
                       "CREATE TABLE fields(position INTEGER PRIMARY KEY, symbol INTEGER, id INTEGER,"
                       " tag INTEGER, value BLOB); BEGIN",
                       nullptr, nullptr, nullptr));
    sqlite3_stmt* const insertSymbol = Prepare(database, "INSERT INTO symbols VALUES(?,?)");
    sqlite3_stmt* const insertField = Prepare(database, "INSERT INTO fields VALUES(NULL,?,?,?,?)");
    SymbolMaker maker(options);
    InsertFields(insertField, kDefaults, maker.Defaults());
    for (std::int64_t i = 0; i < options.symbols; ++i) {
        const symwrite::Row symbol = maker.Next();
        sqlite3_bind_int64(insertSymbol, 1, i);
        sqlite3_bind_text(insertSymbol, 2, symbol.cells[0].bytes.c_str(), -1, SQLITE_STATIC);
        if (sqlite3_step(insertSymbol) != SQLITE_DONE) Fail("SQLite: a row was not stored");
        sqlite3_reset(insertSymbol);
        InsertFields(insertField, i, symbol.fields);
    }
    Check(database, sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr));
    sqlite3_finalize(insertSymbol);
    sqlite3_finalize(insertField);
    sqlite3_close(database);
}

SqlitePeer::SqlitePeer(const std::string& path, const std::vector<std::uint16_t>& fieldIds)
    : tables(fieldIds) {
    Check(database,
          sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr));
    Check(database, sqlite3_exec(database, "PRAGMA mmap_size=4294967296; PRAGMA locking_mode=EXCLUSIVE",
                                 nullptr, nullptr, nullptr));
    symbols = Prepare(database, "SELECT text FROM symbols ORDER BY number");
    fields =
        Prepare(database, "SELECT symbol, id, tag, value FROM fields WHERE position > ? ORDER BY position");
    sqlite3_stmt* const rows = Prepare(database, "SELECT id, tag, value FROM fields WHERE symbol = -1");
    std::vector<std::pair<std::uint16_t, std::uint8_t>> kinds;
    while (sqlite3_step(rows) == SQLITE_ROW) {
        const auto* const value = static_cast<const std::uint8_t*>(sqlite3_column_blob(rows, 2));
        kinds.emplace_back(sqlite3_column_int(rows, 0), sqlite3_column_int(rows, 1));
        defaultValues.emplace_back(value, value + sqlite3_column_bytes(rows, 2));
    }
    sqlite3_finalize(rows);
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        tables.AddDefault(kinds[i].first, kinds[i].second, defaultValues[i].data(), defaultValues[i].size());
    }
    sqlite3_bind_int64(fields, 1, static_cast<sqlite3_int64>(kinds.size()));
}

SqlitePeer::~SqlitePeer() {
    sqlite3_finalize(symbols);
    sqlite3_finalize(fields);
    sqlite3_close(database);
}

template <class Sink>
void SqlitePeer::Walk(Sink& sink) {
    char text[kTextSize];
    Delivery<Sink> delivery(sink);
    bool row = sqlite3_step(fields) == SQLITE_ROW;
    for (std::int64_t number = 0; sqlite3_step(symbols) == SQLITE_ROW; ++number) {
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(symbols, 0));
        std::memcpy(text, sqlite3_column_text(symbols, 0), size + 1);
        sink.Text(text);
        tables.BeginRecord();
        while (row && sqlite3_column_int64(fields, 0) == number) {
            const auto id = static_cast<std::uint16_t>(sqlite3_column_int(fields, 1));
            if (tables.Own(id)) {
                const auto tag = static_cast<std::uint8_t>(sqlite3_column_int(fields, 2));
                const auto* const value = static_cast<const std::uint8_t*>(sqlite3_column_blob(fields, 3));
                delivery.Add(id, tag, value, static_cast<std::size_t>(sqlite3_column_bytes(fields, 3)));
            }
            row = sqlite3_step(fields) == SQLITE_ROW;
        }
        tables.EndRecord(delivery);
    }
    sqlite3_reset(symbols);
    sqlite3_reset(fields);
}

template void FlatPeer::Walk(Checksum& sink);
template void FlatPeer::Walk(Swallow& sink);
template void SqlitePeer::Walk(Checksum& sink);
template void SqlitePeer::Walk(Swallow& sink);

}  // namespace bench
