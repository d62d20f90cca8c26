// The same symbols in other stores, walked with the same copies: FlatBuffers over a mapped buffer, and SQLite
// with prepared statements over a mapped database.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/Delivery.h"
#include "bench/Files.h"

struct sqlite3;
struct sqlite3_stmt;

namespace bench {

void WriteFlatFile(const SymbolOptions& options, const std::string& path);

class FlatPeer {
public:
    FlatPeer(const std::string& path, const std::vector<std::uint16_t>& fieldIds);
    template <class Sink>
    void Walk(Sink& sink);

private:
    MappedFile file;
    FieldTables tables;
};

void WriteSqliteFile(const SymbolOptions& options, const std::string& path);

class SqlitePeer {
public:
    SqlitePeer(const std::string& path, const std::vector<std::uint16_t>& fieldIds);
    ~SqlitePeer();
    SqlitePeer(const SqlitePeer&) = delete;
    SqlitePeer& operator=(const SqlitePeer&) = delete;
    template <class Sink>
    void Walk(Sink& sink);

private:
    sqlite3* database = nullptr;
    sqlite3_stmt* symbols = nullptr;
    sqlite3_stmt* fields = nullptr;
    FieldTables tables;
    std::vector<symwrite::Bytes> defaultValues;
};

}  // namespace bench
