// What a File and its ranges share, and the one place that a file is read at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "torva/error.hpp"
#include "torva/look.hpp"
#include "torva/memory.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {

// How a file is opened; see tv_OpenSymFile.
struct OpenOptions {
    bool wholeFile = true;
    std::uint32_t memoryBudget = 4u << 20;
    // The field ids that symbols() delivers; all when there are none. More than 65535 are an error. Copied.
    const std::uint16_t* fieldIds = nullptr;
    std::size_t fieldIdCount = 0;
    // Longest text that symbols() and the sections with copied texts take, in characters.
    std::int32_t textMax = 65535;
};

namespace detail {

// A walk's hold on its file. Whoever takes the place away clears the handle: the walk's next call then reads
// nothing and fails, so that a walk in its place need not check at every step.
struct Place {
    std::uint16_t handle = 0;
};

// Belongs to its File and its ranges together, so that a range that outlives its File finds it closed.
struct FileState {
    std::uint32_t owners = 1;
    std::uint16_t handle = 0;  // 0: closed
    std::int32_t textMax = 0;

    // The walks that own the file's one place, in section 18 and in section 21.
    Place* standing[3] = {nullptr, nullptr, nullptr};

    unsigned current = 0;       // 2, 3 or 8 when the library stands inside this section
    bool symbolBroken = false;  // the symbols were left inside a record

    // The first error, until it is cleared.
    std::int32_t errorCode = SYM_OK;
    unsigned errorSection = 0;
    Reason reason = Reason::none;

    Buffer<char> path;
    std::size_t pathSize = 0;
    Buffer<std::uint32_t> sections;
    std::size_t sectionCount = 0;
    unsigned ownSections = 0;  // bit n: section n, of 1 and 2

    std::string_view pathView() const noexcept { return {path.data(), pathSize}; }

    std::int32_t open(const char* name, std::size_t size, const OpenOptions& how) noexcept {
        close();
        errorCode = SYM_OK;
        reason = Reason::none;
        sectionCount = 0;
        ownSections = 0;
        current = 0;
        symbolBroken = false;
        pathSize = 0;
        errorCode = openAs(name, size, how);
        errorSection = 0;
        return errorCode;
    }
    void close() noexcept {
        if (handle != 0) {
            tv_CloseSymFile(handle);
            closed();
        }
    }
    // Also when the library has closed it: the handle may belong to somebody else by now.
    void closed() noexcept {
        handle = 0;
        for (Place*& place : standing) {
            take(place, nullptr);
        }
    }
    static void take(Place*& place, Place* next) noexcept {
        if (place != nullptr) {
            place->handle = 0;
        }
        place = next;
    }
    // An error in a range.
    void record(std::int32_t code, unsigned section) noexcept {
        if (code == SYM_ERR_BAD_HANDLE) {
            closed();
        }
        if (errorCode == SYM_OK) {
            errorCode = code;
            errorSection = section;
        }
    }

    // Makes sure that the next GetNext call of section 2, 3 or 8 begins at the first record: it does so only
    // when another section is current. So a section inside which the library stands is left for another one
    // first.
    std::int32_t restart(unsigned section) noexcept {
        return current != section || enterAnother(section) ? SYM_OK : kErrNoRestart;
    }

private:
    std::int32_t openAs(const char* name, std::size_t size, const OpenOptions& how) noexcept {
        if (name == nullptr || !path.reserve(size + 1)) {
            return failed(name == nullptr ? SYM_ERR_PARAM : SYM_ERR_NO_MEMORY,
                          name == nullptr ? Reason::invalidPath : Reason::outOfMemory);
        }
        std::memmove(path.data(), name, size);  // it may be the path of before
        path.data()[size] = '\0';
        pathSize = size;
        if (std::memchr(name, 0, size) != nullptr) {
            return failed(SYM_ERR_PARAM, Reason::invalidPath);
        }
        if (how.textMax < 0 || (how.fieldIds == nullptr && how.fieldIdCount != 0)) {
            return failed(SYM_ERR_PARAM, Reason::invalidOption);
        }
        if (how.fieldIdCount > 65535) {
            return failed(SYM_ERR_PARAM, Reason::tooManyFieldIds);
        }
        const Look seen = lookAt(path.data(), false);
        if (how.wholeFile && seen.size >= UINT32_MAX) {  // the library would take it for an empty file
            return failed(SYM_ERR_OPEN, Reason::tooLarge);
        }
        const std::int32_t result =
            tv_OpenSymFile(path.data(), how.memoryBudget, how.fieldIds,
                           static_cast<std::uint32_t>(how.fieldIdCount), how.wholeFile ? 1u : 0u);
        if (result <= 0) {
            return failed(result, reasonFor(result));
        }
        handle = static_cast<std::uint16_t>(result);
        textMax = how.textMax;
        ownSections = seen.ownSections;
        return listSections(seen.extended);
    }
    std::int32_t listSections(bool expected) noexcept {
        const std::int32_t count = tv_GetExtendSectionList(handle, nullptr, 0);
        // In memory mode a file for which there is no memory opens as an empty one.
        if ((count <= 0 && expected) || !sections.reserve(static_cast<std::size_t>(count))) {
            close();
            return failed(SYM_ERR_NO_MEMORY, Reason::outOfMemory);
        }
        if (count > 0) {
            tv_GetExtendSectionList(handle, sections.data(), count);
        }
        sectionCount = static_cast<std::size_t>(count);
        return SYM_OK;
    }
    std::int32_t failed(std::int32_t code, Reason why) noexcept {
        reason = why;
        return code;
    }
    Reason reasonFor(std::int32_t result) const noexcept {
        constexpr std::size_t kLongestPath = 25600;
        if (result == SYM_ERR_NO_SLOT) {
            return Reason::tooManyFiles;
        }
        if (result == SYM_ERR_NO_MEMORY) {
            return Reason::outOfMemory;
        }
        if (result == SYM_ERR_PARAM) {
            return pathSize > kLongestPath ? Reason::invalidPath : Reason::budgetTooSmall;
        }
        const Look seen = lookAt(path.data(), true);
        return seen.reason != Reason::none ? seen.reason
               : seen.lockedElsewhere      ? Reason::inUse
                                           : Reason::notASymbolFile;
    }

