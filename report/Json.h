#pragma once

#include <string>

#include "report/Report.h"

namespace report
{
/** The report as one JSON object in one line. docs/log-report.md describes it. */
std::string json (const Report& report);
}
