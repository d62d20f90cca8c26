#include "tables/check/Wording.h"

#include <fmt/format.h>

#include "TorvaAPI.h"
#include "format/Results.h"
#include "tables/check/Faults.h"

namespace torva::tables {

namespace {

std::string PlaceText(const Finding& finding) {
    return finding.element.noun   ? fmt::format("{} {}", finding.element.noun, finding.element.index + 1)
           : finding.section == 1 ? "the default fields"
                                  : "its head";
}

std::string Start(std::string_view bytes) {
    constexpr std::size_t kShown = 24;
    return "0x" + Hex(bytes.substr(0, kShown)) + (bytes.size() > kShown ? "..." : "");
}

std::string Again(const Finding& finding) {
    const SectionInfo* section = FindSection(finding.section);
    const bool definitions = section && section->stored.size() != section->levels.size();
    return fmt::format("occurs again, first at 0x{:x}{}", finding.other,
                       definitions ? "; readers get the lists of the last one" : "");
}

// "SYM_ERR_READ (the data ends inside an element, or a text has no room)"
std::string ResultWords(i32 result) {
    const ResultCode* code = FindResult(result);
    return code ? fmt::format("{} ({})", code->name, code->meaning) : "an unexpected result";
}

}  // namespace

const char* KindName(FindingKind kind) {
    constexpr const char* kNames[] = {"directory", "size", "count", "cut", "duplicate", "text", "reader"};
    return kNames[static_cast<std::size_t>(kind)];
}

std::string FindingWords::Sentence() const {
    std::string text = what;
    if (!found.empty()) {
        text += fmt::format(": expected {}, found {}", expected, found);
    }
    return last ? text + "; the rest of the section was not looked at" : text;
}

std::string Grouped(u64 number) {
    std::string digits = fmt::format("{}", number);
    for (std::size_t at = digits.size(); at > 3; at -= 3) {
        digits.insert(at - 3, ",");
    }
    return digits;
}

std::string Counted(u64 count, std::string_view plural) {
    std::string noun(plural);
    if (count == 1 && noun.ends_with("ies")) {
        noun.replace(noun.size() - 3, 3, "y");
    } else if (count == 1 && noun.ends_with('s')) {
        noun.pop_back();
    }
    return fmt::format("{} {}", Grouped(count), noun);
}

std::string RowsText(u16 id, const std::vector<u64>& rows) {
    std::string text;
    for (std::size_t level = 0; level < rows.size(); ++level) {
        text += (level == 0 ? "" : ", ") + Counted(rows[level], FindSection(id)->levels[level].name);
    }
    return text;
}

std::string ReadingText(u16 id, const Reading& reading) {
    if (reading.walk.present) {
        return fmt::format("{}, {}{}", RowsText(id, reading.walk.rows),
                           reading.walk.result ? "then " : "and no error",
                           reading.walk.result ? ResultWords(reading.walk.result) : "");
    }
    switch (id) {
        case 1:
            return "no default fields, and no error";
        case 2:
        case 3:
        case 8:
            return "nothing: SYM_END_OF_DATA, or SYM_OK with nothing written";
        default:
            return ResultWords(SYM_ERR_NO_SECTION);
    }
}

FindingWords Describe(const CheckReport& report, const Finding& finding, TextCodec& codec,
                      const std::string& encoding) {
    const FaultWords& words = kFaults[static_cast<std::size_t>(finding.fault)];
    constexpr const char* kModes[] = {" in file mode", " in memory mode", ""};
    const bool ofReaders = words.kind == FindingKind::Reader && finding.fault != Fault::CannotOpen;
    const auto reading = [&](std::size_t mode) {
        return ofReaders ? ReadingText(finding.section, report.readings[mode].sections.at(finding.section))
                         : "";
    };
    const std::string place = PlaceText(finding);
    std::string name = finding.part;
    if (finding.fault == Fault::NotText && finding.field) {
        name += fmt::format(" of field {}", *finding.field);
    }
    std::string rows;
    if (ofReaders) {
        const auto scanned = report.scanned.find(finding.section);
        rows = RowsText(finding.section, finding.fault == Fault::ReadersDiffer
                                             ? scanned->second
                                             : report.readings[0].sections.at(finding.section).walk.rows);
    }
    const auto filled = [&](const char* format) {
        return fmt::format(
            fmt::runtime(format), fmt::arg("expected", finding.expected), fmt::arg("found", finding.found),
            fmt::arg("other", finding.other), fmt::arg("place", place), fmt::arg("name", name),
            fmt::arg("part", fmt::format("the {} of {}", name, place)),
            fmt::arg("noun", finding.element.noun ? finding.element.noun : ""),
            fmt::arg("field", finding.field.value_or(0)), fmt::arg("bytes", Counted(finding.found, "bytes")),
            fmt::arg("text",
                     words.kind == FindingKind::Duplicate ? codec.Display(finding.text) : finding.text),
            fmt::arg("start", Start(finding.text)), fmt::arg("encoding", encoding),
            fmt::arg("again", Again(finding)), fmt::arg("rows", rows), fmt::arg("file", reading(0)),
            fmt::arg("memory", reading(1)),
            fmt::arg("mode", finding.fault == Fault::CannotOpen ? kModes[finding.other] : ""));
    };
    return {filled(words.what), filled(words.expected), filled(words.found), finding.last};
}

}  // namespace torva::tables
