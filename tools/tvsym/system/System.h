// What the tool asks of the operating system beyond the standard library. SystemPosix.cpp and
// SystemWindows.cpp implement it; no other file of the tool includes a system header.
#pragma once

#include <cstdio>
#include <functional>
#include <string>

namespace tvsym {

// Called once, first in main: a closed pipe and a file-size limit become errors instead of signals, and
// streams carry bytes unchanged.
void PrepareProcess();

// Creates an empty file with a unique name in `directory` and returns its path; throws ToolError. An empty
// `directory` stands for the one for temporary files. The file is removed when the process is killed.
std::string MakeTemporaryFile(const std::string& directory);

// Removes the file when a signal that can be caught ends the process. The file need not exist.
void RemoveWhenKilled(const std::string& path);

bool IsTerminal(std::FILE* stream);

// Columns of the terminal that `stream` goes to; 80 when that is not known.
size_t TerminalColumns(std::FILE* stream);

// The path of the running program; empty where the system does not report it.
std::string ProgramPath();

// Opens a file in the user's browser. False when no browser could be started.
bool OpenInBrowser(const std::string& path);

// Starts a program that shows what is written from now on to the standard output, and to the standard error
// where that is a terminal, too. `command` is for the shell; empty: less, if there is one. False where no
// program could be started; always on Windows.
bool StartPager(const std::string& command);

// Waits until the user has left the pager, and restores both streams. False where the shell did not find its
// command; true without a pager.
bool EndPager();

// Calls `run` for 0 to `count` - 1, for up to `jobs` of them at a time, each in a process of its own; on
// Windows one after the other. Then calls `finished`, in that order, with what `run` returned and what it
// printed to the standard output, a file at its beginning; what it printed to the standard error follows on
// that of this process. A process that a signal ended counts as unreadable. Throws ToolError.
void RunInProcesses(size_t count, size_t jobs, const std::function<int(size_t)>& run,
                    const std::function<void(size_t, int, std::FILE*)>& finished);

// Columns that a character takes on a terminal: 0, 1 or 2.
int CharacterWidth(char32_t character);

}  // namespace tvsym
