#include "tools/tvsym/output/Problems.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "text/Text.h"
#include "tools/tvsym/output/Terminal.h"

namespace tvsym {

const char* SectionTitle(u16 id) {
    const SectionInfo* section = FindSection(id);
    return section ? section->title : "unknown";
}

std::string SectionWord(u16 id) {
    const SectionInfo* section = FindSection(id);
    return section ? section->name : fmt::format("section-{}", id);
}

std::string ProblemLine(const std::string& file, const Problem& problem) {
    std::string line = fmt::format("tvsym: {}: ", file);
    if (problem.section != 0) {
        line += fmt::format("section {} ({})", problem.section, SectionTitle(problem.section));
    } else {
        line += "directory";
    }
    if (problem.offset) {
        line += fmt::format(", offset 0x{:x}", *problem.offset);
    }
    return line + ": " + problem.what;
}

void PrintError(const std::string& line) {
    ProgressBar::HideVisible();
    std::fflush(stdout);
    const std::string shown = TextCodec().Display(line) + "\n";
    std::fputs(shown.c_str(), stderr);  // which may be a pager that the user has left
}

void PrintProblem(const std::string& file, const Problem& problem) { PrintError(ProblemLine(file, problem)); }

int ReportProblems(const std::string& file, const std::vector<Problem>& problems) {
    for (const Problem& problem : problems) PrintProblem(file, problem);
    return problems.empty() ? kExitOk : kExitFindings;
}

int ReportProblems(const Reader& reader, std::span<const u16> sections,
                   const std::vector<Problem>& problems) {
    bool found = !problems.empty();
    for (const Problem& problem : DirectoryProblems(reader.Directory())) {
        if (problem.section == 0 ||
            std::find(sections.begin(), sections.end(), problem.section) != sections.end()) {
            PrintProblem(reader.Name(), problem);
            found = true;
        }
    }
    for (const Problem& problem : problems) {
        PrintProblem(reader.Name(), problem);
    }
    return found ? kExitFindings : kExitOk;
}

int ReportProblems(const Reader& reader, const std::vector<Problem>& problems) {
    std::vector<u16> ids;
    for (const DirectoryEntry& entry : reader.Directory().entries) {
        ids.push_back(entry.id);
    }
    return ReportProblems(reader, ids, problems);
}

}  // namespace tvsym