    // Sections 18 and 21 come last: what their ranges have not delivered is lost.
    bool enterAnother(unsigned section) noexcept {
        using Initial = std::int32_t (*)(std::uint16_t);
        const Initial initials[] = {tv_InitializeSection9,
                                    tv_InitializeSection10,
                                    tv_InitializeSection11,
                                    tv_InitializeSection12,
                                    tv_InitialSectionBorkerInfo,
                                    tv_InitialSection6,
                                    tv_InitialSection7,
                                    tv_InitialObjectSection,
                                    tv_InitialForeignTradeSection,
                                    tv_InitialGlobalRelatedSection,
                                    tv_InitialExchangeSection,
                                    tv_InitialRealDelayMappingSection,
                                    tv_InitialFundMainNameSection,
                                    tv_InitialFuturesSectionV2,
                                    tv_InitialFuturesClassType};
        for (const Initial initial : initials) {
            if (initial(handle) != SYM_ERR_NO_SECTION) {
                current = 0;
                return true;
            }
        }
        return (section != 2 && enterSymbols()) || (section != 3 && enterJumpPrices()) ||
               (section != 8 && enterLevel2()) ||
               load(tv_InitialLevel2EODBasicItemDefineSection, standing[1]) ||
               load(tv_InitialExchangeSupportSection, standing[2]);
    }
    // Without room for a symbol's text the call stops before it: no other result shows that there is a
    // symbol.
    bool enterSymbols() noexcept {
        char none[1];
        std::int32_t count = -1;
        return entered(2,
                       tv_GetNextSymData(handle, none, -1, &count, nullptr, 0) == SYM_ERR_BUFFER_TOO_SMALL);
    }
    bool enterJumpPrices() noexcept {
        std::uint8_t id = 0;
        std::int32_t count = -1;
        tv_GetNextJumpPriceGroup(handle, &id, &count, nullptr, 0);
        return entered(3, count >= 0);
    }
    bool enterLevel2() noexcept {
        std::uint8_t id = 0;
        std::int32_t count = -1;
        tv_GetNextSectionL2Group(handle, &id, &count, nullptr, 0);
        return entered(8, count >= 0);
    }
    bool load(std::int32_t (*initial)(std::uint16_t), Place*& place) noexcept {
        take(place, nullptr);
        return entered(0, initial(handle) != SYM_ERR_NO_SECTION);
    }
    bool entered(unsigned section, bool found) noexcept {
        if (found) {
            current = section;
        }
        return found;
    }
};

class FileRef {
public:
    explicit FileRef(FileState* file) noexcept : state(file) {
        if (state != nullptr) {
            ++state->owners;
        }
    }
    FileRef(const FileRef&) = delete;
    FileRef& operator=(const FileRef&) = delete;
    ~FileRef() { release(state); }
    FileState* operator->() const noexcept { return state; }
    FileState* get() const noexcept { return state; }

    static void release(FileState* state) noexcept {
        if (state != nullptr && --state->owners == 0) {
            destroy(state);
        }
    }

private:
    FileState* state;
};

}  // namespace detail
}  // namespace TORVA_EDITION
}  // namespace tvapi
