#pragma once

#include <optional>
#include <vector>

#include "report/Report.h"

namespace report
{
/** The application starts of one life of the daemon, and the waits that follow from their number (docs/supervision.md,
    "Back-off").
*/
class Application
{
public:
    /** The line before a start: the daemon counted no instance, or several. */
    void add (Moment line, bool isDouble);

    /** The time up to which the daemon waits for the newest start. Absent if the log does not tell. */
    std::optional<LogTime> busyUntil (bool isBeginKnown) const;

    /** At the end of the life: what follows for `programs` and `storms`. `begin` is absent if the log begins within the life:
        then starts may be missing, and the gaps between them tell the largest back-off that is possible. `end` is the end
        of the life, or its last line if the log does not tell the end.
    */
    void conclude (std::optional<Moment> begin, Moment end, bool isEndKnown, Programs& programs,
                   Report& report) const;

private:
    std::int64_t firstBackOff (bool isBeginKnown) const;

    static constexpr std::size_t most = 20000; ///< starts that are kept

    struct Start : Moment
    {
        bool isDouble = false;
    };

    std::vector<Start> starts;
    std::int64_t absentNotKept = 0, doubleNotKept = 0;
};
}
