#include "simulator/SimulatedClock.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace
{
constexpr auto startVariable = "UNIT_WALL_START"; // in seconds since the epoch
}

static_assert (std::atomic<std::int64_t>::is_always_lock_free, "several processes share the clock");

SimulatedClock& SimulatedClock::shared()
{
    static auto* const clock = []
    {
        const int fd = ::open (path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);

        if (fd < 0 || ::ftruncate (fd, sizeof (SimulatedClock)) != 0)
        {
            std::perror (path);
            std::_Exit (EXIT_FAILURE);
        }

        auto* const memory = ::mmap (nullptr, sizeof (SimulatedClock), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        ::close (fd);

        if (memory == MAP_FAILED)
        {
            std::perror (path);
            std::_Exit (EXIT_FAILURE);
        }

        return static_cast<SimulatedClock*> (memory);
    }();

    return *clock;
}

std::int64_t SimulatedClock::wallTime() const
{
    static const auto* const start = std::getenv (startVariable);
    static const auto startTime = (start != nullptr ? std::atoll (start) : 0) * nanosecondsPerSecond;
    return startTime + wallSteps + sinceStart;
}
