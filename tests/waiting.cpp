// How long a wait lasts by the millisecond counter, which wraps 49.7 days after boot.
#include <algorithm>
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
std::int64_t leastStep = 0;   // ns that every sleep lasts at least, so that days need no millions of them

void goOn (std::int64_t duration)
{
    nanoseconds += std::max (duration, leastStep);
}
}

// This program's clock, which stands still between sleeps.
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
    // Between two rows the clock goes on without a look at the counter, as it does while the daemon sleeps.
    constexpr struct
    {
        std::int64_t start;
        int wait;
        std::int64_t lasts;
    } rows[] = {
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

    for (const auto& row : rows)
    {
        nanoseconds = row.start * nanosecondsPerMillisecond;
        leastStep = row.lasts < hour ? 0 : hour * nanosecondsPerMillisecond;
        waitMilliseconds (row.wait);
        const auto lasted = nanoseconds / nanosecondsPerMillisecond - row.start;
        EXPECT_GE (lasted, row.lasts) << row.wait << " from " << row.start;
        EXPECT_LE (lasted, row.lasts < hour ? row.lasts : row.lasts + 10 * hour)
            << row.wait << " from " << row.start;
    }
}
