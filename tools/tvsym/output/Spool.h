// Bytes that are produced before the place where they go can be written: in memory while they are few, then
// in a temporary file.
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tools/tvsym/Tool.h"

namespace tvsym {

class Spool {
public:
    Spool() = default;
    ~Spool();
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;

    // Throws ToolError with kExitUnreadable where the temporary file fails, as Read does.
    void Add(std::string_view bytes);

    u64 Size() const { return size; }

    // Calls `sink` with all bytes, in pieces. Nothing can be added afterwards.
    void Read(const std::function<void(std::string_view)>& sink);

private:
    void Flush();
    [[noreturn]] void Fail() const;

    static constexpr size_t kMemory = size_t{8} << 20;

    std::string held;
    u64 size = 0;
    std::string path;  // empty until the file is created
    std::FILE* file = nullptr;
};

}  // namespace tvsym
