// TorvaTables for C++20: tables that free themselves, columns as spans, rows, lookup, and tables that follow
// their file. Header-only, on top of TorvaTables.h, whose notes on values, damage, memory and threads apply
// here too.
#ifndef TORVA_TABLES_HPP
#define TORVA_TABLES_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "TorvaTables.h"

namespace torvatables {

// A load or an export that failed. Code() is a TVT_ERR_ code.
class Error : public std::runtime_error {
public:
    Error(std::int32_t errorCode, const std::string& message)
        : std::runtime_error(message), code(errorCode) {}
    explicit Error(const TvtError& error) : Error(error.code, error.message) {}
    std::int32_t Code() const { return code; }

private:
    std::int32_t code;
};

struct Options : TvtOptions {
    Options() : TvtOptions() { tvt_InitOptions(this); }
};

// The TVT_ type that a C++ type stores; TVT_NULL for no such type. TVT_DATE is read as std::int32_t.
template <class T>
constexpr std::uint8_t TypeOf() {
    if (std::is_same_v<T, std::int8_t>) return TVT_INT8;
    if (std::is_same_v<T, std::int16_t>) return TVT_INT16;
    if (std::is_same_v<T, std::int32_t>) return TVT_INT32;
    if (std::is_same_v<T, std::int64_t>) return TVT_INT64;
    if (std::is_same_v<T, std::uint8_t>) return TVT_UINT8;
    if (std::is_same_v<T, std::uint16_t>) return TVT_UINT16;
    if (std::is_same_v<T, std::uint32_t>) return TVT_UINT32;
    if (std::is_same_v<T, std::uint64_t>) return TVT_UINT64;
    if (std::is_same_v<T, float>) return TVT_FLOAT;
    if (std::is_same_v<T, double>) return TVT_DOUBLE;
    return TVT_NULL;
}

// A column of a table, valid as long as the table. Rows are not checked.
class Column {
public:
    explicit Column(const TvtColumn& from) : column(from) {}

    const TvtColumn& Raw() const { return column; }
    std::string_view Name() const { return column.name; }
    std::int64_t Rows() const { return column.rows; }

    bool IsNull(std::int64_t row) const {
        if (column.type == TVT_NULL) return true;
        return column.validity != nullptr && !Bit(column.validity, row);
    }

    // With TVT_OWN_FLAGS: whether the value is the record's own.
    bool IsOwn(std::int64_t row) const { return column.own != nullptr && Bit(column.own, row); }

    // One element for each row; those of null rows are 0. Throws Error where the column stores another type.
    template <class T>
    std::span<const T> Values() const {
        const bool date = column.type == TVT_DATE && std::is_same_v<T, std::int32_t>;
        if (!date && (TypeOf<T>() == TVT_NULL || TypeOf<T>() != column.type)) {
            throw Error(TVT_ERR_PARAM,
                        "column " + std::string(column.name) + " stores values of another type");
        }
        return {static_cast<const T*>(column.values), static_cast<std::size_t>(column.rows)};
    }

    // A cell as a number, whatever the width of the column; nothing for null, texts and bytes.
    template <class T>
    std::optional<T> Number(std::int64_t row) const {
        if (IsNull(row)) return std::nullopt;
        switch (column.type) {
            case TVT_BOOL:
                return static_cast<T>(Bit(static_cast<const std::uint8_t*>(column.values), row));
            case TVT_INT8:
                return At<T, std::int8_t>(row);
            case TVT_INT16:
                return At<T, std::int16_t>(row);
            case TVT_INT32:
            case TVT_DATE:
                return At<T, std::int32_t>(row);
            case TVT_INT64:
                return At<T, std::int64_t>(row);
            case TVT_UINT8:
                return At<T, std::uint8_t>(row);
            case TVT_UINT16:
                return At<T, std::uint16_t>(row);
            case TVT_UINT32:
                return At<T, std::uint32_t>(row);
            case TVT_UINT64:
                return At<T, std::uint64_t>(row);
            case TVT_FLOAT:
                return At<T, float>(row);
            case TVT_DOUBLE:
                return At<T, double>(row);
            default:
                return std::nullopt;
        }
    }

