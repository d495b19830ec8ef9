#include "report/Application.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace report
{
namespace
{
constexpr std::int64_t firstBackOffOfALife = 1000; // ms, of an int that wraps
constexpr std::int64_t stormStarts = 5;
constexpr LogTime longestHoldInAStorm = oneMinute;
constexpr LogTime longestPass = 15 * oneSecond; // with the wait for a GUI; a longer hold was seen by a pass
constexpr std::int64_t waitsPerStart = 3;       // the back-off before the start, and the doubled one after it

std::int64_t doubled (std::int64_t backOff)
{
    return static_cast<std::int32_t> (static_cast<std::uint32_t> (backOff) * 2U);
}

// A negative wait ends at once, except soon after boot.
LogTime waitOf (std::int64_t backOff)
{
    return std::max<LogTime> (backOff, 0);
}
}

void Application::add (Moment line, bool isDouble)
{
    if (starts.size() < most)
        starts.push_back ({ line, isDouble });
    else
        ++(isDouble ? doubleNotKept : absentNotKept);
}

std::optional<LogTime> Application::busyUntil (bool isBeginKnown) const
{
    if (starts.empty())
        return std::numeric_limits<LogTime>::min();

    if (! isBeginKnown)
        return {};

    auto backOff = firstBackOffOfALife;

    for (std::size_t i = 1; i < starts.size() && backOff != 0; ++i)
        backOff = doubled (backOff);

    return starts.back().time + waitOf (backOff) + waitOf (doubled (backOff));
}

std::int64_t Application::firstBackOff (bool isBeginKnown) const
{
    if (isBeginKnown)
        return firstBackOffOfALife;

    std::int64_t backOff = INT32_MAX;

    for (std::size_t i = 1; i < starts.size() && i < 31; ++i)
    {
        const auto gap = starts[i].steady - starts[i - 1].steady + oneSecond; // a stamp has no fraction
        backOff = std::min (backOff, (gap / waitsPerStart) >> (i - 1));
    }

    std::int64_t result = firstBackOffOfALife;

    while (2 * result <= backOff)
        result *= 2;

    return result;
}

void Application::conclude (std::optional<LogTime> begin, LogTime end, bool isEndKnown, Programs& programs,
                            Report& report) const
{
    if (starts.empty())
    {
        programs.longestHeld = begin ? end - *begin : 0;
        return;
    }

    const auto isBackOffKnown = begin || starts.size() > 1;
    auto backOff = firstBackOff (begin.has_value());
    Storm storm {};
    LogTime stormBegin = 0, steadyEnd = 0;
    programs.longestHeld = begin ? starts.front().steady - *begin : 0;

    const auto endStorm = [&]
    {
        if (storm.absent + storm.twice >= stormStarts)
        {
            storm.length = steadyEnd - stormBegin;
            report.storms.add (storm);
        }

        storm = {};
    };

    for (std::size_t i = 0; i < starts.size(); ++i)
    {
        const auto isLast = i + 1 == starts.size();
        const auto gap = std::max<LogTime> ((isLast ? end : starts[i + 1].steady) - starts[i].steady, 0);
        const auto before = isBackOffKnown ? std::min (waitOf (backOff), gap) : 0;
        const auto waits = std::min (before + waitOf (doubled (backOff)), gap);

        if (storm.absent + storm.twice == 0)
        {
            storm.begin = starts[i].time;
            stormBegin = starts[i].steady;
        }

        const auto isNotStarted = isLast && isEndKnown && gap < waitOf (backOff); // it ended in the wait before
        backOff = isNotStarted ? backOff : doubled (backOff);
        ++(starts[i].isDouble ? storm.twice : storm.absent);
        storm.end = starts[i].time;
        steadyEnd = starts[i].steady;
        storm.backOff = backOff;
        storm.withoutAtLeast += before;
        report.absences.add ({ starts[i].time, starts[i].time + before });
        programs.withoutAtLeast += before;

        if (! isBackOffKnown || gap - waits >= longestPass)
            programs.longestHeld = std::max (programs.longestHeld, gap - before);

        programs.longestWait = std::max (programs.longestWait, isBackOffKnown ? waits : 0);

        if (isBackOffKnown)
            programs.backOff = std::max (programs.backOff.value_or (0), backOff);

        const auto isInARow = ! isLast && gap - waits < longestHoldInAStorm;
        const auto atMost = ! isLast && gap - waits < longestPass ? gap : before;
        storm.withoutAtMost += atMost;
        programs.withoutAtMost += atMost;

        if (! isInARow)
        {
            storm.absent += isLast ? absentNotKept : 0;
            storm.twice += isLast ? doubleNotKept : 0;
            endStorm();
        }
    }
}
}
