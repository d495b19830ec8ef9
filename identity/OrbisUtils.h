#pragma once

#include <juce_core/juce_core.h>

#include "identity/ORBIStesselTYPE.h"

/** This unit's identity: the serial number, the product type that its first two characters name, and the type's name
    and generation. It is read once and then kept in memory for the life of the process.
*/
class OrbisUtils
{
public:
    /** The unit's serial number, 8 characters; "OTDEMOMO" if the unit has no valid one.

        The first call reads the serial file. If the file is missing, is no regular file or holds fewer than 2
        characters, the call first fetches the serial from the boot loader's environment. It backs up the GnuPG folder
        if no backup exists. With `refresh` the fetch always runs and the result is always "OTDEMOMO".

        Once the first call has returned, any thread may call it. The first call, and every call with `refresh`, must
        run alone. Two loading calls would both hold the read lock. Each would wait for the other for ever.
    */
    static juce::String getSerial (bool refresh);

    /** The product type that `serial` names, or this unit's type for an empty `serial`; TYPE_UNKNOWN if no prefix
        matches. The first type found is kept. From then on every call returns it, for any argument.
    */
    static ORBIStesselTYPE getTesselType (juce::String serial);

    /** The product's display name; "CINVALD" for a number that is no product. */
    static juce::String tesselTypeToString (ORBIStesselTYPE type);

    /** 2 for the products with a fan and the GUI "ORBISpad", 1 for all others, 0 for a number that is no product. */
    static int getProductGeneration (ORBIStesselTYPE type);

private:
    friend struct SerialProbe; ///< lets the fuzzer call serialIn

    static juce::String loadSerial (bool refresh);

    /** The serial in the content of a serial file, or "OTDEMOMO" if it has no valid one. Settles the product type, as
        getTesselType does.
    */
    static juce::String serialIn (const juce::String& text);

    static juce::String serialS;     ///< empty until the first getSerial
    static juce::ReadWriteLock lock; ///< guards the loading of serialS
    static ORBIStesselTYPE otType;   ///< TYPE_UNKNOWN until a prefix has matched
    static juce::String usbPath;     ///< always empty here; for the applications that share this class
};
