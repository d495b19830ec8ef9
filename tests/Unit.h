#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

/** A file's bytes; empty if there is no such file. */
std::string contentOf (const std::filesystem::path& path);

/** What a run of the simulated unit left behind. */
struct UnitRun
{
    struct Event
    {
        std::int64_t milliseconds; ///< since the unit was switched on
        std::string text;
    };

    int status = -1;                         ///< exit status; 128 + n if killed by signal n
    std::string log;                         ///< the whole log file
    std::vector<std::string> messages;       ///< the text behind each stamp of the log, and its "+1.0s" lines
    std::vector<Event> events;               ///< what the unit's programs and tools noted
    std::vector<std::string> registerWrites; ///< the values given to devmem, in order
    std::string output;                      ///< standard output of what ran in the unit
    std::string complaints;                  ///< standard error of the daemon and what it started

    std::vector<std::int64_t> timesOf (const std::string& event) const;
    int countOf (const std::string& message) const;
    std::string describe() const; ///< for failure messages
};

/** The date, time and zone at which every unit of the tests is switched on, as simulator/sandbox takes them. */
struct Calendar
{
    std::string date, zone;

    /** The default, or the calendar "DATE ZONE" that the environment variable UNIT_CALENDAR names. */
    static Calendar ofTheTests();
};

/** A simulated unit with the real daemon, the real shell and real processes, by its own clock: hours take seconds. */
class Unit
{
public:
    /** An empty serial leaves the serial file out, an empty temperature the sensor. */
    explicit Unit (const std::string& serial = "OD123456", const std::string& temperature = "45");
    ~Unit();
    Unit (const Unit&) = delete;
    Unit& operator= (const Unit&) = delete;

    /** Puts a file below the unit's folder: home/ is /home/root, sensor/ the temperature files, run/ is /run/unit. */
    Unit& with (const std::string& path, const std::string& content);

    /** Writes the daemon's settings file. */
    Unit& withSettings (const std::vector<std::pair<std::string, std::string>>& keysAndValues);

    /** Performs a shell command in the unit at that time since its start. */
    Unit& at (std::int64_t milliseconds, const std::string& command);

    /** Runs the daemon with these arguments. */
    UnitRun run (const std::string& arguments = "", const std::string& sandboxOptions = "");

    /** Runs any shell command in the unit; $daemon starts the daemon. */
    UnitRun runShell (const std::string& command, const std::string& sandboxOptions = "");

    /** Settles that the daemon ends by SIGINT at that time, and runs it. */
    UnitRun runUntil (std::int64_t milliseconds, const std::string& sandboxOptions = "");

    std::filesystem::path folder;

    /** False, with the running test skipped, or failed where CI=true, if this machine allows no simulated unit. */
    static bool isPossible();
};

/** First line of every test that needs a simulated unit. */
#define NEEDS_UNIT()          \
    if (! Unit::isPossible()) \
    return
