#pragma once

#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/Unit.h"

/** What happened on a simulated unit, from the record of its own programs (UnitRun::events) and never from its log. The
    scenario's script makes the notes.
*/
struct Truth
{
    /** A line that the daemon owes its log. `kind` is the name of its row in docs/log.md. */
    struct Line
    {
        double wall;   ///< local time, seconds
        double steady; ///< without the jumps of the clock that the lines show
        std::string kind;
    };

    /** A line that counts no application, or several. */
    struct Miss
    {
        std::size_t line;
        double ms;   ///< since the unit's start
        bool isSeen; ///< a pass counted one application after this line
    };

    struct Life
    {
        std::string kind; ///< supervision, canned (without programs, for long times), maintenance, boot-unit
        int level = 0;
        std::string arguments;
        double begin = 0, end = 0;    ///< local time, seconds
        double endMs = 0;             ///< since the unit's start
        std::string endedBy = "open"; ///< a word of log-report's: signal, nothing ...
        int signal = 0;
        bool bootUnitFollowed = false;
        std::map<std::string, int> counts; ///< of the lines of this life
        std::vector<Miss> misses;
        std::size_t firstLine = 0, lastLine = 0;

        int countOf (const std::string& line) const { return counts.count (line) == 0 ? 0 : counts.at (line); }
    };

    struct Jump
    {
        double from = 0, to = 0; ///< local time of the lines before and after it
        std::size_t line = 0;

        double size() const { return to - from; }
    };

    /** `switchedOn`: seconds since 1970, in `zone`. */
    Truth (const UnitRun& run, std::int64_t switchedOn, const std::string& zone, bool hasFan);

    /** Lines of a kind that are later than a local time. */
    int countOf (const std::string& kind, double after = -HUGE_VAL) const;

    std::vector<Line> lines;
    std::vector<Life> lives; ///< in the order of their begins
    std::vector<Jump> jumps; ///< lines that are clearly earlier than the line before
    bool isForwardStep = false;
    bool isZoneChanged = false;     ///< summer time began or ended: a repetition then has no certain local time
    std::optional<double> fullFrom; ///< local time when the disk was full

private:
    void take (const UnitRun::Event& event);
    void add (const std::string& kind);
    void takePassesUntil (double milliseconds);
    void takeWrite (bool worked);
    void takeCount (const std::string& program, int instances);
    void stampDay();
    double wallOf (double milliseconds);

    const std::int64_t switchedOn;
    const bool hasFan;
    double degrees = 45;        ///< of a new unit
    double now = 0, steps = 0;  ///< ms; seconds
    std::optional<long> offset; ///< of the zone, seconds
    double lastDay = 0, nextPass = 0;
    int passes = 0;
    bool isEnding = false, isRefused = false, hasCounted = false;
    std::string last; ///< the event before
};
