#pragma once

#include "identity/Device.h"

/** Performs the command line's actions on the I2C bus and ends the process, with status 1 after any action, else 0.
    Returns only if maintenance does not support the product, with main's exit status 1. Bus failures go to the log
    and do not change the status.

    "MUTEDAC" mutes and powers down the DACs. "DISCONNECTFPGA" clears every route of the FPGA. "RESETDSP" does both.
*/
int runMaintenance (int argc, char** argv, const Device& device);
