// Files, how they are opened, and all of their ranges.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "torva/list.hpp"
#include "torva/nested.hpp"
#include "torva/symbols.hpp"
#include "torva/tables.hpp"
#include "torva/texts.hpp"

namespace tvapi {
inline namespace TORVA_EDITION {
namespace detail {
// Types such as std::filesystem::path.
template <class Path>
using IfPath =
    std::enable_if_t<!std::is_convertible_v<const Path&, std::string_view> &&
                         std::is_convertible_v<decltype(std::declval<const Path&>().string()), std::string>,
                     int>;
}  // namespace detail

// One open symbol file. A File and its ranges belong to one thread at a time.
class File {
public:
    File() = default;
#ifndef TORVA_NO_EXCEPTIONS
    explicit File(const char* path, const OpenOptions& how = {}) { check(open(path, how)); }
    explicit File(std::string_view path, const OpenOptions& how = {}) { check(open(path, how)); }
    template <class Path, detail::IfPath<Path> = 0>
    explicit File(const Path& path, const OpenOptions& how = {}) {
        check(open(path, how));
    }
#endif
    File(File&& other) noexcept : state(std::exchange(other.state, nullptr)) {}
    File& operator=(File&& other) noexcept {
        if (this != &other) {
            release();
            state = std::exchange(other.state, nullptr);
        }
        return *this;
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { release(); }

    // Opens a file; one that was open is closed first, and its ranges end. Returns SYM_OK or the code of
    // tv_OpenSymFile; reason() and message() say more.
    [[nodiscard]] std::int32_t open(const char* path, const OpenOptions& how = {}) noexcept {
        return openBytes(path, path != nullptr ? std::strlen(path) : 0, how);
    }
    [[nodiscard]] std::int32_t open(std::string_view path, const OpenOptions& how = {}) noexcept {
        return openBytes(path.data() != nullptr ? path.data() : "", path.size(), how);
    }
    template <class Path, detail::IfPath<Path> = 0>
    [[nodiscard]] std::int32_t open(const Path& path, const OpenOptions& how = {}) {
        return open(std::string_view(path.string()), how);
    }
    // A file, or why it did not open; never throws for a file.
    template <class Path>
    [[nodiscard]] static OpenResult tryOpen(const Path& path, const OpenOptions& how = {});
    void close() noexcept {
        if (state != nullptr) {
            state->close();
        }
    }

    // Whether the file is open. Asks the library: tv_ReleaseSymAPI may have closed it.
    [[nodiscard]] bool isOpen() const noexcept {
        if (state == nullptr || state->handle == 0) {
            return false;
        }
        if (tv_GetExtendSectionList(state->handle, nullptr, 0) == SYM_ERR_BAD_HANDLE) {
            state->closed();
        }
        return state->handle != 0;
    }
    explicit operator bool() const noexcept { return isOpen(); }
    // For calls of the C interface; 0 when no file is open. Calls that move the file's place are not noticed
    // by its ranges.
    [[nodiscard]] std::uint16_t handle() const noexcept {
        return state != nullptr ? state->handle : std::uint16_t{0};
    }
    // As given to open; empty before.
    [[nodiscard]] std::string_view path() const noexcept TORVA_LIFETIMEBOUND {
        return state != nullptr ? state->pathView() : std::string_view();
    }
    // The share of the current section that has been read.
    [[nodiscard]] double progress() const noexcept { return tv_GetSymDataProgress(handle()); }

    // The first error since open or clearError, of the open and of all ranges; SYM_OK when there was none.
    // Also for ranges that are gone: in a build without exceptions, ask after a range-for over
    // file.symbols().
    [[nodiscard]] std::int32_t error() const noexcept {
        return state != nullptr ? state->errorCode : SYM_ERR_BAD_HANDLE;
    }
    [[nodiscard]] unsigned errorSection() const noexcept {
        return state != nullptr ? state->errorSection : 0;
    }
    // Why the last open failed; Reason::none when it did not.
    [[nodiscard]] Reason reason() const noexcept { return state != nullptr ? state->reason : Reason::none; }
    // That error in words, with the file's path.
    [[nodiscard]] std::string message() const {
        return detail::message(path(), error(), errorSection(), reason());
    }
    void clearError() noexcept {
        if (state != nullptr) {
            state->errorCode = SYM_OK;
            state->errorSection = 0;
            state->reason = Reason::none;
        }
    }

    // The ids in the file's directory except 1 and 2, in file order, duplicates and unknown ids included.
    // Good until the file is opened again or destroyed.
    [[nodiscard]] List<std::uint32_t> sections() const noexcept TORVA_LIFETIMEBOUND {
        return state != nullptr ? List<std::uint32_t>(state->sections.data(), state->sectionCount)
                                : List<std::uint32_t>();
    }
    // Whether the directory names this section.
    [[nodiscard]] bool has(std::uint32_t section) const noexcept {
        if (section == 1 || section == 2) {
            return state != nullptr && (state->ownSections & 1u << section) != 0;
        }
        for (const std::uint32_t id : sections()) {
            if (id == section) {
                return true;
            }
        }
        return false;
    }

    // Ranges of the sections 2, 3, 4, 6, 7, 8, and so on in the order of their ids. They end with
    // SYM_ERR_NO_SECTION when the file does not have the section; symbols(), jumpPrices() and sectionsL2()
    // are empty then. Not of a temporary File: it closes before its range begins.
    [[nodiscard]] auto symbols() & noexcept TORVA_LIFETIMEBOUND { return range<detail::SymbolWalk>(); }
    void symbols() && = delete;
    [[nodiscard]] auto jumpPrices() & noexcept TORVA_LIFETIMEBOUND { return range<detail::JumpPriceWalk>(); }
    void jumpPrices() && = delete;
    // In lists of up to 128 records.
    [[nodiscard]] auto brokerInfo() & noexcept TORVA_LIFETIMEBOUND { return range<detail::BrokerInfoWalk>(); }
    void brokerInfo() && = delete;
    [[nodiscard]] auto eidrQuickFields() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::EidrQuickWalk>();
    }
    void eidrQuickFields() && = delete;
    [[nodiscard]] auto eidrSections() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::EidrSectionWalk>();
    }
    void eidrSections() && = delete;
    [[nodiscard]] auto sectionsL2() & noexcept TORVA_LIFETIMEBOUND { return range<detail::SectionL2Walk>(); }
    void sectionsL2() && = delete;
    [[nodiscard]] auto fundCompanies() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::NameWalk<detail::FundCompanies>>();
    }
    void fundCompanies() && = delete;
    [[nodiscard]] auto eidrCountries() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::NameWalk<detail::EidrCountries>>();
    }
    void eidrCountries() && = delete;
    [[nodiscard]] auto sectionGroups() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::SectionGroupWalk>();
    }
    void sectionGroups() && = delete;
    [[nodiscard]] auto issueCompanies() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::NameWalk<detail::IssueCompanies>>();
    }
    void issueCompanies() && = delete;
    [[nodiscard]] auto objectTypes(UpperTexts texts = UpperTexts::copied) & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::ObjectTree>(texts);
    }
    void objectTypes(UpperTexts texts = UpperTexts::copied) && = delete;
    [[nodiscard]] auto foreignTrade(UpperTexts texts = UpperTexts::copied) & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::ForeignTradeTree>(texts);
    }
    void foreignTrade(UpperTexts texts = UpperTexts::copied) && = delete;
    [[nodiscard]] auto globalRelated() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::GlobalRelatedTree>();
    }
    void globalRelated() && = delete;
    [[nodiscard]] auto exchanges() & noexcept TORVA_LIFETIMEBOUND { return range<detail::ExchangeWalk>(); }
    void exchanges() && = delete;
    [[nodiscard]] auto realDelayMapping() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::RealDelayWalk>();
    }
    void realDelayMapping() && = delete;
    [[nodiscard]] auto level2EodBasicItemDefines() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::Level2EodWalk>();
    }
    void level2EodBasicItemDefines() && = delete;
    [[nodiscard]] auto fundMainNames() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::NameWalk<detail::FundMainNames>>();
    }
    void fundMainNames() && = delete;
    [[nodiscard]] auto futuresSectionsV2() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::NameWalk<detail::FuturesSectionsV2>>();
    }
    void futuresSectionsV2() && = delete;
    [[nodiscard]] auto exchangeSupport() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::ExchangeSupportWalk>();
    }
    void exchangeSupport() && = delete;
    [[nodiscard]] auto futuresClassTypes() & noexcept TORVA_LIFETIMEBOUND {
        return range<detail::NameWalk<detail::FuturesClassTypes>>();
    }
    void futuresClassTypes() && = delete;

