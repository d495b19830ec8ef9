// The front of the simulated device, run inside it: starts the daemon, shows what happens as it happens, and takes
// commands. ./simulate --help tells the options.
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <map>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "simulator/SimulatedClock.h"

namespace
{
constexpr auto daemonPath = "/home/root/ORBISdaemon/ORBISdaemon";
constexpr auto logPath = "/home/root/ORBIStechnologies/Autosave1/ORBISdaemon.log";
constexpr auto eventsPath = "/run/unit/events";
constexpr auto stderrPath = "/run/unit/stderr";
constexpr auto registerWritesPath = "/run/unit/register-writes";
constexpr auto timelinePath = "/run/unit/timeline";
constexpr auto sensorPath = "/sys/bus/iio/devices/iio:device0/in_temp0_raw"; // here in degrees Celsius
constexpr auto scenarioPath = "/run/unit/scenario";
constexpr auto stopCommand = "pkill -INT -x ORBISdaemon";
constexpr int lookEveryMs = 20; // of the PC's time

struct Command
{
    const char* words;
    const char* action; // for the device's shell
    const char* help;
};

constexpr Command commands[] = {
    { "temperature", "temperature", "temperature T: the core's temperature in degrees Celsius" },
    { "crash application", "process crash application", "the application dies" },
    { "crash gui", "process crash gui", "the GUI dies" },
    { "duplicate application", "process duplicate application", "a second application is started" },
    { "duplicate gui", "process duplicate gui", "a second GUI is started" },
    { "remove sensor", "sensor remove", "the temperature files vanish" },
    { "restore sensor", "sensor restore", "and come back" },
    { "fill disk", "disk fill", "the log's disk is full" },
    { "free disk", "disk free", "and has room again" },
    { "stop", stopCommand, "ends the daemon with SIGINT, like Ctrl-C" },
};

// About a minute in the life of a unit: milliseconds since start, and what happens then.
constexpr auto story = "18000 temperature 65\n"
                       "20000 temperature 82\n"
                       "22000 temperature 91\n"
                       "23500 temperature 60\n"
                       "25500 sensor remove\n"
                       "27500 sensor restore\n"
                       "28500 disk fill\n"
                       "29000 process crash application\n"
                       "36500 disk free\n"
                       "37000 process duplicate application\n"
                       "51000 process crash gui\n"
                       "64000 process duplicate gui\n"
                       "77000 pkill -INT -x ORBISdaemon\n";

volatile std::sig_atomic_t interrupted = 0;

/** A file that grows: hands out each complete new line once, also when a trim puts a shorter file in its place. */
class FollowedFile
{
public:
    explicit FollowedFile (const char* pathToFollow)
        : path (pathToFollow)
    {
    }

    std::vector<std::string> newLines()
    {
        std::vector<std::string> lines;
        struct stat status
        {
        };

        if (::stat (path, &status) != 0)
            return lines;

        std::ifstream file (path, std::ios::binary);

        if (status.st_ino != inode && inode != 0)
            offset = positionAfterLastLine (file);

        inode = status.st_ino;
        file.clear();
        file.seekg (offset);
        std::string line;

        while (std::getline (file, line) && ! file.eof())
        {
            offset = file.tellg();

            if (! line.empty() && line.back() == '\r')
                line.pop_back();

            lines.push_back (line);
            lastLine = line.empty() ? lastLine : line;
        }

        return lines;
    }

private:
    std::streamoff positionAfterLastLine (std::ifstream& file) const
    {
        std::stringstream text;
        text << file.rdbuf();
        const auto found = text.str().rfind (lastLine);
        return found == std::string::npos ? 0 : static_cast<std::streamoff> (text.str().find ('\n', found) + 1);
    }

    const char* path;
    ino_t inode = 0;
    std::streamoff offset = 0;
    std::string lastLine;
};

std::string sensorText()
{
    std::string degrees;
    return std::ifstream (sensorPath) >> degrees ? degrees : "NaN";
}

/** What --plot draws: a file of lines "MILLISECONDS TRACK VALUE", one per change, and the last values again at the end. */
class Timeline
{
public:
    Timeline() { markAll (0); }

    void set (std::int64_t milliseconds, const std::string& track, const std::string& value)
    {
        mark (milliseconds, track, values[track]); // the line stays level until here
        mark (milliseconds, track, value);
        values[track] = value;
    }

