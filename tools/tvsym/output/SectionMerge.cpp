#include "tools/tvsym/output/SectionMerge.h"

#include <fmt/format.h>

#include <map>

#include "symwrite/SymFileWriter.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/StoredSections.h"

namespace tvsym {

namespace {

// Rows of a walk as the elements that symwrite writes.
class Elements final : public RowWriter {
public:
    explicit Elements(const SectionInfo& described) : section(described) {}

    void Row(size_t level, std::span<const Cell> cells) override {
        const Level& columns = section.levels[level];
        if (columns.HoldsFields()) {
            open.back()->fields.push_back({static_cast<u16>(cells[0].number),
                                           static_cast<u8>(cells[1].number), std::string(cells[2].bytes)});
            return;
        }
        std::vector<symwrite::Cell> values;
        for (size_t at = 0; at < cells.size(); ++at) {
            symwrite::Cell& value = values.emplace_back();
            value.number = static_cast<u32>(cells[at].number);
            value.bytes = cells[at].bytes;
            value.list.assign(cells[at].list.begin(), cells[at].list.end());
        }
        open.resize(level);
        std::vector<symwrite::Row>& list = level == 0 ? rows : open.back()->rows;
        list.emplace_back(std::move(values));
        open.push_back(&list.back());
    }
    void Finish() override {}

    std::vector<symwrite::Row> rows;

private:
    const SectionInfo& section;
    std::vector<symwrite::Row*> open;  // the element under way of each level
};

std::string Body(const symwrite::Section& section) {
    const symwrite::Bytes bytes = symwrite::Write({{section}, {}, {}});
    constexpr size_t kAhead = 2 + 10 + 2;  // a directory of one entry, and the id
    return {bytes.begin() + kAhead, bytes.end()};
}

// The element alone, as bytes, to compare it.
std::string Content(u16 id, const symwrite::Row& row) { return Body({.id = id, .rows = {row}}); }

std::string Key(const Level& level, const symwrite::Row& row) {
    std::string key;
    for (size_t at = 0; at < level.KeyColumns(); ++at) {
        key += fmt::format("{} {} ", row.cells[at].number, row.cells[at].bytes.size()) + row.cells[at].bytes;
    }
    return key;
}

std::vector<symwrite::Row> RowsOf(Reader& reader, u16 id) {
    Elements elements(StoredForm(id));
    const WalkResult walk = WalkStored(reader, id, elements);
    if (!walk.problems.empty()) {
        throw ToolError(kExitUnreadable, ProblemLine(reader.Name(), walk.problems.front()).substr(7) +
                                             "; a damaged section cannot be merged with another");
    }
    return std::move(elements.rows);
}

}  // namespace

std::string SectionBody(const Reader& reader, u16 id) {
    const DirectoryEntry* const entry = reader.Directory().Find(id);
    std::string body;
    if (entry == nullptr || entry->idAtStart != id) return body;
    const u64 start = u64{entry->offset} + 2;
    reader.Bytes().Read(start, std::max(entry->End(), start) - start,
                        [&](std::string_view bytes) { body += bytes; });
    return body;
}

std::string MergedSection(u16 id, const std::string& body, const std::string& firstName, Reader& second,
                          OnDuplicate rule) {
    std::string other = SectionBody(second, id);
    if (other == body) return other;
    const SectionInfo* const section = FindSection(id);
    const Level* const level = section ? &StoredForm(id).levels[0] : nullptr;
    const auto differ = [&](const std::string& what) {
        throw ToolError(kExitFindings,
                        fmt::format("section {} ({}): {} of {} and {} differ; --on-duplicate first or "
                                    "last says which to keep",
                                    id, SectionTitle(id), what, firstName, second.Name()));
    };
    if (level == nullptr || level->KeyColumns() == 0) {
        if (rule == OnDuplicate::Error) differ("the contents");
        return rule == OnDuplicate::First ? body : other;
    }
    symwrite::File alone;
    alone.sections.push_back({.id = id, .raw = symwrite::Bytes(body.begin(), body.end())});
    if (section->sizeWithoutHead) {  // of which the directory's size leaves out the head
        alone.sections[0].directorySize = static_cast<u32>(body.size() + 2 - section->HeadSize());
    }
    const symwrite::Bytes bytes = symwrite::Write(alone);
    Reader first(FileSource::FromBytes(bytes, firstName));
    symwrite::Section merged = {.id = id, .rows = RowsOf(first, id)};
    std::map<std::string, size_t> places;
    for (size_t at = 0; at < merged.rows.size(); ++at) places.try_emplace(Key(*level, merged.rows[at]), at);
    for (symwrite::Row& row : RowsOf(second, id)) {
        const auto [found, isNew] = places.try_emplace(Key(*level, row), merged.rows.size());
        if (isNew) {
            merged.rows.push_back(std::move(row));
        } else if (rule != OnDuplicate::First) {
            symwrite::Row& kept = merged.rows[found->second];
            if (rule == OnDuplicate::Error && Content(id, kept) != Content(id, row)) {
                differ(fmt::format("{} with one key", section->levels[0].name));
            }
            kept = std::move(row);
        }
    }
    return Body(merged);
}

}  // namespace tvsym