private:
    friend class OpenResult;

    template <class Walk, class... Arguments>
    Range<Walk> range(Arguments... arguments) const noexcept {
        return Range<Walk>(detail::Box<Walk>(detail::create<Walk>(state, arguments...)));
    }
    std::int32_t openBytes(const char* path, std::size_t size, const OpenOptions& how) noexcept {
        if (state == nullptr) {
            state = detail::create<detail::FileState>();
        }
        return state != nullptr ? state->open(path, size, how) : SYM_ERR_NO_MEMORY;
    }
    void check(std::int32_t result) {
        if (result != SYM_OK) {
            // The constructor does not end, so the destructor of File does not run.
            struct Failed {
                ~Failed() { detail::FileRef::release(file); }
                detail::FileState* file;
            };
            const Failed failed{std::exchange(state, nullptr)};
            detail::raise(failed.file != nullptr ? failed.file->pathView() : std::string_view(), result, 0,
                          failed.file != nullptr ? failed.file->reason : Reason::outOfMemory);
        }
    }
    void release() noexcept {
        close();
        detail::FileRef::release(std::exchange(state, nullptr));
    }

    detail::FileState* state = nullptr;
};

// What File::tryOpen returns.
class [[nodiscard]] OpenResult {
public:
    explicit OpenResult(File&& opened, std::int32_t code) noexcept
        : file(std::move(opened)), openCode(code) {}

