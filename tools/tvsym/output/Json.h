// JSON as the commands write it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tables/dictionary/Values.h"
#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/Output.h"

namespace tvsym {

// A JSON string, quotes included, of valid UTF-8.
std::string JsonString(std::string_view utf8);

// JSON for bytes that should be a text: a string, or {"hex": "..."} where they do not decode.
std::string JsonText(std::string_view bytes, TextCodec& codec);

// A value as JSON: a number where it is one, else a string, or as JsonText.
std::string ValueJson(ValueType type, std::string_view payload, TextCodec& codec);

// Rows of each level of a section: {"symbols":3,"fields":40}.
std::string RowsJson(u16 id, const std::vector<u64>& rows);

// The elements of a JSON list, each on a line of its own.
template <typename Elements, typename ToJson>
void WriteJsonList(Output& out, const Elements& elements, const ToJson& toJson) {
    const char* separator = "\n";
    for (const auto& element : elements) {
        out.Write(separator + toJson(element));
        separator = ",\n";
    }
}

}  // namespace tvsym
