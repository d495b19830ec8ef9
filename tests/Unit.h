#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

/** A file's bytes; empty if there is no such file. */
std::string contentOf (const std::filesystem::path& path);

/** Expects that a text has each of these parts. */
void expectParts (const std::string& text, const std::vector<std::string>& parts);

struct Outcome
{
    int status; ///< 128 + n if killed by signal n
    std::string output;
};

/** Runs a command in the shell of this PC. */
Outcome shell (const std::string& command);

/** The results of a run of the simulated unit. */
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
    std::vector<Event> events;               ///< starts, ends and calls that the unit's programs noted
    std::vector<std::string> registerWrites; ///< the values given to devmem, in order
    std::string output;                      ///< standard output of the command that ran in the unit
    std::string complaints;                  ///< standard error of the daemon and of the programs that it started

    /** The register value before the one that the end of the daemon writes; empty if there is none. */
    std::string writeBeforeTheEnd() const { return registerWrites.size() < 2 ? "" : registerWrites.rbegin()[1]; }

    std::vector<std::int64_t> timesOf (const std::string& event) const;
    int countOf (const std::string& message) const;
    std::string describe() const; ///< for failure messages
};

/** A simulated unit with the real daemon, the real shell and real processes, by its own clock: hours take seconds. */
class Unit
{
public:
    /** Without a serial the unit has no serial file, and without a temperature it has no sensor. */
    explicit Unit (const std::string& serial = "OD123456", const std::string& temperature = "45");
    ~Unit();
    Unit (const Unit&) = delete;
    Unit& operator= (const Unit&) = delete;

    /** Puts a file below the unit's folder: home/ is /home/root, sensor/ the temperature files, run/ is /run/unit. */
    Unit& with (const std::string& path, const std::string& content);

    /** Writes the daemon's settings file. */
    Unit& withSettings (const std::vector<std::pair<std::string, std::string>>& keysAndValues);

    /** The daemon cannot open its log, because a folder has the log's name. */
    Unit& withUnopenableLog();

    /** The GUI runs from the start. Otherwise the daemon starts it and waits ten seconds, without a fan step. */
    Unit& withGuiRunning() { return at (100, "process duplicate gui"); }

    /** Performs a shell command in the unit at that time since its start. */
    Unit& at (std::int64_t milliseconds, const std::string& command);

    /** Ends the daemon by SIGINT at that time. */
    Unit& stopAt (std::int64_t milliseconds) { return at (milliseconds, "pkill -INT -x ORBISdaemon"); }

    /** Runs the daemon with these arguments. */
    UnitRun run (const std::string& arguments = "", const std::string& options = "")
    {
        return runShell ("$daemon " + arguments, options);
    }

    /** Runs shell commands in the unit. `$daemon` starts the daemon. `rest SECONDS` sleeps by the PC's clock.
        `await CONDITION` waits until a shell condition is true, and ends the run with status 99 after a minute.
    */
    UnitRun runShell (const std::string& command, const std::string& sandboxOptions = "");

    /** Runs the daemon, and ends it by SIGINT at that time. */
    UnitRun runUntil (std::int64_t end, const std::string& options = "") { return stopAt (end).run ("", options); }

    std::filesystem::path folder;

    static constexpr auto logFile = "home/ORBIStechnologies/Autosave1/ORBISdaemon.log";
    static constexpr auto serialFile = "home/ORBIStechnologies/Autosave1/serial.txt";
    static constexpr auto settingsFile = "home/ORBISdaemon/ORBISdaemon.ppf";

    /** The zone of every unit. */
    static std::string zone();

    /** False if this machine allows no simulated unit. Then the running test is skipped, or with CI=true it fails. */
    static bool isPossible();
};

/** TEST for a test that needs a simulated unit. */
#define UNIT_TEST(suite, name)    \
    static void suite##_##name(); \
    TEST (suite, name)            \
    {                             \
        if (Unit::isPossible())   \
            suite##_##name();     \
    }                             \
    static void suite##_##name()