    explicit operator bool() const noexcept { return openCode == SYM_OK; }
    // The file; it is not open when there was an error.
    [[nodiscard]] File& operator*() & noexcept TORVA_LIFETIMEBOUND { return file; }
    [[nodiscard]] File&& operator*() && noexcept TORVA_LIFETIMEBOUND { return std::move(file); }
    [[nodiscard]] File* operator->() noexcept TORVA_LIFETIMEBOUND { return &file; }

    // SYM_OK or the code of tv_OpenSymFile.
    [[nodiscard]] std::int32_t code() const noexcept { return openCode; }
    [[nodiscard]] Reason reason() const noexcept {
        return file.state == nullptr && openCode != SYM_OK ? Reason::outOfMemory : file.reason();
    }
    // With the path: "market.sym: cannot be opened: no such file".
    [[nodiscard]] std::string message() const { return detail::message(file.path(), openCode, 0, reason()); }

private:
    File file;
    std::int32_t openCode;
};

template <class Path>
OpenResult File::tryOpen(const Path& path, const OpenOptions& how) {
    File file;
    const std::int32_t code = file.open(path, how);
    return OpenResult(std::move(file), code);
}

// Raises the number of files that can be open at once. It stays raised. Never closes a file: the count of
// users that tv_InitSymAPI keeps is not taken back, so that a host in C whose last tv_ReleaseSymAPI would
// close all files closes only its own, with tv_CloseSymFile.
class Library {
public:
    explicit Library(std::uint16_t maxFiles) noexcept { tv_InitSymAPI(maxFiles); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() = default;
};

}  // namespace TORVA_EDITION
}  // namespace tvapi
