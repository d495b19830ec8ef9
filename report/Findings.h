#pragma once

#include <optional>
#include <string_view>

#include "report/Report.h"

namespace report
{
/** Counts the lines of each row and weighs them. */
class Findings
{
public:
    explicit Findings (Report& reportToFill)
        : report (reportToFill)
    {
    }

    /** A line of this row. `isAgain`: not the first of its row in this life of the daemon. */
    void add (Row row, std::string_view text, const Fields& fields, std::optional<LogTime> time, bool isAgain);

    /** At the end of the log: adds the conclusions, and weighs all. `hasGui` is absent if the log does not tell. */
    void conclude (std::optional<bool> hasGui);

private:
    void conclude (Row row, std::int64_t count, std::optional<LogTime> first, std::optional<LogTime> last,
                   std::int64_t line, std::string_view text);

    Report& report;
};
}
