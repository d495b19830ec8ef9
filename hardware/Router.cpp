#include "hardware/Router.h"

#include <utility>

namespace
{
constexpr auto createdText = "INFO: Router created!";
constexpr auto notImplementedText =
    "DEBUG: ROUTER funtion not implemented: "; // spelled as the units' logs have it
}

Router::Router (std::string path, char chipAddress, char channelMask)
    : I2CDevice (std::move (path), chipAddress, channelMask)
{
    juce::Logger::writeToLog (createdText);
    deviceName = "FPGA-Router";
}

Router::~Router()
{
    reportNotImplemented ("~Router");
}

void Router::reportNotImplemented (const char* operation)
{
    if (notImplementedReported.addIfNotAlreadyThere (operation))
        juce::Logger::writeToLog (juce::String (notImplementedText) + operation);
}
