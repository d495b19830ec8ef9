#include "report/Layout.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>

namespace report
{
namespace
{
constexpr std::size_t narrowest = 40; // columns

std::string withCode (std::string_view code, std::string_view text)
{
    return "\033[" + std::string (code) + "m" + std::string (text) + "\033[0m";
}
}

Layout standardLayout()
{
    Layout layout;
    winsize size {};
    const auto isTerminal = ::isatty (STDOUT_FILENO) != 0;

    if (isTerminal && ::ioctl (STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        layout.width = std::max<std::size_t> (size.ws_col, narrowest);

    const auto* const forbidden = std::getenv ("NO_COLOR");
    layout.isColoured = isTerminal && (forbidden == nullptr || *forbidden == '\0');
    return layout;
}

std::string wrapped (std::string_view head, std::string_view text, std::size_t width)
{
    const auto indent = columnsOf (head);
    std::string result (head), line;

    while (! text.empty())
    {
        const auto word = text.substr (0, std::min (text.find (' ', 1), width - indent));

        if (! line.empty() && indent + columnsOf (line) + columnsOf (word) > width)
        {
            result += line + "\n" + std::string (indent, ' ');
            line.clear();
        }

        line += line.empty() && word.front() == ' ' ? word.substr (1) : word;
        text.remove_prefix (word.size());
    }

    result += line + "\n";
    std::replace (result.begin(), result.end(), fixedBlank, ' ');
    return result;
}

std::string coloured (Weight weight, std::string_view text, const Layout& layout)
{
    constexpr std::array<std::string_view, 3> codes = { "32", "33", "1;31" }; // green, yellow, bold red
    return layout.isColoured ? withCode (codes[static_cast<std::size_t> (weight)], text) : std::string (text);
}

std::string bold (std::string_view text, const Layout& layout)
{
    return layout.isColoured ? withCode ("1", text) : std::string (text);
}

std::string lengthText (LogTime length)
{
    struct Unit
    {
        std::int64_t seconds;
        const char* name;
    };

    constexpr Unit units[] = { { 86400, "d" }, { 3600, "h" }, { 60, "min" }, { 1, "s" } };
    constexpr int mostUnits = 2;
    auto seconds = (length + oneSecond / 2) / oneSecond;
    std::string text;
    int used = 0;

    for (const auto& unit : units)
    {
        const auto count = seconds / unit.seconds;
        seconds %= unit.seconds;

        if (count > 0 && used < mostUnits)
            text += (text.empty() ? "" : std::string (1, fixedBlank)) + std::to_string (count) + fixedBlank +
                    unit.name;

        used += count > 0 || used > 0 ? 1 : 0;
    }

    return text.empty() ? "0 s" : text;
}

std::string counted (std::int64_t count, std::string_view thing)
{
    return std::to_string (count) + " " + std::string (thing) + (count == 1 ? "" : "s");
}

std::size_t columnsOf (std::string_view text) noexcept
{
    constexpr unsigned continuationMask = 0xc0, continuation = 0x80;
    return static_cast<std::size_t> (std::count_if (
        text.begin(), text.end(),
        [] (char byte) { return (static_cast<unsigned char> (byte) & continuationMask) != continuation; }));
}
}
