#include "tools/tvsym/output/Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "tools/tvsym/Sections.h"
#include "tools/tvsym/Text.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

constexpr size_t kRowsForWidths = 1000;
constexpr size_t kWidestColumn = 60;

ProgressBar* visibleBar = nullptr;

bool ColourWanted() {
    const char* noColour = std::getenv("NO_COLOR");
    return !(noColour && *noColour) && IsTerminal(stdout);
}

}  // namespace

// ---- messages

std::string ProblemLine(const std::string& file, const Problem& problem) {
    TextCodec plain;
    std::string line = fmt::format("tvsym: {}: ", plain.Display(file));
    if (problem.section != 0) {
        line += fmt::format("section {} ({})", problem.section, SectionTitle(problem.section));
    } else {
        line += "directory";
    }
    if (problem.offset) {
        line += fmt::format(", offset 0x{:x}", *problem.offset);
    }
    return line + ": " + plain.Display(problem.what);
}

void PrintError(const std::string& line) {
    if (visibleBar) {
        visibleBar->Hide();
    }
    std::fflush(stdout);
    fmt::print(stderr, "{}\n", line);
}

void PrintProblem(const std::string& file, const Problem& problem) { PrintError(ProblemLine(file, problem)); }

// ---- output

Output::Output(const std::string& path, const std::string& nameInMessages)
    : file(std::fopen(path.c_str(), "wb")), name(nameInMessages) {
    if (!file) {
        throw ToolError(kExitUnreadable,
                        fmt::format("{}: cannot be written: {}", name, std::strerror(errno)));
    }
}

Output::~Output() {
    if (file && file != stdout) {
        std::fclose(file);
    }
}

void Output::Check(bool good) {
    if (good) {
        return;
    }
    if (file == stdout && errno == EPIPE) {
        throw PipeClosed();
    }
    throw ToolError(kExitUnreadable, fmt::format("{}: cannot be written: {}", name, std::strerror(errno)));
}

void Output::Write(std::string_view text) {
    Check(std::fwrite(text.data(), 1, text.size(), file) == text.size());
}

void Output::Close() {
    Check(std::fflush(file) == 0);
    if (file != stdout) {
        std::FILE* closing = file;
        file = nullptr;
        Check(std::fclose(closing) == 0);
    }
}

// ---- tables

bool IsOutputTerminal() { return IsTerminal(stdout); }

std::string Styled(Style style, std::string_view text) {
    static const bool colour = ColourWanted();
    constexpr const char* kStart[] = {"", "\x1b[1m", "\x1b[2m", "\x1b[31m"};
    if (!colour || style == Style::Plain || text.empty()) {
        return std::string(text);
    }
    return fmt::format("{}{}\x1b[0m", kStart[static_cast<size_t>(style)], text);
}

Table::Table(Output& out, std::vector<Column> tableColumns) : output(out), columns(std::move(tableColumns)) {
    for (const Column& column : columns) {
        widths.push_back(DisplayWidth(column.title));
    }
}

void Table::Row(std::vector<std::string> cells, Style style) {
    Line line{std::move(cells), style};
    if (!holding) {
        return Print(line);
    }
    for (size_t at = 0; at < columns.size(); ++at) {
        widths[at] = std::max(widths[at], std::min(DisplayWidth(line.cells[at]), kWidestColumn));
    }
    held.push_back(std::move(line));
    if (held.size() == kRowsForWidths) {
        Release();
    }
}

void Table::Finish() {
    if (holding) {
        Release();
    }
}

void Table::Release() {
    holding = false;
    Line titles{{}, Style::Bold};
    for (const Column& column : columns) {
        titles.cells.push_back(column.title);
    }
    Print(titles);
    for (const Line& line : held) {
        Print(line);
    }
    held.clear();
}

void Table::Print(const Line& line) {
    std::string text;
    for (size_t at = 0; at < columns.size(); ++at) {
        const size_t width = DisplayWidth(line.cells[at]);
        const size_t gap = width < widths[at] ? widths[at] - width : 0;
        const bool right = columns[at].align == Align::Right;
        const bool last = at + 1 == columns.size();
        text += fmt::format("{:{}}{}{:{}}", "", right ? gap : 0, line.cells[at], "", right || last ? 0 : gap);
        text += last ? "" : "  ";
    }
    text.erase(text.find_last_not_of(' ') + 1);
    output.Write(Styled(line.style, text) + "\n");
}

std::string Grouped(u64 number) {
    std::string digits = fmt::format("{}", number);
    for (size_t at = digits.size(); at > 3; at -= 3) {
        digits.insert(at - 3, ",");
    }
    return digits;
}

std::string ByteSize(u64 bytes) {
    constexpr const char* kUnits[] = {"bytes", "KiB", "MiB", "GiB"};
    double size = static_cast<double>(bytes);
    size_t unit = 0;
    while (size >= 1024 && unit < 3) {
        size /= 1024;
        ++unit;
    }
    return unit == 0 ? fmt::format("{} bytes", bytes) : fmt::format("{:.1f} {}", size, kUnits[unit]);
}

// ---- progress

ProgressBar::ProgressBar(const std::string& name, u64 totalBytes, bool quiet)
    : title(name), total(totalBytes), active(!quiet && IsTerminal(stderr)) {
    if (active) {
        visibleBar = this;
    }
}

ProgressBar::~ProgressBar() {
    Hide();
    if (visibleBar == this) {
        visibleBar = nullptr;
    }
}

void ProgressBar::SectionAt(u64 bytes) {
    if (!active) {
        return;
    }
    const Clock::time_point now = Clock::now();
    if (now - start >= std::chrono::milliseconds(300) && now - last >= std::chrono::milliseconds(100)) {
        last = now;
        Draw(std::min(before + bytes, total), now);
    }
}

void ProgressBar::SectionDone(u64 bytes) {
    before += bytes;
    SectionAt(0);
}

void ProgressBar::Hide() {
    if (shown) {
        fmt::print(stderr, "\r\x1b[K");
        std::fflush(stderr);
        shown = false;
    }
}

// "file.sym  [#######-------]  48%  120.4 MiB/s  0:03 left"
void ProgressBar::Draw(u64 bytes, Clock::time_point now) {
    const double share = total ? static_cast<double>(bytes) / static_cast<double>(total) : 0;
    const double seconds = std::chrono::duration<double>(now - start).count();
    const double rate = static_cast<double>(bytes) / seconds;
    const auto left = static_cast<u64>(rate > 0 ? static_cast<double>(total - bytes) / rate : 0);
    constexpr size_t kBar = 24;
    const auto full = static_cast<size_t>(share * kBar);
    std::string line = fmt::format("  [{}{}] {:3.0f}%  {}/s  {}:{:02} left", std::string(full, '#'),
                                   std::string(kBar - full, '-'), share * 100,
                                   ByteSize(static_cast<u64>(rate)), left / 60, left % 60);
    const size_t room = TerminalColumns(stderr);
    if (line.size() + DisplayWidth(title) < room) {
        line.insert(0, title);
    }
    fmt::print(stderr, "\r{:.{}}\x1b[K", line, room - 1);
    std::fflush(stderr);
    shown = true;
}

}  // namespace tvsym
