#include "tables/columns/Options.h"

namespace torva::tables {

LoadOptions ReadOptions(const TvtOptions* options, const char* /*path*/) {
    LoadOptions read;
    read.specOf = [](u16 id) {
        ColumnSpec spec;
        spec.id = id;
        spec.name = std::to_string(id);
        return spec;
    };
    if (options == nullptr) return read;
    constexpr u32 kFlags = TVT_NO_DEFAULTS | TVT_OWN_FLAGS | TVT_NO_DICTIONARIES | TVT_NO_FIELDS_FILE;
    if (options->size != sizeof *options) throw LoadError{TVT_ERR_PARAM, "options of another version"};
    if ((options->flags & ~kFlags) != 0) throw LoadError{TVT_ERR_PARAM, "unknown flags in the options"};
    if (options->threads > 64) throw LoadError{TVT_ERR_PARAM, "more than 64 threads"};
    if (options->fieldCount > 0 && options->fieldIds == nullptr)
        throw LoadError{TVT_ERR_PARAM, "no field ids"};
    read.fieldIds.assign(options->fieldIds, options->fieldIds + options->fieldCount);
    read.defaults = (options->flags & TVT_NO_DEFAULTS) == 0;
    read.ownFlags = (options->flags & TVT_OWN_FLAGS) != 0;
    read.dictionaries = (options->flags & TVT_NO_DICTIONARIES) == 0;
    read.threads = options->threads != 0 ? options->threads : 1;
    if (options->batchRows != 0) read.batchRows = options->batchRows;
    read.memoryLimit = options->memoryLimit;
    return read;
}

}  // namespace torva::tables
