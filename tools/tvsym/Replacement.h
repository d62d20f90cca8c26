// A new file beside the target that takes its place at the end, or goes away.
#pragma once

#include <filesystem>
#include <string>

namespace tvsym {

class Replacement {
public:
    explicit Replacement(const std::filesystem::path& targetPath);
    ~Replacement();
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    // Where to write; nothing is there yet.
    std::string Path() const { return path.string(); }

    // Throws ToolError with kExitUnreadable.
    void TakePlace();

private:
    std::filesystem::path target;
    std::filesystem::path path;
};

}  // namespace tvsym
