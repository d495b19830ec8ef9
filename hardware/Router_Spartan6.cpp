#include "hardware/Router_Spartan6.h"

#include <algorithm>
#include <cstdint>
#include <unistd.h>
#include <utility>

#include "hardware/Router_Spartan6Registers.h"

namespace
{
namespace reg = spartan6;

constexpr unsigned char endOfPulse = 0x00;

constexpr auto createdText = "INFO: Spartan6 Router created!";
constexpr auto resetText = "DEBUG: FPGA reset. Done.";

constexpr int settlingTime = 5000; // ms for the FPGA to take up a route or a clock

constexpr auto clockNotReady = static_cast<CLOCKSOURCES> (0xFF);

// In Hz, in the order of the rate codes.
constexpr int nominalRates[] = { 44100, 48000, 88200, 96000, 176400, 192000 };
constexpr int unknownRate = 7; // the rate code of every other rate
constexpr int lowestPercent = 96;
constexpr int highestPercent = 104;

// The measurement counts periods of a reference clock during 16383 periods of the measured clock. FPGA images up to
// 2.120 have the slower reference.
constexpr int versionsPerMajor = 1000;
constexpr int lastVersionWithSlowReference = 2120;
constexpr juce::int64 gatedPeriods = 16383;
constexpr juce::int64 slowReference = gatedPeriods * 91200000;  // 91.2 MHz
constexpr juce::int64 fastReference = gatedPeriods * 125000000; // 125 MHz

constexpr std::uint32_t measurementFailed = 0x80000000; // the word is an error report
constexpr std::uint32_t failureA = 0x40000000;
constexpr std::uint32_t failureB = 0x20000000;

constexpr float hzNotReady = -1.0f;
constexpr float hzFailuresAandB = -2.0f;
constexpr float hzFailureA = -3.0f;
constexpr float hzFailureB = -4.0f;

constexpr int nanosecondsPerCount = 10;
constexpr int directionsPerBit = 8;
constexpr int mostDirectionBits = 31; // in the returned mask; the register holds the lowest eight

float hzOfErrorReport (std::uint32_t word)
{
    if ((word & failureA) != 0)
        return (word & failureB) != 0 ? hzFailuresAandB : hzFailureA;

    return (word & failureB) != 0 ? hzFailureB : 0.0f;
}
}

Router_Spartan6::Router_Spartan6 (std::string path, char chipAddress, char channelMask)
    : Router (std::move (path), chipAddress, channelMask)
{
    juce::Logger::writeToLog (createdText);
}

Router_Spartan6::~Router_Spartan6()
{
    const juce::ScopedWriteLock lock (i2cLock);
    ::close (fd); // I2CDevice closes it again, on purpose
}

int Router_Spartan6::resetAndInit()
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (! openAndSelect())
        return openFailed;

    write_I2C (reg::reset, reg::resetNow, false);
    juce::Logger::writeToLog (resetText);
    write_I2C (reg::afterReset, reg::resetNow, false);
    deinit_transfer (true);
    return ready ? 1 : 0;
}

bool Router_Spartan6::Connect (AUDIONAMES source, AUDIONAMES sink)
{
    const juce::ScopedWriteLock lock (i2cLock);

    // The limits differ on purpose: 39 is a sink but not a source. Unsigned, so that negative numbers are refused.
    if (static_cast<unsigned> (source) > AUDIO_LAST_SOURCE || static_cast<unsigned> (sink) > AUDIO_LAST_SINK)
        return false;

    const auto code = static_cast<unsigned char> (AudionamesourceMapping[source]);
    const auto sinkRegister = static_cast<unsigned char> (AudionamesinkMapping[sink]);
    write_I2C (sinkRegister, code, true);

    if (read_I2C (sinkRegister) == code)
        return ready;

    juce::Thread::sleep (settlingTime);
    return read_I2C (sinkRegister) == code && ready;
}

bool Router_Spartan6::Disconnect (AUDIONAMES sink)
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (static_cast<unsigned> (sink) > AUDIO_LAST_SINK)
        return false;

    // An endpoint that is no sink writes register 0, which carries no route: a caller may clear all numbers in a row.
    write_I2C (static_cast<unsigned char> (AudionamesinkMapping[sink]), reg::noSource, true);
    return ready;
}

