#pragma once

#include <string>

#include "report/Layout.h"
#include "report/Report.h"

namespace report
{
/** The report of one log, for people. */
std::string textReport (const Report& report, const Layout& layout);

/** The verdict, for people. */
std::string_view textOf (Weight verdict) noexcept;
}
