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
    Weight verdict = Weight::act;
    std::int64_t toAct = 0, toLook = 0; ///< findings
    std::vector<std::string> cells;
};

TableRow tableRow (const Report& report);

/** The row of a log that cannot be read. */
TableRow tableRow (const std::string& file, const std::string& why);

/** The table, the worst log first. */
std::string table (std::vector<TableRow> rows, const Layout& layout);
}
