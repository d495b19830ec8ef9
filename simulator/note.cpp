// note TEXT...: records an event of the simulated device as a line "<milliseconds since start> <text>".
#include <fstream>

#include "simulator/SimulatedClock.h"

int main (int argc, char** argv)
{
    std::ofstream events ("/run/unit/events", std::ios::app);
    events << SimulatedClock::shared().sinceStart / nanosecondsPerMillisecond;

    for (int i = 1; i < argc; ++i)
        events << ' ' << argv[i];

    events << '\n';
    return events.flush() ? 0 : 1;
}
