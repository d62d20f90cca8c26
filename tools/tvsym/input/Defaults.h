// Default fields for a file that is built: what many symbols have alike is stored once.
#pragma once

#include <string>
#include <vector>

#include "symwrite/Json.h"
#include "tools/tvsym/Tool.h"

namespace tvsym {

struct DefaultOptions {
    std::vector<std::string> chosen;  // "lot=100"
    bool optimize = false;

    bool Any() const { return optimize || !chosen.empty(); }
};

// The field that "FIELD=VALUE", the value of `option`, says. Throws ToolError with kExitUsage.
symwrite::Field FieldFromText(const char* option, const std::string& text,
                              const symwrite::FromJsonOptions& reading);

// Adds default fields to section 1 and leaves the equal fields out of the symbols' records. `chosen` ones
// also hold for symbols without such a field. With `optimize` a field that every symbol has once gets its
// most frequent value, where that saves bytes; nothing that readers get changes. Throws ToolError with
// kExitUsage.
void AddDefaults(symwrite::File& file, const DefaultOptions& options,
                 const symwrite::FromJsonOptions& reading);

}  // namespace tvsym
