#pragma once

#include <optional>
#include <string>

#include "report/Application.h"
#include "report/Report.h"

namespace report
{
/** A life of the daemon while its lines are read. */
struct OpenLife
{
    /** What a start is, as far as its lines tell. */
    enum class Kind
    {
        undecided, ///< only the start header so far
        supervision,
        maintenance,
        bootUnit ///< the boot unit's own start, for full fan speed
    };

    Life life;
    Kind kind = Kind::undecided;
    bool isBeginMissing = false; ///< the log begins within this life
    bool takesArguments = false; ///< the next unknown messages are arguments
    int step = -1;               ///< the last line of the start header that has come
    std::optional<Moment> begin, last;
    Application application;
    Maintenance maintenance {};
    RowCounts counts;

    // The message that a repetition repeats.
    std::string message;
    std::optional<LogTime> messageTime;
    LogTime sinceMessage = 0; ///< ms, of the last repetition

    std::optional<LogTime> dayStamp; ///< the last one, or the start

    /** A line of this life. */
    void reached (Moment moment)
    {
        if (! last && ! isBeginMissing)
        {
            begin = moment;
            dayStamp = moment.time;
        }

        last = moment;
    }
};

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
    OpenLife& headerLine (int step);

    /** The life that a line of supervision belongs to. */
    OpenLife& supervision();

    /** The life that a line of maintenance belongs to. */
    OpenLife& maintenance();

    /** The life that a fan write or an end belongs to. */
    OpenLife& any();

    /** The life whose message a repetition repeats; nullptr if the full line is missing. */
    OpenLife* ofRepetition (LogTime sinceMessage);

    /** The newest start is maintenance whose arguments are being listed. */
    bool takesArguments() const noexcept { return current && current->takesArguments; }

    /** The newest start is of this kind. If it is no maintenance, the daemon before it has ended. */
    void decide (OpenLife::Kind kind);

    /** At the end of the log. */
    void finish();

    static constexpr int lastStep = 7;

private:
    void begin (int step);
    void close (std::optional<OpenLife>& life, End end, std::optional<Moment> endMoment = {});

    Report& report;
    std::optional<OpenLife> current; ///< the newest start
    std::optional<OpenLife> earlier; ///< supervision that may go on beside `current`
};
}
