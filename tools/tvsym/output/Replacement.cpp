#include "tools/tvsym/output/Replacement.h"

#include <fmt/format.h>

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace fs = std::filesystem;

Replacement::Replacement(std::string targetName, const std::string& source) : name(std::move(targetName)) {
    const fs::path target = name;
    std::error_code error;
    const fs::file_status old = fs::status(target, error);
    if (fs::is_directory(old)) {
        throw ToolError(kExitUnreadable, fmt::format("{}: is a directory", name));
    }
    if (fs::exists(old) && !fs::is_regular_file(old)) {
        return;
    }
    RefuseSource(name, source);
    const fs::path directory = target.parent_path();
    if (!directory.empty() && !fs::is_directory(directory, error)) {
        throw ToolError(kExitUnreadable, fmt::format("{}: {} is not a directory", name, directory.string()));
    }
    file.emplace(target);
    RemoveWhenKilled(Path());
}

void Replacement::RefuseSource(const std::string& target, const std::string& source) {
    std::error_code ignored;
    if (fs::equivalent(target, source, ignored)) {
        throw ToolError(kExitUsage, fmt::format("{}: is the file that is read, and would be lost", target));
    }
}

void Replacement::Synchronize() const {
    if (file) Check(torva::tables::SynchronizeFile(file->Path()));
}

void Replacement::Rename() {
    if (file) Check(file->Rename());
}

void Replacement::TakePlace() {
    if (file) Check(file->TakePlace());
}

void Replacement::Check(const std::error_code& error) const {
    if (error)
        throw ToolError(kExitUnreadable, fmt::format("{}: cannot be written: {}", name, error.message()));
}

}  // namespace tvsym
