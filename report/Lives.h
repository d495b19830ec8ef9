#pragma once

#include <optional>

#include "report/OpenLife.h"

namespace report
{
/** Divides the lines of a log among the starts of the daemon. The newest start may be maintenance, or the boot unit's own
    start, while supervision goes on beside it.
*/
class Lives
{
public:
    explicit Lives (Report& reportToFill)
        : report (reportToFill)
    {
    }

    /** A line of the start header. The lines come in the order of `step`, so one that comes too early begins a new start. */
    OpenLife& headerLine (int step, std::int64_t line);

    /** The life that a line of supervision belongs to. */
    OpenLife& supervision (std::int64_t line);

    /** The life that a line of maintenance belongs to. */
    OpenLife& maintenance (std::int64_t line);

    /** The life that a fan write or an end belongs to. */
    OpenLife& any (std::int64_t line);

    /** The life whose message a repetition repeats; nullptr if the full line is missing. */
    OpenLife* ofRepetition (LogTime sinceMessage);

    /** The newest start, if it is maintenance whose arguments are being listed. */
    OpenLife* withArguments() noexcept;

    /** The newest start is the boot unit's own: the daemon before it has ended. */
    void isBootUnit();

    /** At the end of the log. */
    void finish();

    static constexpr int lastStep = 7;

private:
    void begin (std::int64_t line, int step);
    void decide (OpenLife::Kind kind);
    void close (std::optional<OpenLife>& life, End end, std::optional<Moment> endMoment = {});

    Report& report;
    std::optional<OpenLife> current; ///< the newest start
    std::optional<OpenLife> earlier; ///< supervision that may go on beside `current`
};
}
