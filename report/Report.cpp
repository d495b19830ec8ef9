#include "report/Report.h"

#include <algorithm>

namespace report
{
void Programs::add (const Programs& other)
{
    withoutAtLeast += other.withoutAtLeast;
    withoutAtMost += other.withoutAtMost;
    longestHeld = std::max (longestHeld, other.longestHeld);
    longestWait = std::max (longestWait, other.longestWait);

    if (other.backOff)
        backOff = std::max (backOff.value_or (0), *other.backOff);
}

const char* Maintenance::outcome() const noexcept
{
    if (isRefused)
        return "refused";

    if (failures > 0)
        return "failed";

    return muted[0] || muted[1] || disconnected ? "done" : "nothing-done";
}
}
