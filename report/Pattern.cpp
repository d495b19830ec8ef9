#include "report/Pattern.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

namespace report
{
namespace
{
constexpr std::string_view numberNames[] = { "n", "t", "seconds", "speed", "day", "year", "hour", "minute" };

bool isNumber (std::string_view text)
{
    double ignored = 0.0;
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars (text.data(), end, ignored);
    return stop == end && error == std::errc();
}

bool fits (std::string_view name, std::string_view text)
{
    if (name == "why" || name == "date and time")
        return true;

    if (name == "byte")
        return text.size() <= 1;

    const auto hasNumber =
        std::find (std::begin (numberNames), std::end (numberNames), name) != std::end (numberNames);
    return ! text.empty() && text.find (' ') == std::string_view::npos && (! hasNumber || isNumber (text));
}
}

std::string_view Fields::operator[] (std::string_view name) const noexcept
{
    for (std::size_t i = 0; i < count; ++i)
        if (all[i].name == name)
            return all[i].text;

    return {};
}

std::optional<double> numberIn (std::string_view text)
{
    double value = 0.0;
    const auto result = std::from_chars (text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && std::isfinite (value) ? std::optional (value) : std::nullopt;
}

std::int64_t integerIn (std::string_view text)
{
    std::int64_t value = 0;
    std::from_chars (text.data(), text.data() + text.size(), value);
    return value;
}

bool matches (std::string_view pattern, std::string_view text, Fields& fields)
{
    fields.clear();

    for (;;)
    {
        const auto literal = pattern.substr (0, pattern.find ('<'));

        if (text.substr (0, literal.size()) != literal)
            return false;

        text.remove_prefix (literal.size());
        pattern.remove_prefix (literal.size());

        if (pattern.empty())
            return text.empty();

        const auto name = pattern.substr (1, pattern.find ('>') - 1);
        pattern.remove_prefix (name.size() + 2);

        // No placeholder but the last one holds its own next literal, so its first occurrence ends it.
        const auto next = pattern.substr (0, pattern.find ('<'));
        const auto end = next.empty() ? text.size() : text.find (next);

        if (end == std::string_view::npos || ! fits (name, text.substr (0, end)))
            return false;

        fields.add (name, text.substr (0, end));
        text.remove_prefix (end);
    }
}
}
