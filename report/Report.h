#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "report/Course.h"
#include "report/Knowledge.h"
#include "report/LogTime.h"
#include "report/Shortened.h"

// All that log-report tells of one log. docs/log-report.md explains each value. An optional value is absent if the log does
// not tell it.

namespace report
{
/** When something happened. */
struct Moment
{
    LogTime time = 0;   ///< by the unit's clock of that moment, as in the log
    LogTime steady = 0; ///< the same, with every known jump of the clock taken out: for lengths
};

/** How a life of the daemon ended. */
enum class End
{
    open,      ///< the log ends first: the daemon still runs, or ended without a line
    signal,    ///< a line tells it, as the next two
    noProcess, ///< the system refused a process
    itself,    ///< maintenance was done
    silent     ///< no line, but a later start: power failure, reboot, SIGKILL
};

/** How many lines there are of each row. */
class RowCounts
{
public:
    std::int64_t& operator[] (Row row) noexcept { return counts[static_cast<std::size_t> (row)]; }
    std::int64_t operator[] (Row row) const noexcept { return counts[static_cast<std::size_t> (row)]; }

private:
    std::array<std::int64_t, rowCount> counts {};
};

/** What the daemon had to do for the application and the GUI. */
struct Programs
{
    std::int64_t applicationAbsent = 0, applicationDouble = 0;
    std::int64_t guiAbsent = 0, guiDouble = 0, guiKilled = 0;
    LogTime withoutAtLeast = 0, withoutAtMost = 0; ///< time without application, ms
    LogTime longestHeld = 0;                       ///< the longest time that the application ran, ms
    LogTime longestWait = 0;                       ///< the longest time that the daemon checked nothing, ms
    std::optional<std::int64_t> backOff;           ///< the longest one reached, ms
};

/** One life of the daemon: supervision or maintenance. */
struct Life
{
    std::int64_t line = 0;        ///< number of its first line
    std::optional<LogTime> begin; ///< absent if the log begins within this life
    std::optional<LogTime> last;  ///< of its last line
    bool isMaintenance = false;
    End end = End::open;
    std::optional<LogTime> endTime; ///< of the line that tells the end, or of the boot unit's start after it
    std::int64_t signal = 0;
    bool wasFollowedByBootUnit = false; ///< so the system stayed up
    std::string version, build, product, serial, gui;
    bool hasGui = false;
    std::optional<std::int64_t> logLevel; ///< absent: the start is missing, or before this line 3
    Programs programs;
};

/** Five or more application starts in one life, with less than a minute between the waits. */
struct Storm
{
    LogTime begin, end, length; ///< lines of its first and last start
    std::int64_t absent, twice; ///< its starts, by what the daemon counted before them
    std::int64_t backOff;       ///< after its last start, ms
    LogTime withoutAtLeast, withoutAtMost;
};

/** Readings above 85 °C with less than a minute between two of them. */
struct Heat
{
    LogTime begin, end, length, steadyEnd;
    std::int64_t above85, above90; ///< readings; those above 90 do not count as above 85
    double highest;                ///< degrees Celsius
};

struct Maintenance
{
    LogTime time;
    std::string arguments;
    std::array<bool, 2> muted; ///< DAC 1 and DAC 2, at least tried
    bool disconnected, isRefused;
    std::int64_t failures; ///< lines of the hardware

    /** "done", "failed" (a chip or the bus), "refused" (not on this product), or "nothing-done". */
    const char* outcome() const noexcept
    {
        if (isRefused)
            return "refused";

        if (failures > 0)
            return "failed";

        return muted[0] || muted[1] || disconnected ? "done" : "nothing-done";
    }
};

struct ClockJump
{
    std::int64_t line;
    LogTime from, to, size; ///< size: the least jump that explains the lines, negative if back
};

struct NotUnderstood
{
    std::int64_t line;
    std::string text; ///< printable
};

/** All lines of one row, or of one row and one chip or signal. */
struct Finding
{
    Weight weight = Weight::nothing;
    std::int64_t count = 0;
    std::optional<LogTime> first, last;
    std::int64_t line = 0; ///< number of the first line
    std::string text;      ///< of the first line, printable
};

/** The application was missing and the daemon waited, for the picture. */
struct Absence
{
    LogTime begin, end;
};

/** A mark in the picture. */
struct Mark
{
    LogTime time;
    Row row;
};

struct Report
{
    std::string file;
    std::int64_t bytes = 0, lines = 0;
    std::optional<LogTime> from, to;
    Weight verdict = Weight::nothing;

    bool isFrontMissing = false;
    std::int64_t repetitionsWithoutLine = 0; ///< their full line is missing
    std::int64_t gluedLines = 0, longLines = 0;
    bool endsWithinLine = false;

    Shortened<Life, 250> lives;
    std::int64_t bootUnitStarts = 0;
    std::int64_t kills = 0, switchOffs = 0; ///< ends without a line, with and without a start of the boot unit
    Programs programs;
    Shortened<Storm, 50> storms;
    Shortened<Heat, 100> heats;
    std::optional<double> highest; ///< reading above 85 °C
    Course fan, temperature;
    Shortened<Maintenance, 50> maintenances;
    Shortened<ClockJump, 50> clockJumps;
    Shortened<NotUnderstood, 20> notUnderstood;
    std::map<std::pair<Row, std::string>, Finding> findings; ///< by row and chip or signal
    RowCounts counts;                                        ///< repetitions included
    Shortened<Mark, 1000> marks;
    Shortened<Absence, 1000> absences;

    Life unit; ///< the newest start that names the unit, even one of the boot unit
};
}
