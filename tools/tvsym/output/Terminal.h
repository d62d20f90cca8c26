// What people see: colour and a progress bar where there is a terminal, tables with aligned columns
// everywhere.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tvsym/Tool.h"

namespace tvsym {

// Standard output, or a file. Throws PipeClosed when the reader has gone, ToolError for every other failure.
class Output {
public:
    Output() = default;                                               // standard output
    explicit Output(const std::string& path) : Output(path, path) {}  // a new file
    Output(const std::string& path, const std::string& nameInMessages);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void Write(std::string_view text);
    void Close();  // everything is written when this returns

private:
    void Check(bool good);

    std::FILE* file = stdout;
    std::string name = "standard output";
};

struct PipeClosed {};

// The elements of a JSON list, each on a line of its own.
template <typename Elements, typename ToJson>
void WriteJsonList(Output& out, const Elements& elements, const ToJson& toJson) {
    const char* separator = "\n";
    for (const auto& element : elements) {
        out.Write(separator + toJson(element));
        separator = ",\n";
    }
}

bool IsOutputTerminal();

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

    void Row(std::vector<std::string> cells, Style style = Style::Plain);
    void Finish();

private:
    struct Line {
        std::vector<std::string> cells;
        Style style;
    };
    void Print(const Line& line);
    void Release();

    Output& output;
    std::vector<Column> columns;
    std::vector<size_t> widths;
    std::vector<Line> held;
    bool holding = true;
};

// "1,234,567"
std::string Grouped(u64 number);

// "1.4 MiB"
std::string ByteSize(u64 bytes);

// On stderr, for work that takes longer than a moment; nothing when that is no terminal or `quiet` is set.
class ProgressBar {
public:
    ProgressBar(const std::string& name, u64 totalBytes, bool quiet);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void SetTotal(u64 bytes) { total = bytes; }
    void SectionAt(u64 bytes);    // in the section that is walked now
    void SectionDone(u64 bytes);  // the section is behind us
    void Hide();

private:
    using Clock = std::chrono::steady_clock;
    void Draw(u64 bytes, Clock::time_point now);

    std::string title;
    u64 total;
    u64 before = 0;
    bool shown = false;
    bool active;
    Clock::time_point start = Clock::now();
    Clock::time_point last = start;
};

}  // namespace tvsym
