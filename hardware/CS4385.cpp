#include "hardware/CS4385.h"

#include <unistd.h>
#include <utility>

#include "hardware/CS4385Registers.h"

namespace
{
namespace reg = cs4385;

constexpr unsigned char running = reg::controlPortEnable;
constexpr unsigned char poweredDown = reg::controlPortEnable | reg::powerDown;

constexpr auto resetText = "DEBUG: DAC reset";
constexpr auto noResetText = "DEBUG: DAC reset not necessary";

struct RegisterWrite
{
    unsigned char reg;
    unsigned char value;
};

// Power-down comes first and power-up last, so that the converter never runs on half a configuration. It is muted in
// between, so that it starts silent.
constexpr RegisterWrite resetSequence[] = {
    { reg::modeControl, poweredDown },  { reg::invertControl, reg::boardInvertControl },
    { reg::muteControl, reg::muteAll }, { reg::pcmControl, reg::boardPcmControl },
    { reg::modeControl, running },
};
}

CS4385::CS4385 (std::string path, char chipAddress, char channelMask)
    : I2CDevice (std::move (path), chipAddress, channelMask)
{
    deviceName = "CS4385";
}

CS4385::~CS4385()
{
    const juce::ScopedWriteLock lock (i2cLock);
    ::close (fd); // I2CDevice closes it again, on purpose
}

int CS4385::resetAndInit()
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (! openAndSelect())
        return openFailed;

    if (isConfigured())
    {
        juce::Logger::writeToLog (noResetText);
    }
    else
    {
        juce::Logger::writeToLog (resetText);

        for (const auto& step : resetSequence)
            write_I2C (step.reg, step.value, true);
    }

    deinit_transfer (true);
    return ready ? 1 : 0;
}

bool CS4385::isConfigured()
{
    // Ignores the mute register, so that a running unit keeps its mute state.
    return read_I2C (reg::invertControl, true) == reg::boardInvertControl &&
           read_I2C (reg::pcmControl, true) == reg::boardPcmControl &&
           read_I2C (reg::modeControl, true) == running;
}

bool CS4385::mute (bool on)
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (isReady())
        write_I2C (reg::muteControl, on ? reg::muteAll : reg::muteNone, true);

    return ready;
}

bool CS4385::powerDown()
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (isReady())
        write_I2C (reg::modeControl, poweredDown, true);

    return ready;
}
