#pragma once

#include <juce_core/juce_core.h>

#include "identity/ORBIStesselTYPE.h"

/** True for the products whose fan the daemon regulates: generation 2. */
bool hasFan (ORBIStesselTYPE type);

/** True for the main product and for every product of generation 2. */
bool hasGui (ORBIStesselTYPE type);

/** "ORBISpad" for generation 2, "ORBIStesselGUI" for all others, products without a GUI included. */
juce::String guiProcessName (ORBIStesselTYPE type);

/** How many DACs the daemon can silence: 2 on the main product, 1 on ORBIS:lumo, 0 on all others. The products with
    DACs are also the ones with an FPGA router.
*/
int dacCount (ORBIStesselTYPE type);

/** What this unit is, settled at start-up. */
struct Device
{
    juce::String serial;
    ORBIStesselTYPE type;
    bool withGui;
    juce::String guiName; ///< process name; set on products without a GUI too, because the GUI kill needs it
};

/** Reads the serial number, as OrbisUtils::getSerial, and derives the rest. */
Device identifyDevice();

/** Whether this unit is a product with a fan. Reads the serial number if nobody has read it yet. */
bool thisUnitHasFan();
