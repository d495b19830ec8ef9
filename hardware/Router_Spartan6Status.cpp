#include "hardware/Router_Spartan6.h"

#include "hardware/Router_Spartan6Registers.h"

// The mute control and the status masks.

namespace
{
namespace reg = spartan6;

constexpr unsigned char noSources = 0x00; // an empty status mask

bool contains (unsigned char statusMask, CLOCKSOURCES source)
{
    return source >= CLOCK_INPUT1 && source <= CLOCK_MADI_BNC2 && ((statusMask >> (source - 1)) & 1) != 0;
}

// The mute control counts from bit 0 = "none", unlike every status mask. Source 8 has no bit, so Mute changes nothing.
int muteBit (CLOCKSOURCES source)
{
    constexpr int highestBit = 7;
    return source >= 0 && source <= highestBit ? 1 << source : 0;
}
}

bool Router_Spartan6::Mute (CLOCKSOURCES source)
{
    const juce::ScopedWriteLock lock (i2cLock);
    modify (reg::muteControl, 0, muteBit (source));
    return true;
}

bool Router_Spartan6::Unmute (CLOCKSOURCES source)
{
    const juce::ScopedWriteLock lock (i2cLock);
    modify (reg::muteControl, muteBit (source), 0);
    return true;
}

bool Router_Spartan6::getMute (CLOCKSOURCES source)
{
    const juce::ScopedWriteLock lock (i2cLock);
    return (read_I2C (reg::muteControl) & muteBit (source)) != 0;
}

bool Router_Spartan6::getglobalmute()
{
    const juce::ScopedWriteLock lock (i2cLock);
    return (read_I2C (reg::globalMute) & reg::globalMuteActive) != 0;
}

bool Router_Spartan6::isLocked (CLOCKSOURCES source, char state)
{
    return contains (state != 0 ? static_cast<unsigned char> (state) : readIfReady (reg::locked), source);
}

bool Router_Spartan6::hasClockSignal (CLOCKSOURCES source, char state)
{
    return contains (state != 0 ? static_cast<unsigned char> (state) : getSignalState(), source);
}

bool Router_Spartan6::isMuted (CLOCKSOURCES source, char state)
{
    return contains (state != 0 ? static_cast<unsigned char> (state) : readIfReady (reg::muted), source);
}

unsigned char Router_Spartan6::getLockedState()
{
    return readIfReady (reg::locked);
}

unsigned char Router_Spartan6::getMutedtate()
{
    return readIfReady (reg::muted);
}

unsigned char Router_Spartan6::getSignalState()
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (! isReady())
        return noSources;

    return read_I2C (reg::signalPresent) | reg::internalClockPresent;
}

void Router_Spartan6::resetClockAndMuteHold()
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (isReady())
        pulse (reg::holdReset, reg::holdResetNow, false);
}

bool Router_Spartan6::anyMutedChanged()
{
    return readIfReady (reg::mutedChanged) != noSources;
}

bool Router_Spartan6::anyLockedChanged()
{
    return readIfReady (reg::lockedChanged) != noSources;
}

bool Router_Spartan6::isLockLostHold (CLOCKSOURCES source)
{
    return contains (readIfReady (reg::lockLostHold), source);
}

bool Router_Spartan6::isLockedChanged (CLOCKSOURCES source)
{
    return contains (readIfReady (reg::lockedChanged), source);
}

bool Router_Spartan6::isMutedHold (CLOCKSOURCES source)
{
    return contains (readIfReady (reg::mutedHold), source);
}

bool Router_Spartan6::isMutedChanged (CLOCKSOURCES source)
{
    return contains (readIfReady (reg::mutedChanged), source);
}

unsigned char Router_Spartan6::readIfReady (unsigned char reg)
{
    const juce::ScopedWriteLock lock (i2cLock);
    return isReady() ? read_I2C (reg) : noSources;
}
