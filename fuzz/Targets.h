// What the fuzz targets do with one input, and what the tests do with the inputs that are kept in
// fuzz/found/. Each returns what was wrong, or an empty text for an input that was handled correctly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

// One byte of options, one byte that counts calls, three bytes for each call (see driver::Decode), then a
// symbol file. The calls are made on the library and the plain reader in both read modes, and then everything
// is walked.
std::string RunCalls(const uint8_t* data, size_t size);

// A JSON document for `tvsym build`. What is written for it opens and is walked as above.
std::string RunBuild(const uint8_t* data, size_t size);

}  // namespace fuzz
