#include "tools/tvsym/Sections.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

namespace {

using enum ColumnKind;

Level Fields() { return {"fields", {{"id", Number}, {"tag", Number}, {"value", Field}}}; }

SectionInfo Names(u16 id, const char* name, const char* title) {
    return {id, name, title, {{"elements", {{"id", Number}, {"name", Text}}}}};
}

std::vector<SectionInfo> MakeSections() {
    const Level twoTexts = {"elements", {{"id", Number}, {"text1", Text}, {"text2", Text}}};
    return {
        {1, "default-fields", "default fields", {Fields()}},
        {2, "symbols", "symbols", {{"symbols", {{"symbol", Text}}}, Fields()}},
        {3, "jump-prices", "jump prices", {{"groups", {{"id", Number}}}, {"records", {{"record", Bytes}}}}},
        {4, "broker-info", "broker info", {{"records", {{"record", Bytes}}}}},
        {6, "eidr-quick-groups", "Eidr quick groups", {{"groups", {{"name", Text}}}, Fields()}},
        {7, "eidr-sections", "Eidr sections", {twoTexts}},
        {8,
         "level2-sections",
         "level-2 sections",
         {{"groups", {{"id", Number}}}, {"items", {{"lead", Number}, {"text1", Text}, {"text2", Text}}}}},
        Names(9, "fund-companies", "fund companies"),
        Names(10, "eidr-countries", "Eidr countries"),
        {11, "section-groups", "section groups", {{"groups", {{"id", Number}, {"members", List}}}}},
        Names(12, "issue-companies", "issue companies"),
        {13,
         "objects",
         "objects",
         {{"types", {{"type", Number}}},
          {"sources", {{"source", Text}}},
          {"symbols", {{"byte", Number}, {"symbol", Text}}},
          {"data", {{"byte", Number}, {"data", Text}}}}},
        {14,
         "foreign-trade",
         "foreign trade",
         {{"heads", {{"id", Number}, {"name", Text}}},
          {"items", {{"tag", Number}}},
          {"names", {{"name", Text}}}}},
        {15,
         "global-related",
         "global related",
         {{"heads", {{"id", Number}}}, {"lists", {}}, {"items", {{"tag", Number}, {"name", Text}}}}},
        {16, "exchanges", "exchanges", {twoTexts}},
        {17, "real-delay", "real-delay mapping", {{"pairs", {{"first", Number}, {"second", Number}}}}},
        {18,
         "level2-eod-items",
         "level-2 EOD item definitions",
         {{"definitions", {{"id", Number}, {"first", List}, {"second", List}, {"third", List}}}}},
        Names(19, "fund-main-names", "fund main names"),
        Names(20, "futures-sections", "futures sections V2"),
        {21, "exchange-support", "exchange support", {{"entries", {{"id", Number}, {"items", List}}}}},
        Names(22, "futures-class-types", "futures class types"),
    };
}

}  // namespace

std::span<const SectionInfo> AllSections() {
    static const std::vector<SectionInfo> sections = MakeSections();
    return sections;
}

const SectionInfo* FindSection(u16 id) {
    for (const SectionInfo& section : AllSections()) {
        if (section.id == id) {
            return &section;
        }
    }
    return nullptr;
}

const SectionInfo* FindSection(std::string_view text) {
    u16 id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    if (error == std::errc() && end == text.data() + text.size()) {
        return FindSection(id);
    }
    std::string name(text);
    std::replace(name.begin(), name.end(), '_', '-');
    for (const SectionInfo& section : AllSections()) {
        if (name == section.name || text == section.title) {
            return &section;
        }
    }
    return nullptr;
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
