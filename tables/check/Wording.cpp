#include "tables/check/Wording.h"

#include <fmt/format.h>

#include "TorvaAPI.h"
#include "format/Results.h"

namespace torva::tables {

namespace {

std::string Number(u64 number) { return fmt::format("{}", number); }
std::string Offset(u64 offset) { return fmt::format("0x{:x}", offset); }

std::string PlaceText(const Finding& finding) {
    return finding.element.noun   ? fmt::format("{} {}", finding.element.noun, finding.element.index + 1)
           : finding.section == 1 ? "the default fields"
                                  : "its head";
}

std::string Start(std::string_view bytes) {
    constexpr std::size_t kShown = 24;
    return "0x" + Hex(bytes.substr(0, kShown)) + (bytes.size() > kShown ? "..." : "");
}

std::string Repeated(const Finding& finding, const std::string& name) {
    const SectionInfo& section = *FindSection(finding.section);
    const bool definitions = section.stored.size() != section.levels.size();
    return fmt::format("{} stands a further time, first at 0x{:x}{}", name, finding.other,
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
    const u16 id = finding.section;
    const u64 expected = finding.expected;
    const u64 found = finding.found;
    const std::string place = PlaceText(finding);
    const std::string part = fmt::format("the {} of {}", finding.part, place);
    const auto words = [&](std::string what, std::string wanted = {}, std::string there = {}) {
        return FindingWords{std::move(what), std::move(wanted), std::move(there), finding.last};
    };
    const auto reading = [&](std::size_t mode) { return report.readings[mode].sections.at(id); };
    switch (finding.fault) {
        case Fault::DirectoryCut:
            return words("the directory", fmt::format("{} entries", expected),
                         fmt::format("{}, then the file's end", found));
        case Fault::EntryRepeated:
            return words(fmt::format(
                "a further directory entry of this id; readers never see the section at 0x{:x}", found));
        case Fault::OffsetPastEnd:
            return words("the section's place",
                         fmt::format("an offset below the file's end at 0x{:x}", expected), Offset(found));
        case Fault::WrongId:
            return words("the id at the section's start", Number(expected), Number(found));
        case Fault::SectionCut:
            return words("the section's end", fmt::format("0x{:x} by the directory", expected),
                         fmt::format("the file's end {} bytes before that", found));
        case Fault::Stretch:
            return words(fmt::format("{} {}", Counted(found, "bytes"), finding.text));
        case Fault::SectionSize:
            return words("the size in the directory",
                         fmt::format("{} (up to where its elements end)", expected), Number(found));
        case Fault::SectionSizeWithHead:
            return words("the size in the directory",
                         fmt::format("{} (the {}, without the {} bytes ahead of them)", expected,
                                     finding.part, finding.other),
                         Number(found));
        case Fault::DefaultFieldsSize:
            return words("the size of the default fields",
                         fmt::format("{} (up to the end by the directory)", expected), Number(found));
        case Fault::HeadValue:
            return words("the head value", fmt::format("{} (bytes of the elements)", expected),
                         Number(found));
        case Fault::ElementPastEnd:
            return words(place, fmt::format("an end at 0x{:x}, where the section ends", expected),
                         Offset(found));
        case Fault::RecordSizePastEnd:
            return words(part, fmt::format("at most {} (up to the section's end)", expected), Number(found));
        case Fault::RecordSizeTooSmall:
            return words(part, fmt::format("at least {} (its name)", expected), Number(found));
        case Fault::RecordSizeNoField:
            return words(part, fmt::format("more than {} (its name), for at least one field", expected),
                         Number(found));
        case Fault::BodySize:
            return words(part, fmt::format("{} (bytes of its content)", expected), Number(found));
        case Fault::FieldPastEnd:
            return words(fmt::format("field {} of {}", *finding.field, place),
                         fmt::format("an end at 0x{:x} by the size ahead of it", expected), Offset(found));
        case Fault::TextTooLong:
            return words(part, fmt::format("at most {} bytes", expected), Number(found));
        case Fault::CountPastEnd:
            return words(fmt::format("the number of {}s", finding.element.noun),
                         fmt::format("{} (up to the end by the directory)", expected), Number(found));
        case Fault::Count:
            return words(fmt::format("the number of {}s", finding.element.noun), Number(expected),
                         Number(found));
        case Fault::InnerCount:
            return words(fmt::format("the number of {} in {}", finding.part, place),
                         fmt::format("at most {} (up to the section's end)", expected), Number(found));
        case Fault::EndsInside:
            return words(fmt::format("the file ends inside {}", place));
        case Fault::EndsAhead:
            return words(fmt::format("the file ends ahead of {}", place));
        case Fault::FieldRepeated:
            return words(fmt::format("field {} stands twice in {}", *finding.field, place));
        case Fault::IdRepeated:
            return words(Repeated(finding, fmt::format("id {}", found)));
        case Fault::TextRepeated:
            return words(Repeated(finding, fmt::format("\"{}\"", codec.Display(finding.text))));
        case Fault::NotText:
            return words(fmt::format("the {}{} of {} is no text in {}: {}", finding.part,
                                     finding.field ? fmt::format(" of field {}", *finding.field) : "", place,
                                     encoding, Start(finding.text)));
        case Fault::ModesDiffer:
            return words("the read modes differ",
                         fmt::format("in memory mode what file mode gives, {}", ReadingText(id, reading(0))),
                         ReadingText(id, reading(1)));
        case Fault::ReadersDiffer:
            return words("what readers get", RowsText(id, report.scanned.at(id)),
                         ReadingText(id, reading(0)));
        case Fault::ReadersFail:
            return words("readers get an error", RowsText(id, reading(0).walk.rows),
                         ReadingText(id, reading(0)));
        case Fault::CannotOpen:
            break;
    }
    constexpr const char* kModes[] = {" in file mode", " in memory mode", ""};
    return words(fmt::format("readers{} cannot open it: {}", kModes[finding.other], finding.text));
}

}  // namespace torva::tables
