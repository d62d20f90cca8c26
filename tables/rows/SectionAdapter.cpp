#include <fmt/format.h>

#include <algorithm>

#include "TorvaAPI.h"
#include "format/Results.h"
#include "tables/rows/SectionRows.h"

namespace torva::tables {

namespace {

constexpr u64 kRowsBetweenProgress = 1024;          // a callback costs more than a row
constexpr std::size_t kProblemsOfOneSection = 100;  // enough for a corrupt section

// Bytes of a section's head that its reader does not count.
u64 NotCounted(const SectionInfo& section) {
    return section.sizeWithoutHead                          ? section.HeadSize()
           : section.stored.size() != section.levels.size() ? section.stored[0].countWidth
                                                            : 0;
}

}  // namespace

SectionAdapter::SectionAdapter(Reader& reader, u16 id)
    : owner(reader), open(*reader.open), file(open.symFile.file), section(FindSection(id)) {
    entry = reader.directory.Find(id);
    if (!section || !entry || !entry->Readable()) {
        ended = true;
        return;
    }
    result.present = true;
    result.rows.assign(section->levels.size(), 0);
    file.sectionId = 0;  // every section begins at its first element, whatever was read before
}

void SectionAdapter::Note(std::string what) {
    if (result.problems.size() < kProblemsOfOneSection) {
        result.problems.push_back({section->id, Position(), std::move(what)});
    }
}

void SectionAdapter::Fail(i32 error) {
    Note(ErrorText(error));
    result.result = error;
}

std::string SectionAdapter::ErrorText(i32 error) {
    const ResultCode* code = FindResult(error);
    return code && code->damage ? code->damage : fmt::format("unexpected result {}", error);
}

u64 SectionAdapter::Position() const {
    return entry->offset + (section->id == 1 ? consumed : Consumed() + NotCounted(*section));
}

void SectionAdapter::Advanced() {
    if (++sinceProgress < kRowsBetweenProgress || !owner.Options().progress) {
        return;
    }
    sinceProgress = 0;
    const u64 now = std::max(reported, Consumed());
    result.cancelled = !owner.Options().progress(now - reported);
    reported = now;
}

// A section that the file cuts off is reported with the directory.
void SectionAdapter::End() {
    ended = true;
    if (owner.Options().progress && reported < entry->size) {
        result.cancelled = !owner.Options().progress(entry->size - reported);
    }
    if (!result.problems.empty()) {
        return;
    }
    if (announced && *announced != result.rows[0]) {
        Note(fmt::format("the header says {} {}, found {}", *announced, section->levels[0].name,
                         result.rows[0]));
    } else if (consumed < entry->size && entry->End() <= owner.directory.fileSize) {
        Note(fmt::format("expected the section to end at 0x{:x}, its last element ends {} bytes before that",
                         entry->End(), entry->size - consumed));
    } else if (consumed > entry->size) {
        Note(fmt::format("expected the section to end at 0x{:x}, its elements continue for {} bytes",
                         entry->End(), consumed - entry->size));
    }
}

bool SectionRows::Next() {
    if (ended || result.cancelled) {
        return false;
    }
    if (!begun) {
        begun = true;
        reached = Begin();
    }
    while (!Item()) {
        if (reached != kElement) {
            if (reached < 0) {
                Fail(reached);
            } else if (section->id != 1) {
                consumed = Consumed() + (section->sizeWithoutHead ? 0 : NotCounted(*section));
            }
            End();
            return false;
        }
        reached = Call();
    }
    ++result.rows[level];
    Advanced();
    return true;
}

}  // namespace torva::tables
