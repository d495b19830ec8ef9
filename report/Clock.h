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
    Moment at (LogTime stamp);

    /** The moment of a repetition. */
    Moment atRepetition (LogTime time);

    /** A line shows another jump: by `size` ms at the least, negative if back. */
    void jump (LogTime from, LogTime to, LogTime size);

    LogTime latest() const noexcept { return latestTime.value_or (0); }
    LogTime beforeLatest() const noexcept { return timeBefore; }

private:
    Moment moment (LogTime time);

    Report& report;
    std::optional<LogTime> latestTime;
    LogTime timeBefore = 0; ///< of the line before the latest
    bool wasRepetition = false;
    LogTime shift = 0; ///< sum of all jumps, ms
};
}