    void processEvent (std::int64_t milliseconds, const std::string& name, const std::string& what)
    {
        auto& running = name == "ORBIStessel" ? applications : guis;
        running += what == "started" ? 1 : -1;
        set (milliseconds, name == "ORBIStessel" ? "application" : "GUI", std::to_string (running));
    }

    void logLine (std::int64_t milliseconds, const std::string& line)
    {
        if (const auto end = line.find (" : "); end != std::string::npos)
        {
            const auto message = line.substr (end + 3);
            lastLevel = message.rfind ("ERROR", 0) == 0      ? "ERROR"
                        : message.rfind ("CRITICAL", 0) == 0 ? "CRITICAL"
                                                             : "other";
        }
        else if (line.rfind ('+', 0) != 0) // "+1.0s" repeats the last one; all else belongs to the log's banner
        {
            return;
        }

        mark (milliseconds, lastLevel, "0");
    }

    void end (std::int64_t milliseconds)
    {
        markAll (milliseconds);
        file.flush();
    }

private:
    void markAll (std::int64_t milliseconds)
    {
        for (const auto& [track, value] : values)
            mark (milliseconds, track, value);
    }

    void mark (std::int64_t milliseconds, const std::string& track, const std::string& value)
    {
        file << milliseconds << ' ' << track << ' ' << value << '\n';
    }

    std::ofstream file { timelinePath };
    std::map<std::string, std::string> values {
        { "temperature", sensorText() },
        { "fan", "NaN" }, // not written yet, or a product without one
        { "application", "0" },
        { "GUI", "0" },
        { "ERROR", "NaN" }, // an empty track would be a complaint of gnuplot's
        { "CRITICAL", "NaN" },
    };
    int applications = 0, guis = 0;
    std::string lastLevel = "other";
};

/** Prints one line per event, and remembers what the summary tells. */
class Display
{
public:
    Display (bool withColours, bool withAllLines)
        : colours (withColours)
        , allLines (withAllLines)
    {
    }

    void look()
    {
        for (const auto& line : events.newLines())
            showEvent (line);

        for (const auto& line : complaints.newLines())
            show (SimulatedClock::shared().sinceStart / nanosecondsPerMillisecond, "stderr", line);

        for (const auto& line : log.newLines())
        {
            ++logLines;
            const auto milliseconds = SimulatedClock::shared().sinceStart / nanosecondsPerMillisecond;
            timeline.logLine (milliseconds, line);
            showLogLine (milliseconds, line);
        }
    }

    void summary (int daemonStatus)
    {
        timeline.end (SimulatedClock::shared().sinceStart / nanosecondsPerMillisecond);
        showRepetitions();
        std::ifstream writes (registerWritesPath);
        const auto registerWrites = std::count (std::istreambuf_iterator<char> (writes), {}, '\n');
        std::printf (
            "\nSummary: %.1f s of the device's time; application and GUI started %d times, ended %d times;\n"
            "%d log lines; %ld fan register writes, the last one %s; exit status of the daemon %d\n",
            static_cast<double> (SimulatedClock::shared().sinceStart) / nanosecondsPerSecond, starts, ends,
            logLines, static_cast<long> (registerWrites),
            fanText.empty() ? "never made (a product without fan)" : fanText.c_str(), daemonStatus);
    }

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

        if (isProcess)
            timeline.processEvent (milliseconds, first, second);
        else if (first == "temperature")
            timeline.set (milliseconds, first, second);
        else if (first == "sensor")
            timeline.set (milliseconds, "temperature", second == "restored" ? sensorText() : "NaN");

        show (milliseconds, isProcess ? "process" : "device", first == "temperature" ? rest + " C" : rest);
    }

