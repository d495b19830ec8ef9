#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "report/LogTime.h"

namespace report
{
/** A value over time in bounded memory. Equal values in a row leave their first and last point. A course that is full
    forgets every second point, and from then on takes points at twice the distance.
*/
class Course
{
public:
    struct Point
    {
        LogTime time;
        double value;
    };

    void add (LogTime time, double value);

    const std::vector<Point>& points() const noexcept { return kept; }
    bool isShortened() const noexcept { return distance > 0; }
    double lowest() const noexcept { return low; }
    double highest() const noexcept { return high; }

private:
    static constexpr std::size_t most = 4000;

    std::vector<Point> kept;
    LogTime distance = 0; ///< ms, between two points that are kept
    double low = 0.0, high = 0.0;
};
}
