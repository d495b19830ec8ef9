#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string>

#include "simulator/FollowedFile.h"
#include "simulator/SimulatedClock.h"
#include "simulator/paths.h"

/** Prints what happens in the unit, one line per event, and a summary at the end. */
class Display
{
public:
    /** `withAllLines` prints every repetition in the log; otherwise a run of equal ones becomes one line. */
    Display (bool withColours, bool withAllLines)
        : colours (withColours)
        , allLines (withAllLines)
    {
    }

    /** Prints the events, the log lines and the daemon's standard error since the last call. */
    void look()
    {
        for (const auto& line : events.newLines())
            showEvent (line);

        for (const auto& line : complaints.newLines())
            show (SimulatedClock::milliseconds(), "stderr", line);

        for (const auto& line : log.newLines())
        {
            ++logLines;
            showLogLine (SimulatedClock::milliseconds(), line);
        }
    }

    void summary (int daemonStatus)
    {
        showRepetitions();
        std::ifstream writes (paths::registerWrites);
        const auto registerWrites = std::count (std::istreambuf_iterator<char> (writes), {}, '\n');
        std::printf (
            "\nSummary: %.1f s of the unit's time; application and GUI started %d times, ended %d times;\n"
            "%d log lines; %ld fan register writes, the last one %s; exit status of the daemon %d\n",
            static_cast<double> (SimulatedClock::shared().sinceStart) / nanosecondsPerSecond, starts, ends,
            logLines, static_cast<long> (registerWrites),
            fanText.empty() ? "never made (a product without fan)" : fanText.c_str(), daemonStatus);
    }

    /** True on a product without a fan too. */
    bool fanIsAtFullSpeed() const { return fanText.empty() || fanValue == fullSpeedValue; }

private:
    void showEvent (const std::string& line)
    {
        std::istringstream words (line);
        std::int64_t milliseconds = 0;
        std::string first, second;
        words >> milliseconds >> first >> second;

        if (first == "fan")
        {
            showFan (milliseconds, second);
            return;
        }

        starts += second == "started";
        ends += second == "ended" || second == "crashed";
        const bool isProcess = first.rfind ("ORBIS", 0) == 0;
        const auto rest = line.substr (line.find (' ') + 1);

        show (milliseconds, isProcess ? "process" : "device", first == "temperature" ? rest + " C" : rest);
    }

    void showFan (std::int64_t milliseconds, const std::string& value)
    {
        constexpr std::uint32_t countMask = 0x3fffffff; // bits 31 and 30 enable the fan
        fanValue = static_cast<std::uint32_t> (std::strtoul (value.c_str(), nullptr, 16));

        if (fanText.empty())
            fullSpeedValue = fanValue; // each start of the daemon first writes full speed

        const auto full = std::max (fullSpeedValue & countMask, 1U);
        const auto percent = (fanValue & ~countMask) == 0 ? 0.0 : 100.0 * (fanValue & countMask) / full;
        char text[64];
        std::snprintf (text, sizeof text, "%.0f %% (register %s)", percent, value.c_str());
        fanText = text;
        show (milliseconds, "fan", fanText);
    }

    /** Holds back a repetition ("+0.0s") until another line follows, so that equal ones become one line. */
    void showLogLine (std::int64_t milliseconds, const std::string& line)
    {
        if (allLines || line.rfind ('+', 0) != 0)
        {
            show (milliseconds, "log", line);
            return;
        }

        if (line != repetition)
        {
            showRepetitions();
            repetition = line;
            repeatedAt = milliseconds;
        }

        ++repetitions;
    }

    void showRepetitions()
    {
        if (repetitions > 0)
            print (repeatedAt, "log",
                   repetition + (repetitions > 1 ? ", " + std::to_string (repetitions) + " times" : ""));

        repetition.clear();
        repetitions = 0;
    }

    void show (std::int64_t milliseconds, const std::string& kind, const std::string& text)
    {
        showRepetitions();
        print (milliseconds, kind, text);
    }

    void print (std::int64_t milliseconds, const std::string& kind, const std::string& text) const
    {
        const char* colour = kind == "log"       ? "\033[0m"
                             : kind == "fan"     ? "\033[36m"
                             : kind == "process" ? "\033[32m"
                             : kind == "stderr"  ? "\033[35m"
                                                 : "\033[33m";
        std::printf ("%s%9.3f s  %-8s %s%s\n", colours ? colour : "", static_cast<double> (milliseconds) / 1000.0,
                     kind.c_str(), text.c_str(), colours ? "\033[0m" : "");
        std::fflush (stdout);
    }

    bool colours, allLines;
    std::string repetition; // held back, with its time and count
    std::int64_t repeatedAt = 0;
    int repetitions = 0;
    FollowedFile events { paths::events };
    FollowedFile complaints { paths::standardError };
    FollowedFile log { "/home/root/ORBIStechnologies/Autosave1/ORBISdaemon.log" };
    int starts = 0, ends = 0, logLines = 0;
    std::uint32_t fanValue = 0, fullSpeedValue = 0;
    std::string fanText;
};
