// Messages on stderr: errors, and what is wrong in a file.
#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "tables/rows/Reader.h"
#include "tools/tvsym/Tool.h"

namespace tvsym {

// "foreign trade", or "unknown".
const char* SectionTitle(u16 id);

// "foreign-trade"; "section-99" for an id without a reader. So it is called in JSON, as a file and by
// --section.
std::string SectionWord(u16 id);

// "tvsym: FILE: section 14 (foreign trade), offset 0x1a2b: WHAT"
std::string ProblemLine(const std::string& file, const Problem& problem);

// Writes one line. Control characters, and bytes that are not UTF-8, appear as \xHH, whatever their origin; a
// visible progress bar is erased first.
void PrintError(const std::string& line);
void PrintProblem(const std::string& file, const Problem& problem);

// Prints the problems of a file. Returns kExitOk or kExitFindings.
int ReportProblems(const std::string& file, const std::vector<Problem>& problems);

// Prints what is wrong with the directory itself and its entries of `sections`, then `problems`. Returns
// kExitOk or kExitFindings.
int ReportProblems(const Reader& reader, std::span<const u16> sections, const std::vector<Problem>& problems);
inline int ReportProblems(const Reader& reader, std::initializer_list<u16> sections,
                          const std::vector<Problem>& problems) {
    return ReportProblems(reader, std::span(sections.begin(), sections.size()), problems);
}

// The same with all sections of the directory.
int ReportProblems(const Reader& reader, const std::vector<Problem>& problems);

}  // namespace tvsym
