#include "tools/tvsym/output/Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

#include "text/Text.h"
#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace {

constexpr size_t kRowsForWidths = 1000;
constexpr size_t kWidestColumn = 60;

ProgressBar* visibleBar = nullptr;

u64 bytesRead = 0;

bool ColourWanted() {
    if (Look::Chosen().color != "auto") return Look::Chosen().color == "always";
    const char* noColour = std::getenv("NO_COLOR");
    return !(noColour && *noColour) && IsOutputTerminal();
}

}  // namespace

// ---- tables

size_t DisplayWidth(std::string_view utf8) {
    const auto wide = [](char c) { return static_cast<u8>(c) >= 0x80; };
    auto width = static_cast<size_t>(std::find_if(utf8.begin(), utf8.end(), wide) - utf8.begin());
    for (utf8.remove_prefix(width); !utf8.empty();) {
        width += static_cast<size_t>(CharacterWidth(NextCharacter(utf8)));
    }
    return width;
}

Look& Look::Chosen() {
    static Look look;
    return look;
}

u64 ProgressBar::BytesRead() { return bytesRead; }

bool IsOutputTerminal() {
    static const bool terminal = IsTerminal(stdout);
    return terminal;
}

void PageOutput() {
    static bool decided = false;
    if (decided || !IsOutputTerminal()) return;
    decided = true;
    const char* const chosen = std::getenv("PAGER");
    const std::string command = chosen != nullptr ? chosen : "";
    const char* const terminal = std::getenv("TERM");
    const bool plain = terminal == nullptr || std::string_view(terminal) == "dumb";
    const bool none = chosen != nullptr ? command.empty() || command == "cat" : plain;
    if (!Look::Chosen().noPager && !none) StartPager(command);
}

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

void Table::Row(std::span<const std::string> cells, Style style) {
    if (!holding) {
        return Print(cells, style);
    }
    for (size_t at = 0; at < columns.size(); ++at) {
        widths[at] = std::max(widths[at], std::min(DisplayWidth(cells[at]), kWidestColumn));
    }
    held.push_back({{cells.begin(), cells.end()}, style});
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
    std::vector<std::string> titles;
    for (const Column& column : columns) {
        titles.push_back(column.title);
    }
    Print(titles, Style::Bold);
    for (const Line& line : held) {
        Print(line.cells, line.style);
    }
    held.clear();
}

void Table::Print(std::span<const std::string> cells, Style style) {
    text.clear();
    for (size_t at = 0; at < columns.size(); ++at) {
        const size_t width = DisplayWidth(cells[at]);
        const size_t gap = width < widths[at] ? widths[at] - width : 0;
        const bool right = columns[at].align == Align::Right;
        text.append(right ? gap : 0, ' ');
        text += cells[at];
        if (at + 1 < columns.size()) text.append((right ? 0 : gap) + 2, ' ');
    }
    text.erase(text.find_last_not_of(' ') + 1);
    if (style != Style::Plain) text = Styled(style, text);
    text += '\n';
    output.Write(text);
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

void ProgressBar::Add(u64 bytes) {
    bytesRead += bytes;
    if (!active) {
        return;
    }
    done = std::min(done + bytes, total);
    const Clock::time_point now = Clock::now();
    if (now - start >= std::chrono::milliseconds(300) && now - last >= std::chrono::milliseconds(100)) {
        last = now;
        Draw(now);
    }
}

Progress ProgressBar::Callback() {
    return [this](u64 bytes) {
        Add(bytes);
        return true;
    };
}

void ProgressBar::HideVisible() {
    if (visibleBar) {
        visibleBar->Hide();
    }
}

void ProgressBar::Hide() {
    if (shown) {
        fmt::print(stderr, "\r\x1b[K");
        std::fflush(stderr);
        shown = false;
    }
}

// "file.sym  [#######-------]  48%  120.4 MiB/s  0:03 left"
void ProgressBar::Draw(Clock::time_point now) {
    const double share = total ? static_cast<double>(done) / static_cast<double>(total) : 0;
    const double seconds = std::chrono::duration<double>(now - start).count();
    const double rate = static_cast<double>(done) / seconds;
    const auto left = static_cast<u64>(rate > 0 ? static_cast<double>(total - done) / rate : 0);
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
