// Preloaded into every process of the simulated device: lets it read and sleep by the device's own clock. In the
// daemon it also performs the scenario, each line exactly at its simulated time, before the clock goes on.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <dlfcn.h>
#include <fstream>
#include <map>
#include <spawn.h>
#include <string>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "simulator/SimulatedClock.h"

namespace
{
constexpr auto daemonName = "ORBISdaemon";
constexpr auto scenarioPath = "/run/unit/scenario"; // lines "<milliseconds since start> <shell command>"
constexpr auto speedVariable = "UNIT_SPEED"; // simulated seconds per second; 0 or absent: as fast as it goes
constexpr std::int64_t monotonicStart = 10 * nanosecondsPerSecond; // a booted device's counters are not at 0
constexpr std::int64_t yieldTime = nanosecondsPerMillisecond / 10; // somebody polls the clock: let it pass
constexpr std::int64_t paceSlice = 10 * nanosecondsPerMillisecond; // of the PC's time

// With this file no command of the daemon is run: each system() succeeds, and each pipe gives the file's text.
constexpr auto cannedPath = "/run/unit/canned";

// If this file exists, each command of the daemon is appended to it, letter for letter.
constexpr auto commandsPath = "/run/unit/commands";

bool childrenMayRun = false; // a command was started since the device was last seen at rest
bool refuseProcesses = false;

const std::int64_t& speed()
{
    static const std::int64_t value = std::getenv (speedVariable) ? std::atoll (std::getenv (speedVariable)) : 0;
    return value;
}

timespec timespecOf (std::int64_t nanoseconds)
{
    return { nanoseconds / nanosecondsPerSecond, static_cast<long> (nanoseconds % nanosecondsPerSecond) };
}

void sleepForReal (std::int64_t nanoseconds)
{
    auto left = timespecOf (nanoseconds);

    while (::syscall (SYS_clock_nanosleep_time64, CLOCK_MONOTONIC, 0, &left, &left) == -1 && errno == EINTR)
        ;
}

/** Whether any other process of the device is running or about to (proc(5), /proc/PID/stat, fields 2 and 3). */
bool somethingRuns()
{
    auto* const proc = ::opendir ("/proc");
    bool running = false;

    while (const auto* const entry = proc != nullptr ? ::readdir (proc) : nullptr)
    {
        const int pid = std::atoi (entry->d_name);

        if (pid <= 0 || pid == ::getpid())
            continue;

        std::ifstream file ("/proc/" + std::string (entry->d_name) + "/stat");
        std::string stat;
        std::getline (file, stat);
        const auto nameEnd = stat.rfind (')');
        const bool isFront = stat.find ("(simulate)") != std::string::npos; // shows what happens; takes no part

        if (nameEnd != std::string::npos && ! isFront && std::strchr ("RD", stat[nameEnd + 2]) != nullptr)
            running = true;
    }

    if (proc != nullptr)
        ::closedir (proc);

    return running;
}

/** Lets everything that the daemon has started come to rest, so that simulated time never overtakes it. */
void settle()
{
    constexpr int quietLooks = 3; // in a row: a process between two states may be missed once
    constexpr std::int64_t pause = nanosecondsPerMillisecond / 5;
    constexpr int mostLooks = 20000; // about 4 s; a process that computes for ever must not stop the device

    for (int quiet = 0, looks = 0; quiet < quietLooks && looks < mostLooks; ++looks)
    {
        sleepForReal (pause);
        quiet = somethingRuns() ? 0 : quiet + 1;
    }

    childrenMayRun = false;
}

class Scenario
{
public:
    /** A daemon that is started again goes on in the story where its predecessor ended. */
    Scenario()
    {
        readNewLines();

        if (const std::int64_t now = SimulatedClock::shared().sinceStart; now > 0)
            lines.erase (lines.begin(), lines.upper_bound (now));
    }

    /** Performs what is due at `now` (nanoseconds since start); returns when the next line is, or `limit`. */
    std::int64_t performUntil (std::int64_t now, std::int64_t limit)
    {
        readNewLines();

        while (! lines.empty() && lines.begin()->first <= now)
        {
            const auto command = lines.begin()->second;
            lines.erase (lines.begin());
            perform (command);
        }

        return lines.empty() ? limit : std::min (limit, lines.begin()->first);
    }

private:
    void readNewLines()
    {
        if (::access (scenarioPath, R_OK) != 0)
            return;

        std::ifstream file (scenarioPath);
        file.seekg (consumed);
        std::string line;

        while (std::getline (file, line) && ! file.eof()) // a line without its end is still being written
        {
            consumed = file.tellg();
            char* command = nullptr;
            const auto milliseconds = std::strtoll (line.c_str(), &command, 10);
            lines.emplace (milliseconds * nanosecondsPerMillisecond, command + (*command == ' ' ? 1 : 0));
        }
    }

