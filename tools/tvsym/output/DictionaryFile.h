// The dictionary that goes with a symbol file, or with a table of symbols.
#pragma once

#include <string>

#include "symwrite/Json.h"

namespace tvsym {

// Writes FILE.fields.json beside `file`, unless the dictionary is empty. One that is there and says something
// else is kept, with a message. Throws ToolError.
void WriteDictionary(const std::string& file, const symwrite::FieldDictionary& made);

}  // namespace tvsym
