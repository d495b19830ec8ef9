#include "hardware/Router_Spartan6.h"

#include <optional>

#include "hardware/Router_Spartan6Registers.h"

// The MADI interface with its two BNC connectors, the sample-rate modes, and the cue output.

namespace
{
namespace reg = spartan6;

constexpr int mostChannels = 64;

constexpr auto oldValueText = ": Old Value: ";
constexpr auto newValueText = ": New Value: ";
constexpr auto cueInternalText = "DEBUG: Setting Cue to INTERNAL: ";
constexpr auto cueExternalText = "DEBUG: Setting Cue to EXTERNAL: ";
constexpr auto cueLineText = "DEBUG: Selecting TDM line ";
constexpr auto forCueText = " for CUE: ";

// The code of a multiple of the base rate, in both mode fields. Empty if the FPGA does not know the multiple.
std::optional<int> codeOfMultiple (int multiple)
{
    switch (multiple)
    {
    case 1: return 0;
    case 2: return 1;
    case 4: return 3;
    default: return {};
    }
}

void logMadiControl (const char* operation, const char* what, unsigned char value)
{
    juce::Logger::writeToLog (juce::String ("DEBUG: ") + operation + what + juce::String::toHexString (value));
}
}

bool Router_Spartan6::enable_madi()
{
    const juce::ScopedWriteLock lock (i2cLock);
    changeMadiControl (__func__, 0, reg::madiEnabled);
    reset_BitError_BNC1();
    reset_BitError_BNC2();
    return true;
}

bool Router_Spartan6::disable_madi()
{
    const juce::ScopedWriteLock lock (i2cLock);
    changeMadiControl (__func__, reg::madiEnabled, 0);
    return true;
}

bool Router_Spartan6::disable_madi_out_BNC1 (bool disable)
{
    const juce::ScopedWriteLock lock (i2cLock);
    bnc1OutputEnabled = ! disable; // the request, even if the write fails
    return disableMadiOutput (__func__, reg::bnc1OutputOff, disable);
}

bool Router_Spartan6::disable_madi_out_BNC2 (bool disable)
{
    const juce::ScopedWriteLock lock (i2cLock);
    bnc2OutputEnabled = ! disable;
    return disableMadiOutput (__func__, reg::bnc2OutputOff, disable);
}

int Router_Spartan6::getBitError_BNC1()
{
    const juce::ScopedWriteLock lock (i2cLock);
    return bnc1OutputEnabled ? readBitErrors (CLOCK_MADI_BNC1, reg::bnc1ErrorsHigh, reg::bnc1ErrorsLow) : 0;
}

int Router_Spartan6::getBitError_BNC2()
{
    const juce::ScopedWriteLock lock (i2cLock);
    return bnc2OutputEnabled ? readBitErrors (CLOCK_MADI_BNC2, reg::bnc2ErrorsHigh, reg::bnc2ErrorsLow) : 0;
}

bool Router_Spartan6::reset_BitError_BNC1()
{
    const juce::ScopedWriteLock lock (i2cLock);
    resetBitErrors (reg::bnc1ErrorsReset);
    return true;
}

bool Router_Spartan6::reset_BitError_BNC2()
{
    const juce::ScopedWriteLock lock (i2cLock);
    resetBitErrors (reg::bnc2ErrorsReset);
    return true;
}

bool Router_Spartan6::SetSpeedMode (SPEEDMODE mode)
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (! isReady())
        return false;

    const auto value = read_I2C (reg::modes); // even for a mode that is then ignored

    if (const auto code = codeOfMultiple (mode))
        write_I2C (reg::modes,
                   static_cast<unsigned char> ((value & ~reg::speedMode) | (*code << reg::speedModeShift)), true);

    return true;
}

bool Router_Spartan6::SetMADI_MODE (bool flag, MADIMODE mode)
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (! isReady())
        return false;

    const auto value = read_I2C (reg::modes);

    if (flag)
    {
        write_I2C (reg::modes, value | reg::madiFlag, true);
    }
    else if (const auto code = codeOfMultiple (mode))
    {
        const auto others = value & ~(reg::madiMode | reg::madiFlag);
        write_I2C (reg::modes, static_cast<unsigned char> (others | (*code << reg::madiModeShift)), true);
    }

    return true;
}

int Router_Spartan6::get_number_of_rx_channels()
{
    const juce::ScopedWriteLock lock (i2cLock);
    return hasClockSignal (CLOCK_MADI_BNC1) ? read_I2C (reg::receiveChannels) + 1 : 0;
}

bool Router_Spartan6::set_number_of_tx_channels (int count)
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (count < 1 || count > mostChannels)
        return false;

    write_I2C (reg::transmitChannels, static_cast<unsigned char> (count - 1), true);
    return true;
}

bool Router_Spartan6::CUE_set_to_internal()
{
    const auto value = modify (reg::cue, reg::cueExternal, 0);
    juce::Logger::writeToLog (cueInternalText + juce::String (int { value }));
    return ready;
}

bool Router_Spartan6::CUE_set_to_external()
{
    const auto value = modify (reg::cue, 0, reg::cueExternal);
    juce::Logger::writeToLog (cueExternalText + juce::String (int { value }));
    return ready;
}

bool Router_Spartan6::CUE_Select_TDMLine (char line)
{
    // Unsigned like char on the unit, so that a PC logs the same number.
    const int number = static_cast<unsigned char> (line);
    const auto value = modify (reg::cue, reg::cueLine, (number - 1) & reg::cueLine);
    juce::Logger::writeToLog (cueLineText + juce::String (number) + forCueText + juce::String (int { value }));
    return ready;
}

/** Returns the register's value after the write. */
unsigned char Router_Spartan6::changeMadiControl (const char* operation, int bitsToClear, int bitsToSet)
{
    const auto before = read_I2C (reg::madiControl);
    logMadiControl (operation, oldValueText, before);
    write_I2C (reg::madiControl, static_cast<unsigned char> ((before & ~bitsToClear) | bitsToSet), true);

    const auto after = read_I2C (reg::madiControl);
    logMadiControl (operation, newValueText, after);
    return after;
}

bool Router_Spartan6::disableMadiOutput (const char* operation, int offBit, bool disable)
{
    const auto after = changeMadiControl (operation, offBit, disable ? offBit : 0);
    return ((after & offBit) != 0) == disable;
}

int Router_Spartan6::readBitErrors (CLOCKSOURCES input, unsigned char highByte, unsigned char lowByte)
{
    if (! hasClockSignal (input))
        return 0;

    const auto high = read_I2C (highByte); // first, because the protocol fixes the order of the two reads
    const auto low = read_I2C (lowByte);
    return (high << 8) + low;
}

void Router_Spartan6::resetBitErrors (int resetBit)
{
    // Both writes use one read, so that a change in between does not enter the second write.
    const auto value = read_I2C (reg::modes);
    write_I2C (reg::modes, static_cast<unsigned char> (value | resetBit), true);
    write_I2C (reg::modes, static_cast<unsigned char> (value & ~resetBit), true);
}
