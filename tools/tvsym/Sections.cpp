#include "tools/tvsym/Sections.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

const SectionInfo* FindSection(std::string_view text) {
    u16 id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    if (error == std::errc() && end == text.data() + text.size()) {
        return FindSection(id);
    }
    std::string name(text);
    std::replace(name.begin(), name.end(), '_', '-');
    const SectionInfo* section = torva::FindSectionNamed(name);
    return section ? section : torva::FindSectionNamed(text);
}

std::string Singular(std::string_view plural) {
    std::string name(plural);
    if (name.ends_with("ies")) {
        name.replace(name.size() - 3, 3, "y");
    } else if (name.ends_with('s')) {
        name.pop_back();
    }
    return name;
}

std::string Counted(u64 count, std::string_view plural) {
    return fmt::format("{} {}", Grouped(count), count == 1 ? Singular(plural) : std::string(plural));
}

std::string RowsText(u16 id, const std::vector<u64>& rows) {
    std::string text;
    for (size_t level = 0; level < rows.size(); ++level) {
        text += (level == 0 ? "" : ", ") + Counted(rows[level], FindSection(id)->levels[level].name);
    }
    return text;
}

std::string RowsJson(u16 id, const std::vector<u64>& rows) {
    std::string json;
    for (size_t level = 0; level < rows.size(); ++level) {
        json += fmt::format("{}\"{}\":{}", level == 0 ? "{" : ",", FindSection(id)->levels[level].name,
                            rows[level]);
    }
    return json.empty() ? "{}" : json + "}";
}

const char* SectionTitle(u16 id) {
    const SectionInfo* section = FindSection(id);
    return section ? section->title : "unknown";
}

}  // namespace tvsym
