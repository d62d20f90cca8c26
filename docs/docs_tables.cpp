// docs_tables DOCS [--check]: writes the tables of DOCS/format.md and DOCS/json.md that follow from format/
// to where these documents have
//
//   <!-- table: NAME -->
//   (the table)
//   <!-- end -->
//
// With --check it changes nothing and fails when one of them is not current.
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "format/Fields.h"
#include "format/Sections.h"

namespace {

using namespace torva;

std::string Unsigned(std::size_t width) { return "u" + std::to_string(8 * width); }
std::string Code(const std::string& text) { return "`" + text + "`"; }

// Tags that share a text, in order: "1, 2".
template <typename Items, typename Id, typename Text>
std::string Grouped(const Items& items, const Id& id, const Text& text) {
    std::vector<std::pair<std::string, std::string>> groups;
    for (const auto& item : items) {
        const std::string what = text(item);
        auto group = groups.begin();
        while (group != groups.end() && group->second != what) ++group;
        if (group == groups.end()) {
            groups.emplace_back(std::to_string(id(item)), what);
        } else {
            group->first += ", " + std::to_string(id(item));
        }
    }
    std::string rows;
    for (const auto& [ids, what] : groups)
        rows.append("| ").append(ids).append(" | ").append(what).append(" |\n");
    return rows;
}

std::string SectionNames() {
    std::string table = "| Id | Section |\n|---|---|\n";
    for (const SectionInfo& section : kSections) {
        table += "| " + std::to_string(section.id) + " | " + section.title + " |\n";
    }
    return table;
}

std::string Tags() {
    const auto payload = [](const FieldTag& tag) {
        return tag.tag == kTextTag ? std::string("a text")
                                   : std::to_string(tag.width) + (tag.width == 1 ? " byte" : " bytes");
    };
    return "| Tag | Payload |\n|---|---|\n" +
           Grouped(
               kTags, [](const FieldTag& tag) { return unsigned{tag.tag}; }, payload) +
           "| 0, 10 to 255 | none; the field has no value |\n";
}

std::string Heads() {
    const auto row = [](const SectionInfo& section) {
        const Ends ends = section.stored[0].ends;
        const bool bytes = section.head == Head::Bytes;
        const std::string head = section.head == Head::None ? "none"
                                 : !bytes                   ? "not used"
                                 : ends == Ends::Count ? "bytes of the elements; no element begins after them"
                                                       : "bytes of the elements";
        const std::string count = section.count == Count::None   ? "none"
                                  : section.count == Count::Ends ? "number of elements"
                                  : section.count == Count::Zero ? "0: no elements; otherwise not used"
                                                                 : "for information";
        const std::string size = section.sizeWithoutHead ? "the section's size, which counts the groups alone"
                                                         : "the section's size";
        const std::string end = ends == Ends::Size    ? "the head value"
                                : ends == Ends::Count ? bytes ? "the count, the head value" : "the count"
                                : bytes               ? "the head value, " + size
                                                      : size;
        return head + " | " + count + " | " + end;
    };
    return "| Sections | Head value | Count | What ends the walk |\n|---|---|---|---|\n" +
           Grouped(
               kSections, [](const SectionInfo& section) { return unsigned{section.id}; }, row);
}

std::string StoredColumn(const Column& column) {
    switch (column.kind) {
        case ColumnKind::Number:
            return Code(Unsigned(column.width)) + " " + column.name;
        case ColumnKind::Text:
            return std::string("text ") + column.name +
                   (column.width == 0 ? "" : ", at most " + std::to_string(column.width) + " bytes");
        case ColumnKind::Bytes:
            return std::to_string(column.width) + " bytes";
        case ColumnKind::List:
            return Code(Unsigned(column.width)) + " number of values, and as many " +
                   Code(Unsigned(column.width)) + ": " + column.name;
        case ColumnKind::Field:
            return "payload by tag";
    }
    throw std::logic_error("a kind of column without words");
}

void Append(std::string& to, const std::string& part) { to += (to.empty() ? "" : "; ") + part; }

// The parts of an element, in the order of the file.
std::string Element(const SectionInfo& section, std::size_t at) {
    const Level& level = section.stored[at];
    const Level* below = at + 1 < section.stored.size() ? &section.stored[at + 1] : nullptr;
    std::string columns;
    for (std::size_t column = 0; column < level.columns.size(); ++column) {
        Append(columns, StoredColumn(level.Stored(column)));
    }
    if (below == nullptr) return columns;
    std::string elements;
    const std::string size = Code(Unsigned(below->sizeWidth)) + " " + below->sizeName;
    if (below->sizeWidth != 0 && !below->sizeFirst) {
        Append(elements, size + ": the bytes of the element after this field");
    }
    if (below->countWidth != 0) {
        Append(elements, Code(Unsigned(below->countWidth)) + " number of " + below->Label());
    }
    Append(elements, below->Label() + std::string(below->fewest > 0 ? ", at least one" : ""));
    std::string all;
    if (below->sizeFirst) Append(all, size + ": the bytes of the element after this field");
    if (below->ahead) Append(all, elements);
    if (!columns.empty()) Append(all, columns);
    if (!below->ahead) Append(all, elements);
    return all;
}

std::string Layout(const SectionInfo& section) {
    const Level& first = section.stored[0];
    std::string head = Code("u16") + " " + std::to_string(section.id);
    if (section.head != Head::None) Append(head, Code("u32") + " head value");
    if (first.countWidth != 0) {
        Append(head, Code(Unsigned(first.countWidth)) + " number of " + first.Label());
    }
    Append(head, first.Label());
    std::string table = "| Level | Parts, in this order |\n|---|---|\n| section | " + head + " |\n";
    for (std::size_t at = 0; at < section.stored.size(); ++at) {
        table += std::string("| ") + section.stored[at].singular + " | " + Element(section, at) + " |\n";
    }
    return table;
}

std::string JsonColumn(const Column& column) {
    switch (column.kind) {
        case ColumnKind::Number:
            return Unsigned(column.width);
        case ColumnKind::Bytes:
            return "HEX of " + std::to_string(column.width) + " bytes";
        case ColumnKind::List:
            return "[" + Unsigned(column.width) + "...]";
        default:
            return "TEXT";
    }
}

std::string JsonElement(const SectionInfo& section, std::size_t at) {
    const Level& level = section.stored[at];
    if (level.HoldsFields()) return "FIELD";
    const bool last = at + 1 == section.stored.size();
    if (last && level.columns.size() == 1) return JsonColumn(level.columns[0]);
    std::string members;
    const auto add = [&](const char* name, const std::string& value) {
        members += (members.empty() ? "\"" : ", \"") + std::string(name) + "\": " + value;
    };
    for (const Column& column : level.columns) add(column.name, JsonColumn(column));
    if (!last) add(section.stored[at + 1].name, "[" + JsonElement(section, at + 1) + "...]");
    return "{" + members + "}";
}

std::string JsonSections() {
    std::string table = "| id | name | key | one element |\n|---|---|---|---|\n";
    for (const SectionInfo& section : kSections) {
        const std::string element = JsonElement(section, 0);
        table += "| " + std::to_string(section.id) + " | " + section.name + " | " +
                 Code(section.stored[0].name) + " | " + (element[0] == '{' ? Code(element) : element) +
                 " |\n";
    }
    return table;
}

std::string JsonValues() {
    const auto value = [](const FieldTag& tag) {
        return tag.tag == kTextTag ? std::string("TEXT")
                                   : "the payload of " + std::to_string(tag.width) +
                                         (tag.width == 1 ? " byte" : " bytes") + " as an unsigned number";
    };
    return "| tag | VALUE |\n|---|---|\n" +
           Grouped(
               kTags, [](const FieldTag& tag) { return unsigned{tag.tag}; }, value) +
           "| 0, 10 to 255 | null, or nothing |\n";
}

std::map<std::string, std::string> AllTables() {
    std::map<std::string, std::string> tables = {{"sections", SectionNames()},
                                                 {"tags", Tags()},
                                                 {"heads", Heads()},
                                                 {"json sections", JsonSections()},
                                                 {"json values", JsonValues()}};
    for (const SectionInfo& section : kSections) {
        tables["section " + std::to_string(section.id)] = Layout(section);
    }
    return tables;
}

// The document with its tables replaced. Those used are removed from `unused`.
std::string Renewed(std::istream& document, const std::map<std::string, std::string>& tables,
                    std::map<std::string, std::string>& unused) {
    static const std::string kBegin = "<!-- table: ", kEnd = "<!-- end -->";
    std::string text;
    for (std::string line; std::getline(document, line);) {
        text += line + "\n";
        if (!line.starts_with(kBegin)) continue;
        const std::string name = line.substr(kBegin.size(), line.find(" -->") - kBegin.size());
        text += tables.at(name);
        unused.erase(name);
        while (line != kEnd) {
            if (!std::getline(document, line)) throw std::runtime_error("a table without " + kEnd);
        }
        text += kEnd + "\n";
    }
    return text;
}

bool Update(const std::string& path, bool checkOnly, std::map<std::string, std::string>& unused) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error(path + " cannot be read");
    std::stringstream content;
    content << in.rdbuf();
    const std::string current = content.str();
    const std::string renewed = Renewed(content, AllTables(), unused);
    if (current == renewed) return true;
    if (checkOnly) {
        std::fprintf(stderr, "%s is not current: run ./dev docs\n", path.c_str());
        return false;
    }
    std::ofstream out(path, std::ios::binary);
    out << renewed;
    if (!out.flush()) throw std::runtime_error(path + " cannot be written");
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("usage: docs_tables DOCS [--check]\n", stderr);
        return 64;
    }
    try {
        const bool checkOnly = argc > 2 && std::string(argv[2]) == "--check";
        bool current = true;
        std::map<std::string, std::string> unused = AllTables();
        for (const char* name : {"format.md", "json.md"}) {
            current = Update(std::string(argv[1]) + "/" + name, checkOnly, unused) && current;
        }
        if (!unused.empty()) throw std::runtime_error("no document has a table: " + unused.begin()->first);
        return current ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "docs_tables: %s\n", error.what());
        return 2;
    }
}
