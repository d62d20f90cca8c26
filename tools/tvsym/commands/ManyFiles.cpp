#include "tools/tvsym/commands/ManyFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <thread>

#include "tables/check/Wording.h"
#include "tables/rows/Reader.h"
#include "text/Text.h"
#include "tools/tvsym/commands/Options.h"
#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/Terminal.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

void AddManyFiles(CLI::App& app, ManyFiles& files) {
    app.add_option("FILE...", files.paths,
                   "symbol files, and folders, for the .sym, .sym.gz and .sym.zst files in them; - reads the "
                   "standard input")
        ->type_name("")
        ->required();
    AddJobs(app, files.jobs);
}

void AddJobs(CLI::App& app, u64& jobs) {
    app.add_option("--jobs", jobs, "files read at a time; without it, as many as there are processors")
        ->type_name("N")
        ->check(WholeNumber());
}

std::vector<std::string> ExpandFolders(const std::vector<std::string>& paths) {
    namespace fs = std::filesystem;
    std::vector<std::string> files;
    for (const std::string& path : paths) {
        std::error_code error;
        if (!fs::is_directory(path, error)) {
            files.push_back(path);
            continue;
        }
        std::vector<std::string> found;
        fs::directory_iterator entries(path, error);
        if (error) throw ToolError(kExitUnreadable, fmt::format("{}: {}", path, error.message()));
        for (const auto& entry : entries) {
            const std::string name = entry.path().filename().string();
            const auto ends = [&](const char* ending) { return name.ends_with(ending); };
            if (ends(".sym") || ends(".sym.gz") || ends(".sym.zst")) found.push_back(entry.path().string());
        }
        if (found.empty()) {
            throw ToolError(
                kExitUnreadable,
                fmt::format("{}: is a folder without symbol files (.sym, .sym.gz, .sym.zst)", path));
        }
        std::ranges::sort(found);
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}

int RunForEach(const std::vector<std::string>& paths, u64 jobs, const Together& together,
               const std::function<int(const std::string&)>& run) {
    if (jobs == 0) jobs = std::max(std::thread::hardware_concurrency(), 1U);
    std::array<u64, 3> ends = {};  // files by status
    int worst = kExitOk;
    TextCodec plain;
    Output out;
    JsonWriter array(out);
    const auto print = [&](size_t at, int status, std::FILE* printed) {
        std::string piece(size_t{64} << 10, '\0');
        size_t got = std::fread(piece.data(), 1, piece.size(), printed);
        if (together.json) {
            array.Line();
            array.Open('{').Key("file").Text(paths[at], plain).Member("status", status).Key("result");
            if (got == 0) array.Value(nullptr);
            array.Flush();
        } else if (together.titles) {
            out.Write(
                fmt::format("{}{}\n", at == 0 ? "" : "\n", Styled(Style::Bold, plain.Display(paths[at]))));
        }
        for (; got > 0; got = std::fread(piece.data(), 1, piece.size(), printed)) {
            out.Write(std::string_view(piece).substr(0, got));
        }
        if (together.json) array.Close('}');
        worst = std::max(worst, status);
        ++ends[static_cast<size_t>(std::min(status, 2))];
    };
    if (together.json) array.Open('[');
    RunInProcesses(
        paths.size(), static_cast<size_t>(std::min<u64>(jobs, paths.size())),
        [&](size_t at) {
            Look::Chosen().noPager = true;  // which this process has
            return StatusOf([&] { return run(paths[at]); });
        },
        print);
    if (together.json) {
        array.Close(']').EndLine();
        array.Flush();
    } else {
        out.Write(fmt::format("{}{}: {} {}, {} {}, {} unreadable\n", together.titles ? "\n" : "",
                              Counted(paths.size(), "files"), Grouped(ends[0]), together.good,
                              Grouped(ends[1]), together.bad, Grouped(ends[2])));
    }
    out.Close();
    return worst;
}

int RunWithFiles(const ManyFiles& files, const Together& together,
                 const std::function<int(const std::string&)>& run) {
    const std::vector<std::string> paths = ExpandFolders(files.paths);
    return paths.size() == 1 ? run(paths[0]) : RunForEach(paths, files.jobs, together, run);
}

int StatusOf(const std::function<int()>& run) {
    try {
        return run();
    } catch (const PipeClosed&) {  // of a help text
        return kExitOk;
    } catch (const ToolError& error) {
        PrintError(fmt::format("tvsym: {}", error.what()));
        return error.status;
    } catch (const UnknownEncoding& error) {
        PrintError(fmt::format("tvsym: --encoding {}", error.what()));
        return kExitUsage;
    } catch (const DefaultsUnreadable& error) {
        PrintError(fmt::format("tvsym: {}; with --file-mode the other sections can be read", error.what()));
        return kExitUnreadable;
    } catch (const std::bad_alloc&) {
        PrintError("tvsym: not enough memory");
        return kExitUnreadable;
    } catch (const std::exception& error) {
        PrintError(fmt::format("tvsym: {}", error.what()));
        return kExitUnreadable;
    }
}

}  // namespace tvsym
