// tvsym sort: the symbols of a file in another order.
#include <fmt/format.h>

#include "format/LittleEndian.h"
#include "tables/check/Wording.h"
#include "tables/compare/SortedRecords.h"
#include "tools/tvsym/commands/Change.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

constexpr size_t kSortMemory = size_t{16} << 20;

struct SortOptions : ChangeOptions {
    SelectOptions select;
};

int RunSort(const SortOptions& options) {
    ChangedSource file(options, options.select);
    SortedRecords sorted(kSortMemory, [] { return MakeTemporaryFile(""); });
    std::string key;
    u64 moved = 0;
    u64 place = 0;
    const auto begin = [](std::string& to, u64 number) {
        to.assign(8, '\0');
        for (size_t at = 0; at < 8; ++at) to[at] = static_cast<char>(number >> (56 - 8 * at));
    };
    std::vector<u32> places;  // with --order-by, of each symbol in the result
    if (!options.select.orderBy.empty()) {
        SqlQuery order = file.selection.Numbers();
        for (u32 at = 0; order.Next(); ++at) {
            const auto number = static_cast<size_t>(order.Column(0).integer);
            if (places.size() < number) places.resize(number);
            places[number - 1] = at;
        }
    }
    const RecordWalk walk = WalkRecords(file.reader, false, [&](const Record& record) {
        if (places.empty()) {
            key.assign(record.symbol);
        } else {
            begin(key, places.at(static_cast<size_t>(record.number - 1)));
        }
        std::string value;
        begin(value, record.number);
        value += record.bytes;
        sorted.Add(key, value);
    });
    sorted.Sort();
    RecordSpool records;
    for (; !sorted.AtEnd(); sorted.Next()) {
        const std::string_view value = sorted.Value();
        u64 number = 0;
        for (size_t at = 0; at < 8; ++at) number = number << 8 | static_cast<u8>(value[at]);
        moved += number != ++place ? 1 : 0;
        const std::string_view bytes = value.substr(8);
        const std::string_view text = bytes.substr(4, bytes.find('\0', 4) - 4);
        records.Add(text, bytes);
    }
    records.AddTail(*file.source, walk);
    file.progress.Hide();
    Rewrite result(file.source, file.reader.Directory());
    if (moved > 0) result.ReplaceSection(*file.Symbols(), records.Bytes(), true);
    WriteChanged(result, &records, file.target, file.dictionary);
    ReportChange(file.target, fmt::format("{} moved, {} kept their place", Counted(moved, "symbols"),
                                          Grouped(records.Count() - moved)));
    return ReportProblems(file.reader, {}, walk.problems);
}

}  // namespace

RunCommand AddSort(CLI::App& app) {
    auto options = std::make_shared<SortOptions>();
    AddChangeOptions(app, *options);
    app.add_option(
           "--order-by", options->select.orderBy,
           "in the order of these SQL expressions, as in \"venue, lot DESC\"; without it by the bytes of the "
           "symbol")
        ->type_name("EXPRESSION,...");
    return [options] { return RunSort(*options); };
}

}  // namespace tvsym
