#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace report
{
/** A local time of the unit in ms since 1 January 1970, 0:00 local time. A log does not tell the zone. */
using LogTime = std::int64_t;

constexpr LogTime oneSecond = 1000; // ms
constexpr LogTime oneMinute = 60 * oneSecond;
constexpr LogTime oneHour = 60 * oneMinute;
constexpr LogTime oneDay = 24 * oneHour;

/** Where a line has a stamp such as "21 Nov 2026 5:17:31 : ". */
struct Stamp
{
    std::size_t begin, end; ///< of its bytes in the line
    LogTime time;
};

/** The first stamp of `line` from `from` on. Behind a torn line, a digit may belong to its end or to the day. Then the
    day that is nearer to `latest` counts.
*/
std::optional<Stamp> findStamp (std::string_view line, std::size_t from, LogTime latest);

/** The time in the start header, such as "21 Nov 2026 5:17:25am". */
std::optional<LogTime> headerTime (std::string_view text);

/** As "2026-11-21T05:17:31". */
std::string isoTime (LogTime time);

/** As in the log: "21 Nov 2026 5:17:31". */
std::string logTime (LogTime time);
}
