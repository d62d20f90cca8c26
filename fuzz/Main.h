// The one way in which a fuzz target ends on an input that shows a fault.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

inline int Report(const std::string& fault) {
    if (fault.empty()) return 0;
    fprintf(stderr, "%s\n", fault.c_str());
    abort();
}
