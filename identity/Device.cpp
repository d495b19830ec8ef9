#include "identity/Device.h"

#include "identity/OrbisUtils.h"

namespace
{
constexpr int secondGeneration = 2;

constexpr auto firstGenerationGui = "ORBIStesselGUI";
constexpr auto secondGenerationGui = "ORBISpad";

bool isOfSecondGeneration (ORBIStesselTYPE type)
{
    return OrbisUtils::getProductGeneration (type) >= secondGeneration;
}
}

bool hasFan (ORBIStesselTYPE type)
{
    return isOfSecondGeneration (type);
}

bool hasGui (ORBIStesselTYPE type)
{
    return type == TYPE_TESSEL || isOfSecondGeneration (type);
}

juce::String guiProcessName (ORBIStesselTYPE type)
{
    return isOfSecondGeneration (type) ? secondGenerationGui : firstGenerationGui;
}

int dacCount (ORBIStesselTYPE type)
{
    if (type == TYPE_TESSEL)
        return 2;

    return type == TYPE_LUMO ? 1 : 0;
}

Device identifyDevice()
{
    const auto serial = OrbisUtils::getSerial (false);
    const auto type = OrbisUtils::getTesselType ("");
    return { serial, type, hasGui (type), guiProcessName (type) };
}

bool thisUnitHasFan()
{
    return hasFan (OrbisUtils::getTesselType (""));
}
