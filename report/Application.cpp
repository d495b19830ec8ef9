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

void Application::conclude (std::optional<Moment> begin, Moment end, bool isEndKnown, Programs& programs,
                            Report& report) const
{
    if (begin)
        programs.longestHeld = (starts.empty() ? end.steady : starts.front().steady) - begin->steady;

    const auto isBackOffKnown = begin || starts.size() > 1;
    auto backOff = firstBackOff (begin.has_value());
    Storm storm {};
    std::size_t first = 0; // start of the storm

    for (std::size_t i = 0; i < starts.size(); ++i)
    {
        const auto isLast = i + 1 == starts.size();
        const auto gap = std::max<LogTime> ((isLast ? end.steady : starts[i + 1].steady) - starts[i].steady, 0);
        const auto before = isBackOffKnown ? std::min (waitOf (backOff), gap) : 0;
        const auto waits = std::min (before + waitOf (doubled (backOff)), gap);
        const auto held = gap - waits;
        const auto atMost = ! isLast && held < longestPass ? gap : before;
        const auto isNotStarted = isLast && isEndKnown && gap < waitOf (backOff); // it ended in the wait before
        backOff = isNotStarted ? backOff : doubled (backOff);

        ++(starts[i].isDouble ? storm.twice : storm.absent);
        storm.withoutAtLeast += before;
        storm.withoutAtMost += atMost;
        programs.withoutAtLeast += before;
        programs.withoutAtMost += atMost;
        report.absences.add ({ starts[i].time, starts[i].time + before });

        if (! isBackOffKnown || held >= longestPass)
            programs.longestHeld = std::max (programs.longestHeld, gap - before);

        if (isBackOffKnown)
        {
            programs.longestWait = std::max (programs.longestWait, waits);
            programs.backOff = std::max (programs.backOff.value_or (0), backOff);
        }

        if (! isLast && held < longestHoldInAStorm)
            continue;

        storm.absent += isLast ? absentNotKept : 0;
        storm.twice += isLast ? doubleNotKept : 0;

        if (storm.absent + storm.twice >= stormStarts)
        {
            storm.begin = starts[first].time;
            storm.end = starts[i].time;
            storm.length = starts[i].steady - starts[first].steady;
            storm.backOff = backOff;
            report.storms.add (storm);
        }

        storm = {};
        first = i + 1;
    }
}
}
