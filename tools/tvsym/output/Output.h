// Where a command writes its result.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "tools/tvsym/Tool.h"

namespace tvsym {

class Recoder;

// Standard output, or a file, which is compressed where the name in messages ends in .gz or .zst. Throws
// PipeClosed when the reader closed the pipe, ToolError for other failures.
class Output {
public:
    Output();                                                         // standard output
    explicit Output(const std::string& path) : Output(path, path) {}  // a new file
    Output(const std::string& path, const std::string& nameInMessages);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void Write(std::string_view text);
    void Close();  // everything is written when this returns

private:
    void Check(bool good);
    void Put(std::string_view bytes);

    std::FILE* file = stdout;
    std::string name = "standard output";
    std::unique_ptr<Recoder> compressor;  // null: none
};

struct PipeClosed {};

}  // namespace tvsym
