#include "reference/MemoryFile.h"

#include <algorithm>
#include <cstring>

#include "library/platform/Platform.h"

namespace memoryfile {

namespace {

using Kind = Plan::Kind;

const std::vector<uint8_t>* current = nullptr;
Plan plan;
uint64_t operations = 0;
uint64_t injected = 0;
int openFiles = 0;

class MemoryFile : public torva::platform::File {
public:
    explicit MemoryFile(const std::vector<uint8_t>& content) : unchanged(content) {
        operations = 0;
        ++openFiles;
    }
    ~MemoryFile() override { --openFiles; }

    bool ReadAt(torva::u64 position, void* dst, torva::u32 size, torva::u32& got) override {
        got = 0;
        const std::vector<uint8_t>& bytes = Bytes();
        const Kind fault = NextFault();
        const bool bad = position < plan.badEnd && position + size > plan.badBegin;
        if (fault == Kind::kFail || bad) {
            if (bad) ++injected;
            memset(dst, 0xEE, size);  // nothing is promised about these bytes
            return false;
        }
        const uint64_t left = position < bytes.size() ? bytes.size() - position : 0;
        got = static_cast<torva::u32>(std::min<uint64_t>(size, left));
        if (fault == Kind::kShort) got /= 2;
        if (got > 0) memcpy(dst, bytes.data() + position, got);
        return true;
    }
    bool Size(torva::u64& size) override {
        const std::vector<uint8_t>& bytes = Bytes();
        const Kind fault = NextFault();
        if (fault == Kind::kFail) return false;
        size = fault == Kind::kShort ? bytes.size() / 2 : bytes.size();
        return true;
    }

private:
    const std::vector<uint8_t>& Bytes() const {
        return plan.changed != nullptr && operations >= plan.changedFrom ? *plan.changed : unchanged;
    }

    static Kind NextFault() {
        const uint64_t operation = operations++;
        const bool hit = operation == plan.first || (plan.andAllBehind && operation > plan.first);
        if (plan.kind == Kind::kNone || !hit) return Kind::kNone;
        ++injected;
        return plan.kind;
    }

    const std::vector<uint8_t>& unchanged;
};

std::unique_ptr<torva::platform::File> Open(const char* /*path*/) {
    return std::make_unique<MemoryFile>(*current);
}

}  // namespace

Scope::Scope(const std::vector<uint8_t>& bytes, Plan faults) {
    current = &bytes;
    plan = faults;
    injected = 0;
    torva::platform::SetFileOpener(Open);
}

Scope::~Scope() { torva::platform::SetFileOpener(nullptr); }

void Scope::Recover() { plan.badBegin = plan.badEnd = 0; }
uint64_t Scope::Operations() { return operations; }
uint64_t Scope::Injected() { return injected; }
int Scope::OpenFiles() { return openFiles; }

}  // namespace memoryfile
