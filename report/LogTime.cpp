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

/** Takes parts of a text from its front. The first part that does not fit ends it. */
class Parser
{
public:
    explicit Parser (std::string_view textToParse)
        : text (textToParse)
    {
    }

    /** A number up to `highest`, and the text behind it. */
    int number (std::size_t fewestDigits, std::size_t mostDigits, int highest, std::string_view behind)
    {
        std::size_t digits = 0;

        while (digits < mostDigits && digits < text.size() && text[digits] >= '0' && text[digits] <= '9')
            ++digits;

        int value = 0;
        std::from_chars (text.data(), text.data() + digits, value);
        isGood = isGood && digits >= fewestDigits && value <= highest;
        text.remove_prefix (digits);
        skip (behind);
        return value;
    }

    /** A month's name and a blank. */
    int month()
    {
        const auto at = months.find (text.substr (0, monthLength));
        isGood = isGood && text.size() >= monthLength && at != std::string_view::npos && at % monthLength == 0;
        text.remove_prefix (isGood ? monthLength : 0);
        skip (" ");
        return isGood ? static_cast<int> (at / monthLength) + 1 : 0;
    }

    std::string_view text;
    bool isGood = true;

private:
    void skip (std::string_view literal)
    {
        isGood = isGood && text.substr (0, literal.size()) == literal;
        text.remove_prefix (isGood ? literal.size() : 0);
    }
};

struct Parts
{
    std::int64_t year;
    int month, day, hour, minute, second;
};

// Days since 1 January 1970 in the Gregorian calendar. Years begin in March here, so that a leap day is the last one.
constexpr std::int64_t daysPerEra = 146097, yearsPerEra = 400, daysToEpoch = 719468;

LogTime timeOf (const Parts& parts)
{
    const auto year = parts.year - (parts.month <= 2 ? 1 : 0);
    const auto dayOfYear = (153 * ((parts.month + 9) % 12) + 2) / 5 + parts.day - 1;
    const auto days = year * 365 + year / 4 - year / 100 + year / yearsPerEra + dayOfYear - daysToEpoch;
    return days * oneDay + parts.hour * oneHour + parts.minute * oneMinute + parts.second * oneSecond;
}

Parts partsOf (LogTime time)
{
    const auto day = (time - (time < 0 ? oneDay - 1 : 0)) / oneDay;
    const auto seconds = static_cast<int> ((time - day * oneDay) / oneSecond);
    const auto days = day + daysToEpoch;
    const auto era = (days >= 0 ? days : days - daysPerEra + 1) / daysPerEra;
    const auto dayOfEra = days - era * daysPerEra;
    const auto yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const auto dayOfYear = static_cast<int> (dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100));
    const auto shifted = (5 * dayOfYear + 2) / 153;
    const auto month = shifted < 10 ? shifted + 3 : shifted - 9;
    return { yearOfEra + era * yearsPerEra + (month <= 2 ? 1 : 0),
             month,
             dayOfYear - (153 * shifted + 2) / 5 + 1,
             seconds / 3600,
             seconds / 60 % 60,
             seconds % 60 };
}

/** Date and time at the front of the parser's text. */
LogTime timeOf (Parser& parser)
{
    Parts parts {};
    parser.isGood =
        ! parser.text.empty() && parser.text.front() != '0'; // no leading zero, unlike a torn time before it
    parts.day = parser.number (1, 2, 31, " ");
    parts.month = parser.month();
    parts.year = parser.number (4, 4, 9999, " ");
    parts.hour = parser.number (1, 2, 23, ":");
    parts.minute = parser.number (2, 2, 59, ":");
    parts.second = parser.number (2, 2, 59, "");
    const auto time = parser.isGood ? timeOf (parts) : 0;
    parser.isGood = parser.isGood && partsOf (time).month == parts.month; // 31 June is none
    return time;
}
}

std::optional<Stamp> findStamp (std::string_view line, std::size_t from, LogTime latest)
{
    constexpr std::string_view separator = " : ";
    constexpr std::size_t shortest = 18, longest = 20; // 9 May 2026 9:08:07, 21 Nov 2026 15:17:31

    for (auto at = line.find (separator, from); at != std::string_view::npos; at = line.find (separator, at + 1))
    {
        std::optional<Stamp> found;

        for (auto length = longest; length >= shortest; --length)
        {
            if (length > at - from)
                continue;

            Parser parser (line.substr (at - length, length));
            const auto time = timeOf (parser);

            if (! parser.isGood || ! parser.text.empty())
                continue;

            if (! found || (found->begin > from && std::abs (time - latest) < std::abs (found->time - latest)))
                found = { at - length, at + separator.size(), time };
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
    std::snprintf (text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d", static_cast<int> (parts.year),
                   parts.month, parts.day, parts.hour, parts.minute, parts.second);
    return text.data();
}

std::string logTime (LogTime time)
{
    const auto parts = partsOf (time);
    const auto month = months.substr (static_cast<std::size_t> (parts.month - 1) * monthLength, monthLength);
    std::array<char, 48> text {};
    std::snprintf (text.data(), text.size(), "%d %.3s %d %d:%02d:%02d", parts.day, month.data(),
                   static_cast<int> (parts.year), parts.hour, parts.minute, parts.second);
    return text.data();
}
}
