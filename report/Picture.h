#pragma once

#include <string>

#include "report/Report.h"

namespace report
{
/** Draws lives, application and GUI, temperature, fan and findings over time as SVG, with gnuplot. False on failure. */
bool drawPicture (const Report& report, const std::string& file);
}
