#include "report/LogTime.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>

namespace report
{
namespace
{
constexpr std::string_view months = "JanFebMarAprMayJunJulAugSepOctNovDec";
constexpr std::size_t monthLength = 3;
constexpr std::string_view separator = " : "; // behind a stamp

/** Takes parts of a text from its front. The first part that does not fit ends it. */
class Parser
{
public:
    explicit Parser (std::string_view textToParse)
        : text (textToParse)
    {
    }

    int number (std::size_t fewestDigits, std::size_t mostDigits, int highest)
    {
        std::size_t digits = 0;

        while (digits < mostDigits && digits < text.size() && text[digits] >= '0' && text[digits] <= '9')
            ++digits;

        int value = 0;
        std::from_chars (text.data(), text.data() + digits, value);
        isGood = isGood && digits >= fewestDigits && value <= highest;
        text.remove_prefix (digits);
        return value;
    }

    void skip (std::string_view literal)
    {
        isGood = isGood && text.substr (0, literal.size()) == literal;
        text.remove_prefix (isGood ? literal.size() : 0);
    }

    int month()
    {
        const auto at = months.find (text.substr (0, monthLength));
        isGood = isGood && text.size() >= monthLength && at != std::string_view::npos && at % monthLength == 0;
        text.remove_prefix (isGood ? monthLength : 0);
        return isGood ? static_cast<int> (at / monthLength) + 1 : 0;
    }

    std::string_view text;
    bool isGood = true;
};

struct Civil
{
    std::int64_t year;
    int month, day;
};

// Days since 1 January 1970 in the Gregorian calendar. Years begin in March here, so that a leap day is the last one.
constexpr std::int64_t daysPerEra = 146097, yearsPerEra = 400, daysToEpoch = 719468;

std::int64_t daysOf (const Civil& date)
{
    const auto year = date.year - (date.month <= 2 ? 1 : 0);
    const auto era = year / yearsPerEra;
    const auto yearOfEra = year - era * yearsPerEra;
    const auto dayOfYear = (153 * ((date.month + 9) % 12) + 2) / 5 + date.day - 1;
    return era * daysPerEra + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - daysToEpoch;
}

Civil civilOf (std::int64_t days)
{
    days += daysToEpoch;
    const auto era = (days >= 0 ? days : days - daysPerEra + 1) / daysPerEra;
    const auto dayOfEra = days - era * daysPerEra;
    const auto yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const auto dayOfYear = static_cast<int> (dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100));
    const auto shifted = (5 * dayOfYear + 2) / 153;
    const auto month = shifted < 10 ? shifted + 3 : shifted - 9;
    return { yearOfEra + era * yearsPerEra + (month <= 2 ? 1 : 0), month,
             dayOfYear - (153 * shifted + 2) / 5 + 1 };
}

/** Date and time at the front of the parser's text. */
LogTime timeOf (Parser& parser)
{
    Civil date {};
    parser.isGood =
        ! parser.text.empty() && parser.text.front() != '0'; // no leading zero, unlike a torn time before it
    date.day = parser.number (1, 2, 31);
    parser.skip (" ");
    date.month = parser.month();
    parser.skip (" ");
    date.year = parser.number (4, 4, 9999);
    parser.skip (" ");
    const auto hour = parser.number (1, 2, 23);
    parser.skip (":");
    const auto minutes = parser.number (2, 2, 59);
    parser.skip (":");
    const auto seconds = parser.number (2, 2, 59);
    const auto days = parser.isGood ? daysOf (date) : 0;
    parser.isGood = parser.isGood && date.day > 0 && civilOf (days).month == date.month; // 31 June is none
    return days * oneDay + hour * oneHour + minutes * oneMinute + seconds * oneSecond;
}

struct Parts
{
    Civil date;
    int hour, minute, second;
};

Parts partsOf (LogTime time)
{
    auto days = time / oneDay;
    auto rest = time % oneDay;

    if (rest < 0)
    {
        --days;
        rest += oneDay;
    }

    const auto seconds = static_cast<int> (rest / oneSecond);
    return { civilOf (days), seconds / 3600, seconds / 60 % 60, seconds % 60 };
}
}

std::optional<Stamp> findStamp (std::string_view line, std::size_t from, LogTime latest)
{
    const auto stampAt = [line] (std::size_t begin) -> std::optional<Stamp>
    {
        Parser parser (line.substr (begin));
        const auto time = timeOf (parser);
        parser.skip (separator);
        return parser.isGood ? std::optional<Stamp> ({ begin, line.size() - parser.text.size(), time })
                             : std::nullopt;
    };

    for (auto at = line.find (separator, from); at != std::string_view::npos; at = line.find (separator, at + 1))
    {
        constexpr std::size_t shortest = 18, longest = 20; // 9 May 2026 9:08:07, 21 Nov 2026 15:17:31
        std::optional<Stamp> found;

        for (auto length = longest; length >= shortest; --length)
        {
            const auto stamp = length <= at - from ? stampAt (at - length) : std::nullopt;
            const auto isNearer =
                stamp && found && std::abs (stamp->time - latest) < std::abs (found->time - latest);

            if (stamp && stamp->end == at + separator.size() && (! found || (found->begin > from && isNearer)))
                found = stamp;
        }

        if (found)
            return found;
    }

    return {};
}

std::optional<LogTime> headerTime (std::string_view text)
{
    constexpr int noon = 12;
    Parser parser (text);
    auto time = timeOf (parser);
    const auto isAfternoon = parser.text == "pm";
    const auto hour = partsOf (time).hour;

    if (! parser.isGood || (! isAfternoon && parser.text != "am") || hour == 0 || hour > noon)
        return {};

    return time + ((isAfternoon ? noon : 0) - (hour == noon ? noon : 0)) * oneHour;
}

std::string isoTime (LogTime time)
{
    const auto parts = partsOf (time);
    std::array<char, 48> text {};
    std::snprintf (text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d", static_cast<int> (parts.date.year),
                   parts.date.month, parts.date.day, parts.hour, parts.minute, parts.second);
    return text.data();
}

std::string logTime (LogTime time)
{
    const auto parts = partsOf (time);
    const auto month = months.substr (static_cast<std::size_t> (parts.date.month - 1) * monthLength, monthLength);
    std::array<char, 48> text {};
    std::snprintf (text.data(), text.size(), "%d %.3s %d %d:%02d:%02d", parts.date.day, month.data(),
                   static_cast<int> (parts.date.year), parts.hour, parts.minute, parts.second);
    return text.data();
}
}
