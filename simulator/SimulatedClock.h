#pragma once

#include <atomic>
#include <cstdint>

#include "simulator/paths.h"
#include "simulator/sharedFile.h"

constexpr std::int64_t nanosecondsPerSecond = 1000000000;
constexpr std::int64_t nanosecondsPerMillisecond = 1000000;

/** The simulated unit's time, in a file that every process of the unit maps. It stands still while anything runs. It
    moves only when a process sleeps, so that the time of a shell command on this PC never enters a schedule.
*/
struct SimulatedClock
{
    std::atomic<std::int64_t> sinceStart; ///< nanoseconds of simulated time since the unit was switched on
    std::atomic<std::int64_t> wallSteps;  ///< nanoseconds by which the wall clock has been set since then

    static_assert (std::atomic<std::int64_t>::is_always_lock_free, "several processes share the clock");

    /** The unit's clock; a new one is at 0. Ends the process if it cannot be mapped. */
    static SimulatedClock& shared()
    {
        static auto& clock = mapSharedFile<SimulatedClock> (paths::clock);
        return clock;
    }

    /** Milliseconds of simulated time since the unit was switched on. */
    static std::int64_t milliseconds() { return shared().sinceStart / nanosecondsPerMillisecond; }
};