    // A cell's bytes; nothing for null and for numbers.
    std::optional<std::string_view> Text(std::int64_t row) const {
        if (IsNull(row)) return std::nullopt;
        const auto* const bytes = static_cast<const char*>(column.values);
        if (column.type == TVT_FIXED) return std::string_view(bytes + row * column.width, column.width);
        if (column.type != TVT_TEXT && column.type != TVT_BINARY) return std::nullopt;
        const std::int64_t at = column.indices != nullptr ? column.indices[row] : row;
        return std::string_view(bytes + column.offsets[at],
                                static_cast<std::size_t>(column.offsets[at + 1] - column.offsets[at]));
    }

    // The numbers of a cell of a column that stores lists of T; none for null. Throws Error where the column
    // stores something else.
    template <class T>
    std::span<const T> List(std::int64_t row) const {
        if (column.type != TVT_LIST || column.width != sizeof(T) || !std::is_unsigned_v<T>)
            throw Error(TVT_ERR_PARAM, "column " + std::string(column.name) + " stores no such lists");
        if (IsNull(row)) return {};
        return {static_cast<const T*>(column.values) + column.offsets[row],
                static_cast<std::size_t>(column.offsets[row + 1] - column.offsets[row])};
    }

private:
    static bool Bit(const std::uint8_t* bits, std::int64_t at) { return (bits[at / 8] >> (at % 8) & 1) != 0; }
    template <class T, class Stored>
    T At(std::int64_t row) const {
        return static_cast<T>(static_cast<const Stored*>(column.values)[row]);
    }

    TvtColumn column;
};

class Table;

// A row of a table, valid as long as the table.
class Row {
public:
    Row(const Table& rowTable, std::int64_t rowNumber) : table(&rowTable), number(rowNumber) {}
    std::int64_t Number() const { return number; }
    std::string_view Symbol() const;
    template <class T>
    std::optional<T> Number(std::string_view column) const;  // Error for a column that does not exist
    std::optional<std::string_view> Text(std::string_view column) const;

private:
    const Table* table;
    std::int64_t number;
};

// A table and its columns. Copies share the memory; any number of threads may read.
class Table {
public:
    // Loads a file, or its bytes, which are not needed afterwards. Throws Error.
    static Table Load(const std::string& path, const Options& options = {}) {
        return Made([&](TvtTable** table, TvtError* error) {
            return tvt_Load(path.c_str(), &options, table, error);
        });
    }
    static Table Load(std::span<const std::byte> bytes, const Options& options = {}) {
        return Made([&](TvtTable** table, TvtError* error) {
            return tvt_LoadBytes(bytes.data(), bytes.size(), &options, table, error);
        });
    }

    std::int64_t Rows() const { return Columns().front().Rows(); }
    const std::vector<Column>& Columns() const { return shared->columns; }
    const TvtTable* Raw() const { return shared->table; }

    TvtReport Report() const {
        TvtReport report;
        tvt_GetReport(Raw(), &report);
        return report;
    }

    // The next level of a section; nothing where there is no further one.
    std::optional<Table> Below() const {
        TvtTable* const below = tvt_Below(Raw());
        if (below == nullptr) return std::nullopt;
        return Of(tvt_Retain(below));
    }

    // Takes over a reference to `raw`, which must not be null.
    static Table Of(TvtTable* raw) {
        return Made([&](TvtTable** table, TvtError*) {
            *table = raw;
            return TVT_OK;
        });
    }

    // Writes the symbols to `path`, with everything else from the file `base`; see tvt_Write. Throws Error.
    void Write(const std::string& path, const std::string& base, const Options& options = {}) const {
        TvtError error;
        ArrowArrayStream stream;
        if (tvt_ExportStream(Raw(), 0, &stream, &error) != TVT_OK ||
            tvt_Write(path.c_str(), base.empty() ? nullptr : base.c_str(), &stream, &options, &error) !=
                TVT_OK)
            throw Error(error);
    }

    // The column of that name; null if there is none.
    const Column* FindColumn(std::string_view name) const {
        for (const Column& column : Columns()) {
            if (column.Name() == name) return &column;
        }
        return nullptr;
    }

