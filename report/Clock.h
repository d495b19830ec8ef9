#pragma once

#include <optional>

#include "report/Report.h"

namespace report
{
/** The unit's clock as the lines tell it. Finds its jumps. */
class Clock
{
public:
    explicit Clock (Report& reportToFill)
        : report (reportToFill)
    {
    }

    /** The moment of a full line with this stamp. A line that is earlier than the one before it shows a jump. */
    Moment at (LogTime stamp, std::int64_t line);

    /** The moment of a repetition. */
    Moment atRepetition (LogTime time);

    /** The number behind a repetition was smaller than the one before it: a jump back from `from` to `to`. */
    void jumpBack (LogTime from, LogTime to, std::int64_t line);

    /** A day stamp came `late` ms after it was due: the clock jumped forward since the line before. */
    void jumpForward (LogTime to, LogTime late, std::int64_t line);

    LogTime latest() const noexcept { return latestTime.value_or (0); }

private:
    Moment moment (LogTime time);

    Report& report;
    std::optional<LogTime> latestTime;
    LogTime timeBefore = 0; ///< of the line before the latest
    bool wasRepetition = false;
    LogTime shift = 0; ///< sum of all jumps, ms
};
}