bool Router_Spartan6::SelectClock (CLOCKSOURCES source)
{
    const juce::ScopedWriteLock lock (i2cLock);

    const auto keptMuteControl = read_I2C (reg::muteControl);
    const auto keptSecondMask = read_I2C (reg::secondSourceMask);
    write_I2C (reg::muteControl, reg::allSources, true); // a clock change is audible
    write_I2C (reg::secondSourceMask, reg::allSources, true);

    write_I2C (reg::clockGenerator, source == CLOCK_INTERNAL ? reg::generatorOn : reg::generatorOff, true);
    write_I2C (reg::selectedClock, static_cast<unsigned char> (source), true);

    write_I2C (reg::muteControl, keptMuteControl, true);
    write_I2C (reg::secondSourceMask, keptSecondMask, true);

    juce::Thread::sleep (settlingTime);

    if (getSelectedClock() != source)
        return false;

    selectedClock = source;
    return ready;
}

CLOCKSOURCES Router_Spartan6::getSelectedClock()
{
    if (! isReady())
        return clockNotReady;

    const juce::ScopedWriteLock lock (i2cLock);
    return static_cast<CLOCKSOURCES> (read_I2C (reg::selectedClock));
}

int Router_Spartan6::GetActualClockValue()
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (! isReady())
        return unknownRate;

    // 64 bits, because a measurement word of 1 gives 2e12 Hz.
    const auto hz = static_cast<juce::int64> (GetActualClockValueHz());
    auto code = 1;

    for (const auto rate : nominalRates)
    {
        if (rate * lowestPercent / 100 < hz && hz < rate * highestPercent / 100)
            return code;

        ++code;
    }

    return unknownRate;
}

float Router_Spartan6::GetActualClockValueHz()
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (! isReady())
        return hzNotReady;

    pulse (reg::measurementRestart, reg::restartNow, true);
    pulse (reg::measurementLatch, reg::latchNow, true);

    std::uint32_t word = read_I2C (reg::measurement);

    const auto major = getFPGAimage_Majorversion();
    const auto minor = getFPGAimage_Minorversion();
    const auto reference =
        major * versionsPerMajor + minor > lastVersionWithSlowReference ? fastReference : slowReference;

    for (unsigned char next = 1; next < reg::measurementBytes; ++next)
        word = (word << 8) | read_I2C (reg::measurement + next);

    if ((word & measurementFailed) != 0)
        return hzOfErrorReport (word);

    return word == 0 ? 0.0f : static_cast<float> (reference) / static_cast<float> (word);
}

int Router_Spartan6::getFPGAimage_Majorversion()
{
    const juce::ScopedWriteLock lock (i2cLock);
    return read_I2C (reg::imageMajor);
}

int Router_Spartan6::getFPGAimage_Minorversion()
{
    const juce::ScopedWriteLock lock (i2cLock);
    return read_I2C (reg::imageMinor);
}

int Router_Spartan6::setDirections (int count)
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (count == directionsCache)
        return 0;

    directionsCache = count;

    // Division truncates towards zero, so that a count of 0 enables the first group. 64 bits, because the lowest int
    // minus 1 does not fit 32.
    const auto groups = (static_cast<juce::int64> (count) - 1) / directionsPerBit + 1;
    const auto bits = std::clamp<juce::int64> (groups, 0, mostDirectionBits);
    const auto mask = static_cast<int> ((1U << bits) - 1U);
    write_I2C (reg::directions, static_cast<unsigned char> (mask), true);
    return mask;
}

int Router_Spartan6::getPhaseShiftinns (CLOCKSOURCES source)
{
    const juce::ScopedWriteLock lock (i2cLock);

    // Unsigned, so that every number wraps. The 8-bit register number then wraps too.
    const auto pair = reg::phaseShift + 2 * (static_cast<unsigned> (source) - 1);
    const auto high = read_I2C (static_cast<unsigned char> (pair));
    const auto low = read_I2C (static_cast<unsigned char> (pair + 1));

    // Single precision gives exactly this number, because 16 bits times ten fit the 24 bits of a float.
    return ((high << 8) | low) * nanosecondsPerCount;
}

/** Returns the value written. */
unsigned char Router_Spartan6::modify (unsigned char reg, int bitsToClear, int bitsToSet)
{
    const auto value = static_cast<unsigned char> ((read_I2C (reg) & ~bitsToClear) | bitsToSet);
    write_I2C (reg, value, true);
    return value;
}

void Router_Spartan6::pulse (unsigned char reg, unsigned char value, bool log)
{
    write_I2C (reg, value, log);
    write_I2C (reg, endOfPulse, log);
}
