// Tables that follow their file.

#include <filesystem>
#include <mutex>

#include "tables/columns/Options.h"
#include "tables/columns/Table.h"

namespace fs = std::filesystem;
using torva::i32;
using torva::tables::columns::PathOf;

// `one` is held by a refresh, `now` for the moment in which the table is read or replaced.
struct TvtWatch {
    struct Stamp {
        std::uintmax_t size = 0;
        fs::file_time_type changed{};
        bool operator==(const Stamp&) const = default;
    };

    Stamp StampOf() const {
        std::error_code failure;
        const std::uintmax_t size = fs::file_size(file, failure);
        return {size, fs::last_write_time(file, failure)};
    }

    std::string path;
    fs::path file;
    const TvtOptions* options = nullptr;
    TvtOptions copy{};
    std::mutex one;
    mutable std::mutex now;
    Stamp stamp;
    std::unique_ptr<TvtTable, TvtTable::Release> table;
};

namespace {

i32 NoMemory(TvtError* error) {
    if (error != nullptr) *error = {TVT_ERR_NO_MEMORY, "out of memory"};
    return TVT_ERR_NO_MEMORY;
}

}  // namespace

extern "C" {

i32 tvt_OpenWatch(const char* path, const TvtOptions* options, TvtWatch** watch, TvtError* error) {
    TvtTable* loaded = nullptr;
    if (watch == nullptr) return tvt_Load(path, options, nullptr, error);  // which refuses that
    *watch = nullptr;
    try {
        auto made = std::make_unique<TvtWatch>();
        if (path != nullptr) {
            made->path = path;
            made->file = PathOf(path);
        }
        if (options != nullptr) made->options = &(made->copy = *options);
        made->stamp = made->StampOf();  // before the load: a change during it is one for the next refresh
        const i32 result = tvt_Load(path, made->options, &loaded, error);
        if (result != TVT_OK) return result;
        made->table.reset(loaded);
        *watch = made.release();
        return TVT_OK;
    } catch (...) {
        return NoMemory(error);
    }
}

TvtTable* tvt_WatchGet(const TvtWatch* watch) {
    if (watch == nullptr) return nullptr;
    const std::lock_guard<std::mutex> lock(watch->now);
    return tvt_Retain(watch->table.get());
}

i32 tvt_WatchRefresh(TvtWatch* watch, TvtError* error) {
    if (watch == nullptr) return tvt_Load(nullptr, nullptr, nullptr, error);
    const std::lock_guard<std::mutex> only(watch->one);
    const TvtWatch::Stamp found = watch->StampOf();
    if (error != nullptr) *error = {};
    if (found == watch->stamp) return 0;
    TvtTable* loaded = nullptr;
    const i32 result = tvt_Load(watch->path.c_str(), watch->options, &loaded, error);
    if (result != TVT_OK) return result;
    std::unique_ptr<TvtTable, TvtTable::Release> table(loaded);
    watch->stamp = found;
    const std::lock_guard<std::mutex> lock(watch->now);
    watch->table.swap(table);
    return 1;
}

void tvt_CloseWatch(TvtWatch* watch) { delete watch; }

}  // extern "C"
