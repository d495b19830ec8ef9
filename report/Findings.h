#pragma once

#include <optional>
#include <string_view>

#include "report/Report.h"

namespace report
{
/** Counts and weighs a line of this row, the newest one of the report. `isAgain`: not the first of its row in this life of the
    daemon.
*/
void addFinding (Report& report, Row row, std::string_view text, const Fields& fields, std::optional<LogTime> time,
                 bool isAgain);

/** At the end of the log: adds the conclusions, and weighs all. `hasGui` is absent if the log does not tell. */
void concludeFindings (Report& report, std::optional<bool> hasGui);
}
