#include "report/Layout.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include <sys/ioctl.h>
#include <unistd.h>

namespace report
{
namespace
{
constexpr std::size_t narrowest = 40; // columns

std::string withCode (const char* code, std::string_view text, const Layout& layout)
{
    const std::string plain (text);
    return layout.isColoured ? std::string ("\033[") + code + "m" + plain + "\033[0m" : plain;
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
    constexpr const char* codes[] = { "32", "33", "1;31" }; // green, yellow, bold red
    return withCode (codes[static_cast<int> (weight)], text, layout);
}

std::string bold (std::string_view text, const Layout& layout)
{
    return withCode ("1", text, layout);
}

std::string lengthText (LogTime length)
{
    constexpr std::pair<std::int64_t, const char*> units[] = {
        { 86400, "d" }, { 3600, "h" }, { 60, "min" }, { 1, "s" }
    };
    constexpr int mostUnits = 2;
    auto seconds = (length + oneSecond / 2) / oneSecond;
    std::string text;
    int used = 0;

    for (const auto& [size, name] : units)
    {
        const auto count = seconds / size;
        seconds %= size;

        if (count > 0 && used < mostUnits)
            text += (text.empty() ? "" : std::string (1, fixedBlank)) + std::to_string (count) + fixedBlank + name;

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
