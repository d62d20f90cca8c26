#include "tools/tvsym/Replacement.h"

#include <fmt/format.h>

#include <random>

#include "tools/tvsym/Tool.h"

namespace tvsym {

Replacement::Replacement(const std::filesystem::path& targetPath) : target(targetPath) {
    std::random_device device;
    do {
        path = target;
        path += fmt::format(".{:08x}.part", device());
    } while (std::filesystem::exists(path));
}

Replacement::~Replacement() {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

void Replacement::TakePlace() {
    std::error_code error;
    const std::filesystem::file_status old = std::filesystem::status(target, error);
    if (std::filesystem::exists(old)) {
        std::filesystem::permissions(path, old.permissions(), error);
    }
    std::filesystem::rename(path, target, error);
    if (error) {
        throw ToolError(kExitUnreadable, fmt::format("{}: {}", target.string(), error.message()));
    }
}

}  // namespace tvsym
