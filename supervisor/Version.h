#pragma once

constexpr auto programName = "ORBISdaemon";
constexpr auto programVersion = "4.3.24";
