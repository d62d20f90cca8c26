// Symbols as `symbols` and `get` print them.
#pragma once

#include "tables/dictionary/Values.h"
#include "tables/rows/Reader.h"
#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

class SymbolPrinter {
public:
    // All of these must outlive the printer.
    SymbolPrinter(Output& output, const Dictionary& fieldNames, TextCodec& textCodec, bool printJson)
        : out(output), json(output), dictionary(fieldNames), codec(textCodec), asJson(printJson) {}

    void Print(const SymbolView& symbol);

private:
    void PrintJson(const SymbolView& symbol);
    void PrintText(const SymbolView& symbol);

    Output& out;
    JsonWriter json;
    const Dictionary& dictionary;
    TextCodec& codec;
    bool asJson;
};

}  // namespace tvsym
