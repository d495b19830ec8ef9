#include "report/Course.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace report
{
void Course::add (LogTime time, double value)
{
    low = kept.empty() ? value : std::min (low, value);
    high = kept.empty() ? value : std::max (high, value);
    const auto size = kept.size();
    const auto isEqual = [&] (std::size_t back) { return size >= back && kept[size - back].value == value; };

    if (isEqual (1) && isEqual (2))
        kept.back().time = time;
    else if (size == 0 || distance == 0 || std::abs (time - kept.back().time) >= distance)
        kept.push_back ({ time, value });

    if (kept.size() < most)
        return;

    std::size_t left = 0;

    for (std::size_t i = 0; i < kept.size(); i += 2)
        kept[left++] = kept[i];

    kept.resize (left);
    distance =
        std::max (2 * distance, std::abs (kept.back().time - kept.front().time) / static_cast<LogTime> (most) + 1);
}
}
