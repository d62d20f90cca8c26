#include "tools/tvsym/output/SymbolPrinter.h"

#include <fmt/format.h>

#include <algorithm>

namespace tvsym {

void SymbolPrinter::Print(const SymbolView& symbol) {
    if (asJson) {
        PrintJson(symbol);
    } else {
        PrintText(symbol);
    }
}

// {"symbol":"A","fields":[{"id":1,"name":"name","tag":7,"value":"Agilent"},{"id":9,"tag":1,"value":"0x01","default":true}]}
void SymbolPrinter::PrintJson(const SymbolView& symbol) {
    json.Open('{').Key("symbol").Text(symbol.text, codec).Key("fields").Open('[');
    for (const SymbolField& field : symbol.fields) {
        json.Open('{').Member("id", field.id);
        if (const FieldDefinition* definition = dictionary.Find(field.id)) {
            json.Member("name", definition->name);
        }
        const ValueType type = dictionary.TypeOf(field.id, field.tag, field.value.size());
        json.Member("tag", field.tag).Key("value").Payload(type, field.value, codec);
        if (field.isDefault) {
            json.Member("default", true);
        }
        if (field.cut) {
            json.Member("cut", true);
        }
        json.Close('}');
    }
    json.Close(']');
    if (!symbol.complete) {
        json.Member("broken", true);
    }
    json.Close('}').EndLine();
    json.Flush();
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
