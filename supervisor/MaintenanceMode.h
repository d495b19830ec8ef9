#pragma once

#include "identity/Device.h"

/** Performs the actions that the command line names, on the I2C bus, and ends the process: with status 1 if there was
    any, else 0. Returns only, with main's exit status 1, when an action was asked of a product that has not the
    hardware for it. Failures on the bus go to the log and change nothing.

    "MUTEDAC" mutes and powers down the DACs, "DISCONNECTFPGA" clears every route of the FPGA, "RESETDSP" does both.
*/
int runMaintenance (int argc, char** argv, const Device& device);

/** The actions that the command line names, without the quotation marks around them; any bytes are taken. Logs each
    argument as it was given.
*/
juce::StringArray readActions (int argc, char** argv);
