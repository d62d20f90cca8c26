// tvsym view: the page of viewer/ with a file inside it, in the user's browser.
//
// The page's bytes are copied, and before </body> each file becomes data blocks:
//
//   <script type="application/octet-stream" data-name="NAME">BASE64</script>
//
// Further blocks of the same file have data-more instead of a name, so that neither this program nor the
// browser needs a text as long as the file. Browsers never run a script of that type, whatever is in it.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <span>

#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Output.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/Replacement.h"
#include "tools/tvsym/output/Terminal.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

namespace fs = std::filesystem;

constexpr const char* kPageName = "tvsym-viewer.html";
constexpr const char* kOpenedStart = "tvsym-";
constexpr u64 kMostBytes = u64{512} << 20U;
constexpr u32 kBlockBytes = u32{3} << 20U;  // a multiple of 3, so that only the last block is padded

struct ViewOptions {
    std::string file;
    std::string other;
    std::string dictionary;
    std::string page;
    std::string output;
    bool quiet = false;
};

// Where the page may be: with an installed tool, and in the tree that the tool was built in.
std::vector<fs::path> PagePlaces() {
    const fs::path program = ProgramPath();
    if (program.empty()) {
        return {};
    }
    const fs::path folder = program.parent_path();
    return {(folder / "../share/torvaapi" / kPageName).lexically_normal(),
            (folder / "../../viewer" / kPageName).lexically_normal()};
}

std::string FindPage(const std::string& given) {
    if (!given.empty()) {
        return given;
    }
    std::string searched;
    for (const fs::path& place : PagePlaces()) {
        std::error_code error;
        if (fs::is_regular_file(place, error)) {
            return place.string();
        }
        searched += fmt::format("{}{}", searched.empty() ? "" : ", ", place.string());
    }
    throw ToolError(kExitUnreadable,
                    fmt::format("there is no page (searched: {}); make one with './dev viewer' in the "
                                "source tree, or name one with --page",
                                searched.empty() ? "nothing" : searched));
}

std::string Base64(std::span<const u8> bytes) {
    static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t at = 0; at < bytes.size(); at += 3) {
        const size_t left = bytes.size() - at;
        const u32 three = u32{bytes[at]} << 16U | (left > 1 ? u32{bytes[at + 1]} << 8U : 0U) |
                          (left > 2 ? u32{bytes[at + 2]} : 0U);
        text += kDigits[three >> 18U];
        text += kDigits[three >> 12U & 63U];
        text += left > 1 ? kDigits[three >> 6U & 63U] : '=';
        text += left > 2 ? kDigits[three & 63U] : '=';
    }
    return text;
}

// A file's name as the value of an attribute.
std::string Attribute(const std::string& path) {
    const std::string name = path == "-" ? "standard input" : fs::path(path).filename().string();
    std::string text;
    for (const char c : name) {
        const bool plain = static_cast<u8>(c) >= 0x20 && c != '"' && c != '&' && c != '<' && c != '>';
        text += plain ? std::string(1, c) : fmt::format("&#{};", static_cast<u8>(c));
    }
    return text;
}

void WriteFile(Output& page, const std::string& name, const FileSource& source, ProgressBar& progress) {
    std::vector<u8> block(kBlockBytes);
    u64 at = 0;
    do {
        const u32 got = source.ReadAt(at, block.data(), kBlockBytes);
        if (got == 0 && at < source.Size()) {
            throw ToolError(kExitUnreadable,
                            fmt::format("{}: offset {:#x}: cannot be read", source.Name(), at));
        }
        const std::string start = at == 0 ? fmt::format("data-name=\"{}\"", Attribute(name)) : "data-more";
        page.Write(fmt::format("<script type=\"application/octet-stream\" {}>", start));
        page.Write(Base64(std::span(block).first(got)));
        page.Write("</script>\n");
        progress.Add(got);
        at += got;
    } while (at < source.Size());
}

struct ViewedFile {
    std::string path;
    std::shared_ptr<const FileSource> source;
};

