// Dumps a symbol file and builds the dump: where the file is sound, build takes the dump, and what it builds
// dumps to the same document.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "fuzz/Main.h"
#include "fuzz/Tvsym.h"

namespace {

namespace fs = std::filesystem;

// A directory for this process, in memory where such a file system exists.
class ScratchFolder {
public:
    ScratchFolder()
        : path((fs::exists("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path()) /
               ("roundtrip-" + std::to_string(getpid()))) {
        fs::create_directories(path);
    }
    ~ScratchFolder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string File(const char* name) const { return (path / name).string(); }

private:
    fs::path path;
};

std::string Content(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

std::string RoundTrip(const uint8_t* data, size_t size) {
    static const ScratchFolder directory;
    const std::string file = directory.File("a.sym");
    const std::string document = directory.File("a.json");
    const std::string again = directory.File("b.sym");
    const std::string documentAgain = directory.File("b.json");
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    if (Tvsym({"dump", "--quiet", "--output", document, file}) != tvsym::kExitOk) return "";
    if (Tvsym({"build", document, again}) != tvsym::kExitOk) return "build refuses the dump of a sound file";
    if (Tvsym({"dump", "--quiet", "--output", documentAgain, again}) != tvsym::kExitOk)
        return "the file that was built is not sound";
    return Content(document) == Content(documentAgain) ? ""
                                                       : "the file that was built dumps to another document";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return Report(RoundTrip(data, size));
}
