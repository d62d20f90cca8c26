// The command line as documents and as completion scripts, all made from the definitions in Commands.cpp and
// in the commands' files.
#pragma once

#include <string>

#include "tools/tvsym/commands/Commands.h"

namespace tvsym {

std::string ManPage(const CommandLine& line);  // tvsym(1)
std::string BashCompletion(const CommandLine& line);
std::string ZshCompletion(const CommandLine& line);
std::string FishCompletion(const CommandLine& line);

}  // namespace tvsym
