// Symbols as `symbols` and `get` print them.
#pragma once

#include "tools/tvsym/Dictionary.h"
#include "tools/tvsym/Reader.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

class SymbolPrinter {
public:
    // All of these must outlive the printer.
    SymbolPrinter(Output& output, const Dictionary& fieldNames, TextCodec& textCodec, bool asJson)
        : out(output), dictionary(fieldNames), codec(textCodec), json(asJson) {}

    void Print(const SymbolView& symbol);

private:
    void PrintJson(const SymbolView& symbol);
    void PrintText(const SymbolView& symbol);

    Output& out;
    const Dictionary& dictionary;
    TextCodec& codec;
    bool json;
};

// Tells what is wrong with the directory, as far as it is about the directory itself or one of `sections`,
// and `problems`. Gives the exit status: kExitOk or kExitFindings.
int ReportProblems(const Reader& reader, std::span<const u16> sections, const std::vector<Problem>& problems);
inline int ReportProblems(const Reader& reader, std::initializer_list<u16> sections,
                          const std::vector<Problem>& problems) {
    return ReportProblems(reader, std::span(sections.begin(), sections.size()), problems);
}

}  // namespace tvsym