// The files that go into the page: what is looked at, what it is compared with, and their dictionaries.
std::vector<ViewedFile> ViewedFiles(const ViewOptions& options) {
    std::vector<ViewedFile> files;
    for (const std::string& path : {options.file, options.other}) {
        if (!path.empty()) {
            files.push_back({path, OpenSource(path)});
        }
    }
    std::string dictionary = options.dictionary;
    std::error_code error;
    if (const std::string beside = Dictionary::PathBeside(options.file);
        dictionary.empty() && fs::is_regular_file(beside, error)) {
        dictionary = beside;
    }
    if (!dictionary.empty()) {
        LoadDictionary(dictionary, options.file);  // what is wrong with it is reported here
        const bool named = dictionary.ends_with(".json");
        files.push_back({named ? dictionary : dictionary + ".json", FileSource::FromPath(dictionary)});
    }
    u64 size = 0;
    for (const ViewedFile& file : files) {
        size += file.source->Size();
    }
    if (size > kMostBytes) {
        throw ToolError(kExitUnreadable,
                        fmt::format("{} is more than a page can hold ({}); open the page itself and "
                                    "drop the file into it",
                                    ByteSize(size), ByteSize(kMostBytes)));
    }
    return files;
}

void WritePage(const std::string& path, const std::string& nameInMessages, const std::string& page,
               const std::vector<ViewedFile>& files, bool quiet) {
    const std::shared_ptr<const FileSource> source = FileSource::FromPath(page);
    std::string text;
    source->Read(0, source->Size(), [&](std::string_view piece) { text += piece; });
    const size_t end = text.rfind("</body>");
    if (end == std::string::npos) {
        throw ToolError(kExitUnreadable, fmt::format("{}: not the viewer's page", page));
    }
    u64 total = 0;
    for (const ViewedFile& file : files) {
        total += file.source->Size();
    }
    ProgressBar progress(files.front().source->Name(), total, quiet);
    Output out(path, nameInMessages);
    out.Write(std::string_view(text).substr(0, end));
    for (const ViewedFile& file : files) {
        WriteFile(out, file.path, *file.source, progress);
    }
    out.Write(std::string_view(text).substr(end));
    out.Close();
    progress.Hide();
}

// Removes pages of earlier days: nothing reports when a browser is done with one.
void RemoveOldPages(const fs::path& folder) {
    const auto yesterday = fs::file_time_type::clock::now() - std::chrono::hours(24);
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        std::error_code ignored;
        if (name.starts_with(kOpenedStart) && name.ends_with(".view.html") &&
            entry->is_regular_file(ignored) && entry->last_write_time(ignored) < yesterday && !ignored) {
            fs::remove(entry->path(), ignored);  // another user's stays
        }
    }
}

int RunView(const ViewOptions& options) {
    const std::string page = FindPage(options.page);
    const std::vector<ViewedFile> files = ViewedFiles(options);
    if (!options.output.empty()) {
        Replacement replacement(options.output, options.file);
        WritePage(replacement.Path(), options.output, page, files, options.quiet);
        replacement.TakePlace();
        return kExitOk;
    }
    const std::string temporary = MakeTemporaryFile("");
    RemoveOldPages(fs::path(temporary).parent_path());
    std::string opened = temporary + ".view.html";
    try {
        WritePage(temporary, opened, page, files, options.quiet);
        fs::rename(temporary, opened);
    } catch (...) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
        throw;
    }
    if (!OpenInBrowser(opened)) {
        throw ToolError(kExitUnreadable, fmt::format("no browser could be started; open {} in one", opened));
    }
    if (!options.quiet) {
        PrintError(fmt::format("tvsym: opened {}", opened));
    }
    return kExitOk;
}

}  // namespace

RunCommand AddView(CLI::App& app) {
    auto options = std::make_shared<ViewOptions>();
    AddArgument(app, "FILE", options->file, kFileArgument);
    app.add_option("OTHER", options->other, "symbol file to compare it with")->type_name("");
    app.add_option("--dictionary", options->dictionary,
                   "JSON file with names and types of fields; without it FILE.fields.json where it exists")
        ->type_name("JSON");
    app.add_option("--page", options->page, "the viewer's page; without it the one that is installed")
        ->type_name("HTML");
    app.add_option("--output", options->output, "write the page to this file and open nothing")
        ->type_name("HTML");
    AddQuiet(app, options->quiet);
    return [options] { return RunView(*options); };
}

}  // namespace tvsym
