// Preloaded into every process of the simulated unit: lets it read and sleep by the unit's own clock. In the daemon it
// also performs the scenario, each line exactly at its simulated time, before the clock goes on.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fstream>
#include <limits>
#include <map>
#include <optional>
#include <spawn.h>
#include <string>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "simulator/SimulatedClock.h"
#include "simulator/frontEnd.h"
#include "simulator/paths.h"

// The kernel's calls by the numbers that take the timespec of the headers, which is of 64 bits on every machine.
#ifndef SYS_clock_gettime64
#define SYS_clock_gettime64 SYS_clock_gettime
#define SYS_clock_nanosleep_time64 SYS_clock_nanosleep
#define SYS_rt_sigtimedwait_time64 SYS_rt_sigtimedwait
#endif

namespace
{
constexpr auto startVariable = "UNIT_WALL_START"; // seconds since the epoch when the unit is switched on
constexpr auto speedVariable = "UNIT_SPEED";      // simulated seconds per second; 0: simulated time takes no time
constexpr std::int64_t monotonicStart = 10 * nanosecondsPerSecond; // a booted unit's counters are not at 0
constexpr std::int64_t yieldTime = nanosecondsPerMillisecond / 10; // so that a loop that polls the clock ends
constexpr std::int64_t paceSlice = 10 * nanosecondsPerMillisecond; // of the PC's time

bool childrenMayRun = false; // a command has been started since the unit last settled
bool refuseProcesses = false;
int alarms = 0; // that the daemon has set: one by its signal handler, another if it then forces full speed

constexpr pid_t cannedProcess = std::numeric_limits<pid_t>::max(); // the kernel's numbers are smaller

std::int64_t numberFrom (const char* variable)
{
    const auto* const text = std::getenv (variable);
    return text != nullptr ? std::atoll (text) : 0;
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

/** What all other processes of the unit have done so far (proc(5), /proc/PID/stat), or nothing if one of them runs or waits
    for the disk.
*/
std::optional<std::string> recordAtRest()
{
    auto* const proc = ::opendir ("/proc");
    bool running = false;
    std::string record;

    while (const auto* const entry = proc != nullptr ? ::readdir (proc) : nullptr)
    {
        const int pid = std::atoi (entry->d_name);

        if (pid <= 0 || pid == ::getpid())
            continue;

        std::ifstream file ("/proc/" + std::string (entry->d_name) + "/stat");
        std::string stat;
        std::getline (file, stat);
        const auto nameEnd = stat.rfind (')');

        if (nameEnd == std::string::npos || stat.find ("(simulate)") != std::string::npos) // no part of the unit
            continue;

        record += stat;

        if (std::strchr ("RD", stat[nameEnd + 2]) != nullptr)
            running = true;
    }

    if (proc != nullptr)
        ::closedir (proc);

    return running ? std::nullopt : std::optional (record);
}

/** Waits until all that the daemon has started is at rest, so that simulated time never overtakes it. */
void settle()
{
    constexpr int quietLooks =
        3; // in a row, and equal ones: a process may run between two looks, or while one is made
    constexpr std::int64_t pause = nanosecondsPerMillisecond / 5;
    constexpr int mostLooks = 20000; // about 4 s, because a process may compute for ever
    std::optional<std::string> last;

    for (int quiet = 0, looks = 0; quiet < quietLooks && looks < mostLooks; ++looks)
    {
        sleepForReal (pause);
        auto record = recordAtRest();
        quiet = ! record ? 0 : record == last ? quiet + 1 : 1;
        last = std::move (record);
    }

    childrenMayRun = false;
}

class Scenario
{
public:
    /** A daemon that is started again continues where the one before it ended. */
    Scenario()
    {
        readNewLines();

        if (const std::int64_t now = SimulatedClock::shared().sinceStart; now > 0)
            lines.erase (lines.begin(), lines.upper_bound (now));
    }

    /** Performs the lines that are due at `now`. Returns the time of the next line, at most `limit`. All times are in
        nanoseconds since start.
    */
    std::int64_t performUntil (std::int64_t now, std::int64_t limit)
    {
        readNewLines();

        while (! lines.empty() && lines.begin()->first <= now)
        {
            const auto command = lines.begin()->second;
            lines.erase (lines.begin());

            if (command.rfind ("clock ", 0) == 0) // clock +SECONDS or -SECONDS: sets the wall clock
                SimulatedClock::shared().wallSteps += std::atoll (command.c_str() + 6) * nanosecondsPerSecond;
            else if (command == "processes refused" || command == "processes allowed")
                refuseProcesses = command == "processes refused";
            else
                runInShell (command);
        }

        return lines.empty() ? limit : std::min (limit, lines.begin()->first);
    }

private:
    void readNewLines()
    {
        if (::access (paths::scenario, R_OK) != 0)
            return;

        std::ifstream file (paths::scenario);
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

    static void runInShell (const std::string& command)
    {
        const char* const arguments[] = { "sh", "-c", command.c_str(), nullptr };
        pid_t pid = 0;

        if (LIBC (posix_spawn) (&pid, "/bin/sh", nullptr, nullptr, const_cast<char**> (arguments), environ) == 0)
            while (LIBC (waitpid) (pid, nullptr, 0) == -1 && errno == EINTR)
                ;

        settle();
    }

    std::multimap<std::int64_t, std::string> lines; // by time; equal times in the order of the file
    std::streamoff consumed = 0;
};

/** Notes a command of the unit. Whether a scenario makes the start of a process fail now; sets errno. */
bool isRefused (const char* command)
{
    if (::access (paths::commands, W_OK) == 0)
        std::ofstream (paths::commands, std::ios::app) << command << '\n';

    errno = refuseProcesses ? EAGAIN : errno;
    return refuseProcesses;
}

/** With the file `canned`, no command of the daemon runs: each command succeeds, and each pipe gives the file's text. Only
    the signal handler's commands are real.
*/
bool isCanned()
{
    static const bool value = isDaemon() && ::access (paths::canned, R_OK) == 0;
    return value && alarms == 0;
}

/** Moves the daemon's clock to the next line of the scenario and performs it, or to `end`. */
void advanceTowards (std::int64_t end)
{
    static Scenario scenario;
    auto& clock = SimulatedClock::shared();
    const std::int64_t now = clock.sinceStart;
    const auto speed = numberFrom (speedVariable);
    auto next = scenario.performUntil (now, end);

    if (speed > 0)
    {
        next = std::min (next, now + paceSlice * speed);
        sleepForReal ((next - now) / speed);
    }

    clock.sinceStart = next;
}

int awaitSignal (const sigset_t* signals, siginfo_t* info, const timespec* limit)
{
    constexpr auto bytesInKernel = 8; // of its sigset_t
    return static_cast<int> (::syscall (SYS_rt_sigtimedwait_time64, signals, info, limit, bytesInKernel));
}

bool isPending (const sigset_t& signals)
{
    sigset_t pending, both;
    ::sigpending (&pending);
    ::sigandset (&both, &pending, &signals);
    return ::sigisemptyset (&both) == 0;
}

void advance (std::int64_t duration)
{
    auto& clock = SimulatedClock::shared();
    const auto speed = numberFrom (speedVariable);

    if (! isDaemon())
    {
        if (speed > 0)
            sleepForReal (duration / speed);

        clock.sinceStart += duration;
        return;
    }

    const auto end = clock.sinceStart + duration;

    if (childrenMayRun)
        settle();

    while (clock.sinceStart < end)
        advanceTowards (end);
}

timespec timeOf (clockid_t id)
{
    static const auto wallStart = numberFrom (startVariable) * nanosecondsPerSecond;
    const auto& clock = SimulatedClock::shared();
    const bool isWall = id == CLOCK_REALTIME || id == CLOCK_REALTIME_COARSE;
    return timespecOf (clock.sinceStart + (isWall ? wallStart + clock.wallSteps : monotonicStart));
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

    // Moves the clock and does nothing else, because sanitizers yield too, in the middle of their own work.
    int sched_yield() noexcept
    {
        if (isDaemon())
            SimulatedClock::shared().sinceStart += yieldTime;

        return static_cast<int> (::syscall (SYS_sched_yield));
    }

    int system (const char* command)
    {
        if (isRefused (command))
            return -1;

        if (isCanned())
            return 0;

        const auto result = LIBC (system) (command);
        childrenMayRun = true;
        return result;
    }

    FILE* popen (const char* command, const char* type)
    {
        if (isRefused (command))
            return nullptr;

        return isCanned() ? std::fopen (paths::canned, type) : LIBC (popen) (command, type);
    }
    // The daemon runs and awaits its register writes with these.
    int posix_spawn (pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                     const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment)
    {
        if (isDaemon() && isRefused (arguments[2])) // sh -c COMMAND
            return errno;

        if (isCanned())
        {
            *pid = cannedProcess;
            return 0;
        }

        return LIBC (posix_spawn) (pid, path, actions, attributes, arguments, environment);
    }

    pid_t waitpid (pid_t pid, int* status, int options)
    {
        if (pid != cannedProcess)
            return LIBC (waitpid) (pid, status, options);

        *status = 0;
        return pid;
    }

    // A limit that is longer than any program of the unit runs. It passes in simulated time, when they are all at rest.
    int sigtimedwait (const sigset_t* signals, siginfo_t* info, const timespec* limit)
    {
        constexpr timespec usualRun { 0, 20 * nanosecondsPerMillisecond }, atOnce {};

        if (! isDaemon() || alarms > 1) // to look at the unit takes memory, which the daemon may not have then
            return awaitSignal (signals, info, limit);

        const auto& clock = SimulatedClock::shared();
        const auto end = clock.sinceStart + limit->tv_sec * nanosecondsPerSecond + limit->tv_nsec;

        for (const auto* wait = &usualRun;; wait = &atOnce)
        {
            const auto result = awaitSignal (signals, info, wait);

            if (result != -1 || errno != EAGAIN || clock.sinceStart >= end)
                return result;

            settle();

            if (! isPending (*signals))
                advanceTowards (end);
        }
    }

    unsigned alarm (unsigned seconds) noexcept
    {
        ++alarms;
        return LIBC (alarm) (seconds);
    }
}
