#include "report/Report.h"

#include <algorithm>

namespace report
{
void Programs::add (const Programs& other)
{
    applicationAbsent += other.applicationAbsent;
    applicationDouble += other.applicationDouble;
    guiAbsent += other.guiAbsent;
    guiDouble += other.guiDouble;
    guiKilled += other.guiKilled;
    withoutAtLeast += other.withoutAtLeast;
    withoutAtMost += other.withoutAtMost;
    longestHeld = std::max (longestHeld, other.longestHeld);
    longestWait = std::max (longestWait, other.longestWait);

    if (other.backOff)
        backOff = std::max (backOff.value_or (0), *other.backOff);
}

std::string_view nameOf (Outcome outcome) noexcept
{
    constexpr std::string_view names[] = { "nothing-done", "done", "failed", "refused" };
    return names[static_cast<int> (outcome)];
}

Outcome Maintenance::outcome() const noexcept
{
    if (isRefused)
        return Outcome::refused;

    if (failures > 0)
        return Outcome::failed;

    return muted[0] || muted[1] || disconnected ? Outcome::done : Outcome::nothingDone;
}
}
