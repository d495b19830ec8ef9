#pragma once

#include <juce_core/juce_core.h>

#include "identity/ORBIStesselTYPE.h"

/** True for the products whose fan the daemon regulates: generation 2. These also have the GUI "ORBISpad". */
bool hasFan (ORBIStesselTYPE type);

/** True for the main product and for every product of generation 2. */
bool hasGui (ORBIStesselTYPE type);

/** "ORBISpad" for generation 2, "ORBIStesselGUI" for all others, even for products without a GUI. */
juce::String guiProcessName (ORBIStesselTYPE type);

/** The number of DACs that maintenance silences: 2 on the main product, 1 on ORBIS:lumo. 0 on all others: maintenance
    supports neither their DACs nor their router.
*/
int dacCount (ORBIStesselTYPE type);

/** This unit's product and what follows from it, fixed at start-up. */
struct Device
{
    juce::String serial;
    ORBIStesselTYPE type;
    bool withGui;
    juce::String guiName; ///< process name; set even without a GUI, because the GUI kill needs it
};

/** Reads the serial number with OrbisUtils::getSerial and derives the rest. */
Device identifyDevice();

/** True if this unit is a product with a fan. Reads the serial number if it has not been read yet. */
bool thisUnitHasFan();
