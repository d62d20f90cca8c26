// Symbols as `symbols` and `get` print them.
#pragma once

#include "tables/dictionary/Values.h"
#include "tables/rows/Reader.h"
#include "tools/tvsym/Tool.h"
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

}  // namespace tvsym
