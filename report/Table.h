#pragma once

#include <string>
#include <vector>

#include "report/Layout.h"
#include "report/Report.h"

namespace report
{
/** A log's row in the table of many logs. */
struct TableRow
{
    explicit TableRow (const Report& report);

    /** A log that cannot be read. */
    TableRow (const std::string& file, const std::string& why);

    Weight verdict = Weight::act;
    std::int64_t toAct = 0, toLook = 0; ///< findings
    std::vector<std::string> cells;
};

/** The table, the worst log first. */
std::string table (std::vector<TableRow> rows, const Layout& layout);
}
