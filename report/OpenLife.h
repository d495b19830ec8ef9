#pragma once

#include <string>

#include "report/Application.h"
#include "report/Report.h"

namespace report
{
/** A life of the daemon while its lines are read. */
struct OpenLife
{
    /** A line of this life. */
    void reached (Moment moment);

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
    Moment begin, last;
    bool hasLast = false;
    Application application;
    Maintenance maintenance {};

    // The message that a repetition repeats.
    std::string message;
    std::optional<LogTime> messageTime;
    LogTime sinceMessage = 0; ///< ms, of the last repetition

    std::optional<LogTime> dayStamp; ///< the last one, or the start
};
}
