#include "hardware/CS4385.h"

#include <unistd.h>
#include <utility>

namespace
{
namespace reg
{
constexpr unsigned char modeControl = 2;
constexpr unsigned char running = 0x80;
constexpr unsigned char poweredDown = 0x81; // bit 0 is the power-down bit

// What the board's audio path asks of the chip.
constexpr unsigned char configuration3 = 3;
constexpr unsigned char boardConfiguration3 = 0xC3;
constexpr unsigned char configuration6 = 6;
constexpr unsigned char boardConfiguration6 = 0x33;

constexpr unsigned char channelMute = 9; // one bit per output channel
constexpr unsigned char allMuted = 0xFF;
constexpr unsigned char noneMuted = 0x00;
}

constexpr auto resetText = "DEBUG: DAC reset";
constexpr auto noResetText = "DEBUG: DAC reset not necessary";

struct RegisterWrite
{
    unsigned char reg;
    unsigned char value;
};

// Down first and up last: the converter must not run on half a configuration, nor start audible.
constexpr RegisterWrite resetSequence[] = {
    { reg::modeControl, reg::poweredDown }, { reg::configuration6, reg::boardConfiguration6 },
    { reg::channelMute, reg::allMuted },    { reg::configuration3, reg::boardConfiguration3 },
    { reg::modeControl, reg::running },
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
    ::close (fd); // the base closes it again, on purpose
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
    // The mute register is left out: a running unit must not lose its mute state to a check.
    return read_I2C (reg::configuration6, true) == reg::boardConfiguration6 &&
           read_I2C (reg::configuration3, true) == reg::boardConfiguration3 &&
           read_I2C (reg::modeControl, true) == reg::running;
}

bool CS4385::mute (bool on)
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (isReady())
        write_I2C (reg::channelMute, on ? reg::allMuted : reg::noneMuted, true);

    return ready;
}

bool CS4385::powerDown()
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (isReady())
        write_I2C (reg::modeControl, reg::poweredDown, true);

    return ready;
}
