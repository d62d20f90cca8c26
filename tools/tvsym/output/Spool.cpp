#include "tools/tvsym/output/Spool.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tools/tvsym/system/System.h"

namespace tvsym {

Spool::~Spool() {
    if (file == nullptr) return;
    std::fclose(file);
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

void Spool::Add(std::string_view bytes) {
    if (held.size() + bytes.size() > kMemory && !held.empty()) Flush();
    if (held.capacity() == 0) held.reserve(size_t{64} << 10);
    held += bytes;
    size += bytes.size();
}

void Spool::Flush() {
    if (file == nullptr) {
        path = MakeTemporaryFile("");
        file = std::fopen(path.c_str(), "w+b");
    }
    if (file == nullptr || std::fwrite(held.data(), 1, held.size(), file) != held.size()) Fail();
    held.clear();
}

void Spool::Read(const std::function<void(std::string_view)>& sink) {
    if (file != nullptr) {
        if (std::fflush(file) != 0 || std::fseek(file, 0, SEEK_SET) != 0) Fail();
        std::string piece(size_t{256} << 10, '\0');
        for (u64 left = size - held.size(); left > 0;) {
            const auto wanted = static_cast<size_t>(std::min<u64>(left, piece.size()));
            if (std::fread(piece.data(), 1, wanted, file) != wanted) Fail();
            sink({piece.data(), wanted});
            left -= wanted;
        }
    }
    sink(held);
}

void Spool::Fail() const {
    throw ToolError(kExitUnreadable,
                    fmt::format("{}: temporary file: {}", path, std::strerror(errno != 0 ? errno : EIO)));
}

}  // namespace tvsym
