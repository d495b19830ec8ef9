#include "simulator/SimulatedClock.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

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

        auto* const mapped = static_cast<SimulatedClock*> (memory);

        if (mapped->wallStart == 0)
        {
            timespec now {};
            ::syscall (SYS_clock_gettime64, CLOCK_REALTIME, &now); // the PC's own, past the front end
            mapped->wallStart = now.tv_sec * nanosecondsPerSecond + now.tv_nsec;
        }

        return mapped;
    }();

    return *clock;
}
