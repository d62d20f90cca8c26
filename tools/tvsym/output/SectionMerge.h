// One section of several files put together.
#pragma once

#include <string>

#include "tables/rows/Reader.h"
#include "tools/tvsym/Tool.h"

namespace tvsym {

enum class OnDuplicate : u8 { First, Last, Error, Fields };

// The bytes of the section after its id, with the elements of `first`, then those of `second` whose keys it
// does not have. Where both have a key with other content, the rule decides which element stays as a whole;
// Fields is Last here. A section whose elements have no key, or that has no reader, is taken whole from one
// of the files. Throws ToolError: with kExitFindings where the rule is Error, with kExitUnreadable for
// damage.
//
// `body` are the bytes of `first`. Holds both sections in memory.
std::string MergedSection(u16 id, const std::string& body, const std::string& firstName, Reader& second,
                          OnDuplicate rule);

// The bytes after the id of a section that the file has; empty where it has none.
std::string SectionBody(const Reader& reader, u16 id);

}  // namespace tvsym
