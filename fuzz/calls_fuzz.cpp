#include "fuzz/Main.h"
#include "fuzz/Targets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return Report(fuzz::RunCalls(data, size));
}
