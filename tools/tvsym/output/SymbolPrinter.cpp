#include "tools/tvsym/output/SymbolPrinter.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/tvsym/output/Json.h"

namespace tvsym {

void SymbolPrinter::Print(const SymbolView& symbol) {
    if (json) {
        PrintJson(symbol);
    } else {
        PrintText(symbol);
    }
}

// {"symbol":"A","fields":[{"id":1,"name":"name","tag":7,"value":"Agilent"},{"id":9,"tag":1,"value":"0x01","default":true}]}
void SymbolPrinter::PrintJson(const SymbolView& symbol) {
    std::string line = fmt::format("{{\"symbol\":{},\"fields\":[", JsonText(symbol.text, codec));
    const char* separator = "";
    for (const SymbolField& field : symbol.fields) {
        line += fmt::format("{}{{\"id\":{},", separator, field.id);
        separator = ",";
        if (const FieldDefinition* definition = dictionary.Find(field.id)) {
            line += fmt::format("\"name\":{},", JsonString(definition->name));
        }
        const ValueType type = dictionary.TypeOf(field.id, field.tag, field.value.size());
        line += fmt::format("\"tag\":{},\"value\":{}{}{}}}", field.tag, ValueJson(type, field.value, codec),
                            field.isDefault ? ",\"default\":true" : "", field.cut ? ",\"cut\":true" : "");
    }
    out.Write(line + (symbol.complete ? "]}\n" : "],\"broken\":true}\n"));
}

// AAPL
//   name      Apple Inc.
//   currency  (USD)
void SymbolPrinter::PrintText(const SymbolView& symbol) {
    size_t width = 0;
    for (const SymbolField& field : symbol.fields) {
        width = std::max(width, DisplayWidth(dictionary.NameOf(field.id)));
    }
    out.Write(Styled(Style::Bold, symbol.text.empty() ? "\"\"" : codec.Display(symbol.text)) +
              (symbol.complete ? "\n" : Styled(Style::Bad, "  [broken record]") + "\n"));
    for (const SymbolField& field : symbol.fields) {
        const std::string name = codec.Display(dictionary.NameOf(field.id));
        const ValueType type = dictionary.TypeOf(field.id, field.tag, field.value.size());
        const std::string value = ValueText(type, field.value, codec);
        const std::string gap(width > DisplayWidth(name) ? width - DisplayWidth(name) : 0, ' ');
        out.Write(fmt::format("  {}{}  {}{}\n", name, gap,
                              field.isDefault ? Styled(Style::Dim, fmt::format("({})", value)) : value,
                              field.cut ? Styled(Style::Bad, "  [cut off]") : ""));
    }
}

}  // namespace tvsym
