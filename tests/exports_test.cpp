// The header in C, and the shared library on its own: loaded, used, unloaded, loaded anew.
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "TestSupport.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

extern "C" int torva_c99_calls(void);

namespace torva::test {
namespace {

TEST(Header, CompilesAndCallsAsC99) { EXPECT_TRUE(torva_c99_calls()); }

#ifdef TORVA_SHARED_LIBRARY

class SharedLibrary {
public:
#ifdef _WIN32
    SharedLibrary() : library(LoadLibraryA(TORVA_SHARED_LIBRARY)) {}
    ~SharedLibrary() { FreeLibrary(library); }
    bool Has(const char* name) const { return GetProcAddress(library, name) != nullptr; }
    template <class Function>
    Function Get(const char* name) const {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    }
    HMODULE library;
#else
    SharedLibrary() : library(dlopen(TORVA_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {}
    ~SharedLibrary() { dlclose(library); }
    bool Has(const char* name) const { return dlsym(library, name) != nullptr; }
    template <class Function>
    Function Get(const char* name) const {
        return reinterpret_cast<Function>(dlsym(library, name));
    }
    void* library;
#endif
};

// The library exports what the header declares; the check of its symbol table shows that it exports
// nothing more.
TEST(SharedLibraryFile, ExportsWhatTheHeaderDeclares) {
    std::ifstream in(std::string(TORVA_SOURCE_DIR) + "/include/TorvaAPI.h");
    const std::string header{std::istreambuf_iterator<char>(in), {}};
    const std::regex declaration(R"(\nTV_API [a-z0-9_]+ TV_CALL (tv_\w+)\()");
    std::set<std::string> names;
    for (std::sregex_iterator it(header.begin(), header.end(), declaration); it != std::sregex_iterator();
         ++it) {
        names.insert((*it)[1]);
    }
    EXPECT_EQ(names.size(), 54U);
    const SharedLibrary shared;
    ASSERT_NE(shared.library, nullptr);
    for (const std::string& name : names) EXPECT_TRUE(shared.Has(name.c_str())) << name;
}

// A library just loaded has the limit of ten files, no users and no open file; unloading it closes all.
TEST(SharedLibraryFile, BeginsAnewAtEachLoad) {
    const TempFile f[] = {TempFile({}), TempFile({}), TempFile({}), TempFile({}), TempFile({}), TempFile({}),
                          TempFile({}), TempFile({}), TempFile({}), TempFile({}), TempFile({}), TempFile({})};
    for (int load = 0; load < 2; ++load) {
        const SharedLibrary shared;
        ASSERT_NE(shared.library, nullptr);
        const auto init = shared.Get<decltype(&tv_InitSymAPI)>("tv_InitSymAPI");
        const auto openFile = shared.Get<decltype(&tv_OpenSymFile)>("tv_OpenSymFile");
        const auto closeFile = shared.Get<decltype(&tv_CloseSymFile)>("tv_CloseSymFile");
        const auto list = shared.Get<decltype(&tv_GetExtendSectionList)>("tv_GetExtendSectionList");
        const auto open = [&](const char* path) { return openFile(path, kBudget, nullptr, 0, 0); };
        EXPECT_EQ(list(1, nullptr, 0), SYM_ERR_BAD_HANDLE) << "before every other call";
        EXPECT_EQ(init(5), 0U);
        for (int i = 0; i < 10; ++i) EXPECT_EQ(open(f[i].Path()), i + 1);
        EXPECT_EQ(open(f[10].Path()), SYM_ERR_NO_SLOT);
        EXPECT_EQ(open(nullptr), SYM_ERR_NO_SLOT) << "the handle comes first";
        closeFile(4);
        EXPECT_EQ(open(f[10].Path()), 4);
        EXPECT_EQ(init(11), 0U);
        EXPECT_EQ(init(3), 0U);
        EXPECT_EQ(open(f[11].Path()), 11) << "the limit only rises";
        EXPECT_EQ(open(f[3].Path()), SYM_ERR_NO_SLOT);
    }
    EXPECT_EQ(Open(f[0].Path()), 1) << "closed by the unloading";
    tv_CloseSymFile(1);
}

#endif

}  // namespace
}  // namespace torva::test
