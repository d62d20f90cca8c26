#include "tables/columns/Options.h"

#include <fstream>
#include <memory>
#include <set>

#include "format/Sections.h"
#include "symwrite/Json.h"

namespace torva::tables::columns {
namespace {

Kind KindOf(symwrite::FieldType type) {
    switch (type) {
        case symwrite::FieldType::Text:
            return Kind::kText;
        case symwrite::FieldType::Unsigned:
            return Kind::kUnsigned;
        case symwrite::FieldType::Signed:
            return Kind::kSigned;
        case symwrite::FieldType::Float:
            return Kind::kFloat;
        case symwrite::FieldType::Date:
            return Kind::kDate;
        case symwrite::FieldType::Bool:
            return Kind::kBool;
        default:
            return Kind::kHex;
    }
}

// Read by the same rules as where files are built from JSON.
std::shared_ptr<const symwrite::FieldDictionary> ReadDictionary(const std::filesystem::path& path,
                                                                const std::string& name) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw LoadError{TVT_ERR_OPEN, "dictionary " + name + ": cannot be opened"};
    auto fields = std::make_shared<symwrite::FieldDictionary>();
    symwrite::JsonErrors errors;
    const symwrite::JsonDocument document = symwrite::ParseJson(in, errors);
    if (errors.Empty()) fields->Load(symwrite::JsonNode(document, errors));
    if (!errors.Empty()) {
        const symwrite::JsonError& first = errors.First().front();
        throw LoadError{TVT_ERR_FORMAT, "dictionary " + name + ": " +
                                            (first.where.empty() ? "" : first.where + ": ") + first.what};
    }
    return fields;
}

std::shared_ptr<const symwrite::FieldDictionary> FindDictionary(const TvtOptions* options, const char* path) {
    if (options != nullptr && options->dictionary != nullptr) {
        return ReadDictionary(PathOf(options->dictionary), options->dictionary);
    }
    const bool look = options == nullptr || (options->flags & TVT_NO_FIELDS_FILE) == 0;
    if (*path == 0 || !look) return nullptr;
    const std::string beside = std::string(path) + ".fields.json";
    std::error_code failure;
    if (!std::filesystem::is_regular_file(PathOf(beside.c_str()), failure)) return nullptr;
    return ReadDictionary(PathOf(beside.c_str()), beside);
}

std::shared_ptr<TextCodec> CodecFor(const char* encoding) {
    try {
        return std::make_shared<TextCodec>(encoding);
    } catch (const UnknownEncoding& unknown) {
        throw LoadError{TVT_ERR_PARAM, std::string("encoding ") + unknown.what()};
    }
}

}  // namespace

std::filesystem::path PathOf(const char* utf8) {
    const std::string text(utf8);
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

LoadOptions ReadOptions(const TvtOptions* options, const char* path) {
    LoadOptions read;
    if (options != nullptr) {
        constexpr u32 kFlags =
            TVT_NO_DEFAULTS | TVT_OWN_FLAGS | TVT_NO_DICTIONARIES | TVT_NO_FIELDS_FILE | TVT_FIELD_ROWS;
        if (options->size != sizeof *options) throw LoadError{TVT_ERR_PARAM, "options of another version"};
        if ((options->flags & ~kFlags) != 0) throw LoadError{TVT_ERR_PARAM, "unknown flags in the options"};
        if (options->threads > 64) throw LoadError{TVT_ERR_PARAM, "more than 64 threads"};
        if (options->fieldCount > 0 && options->fieldIds == nullptr)
            throw LoadError{TVT_ERR_PARAM, "no field ids"};
        if (options->section != TVT_DIRECTORY &&
            (options->section > 0xffff || FindSection(static_cast<u16>(options->section)) == nullptr)) {
            throw LoadError{TVT_ERR_PARAM, "section " + std::to_string(options->section) + " has no reader"};
        }
        if (options->encoding != nullptr) read.codec = CodecFor(options->encoding);
        read.fieldIds.assign(options->fieldIds, options->fieldIds + options->fieldCount);
        read.defaults = (options->flags & TVT_NO_DEFAULTS) == 0;
        read.ownFlags = (options->flags & TVT_OWN_FLAGS) != 0;
        read.dictionaries = (options->flags & TVT_NO_DICTIONARIES) == 0;
        read.threads = options->threads != 0 ? options->threads : 1;
        if (options->batchRows != 0) read.batchRows = options->batchRows;
        read.memoryLimit = options->memoryLimit;
    }
    // Names are unique in the table, also beside its first column and where a name is a number.
    read.fields = FindDictionary(options, path);
    read.specOf = [fields = read.fields](u16 id) {
        ColumnSpec spec;
        spec.id = id;
        spec.name = std::to_string(id);
        if (fields == nullptr) return spec;
        const symwrite::FieldDefinition* const definition = fields->Find(id);
        if (definition != nullptr) {
            spec.name = definition->name == "symbol" ? "symbol_" + spec.name : definition->name;
            spec.kind = KindOf(definition->type);
        } else if (fields->Find(std::string_view(spec.name)) != nullptr) {
            spec.name = "field_" + spec.name;
        }
        return spec;
    };
    return read;
}

}  // namespace torva::tables::columns
