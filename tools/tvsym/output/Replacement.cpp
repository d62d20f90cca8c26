#include "tools/tvsym/output/Replacement.h"

#include <fmt/format.h>

#include <random>

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace fs = std::filesystem;

Replacement::Replacement(std::string targetName, const std::string& source)
    : name(std::move(targetName)), target(name), path(name) {
    std::error_code error;
    const fs::file_status old = fs::status(target, error);
    if (fs::is_directory(old)) {
        throw ToolError(kExitUnreadable, fmt::format("{}: is a directory", name));
    }
    if (fs::exists(old) && !fs::is_regular_file(old)) {
        return;
    }
    RefuseSource(name, source);
    if (fs::is_symlink(target, error)) {
        const fs::path real = fs::weakly_canonical(target, error);
        target = error ? target : real;
    }
    const fs::path directory = target.parent_path();
    if (!directory.empty() && !fs::is_directory(directory, error)) {
        throw ToolError(kExitUnreadable, fmt::format("{}: {} is no directory", name, directory.string()));
    }
    std::random_device device;
    do {
        path = target;
        path += fmt::format(".{:08x}.part", device());
    } while (fs::exists(path));
    RemoveWhenKilled(path.string());
}

void Replacement::RefuseSource(const std::string& target, const std::string& source) {
    std::error_code ignored;
    if (fs::equivalent(target, source, ignored)) {
        throw ToolError(kExitUsage, fmt::format("{}: is what is read, and would be lost", target));
    }
}

Replacement::~Replacement() {
    if (path != target) {
        std::error_code ignored;
        fs::remove(path, ignored);
    }
}

void Replacement::Synchronize() const {
    if (path != target) {
        try {
            SynchronizeFile(path.string());
        } catch (const std::system_error& failure) {
            Fail(failure.code());
        }
    }
}

void Replacement::Rename() {
    if (path == target) {
        return;
    }
    std::error_code error;
    const fs::file_status old = fs::status(target, error);
    if (fs::exists(old)) {
        fs::permissions(path, old.permissions(), error);
    }
    fs::rename(path, target, error);
    if (error) {
        Fail(error);
    }
    path = target;
}

void Replacement::TakePlace() {
    Synchronize();
    Rename();
    SynchronizeDirectory(target.parent_path().string());
}

void Replacement::Fail(const std::error_code& error) const {
    throw ToolError(kExitUnreadable, fmt::format("{}: cannot be written: {}", name, error.message()));
}

}  // namespace tvsym
