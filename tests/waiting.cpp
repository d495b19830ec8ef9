// The length of a wait by the millisecond counter, which wraps 49.7 days after boot.
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <sched.h>

#include <gtest/gtest.h>

#include "supervisor/ProcessSupervision.h"

namespace
{
constexpr std::int64_t nanosecondsPerMillisecond = 1000000;
constexpr std::int64_t wrap = 4294967296; // ms
constexpr std::int64_t hour = 3600000;    // ms

std::int64_t nanoseconds = 0; // since boot
std::int64_t leastStep = 0;   // ns that every sleep lasts at least, so that a wait of days takes few sleeps
bool waiting = false;         // a sanitizer sleeps too, at the exit
int sleeps = 0;               // of the present wait

void goOn (std::int64_t duration)
{
    constexpr int mostSleeps = 100000; // far more than the longest wait takes

    if (waiting && ++sleeps > mostSleeps)
    {
        ADD_FAILURE() << "the wait does not end";
        std::exit (EXIT_FAILURE);
    }

    nanoseconds += std::max (duration, leastStep);
}
}

// This program's clock. It advances only in a sleep.
extern "C" int clock_gettime (clockid_t, timespec* result) noexcept
{
    constexpr auto perSecond = 1000 * nanosecondsPerMillisecond;
    result->tv_sec = static_cast<time_t> (nanoseconds / perSecond);
    result->tv_nsec = static_cast<long> (nanoseconds % perSecond);
    return 0;
}

extern "C" int nanosleep (const timespec* duration, timespec*)
{
    goOn (duration->tv_sec * 1000 * nanosecondsPerMillisecond + duration->tv_nsec);
    return 0;
}

extern "C" int sched_yield() noexcept
{
    goOn (nanosecondsPerMillisecond / 10);
    return 0;
}

TEST (Waiting, lastsAsLongAsTheCounterAllows)
{
    // Between two rows the clock advances and nobody reads the counter, as while the daemon sleeps.
    constexpr std::tuple<std::int64_t, int, std::int64_t> rows[] = {
        { 10000, 1000, 1000 },
        { 20000, 1000, 1000 },
        { 30000, 1, 1 },
        { 40000, 0, 0 },
        { 50000, -1, 0 },
        { 60000, -60000, 0 },
        { wrap - 10001, 10000, 10000 },
        { wrap - 10000, 10000, 0 },
        { wrap - 5000, 2097152000, 0 },
        { wrap + 3000, 1000, 1000 },
        { wrap + 5000, 2097152000, 2097152000 },           // 24.3 days
        { 2 * wrap + 5000, -100663296, wrap - 100663296 }, // 48.5 days
        { 3 * wrap + 5000, -2147483647 - 1, wrap / 2 },    // 24.9 days
        { 4 * wrap + wrap / 2, -2147483647 - 1, 0 },
    };

    for (const auto& [start, wait, lasts] : rows)
    {
        nanoseconds = start * nanosecondsPerMillisecond;
        leastStep = lasts < hour ? 0 : hour * nanosecondsPerMillisecond;
        sleeps = 0;
        waiting = true;
        waitMilliseconds (wait);
        waiting = false;
        const auto lasted = nanoseconds / nanosecondsPerMillisecond - start;
        EXPECT_GE (lasted, lasts) << wait << " from " << start;
        EXPECT_LE (lasted, lasts < hour ? lasts : lasts + 10 * hour) << wait << " from " << start;
    }
}
