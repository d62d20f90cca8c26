// Commands over several files and folders, several at a time.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "tools/tvsym/Tool.h"

namespace tvsym {

struct ManyFiles {
    std::vector<std::string> paths;
    u64 jobs = 0;  // files at a time; 0: as many as there are processors
};

// FILE..., --jobs.
void AddManyFiles(CLI::App& app, ManyFiles& files);
void AddJobs(CLI::App& app, u64& jobs);

// The paths, with a folder replaced by the symbol files in it, sorted: those whose names end in .sym, .sym.gz
// or .sym.zst. Throws ToolError with kExitUnreadable for a folder without any.
std::vector<std::string> ExpandFolders(const std::vector<std::string>& paths);

// How the outputs for several files are put together.
struct Together {
    bool json = false;                      // elements {"file", "status", "result"} of one array
    bool titles = false;                    // otherwise: each after a line with its path
    const char* good = "without problems";  // in the line that sums up
    const char* bad = "with problems";
};

// Runs the command for each path and returns the worst status. What they print comes in the order of the
// paths.
int RunForEach(const std::vector<std::string>& paths, u64 jobs, const Together& together,
               const std::function<int(const std::string&)>& run);

// The same for FILE...; for one file nothing is added to what it prints.
int RunWithFiles(const ManyFiles& files, const Together& together,
                 const std::function<int(const std::string&)>& run);

// What `run` returns; for what it throws, the status, after the message.
int StatusOf(const std::function<int()>& run);

}  // namespace tvsym
