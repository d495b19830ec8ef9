#include "report/Clock.h"

#include <algorithm>

namespace report
{
namespace
{
// The time of a repetition is its full line's stamp, which has no fraction, and a rounded number. So it can seem to be a
// little later than the next full line, whose stamp has no fraction either, and up to a second earlier than it was.
constexpr LogTime uncertainty = oneSecond + 100;
}

Moment Clock::moment (LogTime time)
{
    timeBefore = latestTime.value_or (time);
    latestTime = time;
    report.from = std::min (report.from.value_or (time), time);
    report.to = std::max (report.to.value_or (time), time);
    return { time, time - shift };
}

Moment Clock::at (LogTime stamp)
{
    if (latestTime && stamp < *latestTime - (wasRepetition ? uncertainty : 0))
        jump (*latestTime, stamp, stamp - *latestTime);

    wasRepetition = false;
    return moment (stamp);
}

Moment Clock::atRepetition (LogTime time)
{
    wasRepetition = true;
    return moment (time);
}

void Clock::jump (LogTime from, LogTime to, LogTime size)
{
    report.clockJumps.add ({ report.lines, from, to, size });
    shift += size;
    latestTime = to;
}
}
