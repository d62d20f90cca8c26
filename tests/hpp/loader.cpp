// Loads a plugin, runs it and unloads it, 200 times; each time it must be gone.
#include <dlfcn.h>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    for (int i = 0; i < 200; ++i) {
        void* const plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
        void* const read = plugin != nullptr ? dlsym(plugin, "Read") : nullptr;
        if (read == nullptr || reinterpret_cast<int (*)(const char*)>(read)(argv[2]) != 0) {
            return std::printf("the plugin failed in round %d\n", i);
        }
        dlclose(plugin);
        if (dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != nullptr) {
            return std::printf("the plugin stays in memory in round %d\n", i);
        }
    }
    return 0;
}
