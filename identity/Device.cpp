#include "identity/Device.h"

#include "identity/OrbisUtils.h"

namespace
{
constexpr int firstGenerationWithFan = 2;
constexpr auto guiWithoutFan = "ORBIStesselGUI";
constexpr auto guiWithFan = "ORBISpad";
}

bool hasFan (ORBIStesselTYPE type)
{
    return OrbisUtils::getProductGeneration (type) >= firstGenerationWithFan;
}

bool hasGui (ORBIStesselTYPE type)
{
    return type == TYPE_TESSEL || hasFan (type);
}

juce::String guiProcessName (ORBIStesselTYPE type)
{
    return hasFan (type) ? guiWithFan : guiWithoutFan;
}

int dacCount (ORBIStesselTYPE type)
{
    return type == TYPE_TESSEL ? 2 : type == TYPE_LUMO ? 1 : 0;
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
