#pragma once

/** The name and version with which the daemon begins its log. */
constexpr auto programName = "ORBISdaemon";
constexpr auto programVersion = "4.3.24";
