// note TEXT...: records an event of the simulated unit as a line "<milliseconds since start> <text>".
#include <fstream>

#include "simulator/SimulatedClock.h"

int main (int argc, char** argv)
{
    std::ofstream events (paths::events, std::ios::app);
    events << SimulatedClock::milliseconds();

    for (int i = 1; i < argc; ++i)
        events << ' ' << argv[i];

    events << '\n';
    return events.flush() ? 0 : 1;
}
