#pragma once

#include <juce_core/juce_core.h>

#include "identity/ORBIStesselTYPE.h"

/** Which unit this is: its serial number, the product type that the serial's first two characters name, and what
    follows from the type. Read once, then answered from memory for the life of the process.
*/
class OrbisUtils
{
public:
    /** The unit's serial number, 8 characters, or "OTDEMOMO" when the unit has no valid one.

        The first call reads the serial file, after fetching it from the boot loader's environment when it is
        missing, no regular file, or holds fewer than 2 characters, and backs up the GnuPG folder if that was never
        done.
        With `refresh` the fetch always runs and the answer is always the fallback.

        Any thread may call it once the first call has returned. The first call, and every call with `refresh`, must
        have no other beside it: two calls that load would both hold the read lock, and each would wait for ever for
        the other to leave it.
    */
    static juce::String getSerial (bool refresh);

    /** The product type that `serial` names, or this unit's own for an empty `serial`; TYPE_UNKNOWN when no prefix
        matches. The first type found is kept: from then on it is the answer to every call, whatever the argument.
    */
    static ORBIStesselTYPE getTesselType (juce::String serial);

    /** The serial that `text`, the content of a serial file, stands for; "OTDEMOMO" where it is no valid one. Settles
        the product type as getTesselType does.
    */
    static juce::String serialIn (const juce::String& text);

    /** The product's display name; "CINVALD" for a number that is no product. */
    static juce::String tesselTypeToString (ORBIStesselTYPE type);

    /** 2 for the products with a fan and the GUI "ORBISpad", 1 for all others, 0 for a number that is no product. */
    static int getProductGeneration (ORBIStesselTYPE type);

private:
    static juce::String loadSerial (bool refresh);

    static juce::String serialS;     ///< empty until the first getSerial
    static juce::ReadWriteLock lock; ///< guards the loading of serialS
    static ORBIStesselTYPE otType;   ///< TYPE_UNKNOWN until a prefix has matched
    static juce::String usbPath;     ///< kept for the applications that share this class; empty here
};
