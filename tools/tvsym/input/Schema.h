// A dictionary found in the values of a symbol file.
#pragma once

#include "tables/dictionary/Dictionary.h"
#include "tables/rows/Reader.h"
#include "tools/tvsym/Tool.h"

namespace tvsym {

// An entry for every field that occurs: that of `known`, or field_N with the tag that most values have. The
// type is text or unsigned; with `guess` also date, float, signed or bool where all values look like that.
symwrite::FieldDictionary FindSchema(Reader& reader, const Dictionary& known, bool guess);

}  // namespace tvsym