    static void perform (const std::string& command)
    {
        if (command.rfind ("clock ", 0) == 0) // clock +SECONDS or -SECONDS: somebody sets the wall clock
            SimulatedClock::shared().wallSteps += std::atoll (command.c_str() + 6) * nanosecondsPerSecond;
        else if (command == "processes refused" || command == "processes allowed")
            refuseProcesses = command == "processes refused";
        else
            runInShell (command);
    }

    static void runInShell (const std::string& command)
    {
        const char* const arguments[] = { "sh", "-c", command.c_str(), nullptr };
        pid_t pid = 0;

        if (::posix_spawn (&pid, "/bin/sh", nullptr, nullptr, const_cast<char**> (arguments), environ) == 0)
            while (::waitpid (pid, nullptr, 0) == -1 && errno == EINTR)
                ;

        settle();
    }

    std::multimap<std::int64_t, std::string> lines; // by time; those of the same time in their order
    std::streamoff consumed = 0;
};

bool isDaemon()
{
    static const bool value = std::strcmp (program_invocation_short_name, daemonName) == 0;
    return value;
}

bool isCanned()
{
    static const bool value = isDaemon() && ::access (cannedPath, R_OK) == 0;
    return value;
}

void noteCommand (const char* command)
{
    if (::access (commandsPath, W_OK) == 0)
        std::ofstream (commandsPath, std::ios::app) << command << '\n';
}

void advance (std::int64_t duration)
{
    auto& clock = SimulatedClock::shared();

    if (! isDaemon())
    {
        if (speed() > 0)
            sleepForReal (duration / speed());

        clock.sinceStart += duration;
        return;
    }

    static Scenario scenario;
    const auto end = clock.sinceStart + duration;

    if (childrenMayRun)
        settle();

    for (std::int64_t now = clock.sinceStart; now < end; now = clock.sinceStart)
    {
        auto next = scenario.performUntil (now, end);

        if (speed() > 0)
        {
            next = std::min (next, now + paceSlice * speed());
            sleepForReal ((next - now) / speed());
        }

        clock.sinceStart = next;
    }
}

timespec timeOf (clockid_t id)
{
    const auto& clock = SimulatedClock::shared();
    const bool isWall = id == CLOCK_REALTIME || id == CLOCK_REALTIME_COARSE;
    return timespecOf (isWall ? clock.wallTime() : clock.sinceStart + monotonicStart);
}

template <typename Function>
Function* original (const char* name)
{
    return reinterpret_cast<Function*> (::dlsym (RTLD_NEXT, name));
}
}

extern "C"
{
    int clock_gettime (clockid_t id, timespec* result) noexcept
    {
        if (id == CLOCK_PROCESS_CPUTIME_ID || id == CLOCK_THREAD_CPUTIME_ID)
            return static_cast<int> (::syscall (SYS_clock_gettime64, id, result));

        *result = timeOf (id);
        return 0;
    }

    int gettimeofday (timeval* result, void*) noexcept
    {
        const auto now = timeOf (CLOCK_REALTIME);
        *result = { now.tv_sec, now.tv_nsec / 1000 };
        return 0;
    }

    time_t time (time_t* result) noexcept
    {
        const auto now = timeOf (CLOCK_REALTIME).tv_sec;

        if (result != nullptr)
            *result = now;

        return now;
    }

    int nanosleep (const timespec* duration, timespec*)
    {
        advance (duration->tv_sec * nanosecondsPerSecond + duration->tv_nsec);
        return 0;
    }

    int clock_nanosleep (clockid_t id, int flags, const timespec* duration, timespec*)
    {
        const auto now = timeOf (id);
        const auto from = flags == TIMER_ABSTIME ? now.tv_sec * nanosecondsPerSecond + now.tv_nsec : 0;
        advance (duration->tv_sec * nanosecondsPerSecond + duration->tv_nsec - from);
        return 0;
    }

    // The clock goes on and nothing else happens: sanitizers yield in the middle of their own business, also in tools.
    int sched_yield() noexcept
    {
        if (isDaemon())
            SimulatedClock::shared().sinceStart += yieldTime;

        return static_cast<int> (::syscall (SYS_sched_yield));
    }

    int system (const char* command)
    {
        noteCommand (command);

        if (refuseProcesses)
        {
            errno = EAGAIN;
            return -1;
        }

        if (isCanned())
            return 0;

        static auto* const next = original<int (const char*)> ("system");
        const auto result = next (command);
        childrenMayRun = true;
        return result;
    }

    FILE* popen (const char* command, const char* type)
    {
        noteCommand (command);

        if (refuseProcesses)
        {
            errno = EAGAIN;
            return nullptr;
        }

        if (isCanned())
            return std::fopen (cannedPath, type);

        static auto* const next = original<FILE*(const char*, const char*)> ("popen");
        return next (command, type);
    }
}