    void showFan (std::int64_t milliseconds, const std::string& value)
    {
        constexpr std::uint32_t countMask = 0x3fffffff; // bits 31 and 30 are the enable
        fanValue = static_cast<std::uint32_t> (std::strtoul (value.c_str(), nullptr, 16));

        if (fanText.empty())
            fullSpeedValue = fanValue; // what a start writes first

        const auto full = std::max (fullSpeedValue & countMask, 1U);
        const auto percent = (fanValue & ~countMask) == 0 ? 0.0 : 100.0 * (fanValue & countMask) / full;
        char text[64];
        std::snprintf (text, sizeof text, "%.0f %% (register %s)", percent, value.c_str());
        fanText = text;
        timeline.set (milliseconds, "fan", fanText.substr (0, fanText.find (' ')));
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
    FollowedFile events { eventsPath };
    FollowedFile complaints { stderrPath };
    FollowedFile log { logPath };
    Timeline timeline;
    int starts = 0, ends = 0, logLines = 0;
    std::uint32_t fanValue = 0, fullSpeedValue = 0;
    std::string fanText;
};

void happensAt (std::int64_t milliseconds, const std::string& action)
{
    std::ofstream (scenarioPath, std::ios::app) << milliseconds << ' ' << action << '\n';
}

void obey (const std::string& line)
{
    for (const auto& command : commands)
    {
        const std::string words = command.words;

        if (line.rfind (words, 0) == 0)
        {
            happensAt (0, command.action + line.substr (words.size()));
            return;
        }
    }

    std::puts ("Commands:");

    for (const auto& command : commands)
        std::printf ("  %-22s %s\n", command.words, command.help);
}

pid_t startDaemon (char** arguments)
{
    const pid_t pid = ::fork();

    if (pid == 0)
    {
        ::setpgid (0, 0); // Ctrl-C reaches the front alone, which then ends the daemon as a user of a unit would
        ::dup2 (::open (stderrPath, O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
        ::setenv ("LD_PRELOAD", std::getenv ("UNIT_PRELOAD"), 1);
        ::execv (daemonPath, arguments);
        std::perror (daemonPath);
        std::_Exit (127);
    }

    return pid;
}

void readCommands (std::string& typed, bool& open)
{
    pollfd input { STDIN_FILENO, POLLIN, 0 };

    if (! open)
    {
        ::poll (nullptr, 0, lookEveryMs);
        return;
    }

    if (::poll (&input, 1, lookEveryMs) <= 0)
        return;

    char buffer[256];
    const auto count = ::read (STDIN_FILENO, buffer, sizeof buffer);
    open = count > 0;
    typed.append (buffer, static_cast<std::size_t> (std::max<ssize_t> (count, 0)));

    for (auto end = typed.find ('\n'); end != std::string::npos; end = typed.find ('\n'))
    {
        obey (typed.substr (0, end));
        typed.erase (0, end + 1);
    }
}

/** https://no-color.org: a value that is not empty forbids colours. */
bool wantsColours()
{
    const char* forbidden = std::getenv ("NO_COLOR");
    return ::isatty (STDOUT_FILENO) != 0 && (forbidden == nullptr || *forbidden == '\0');
}

int run (bool interactive, bool allLines, char** daemonArguments)
{
    const bool isMaintenance = daemonArguments[1] != nullptr;
    std::signal (SIGINT, [] (int) { interrupted = 1; });
    Display display (wantsColours(), allLines);
    const auto pid = startDaemon (daemonArguments);
    std::string typed;
    int status = 0;

    while (::waitpid (pid, &status, WNOHANG) == 0)
    {
        readCommands (typed, interactive);
        display.look();

        if (interrupted != 0)
            ::kill (pid, SIGINT); // again and again: a shell command that the daemon waits for holds it off
    }

    display.look();
    const auto daemonStatus = WIFEXITED (status) ? WEXITSTATUS (status) : 128 + WTERMSIG (status);
    display.summary (daemonStatus);

    if (isMaintenance)
    {
        std::fflush (stdout);
        return std::system ("printf '\\nOn the I2C bus:\\n'; boardtool trace; printf '\\nThe registers now:\\n'; "
                            "boardtool show") == 0
                   ? daemonStatus
                   : EXIT_FAILURE;
    }

    return daemonStatus == SIGINT && display.fanIsAtFullSpeed() ? 0 : 1;
}
}

int main (int argc, char** argv)
{
    bool interactive = ::isatty (STDIN_FILENO) != 0;
    bool tellStory = ! interactive;
    bool allLines = false;
    int used = 1;

    for (; used < argc; ++used)
    {
        const std::string option = argv[used];

        if (option == "--demo")
        {
            tellStory = true;
        }
        else if (option == "--all-lines")
        {
            allLines = true;
        }
        else if (option == "--for" && used + 1 < argc)
        {
            happensAt (static_cast<std::int64_t> (std::atof (argv[++used]) * 1000.0), stopCommand);
            tellStory = false;
        }
        else
        {
            break;
        }
    }

    if (used < argc) // the daemon's own: it does what they say and ends by itself
        interactive = tellStory = false;

    if (tellStory)
    {
        interactive = false;
        std::ofstream (scenarioPath, std::ios::app) << story;
    }

    if (interactive)
        std::puts ("Type a command, or help; Ctrl-C stops the daemon.");

    argv[used - 1] = const_cast<char*> (daemonPath);
    return run (interactive, allLines, argv + used - 1);
}