    // The column of that name. Throws Error if there is none.
    const Column& operator[](std::string_view name) const {
        if (const Column* const column = FindColumn(name)) return *column;
        throw Error(TVT_ERR_PARAM, "the table has no column " + std::string(name));
    }

    Row operator[](std::int64_t row) const { return {*this, row}; }

    // The first row with this symbol. Throws Error where the index cannot be built.
    std::optional<Row> Find(std::string_view symbol) const {
        const std::int64_t row = tvt_Find(Raw(), symbol.data(), symbol.size());
        if (row == TVT_ERR_NO_MEMORY) throw Error(TVT_ERR_NO_MEMORY, "out of memory");
        return row < 0 ? std::nullopt : std::optional(Row(*this, row));
    }

    // Up to `most` rows whose symbol begins with `prefix`, sorted, after the first `skip`.
    std::vector<Row> Prefix(std::string_view prefix, std::size_t most, std::int64_t skip = 0) const {
        most = std::min(most, static_cast<std::size_t>(Rows()));
        std::vector<std::int64_t> numbers(most);
        const std::int64_t all = tvt_Prefix(Raw(), prefix.data(), prefix.size(), skip, numbers.data(),
                                            static_cast<std::int64_t>(most));
        if (all < 0) throw Error(static_cast<std::int32_t>(all), "the prefix cannot be looked up");
        std::vector<Row> rows;
        for (std::size_t i = 0; i < most && static_cast<std::int64_t>(i) < all - skip; ++i)
            rows.emplace_back(*this, numbers[i]);
        return rows;
    }

private:
    struct Shared {
        TvtTable* table = nullptr;
        std::vector<Column> columns;
        Shared() = default;
        Shared(const Shared&) = delete;
        Shared& operator=(const Shared&) = delete;
        ~Shared() { tvt_Release(table); }
    };

    template <class Load>
    static Table Made(Load load) {
        auto made = std::make_shared<Shared>();
        TvtError error;
        if (load(&made->table, &error) != TVT_OK) throw Error(error);
        TvtColumn column;
        for (std::int32_t i = 0; tvt_GetColumn(made->table, i, &column) == TVT_OK; ++i)
            made->columns.emplace_back(column);
        Table table;
        table.shared = std::move(made);
        return table;
    }

    Table() = default;

    std::shared_ptr<const Shared> shared;
};

inline std::string_view Row::Symbol() const { return *table->Columns().front().Text(number); }

template <class T>
std::optional<T> Row::Number(std::string_view column) const {
    return (*table)[column].template Number<T>(number);
}

inline std::optional<std::string_view> Row::Text(std::string_view column) const {
    return (*table)[column].Text(number);
}

// A table that follows its file. Get returns the current table, which stays valid for as long as somebody
// holds it; Refresh loads the file again if it was replaced or rewritten. Any thread may call either at any
// time; while a load runs, Get returns the previous table.
class TableWatch {
public:
    enum class Result { unchanged, reloaded, failed };

    // Throws Error. What `options` points to must outlive the watch.
    explicit TableWatch(const std::string& path, const Options& options = {}) {
        TvtError error;
        TvtWatch* opened = nullptr;
        if (tvt_OpenWatch(path.c_str(), &options, &opened, &error) != TVT_OK) throw Error(error);
        watch.reset(opened);
    }

    Table Get() const { return Table::Of(tvt_WatchGet(watch.get())); }

    // After a load that failed the table stays as it was, Reason() says why, and the next Refresh tries
    // again.
    Result Refresh() {
        TvtError error{};
        const std::int32_t result = tvt_WatchRefresh(watch.get(), &error);
        const std::lock_guard<std::mutex> lock(mutex);
        reason = error.message;
        return result < 0 ? Result::failed : result == 0 ? Result::unchanged : Result::reloaded;
    }

    // Why the last Refresh failed; empty if it did not fail.
    std::string Reason() const {
        const std::lock_guard<std::mutex> lock(mutex);
        return reason;
    }

private:
    struct Close {
        void operator()(TvtWatch* opened) const { tvt_CloseWatch(opened); }
    };

    std::unique_ptr<TvtWatch, Close> watch;
    mutable std::mutex mutex;
    std::string reason;
};

}  // namespace torvatables

#endif
