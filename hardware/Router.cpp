#include "hardware/Router.h"

#include <utility>

namespace
{
constexpr auto createdText = "INFO: Router created!";
// "funtion" on purpose: the logs of the units spell it like that.
constexpr auto notImplementedText = "DEBUG: ROUTER funtion not implemented: ";
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
