// What people see: colour and a progress bar where there is a terminal, tables with aligned columns
// everywhere.
#pragma once

#include <chrono>
#include <cstdio>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/Output.h"

namespace tvsym {

// What every command lets its user choose. There is one for the process.
struct Look {
    std::string color = "auto";  // "always", "never"
    bool pretty = false;         // JSON with a line for each value
    bool noPager = false;        // on a terminal, too
    bool verbose = false;        // time and rate, on stderr

    static Look& Chosen();
};

// Whether the standard output was a terminal when the command began.
bool IsOutputTerminal();

// Called before the first bytes go to the standard output: on a terminal, a pager shows them from then on.
// PAGER holds the user's choice.
void PageOutput();

// Columns on a terminal.
size_t DisplayWidth(std::string_view utf8);

enum class Style : u8 { Plain, Bold, Dim, Bad };

// `text` in that style on a terminal, plain elsewhere or where NO_COLOR is set.
std::string Styled(Style style, std::string_view text);

// A table with as many columns as its header. Widths follow from the first rows; later rows are written as
// they come, so that a long table is never held.
class Table {
public:
    enum class Align : u8 { Left, Right };
    struct Column {
        std::string title;
        Align align = Align::Left;
    };

    Table(Output& out, std::vector<Column> tableColumns);

    void Row(std::span<const std::string> cells, Style style = Style::Plain);
    void Row(std::initializer_list<std::string> cells, Style style = Style::Plain) {
        Row(std::span(cells.begin(), cells.size()), style);
    }
    void Finish();

private:
    struct Line {
        std::vector<std::string> cells;
        Style style;
    };
    void Print(std::span<const std::string> cells, Style style);
    void Release();

    Output& output;
    std::vector<Column> columns;
    std::vector<size_t> widths;
    std::vector<Line> held;
    std::string text;  // of the line that is written
    bool holding = true;
};

// "1.4 MiB"
std::string ByteSize(u64 bytes);

// On stderr, for work that takes longer than a moment; never shown when stderr is not a terminal or with
// `quiet`.
class ProgressBar {
public:
    ProgressBar(const std::string& name, u64 totalBytes, bool quiet);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void SetTotal(u64 bytes) { total = bytes; }
    void Add(u64 bytes);  // that are done
    void Hide();
    static void HideVisible();
    static u64 BytesRead();  // that all bars of the process have counted

    // Adds the bytes that it is called with. The bar must outlive it.
    Progress Callback();

private:
    using Clock = std::chrono::steady_clock;
    void Draw(Clock::time_point now);

    std::string title;
    u64 total;
    u64 done = 0;
    bool shown = false;
    bool active;
    Clock::time_point start = Clock::now();
    Clock::time_point last = start;
};

}  // namespace tvsym
