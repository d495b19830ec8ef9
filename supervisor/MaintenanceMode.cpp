#include "supervisor/MaintenanceMode.h"

#include <cstdlib>
#include <memory>

#include "hardware/CS4385.h"
#include "hardware/Router_Spartan6.h"
#include "identity/OrbisUtils.h"
#include "supervisor/MaintenanceArguments.h"

namespace
{
constexpr auto busPath = "/dev/i2c-2";
constexpr char dacAddress = 0x18;
constexpr char dac1Channel = 0x20; // of the multiplexer
constexpr char dac2Channel = 0x08;
constexpr char routerAddress = 0x5A;
constexpr char noChannel = 0x00;     // directly on the bus
constexpr int endpointNumbers = 100; // more than exist, on purpose: the router refuses unknown numbers

constexpr auto muteDac1Text = "Mute DAC1!";
constexpr auto muteDac2Text = "Mute DAC2!";
constexpr auto disconnectText = "DISCONNECT FPGA";
constexpr auto optionRemovedText = "ERROR: Option removed RESETDSP. Will mute Router instead.";

constexpr int statusNothingDone = 0;
constexpr int statusDone = 1;
constexpr int statusNotSupported = 1;

bool isSupported (ORBIStesselTYPE type)
{
    if (dacCount (type) > 0) // the router is supported on the same products
        return true;

    juce::Logger::writeToLog ("ERROR: Type " + OrbisUtils::tesselTypeToString (type) + " not implemented yet!");
    return false;
}

void silence (CS4385& dac, const char* text)
{
    juce::Logger::writeToLog (text);
    dac.mute (true);
    dac.powerDown();
}

void muteDacs (bool withDac1)
{
    // Each step is done for DAC 1 first, then for DAC 2: create, reset, silence, destroy.
    auto dac1 = withDac1 ? std::make_unique<CS4385> (busPath, dacAddress, dac1Channel) : nullptr;
    auto dac2 = std::make_unique<CS4385> (busPath, dacAddress, dac2Channel);

    if (dac1 != nullptr)
        dac1->resetAndInit();

    dac2->resetAndInit();

    if (dac1 != nullptr)
        silence (*dac1, muteDac1Text);

    silence (*dac2, muteDac2Text);
    dac1.reset();
    dac2.reset();
}

void disconnectRouter()
{
    const std::unique_ptr<Router> router = std::make_unique<Router_Spartan6> (busPath, routerAddress, noChannel);
    router->resetAndInit();
    juce::Logger::writeToLog (disconnectText);

    for (int endpoint = 0; endpoint < endpointNumbers; ++endpoint)
        router->Disconnect (static_cast<AUDIONAMES> (endpoint));
}
}

int runMaintenance (int argc, char** argv, const Device& device)
{
    const auto actions = readActions (argc, argv);
    const auto mutes = actions.contains (action::muteDac, true);
    const auto disconnects = actions.contains (action::disconnectFpga, true);

    if ((mutes || disconnects) && ! isSupported (device.type))
        return statusNotSupported;

    if (mutes)
        muteDacs (dacCount (device.type) > 1);

    if (disconnects)
        disconnectRouter();

    if (actions.contains (action::resetDsp, true))
        juce::Logger::writeToLog (optionRemovedText);

    std::exit (mutes || disconnects ? statusDone : statusNothingDone);
}
