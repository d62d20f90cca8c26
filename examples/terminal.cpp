// A terminal's lookups: loads a symbol file and reads commands from the input.
//
//   SYMBOL     shows the fields of a symbol
//   PREFIX*    completes a symbol: the first ten, sorted
//   !          loads the file again if it changed
#include <iostream>

#include "TorvaTables.hpp"

namespace {

void Show(const torvatables::Table& table, std::int64_t row) {
    for (const torvatables::Column& column : table.Columns()) {
        if (column.IsNull(row)) continue;
        std::cout << "  " << column.Name() << " = ";
        if (const auto text = column.Text(row)) {
            std::cout << *text << '\n';
        } else if (column.Raw().type == TVT_FLOAT || column.Raw().type == TVT_DOUBLE) {
            std::cout << *column.Number<double>(row) << '\n';
        } else if (column.Raw().type == TVT_UINT64) {
            std::cout << *column.Number<std::uint64_t>(row) << '\n';
        } else {
            std::cout << *column.Number<std::int64_t>(row) << '\n';
        }
    }
}

void Refresh(torvatables::TableWatch& watch) {
    switch (watch.Refresh()) {
        case torvatables::TableWatch::Result::unchanged:
            std::cout << "unchanged\n";
            break;
        case torvatables::TableWatch::Result::reloaded:
            std::cout << "loaded " << watch.Get().Rows() << " symbols\n";
            break;
        case torvatables::TableWatch::Result::failed:
            std::cout << "still the table before: " << watch.Reason() << '\n';
            break;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: terminal FILE\n";
        return 2;
    }
    try {
        torvatables::TableWatch watch(argv[1]);
        const TvtReport report = watch.Get().Report();
        std::cout << report.rows << " symbols, " << report.columns << " columns\n";
        if (report.damage != 0) std::cout << "damaged: " << report.message << '\n';
        for (std::string line; std::getline(std::cin, line);) {
            const torvatables::Table table = watch.Get();
            if (line == "!") {
                Refresh(watch);
            } else if (line.ends_with('*')) {
                line.pop_back();
                for (const torvatables::Row& row : table.Prefix(line, 10)) std::cout << row.Symbol() << '\n';
            } else if (const auto row = table.Find(std::string_view(line))) {
                Show(table, row->Number());
            } else {
                std::cout << "no symbol " << line << '\n';
            }
        }
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "terminal: " << error.what() << '\n';
        return 1;
    }
}
