#pragma once

#include <atomic>
#include <cstdint>
#include <sys/syscall.h>

// The kernel's calls by the numbers that take the timespec of the headers, which is of 64 bits on every machine.
#ifndef SYS_clock_gettime64
#define SYS_clock_gettime64 SYS_clock_gettime
#define SYS_clock_nanosleep_time64 SYS_clock_nanosleep
#endif

/** The simulated device's time, in a file that every process of the device maps. It stands still while anything
    runs and moves only when somebody sleeps, so what a shell command costs on this PC never enters a schedule.
*/
struct SimulatedClock
{
    std::atomic<std::int64_t> sinceStart; ///< nanoseconds of simulated time since the device was switched on
    std::atomic<std::int64_t> wallSteps;  ///< nanoseconds by which somebody has set the wall clock since then

    static constexpr auto path = "/run/unit/clock";

    /** Maps the device's clock, creating it at 0; never unmapped. Ends the process on failure. */
    static SimulatedClock& shared();

    /** The wall-clock time, in nanoseconds since the epoch. simulator/sandbox states its start. */
    std::int64_t wallTime() const;
};

constexpr std::int64_t nanosecondsPerSecond = 1000000000;
constexpr std::int64_t nanosecondsPerMillisecond = 1000000;
