#pragma once

#include "supervisor/ProcessSupervision.h"

/** Performs what the command line names, and ends. The return value is the daemon's exit status. */
int runMaintenance (int argc, char** argv, const Device& device);
