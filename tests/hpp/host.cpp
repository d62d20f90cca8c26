// What hosts write with the header, in every setting: C++17 to C++23, with and without exceptions and RTTI.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <unordered_set>
#include <vector>

#include "TorvaFwd.hpp"
namespace host {
std::size_t FieldsOf(const tvapi::Symbol& symbol);
tvapi::File* Latest();
}  // namespace host
#ifdef HOST_WITH_FMT
#include <fmt/core.h>
#endif
#ifdef HOST_WITH_FORMAT
#include <format>
#endif
#include "TorvaAPI.hpp"
#if __cplusplus >= 202002L
#include <ranges>
#endif

namespace host {

std::size_t FieldsOf(const tvapi::Symbol& symbol) { return symbol.fields().size(); }

int failures = 0;
void Check(bool holds, int line) {
    if (!holds) std::printf("line %d does not hold\n", line);
    failures += holds ? 0 : 1;
}
#define CHECK(...) ::host::Check((__VA_ARGS__), __LINE__)

void Texts() {
    const tvapi::Text text("B");
    const std::string string = text;
    const std::string_view view = text;
    std::string assigned;
    assigned = text;
    CHECK(text == "B" && "B" == text && text == string && string == text && text == view && view == text);
    CHECK(text != "A" && "A" != text && text > "A" && "A" < text && text <= view && string >= text &&
          text == text);
    CHECK(text.size() == 1 && !text.empty() && tvapi::Text().empty() && !tvapi::Text().present());
    CHECK(std::hash<tvapi::Text>()(text) == std::hash<std::string_view>()("B"));
    std::ostringstream out;
    out << text;
    CHECK(out.str() == assigned);
    const std::map<std::string, int> map = {{"B", 1}};
    const std::map<std::string, int, std::less<>> transparent = {{"B", 1}};
    CHECK(map.find(text) != map.end() && transparent.find(text) != transparent.end());
    CHECK(std::unordered_set<tvapi::Text>{text}.count(tvapi::Text("B")) == 1);
#ifdef HOST_WITH_FMT
    CHECK(fmt::format("{:>3}", text) == "  B");
#endif
#ifdef HOST_WITH_FORMAT
    CHECK(std::format("{:>3}", text) == "  B");
#endif
}

void Fields(tvapi::FieldList fields) {
    using Iterator = decltype(fields.begin());
    static_assert(
        std::is_same_v<std::iterator_traits<Iterator>::iterator_category, std::random_access_iterator_tag>);
    CHECK(fields.size() == static_cast<std::size_t>(fields.end() - fields.begin()) && !fields.empty());
    CHECK(fields.begin()->id() == fields[0].id() && fields.begin()[0].tag() == fields[0].tag());
    const auto last = fields.end() - 1;
    CHECK(std::find_if(fields.begin(), fields.end(),
                       [&](const auto& field) { return field.id() == last->id(); }) <= last);
#if __cplusplus >= 202002L && defined(__cpp_lib_ranges)
    static_assert(std::ranges::random_access_range<tvapi::FieldList>);
    static_assert(std::ranges::borrowed_range<tvapi::FieldList>);
    static_assert(std::ranges::borrowed_range<tvapi::List<int>>);
#endif
}

void Walks(tvapi::File& file) {
    const tvapi::File& query = file;
    CHECK(query.has(2) && query.has(10) && !query.has(5) && query.isOpen() && !query.sections().empty());
    std::vector<tvapi::OwnedSymbol> kept;
    auto symbols = file.symbols();
    auto range = std::move(symbols);
    for (auto it = range.begin(); it != range.end() && kept.size() < 5; ++it) {
        CHECK(!it->text().empty() && FieldsOf(*it) > 0);
        Fields(it->fields());
        kept.emplace_back(std::move(*it));
    }
    CHECK(range.result() == SYM_OK && kept.size() == 5);
    std::sort(kept.begin(), kept.end(), [](const auto& a, const auto& b) { return b.text() < a.text(); });
    std::size_t countries = 0;
    for (const auto& country : file.eidrCountries()) countries += country.name.empty() ? 0U : 1U;
    CHECK(countries > 100);
#if __cplusplus >= 202002L && defined(__cpp_lib_ranges)
    static_assert(std::ranges::input_range<decltype(file.symbols())>);
#if !defined(__clang__) || __clang_major__ >= 16  // below 16 it does not compile the views of libstdc++
    const auto some = [](const tvapi::Symbol& symbol) { return symbol.text() > "B"; };
    std::size_t count = 0;
    for (const auto& symbol : file.symbols() | std::views::filter(some) | std::views::take(3))
        count += FieldsOf(symbol);
    auto again = file.symbols();
    for (const auto text : again | std::views::transform(&tvapi::Symbol::text)) count += text.size();
    CHECK(count > 0);
#endif
#endif
}

}  // namespace host

int main(int argc, char** argv) {
    const std::filesystem::path path(argc > 1 ? argv[1] : "");
    host::Texts();
    {
        auto opened = tvapi::File::tryOpen(path);
        if (!opened) return std::printf("%s\n", opened.message().c_str());
        host::Walks(*opened);
        auto second = tvapi::File::tryOpen(path.string());
        CHECK(!second && second.reason() == tvapi::Reason::inUse);
        tvapi::File file = *std::move(opened);
        CHECK(file.isOpen());
    }
#ifndef TORVA_NO_EXCEPTIONS
    const std::string name = path.string();
    { const tvapi::File file(path); }
    { const tvapi::File file(name); }
    { const tvapi::File file(std::string_view(name), {}); }
    { const tvapi::File file(name.c_str()); }
#endif
    return host::failures == 0 ? 0 : 1;
}
